#include "virtual/physics/channel_settings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vi {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double preamplifierGain_dB = 15;
constexpr std::array<double, 4> capacitors_F{1e-8, 2e-7, 9.4e-7, 3.76e-6}; // by number, from 1
constexpr uint32_t prescalerMax = 8;

struct Limits {
    double min, max;
};
constexpr Limits resistor_ohm{120, 100e3}, loopSupply_V{3, 20}, aid_V{0, 5};
constexpr double sourceMax_Hz = 13.8e9;

void limit(double* value, const Limits& limits) {
    *value = std::isfinite(*value) ? std::clamp(*value, limits.min, limits.max) : limits.min;
}

SignalPath pathOf(const ChannelSettings& settings, const UnitBoards& boards) {
    const DutInput later = settings.path == DutPath::direct ? DutInput::low : DutInput::high;
    return {true, boards.hasHighInput ? later : DutInput::single,
            (settings.preamplifier ? preamplifierGain_dB : 0.0) - settings.attenuation_dB,
            unitBoards_passband(boards, settings.path), settings.path == DutPath::divider ? settings.prescaler : 1};
}

TuneDrive driveOf(const ChannelSettings& settings) {
    switch (settings.tuneSource) {
    case TuneSource::calibration: return TuneDrive::calibration;
    case TuneSource::loop: return TuneDrive::loop;
    default: return TuneDrive::none;
    }
}

} // namespace

void settings_limit(ChannelSettings* settings) {
    ChannelSettings& s = *settings;
    for (double* resistance : {&s.r1_ohm, &s.r2_ohm, &s.r3_ohm})
        limit(resistance, resistor_ohm);
    limit(&s.loopSupply_V, loopSupply_V);
    limit(&s.calibration_V, {0, s.loopSupply_V});
    limit(&s.aid_V, aid_V);
    limit(&s.source_Hz, {0, sourceMax_Hz});
    s.capacitor = std::min<uint32_t>(s.capacitor, capacitors_F.size());
    s.prescaler = std::clamp(s.prescaler, 1U, prescalerMax);
}

ChannelWiring wiring_of(const ChannelSettings& settings, const UnitBoards& boards) {
    ChannelWiring wiring;
    wiring.dut = pathOf(settings, boards);
    wiring.inputHigh = settings.highInput;
    wiring.reference = settings.reference;
    wiring.driven = settings.rfOn || settings.reference == Reference::external;
    wiring.source_Hz = settings.source_Hz;
    wiring.ifChain.input = IfInput::mixer;
    wiring.ifChain.filter = IfFilter::bypass;
    wiring.ifChain.gain_dB = settings.ifGain_dB;
    LoopFilter& loop = wiring.loop;
    loop.r1_ohm = settings.r1_ohm;
    loop.r2_ohm = settings.r2_ohm;
    loop.r3_ohm = settings.aidOn ? settings.r3_ohm : infinite;
    const bool bridged = settings.capacitor == 0 || (settings.open && settings.tuneSource == TuneSource::loop);
    loop.capacitance_F = bridged ? infinite : capacitors_F[settings.capacitor - 1];
    loop.supply_V = settings.loopSupply_V;
    loop.calibration_V = settings.calibration_V;
    loop.aid_V = settings.aid_V;
    loop.source = driveOf(settings);
    wiring.counter = {wiring.dut, double(settings.counterRatio), 0, settings.counterRatio != 0};
    return wiring;
}

} // namespace vi
