#include "drivers/tvspi_lock.h"

#include "base/tvdebug.h"
#include "drivers/tvspi.h"
#include "platform/rt.h"

Mutex spiMutex;
std::atomic<bool> spiLock{false};
std::atomic<bool> spiLockedByThread{false};
std::atomic<bool> spiMutexBypass{false};
std::atomic<bool> spiMutexLockFailed{false};
std::atomic<pthread_t> spiMutexLockThread{};

namespace {

bool ownedByCaller() {
    return spiLockedByThread && pthread_equal(spiMutexLockThread, pthread_self()) != 0;
}

enum class Access { taken, passed, refused };

/// Waits behind single transfers, but never behind a thread that owns the bus. The owner, and anybody while it lets
/// others in, passes without the mutex.
Access enter() NO_THREAD_SAFETY_ANALYSIS {
    while (spiLockedByThread) {
        if (spiMutex.try_lock())
            return Access::taken;
        if (spiMutexBypass || ownedByCaller())
            return Access::passed;
        if (spiLockedByThread) // else the owner has just gone, and who holds the mutex is a single transfer
            return Access::refused;
    }
    spiMutex.lock();
    return Access::taken;
}

int requestWithRetry(const char* caller, uint32_t request, void* argument) {
    const int module = tvkono;
    if (argument == nullptr || module < 0)
        return -1;
    if (rt_dev_ioctl(module, request, argument) >= 0)
        return 0;
    printd("%s() error: Data could not be transferred from/to kernel space, retrying...\n", caller);
    return rt_dev_ioctl(module, request, argument) >= 0 ? 0 : -1;
}

} // namespace

void tvspi_resetLocks() {
    spiLock = spiLockedByThread = spiMutexBypass = spiMutexLockFailed = false;
    spiMutexLockThread = pthread_t{};
}

int tvspi_request(const char* caller, uint32_t request, void* argument) NO_THREAD_SAFETY_ANALYSIS {
    if (spiLock) {
        printd("%s(): Error: SPI is locked!\n", caller);
        return -1;
    }
    const Access access = enter();
    if (access == Access::refused) {
        printd("%s() error: SPI mutex is locked by another thread\n", caller);
        spiMutexLockFailed = true;
        return -1;
    }
    const int result = requestWithRetry(caller, request, argument);
    if (access == Access::taken)
        spiMutex.unlock();
    return result;
}

void tvspiLock() {
    spiLock = true;
}

void tvspiUnlock() {
    spiLock = false;
}

void tvspiLockForThread() NO_THREAD_SAFETY_ANALYSIS {
    if (ownedByCaller())
        return;
    spiMutex.lock();
    spiMutexLockThread = pthread_self();
    spiLockedByThread = true;
}

void tvspiUnlockForThread() NO_THREAD_SAFETY_ANALYSIS {
    if (!ownedByCaller())
        return;
    spiLockedByThread = false;
    spiMutexLockThread = pthread_t{};
    spiMutex.unlock();
}

void tvspiPauseLockForThread() {
    spiMutexBypass = true;
}

void tvspiResumeLockForThread() {
    spiMutexBypass = false;
}

int tvspiAccessibleByThread() {
    if (spiLock)
        return 0;
    if (spiMutex.try_lock()) {
        spiMutex.unlock();
        return 1;
    }
    return spiMutexBypass || ownedByCaller() ? 1 : 0;
}

int tvspiMutexLockFailed() {
    return spiMutexLockFailed.exchange(false) ? 1 : 0;
}
