// Slots of the analog boards: selection, gain, attenuation, loop.

#include "base/error_codes.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "virtual/stand_in/slot_adapter_unit.h"

#include <algorithm>
#include <cmath>

using namespace vi;

namespace slot_adapter {
namespace {

constexpr double attenuationStep_dB = 0.5;
constexpr uint32_t attenuationStepsMax = 126, attenuatorSteps = 63; // above: less 64, behind the amplifier
constexpr double lowSupply_V = 5;                                   // as long as the 1 GHz references are in use

// Tune ADCs: 14 bits, of the analog boards over 20 V, of the source boards, which serve the first analog boards, less.
constexpr double tuneSteps = 16384, tuneRange_V = 4 * 5, tuneRangeFirst_V = 4.545 * 3.3;

bool firstBoards(const Unit& unit) {
    const AnalogRevision revision = unit.bench->boards.analog;
    return revision == AnalogRevision::r1B || revision == AnalogRevision::r1C;
}

// ---- gain and attenuation -------------------------------------------------------------------------------------------

int getLnaGain(Device* device) {
    const Access unit;
    return bench_settings(unit->bench, selected(device)).ifGain_dB;
}

int setLnaGain(Device*, int request_dB) {
    const Access unit;
    const int gain_dB = unitBoards_ifGain_dB(unit->bench->boards, request_dB);
    changeBoth(*unit, [=](ChannelSettings& s) { s.ifGain_dB = gain_dB; });
    return 0;
}

int isPreamplifierEnabled(Device* device) {
    const Access unit;
    return bench_settings(unit->bench, selected(device)).preamplifier;
}

template <bool on> int setPreamplifier(Device*) {
    const Access unit;
    if (firstBoards(*unit))
        return scpi::hardwareMissing;
    changeBoth(*unit, [](ChannelSettings& s) { s.preamplifier = on; });
    return 0;
}

uint32_t getAttenuation(Device* device) {
    const Access unit;
    const ChannelSettings settings = bench_settings(unit->bench, selected(device));
    const auto steps = static_cast<uint32_t>(std::lround(settings.attenuation_dB / attenuationStep_dB));
    return settings.path == DutPath::amplifier ? steps + attenuatorSteps + 1 : steps;
}

int setAttenuation(Device*, uint32_t steps) {
    const Access unit;
    if (!firstBoards(*unit) || steps > attenuationStepsMax)
        return 0; // the boards' refusal does not reach the caller
    const bool amplified = steps > attenuatorSteps;
    changeBoth(*unit, [=](ChannelSettings& s) {
        s.attenuation_dB = attenuationStep_dB * (amplified ? steps - attenuatorSteps - 1 : steps);
        s.preamplifier = amplified;
        if (s.path != DutPath::divider)
            s.path = amplified ? DutPath::amplifier : DutPath::direct;
    });
    return 0;
}

// ---- loop -----------------------------------------------------------------------------------------------------------

int selectLoopMode(Device* device, int mode) {
    const Access unit;
    if (mode != 1 && mode != 3 && mode != 4 && mode != 5)
        return scpi::illegalParameterValue;
    unit->loopMode = mode;
    change(*unit, selected(device), [=](ChannelSettings& s) {
        s.open = mode == 1;
        s.tuneSource = mode == 3 || mode == 4 ? TuneSource::loop : TuneSource::calibration;
        s.aidOn = mode == 4;
    });
    return 0;
}

int selectLoopC(Device* device, uint32_t number) {
    const Access unit;
    constexpr uint32_t capacitorMax = 4;
    if (number > capacitorMax)
        return scpi::illegalParameterValue;
    change(*unit, selected(device), [=](ChannelSettings& s) { s.capacitor = number; });
    return 0;
}

int setResistance(Device* device, int index, double ohm) {
    const Access unit;
    constexpr double r1Max_ohm = 100e3;
    double ChannelSettings::*const resistors[] = {&ChannelSettings::r1_ohm, &ChannelSettings::r2_ohm,
                                                  &ChannelSettings::r3_ohm};
    if (index < 1 || index > 3 || (index == 1 && ohm > r1Max_ohm))
        return scpi::illegalParameterValue;
    change(*unit, selected(device), [=](ChannelSettings& s) { s.*resistors[index - 1] = ohm; });
    return 0;
}

int setLockhelperVoltage(Device* device, float volts) {
    const Access unit;
    constexpr double steps = 1024, range_V = 5;
    const double wiper = std::clamp(std::trunc(steps - steps * static_cast<double>(volts) / range_V), 0.0, steps - 1);
    change(*unit, selected(device), [=](ChannelSettings& s) { s.aid_V = range_V * (1 - wiper / steps); });
    return 0;
}

double held(const Unit& unit, double volts) {
    return unit.reference == Reference::resonator1GHz ? std::min(volts, lowSupply_V) : volts;
}

int setVoutPosVoltage(Device* device, float volts) {
    const Access unit;
    const double supply = held(*unit, static_cast<double>(volts));
    change(*unit, selected(device), [=](ChannelSettings& s) { s.loopSupply_V = supply; });
    return 0;
}

int setTuneOutputVoltage(Device* device, double volts) {
    const Access unit;
    const double tune = held(*unit, volts);
    change(*unit, selected(device), [=](ChannelSettings& s) { s.calibration_V = tune; });
    return 0;
}

double getTuneOutputVoltage(Device* device) {
    const Access unit;
    return bench_settings(unit->bench, selected(device)).calibration_V;
}

double getIsTuneVoltage(Device* device) {
    const Access unit;
    const double step = (firstBoards(*unit) ? tuneRangeFirst_V : tuneRange_V) / tuneSteps;
    return std::clamp(std::round(bench_readTune_V(unit->bench, selected(device)) / step), 0.0, tuneSteps - 1) * step;
}

} // namespace

void installAnalog() {
    fill(Device_getLnaGain, getLnaGain);
    fill(Device_setLnaGain, setLnaGain);
    fill(Device_isPreamplifierEnabled, isPreamplifierEnabled);
    fill(Device_enablePreamplifier, setPreamplifier<true>);
    fill(Device_disablePreamplifier, setPreamplifier<false>);
    fill(Device_getTotalStepAttenuation, getAttenuation);
    fill(Device_setTotalStepAttenuation, setAttenuation);

    fill(Device_selectPnLoopMode, selectLoopMode);
    fill(Device_selectLoopC, selectLoopC);
    fill(Device_setResistance, setResistance);
    fill(Device_setLockhelperVoltage, setLockhelperVoltage);
    fill(Device_setVoutPosVoltage, setVoutPosVoltage);
    fill(Device_setTuneOutputVoltage, setTuneOutputVoltage);
    fill(Device_getTuneOutputVoltage, getTuneOutputVoltage);
    fill(Device_getIsTuneVoltage, getIsTuneVoltage);
}

} // namespace slot_adapter
