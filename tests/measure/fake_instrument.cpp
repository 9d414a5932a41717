#include "fake_instrument.h"

#include "device/device_config_sn.h"

#include <cstring>

FakeInstrument* fake;

namespace {

int logged(const char* name, double argument) {
    char line[64];
    snprintf(line, sizeof line, "%s %g", name, argument);
    return fake->log(line), 0;
}
int logged(const char* name) {
    return fake->log(name), 0;
}

int fdBuffer(Device*, uint32_t stage, const void** data) {
    fake->buffer.resize(static_cast<size_t>(fake->spectrumPoints));
    for (int i = 0; i < fake->spectrumPoints; ++i)
        fake->buffer[i] = fake->spectrum(fake->begun, static_cast<int>(stage), i);
    *data = fake->spectrumPoints > 0 ? fake->buffer.data() : nullptr;
    return 8 * fake->spectrumPoints;
}

const tvpow* power(Device*) {
    if (fake->onPower)
        fake->onPower();
    configPNPtr->kphiA = fake->kphiA;
    configPNPtr->kphiB = fake->kphiB;
    meas_data.locked = fake->locked;
    return &fake->power_dBm;
}

void fillBoards() {
    Device_setPath = [](Device*, int path) { return logged("path", path); };
    Device_setLnaGain = [](Device*, int gain) { return logged("gain", gain); };
    Device_enableRf = [](Device*) { return logged("rf on"); };
    Device_disableRf = [](Device*) { return logged("rf off"); };
    Device_enableRfOneChannel = [](Device*, int channel) { return logged("rf on", channel); };
    Device_disableRfOneChannel = [](Device*, int channel) { return logged("rf off", channel); };
    Device_selectPhaseNoiseAlgBoardA = [](Device*) { return logged("A"); };
    Device_selectPhaseNoiseAlgBoardB = [](Device*) { return logged("B"); };
    Device_setReferenceSourceInternal = [](Device*) { return logged("internal"); };
    Device_setReferenceSourceExternal = [](Device*) { return logged("external"); };
    Device_setInternalReferenceSelection = [](Device*, int selection) { return logged("selection", selection); };
    Device_setVoutPosVoltage = [](Device*, float volts) { return logged("supply", static_cast<double>(volts)); };
    Device_setTotalStepAttenuation = [](Device*, uint32_t steps) { return logged("attenuation", steps); };
    Device_selectPnLoopMode = [](Device*, int mode) { return logged("loop", mode); };
    Device_setTuneOutputVoltage = [](Device*, double volts) { return logged("tune", volts); };
    Device_setCounterTimeout = [](Device*, tv_time gate) { return logged("gate", gate); };
    Device_setSpotFreq = [](Device*, const tvfreq* spot) { return logged("spot", tvfreq2double(spot, nullptr)); };
    Device_setFrequencyOneChannel = [](Device*, const tvfreq* f) { return logged("one", tvfreq2double(f, nullptr)); };
    Device_getFmSensitivity = [](Device*) { return 250.0; };
}

void fillAcquisition() {
    Device_setFdStages = [](Device*, uint32_t) {
        const std::lock_guard lock(fake->mutex);
        fake->changesInCapture += fake->inCapture;
        return 0;
    };
    Device_setFdChannelAOnly = [](Device*) { return logged("fd A"); };
    Device_getFdSamplingFreq = [](Device*, int32_t stage) { return samplingFreq(stage); };
    Device_getPrescaler = [](Device*) { return uint32_t{2}; };
    Device_quicklyGetPower = power;
    Device_capturePhaseNoiseFdSamples = [](Device*) { return fake->capture(), 0; };
    Device_getPhaseNoiseFdBuffer = fdBuffer;
    // A cut capture ends at once, and so do those after it until the run sees the stop.
    Device_abort_local = [](Device*) { return fake->open(), 0; };
}

} // namespace

double samplingFreq(int stage) {
    return 125e6 / std::pow(10, stage);
}

void MeasureTest::SetUp() {
    static FakeInstrument instruments[256]; // one a test, so that nothing of another test is left in it
    static int tests = 0;
    fake = &instruments[tests];
    strcpy(device_config_sn, "220-336306910-0001"); // analog board 2D
    if (tests++ == 0) {
        fillBoards();
        fillAcquisition();
        ASSERT_EQ(measure_init(device), 0);
    }
    config_reset(device);
    configPN_disableSmoothing(device);
    configPN_disableSpurOmission(device);
    meas_data.loopWnA = 0;
    configPN_setTestSetDefinition(device, nullptr);
    pn_measure_waitForMeasurement(device, 1, 0); // takes the code of the last test's run
    fake->takeLog();
}
