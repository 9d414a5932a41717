#include "device_table/device_fptrs.h"

#include "base/tvdebug.h"

#include <atomic>

namespace {

constexpr SlotRegistrar fill{"device_table"};

std::atomic<bool> sealed{false};
std::atomic<int> refused{0};

} // namespace

int Device_unregisteredFunction() {
    printd("FATAL: Calling an unregistered device function!\n");
    ++Device_unregisteredFunctionCalls;
    return 0;
}

int Device_default_getSourceIndex(Device*) {
    return 1;
}

void Device_registerMandatoryFunctions() {
    for (Slot<int(Device*)>* slot :
         {&Device_getDefaultSourceIndex, &Device_getSourceIndexMin, &Device_getSourceIndexMax})
        if (!*slot)
            fill(*slot, Device_default_getSourceIndex);
}

bool SlotRegistrar::mayFill() {
    if (!sealed)
        return true;
    printd("FATAL: Filling a slot of the sealed device table!\n");
    ++refused;
    return false;
}

void Device_sealSlots() {
    sealed = true;
}

void Device_openSlots() {
    sealed = false;
    refused = 0;
}

int Device_refusedSlots() {
    return refused;
}
