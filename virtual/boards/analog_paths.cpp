#include "virtual/boards/analog_paths.h"

#include <algorithm>

namespace vi {
namespace {

using enum AnalogLine;

constexpr double amplifierGain_dB = 15;

Passband common(const Passband& a, const Passband& b) {
    return {std::max(a.min_Hz, b.min_Hz), std::min(a.max_Hz, b.max_Hz)};
}

SignalPath path(const AnalogSetup& board, DutInput input, DutPath kind, bool amplified = false) {
    return {true, input, amplified ? amplifierGain_dB : 0, unitBoards_passband(board.boards, kind), 1};
}

/// The divider behind a way; without its supply it stands still.
SignalPath divided(const AnalogSetup& board, SignalPath way) {
    constexpr std::array<uint32_t, 4> ratios{1, 8, 4, 2}; // by the address B, A
    way.connected = way.connected && board.high(dividerPower);
    way.band = common(way.band, unitBoards_passband(board.boards, DutPath::divider));
    way.ratio = ratios[board.lines.address(dividerSelectB, dividerSelectA)];
    return way;
}

size_t firstInputSwitch(const AnalogSetup& board) {
    return board.lines.address(inputSwitchB, inputSwitchA);
}

} // namespace

SignalPath analogPath_first(const AnalogSetup& board) {
    const size_t position = firstInputSwitch(board);
    if (position != board.lines.address(outputSwitchB, outputSwitchA))
        return {};
    switch (position) {
    case 0: return path(board, DutInput::single, DutPath::direct);
    case 2: return board.high(amplifierPower) ? path(board, DutInput::single, DutPath::amplifier, true) : SignalPath{};
    case 3: return divided(board, path(board, DutInput::single, DutPath::divider));
    default: return {};
    }
}

SignalPath analogPath_firstDetector(const AnalogSetup& board) {
    return firstInputSwitch(board) == 0 ? path(board, DutInput::single, DutPath::direct) : SignalPath{};
}

DutPath analogPath_secondMux(const AnalogSetup& board) {
    if (!board.high(dutMuxA0))
        return DutPath::divider;
    return board.high(dutMuxA1) ? DutPath::amplifier : DutPath::direct;
}

SignalPath analogPath_second(const AnalogSetup& board, DutPath way) {
    if (analogPath_secondMux(board) != way)
        return {};
    const bool amplified = way == DutPath::amplifier && board.high(amplifierIn);
    const SignalPath open = path(board, DutInput::single, way, amplified);
    return way == DutPath::divider ? divided(board, open) : open;
}

SignalPath analogPath_secondCounter(const AnalogSetup& board, bool behindDivider) {
    const DutPath way = analogPath_secondMux(board);
    const DutPath other = behindDivider ? DutPath::amplifier : DutPath::divider;
    return way != other ? analogPath_second(board, way) : SignalPath{};
}

SignalPath analogPath_low(const AnalogSetup& board) {
    return path(board, DutInput::low, DutPath::direct, board.high(lowAmplifierIn));
}

SignalPath analogPath_highInput(const AnalogSetup& board) {
    SignalPath way = path(board, DutInput::high, DutPath::amplifier);
    way.band.max_Hz = unitBoards_passband(board.boards, DutPath::divider).max_Hz;
    return way;
}

SignalPath analogPath_highLine(const AnalogSetup& board) {
    SignalPath way = analogPath_highInput(board);
    if (board.high(amplifierIn)) {
        way.gain_dB = amplifierGain_dB;
        way.band.max_Hz = board.parts.amplifierMax_Hz;
    }
    return way;
}

SignalPath analogPath_high(const AnalogSetup& board, bool externalMixer) {
    SignalPath way = analogPath_highLine(board);
    if (board.high(dutMuxA0)) {
        way.connected = !externalMixer;
        return divided(board, way);
    }
    way.connected = board.high(dutMuxA1) == externalMixer;
    if (!externalMixer)
        way.band = common(way.band, unitBoards_passband(board.boards, DutPath::amplifier));
    return way;
}

} // namespace vi
