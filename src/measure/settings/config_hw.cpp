#include "measure/settings/config_hw.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/frequency_search.h"
#include "measure/settings/config_accessors.h"

#include <cmath>

namespace {

/// Internal reference selection for each reference code.
constexpr InternalReference internalSelection[] = {internalReference100MHz, internalReferencePll,
                                                   internalReference1GHz};

constexpr double attenuatorStepsMax = 2 * rowOf<&MeasConfig::attenuation>.limits.max;

/// The additive mode has no reference voltages of its own.
const MeasConfig& voltageRecord() {
    return measurement_mode == measurementModeAPN ? configPN : *configPNPtr;
}

int setInternalReference(Device* device, uint32_t reference) {
    const int enabled = Device_enableRf(device);
    const int sourced = onBothBoards(device, [&](int) { return Device_setReferenceSourceInternal(device); });
    const int selected = Device_setInternalReferenceSelection(device, internalSelection[reference]);
    return enabled != 0 ? enabled : sourced != 0 ? sourced : selected;
}

int setExternalReference(Device* device) {
    const MeasConfig& config = voltageRecord();
    const double voltages[] = {config.referenceVoltage2, config.referenceVoltage1}; // of board A, of board B
    const int disabled = Device_disableRf(device);
    const int sourced = onBothBoards(device, [&](int board) {
        const int supplied = Device_setVoutPosVoltage(device, static_cast<float>(voltages[board]));
        const int external = Device_setReferenceSourceExternal(device);
        return supplied != 0 ? supplied : external;
    });
    return disabled != 0 ? disabled : sourced;
}

/// In the order of a change of mode.
constexpr HardwareSide allSides[] = {sideReference, sideReferenceVoltage, sideAttenuation, sideSpotFrequency,
                                     sideFrequency, sideIFgain,           sidePulse};

int movePulse(Device* device) {
    const int configured = Device_configPulse(device);
    const int enabled = configPN.pulseEnabled != 0 ? Device_enablePreamplifier(device) : 0;
    return configured != 0 ? configured : enabled;
}

int moveSide(Device* device, HardwareSide side) {
    const MeasConfig& config = *configPNPtr;
    switch (side) {
    case sideReference: return configHW_setReference(device, config.reference);
    case sideReferenceVoltage:
        if (config.reference != referenceExternal)
            return 0;
        return configHW_setReferenceVoltage(device, config.referenceVoltage1, config.referenceVoltage2);
    case sideAttenuation: return configHW_setAttenuation(device, config.attenuation);
    case sideSpotFrequency: return configHW_setSpotFrequency(device, config.spotFrequency);
    case sideFrequency: return configHW_setFrequency(device);
    case sideIFgain: return Device_setLnaGain(device, static_cast<int>(config.ifGain));
    case sidePulse: return movePulse(device);
    }
    return 0;
}

} // namespace

int configHW_setReference(Device* device, uint32_t reference) {
    if (reference <= referenceHighSensitivity)
        return setInternalReference(device, reference);
    if (reference == referenceExternal)
        return setExternalReference(device);
    return scpi::illegalParameterValue;
}

int config_changeReference(Device* device, MeasConfig* config, uint32_t reference, bool active) {
    const uint32_t before = config->reference.exchange(reference);
    const int error = active ? configHW_move(device, sideReference) : 0;
    if (error != 0)
        config->reference = before;
    return error;
}

int configHW_setAttenuation(Device* device, double attenuation) {
    const double halfDecibels = std::trunc(2 * attenuation);
    const double steps = halfDecibels > 0 ? std::fmin(halfDecibels, attenuatorStepsMax) : 0;
    return onBothBoards(device,
                        [&](int) { return Device_setTotalStepAttenuation(device, static_cast<uint32_t>(steps)); });
}

int configHW_setSpotFrequency(Device* device, double spotFrequency) {
    if (!Device_setSpotFreq)
        return 0;
    tvfreq exact;
    double2tvfreq(&spotFrequency, &exact);
    return Device_setSpotFreq(device, &exact);
}

int configHW_setFrequency(Device* device) {
    const int enabled = Device_isRfEnabled(device) != 0 ? 0 : Device_enableRf(device);
    if (configPNPtr->frequency > 0)
        pn_measure_roundFrequency(device, configPNPtr);
    return enabled;
}

int configHW_setReferenceVoltage(Device* device, double voltage1, double voltage2) {
    const double voltages[] = {voltage2, voltage1}; // of board A, of board B
    return onBothBoards(
        device, [&](int board) { return Device_setVoutPosVoltage(device, static_cast<float>(voltages[board])); });
}

int configHW_setReferenceSens(Device*, int32_t channel, double sensitivity) {
    MeasConfig* config = configPNPtr;
    switch (channel) {
    case 1: config->refSensA = sensitivity; return 0;
    case 2: config->refSensB = sensitivity; return 0;
    default: return scpi::illegalParameterValue;
    }
}

int configHW_setIFgain(Device* device, double gain) {
    const AnalogBoard& board = analogBoard();
    if (!(gain >= 0 && gain <= board.gainRequestMax))
        return scpi::illegalParameterValue;
    const GainStep* step = board.gains.data();
    while (gain >= step->below)
        ++step;
    configPNPtr->ifGain = step->gain;
    return configHW_move(device, sideIFgain);
}

int configHW_move(Device* device, HardwareSide side) {
    if (!hardware_isRunThread) {
        MutexLock lock(meas_data.stateMutex);
        if (meas_data.idle == 0) {
            meas_data.sidesWaiting |= side;
            return 0;
        }
    }
    return moveSide(device, side);
}

void configHW_moveWaiting(Device* device, uint32_t sides) {
    for (const HardwareSide side : allSides)
        if ((sides & side) != 0 && moveSide(device, side) != 0)
            printd("configHW_moveWaiting(): side %u failed\n", unsigned{side});
}
