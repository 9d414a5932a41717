#pragma once
/// Serial flash chips by their data sheets: programming only clears bits and wraps at the end of its page, erasing sets
/// them, both need the write enable latch and take their time, in which the chip answers nothing but its status.
///
/// A chip hangs on two places of the bus: commands go in at the one, answers come out at the other, and it stays
/// selected for as long as one of the two is. What it does begins when its select line goes back.

#include "virtual/bus/spi_chip.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vi {

/// The cells, kept as the complement of what they read as, so that what was never programmed takes no memory.
class FlashCells {
public:
    explicit FlashCells(size_t bytes);
    ~FlashCells();
    FlashCells(const FlashCells&) = delete;
    FlashCells& operator=(const FlashCells&) = delete;

    /// From now on the cells are those of a file, which outlives the process at any moment of its life; a file that is
    /// not there, or not of that size, is made with the cells as they are. False if it cannot be read or written: the
    /// cells then last as long as the process.
    bool keepIn(const std::string& path);

    [[nodiscard]] uint8_t read(size_t at) const { return static_cast<uint8_t>(~cells_[at % bytes_]); }
    /// Bits that `kept` has not become 0, with the next keep().
    void clearBits(size_t at, uint8_t kept) { cells_[at % bytes_] |= static_cast<uint8_t>(~kept); }
    void erase(size_t at, size_t bytes);
    /// Brings a range that has changed into the file.
    void keep(size_t at, size_t bytes);
    [[nodiscard]] size_t size() const { return bytes_; }

private:
    bool load();

    size_t bytes_;
    uint8_t* cells_;
    int file_ = -1;
};

class SerialFlash {
public:
    enum class Kind {
        w25q64,    // 8 MiB, pages of 256 bytes, sectors of 4 KiB, blocks of 64 KiB
        s25fl256s, // 32 MiB, pages of 512 bytes, sectors of 256 KiB
    };
    /// `linked` tells whether the chip's lines lead to the bus at all.
    SerialFlash(Kind kind, std::function<bool()> linked);

    /// The places on the bus.
    [[nodiscard]] SpiChip& commands() { return commands_; }
    [[nodiscard]] SpiChip& answers() { return answers_; }

    [[nodiscard]] FlashCells& cells() { return cells_; }
    [[nodiscard]] const FlashCells& cells() const { return cells_; }
    /// Reads with four data lines, which the FPGA needs of the chip that has the choice.
    [[nodiscard]] bool servesFourLines() const;

    /// Comes out of whatever it was doing, as after a cut of power.
    void powerUp() { busyUntil_ns_ = 0; }
    /// The next `times` programs into the sector at `address` leave a bit as it was.
    void spoilPrograms(size_t address, unsigned times);
    /// From now on whatever the chip begins never ends, or does again.
    void setStuckBusy(bool stuck) { stuckBusy_ = stuck; }

private:
    struct Sheet; // of data
    struct Erasure;
    class Place final : public SpiChip {
    public:
        Place(SerialFlash& flash, bool takesCommands) : flash_(flash), takesCommands_(takesCommands) {}
        bool send(std::span<const uint8_t> frame, uint32_t mode) override;
        bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;
        void select(bool active) override;

    private:
        SerialFlash& flash_;
        const bool takesCommands_;
    };

    static const Sheet& sheetOf(Kind kind);
    bool take(std::span<const uint8_t> frame, uint32_t mode);
    bool answer(std::span<uint8_t> frame, uint32_t mode);
    void begin();
    void program(size_t address);
    void spoil(size_t address, std::span<const uint8_t> data);
    void become(uint64_t busyFor_ns);
    [[nodiscard]] uint8_t nextAnswer();
    [[nodiscard]] bool busy() const;
    [[nodiscard]] size_t address() const;

    const Sheet& sheet_;
    const std::function<bool()> linked_;
    FlashCells cells_;
    Place commands_, answers_;
    unsigned selects_ = 0;      // places that hold the chip selected
    std::vector<uint8_t> wire_; // what came since it was selected
    size_t answered_ = 0;       // bytes
    bool writeEnabled_ = false;
    uint8_t configuration_;
    uint64_t busyUntil_ns_ = 0;
    bool stuckBusy_ = false;
    std::map<size_t, unsigned> spoiled_; // programs that are left to go wrong, by sector
};

} // namespace vi
