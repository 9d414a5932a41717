#pragma once
/// The real-time co-kernel as the firmware sees it. The target's co-kernel supplies these calls; on a PC the virtual
/// instrument does.
///
/// Unless told otherwise a call returns 0 or more for success and a negative error number (-EBADF) for failure.

#include <cstddef>
#include <cstdint>

using RTIME = uint64_t;

/// Time of the co-kernel's timer in nanoseconds; never goes back. Callable from any thread.
RTIME rt_timer_read();

/// Sleeps until `date` (nanoseconds of rt_timer_read). Returns 0 after the sleep or when the date has passed; -1 from a
/// thread that is no real-time task, which then has not slept.
int rt_task_sleep_until(RTIME date);

// Tasks. A thread is an ordinary one until it becomes a real-time task; as a task it runs in secondary mode, where it
// may call anything, or in primary mode, where it may only call the co-kernel.

inline constexpr int rt_taskJoinable = 0x400;
inline constexpr int rt_modePrimary = 0x40200; // primary mode, with a warning when a call leaves it

struct RT_TASK;

/// Makes the calling thread a real-time task. `task` and `name` may be null. Fails on a thread that already is one,
/// which then stays as it was.
int rt_task_shadow(RT_TASK* task, const char* name, int priority, int mode);

/// Clears, then sets mode bits of the calling task. `previous`, if not null, receives the bits as they were.
int rt_task_set_mode(int clearMask, int setMask, int* previous);

// Events: a word of bits that tasks wait on. All calls but creation may be made from several tasks at once.

struct RT_EVENT {
    uintptr_t handle;
};

inline constexpr RTIME rt_infinite = 0;

/// `name` may be null; mode 0 serves waiting tasks in the order in which they came.
int rt_event_create(RT_EVENT* event, const char* name, unsigned long initial, int mode);
/// Sets the bits of `mask` and wakes whoever then has what he waits for.
int rt_event_signal(RT_EVENT* event, unsigned long mask);
/// Waits, as a task (else -EPERM), until all bits of `mask` are set, and leaves them set; `found`, if not null,
/// receives those of `mask` that were. `mode` is 0; `timeout` is in nanoseconds of the host, -ETIMEDOUT when it has
/// passed, or rt_infinite.
int rt_event_wait(RT_EVENT* event, unsigned long mask, unsigned long* found, int mode, RTIME timeout);
/// Clears the bits of `mask`; `previous`, if not null, receives the bits as they were.
int rt_event_clear(RT_EVENT* event, unsigned long mask, unsigned long* previous);

// Real-time devices, by name.

/// `flags` as for open(2). Returns a descriptor, on which flock(2) acts as well.
int rt_dev_open(const char* name, int flags);
int rt_dev_close(int descriptor);
/// The number of bytes moved, or a negative error number.
long rt_dev_read(int descriptor, void* data, size_t bytes);
long rt_dev_write(int descriptor, const void* data, size_t bytes);
/// `argument` is a number or, in the second form, an address, as the request has it.
int rt_dev_ioctl(int descriptor, uint32_t request, uintptr_t argument = 0);
template <class T> int rt_dev_ioctl(int descriptor, uint32_t request, T* argument) {
    return rt_dev_ioctl(descriptor, request, reinterpret_cast<uintptr_t>(argument));
}
