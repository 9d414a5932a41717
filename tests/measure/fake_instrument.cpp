#include "fake_instrument.h"

#include "identity/device_config_sn.h"
#include "tests/slots.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

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

double countCarrier(Device*, double) {
    if (fake->onSearch)
        fake->onSearch();
    return fake->oscillator ? fake->oscillator(fake->dutTune_V, fake->supply_V) : fake->carrier_Hz;
}

int countDut(Device*) {
    if (const double frequency_Hz = countCarrier(device, 0); frequency_Hz > 0) {
        slot_carryOn({Automeasure_config_setFrequency(device, frequency_Hz),
                      Automeasure_config_setPower(device, static_cast<double>(fake->power_dBm))});
    }
    return 0;
}

int tuneDut(Device*, double volts) {
    fake->dutTune_V = volts;
    if (fake->onTune)
        fake->onTune();
    return logged("dut", volts);
}

int captureRecords(Device*, uint32_t) {
    constexpr double rate = 125e6; // samples per second
    ++fake->records;
    for (int channel = 0; channel < 2; ++channel) {
        auto& record = fake->record[channel];
        record.assign(channel == 0 || fake->channels != 1 ? fake->samples : 0, 0);
        for (uint32_t i = 0; i < record.size(); ++i) {
            const double t = i * fake->divider / rate;
            const double counts = fake->beat ? fake->kphi[channel] * std::sin(2 * std::numbers::pi * beat_Hz * t + 1)
                                             : fake->locked(channel, t);
            record[i] = static_cast<uint16_t>(std::clamp(32768 + counts, 0.0, 65535.0));
        }
    }
    return 0;
}

int recordOf(Device*, uint32_t channel, uint32_t, uint16_t** data) {
    *data = fake->record[channel].data();
    return static_cast<int>(fake->record[channel].size() * sizeof(uint16_t));
}

int setResistance(Device*, int index, double ohm) {
    char line[64];
    snprintf(line, sizeof line, "R%d %g", index, ohm);
    fake->log(line);
    fake->board[fake->channel].resistance[index] = ohm;
    return 0;
}

int selectChannel(int channel) {
    fake->channel = channel;
    return logged(channel == 0 ? "A" : "B");
}

int setSources(const tvfreq* f, const char* name) {
    fake->beat = false;
    return logged(name, tvfreq2double(f, nullptr));
}

void fillLoop() {
    fill(Device_getInternalReferenceSelection, [](Device*) { return fake->selection; });
    fill(Device_getFmSensitivity, [](Device*) { return fake->sensitivity[fake->channel]; });
    fill(Device_getIsTuneVoltage, [](Device*) { return fake->tune(fake->channel); });
    fill(Device_setResistance, setResistance);
    fill(Device_selectLoopC, [](Device*, uint32_t number) { return logged("C", number); });
    fill(Device_selectPnLoopMode, [](Device*, int mode) {
        fake->board[fake->channel].loopMode = mode;
        return logged("loop", mode);
    });
    fill(Device_setLockhelperVoltage, [](Device*, float volts) {
        fake->board[fake->channel].helper = volts;
        return logged("helper", static_cast<double>(volts));
    });
}

void fillSearch() {
    fill(Device_getPhaseNoiseDUTFrequency, countCarrier);
    fill(Device_getCounterTimeout, [](Device*) { return fake->gate; });
    fill(Device_setCounterTimeout, [](Device*, tv_time gate) { return fake->gate = gate, logged("gate", gate); });
    fill(Device_quicklyGetPower, [](Device*) -> const tvpow* { return &fake->power_dBm; });
    fill(Device_setFrequencyFixed, [](Device*, const tvfreq* f) { return setSources(f, "sources"); });
    fill(Device_setOffsettedFrequency, [](Device*, const tvfreq* f, int direction) {
        setSources(f, direction != 0 ? "beside" : "back");
        fake->beat = direction != 0;
        return 0;
    });
}

