#include "scpi/execution_cycle.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/program_message.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace {

struct DeferredCall {
    DeferredFunction function;
    void* argument;
    uint32_t remaining; // microseconds
};

constexpr long nanosecondsPerSecond = 1'000'000'000;
constexpr uint32_t microsecondsPerMs = 1000;

timespec abstime; // the next tick on CLOCK_REALTIME; zero makes the first cycle a tick
bool moreFollows; // a link has not said all that it has to say
uint8_t pdivCounter;
std::array<DeferredCall, 2> deferredCalls;

bool hasReached(const timespec& now, const timespec& date) {
    return now.tv_sec != date.tv_sec ? now.tv_sec > date.tv_sec : now.tv_nsec >= date.tv_nsec;
}

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

void tick(Device* device, int periodMs, const timespec& now) {
    const uint8_t old = pdivCounter;
    const auto count = static_cast<uint8_t>(old + 1);
    pdivCounter = count;
    if (Device_periodic)
        Device_periodic(device, static_cast<uint8_t>(count & ~old), count);
    countDownDeferredCalls(static_cast<uint32_t>(periodMs) * microsecondsPerMs);

    abstime.tv_sec = now.tv_sec + periodMs / 1000;
    abstime.tv_nsec = now.tv_nsec + (periodMs % 1000) * 1'000'000L;
    if (abstime.tv_nsec >= nanosecondsPerSecond) {
        abstime.tv_sec += 1;
        abstime.tv_nsec = 0;
    }
}

} // namespace

void scpi_execute(scpi_link* firstLink, Device* device, int periodMs) {
    if (moreFollows) // its transport comes back at once
        tvcommDo.linger(0);
    tvcommDo.waitWhileUntil(0, abstime);
    tvcommDo.exchange(0);

    MutexLock access(deviceAccessMutex);
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (hasReached(now, abstime))
        tick(device, periodMs, now);
    moreFollows = false;
    for (scpi_link* link = firstLink; link != nullptr; link = link->next) {
        scpi_execute_link(link);
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
