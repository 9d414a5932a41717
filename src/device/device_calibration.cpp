// The unit's factory data: loading, its date, and what it makes of measured values.

#include "calibration/calibration_files.h"
#include "calibration/calibration_tvpn.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"

namespace {

constexpr SlotRegistrar fill{"device"};

void setSensitivity(void* context, SourceSensitivity which, int channel, double value) {
    const Slot<int(Device*, double)>* const slots[] = {&Device_setVcoSensitivity, &Device_setVco10MSensitivity,
                                                       &Device_setVco100MSensitivity, &Device_setVco1000MSensitivity};
    auto* const device = static_cast<Device*>(context);
    channel == 0 ? device_selectA(device) : device_selectB(device);
    slot_carryOn((*slots[static_cast<int>(which)])(device, value)); // the file may hold sources that this unit lacks
    device_selectA(device);
}

int load(Device* device) {
    const CalibrationDevice reader{setSensitivity, device, static_cast<uint32_t>(Device_getDefaultGainStages(device))};
    return loadCalibrationData(&reader, &device->calibration);
}

int getDate(Device*, char* text) {
    return getCalibrationDate(text, calibrationDateSize);
}
int setDate(Device*, const char* text) {
    return setCalibrationDate(text);
}

int calibrateGain(Device* device, int count, const float* offsets, float* levels) {
    const GainConditions conditions{.lnaGain = static_cast<double>(Device_getLnaGain(device)),
                                    .preamp = Device_isPreamplifierEnabled(device),
                                    .frequency = Automeasure_config_getFrequency(device)};
    return calibrateTVPNGain(&device->calibration, &conditions, static_cast<uint32_t>(count), offsets, levels);
}

int calibrateFrequency(Device* device, double* value, double* previous) {
    return calibrateTVPNFrequency(&device->calibration, value, previous);
}

} // namespace

void device_registerCalibration() {
    fill(Device_loadCalibrationData, load);
    fill(Device_getCalibrationDate, getDate);
    fill(Device_setCalibrationDate, setDate);
    fill(Device_calibrateTVPNGain, calibrateGain);
    fill(Device_calibrateTVPNFrequency, calibrateFrequency);
}
