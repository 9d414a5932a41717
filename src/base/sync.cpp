#include "base/sync.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

long futex(std::atomic<uint32_t>* word, int operation, uint32_t value, const timespec* deadline) {
    static_assert(sizeof(*word) == sizeof(uint32_t));
    return syscall(SYS_futex, reinterpret_cast<uint32_t*>(word), operation, value, deadline, nullptr,
                   FUTEX_BITSET_MATCH_ANY);
}

} // namespace

void WakeWord::setAndWake(uint32_t value) {
    value_.store(value, std::memory_order_seq_cst);
    if (sleepers_.load(std::memory_order_seq_cst) != 0)
        futex(&value_, FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr);
}

void WakeWord::advanceAndWake() {
    value_.fetch_add(1, std::memory_order_seq_cst);
    if (sleepers_.load(std::memory_order_seq_cst) != 0)
        futex(&value_, FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr);
}

void WakeWord::waitWhile(uint32_t value) {
    if (get() != value)
        return;
    sleepers_.fetch_add(1, std::memory_order_seq_cst);
    while (value_.load(std::memory_order_seq_cst) == value)
        futex(&value_, FUTEX_WAIT_PRIVATE, value, nullptr);
    sleepers_.fetch_sub(1, std::memory_order_seq_cst);
}

bool WakeWord::waitWhileUntil(uint32_t value, const timespec& deadline) {
    if (get() != value)
        return true;
    sleepers_.fetch_add(1, std::memory_order_seq_cst);
    bool changed;
    while (!(changed = value_.load(std::memory_order_seq_cst) != value)) {
        // WAIT_BITSET is the form with an absolute time, on CLOCK_MONOTONIC.
        if (futex(&value_, FUTEX_WAIT_BITSET_PRIVATE, value, &deadline) != 0 && errno == ETIMEDOUT)
            break;
    }
    sleepers_.fetch_sub(1, std::memory_order_seq_cst);
    return changed;
}
