#pragma once
/// The devices of the virtual instrument, by name: what answers rt_dev_open, for a path node_open, and the calls on its
/// descriptor.

#include <cerrno>
#include <cstdint>
#include <span>

namespace vi {

/// One device. Calls come from any thread, also at the same time. A result below 0 is a negative error number; what a
/// device does not override it does not know.
class RtDevice {
public:
    virtual ~RtDevice() = default;

    virtual int open(int /*flags*/) { return 0; }
    virtual void close() {}
    /// Returns the number of bytes. An empty span is a read of length 0.
    virtual long read(std::span<uint8_t> /*data*/) { return -ENOSYS; }
    virtual long write(std::span<const uint8_t> /*data*/) { return -ENOSYS; }
    virtual int ioctl(uint32_t /*request*/, uintptr_t /*argument*/) { return -ENOTTY; }
    /// For nodes; see node_waitInput.
    virtual int waitInput(int /*timeout_ms*/) { return -ENOSYS; }
};

/// Makes `device` known until rtdm_unregister; it stays the caller's. A name that is taken goes to the new device.
/// Descriptors of the old one stay with the old one.
void rtdm_register(const char* name, RtDevice* device);

/// Takes the device out of the registry and its descriptors away. Nobody may be inside the device then or come later
/// with one of its descriptors' numbers.
void rtdm_unregister(const RtDevice* device);

} // namespace vi
