#include "virtual/platform/rtdm.h"

#include "platform/nodes.h"
#include "platform/rt.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vi {
namespace {

/// A device's own node: an unnamed file. A descriptor is an opening of it, so that the host gives each its number, and
/// a lock on one keeps the others of the same device out. The last one that was closed waits for the next opening.
struct Registration {
    std::string name;
    RtDevice* device;
    int node;
    int spare = -1;
};

constexpr int descriptorsMax = 1024;

std::mutex mutex;
auto& registrations = *new std::vector<Registration>;             // guarded by mutex; in use until the process is gone
std::array<std::atomic<RtDevice*>, descriptorsMax> openDevices{}; // by descriptor

RtDevice* deviceOf(int descriptor) {
    if (descriptor < 0 || descriptor >= descriptorsMax)
        return nullptr;
    return openDevices[static_cast<size_t>(descriptor)].load(std::memory_order_acquire);
}

int openNode(Registration& registration) {
    if (registration.spare >= 0)
        return std::exchange(registration.spare, -1);
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", registration.node);
    const int descriptor = ::open(path, O_RDWR | O_CLOEXEC);
    return descriptor < 0 ? -errno : descriptor;
}

/// What closing does to those who wait for the lock, whether or not the descriptor is kept.
void closeNode(const RtDevice* device, int descriptor) {
    const auto owner = std::find_if(registrations.begin(), registrations.end(), [&](const Registration& registration) {
        return registration.device == device && registration.spare < 0;
    });
    if (owner != registrations.end() && flock(descriptor, LOCK_UN) == 0)
        owner->spare = descriptor;
    else
        ::close(descriptor);
}

void closeDescriptorsOf(const RtDevice* device) {
    for (int descriptor = 0; descriptor < descriptorsMax; ++descriptor)
        if (deviceOf(descriptor) == device) {
            openDevices[static_cast<size_t>(descriptor)] = nullptr;
            ::close(descriptor);
        }
}

template <class Match> void forget(Match match) {
    std::erase_if(registrations, [&](const Registration& registration) {
        if (!match(registration))
            return false;
        ::close(registration.node);
        if (registration.spare >= 0)
            ::close(registration.spare);
        return true;
    });
}

} // namespace

void rtdm_register(const char* name, RtDevice* device) {
    const std::lock_guard lock(mutex);
    forget([&](const Registration& registration) { return registration.name == name; });
    registrations.push_back({name, device, memfd_create(name, MFD_CLOEXEC)});
}

void rtdm_unregister(const RtDevice* device) {
    const std::lock_guard lock(mutex);
    forget([&](const Registration& registration) { return registration.device == device; });
    closeDescriptorsOf(device);
}

namespace {

int openDevice(const char* name, int flags) {
    const std::lock_guard lock(mutex);
    const auto found = std::find_if(registrations.begin(), registrations.end(),
                                    [&](const Registration& registration) { return registration.name == name; });
    if (found == registrations.end())
        return -ENODEV;
    const int descriptor = openNode(*found);
    if (descriptor < 0)
        return descriptor;
    const int result = descriptor < descriptorsMax ? found->device->open(flags) : -EMFILE;
    if (result < 0) {
        ::close(descriptor);
        return result;
    }
    openDevices[static_cast<size_t>(descriptor)].store(found->device, std::memory_order_release);
    return descriptor;
}

bool isNode(const char* name) {
    return name[0] == '/';
}

} // namespace
} // namespace vi

int rt_dev_open(const char* name, int flags) {
    return vi::isNode(name) ? -ENODEV : vi::openDevice(name, flags);
}

int rt_dev_close(int descriptor) {
    using namespace vi;
    const std::lock_guard lock(mutex);
    RtDevice* const device = deviceOf(descriptor);
    if (device == nullptr)
        return -EBADF;
    openDevices[static_cast<size_t>(descriptor)] = nullptr;
    device->close();
    closeNode(device, descriptor);
    return 0;
}

long rt_dev_read(int descriptor, void* data, size_t bytes) {
    vi::RtDevice* const device = vi::deviceOf(descriptor);
    return device != nullptr ? device->read({static_cast<uint8_t*>(data), bytes}) : -EBADF;
}

long rt_dev_write(int descriptor, const void* data, size_t bytes) {
    vi::RtDevice* const device = vi::deviceOf(descriptor);
    return device != nullptr ? device->write({static_cast<const uint8_t*>(data), bytes}) : -EBADF;
}

int rt_dev_ioctl(int descriptor, uint32_t request, uintptr_t argument) {
    vi::RtDevice* const device = vi::deviceOf(descriptor);
    return device != nullptr ? device->ioctl(request, argument) : -EBADF;
}

int node_open(const char* path, int flags) {
    return vi::isNode(path) ? vi::openDevice(path, flags) : -ENOENT;
}

int node_close(int descriptor) {
    return rt_dev_close(descriptor);
}

long node_read(int descriptor, void* data, size_t bytes) {
    return rt_dev_read(descriptor, data, bytes);
}

long node_write(int descriptor, const void* data, size_t bytes) {
    return rt_dev_write(descriptor, data, bytes);
}

int node_ioctl(int descriptor, uint32_t request, uintptr_t argument) {
    return rt_dev_ioctl(descriptor, request, argument);
}

int node_waitInput(int descriptor, int timeout_ms) {
    vi::RtDevice* const device = vi::deviceOf(descriptor);
    return device != nullptr ? device->waitInput(timeout_ms) : -EBADF;
}
