#pragma once
/// The instrument as one record, and its start.

#include "device_table/status_registers.h"
#include "numeric/tvtypes.h"

#include <cstdint>

struct TVPN_ADFPGA;

/// There is one, made at start and never freed. Operations take no lock: the channel selection is shared state, and
/// callers keep two threads from running device operations at once.
struct Device {
    uint32_t selectedBoard; // channel that single-channel operations act on: 0 A, 1 B
    DeviceStatusRegisters statusRegisters;
    TVPN_ADFPGA* adfpga; // acquisition board
    tvfreq frequency;    // carrier in force, also the last measured one
    tvfreq frequencyMax;
    tvfreq frequencyMin;
    int32_t rfEnabled;         // the RF output is on
    int32_t referenceInternal; // the reference source is the internal one
};

/// Clears the record, names its boards and returns it.
[[nodiscard]] Device* Device_create();

/// Fills the slots, sets the defaults, starts the boards and brings the instrument to its first carrier. Runs once, on
/// the main thread, after device_config_init and tvspiOpen. The measurement is started after it, before the first
/// command. Returns the result of the self test, 0 for good; a failing one does not stop the start.
int Device_init(Device* device);

/// Carrier 100 MHz, RF off, channel A, limits and name of the model.
void Device_setDefaults(Device* device);

/// Fills the slots of the operations on the record, whatever stood there.
void registerDeviceFunctions();
