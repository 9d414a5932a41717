#pragma once
/// Threads of the firmware.

#include <cstddef>
#include <pthread.h>

/// Starts `start(argument)` on a new thread. `stackBytes` is what the firmware itself needs; it is raised to what the C
/// library of the host needs. Returns 0, also when a step before the last one failed (its message is on the debug
/// channel), or -200 if the attributes could not be made or given back.
int tvstuffPthreadCreate(pthread_t* thread, void* (*start)(void*), void* argument, size_t stackBytes);
