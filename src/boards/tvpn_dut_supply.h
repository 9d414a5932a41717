#pragma once
/// The supply of the device under test: two adjustable channels, 1 and 2, with a reading of their current, and a relay
/// that leads the DUT's signal to the low or the high input. Volts and amperes become counts by the factory
/// calibration.
///
/// A unit may have the board with the relay alone, or none. Then, and in this order, an operation of a channel gives
/// -241, one of a channel that does not exist -114, a value that is no number -224; nothing is changed or sent, and the
/// readings give 0. A transfer that fails gives -200, told by the chip's driver; the record keeps what was asked for,
/// and the next change of the shift register takes its lines along.
///
/// Nothing is locked: the board belongs to whoever may use the device.

#include "calibration/calibration.h"
#include "drivers/AD5640.h"
#include "drivers/AD7940.h"
#include "drivers/SRI.h"

struct DutSupplyChannel {
    AD7940 adc;
    AD5640 dac;
    bool enabled;
    double voltage; // V, as last set
    double current; // A, as last set
};

struct TVPN_DUT_SUPPLY {
    SRI shiftRegister;
    double voltageMax; // V
    double currentMax; // A
    DutSupplyChannel channels[supplyChannels];
    const SupplyConversion (*calibration)[supplyRecords];
    uint32_t relayState; // 0 low, 1 high
    bool relayOnly;      // no channels: every unit has the relay
};

/// Outputs off at count 0, relay high. `calibration` has a row a channel and must outlive the board; it may change.
void TVPN_DUT_SUPPLY_init(TVPN_DUT_SUPPLY* supply, const SupplyConversion (*calibration)[supplyRecords]);

/// The limits are told, not held: whoever takes values from a user holds them. The count stops at the ends of the DAC.
[[nodiscard]] int TVPN_DUT_SUPPLY_setVoltage(TVPN_DUT_SUPPLY* supply, int32_t channel, double volts);
/// Drives the same DAC as the voltage does: what was set last stands.
[[nodiscard]] int TVPN_DUT_SUPPLY_setCurrent(TVPN_DUT_SUPPLY* supply, int32_t channel, double amperes);
/// The DAC's count, 16383 at most; leaves the stored voltage and current as they are.
[[nodiscard]] int TVPN_DUT_SUPPLY_setVoltageDac(TVPN_DUT_SUPPLY* supply, int32_t channel, uint32_t value);
[[nodiscard]] int TVPN_DUT_SUPPLY_enable(TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] int TVPN_DUT_SUPPLY_disable(TVPN_DUT_SUPPLY* supply, int32_t channel);

/// What was set last.
[[nodiscard]] int TVPN_DUT_SUPPLY_isEnabled(const TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] double TVPN_DUT_SUPPLY_getVoltage(const TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] double TVPN_DUT_SUPPLY_getCurrent(const TVPN_DUT_SUPPLY* supply, int32_t channel);
/// Limits of the unit, the same for both channels; 0 without channels.
[[nodiscard]] double TVPN_DUT_SUPPLY_getVoltageMin(const TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] double TVPN_DUT_SUPPLY_getVoltageMax(const TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] double TVPN_DUT_SUPPLY_getCurrentMin(const TVPN_DUT_SUPPLY* supply, int32_t channel);
[[nodiscard]] double TVPN_DUT_SUPPLY_getCurrentMax(const TVPN_DUT_SUPPLY* supply, int32_t channel);

/// Mean of 100 readings in counts, after one that is thrown away; a reading that fails counts as 0.
[[nodiscard]] double TVPN_DUT_SUPPLY_getCurrentAdc(const TVPN_DUT_SUPPLY* supply, int32_t channel);
/// The current in A, 0 at least.
[[nodiscard]] double TVPN_DUT_SUPPLY_measureCurrent(const TVPN_DUT_SUPPLY* supply, int32_t channel);
/// A from a count of the ADC: two laws, each taken at an output voltage, blended by the voltage last set.
[[nodiscard]] double TVPN_DUT_SUPPY_currentFromAdc(const TVPN_DUT_SUPPLY* supply, int32_t channel, double count);

/// 0 low, 1 high: as last set.
[[nodiscard]] uint32_t TVPN_DUT_SUPPLY_readDutRelay(const TVPN_DUT_SUPPLY* supply);
[[nodiscard]] int TVPN_DUT_SUPPLY_setDutRelayLow(TVPN_DUT_SUPPLY* supply);
[[nodiscard]] int TVPN_DUT_SUPPLY_setDutRelayHigh(TVPN_DUT_SUPPLY* supply);

/// The straight line of a record: V or A to counts, and back.
[[nodiscard]] double TVPN_DUT_SUPPLY_toAdcDac(const SupplyConversion* record, double x);
[[nodiscard]] float TVPN_DUT_SUPPLY_fromAdcDac(const SupplyConversion* record, double y);

/// Prints the board and its chips on standard output. Takes readings of its ADCs.
void TVPN_DUT_SUPPLY_printInfo(const TVPN_DUT_SUPPLY* supply);
