#pragma once
/// The firmware started on a virtual unit, again and again in one process, without links and measurement thread.

#include "device/device.h"
#include "virtual/hardware/hardware.h"

/// Switches a unit of a serial number on, with a DUT at its input and its factory calibration file in the file tree,
/// and starts the instrument on it. The unit before is gone, and with it all that the firmware knew. Needs a sandbox.
vi::Hardware& startUnit(Device** device, const char* serial, const vi::Dut& dut, uint64_t seed = 1);
