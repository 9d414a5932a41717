#pragma once
/// The SPI bus of the virtual instrument: the real-time device "tvko" with a chip model at each address. Whatever the
/// hardware would not know fails, and is counted.

#include "virtual/rtdm.h"
#include "virtual/spi_chip.h"

#include <array>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace vi {

inline constexpr uint32_t spiAddresses = 256;
inline constexpr uint32_t spiAnySegment = 0xFFFFFFFF;
inline constexpr uint64_t spiTransfer_ns = 20'000; // of virtual time, in fast mode

/// One transfer, as a test's interceptor sees it.
struct SpiTransfer {
    bool read;
    uint32_t address;
    uint32_t mode;
    uint32_t board;
    std::span<const uint8_t> frame; // of a send; empty for a read
};

/// All calls are thread-safe.
class SpiBus final : public RtDevice {
public:
    /// Puts a chip on the bus; it stays the caller's and must outlive the bus. Reads reach it on the given segment
    /// only, sends carry no segment and reach the chip that was attached last to the address with any.
    void attach(uint32_t address, SpiChip* chip, uint32_t segment = spiAnySegment);

    /// Level of a pin by the request that reads it; 0 at start. A source is asked at each reading.
    void setPin(uint32_t request, uint32_t level);
    void setPinSource(uint32_t request, std::function<uint32_t()> source);

    [[nodiscard]] uint32_t bitrateDivider() const;
    [[nodiscard]] uint32_t selectDelay() const;
    [[nodiscard]] uint32_t triggerPulse() const; // as set for the I/O update: 0, 1 or 3

    /// Transfers that reached a chip.
    [[nodiscard]] uint64_t transfers() const;
    /// Transfers and requests that nobody knew: no chip at the address or segment, a frame that the chip refused, an
    /// unknown request or argument.
    [[nodiscard]] uint64_t faults() const;
    /// The first few faults in words, a line each; empty if there were none.
    [[nodiscard]] std::string faultTexts() const;

    /// Sees each transfer before the chip; one for which it returns false fails without a fault and does not reach the
    /// chip. Null lets everything through.
    void intercept(std::function<bool(const SpiTransfer&)> interceptor);
    /// An interceptor: of the transfers from now on, lets the one with index `first` fail (0 is the next), and the
    /// `count` - 1 after it.
    void failTransfers(uint64_t first, uint64_t count = 1);

    int ioctl(uint32_t request, uintptr_t argument) override;

private:
    struct Reader {
        uint32_t segment;
        SpiChip* chip;
    };
    struct Slot {
        SpiChip* writer = nullptr;
        std::vector<Reader> readers;
    };
    struct Pin {
        uint32_t request;
        std::function<uint32_t()> source;
    };
    struct Pass; // one transfer on its way

    int transfer(const Pass& pass);
    int sendList(const uint8_t* list);
    int selectChip(uint32_t address);
    int deselectChip();
    int readPin(Pin* pin, uintptr_t argument);
    int setRange(uint32_t* target, uintptr_t value, uint32_t low, const char* what);
    int pulseIoUpdate(uint32_t trigger);
    int fault(const std::string& text);
    Pin* findPin(uint32_t request);
    SpiChip* findReader(uint32_t address, uint32_t segment);

    mutable std::mutex mutex_;
    std::array<Slot, spiAddresses> slots_;
    std::vector<SpiChip*> chips_; // each once
    SpiChip* selected_ = nullptr;
    std::array<Pin, 4> pins_;
    uint32_t divider_ = 1;
    uint32_t selectDelay_ = 0;
    uint32_t triggerPulse_ = 0;
    uint64_t transfers_ = 0;
    uint64_t faults_ = 0;
    std::vector<std::string> faultTexts_;
    std::function<bool(const SpiTransfer&)> interceptor_;

public:
    SpiBus();
};

} // namespace vi