void fillBoards() {
    fill(Device_setPath, [](Device*, int path) { return logged("path", path); });
    fill(Device_setLnaGain, [](Device*, int gain) { return fake->gain = gain, logged("gain", gain); });
    fill(Device_getLnaGain, [](Device*) { return fake->gain + fake->gainOffset; });
    fill(Device_isRfEnabled, [](Device*) { return fake->rfEnabled; });
    fill(Device_enableRf, [](Device*) { return fake->rfEnabled = 1, logged("rf on"); });
    fill(Device_disableRf, [](Device*) { return fake->rfEnabled = 0, logged("rf off"); });
    fill(Device_isReferenceSourceInternal, [](Device*) { return 1; });
    fill(Device_enableRfOneChannel, [](Device*, int channel) { return logged("rf on", channel); });
    fill(Device_disableRfOneChannel, [](Device*, int channel) { return logged("rf off", channel); });
    fill(Device_selectPhaseNoiseAlgBoardA, [](Device*) { return selectChannel(0); });
    fill(Device_selectPhaseNoiseAlgBoardB, [](Device*) { return selectChannel(1); });
    fill(Device_setReferenceSourceInternal, [](Device*) { return logged("internal"); });
    fill(Device_setReferenceSourceExternal, [](Device*) { return logged("external"); });
    fill(Device_setInternalReferenceSelection, [](Device*, int selection) { return logged("selection", selection); });
    fill(Device_setVoutPosVoltage, [](Device*, float volts) { return logged("supply", static_cast<double>(volts)); });
    fill(Device_setTotalStepAttenuation, [](Device*, uint32_t steps) { return logged("attenuation", steps); });
    fill(Device_setTuneOutputVoltage, [](Device*, double volts) { return logged("tune", volts); });
    fill(Device_setSpotFreq, [](Device*, const tvfreq* spot) { return logged("spot", tvfreq2double(spot, nullptr)); });
    fill(Device_setFrequencyOneChannel,
         [](Device*, const tvfreq* f) { return logged("one", tvfreq2double(f, nullptr)); });
}

void fillSweep() {
    fill(Device_enableCounter, [](Device*) { return logged("counter on"); });
    fill(Device_disableCounter, [](Device*) { return logged("counter off"); });
    fill(Device_getDUTFrequency, countDut);
    fill(Device_setDutTuneOutputVoltage, tuneDut);
    fill(Device_getDutTuneOutputVoltage, [](Device*) { return fake->dutTune_V; });
    fill(Device_isDutTuneOutputVoltageEnabled, [](Device*) { return fake->dutTuneOn; });
    fill(Device_enableDutTuneOutputVoltage, [](Device*) { return fake->dutTuneOn = 1, logged("dut on"); });
    fill(Device_disableDutTuneOutputVoltage, [](Device*) { return fake->dutTuneOn = 0, logged("dut off"); });
    fill(Device_getSupplyOutputVoltage, [](Device*, int32_t) { return fake->supply_V; });
    fill(Device_setSupplyOutputVoltage,
         [](Device*, int32_t, double volts) { return fake->supply_V = volts, logged("supply 1", volts); });
    fill(Device_enableSupplyOutput, [](Device*, int32_t output) { return logged("supply on", output); });
    fill(Device_measureSupplyOutputCurrent, [](Device*, int32_t) { return fake->supply_V / 400; });
}

void fillAcquisition() {
    fill(Device_setFdStages, [](Device*, uint32_t) {
        const std::lock_guard lock(fake->mutex);
        fake->changesInCapture += fake->inCapture;
        return 0;
    });
    fill(Device_setFdChannelAOnly, [](Device*) { return logged("fd A"); });
    fill(Device_getFdSamplingFreq, [](Device*, int32_t stage) { return samplingFreq(stage); });
    fill(Device_getPrescaler, [](Device*) { return uint32_t{2}; });
    fill(Device_getBaseSampleFrequency, [](Device*) { return 125e6; });
    fill(Device_setPhaseNoiseSamples, [](Device*, uint32_t samples) { return fake->samples = samples, 0; });
    fill(Device_setPhaseNoiseDivider, [](Device*, uint32_t divider) { return fake->divider = divider, 0; });
    fill(Device_setPhaseNoiseChannels, [](Device*, uint32_t channels) { return fake->channels = channels, 0; });
    fill(Device_getFilteredSamples, captureRecords);
    fill(Device_getPhaseNoiseFbuffer, recordOf);
    fill(Device_capturePhaseNoiseFdSamples, [](Device*) { return fake->capture(), 0; });
    fill(Device_getPhaseNoiseFdBuffer, fdBuffer);
    // A cut capture ends at once, and so do those after it until the run sees the stop.
    fill(Device_abort_local, [](Device*) { return fake->open(), 0; });
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
        fillLoop();
        fillSearch();
        fillSweep();
        fillAcquisition();
        ASSERT_EQ(measure_init(device), 0);
    }
    config_reset(device);
    configPN_disableSmoothing(device);
    configPN_disableSpurOmission(device);
    meas_data.loopR1A = meas_data.loopR1B = meas_data.loopR2A = meas_data.loopR2B = 1000;
    meas_data.loopWnA = 0;
    configPN_setTestSetDefinition(device, nullptr);
    pn_measure_waitForMeasurement(device, 1, 0); // takes the code of the last test's run
    fake->takeLog();
}
