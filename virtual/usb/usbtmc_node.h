#pragma once
/// "/dev/usbtmc": the driver of the unit's USB connector, with the firmware at one end and the USBTMC function of the
/// bus at the other. Commands and answers each wait in a buffer of the driver's.

#include "virtual/platform/rtdm.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

namespace vi {

class UsbtmcNode final : public RtDevice {
public:
    static constexpr size_t commandRoom = 4096, answerRoom = 65536; // bytes

    // The firmware's end.

    /// Waits for bytes and gives at most `data.size()` of them. -ECANCELED once after a clear; -EFAULT when the port
    /// has failed. What was written before is an answer that has ended, also where the last write left it open.
    long read(std::span<uint8_t> data) override;
    /// Waits for room and takes some of the bytes. Fails as a read does.
    long write(std::span<const uint8_t> data) override;
    int waitInput(int timeout_ms) override;

    // The bus's end. Callable from any thread; none of them waits.

    /// What is called, with no lock held, when answers or room for commands have come.
    void onNews(std::function<void()> tell) { news_ = std::move(tell); }
    /// False, with nothing taken, if there is not room for all of them.
    /// None is taken before the firmware begins to read: what it finds at its start it throws away.
    [[nodiscard]] bool offerCommand(std::span<const uint8_t> bytes);

    /// How much of an answer may go out in one transfer of at most `most` bytes, that ends behind `lastByte` if that is
    /// a byte's value and not -1.
    struct Portion {
        size_t bytes = 0; // 0: the answer is not there yet
        bool ends = false;
        bool atLastByte = false;
    };
    [[nodiscard]] Portion portion(size_t most, int lastByte);
    /// Takes `to.size()` bytes of a portion, from its beginning.
    void takeAnswer(std::span<uint8_t> to);

    /// Device clear: what waits at either end is dropped, and the firmware is told.
    void clear();
    /// From now on all calls of the firmware fail, which ends its link.
    void fail();

private:
    [[nodiscard]] size_t answersWaiting() const { return answers_.size() - answersTaken_; }
    bool beginRead();
    void markEnd();

    std::mutex mutex_; // guards all of the following but news_
    std::condition_variable changed_;
    bool cancel_ = false, failed_ = false, reads_ = false;
    std::vector<uint8_t> commands_;
    std::vector<uint8_t> answers_;
    size_t answersTaken_ = 0;       // of answers_; the others wait
    bool answerOpen_ = false;       // its end is not known yet; at least one byte of it waits
    std::deque<size_t> answerEnds_; // indices into answers_, behind the last byte of each
    std::function<void()> news_ = [] {};
};

} // namespace vi
