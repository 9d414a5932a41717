#include "virtual/app/idle_watch.h"

#include "core/thread.h"
#include "measure/run/measure.h"
#include "scpi/execution_cycle.h"
#include "virtual/platform/clock.h"

#include <unistd.h>

namespace vi {
namespace {

constexpr useconds_t period_us = 50'000;
constexpr size_t stackBytes = 16384;

void* watch(void*) {
    for (;;) {
        usleep(period_us);
        openSynchronousDeviceAccess(); // no command is at work, and none can begin a run
        clock_tellIdle(measure_runInProgress() == 0);
        closeSynchronousDeviceAccess();
    }
}

} // namespace

int idleWatch_start() {
    pthread_t thread;
    return tvstuffPthreadCreate(&thread, watch, nullptr, stackBytes);
}

} // namespace vi
