#pragma once
/// What Device_getInternalReferenceSelection answers and Device_setInternalReferenceSelection takes.

enum InternalReference : int {
    internalReference10MHz = 0,
    internalReference100MHz = 1,
    internalReference1GHz = 2,
    internalReferencePll = 3,
};
