#pragma once
/// Operations that have to wait for something, the end of a run above all. Where somebody keeps a place for it they
/// leave a record there and come back at once with waiting_result; whoever keeps the place goes on with something else,
/// asks the record now and then, and ends the operation when it says so. Without a place they wait on the calling
/// thread.
///
/// Whoever changes what a record looks at announces it afterwards.

#include <cstdint>
#include <ctime>

struct Device;

inline constexpr int64_t waiting_forEver = INT64_MAX;

struct Waiting {
    /// Whether it is over. On any thread; takes the locks that it needs.
    using IsOver = bool (*)(const Waiting& waiting);
    /// What the operation does then; `inTime` is false if the deadline came first. Returns the operation's result,
    /// which may be to wait once more.
    using Finish = int (*)(Device* device, const Waiting& waiting, bool inTime);

    IsOver isOver = nullptr;
    Finish finish = nullptr;
    int64_t deadline_ns = waiting_forEver; // on CLOCK_MONOTONIC
    bool outlivesClient = false;           // it takes a moment only, and the operation is not dropped half-way
    // Of the operation.
    Finish then = nullptr;
    uint64_t run = 0;
    uint64_t saves = 0;
    int32_t argument = 0;
};

/// The result of an operation that has left its record. No error number is positive.
inline constexpr int waiting_result = 1;

/// While it lives, operations of this thread leave their record in `place`; with null they wait on the thread. Places
/// nest.
class WaitingPlace {
public:
    explicit WaitingPlace(Waiting* place);
    ~WaitingPlace();
    WaitingPlace(const WaitingPlace&) = delete;
    WaitingPlace& operator=(const WaitingPlace&) = delete;

private:
    Waiting* outer_;
};

/// Leaves the record and returns waiting_result; or waits here and returns what `finish` gives.
[[nodiscard]] int waiting_for(Device* device, const Waiting& waiting);

/// For the keeper of a place: a record left in it is served or dropped.
void waiting_leave();
/// Called by waiting_announce, on its thread, while any place holds a record. Set before the first one.
extern void (*waiting_wakeKeeper)();

/// Something that a record looks at has changed. Call it without the locks of the change.
void waiting_announce();

/// CLOCK_MONOTONIC, in nanoseconds.
[[nodiscard]] int64_t waiting_now();
/// The moment that lies `milliseconds` ahead, for a deadline; now for a negative number.
[[nodiscard]] int64_t waiting_deadline(int64_t milliseconds);
/// A moment on CLOCK_MONOTONIC, as the waits of base/sync.h take it.
[[nodiscard]] timespec waiting_moment(int64_t nanoseconds);
