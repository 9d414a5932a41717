// The phase-locked loops: mode, filter, tune voltages; the tune output for the DUT.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "device_table/internal_reference.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr SlotRegistrar fill{"device"};
constexpr auto selected = &Device::selectedAlg;

struct LoopMode {
    int code;
    int open;
    int (*tuneSource)(TVPNX_ALG*);
    int (*acquisitionAid)(TVPNX_ALG*);
};
constexpr LoopMode loopModes[] = {
    {1, 1, TVPNX_ALG_setRefTuneSourceCalibration, TVPNX_ALG_setAcquisitionShutdownMode},
    {3, 0, TVPNX_ALG_setRefTuneSourceLoop, TVPNX_ALG_setAcquisitionShutdownMode},
    {4, 0, TVPNX_ALG_setRefTuneSourceLoop, TVPNX_ALG_setAcquisitionNormalMode},
    {5, 0, TVPNX_ALG_setRefTuneSourceCalibration, TVPNX_ALG_setAcquisitionShutdownMode},
};

int selectPnLoopMode(Device* device, int code) {
    const LoopMode* mode =
        std::find_if(std::begin(loopModes), std::end(loopModes), [=](const LoopMode& row) { return row.code == code; });
    if (mode == std::end(loopModes)) {
        printd("TVPNX_ALG: invalid locking mode selected\n");
        return scpi::illegalParameterValue;
    }
    alg_carryOn(TVPNX_ALG_setOpenMode(device->selectedAlg, mode->open)); // a mark in the record
    mode->tuneSource(device->selectedAlg);
    mode->acquisitionAid(device->selectedAlg);
    device->loopMode = static_cast<uint32_t>(code);
    return 0;
}

int setResistance(Device* device, int index, double ohm) {
    switch (index) {
    case 1: return TVPNX_ALG_setLoopFilterR1(device->selectedAlg, ohm);
    case 2: return TVPNX_ALG_setLoopFilterR2(device->selectedAlg, ohm);
    case 3: return TVPNX_ALG_setLoopFilterR3(device->selectedAlg, ohm);
    default: return scpi::illegalParameterValue;
    }
}

/// The 1 GHz reference takes no more at its tune port.
double held(Device* device, double volts) {
    constexpr double held_V = 5;
    return volts > held_V && Device_getInternalReferenceSelection(device) == internalReference1GHz ? held_V : volts;
}

int setVoutPosVoltage(Device* device, float volts) {
    return TVPNX_ALG_setLoopSupplyVoltage(device->selectedAlg, held(device, static_cast<double>(volts)));
}

int setTuneOutVoltage(Device* device, double volts) {
    return TVPNX_ALG_setCalTuneVoltage(device->selectedAlg, held(device, volts));
}

/// The board's tune ADC has 14 bits of 5 V behind a divider by 4. Without it the source board reads its own.
double getIsTuneVoltage(Device* device) {
    constexpr double steps = 16384, board_V = 4 * 5, source_V = 4.545 * 3.3;
    if (device->selectedAlg->algVersion > TVPNX_ALG_1C)
        return TVPNX_ALG_getTuneAdcValue(device->selectedAlg) * board_V / steps;
    if (device->is6g != nullptr)
        return TVPN_IS6G_getVtune_ocxo(device->is6g, device->selectedChannel);
    if (device->selectedIs != nullptr)
        return TVPN_IS_getReferenceExternalTuning(device->selectedIs) * source_V / steps;
    return 0.0;
}

} // namespace

void device_registerLoop() {
    fill(Device_selectPnLoopMode, selectPnLoopMode);
    forward<selected, TVPNX_ALG_setLoopFilterCapArray>(fill, Device_selectLoopC);
    forward<selected, TVPNX_ALG_getLoopCListStr>(fill, Device_getLoopCListStr);
    fill(Device_setResistance, setResistance);
    forward<selected, TVPNX_ALG_setAcquisitionDriverVout>(fill, Device_setLockhelperVoltage);
    fill(Device_setVoutPosVoltage, setVoutPosVoltage);
    fill(Device_setTuneOutputVoltage, setTuneOutVoltage);
    forward<selected, TVPNX_ALG_getTuneVoltage>(fill, Device_getTuneOutputVoltage);
    forward<selected, TVPNX_ALG_setExternalTuneVoltage>(fill, Device_setExternalTuneOutputVoltage);
    forward<selected, TVPNX_ALG_getExternalTuneVoltage>(fill, Device_getExternalTuneOutputVoltage);
    fill(Device_getIsTuneVoltage, getIsTuneVoltage);
    forward<selected, TVPNX_ALG_getDutTuneVoltage>(fill, Device_getDutTuneOutputVoltage);
    forward<selected, TVPNX_ALG_setDutTuneVoltage>(fill, Device_setDutTuneOutputVoltage);
    forward<selected, TVPNX_ALG_isDutTuneVoltageEnabled>(fill, Device_isDutTuneOutputVoltageEnabled);
    forward<selected, TVPNX_ALG_enableDutTuneVoltage>(fill, Device_enableDutTuneOutputVoltage);
    forward<selected, TVPNX_ALG_disableDutTuneVoltage>(fill, Device_disableDutTuneOutputVoltage);
}
