#pragma once
/// Who may use the SPI bus: the state behind the lock operations of tvspi.h, and the way of one request through it.

#include "base/sync.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>

extern Mutex spiMutex;                       // held by whoever is on the bus
extern std::atomic<bool> spiLock;            // bus closed for everybody
extern std::atomic<bool> spiLockedByThread;  // a thread holds spiMutex for a sequence
extern std::atomic<bool> spiMutexBypass;     // others may pass meanwhile
extern std::atomic<bool> spiMutexLockFailed; // somebody was turned away since the last look
extern std::atomic<pthread_t> spiMutexLockThread;

/// Opens the bus to everybody.
void tvspi_resetLocks();

/// Makes a request of the module, once more if it fails, when the bus is free for the calling thread. Without an
/// argument (null) no request is made, and it counts as failed. `caller` stands in the texts. Returns 0 or -1.
int tvspi_request(const char* caller, uint32_t request, void* argument);
