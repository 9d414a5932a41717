#pragma once
/// Whether somebody uses a bus that has no connections: from the first byte until nothing has come for two to four
/// seconds. The remote lamp and the panel follow it.

#include "base/shared.h"
#include "base/sync.h"

#include <cstdint>

extern Mutex deviceAccessMutex;

struct BusActivity {
    int32_t inUse = 0, gone = 0;  // LinkEvents
    Shared<int32_t> ticksLeft{};  // of two seconds each, until the user counts as gone
    Shared<uint32_t> connected{}; // 1: `inUse` has been raised; changes under deviceAccessMutex
};

/// Bytes have arrived. On the link's thread, which holds no lock.
void busActivity_note(BusActivity* activity);
/// Two seconds have passed. Beside a note of the same moment it may count one tick too few.
void busActivity_age(BusActivity* activity) REQUIRES(deviceAccessMutex);
