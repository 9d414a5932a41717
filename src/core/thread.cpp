#include "core/thread.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"

#include <algorithm>

namespace {

// The firmware's own sizes hold for the target's small C library. Here the same stack also carries thread-local
// storage, the dynamic linker's register save areas, vfprintf and the signal handler's back-trace; sanitizers pad every
// frame.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t hostStackBytes = 1024 * 1024;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr size_t hostStackBytes = 1024 * 1024;
#else
constexpr size_t hostStackBytes = 256 * 1024;
#endif
#else
constexpr size_t hostStackBytes = 256 * 1024;
#endif

} // namespace

int tvstuffPthreadCreate(pthread_t* thread, void* (*start)(void*), void* argument, size_t stackBytes) {
    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes); error != 0) {
        printd("tvstuffPthreadCreate() error: init attr failed (%d)\n", error);
        return scpi::executionError;
    }
    if (const int error = pthread_attr_setstacksize(&attributes, std::max(stackBytes, hostStackBytes)); error != 0)
        printd("tvstuffPthreadCreate() error: set stacksize failed (%d)\n", error);
    else if (const int created = pthread_create(thread, &attributes, start, argument); created != 0)
        printd("tvstuffPthreadCreate() error: create thread failed (%d)\n", created);
    if (const int error = pthread_attr_destroy(&attributes); error != 0) {
        printd("tvstuffPthreadCreate() error: destroy attr failed (%d)\n", error);
        return scpi::executionError;
    }
    return 0;
}
