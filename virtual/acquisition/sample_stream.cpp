#include "virtual/acquisition/sample_stream.h"

#include "platform/rt.h"
#include "virtual/platform/clock.h"
#include "virtual/platform/rt_tasks.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <fcntl.h>
#include <string_view>
#include <utility>

namespace vi {
namespace {

enum Request : uint32_t { requestValidBytes = 0xE001, requestStop = 0xE004, requestTimeout = 0xE005 };

constexpr std::string_view configurationTail = ",0,2,1\n";
constexpr uint32_t wordBytes = 4; // the port moves words
constexpr uint64_t never = UINT64_MAX;
constexpr uint64_t microsecond_ns = 1000;
constexpr double second_ns = 1e9;

std::optional<uint32_t> parseConfiguration(std::string_view text) {
    uint32_t bytes = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
    const auto tail = text.substr(static_cast<size_t>(end - text.data()));
    if (error != std::errc() || tail != configurationTail || bytes > sampleStream_blockMax || bytes % wordBytes != 0)
        return std::nullopt;
    return bytes;
}

} // namespace

// ---- the FPGA's side ------------------------------------------------------------------------------------------------

bool SampleStream::send(StreamBlock block) {
    const std::lock_guard lock(mutex_);
    if (state_ != State::armed || block_ != nullptr) {
        refuse(0, "a block of " + std::to_string(block.bytes) + " bytes to nobody");
        return false;
    }
    if (block.bytes != wanted_)
        refuse(0, "a block of " + std::to_string(block.bytes) + " bytes to a listener for " + std::to_string(wanted_));
    ++blocks_;
    comes_ = std::min(block.bytes, wanted_);
    if (faults_.pass > 0) {
        --faults_.pass;
    } else if (faults_.blocks > 0) {
        --faults_.blocks;
        comes_ = faults_.lost ? 0 : std::min(comes_, faults_.cutAfter_bytes.value_or(comes_));
        block.first_ns += faults_.delay_ns;
    }
    block_ = std::make_shared<const StreamBlock>(std::move(block));
    changed_.notify_all();
    return true;
}

void SampleStream::breakOff() {
    const std::lock_guard lock(mutex_);
    comes_ = arrived(clock_now());
    changed_.notify_all();
}

uint32_t SampleStream::wanted() const {
    const std::lock_guard lock(mutex_);
    return state_ == State::armed ? wanted_ : 0;
}

// ---- the test's side ------------------------------------------------------------------------------------------------

void SampleStream::spoil(const StreamFaults& faults) {
    const std::lock_guard lock(mutex_);
    faults_ = faults;
}

uint64_t SampleStream::refusals() const {
    const std::lock_guard lock(mutex_);
    return refusals_.count();
}

std::string SampleStream::refusalTexts() const {
    const std::lock_guard lock(mutex_);
    return refusals_.texts();
}

uint64_t SampleStream::blocks() const {
    const std::lock_guard lock(mutex_);
    return blocks_;
}

int SampleStream::refuse(int error, const std::string& text) {
    refusals_.add(text);
    return error;
}

// ---- the firmware's side --------------------------------------------------------------------------------------------

int SampleStream::open(int flags) {
    const std::lock_guard lock(mutex_);
    if (flags != O_RDWR)
        return refuse(-EINVAL, "opened with flags " + std::to_string(flags));
    if (state_ != State::closed)
        return refuse(-EBUSY, "opened twice");
    state_ = State::open;
    ++opening_;
    stopped_ = false;
    timeout_us_ = 0;
    wanted_ = comes_ = read_ = 0;
    return 0;
}

void SampleStream::close() {
    const std::lock_guard lock(mutex_);
    state_ = State::closed;
    block_.reset();
    changed_.notify_all();
}

long SampleStream::write(std::span<const uint8_t> data) {
    const std::lock_guard lock(mutex_);
    const auto bytes = parseConfiguration({reinterpret_cast<const char*>(data.data()), data.size()});
    if (state_ != State::open || !bytes)
        return refuse(-EINVAL, "configured out of order or with a text that is none");
    wanted_ = *bytes;
    state_ = State::configured;
    return static_cast<long>(data.size());
}

int SampleStream::ioctl(uint32_t request, uintptr_t argument) {
    const std::lock_guard lock(mutex_);
    if (state_ == State::closed)
        return -EBADF;
    switch (request) {
    case requestTimeout:
        if (argument > UINT32_MAX)
            break;
        timeout_us_ = static_cast<uint32_t>(argument);
        return 0;
    case requestStop:
        if (argument != 0)
            break;
        stopped_ = true;
        changed_.notify_all();
        return 0;
    case requestValidBytes:
        if (argument == 0)
            break;
        *reinterpret_cast<uint32_t*>(argument) = read_; // NOLINT(performance-no-int-to-ptr): the boundary's form
        return 0;
    default: break;
    }
    return refuse(-ENOTTY, "request " + std::to_string(request) + " with argument " + std::to_string(argument));
}

long SampleStream::read(std::span<uint8_t> data) {
    std::unique_lock lock(mutex_);
    if (state_ == State::closed)
        return -EBADF;
    if (!rtTask_inPrimaryMode())
        return refuse(-EPERM, "read in secondary mode");
    if (data.data() == nullptr)
        return arm();
    if (data.empty())
        return refuse(-EINVAL, "read without room");
    if (state_ != State::armed)
        return refuse(-EINVAL, "read before the reception was armed");
    const long there = wait(lock);
    if (there <= 0)
        return there;
    const uint32_t count = static_cast<uint32_t>(std::min(static_cast<size_t>(there), data.size()));
    const uint32_t offset = std::exchange(read_, read_ + count);
    const std::shared_ptr<const StreamBlock> block = block_;
    lock.unlock();
    block->fill(offset, data.first(count));
    return count;
}

/// Where there is nothing left to arm, nothing happens.
long SampleStream::arm() {
    if (state_ == State::open)
        return refuse(-EINVAL, "armed before it was configured");
    state_ = State::armed;
    return 0;
}

/// Bytes that are there and not read yet, or what a read returns instead.
long SampleStream::wait(std::unique_lock<std::mutex>& lock) {
    const uint64_t opening = opening_, start = clock_now();
    const uint64_t deadline = timeout_us_ != 0 ? start + timeout_us_ * microsecond_ns : never;
    for (;;) {
        if (state_ != State::armed || opening_ != opening)
            return -EBADF;
        if (stopped_ || read_ == wanted_)
            return 0;
        const uint64_t now = clock_now();
        if (const uint32_t there = arrived(now); there > read_)
            return there - read_;
        if (now >= deadline)
            return -ETIMEDOUT;
        waitUntil(lock, std::min(nextArrival_ns(), deadline));
    }
}

void SampleStream::waitUntil(std::unique_lock<std::mutex>& lock, uint64_t date_ns) {
    if (date_ns == never) {
        changed_.wait(lock);
    } else if (clock_mode() == TimeMode::fast) {
        rt_task_sleep_until(date_ns);
    } else {
        const uint64_t now = clock_now();
        const auto rest = std::chrono::nanoseconds(date_ns - std::min(date_ns, now));
        changed_.wait_until(lock, std::chrono::steady_clock::now() + rest);
    }
}

uint64_t SampleStream::arrival_ns(uint32_t bytes) const {
    const double rate = block_->bytesPerSecond;
    if (block_->first_ns == never)
        return never;
    return block_->first_ns + (rate > 0 ? static_cast<uint64_t>(std::ceil(bytes / rate * second_ns)) : 0);
}

uint32_t SampleStream::arrived(uint64_t now_ns) const {
    if (block_ == nullptr || now_ns < block_->first_ns)
        return 0;
    if (now_ns >= arrival_ns(comes_))
        return comes_;
    const double flown = static_cast<double>(now_ns - block_->first_ns) / second_ns * block_->bytesPerSecond;
    uint32_t segments = static_cast<uint32_t>(flown / sampleStream_segment); // below comes_, but for a rounding
    if (now_ns >= arrival_ns((segments + 1) * sampleStream_segment))
        ++segments;
    return std::min(segments * sampleStream_segment, comes_);
}

/// Of the next segment behind what was read.
uint64_t SampleStream::nextArrival_ns() const {
    if (block_ == nullptr || read_ >= comes_)
        return never;
    return arrival_ns(std::min(comes_, (read_ / sampleStream_segment + 1) * sampleStream_segment));
}

} // namespace vi
