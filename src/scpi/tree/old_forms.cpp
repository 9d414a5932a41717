#include "scpi/tree/old_forms.h"

#include "scpi/link.h"
#include "scpi/tree/leaves.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace scpi {
namespace {

constexpr char calibrationPath[] = "/tolvane/dev/calibration.csv";

} // namespace

void old_exit(Unit&, char*) {
    if (oldFormServices.exitProcess != nullptr)
        oldFormServices.exitProcess();
}

void old_rfState(Unit& unit, char*) {
    if (Device_isRfEnabled)
        answerText(unit, {Device_isRfEnabled(unit.device) != 0 ? "rf on" : "rf off"});
}

void old_temperature(Unit& unit, char*) {
    if (!Device_getContTemperature)
        return;
    std::array<char, 64> text{};
    snprintf(text.data(), text.size(), "temp_celsius=%.4f/",
             static_cast<double>(Device_getContTemperature(unit.device)));
    answerText(unit, {text.data()});
}

/// A plain conversion of what the rest begins with: 0 where that is no number, the nearer end beyond 32 bits. What
/// stands behind the number does not count.
void old_attenuation(Unit& unit, char* rest) {
    if (!Device_setTotalStepAttenuation)
        return;
    const long steps = std::clamp<long>(strtol(rest, nullptr, 10), INT32_MIN, INT32_MAX);
    unit.errorCode = Device_setTotalStepAttenuation(unit.device, static_cast<uint32_t>(steps));
}

void old_modulationDacs(Unit& unit, char*) {
    answerText(unit, {"LFO DAC: 0, FM/PM DAC: 0"});
}

void old_levelCorrection(Unit& unit, char*) {
    unit.errorCode = 0;
}

void old_sendCalibration(Unit& unit, char*) {
    if (unit.link == &link_socket && oldFormServices.sendFile != nullptr)
        unit.errorCode = oldFormServices.sendFile(calibrationPath);
}

void old_receiveCalibration(Unit& unit, char*) {
    if (unit.link != &link_socket || oldFormServices.receiveFile == nullptr || !Device_loadCalibrationData)
        return;
    int32_t error = oldFormServices.receiveFile(calibrationPath);
    if (error == 0)
        error = Device_loadCalibrationData(unit.device);
    answerText(unit, {error == 0 ? "calibration loaded" : "calibration failed"});
    if (error != 0)
        unit.errorCode = error;
}

} // namespace scpi
