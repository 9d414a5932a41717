#include "virtual/usb/usbtmc_node.h"

#include "platform/bus_nodes.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace vi {

long UsbtmcNode::read(std::span<uint8_t> data) {
    if (beginRead())
        news_();
    size_t count = 0;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return cancel_ || failed_ || !commands_.empty(); });
        if (failed_)
            return -EFAULT;
        if (std::exchange(cancel_, false))
            return -ECANCELED;
        count = std::min(data.size(), commands_.size());
        if (count > 0)
            memcpy(data.data(), commands_.data(), count);
        commands_.erase(commands_.begin(), commands_.begin() + static_cast<ptrdiff_t>(count));
    }
    news_();
    return static_cast<long>(count);
}

long UsbtmcNode::write(std::span<const uint8_t> data) {
    const bool goesOn = (data.size() & usbtmc_writeGoesOn) != 0;
    const size_t wanted = data.size() & ~usbtmc_writeGoesOn;
    size_t count = 0;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return cancel_ || failed_ || wanted == 0 || answersWaiting() < answerRoom; });
        if (failed_)
            return -EFAULT;
        if (std::exchange(cancel_, false))
            return -ECANCELED;
        count = std::min(wanted, answerRoom - std::min(answersWaiting(), answerRoom));
        answers_.insert(answers_.end(), data.data(), data.data() + count);
        answerOpen_ = answerOpen_ || count > 0;
        if (!goesOn && count == wanted)
            markEnd();
    }
    news_();
    return static_cast<long>(count);
}

int UsbtmcNode::waitInput(int timeout_ms) {
    std::unique_lock lock(mutex_);
    const auto something = [&] { return cancel_ || failed_ || !commands_.empty(); };
    if (timeout_ms < 0)
        changed_.wait(lock, something);
    else if (!changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), something))
        return 0;
    return cancel_ && !failed_ ? -ECANCELED : 1;
}

bool UsbtmcNode::offerCommand(std::span<const uint8_t> bytes) {
    const std::lock_guard lock(mutex_);
    if (!reads_ || bytes.size() > commandRoom - commands_.size())
        return false;
    commands_.insert(commands_.end(), bytes.begin(), bytes.end());
    changed_.notify_all();
    return true;
}

UsbtmcNode::Portion UsbtmcNode::portion(size_t most, int lastByte) {
    const std::lock_guard lock(mutex_);
    const size_t waiting = answersWaiting();
    // The last byte of an answer that goes on stays: it may be the one that bears the end.
    const size_t ready = answerOpen_ ? waiting - 1 : waiting;
    const size_t end = answerEnds_.empty() ? SIZE_MAX : answerEnds_.front() - answersTaken_;
    Portion portion{.bytes = std::min({most, ready, end})};
    const uint8_t* const first = answers_.data() + answersTaken_;
    if (lastByte >= 0 && portion.bytes > 0)
        if (const void* found = memchr(first, lastByte, portion.bytes)) {
            portion.bytes = static_cast<size_t>(static_cast<const uint8_t*>(found) - first) + 1;
            portion.atLastByte = true;
        }
    portion.ends = portion.bytes == end;
    const bool complete = portion.ends || portion.atLastByte || portion.bytes == most || waiting >= answerRoom;
    return complete ? portion : Portion{};
}

void UsbtmcNode::takeAnswer(std::span<uint8_t> to) {
    const std::lock_guard lock(mutex_);
    memcpy(to.data(), answers_.data() + answersTaken_, to.size());
    answersTaken_ += to.size();
    if (!answerEnds_.empty() && answerEnds_.front() == answersTaken_)
        answerEnds_.pop_front();
    if (answersTaken_ == answers_.size() || answersTaken_ >= answerRoom) {
        answers_.erase(answers_.begin(), answers_.begin() + static_cast<ptrdiff_t>(answersTaken_));
        for (size_t& end : answerEnds_)
            end -= answersTaken_;
        answersTaken_ = 0;
    }
    changed_.notify_all();
}

void UsbtmcNode::clear() {
    const std::lock_guard lock(mutex_);
    commands_.clear();
    answers_.clear();
    answerEnds_.clear();
    answersTaken_ = 0;
    answerOpen_ = false;
    cancel_ = true;
    changed_.notify_all();
}

void UsbtmcNode::fail() {
    const std::lock_guard lock(mutex_);
    failed_ = true;
    changed_.notify_all();
}

/// True if that is news for the bus.
bool UsbtmcNode::beginRead() {
    const std::lock_guard lock(mutex_);
    const bool isNews = !std::exchange(reads_, true) || answerOpen_;
    markEnd();
    return isNews;
}

void UsbtmcNode::markEnd() {
    if (std::exchange(answerOpen_, false))
        answerEnds_.push_back(answers_.size());
}

} // namespace vi
