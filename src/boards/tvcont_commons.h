#pragma once
/// The controller board behind the device table: lamps, fan, inputs, boot delay. Each operation asks the slot
/// Device_getTvcontPtr for the board; without one it gives -113, or what it names itself.

#include <cstdint>

struct Device;

/// Fills the slots of all below.
void tvcont_commons_init();
void tvcont_commons_registerDeviceFunctions();

/// Lamps of the outputs; -241 for a number that the board does not have.
[[nodiscard]] int tvcont_commons_enableOutputLed(Device* device, uint32_t number);
[[nodiscard]] int tvcont_commons_disableOutputLed(Device* device, uint32_t number);
/// From 1E on, else -241.
[[nodiscard]] int tvcont_commons_enableLedReady(Device* device);
[[nodiscard]] int tvcont_commons_disableLedReady(Device* device);
[[nodiscard]] int tvcont_commons_enableLedRemote(Device* device);
[[nodiscard]] int tvcont_commons_disableLedRemote(Device* device);
[[nodiscard]] int tvcont_commons_enableLedError(Device* device);
[[nodiscard]] int tvcont_commons_disableLedError(Device* device);
/// From 1F on, else -241.
[[nodiscard]] int tvcont_commons_enableFan(Device* device);
[[nodiscard]] int tvcont_commons_disableFan(Device* device);
/// Speed, 0 to 1, with option FS; else -241, and -1 for the getter, as without a board.
[[nodiscard]] int tvcont_commons_setFanDac(Device* device, double value);
[[nodiscard]] double tvcont_commons_getFanDac(Device* device);
/// Levels of the pins; negative on failure.
[[nodiscard]] int tvcont_commons_getPinStateRESET(Device* device);
[[nodiscard]] int tvcont_commons_getPinStatePHSTATUS(Device* device);
/// A register of the FPGA of option FS: it gives no answer, -365; without the option -241.
[[nodiscard]] int tvcont_commons_readFsRegister(Device* device, int32_t number, uint32_t* value);
/// The file of the boot delay, in seconds. Without a board the getter gives 0.
[[nodiscard]] double tvcont_commons_getBootDelay(Device* device);
[[nodiscard]] int tvcont_commons_setBootDelay(Device* device, double seconds);
