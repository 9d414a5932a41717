#pragma once
/// The device table: one slot per operation, by family. Upper layers call slots and never boards, so that a feature
/// exists on an instrument exactly when its slot is filled. slot.h tells the rules of calling and of testing a slot,
/// fptrs_types.h those of the signatures, hardware_owner.h what a run changes.
///
/// Slots are filled on the main thread during start-up and not changed after that.

#include "device_table/fptrs_acquisition.h"
#include "device_table/fptrs_analog.h"
#include "device_table/fptrs_carrier.h"
#include "device_table/fptrs_configuration.h"
#include "device_table/fptrs_funcout.h"
#include "device_table/fptrs_generator.h"
#include "device_table/fptrs_measurement.h"
#include "device_table/fptrs_panel.h"
#include "device_table/fptrs_system.h"

/// Fills Device_getDefaultSourceIndex, Device_getSourceIndexMin and Device_getSourceIndexMax with
/// Device_default_getSourceIndex where nobody has filled them. Runs last, after all other registration.
void Device_registerMandatoryFunctions();

/// Returns 1: an instrument with one source.
int Device_default_getSourceIndex(Device* device);
