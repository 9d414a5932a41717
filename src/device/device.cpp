#include "device/device.h"

#include "acquisition/TVPN_ADFPGA.h"
#include "boards/tvcont.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

#include <memory>

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr tvfreq frequencyMaxTVPNM{7'000'000'000, 0};
constexpr tvfreq defaultFrequency{100'000'000, 0};
constexpr int32_t counterRatioAtStart = 16;

constexpr uint32_t boardA = 0, boardB = 1;

constinit Device instrument{}; // somebody may start it before main
constinit TVPN_ADFPGA acquisitionBoard{};
constinit TVCONT controllerBoard{};
const char* name = "TVPNX";

const char* getName(Device*) {
    return name;
}
DeviceStatusRegisters* getStatusRegisters(Device* device) {
    return &device->statusRegisters;
}
TVCONT* getController(Device* device) {
    return device->tvcont;
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
    device_selectA(device);
    return 0;
}
int selectAlgBoardB(Device* device) {
    device_selectB(device);
    return 0;
}
int isAlgBoardASelected(Device* device) {
    return device->selectedBoard == boardA;
}
int isAlgBoardBSelected(Device* device) {
    return device->selectedBoard == boardB;
}

void select(Device* device, uint32_t board, TVPNX_ALG* analog, TVPN_IS* source) {
    device->selectedAlg = analog;
    device->selectedChannel = board;
    device->selectedIs = source;
    device->selectedBoard = board;
}

} // namespace

Device* Device_create() {
    Device_openSlots();
    std::construct_at(&instrument); // in place: it is too large for the stack
    instrument.tvcont = &controllerBoard;
    instrument.adfpga = &acquisitionBoard;
    instrument.selectedAlg = &instrument.algA;
    instrument.lastCounterRatio = counterRatioAtStart;
    return &instrument;
}

void Device_setDefaults(Device* device) {
    const bool isTVPNM = device_config_isTVPNM();
    name = isTVPNM ? "TVPNM" : "TVPNX";
    if (isTVPNM)
        device->frequencyMax = frequencyMaxTVPNM;
    else
        TVPNX_ALG_getFrequencyMax(device->selectedAlg, &device->frequencyMax);
    TVPNX_ALG_getFrequencyMin(device->selectedAlg, &device->frequencyMin);
    device->frequency = defaultFrequency;
    device->selectedBoard = boardA;
    device->rfEnabled = 0;
    device->referenceInternal = device_config_hasInternalRef();
}

void device_selectA(Device* device) {
    select(device, boardA, &device->algA, device->isA);
}

void device_selectB(Device* device) {
    select(device, boardB, &device->algB, device->isB);
}

void device_registerIdentity() {
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

void device_registerController() {
    fill(Device_getTvcontPtr, getController);
    fill(Device_getFuncoutBoardPtr, getController);
    forward<&Device::tvcont, TVCONT_getTemperature>(fill, Device_getContTemperature);
}

void registerDeviceFunctions() {
    device_registerIdentity();
    device_registerCalibration();
    device_registerController();
    device_registerFrequency();
    device_registerRf();
    device_registerPaths();
    device_registerLoop();
    device_registerReferences();
    device_registerSensitivity();
    device_registerLevels();
    device_registerCounter();
    device_registerSearch();
    device_registerSupply();
    device_registerSelftest();
}
