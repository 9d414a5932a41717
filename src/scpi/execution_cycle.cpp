#include "scpi/execution_cycle.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/program_message.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace {

struct DeferredCall {
    DeferredFunction function;
    void* argument;
    uint32_t remaining; // microseconds
};

constexpr uint32_t microsecondsPerMs = 1000;

// The main thread's.
int64_t abstime;                              // the next tick on CLOCK_MONOTONIC, ns; zero makes the first cycle a tick
int64_t nearestDeadline_ns = waiting_forEver; // of the links that are parked

std::atomic<int> waitForDevice{0}; // threads that do
uint8_t pdivCounter;
std::array<DeferredCall, 2> deferredCalls;

void countDownDeferredCalls(uint32_t passed) {
    for (DeferredCall& slot : deferredCalls) {
        if (slot.function == nullptr)
            continue;
        if (slot.remaining < passed) {
            const DeferredCall call = slot;
            slot = {};
            call.function(call.argument);
        } else {
            slot.remaining -= passed;
        }
    }
}

void tick(Device* device, int periodMs) {
    const uint8_t old = pdivCounter;
    const auto count = static_cast<uint8_t>(old + 1);
    pdivCounter = count;
    if (Device_periodic)
        slot_carryOn(Device_periodic(device, static_cast<uint8_t>(count & ~old), count)); // no command asked for it
    countDownDeferredCalls(static_cast<uint32_t>(periodMs) * microsecondsPerMs);
    abstime = waiting_deadline(periodMs);
}

} // namespace

void scpi_execute(scpi_link* firstLink, Device* device, int periodMs) {
    tvcommDo.waitWhileUntil(0, waiting_moment(std::min(abstime, nearestDeadline_ns)));

    openSynchronousDeviceAccess();
    tvcommDo.exchange(0); // not before: until here it keeps the transports from the device
    if (waiting_now() >= abstime)
        tick(device, periodMs);
    nearestDeadline_ns = waiting_forEver;
    for (scpi_link* link = firstLink; link != nullptr; link = link->next)
        nearestDeadline_ns = std::min(nearestDeadline_ns, scpi_serveLink(link));
    closeSynchronousDeviceAccess();
}

bool scpi_serveLinkHere(scpi_link* link) {
    if (tvcommDo.get() != 0 || waitForDevice != 0 || !deviceAccessMutex.try_lock())
        return false;
    scpi_serveLink(link); // the main thread finds out about its deadline
    deviceAccessMutex.unlock();
    return link->handleRequest.get() == 0;
}

void scpi_link_serveAlone(scpi_link* link) {
    scpi_link_doHandle(link);
    openSynchronousDeviceAccess();
    while (link->handleRequest.get() != 0) // a device clear takes two passes
        scpi_execute_link(link);
    closeSynchronousDeviceAccess();
}

void openSynchronousDeviceAccess() {
    ++waitForDevice;
    deviceAccessMutex.lock();
    --waitForDevice;
}
void closeSynchronousDeviceAccess() {
    deviceAccessMutex.unlock();
}

void scpi_executeNullLinkEvent(int code) {
    MutexLock access(deviceAccessMutex);
    tv_event_handle(nullptr, code);
}

int tvstuff_deferredCall(DeferredFunction function, void* argument, uint32_t delay) {
    if (delay == 0) {
        function(argument);
        return 0;
    }
    DeferredCall* place = nullptr;
    for (DeferredCall& slot : deferredCalls) {
        if (slot.function == function && slot.argument == argument)
            return 0;
        if (slot.function == nullptr && place == nullptr)
            place = &slot;
    }
    if (place == nullptr)
        return scpi::outOfMemory;
    *place = {function, argument, delay};
    return 0;
}

void tvstuff_executeDeferredCallsImmediately() {
    for (DeferredCall& slot : deferredCalls) {
        const DeferredCall call = slot;
        slot = {};
        if (call.function != nullptr)
            call.function(call.argument);
    }
}
