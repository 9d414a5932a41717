#pragma once
/// A single value that one thread writes while others read it without a lock: settings that a client changes during a
/// run, readings that the run leaves for a client. Each access is whole; two values beside each other may be of
/// different moments, so whoever needs several that belong together takes them under a lock or once at the start.

#include <atomic>
#include <type_traits>

template <class T> class Shared {
    static_assert(std::atomic<T>::is_always_lock_free);

public:
    constexpr Shared() = default;
    constexpr Shared(T value) : value_(value) {}
    Shared(const Shared& other) : value_(other.get()) {}
    Shared& operator=(const Shared& other) { return *this = other.get(); }
    Shared& operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }

    [[nodiscard]] T get() const { return value_.load(std::memory_order_relaxed); }
    operator T() const { return get(); }
    T operator->() const requires std::is_pointer_v<T> { return get(); }
    /// Stores `value` and returns what stood there.
    T exchange(T value) { return value_.exchange(value, std::memory_order_relaxed); }
    /// Stores `value` if `expected` still stands there, bit by bit; false if not.
    bool replace(T expected, T value) {
        return value_.compare_exchange_strong(expected, value, std::memory_order_relaxed);
    }

private:
    std::atomic<T> value_{};
};
