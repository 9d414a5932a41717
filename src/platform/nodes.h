#pragma once
/// The character devices of the instrument's kernel modules, which give read, write and ioctl meanings of their own.
/// The target passes these calls on to its kernel; on a PC the virtual instrument has the devices.
///
/// A call returns 0 or more for success and a negative error number (-ENODEV) for failure.

#include <cstddef>
#include <cstdint>

/// `flags` as for open(2). Returns a descriptor; a device may be open more than once.
int node_open(const char* path, int flags);
int node_close(int descriptor);
/// The number of bytes moved.
long node_read(int descriptor, void* data, size_t bytes);
long node_write(int descriptor, const void* data, size_t bytes);
/// `argument` is a number or, in the second form, an address, as the request has it.
int node_ioctl(int descriptor, uint32_t request, uintptr_t argument = 0);
template <class T> int node_ioctl(int descriptor, uint32_t request, T* argument) {
    return node_ioctl(descriptor, request, reinterpret_cast<uintptr_t>(argument));
}
/// Waits until a read would not wait, also for its failure; for ever with a negative `timeout_ms`. Returns 1 then, 0
/// when the time has passed, -EINTR or -EAGAIN if it has to be asked again.
int node_waitInput(int descriptor, int timeout_ms);
