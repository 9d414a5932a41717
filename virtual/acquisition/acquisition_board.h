#pragma once
/// The acquisition board on the SPI bus: control and status lines, sample clock, ADCs, the FPGA's soft core, and the
/// sample stream.
///
///   248  control lines (sends), status lines (reads)
///   249  first generation: clock distribution AD9512, or while line 0 is set the reference PLL ADF4002;
///        second generation: LTC6950
///   250  first generation: AD9268; second: two AD9467, selected by lines 13 (A) and 14 (B), active low, with line 0
///        set for A and clear for B
///   251  commands to the soft core, 254 its answers
///   252  commands to the flash that the FPGA boots from, 253 its answers, while line 3 links it to the bus
///
/// When the reset line goes back the FPGA boots: from a flash that is not linked to the bus, serves it four data lines
/// and holds a whole pair of images (fpga_images.h). Else it is silent.
///
/// Second generation: line 21 supplies the oscillator, and a pulse of line 9 of a millisecond or more puts the outputs
/// of the clock, once it is locked, in step; converters that are not in step with the FPGA do not reach it. First
/// generation: lines 8, 18 and 21 to 23 hold the analog supplies on. A line that leads nowhere stays low.
///
/// Status: line 3 tells that the sample clock is locked to its reference; on the second generation line 2 tells that
/// the reference is missing, and line 3 is then left as it was.

#include "virtual/acquisition/fpga_images.h"
#include "virtual/acquisition/sample_stream.h"
#include "virtual/acquisition/soft_core.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/serial_flash.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

#include <atomic>
#include <functional>

namespace vi {

struct AcquisitionBoardKind {
    FpgaGeneration generation;
    bool referencePll; // of the first generation: from revision 1D on; without it the sample clock runs free
};

/// Registers its device while it lives. To be built before the firmware starts and to outlive it, as the bus is.
class AcquisitionBoard {
public:
    AcquisitionBoard(SpiBus& bus, AcquisitionBoardKind kind, SampleSource& source, uint64_t seed);
    ~AcquisitionBoard();
    AcquisitionBoard(const AcquisitionBoard&) = delete;
    AcquisitionBoard& operator=(const AcquisitionBoard&) = delete;

    [[nodiscard]] SampleStream& stream() { return stream_; }
    [[nodiscard]] SoftCore& core() { return core_; }
    /// With the factory's images in it.
    [[nodiscard]] SerialFlash& flash() { return flash_; }
    [[nodiscard]] const FpgaImages& factoryImages() const { return fpgaImages_ofFactory(kind_.generation); }
    /// Before the firmware starts: the flash is that of a file, with the factory's images if there was none. False if
    /// the file cannot be had.
    [[nodiscard]] bool keepFlashIn(const std::string& path);
    /// An external 10 MHz reference is connected.
    void setExternalReference(bool connected) { externalReference_ = connected; }

    /// What stream and core refused; the bus counts what its chips did.
    [[nodiscard]] uint64_t refusals() const { return stream_.refusals() + core_.refusals(); }
    [[nodiscard]] std::string refusalTexts() const { return stream_.refusalTexts() + core_.refusalTexts(); }

private:
    /// A place on the bus with more than one chip behind it.
    class Place final : public SpiChip {
    public:
        using Send = std::function<bool(std::span<const uint8_t> frame, uint32_t mode)>;
        explicit Place(Send send, SpiChip* reader = nullptr) : send_(std::move(send)), reader_(reader) {}
        bool send(std::span<const uint8_t> frame, uint32_t mode) override { return send_(frame, mode); }
        bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override {
            return reader_ != nullptr && reader_->receive(frame, mode, board);
        }

    private:
        Send send_;
        SpiChip* reader_;
    };

    bool setLines(std::span<const uint8_t> frame, uint32_t mode);
    bool sendClock(std::span<const uint8_t> frame, uint32_t mode);
    bool sendAdc(std::span<const uint8_t> frame, uint32_t mode);

    [[nodiscard]] bool second() const { return kind_.generation == FpgaGeneration::second; }
    [[nodiscard]] double reference_Hz() const;
    [[nodiscard]] bool clockLocked() const;
    [[nodiscard]] bool detectorSettles() const;
    [[nodiscard]] double sampleClock_Hz() const;
    [[nodiscard]] ConverterState converters() const;
    [[nodiscard]] bool reachesFpga(Channel channel) const;
    [[nodiscard]] bool boots() const;
    [[nodiscard]] uint64_t status();

    // The chips are guarded by the bus's lock.
    const AcquisitionBoardKind kind_;
    std::atomic<bool> externalReference_{false};
    OutputRegister lines_;
    uint64_t status_ = 0; // as the next read finds it
    InputRegister statusLines_;
    uint64_t clockSince_ns_ = 0; // the last change of what the clock's lock depends on
    uint64_t clockWritten_ns_ = 0;
    uint64_t syncSince_ns_ = 0;
    bool inStep_ = false; // clock outputs of the second generation
    Adf4xxxModel referencePll_;
    Ad9512Model distribution_;
    Ltc6950Model clock_;
    std::array<FastAdcModel, channels> adcs_; // the first stands for both channels of the first generation
    SerialFlash flash_;
    SampleStream stream_;
    SoftCore core_;
    Place controlPlace_, clockPlace_, adcPlace_;
};

} // namespace vi
