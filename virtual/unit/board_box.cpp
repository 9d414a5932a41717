#include "virtual/unit/board_box.h"

#include <algorithm>

namespace vi {
namespace {

/// What hangs on the supply's outputs: a resistor each, as of a small oscillator.
constexpr double load_ohm = 350;

// Power detectors: 14 bits over 5 V.
constexpr double zero_V = 2000 * 5 / 16384.0, slope_VPerdB = 200 * 5 / 16384.0, detectorMax_V = 5;

} // namespace

BoardBox::BoardBox(SpiBus& bus, Bench& bench, const UnitBoards& boards)
    : bus_(bus), bench_(bench), controller_(bus, boards.controller),
      supply_(bus, boards, [](size_t, double volts) { return volts / load_ohm; }),
      analogA_(bus, boards, analogBoardA, inputsOf(channelA), "A.alg"),
      analogB_(bus, boards, analogBoardB, inputsOf(channelB), "B.alg") {
    bus.setBroken([&bench](const std::string& name) { return bench_chipBroken(&bench, name); });
}

BoardBox::~BoardBox() {
    bus_.setBroken({});
}

AnalogInputs BoardBox::inputsOf(Channel channel) {
    return {[this](Detector) {
                return std::clamp(zero_V + slope_VPerdB * bench_readLevel_dBm(&bench_), 0.0, detectorMax_V);
            },
            [this, channel] { return bench_readTune_V(&bench_, channel); }};
}

} // namespace vi
