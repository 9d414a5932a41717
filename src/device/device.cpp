#include "device/device.h"

#include "acquisition/TVPN_ADFPGA.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr tvfreq hertz(int64_t value) {
    return {value, 0};
}

constexpr tvfreq frequencyMaxTVPNM = hertz(7'000'000'000);
constexpr tvfreq frequencyMaxTVPNX = hertz(29'500'000'000); // the analog board's
constexpr tvfreq frequencyMinOfBoard = hertz(1'000'000);
constexpr tvfreq defaultFrequency = hertz(100'000'000);

constexpr uint32_t boardA = 0;
constexpr uint32_t boardB = 1;

Device instrument;
constinit TVPN_ADFPGA acquisitionBoard{};
const char* name = "TVPNX";

const char* getName(Device*) {
    return name;
}
DeviceStatusRegisters* getStatusRegisters(Device* device) {
    return &device->statusRegisters;
}
int clear(Device*) {
    return 0;
}
int periodic(Device*, uint32_t, uint32_t) {
    return 0;
}

const tvfreq* getFrequency(Device* device) {
    return &device->frequency;
}
const tvfreq* getFrequencyMin(Device* device) {
    return &device->frequencyMin;
}
const tvfreq* getFrequencyMax(Device* device) {
    return &device->frequencyMax;
}

int selectAlgBoardA(Device* device) {
    device->selectedBoard = boardA;
    return 0;
}
int selectAlgBoardB(Device* device) {
    device->selectedBoard = boardB;
    return 0;
}
int isAlgBoardASelected(Device* device) {
    return device->selectedBoard == boardA;
}
int isAlgBoardBSelected(Device* device) {
    return device->selectedBoard == boardB;
}

} // namespace

Device* Device_create() {
    Device_openSlots();
    instrument = {};
    instrument.adfpga = &acquisitionBoard;
    return &instrument;
}

void Device_setDefaults(Device* device) {
    const bool isTVPNM = device_config_isTVPNM();
    name = isTVPNM ? "TVPNM" : "TVPNX";
    device->frequencyMax = isTVPNM ? frequencyMaxTVPNM : frequencyMaxTVPNX;
    device->frequencyMin = frequencyMinOfBoard;
    device->frequency = defaultFrequency;
    device->selectedBoard = boardA;
    device->rfEnabled = 0;
    device->referenceInternal = device_config_hasInternalRef();
}

void registerDeviceFunctions() {
    fill(Device_getName, getName);
    fill(Device_getStatusRegisters, getStatusRegisters);
    fill(Device_clear, clear);
    fill(Device_periodic, periodic);
    fill(Device_getFrequency, getFrequency);
    fill(Device_getFrequencyFixed, getFrequency);
    fill(Device_getFrequencyMin, getFrequencyMin);
    fill(Device_getFrequencyMax, getFrequencyMax);
    fill(Device_selectPhaseNoiseAlgBoardA, selectAlgBoardA);
    fill(Device_selectPhaseNoiseAlgBoardB, selectAlgBoardB);
    fill(Device_isPhaseNoiseAlgBoardASelected, isAlgBoardASelected);
    fill(Device_isPhaseNoiseAlgBoardBSelected, isAlgBoardBSelected);
}
