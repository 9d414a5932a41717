#include "measure/run/run_settings.h"

#include "measure/settings/measurement_configuration.h"

#include <array>

namespace {

constexpr Shared<double> Detected::*found[] = {
    &Detected::frequency, &Detected::frequencyRaw, &Detected::frequencyRounded,
    &Detected::power,     &Detected::powerRaw,     &Detected::ifGain,
    &Detected::kphiA,     &Detected::kphiB,        &Detected::loopBandwidth,
};
constexpr Shared<uint32_t> RunState::*detectFlags[] = {
    &RunState::doFrequency,
    &RunState::doAttenuation,
    &RunState::doKphi,
    &RunState::doIFgain,
};

MeasConfig copy;
VcoSettings copyOfSweep;
MeasConfig* record = nullptr;
std::array<double, std::size(found)> known;    // what the run has seen or left in the record
std::array<bool, std::size(found)> theClients; // set by a client since then

} // namespace

void runSettings_take() {
    record = configPNPtr;
    {
        MutexLock lock(meas_data.testSetMutex);
        copy = *record;
    }
    copyOfSweep = configVCO;
    copy.pulseEnabled = configPN.pulseEnabled;
    copy.gridChanged = record->gridChanged.exchange(0);
    for (const auto flag : detectFlags)
        copy.*flag = (record->*flag).exchange(0);
    for (size_t i = 0; i < std::size(found); ++i)
        known[i] = copy.*found[i];
    theClients.fill(false);
}

void runSettings_use() {
    ConfigInForce::ofRun = &copy;
}

MeasConfig* runSettings_ofRun() {
    return &copy;
}

const VcoSettings& runSettings_ofSweep() {
    return copyOfSweep;
}

void runSettings_publish() {
    if (ConfigInForce::ofRun == nullptr) // the record itself is being worked on
        return;
    for (size_t i = 0; i < std::size(found); ++i) {
        const double value = copy.*found[i];
        if (theClients[i] || value == known[i])
            continue;
        if ((record->*found[i]).replace(known[i], value))
            known[i] = value;
        else
            theClients[i] = true;
    }
}

void runSettings_leave() {
    runSettings_publish();
    for (const auto flag : detectFlags)
        if (copy.*flag != 0)
            record->*flag = 1;
    record->ateMode = copy.ateMode;
    ConfigInForce::ofRun = nullptr;
}
