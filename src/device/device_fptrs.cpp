#include "device/slot.h"

#include "core/tvdebug.h"

int Device_unregisteredFunction() {
    printd("FATAL: Calling an unregistered device function!\n");
    ++Device_unregisteredFunctionCalls;
    return 0;
}
