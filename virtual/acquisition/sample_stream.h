#pragma once
/// The sample stream of the acquisition board: the real-time device through which the firmware receives the blocks that
/// the FPGA sends. Whatever the driver would not know is refused, and counted.
///
/// A block passes so: open, configuration text "BYTES,0,2,1\n", time-out, read of length 0 (the reception is armed),
/// reads until one returns 0, close. Only then does the FPGA's side find a listener.
///
/// Time is the virtual clock's. In fast mode a read that has to wait moves the clock to the moment at which something
/// is there, or to its time-out; in real-time mode, and where neither will ever come, it waits on the host.

#include "virtual/platform/refusals.h"
#include "virtual/platform/rtdm.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vi {

inline constexpr const char* sampleStream_deviceName = "tv_ssc_adc_driver";
inline constexpr uint32_t sampleStream_blockMax = 16U << 20; // bytes
inline constexpr uint32_t sampleStream_segment = 4096;       // bytes that arrive at once while a block comes bit by bit
inline constexpr double sampleStream_portRate = 5e6;         // bytes per second that the serial port carries

/// A block as the FPGA begins to send it.
struct StreamBlock {
    uint32_t bytes = 0;
    uint64_t first_ns = 0;     // on the clock: when its first bytes set out; UINT64_MAX for never
    double bytesPerSecond = 0; // 0: all come at once
    /// Writes the bytes from `offset` on straight into the reader's memory. Called by readers, without a lock, each
    /// byte once and in order; also after the block was given up.
    std::function<void(uint32_t offset, std::span<uint8_t> out)> fill;
};

/// What a test may spoil in the next blocks. The first `pass` of them come through as they are, then `blocks` do not.
struct StreamFaults {
    uint64_t pass = 0, blocks = UINT64_MAX;
    bool lost = false;
    std::optional<uint32_t> cutAfter_bytes = std::nullopt;
    uint64_t delay_ns = 0;
};

/// All calls are thread-safe.
class SampleStream final : public RtDevice {
public:
    // The FPGA's side.

    /// Puts a block on its way to whoever listens. False, and a refusal, if nobody does.
    bool send(StreamBlock block);
    /// Nothing more comes of the block that is on its way.
    void breakOff();
    /// Bytes that the listener waits for; 0 without one.
    [[nodiscard]] uint32_t wanted() const;

    // The test's side.

    void spoil(const StreamFaults& faults);
    [[nodiscard]] uint64_t refusals() const;
    [[nodiscard]] std::string refusalTexts() const;
    /// Blocks that set out; those that a fault swallowed count.
    [[nodiscard]] uint64_t blocks() const;

    // The firmware's side. A read returns what has arrived, at most as much as there is room; 0 at the end of the block
    // and after a stop, which holds until the device is opened again; -ETIMEDOUT when nothing came in time. Reads need
    // primary mode. An opening at a time.
    //
    // Requests: 0xE001 stores the valid bytes of the block, those that have been read, as a uint32_t at the argument;
    // 0xE004 stops; 0xE005 sets the time-out of a read in microseconds, 0 for none.

    int open(int flags) override;
    void close() override;
    long read(std::span<uint8_t> data) override;
    long write(std::span<const uint8_t> data) override;
    int ioctl(uint32_t request, uintptr_t argument) override;

private:
    enum class State { closed, open, configured, armed };

    [[nodiscard]] uint32_t arrived(uint64_t now_ns) const;
    [[nodiscard]] uint64_t arrival_ns(uint32_t bytes) const;
    [[nodiscard]] uint64_t nextArrival_ns() const;
    long arm();
    long wait(std::unique_lock<std::mutex>& lock);
    void waitUntil(std::unique_lock<std::mutex>& lock, uint64_t date_ns);
    int refuse(int error, const std::string& text);

    mutable std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    State state_ = State::closed;
    uint64_t opening_ = 0; // counts them
    bool stopped_ = false;
    uint32_t timeout_us_ = 0;
    uint32_t wanted_ = 0; // bytes of the block, by the firmware
    std::shared_ptr<const StreamBlock> block_;
    uint32_t comes_ = 0; // of its bytes
    uint32_t read_ = 0;
    StreamFaults faults_{.blocks = 0};
    uint64_t blocks_ = 0;
    Refusals refusals_;
};

} // namespace vi
