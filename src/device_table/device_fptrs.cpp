#include "device_table/device_fptrs.h"

#include "base/tvdebug.h"

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
            *slot = Device_default_getSourceIndex;
}
