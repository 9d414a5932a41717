#include "tests/measure/steps_fixture.h"

#include "tests/slots.h"

#include <algorithm>
#include <cmath>

namespace {

int logged(const std::string& line) {
    return fake->log(line), 0;
}
int logged(const std::string& name, const tvfreq* frequency) {
    return logged(name + ' ' + std::to_string(frequency->intPart));
}

int capture(Device*, uint32_t) {
    for (int channel = 0; channel < 2; ++channel) {
        std::vector<uint16_t>& record = fake->record[channel];
        record.resize(fake->samples - std::min(hardware.missing[channel], fake->samples));
        for (uint32_t i = 0; i < record.size(); ++i)
            record[i] =
                static_cast<uint16_t>(std::clamp(std::round(32768 + hardware.sample(channel, i)), 0.0, 65535.0));
    }
    logged("capture " + std::to_string(fake->samples) + '/' + std::to_string(fake->divider) + '/' +
           std::to_string(fake->channels));
    return hardware.captureResult;
}

const tvpow* level(const char* name) {
    logged(name);
    return &fake->power_dBm;
}

int setSources(Device*, const tvfreq* frequency) {
    hardware.source = tvfreq2double(frequency, nullptr);
    return logged("sources", frequency);
}

} // namespace

void StepsTest::SetUp() {
    MeasureTest::SetUp();
    hardware = {};
    configPN.frequencyRounded = 0;
    fill(Device_getPhaseNoiseDUTFrequency, [](Device*, double hint) {
        logged("count " + std::to_string(std::lround(hint)));
        return hardware.count(hint);
    });
    fill(Device_getFilteredSamples, capture);
    fill(Device_getPrescaler, [](Device*) { return hardware.prescaler; });
    fill(Device_getFmSensitivity, [](Device*) { return hardware.sensitivity; });
    fill(Device_isReferenceSourceInternal, [](Device*) { return hardware.sourceInternal; });
    fill(Device_getDivThresFrequency, [](Device*) { return uint32_t{990}; });
    fill(Device_enablePreamplifier, [](Device*) { return logged("preamplifier on"); });
    fill(Device_disablePreamplifier, [](Device*) { return logged("preamplifier off"); });
    fill(Device_quicklyGetPower, [](Device*) { return level("quick level"); });
    fill(Device_getPowerFixed, [](Device*) { return level("level"); });
    fill(Device_setFrequencyFixed, setSources);
    fill(Device_setFreqVariable, [](Device*, const tvfreq* f) { return logged("boards", f); });
    fill(Device_setOffsettedFrequency,
         [](Device*, const tvfreq* f, int direction) { return logged(direction != 0 ? "beside" : "back", f); });
}
