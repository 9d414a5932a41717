#pragma once
/// The SPI bus of the virtual instrument: the real-time device "tvko" with a chip model at each address. Whatever the
/// hardware would not know fails, and is counted.

#include "virtual/bus/spi_chip.h"
#include "virtual/platform/rtdm.h"

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

/// All calls are thread-safe; chip models, pin sources and interceptors are called under the bus's lock.
class SpiBus final : public RtDevice {
public:
    SpiBus();

    /// Puts a chip on the bus; it stays the caller's and must outlive the bus. It takes the sends to the address, which
    /// carry no segment, from whoever had them, and the reads on the given segment.
    void attach(uint32_t address, SpiChip* chip, uint32_t segment = spiAnySegment);

    /// The same for the sends alone: what is read there stays with whoever has it.
    void attachSends(uint32_t address, SpiChip* chip);
    /// Takes a chip off the bus; its places are empty then and have no names.
    void detach(SpiChip* chip);
    /// How the chip at an address is called. Empty: it has no name.
    void setName(uint32_t address, const std::string& name);
    [[nodiscard]] std::vector<std::string> names() const;
    /// What is wrong with a chip, by its name. It is asked at each transfer to a chip that has one, under the bus's
    /// lock; what then happens is no fault.
    void setChipFaults(std::function<ChipFault(const std::string& name)> faultOf);

    /// Level of a pin by the request that reads it; 0 at start. A source is asked at each reading.
    void setPin(uint32_t request, uint32_t level);
    void setPinSource(uint32_t request, std::function<uint32_t()> source);

    [[nodiscard]] uint32_t bitrateDivider() const;
    [[nodiscard]] uint32_t selectDelay() const;
    [[nodiscard]] uint32_t triggerPulse() const; // as set for the I/O update: 0, 1 or 3

    /// Transfers that a chip took.
    [[nodiscard]] uint64_t transfers() const;
    /// What the hardware does not know: no chip at the address or segment, a frame that the chip refused, a request or
    /// an argument.
    [[nodiscard]] uint64_t faults() const;
    /// The first faults in words, a line each; empty if there were none.
    [[nodiscard]] std::string faultTexts() const;

    /// Sees each transfer before the chip. One for which it returns false fails without reaching the chip and is no
    /// fault. An empty function lets everything through.
    void intercept(std::function<bool(const SpiTransfer&)> interceptor);
    /// Intercepts the transfers so that the one with index `first` from now on fails (0 is the next), and the `count` -
    /// 1 after it.
    void failTransfers(uint64_t first, uint64_t count = 1);

    int ioctl(uint32_t request, uintptr_t argument) override;

private:
    struct Reader {
        uint32_t segment;
        SpiChip* chip;
    };
    struct Slot {
        std::string name;
        SpiChip* writer = nullptr;
        std::vector<Reader> readers;
    };
    struct Pin {
        uint32_t request = 0;
        std::function<uint32_t()> source;
    };
    struct Pass; // one transfer on its way

    int transferRecord(uintptr_t argument, bool read);
    int transfer(const Pass& pass);
    int sendList(uintptr_t argument);
    int runListOperation(const Pass& record);
    int selectChip(uintptr_t address);
    int deselectChip();
    void pulseIoUpdate(uint32_t trigger);
    int readPin(const Pin& pin, uintptr_t argument);
    int setInRange(uint32_t* setting, uintptr_t value, uint32_t low, uint32_t high, const char* what);
    int setTriggerPulse(uintptr_t value);
    int fault(const std::string& text);
    [[nodiscard]] const Pin* findPin(uint32_t request) const;
    [[nodiscard]] SpiChip* find(const Pass& pass) const;
    void remember(SpiChip* chip);
    [[nodiscard]] ChipFault faultOf(uint32_t address) const;

    mutable std::mutex mutex_; // guards all below
    std::array<Slot, spiAddresses> slots_;
    std::vector<SpiChip*> chips_; // each once
    SpiChip* selected_ = nullptr; // held by the firmware
    std::array<Pin, 4> pins_;
    uint32_t divider_ = 1;
    uint32_t selectDelay_ = 0;
    uint32_t triggerPulse_ = 0;
    uint64_t transfers_ = 0;
    uint64_t faults_ = 0;
    std::string faultTexts_;
    std::function<bool(const SpiTransfer&)> interceptor_;
    std::function<ChipFault(const std::string& name)> chipFault_;
};

} // namespace vi
