#pragma once
/// Mutex, condition and wake-up flag of the firmware, annotated so that Clang checks which lock guards what.
///
/// Lock order over the whole firmware, outermost first:
///   deviceAccessMutex > scpi_link::bufMutex > Tvsocket::connMutex > scpi_link::bdInterruptMutex
///   deviceAccessMutex > meas_data.stateMutex > meas_data.resultMutex > meas_data.testSetMutex
///   tvcont_linesMutex > spiMutex

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <pthread.h>

#if defined(__clang__)
#define TV_LOCK_ATTRIBUTE(x) __attribute__((x))
#else
#define TV_LOCK_ATTRIBUTE(x)
#endif
#define CAPABILITY(x) TV_LOCK_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY TV_LOCK_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) TV_LOCK_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) TV_LOCK_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) TV_LOCK_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TV_LOCK_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) TV_LOCK_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) TV_LOCK_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) TV_LOCK_ATTRIBUTE(assert_capability(x))
#define NO_THREAD_SAFETY_ANALYSIS TV_LOCK_ATTRIBUTE(no_thread_safety_analysis)

class CAPABILITY("mutex") Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { pthread_mutex_lock(&native_); }
    void unlock() RELEASE() { pthread_mutex_unlock(&native_); }
    [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) { return pthread_mutex_trylock(&native_) == 0; }
    /// For code behind a function pointer, to which no annotation reaches: its caller holds the lock. Debug and
    /// sanitizer builds look whether anybody does.
    void assertHeld() ASSERT_CAPABILITY(this) {
#ifdef TOLVANE_CHECK_LOCKS
        if (pthread_mutex_trylock(&native_) == 0)
            abort();
#endif
    }

private:
    friend class Condition;
    pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

/// Condition on CLOCK_MONOTONIC: nobody who sets the clock ends or prolongs a wait. Every caller waits in a loop on its
/// own predicate.
class Condition {
public:
    constexpr Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void signal() { pthread_cond_signal(&native_); }
    void broadcast() { pthread_cond_broadcast(&native_); }
    void wait(Mutex& mutex) REQUIRES(mutex) { pthread_cond_wait(&native_, &mutex.native_); }
    /// False when `deadline` (CLOCK_MONOTONIC) has passed.
    [[nodiscard]] bool waitUntil(Mutex& mutex, const timespec& deadline) REQUIRES(mutex) {
        return pthread_cond_clockwait(&native_, &mutex.native_, CLOCK_MONOTONIC, &deadline) == 0;
    }

private:
    pthread_cond_t native_ = PTHREAD_COND_INITIALIZER;
};

/// A word that one thread sets and another sleeps on, without a mutex: a hand-over between threads costs one system
/// call a side, and none when the other side is awake.
class WakeWord {
public:
    constexpr WakeWord() = default;
    explicit constexpr WakeWord(uint32_t initial) : value_(initial) {}
    WakeWord(const WakeWord&) = delete;
    WakeWord& operator=(const WakeWord&) = delete;

    [[nodiscard]] uint32_t get() const { return value_.load(std::memory_order_acquire); }
    /// Stores without waking anybody.
    void set(uint32_t value) { value_.store(value, std::memory_order_seq_cst); }
    /// Stores and wakes whoever sleeps on the word.
    void setAndWake(uint32_t value);
    /// Adds one and wakes whoever sleeps on the word.
    void advanceAndWake();
    /// Stores `value` and returns what stood there.
    uint32_t exchange(uint32_t value) { return value_.exchange(value, std::memory_order_acq_rel); }
    /// Stores `value` if `expected` stands there; false if not.
    bool replace(uint32_t expected, uint32_t value) {
        return value_.compare_exchange_strong(expected, value, std::memory_order_seq_cst);
    }
    /// Sleeps while the word reads `value`.
    void waitWhile(uint32_t value);
    /// The same until `deadline` on CLOCK_MONOTONIC at the latest; false if the word still reads `value` then.
    bool waitWhileUntil(uint32_t value, const timespec& deadline);

private:
    std::atomic<uint32_t> value_{0};
    std::atomic<uint32_t> sleepers_{0};
};
