#include "acquisition/TVPN_ADFPGA.h"
#include "device/device.h"
#include "device/device_acquisition.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

uint32_t acquisitionVersion() {
    if (device_config_usesTVPN_ADFPGA_2A())
        return adfpga_firstSecondGeneration;
    return device_config_usesTVPN_ADFPGA_1E() ? 2 : device_config_usesTVPN_ADFPGA_1D() ? 1 : 0;
}

} // namespace

int Device_init(Device* device) {
    registerDeviceFunctions();
    registerAcquisitionFunctions();
    Device_setDefaults(device);
    TVPN_ADFPGA_init(device->adfpga, acquisitionVersion());
    if (Device_loadCalibrationData)
        Device_loadCalibrationData(device);
    deviceStatusRegistersInit(&device->statusRegisters);
    if (Device_setFrequencyFixed)
        Device_setFrequencyFixed(device, &device->frequency);
    if (Device_setLnaGain)
        Device_setLnaGain(device, 0);
    Device_selectPhaseNoiseAlgBoardA(device);
    if (Device_printInfo)
        Device_printInfo(device);
    return Device_selftest ? Device_selftest(device) : 0;
}
