// Level readings: the detectors' counts through the factory calibration.

#include "base/tvdebug.h"
#include "calibration/calibration_tvpn.h"
#include "core/abstime.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr tvpow unreadable_dBm = -100.0F;
constexpr uint32_t threshold1C_MHz = 400;
constexpr uint64_t preamplifierSettling_us = 100'000;

/// `power` becomes the level that a count stands for at the carrier in force.
void calibrate(Device* device, uint32_t count, tvpow* power, float* raw) {
    TVPNX_ALG* const board = device->selectedAlg;
    calibration_tvpn_getDutPower(&device->calibration, &device->frequency, TVPNX_ALG_isPreamplifierEnabled(board),
                                 static_cast<int>(TVPNX_ALG_getDUTPath(board)), static_cast<uint16_t>(count), power,
                                 raw);
}

const tvpow* quicklyGetDUTPower(Device* device) {
    uint32_t count = 0;
    if (TVPNX_ALG_getDutPowerAdcValue(device->selectedAlg, &count) != 0)
        device->dutPower = unreadable_dBm;
    else
        calibrate(device, count, &device->dutPower, nullptr);
    return &device->dutPower;
}

/// The detector of 1C sees the carrier undivided up to 400 MHz only.
const tvpow* getPower1C(Device* device) {
    const uint32_t threshold_MHz = Device_getDivThresFrequency(device);
    slot_carryOn(Device_setDivThresFrequency(device, threshold1C_MHz)); // a reading goes on with what it gets
    alg_carryOn(TVPNX_ALG_setDUTPath(device->selectedAlg));             // as above
    const tvpow* const power = quicklyGetDUTPower(device);
    slot_carryOn(Device_setDivThresFrequency(device, threshold_MHz));
    alg_carryOn(TVPNX_ALG_setDUTPath(device->selectedAlg)); // as above
    return power;
}

const tvpow* getDUTPower(Device* device) {
    if (device_config_usesTVPNX_ALG_1C())
        return getPower1C(device);
    const TVPNX_ALG* const board = device->selectedAlg;
    if (board->algVersion > TVPNX_ALG_2A && !calibration_tvpn_hasPowerDetectorX3Calibration() &&
        TVPNX_ALG_isPreamplifierEnabled(board) != 0) {
        slot_carryOn(Device_disablePreamplifier(device)); // the single table holds without it; a reading has no error
        tvstuff_delay_us(preamplifierSettling_us);
    }
    return quicklyGetDUTPower(device);
}

const tvpow* getDUTPowerRaw(Device* device) {
    uint32_t count = 0;
    if (TVPNX_ALG_getDutPowerAdcValue(device->selectedAlg, &count) != 0)
        count = 0;
    calibrate(device, count, &device->dutPower, &device->rawPower);
    printd(" PowerRAW = %.1f [dBm] /\n", static_cast<double>(device->rawPower));
    return &device->rawPower;
}

const tvpow* getREFPower(Device* device) {
    const bool wasOn = device->rfEnabled != 0;
    if (wasOn)
        slot_carryOn(Device_disableRf(device)); // a reading has no error
    uint32_t count = 0;
    if (TVPNX_ALG_getRefPowerAdcValue(device->selectedAlg, &count) != 0)
        device->refPower = unreadable_dBm;
    else
        calibrate(device, count, &device->refPower, nullptr);
    if (wasOn)
        slot_carryOn(Device_enableRf(device));
    return &device->refPower;
}

} // namespace

void device_registerLevels() {
    fill(Device_getPower, getDUTPower);
    fill(Device_getPowerFixed, getDUTPower);
    fill(Device_getPowerRaw, getDUTPowerRaw);
    fill(Device_quicklyGetPower, quicklyGetDUTPower);
    fill(Device_getREFPower, getREFPower);
}
