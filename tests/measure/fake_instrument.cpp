#include "fake_instrument.h"

#include "device/device_config_sn.h"

#include <cstring>

FakeInstrument* fake;

namespace {

int logged(const char* name, double argument) {
    char line[64];
    snprintf(line, sizeof line, "%s %g", name, argument);
    fake->log(line);
    return 0;
}
int logged(const char* name) {
    fake->log(name);
    return 0;
}

int changed() {
    const std::lock_guard lock(fake->mutex);
    if (fake->inCapture)
        ++fake->changes;
    return 0;
}

int fdBuffer(Device*, uint32_t stage, const void** data) {
    if (fake->spectrumMissing) {
        *data = nullptr;
        return 0;
    }
    fake->buffer.resize(2 * static_cast<size_t>(fake->spectrumPoints));
    for (int i = 0; i < fake->spectrumPoints; ++i) {
        const std::complex<float> point = fake->spectrum(fake->begun, static_cast<int>(stage), i);
        fake->buffer[2 * i] = point.real();
        fake->buffer[2 * i + 1] = point.imag();
    }
    *data = fake->buffer.data();
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
    Device_isRfEnabled = [](Device*) { return 0; };
    Device_enableRfOneChannel = [](Device*, int channel) { return logged("rf on", channel); };
    Device_disableRfOneChannel = [](Device*, int channel) { return logged("rf off", channel); };
    Device_selectPhaseNoiseAlgBoardA = [](Device*) { return logged("A"); };
    Device_selectPhaseNoiseAlgBoardB = [](Device*) { return logged("B"); };
    Device_isPhaseNoiseAlgBoardASelected = [](Device*) { return 1; };
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
    Device_configPulse = [](Device*) { return logged("pulse", configPN.pulseEnabled); };
    Device_enablePreamplifier = [](Device*) { return logged("preamp"); };
    Device_getFmSensitivity = [](Device*) { return 250.0; };
}

void fillAcquisition() {
    Device_setFdStages = [](Device*, uint32_t) { return changed(); };
    Device_setFdCorrelations = [](Device*, int32_t, uint32_t) { return changed(); };
    Device_setFdSamplesCount = [](Device*, int32_t, uint32_t) { return changed(); };
    Device_setFdChannelAOnly = [](Device*) { return logged("fd A"); };
    Device_setFdChannelCrosscorrelation = [](Device*) { return changed(); };
    Device_getFdSamplingFreq = [](Device*, int32_t stage) { return samplingFreq(stage); };
    Device_getPrescaler = [](Device*) { return fake->prescaler; };
    Device_quicklyGetPower = power;
    Device_calibrateTVPNGain = [](Device*, int, const float*, float*) { return 0; };
    Device_capturePhaseNoiseFdSamples = [](Device*) {
        fake->capture();
        return 0;
    };
    Device_getPhaseNoiseFdBuffer = fdBuffer;
    Device_abort_local =
        [](Device*) { // a cut capture ends at once, and so do those after it until the run sees the stop
            fake->open();
            return 0;
        };
}

} // namespace

double samplingFreq(int stage) {
    return 125e6 / std::pow(10, stage);
}

void FakeInstrument::allowCaptures(int count) {
    const std::lock_guard lock(mutex);
    allowed = count;
    changed.notify_all();
}

void FakeInstrument::waitForCapture(int number) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return begun >= number; });
}

int FakeInstrument::capturesBegun() {
    const std::lock_guard lock(mutex);
    return begun;
}

void FakeInstrument::capture() {
    std::unique_lock lock(mutex);
    ++begun;
    inCapture = true;
    changed.notify_all();
    changed.wait(lock, [&] { return begun <= allowed; });
    inCapture = false;
}

int FakeInstrument::changesDuringCapture() {
    const std::lock_guard lock(mutex);
    return changes;
}

void FakeInstrument::log(const std::string& line) {
    const std::lock_guard lock(mutex);
    lines += lines.empty() ? line : "; " + line;
}

std::string FakeInstrument::takeLog() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

void MeasureTest::SetUp() {
    static FakeInstrument instruments[256]; // one a test, so that nothing of another test is left in it
    static int tests = 0;
    fake = &instruments[tests];
    fake->spectrum = [](int, int, int) { return std::complex<float>(1e-9F, 0); };
    strcpy(device_config_sn, "220-336306910-0001"); // analog board 2D
    if (tests++ == 0) {
        fillBoards();
        fillAcquisition();
        ASSERT_EQ(measure_init(device), 0);
    }
    config_reset(device);
    configPN_setTestSetDefinition(device, nullptr);
    pn_measure_waitForMeasurement(device, 1, 0); // takes the code of the last test's run
    fake->takeLog();
}

void MeasureTest::TearDown() {
    measure_endRun(device);
}

int32_t MeasureTest::runOnce() {
    measure_startMeasurement(device);
    return pn_measure_waitForMeasurement(device, 1, 0);
}

std::vector<float> MeasureTest::trace() {
    const float* data = nullptr;
    const int bytes = pn_measure_getSpectrumData(device, &data);
    return {data, data + bytes / 4};
}

std::vector<float> MeasureTest::grid() {
    const float* data = nullptr;
    const int bytes = pn_measure_getSpectrumFreq(device, &data);
    return {data, data + bytes / 4};
}

void MeasureTest::plainTrace() {
    configPN_disableSmoothing(device);
    meas_data.loopWnA = 0;
}
