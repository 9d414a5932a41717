#pragma once
/// A channel that is wired past its boards.

#include "virtual/physics/bench.h"

#include <limits>

namespace vi {

/// The source on a carrier, the loop without a tune source, the IF chain without filter and gain, the counter off.
inline ChannelWiring straightWiring(const UnitBoards& boards, double carrier_Hz) {
    const bool high = carrier_Hz > 2e9, divided = carrier_Hz > 13e9;
    const DutPath path = divided ? DutPath::divider : high ? DutPath::amplifier : DutPath::direct;
    ChannelWiring wiring;
    wiring.dut = {true, high ? DutInput::high : DutInput::low, 0, unitBoards_passband(boards, path), divided ? 2U : 1U};
    wiring.inputHigh = high;
    wiring.driven = true;
    wiring.source_Hz = carrier_Hz / wiring.dut.ratio;
    wiring.ifChain.input = IfInput::mixer;
    wiring.ifChain.filter = IfFilter::bypass;
    wiring.loop = {.r1_ohm = 10e3,
                   .r2_ohm = 10e3,
                   .r3_ohm = std::numeric_limits<double>::infinity(),
                   .capacitance_F = 3.76e-6,
                   .supply_V = 15,
                   .aid_V = 2.5};
    wiring.counter.path = wiring.dut;
    return wiring;
}

inline void divideForCounter(ChannelWiring* wiring, double ratio) {
    wiring->counter.ratio = ratio;
    wiring->counter.atAdc = true;
}

} // namespace vi
