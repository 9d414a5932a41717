#pragma once
/// The kernel module as the bus driver's tests need it: writes down what it is asked, and fails or waits on demand.

#include "platform/rt.h"
#include "virtual/platform/rtdm.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

struct Request {
    uint32_t number;
    uintptr_t argument;
    friend bool operator==(const Request&, const Request&) = default;
};

class FakeModule final : public vi::RtDevice {
public:
    std::function<int(uint32_t request, uintptr_t argument)> answer; // to each request; without it 0

    FakeModule() { vi::rtdm_register("tvko", this); }
    ~FakeModule() override { vi::rtdm_unregister(this); }

    int ioctl(uint32_t request, uintptr_t argument) override {
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back({request, argument});
        }
        return answer ? answer(request, argument) : 0;
    }

    /// The requests since the last call.
    std::vector<Request> taken() {
        const std::lock_guard lock(mutex_);
        return std::exchange(requests_, {});
    }

private:
    std::mutex mutex_;
    std::vector<Request> requests_;
};

/// A value behind the argument of a request.
template <class T> T behind(uintptr_t argument) {
    T value;
    memcpy(&value, reinterpret_cast<const void*>(argument), sizeof value);
    return value;
}
