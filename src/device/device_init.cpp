// The start of the instrument.

#include "acquisition/adfpga_fvst.h"
#include "base/tvdebug.h"
#include "boards/funcout.h"
#include "boards/tvcont.h"
#include "calibration/calibration_tvpn.h"
#include "device/device.h"
#include "device/device_acquisition.h"
#include "device/device_operations.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

namespace {

constexpr uint32_t indexA = 0, indexB = 1;
constexpr uint32_t generation1B = 0, generation2A = 1, generation2B = 2; // of TVPN_IS
constexpr uint32_t controllerIndex = 1;

constexpr uint32_t thresholdPair_MHz = 1990, thresholdSecondPair_MHz = 2500;
constexpr uint32_t threshold6gOf2A_MHz = 1990, threshold6gOf2BC_MHz = 2030, threshold6g_MHz = 990;

uint32_t acquisitionVersion() {
    if (device_config_usesTVPN_ADFPGA_2A())
        return adfpga_firstSecondGeneration;
    return device_config_usesTVPN_ADFPGA_1E() ? 2 : device_config_usesTVPN_ADFPGA_1D() ? 1 : 0;
}

uint32_t analogVersion() {
    const bool uses[] = {device_config_usesTVPNX_ALG_1C(), device_config_usesTVPNX_ALG_2A(),
                         device_config_usesTVPNX_ALG_2B(), device_config_usesTVPNX_ALG_2C(),
                         device_config_usesTVPNX_ALG_2D()};
    for (uint32_t i = 0; i < std::size(uses); ++i)
        if (uses[i])
            return TVPNX_ALG_1C + i;
    return TVPNX_ALG_1B;
}

void planSources(Device* device) {
    if (device_config_usesTVPN_IS() || device_config_usesTVPN_IS_2()) {
        device->divThresFrequency = thresholdPair_MHz;
        device->isA = &device->isBoardA;
        device->isB = &device->isBoardB;
        device->selectedIs = device->isA;
    }
    if (device_config_usesTVPN_IS6G()) {
        device->is6g = &device->isDoubleBoard;
        device->divThresFrequency = device_config_usesTVPNX_ALG_2A() ? threshold6gOf2A_MHz
                                    : device_config_usesTVPNX_ALG_2B() || device_config_usesTVPNX_ALG_2C()
                                        ? threshold6gOf2BC_MHz
                                        : threshold6g_MHz;
    }
}

bool asksForThirdDetector(const void*) {
    return calibration_tvpn_hasPowerDetectorX3Calibration();
}

void startAnalogBoards(Device* device) {
    device->selectedAlg = &device->algA;
    uint32_t index = indexA;
    for (TVPNX_ALG* const board : {&device->algA, &device->algB}) {
        TVPNX_ALG_init(board, index++, analogVersion());
        TVPNX_ALG_setDetectorQuestion(board, asksForThirdDetector, nullptr);
    }
}

void startSources(Device* device) {
    if (device->is6g != nullptr) {
        TVPN_IS6G_init(device->is6g, TVPN_IS6G_both);
        device->selectedChannel = TVPN_IS6G_both;
    }
    if (device_config_usesTVPN_IS()) {
        TVPN_IS_init(device->isA, indexA, generation1B);
        TVPN_IS_init(device->isB, indexB, generation1B);
    }
    if (device_config_usesTVPN_IS_2()) {
        device->divThresFrequency = thresholdSecondPair_MHz;
        const uint32_t generation = device_config_usesTVPN_IS_2A() ? generation2A : generation2B;
        uint32_t index = indexA;
        for (TVPN_IS* const source : {device->isA, device->isB}) {
            TVPN_IS_init(source, index++, generation);
            TVPN_IS_2A_setInternalRefThresholdFrequency(source, device->divThresFrequency);
        }
    }
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        alg_carryOn(TVPNX_ALG_setPrescalerThresholdFrequency(board, device->divThresFrequency)); // takes each value
}

/// The sources get their frequency here, whether the RF is on or not. The self test tells what does not answer.
void setFirstCarrier(Device* device) {
    slot_carryOn({Device_setFrequencyFixed(device, &device->frequency), Device_setLnaGain(device, 0)});
    device->lowPath = 1;
    if (device->is6g != nullptr) {
        tvfreq frequency = device->frequency;
        static_cast<void>(TVPN_IS6G_powerUp(device->is6g, TVPN_IS6G_both));
        static_cast<void>(TVPN_IS6G_setFrequency(device->is6g, TVPN_IS6G_both, &frequency));
    }
    if (device->isA != nullptr && device->isB != nullptr) {
        for (TVPN_IS* const source : {device->isA, device->isB}) // one that does not lock is tried with each carrier
            static_cast<void>(TVPN_IS_setFrequency(source, &device->frequency, device->lowPath));
    }
    static_cast<void>(TVCONT_ioupdate());
    alg_carryOn(TVPNX_ALG_setDUTAttenuation(device->selectedAlg, 0)); // later revisions have no attenuator
    device_selectA(device);
}

/// The boards that the acquisition board does not wait for.
void startBoards(Device* device) {
    TVCONT_init(device->tvcont, controllerIndex);
    static_cast<void>(TVCONT_enableRF(device->tvcont));
    startAnalogBoards(device);
    startSources(device);
}

void startAcquisition(Device* device) {
    TVPN_ADFPGA_init(device->adfpga, acquisitionVersion());
    if (device_config_usesTVPN_ADFPGA_1C_FVST())
        TVPN_ADFPGA_enableFvst(device->adfpga, &device->statusRegisters.operation);
}

void startMeasurement(Device* device, DeviceMeasurementStart start) {
    if (const int error = start(device); error != 0)
        printd("Device_init(): the measurement cannot start (%d)\n", error);
}

} // namespace

int Device_init(Device* device, DeviceMeasurementStart measurement) {
    planSources(device);
    registerDeviceFunctions();
    registerAcquisitionFunctions();
    Device_setDefaults(device);
    startBoards(device);
    startAcquisition(device);
    CalibrationTVPN_reset(&device->calibration);
    TVPN_DUT_SUPPLY_init(&device->dutSupply, calibration_tvpn_getSupplyCalibration(&device->calibration));
    slot_carryOn(Device_loadCalibrationData(device)); // without a file the defaults hold
    deviceStatusRegistersInit(&device->statusRegisters);
    Funcout_init(device);
    startMeasurement(device, measurement);
    setFirstCarrier(device);
    if (debugEnabled)
        slot_carryOn(Device_printInfo(device)); // for developers
    return device_initialSelftest(device);
}
