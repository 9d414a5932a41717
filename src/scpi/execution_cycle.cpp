#include "scpi/execution_cycle.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/program_message.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

struct DeferredCall {
    DeferredFunction function;
    void* argument;
    uint32_t remaining; // microseconds
};

constexpr int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr uint32_t microsecondsPerMs = 1000;

int64_t abstime;                              // the next tick on CLOCK_MONOTONIC, ns; zero makes the first cycle a tick
int64_t nearestDeadline_ns = waiting_forEver; // of the links that are parked
bool moreFollows;                             // a link has not said all that it has to say
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
        Device_periodic(device, static_cast<uint8_t>(count & ~old), count);
    countDownDeferredCalls(static_cast<uint32_t>(periodMs) * microsecondsPerMs);
    abstime = waiting_deadline(periodMs);
}

} // namespace

void scpi_execute(scpi_link* firstLink, Device* device, int periodMs) {
    if (moreFollows) // its transport comes back at once
        tvcommDo.linger(0);
    const int64_t wake_ns = std::min(abstime, nearestDeadline_ns);
    tvcommDo.waitWhileUntil(0, {.tv_sec = wake_ns / nanosecondsPerSecond, .tv_nsec = wake_ns % nanosecondsPerSecond});
    tvcommDo.exchange(0);

    MutexLock access(deviceAccessMutex);
    if (waiting_now() >= abstime)
        tick(device, periodMs);
    moreFollows = false;
    nearestDeadline_ns = waiting_forEver;
    for (scpi_link* link = firstLink; link != nullptr; link = link->next) {
        nearestDeadline_ns = std::min(nearestDeadline_ns, scpi_serveLink(link));
        moreFollows = moreFollows || link->ansMore != 0; // this thread alone writes it
    }
}

void scpi_execute_commandFile(scpi_link* link, const char* path) {
    FILE* const file = fopen(path, "r");
    if (file == nullptr)
        return;
    while (!feof(file) && !ferror(file)) {
        char* where = nullptr;
        const int room = tvcommOpenCmd(link, &where);
        // One byte of the room stays free, as in any read of a line, unless that would stand still.
        const int limit = room > 1 ? room - 1 : room;
        int length = 0;
        for (int c = 0; length < limit && c != '\n' && (c = getc(file)) != EOF;)
            where[length++] = static_cast<char>(c);
        tvcommCloseCmd(link, length);

        int more = 1;
        while (more != 0) {
            scpi_link_doHandle(link);
            openSynchronousDeviceAccess();
            scpi_execute_link(link);
            closeSynchronousDeviceAccess();
            scpi_link_waitHandled(link);
            char* answer = nullptr;
            const int count = tvcommPeekAns(link, &answer, nullptr);
            fwrite(answer, 1, static_cast<size_t>(count), stdout);
            tvcommClearAns(link, count, &more);
        }
    }
    fclose(file);
}

void openSynchronousDeviceAccess() NO_THREAD_SAFETY_ANALYSIS {
    deviceAccessMutex.lock();
}
void closeSynchronousDeviceAccess() NO_THREAD_SAFETY_ANALYSIS {
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
