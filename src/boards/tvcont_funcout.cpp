// The low-frequency generator and the function output of the controller board.

#include "base/error_codes.h"
#include "boards/tvcont.h"
#include "boards/tvcont_lines.h"
#include "core/abstime.h"

#include <cmath>

namespace {

constexpr uint64_t pulse_us = 1000, powerUp_us = 10'000;

constexpr float lfgVoltageMax = 1.8F;        // V
constexpr double lfgFullScale = 1023;        // count of the amplitude DAC
constexpr double lfgFullScaleVoltage = 2.25; // V

/// How the chip makes a shape; the square wave comes from its MSB pin.
struct Shape {
    bool square;
    int (*wave)(AD5932*); // null: either
    int (*msbOut)(AD5932*);
};
constexpr Shape shapes[lfgShapes] = {
    {false, AD5932_setSineOut, AD5932_disableMsbout},
    {false, AD5932_setTriangleOut, AD5932_disableMsbout},
    {true, nullptr, AD5932_enableMsbout},
};

int applyShape(TVCONT* board) {
    const Shape& shape = shapes[board->lfgShape];
    return chip_firstFailure({tvcont_setLine(board, FUNCOUT_0_BIT, shape.square),
                              shape.wave != nullptr ? shape.wave(&board->lfgDds) : 0, shape.msbOut(&board->lfgDds),
                              TVCONT_LFG_pulseCtrl(board)});
}

int applyFrequency(TVCONT* board) {
    return chip_firstFailure({AD5932_setStartFreq(&board->lfgDds, board->lfgFrequency), TVCONT_LFG_pulseCtrl(board)});
}

int applyVoltage(TVCONT* board) {
    const double count = static_cast<double>(board->lfgVoltage) * lfgFullScale / lfgFullScaleVoltage;
    return AD5432_setValue(&board->lfgAmplitudeDac, static_cast<uint32_t>(count));
}

int setShape(TVCONT* board, TvcontLfgShape shape) {
    board->lfgShape = shape;
    return board->lfgEnabled ? applyShape(board) : 0;
}

/// What a source needs: its lines, as 0 or 1, and the generator.
struct Route {
    bool bit15, bit1, bit0;
    bool lfg;
};
constexpr Route off{false, false, false, false};
constexpr Route routes[funcoutSources] = {
    {false, false, true, false}, // Pulm
    {false, true, true, true},   // Lfg, whose shape then has bit 0
    off,                         // Trigger
    off,                         // Low
    off,                         // High
    {true, true, false, false},  // Dac
};

/// With option FS the sources that are not the board's own come from the FPGA, which is not driven.
const Route& routeOf(const TVCONT* board) {
    const bool fromFpga = board->revision == tvcontFS && board->funcoutSource == funcoutPulm;
    return board->funcoutEnabled && !fromFpga ? routes[board->funcoutSource] : off;
}

int setSource(TVCONT* board, TvcontFuncoutSource source) {
    board->funcoutSource = source;
    return TVCONT_applyFuncoutConfiguration(board);
}

} // namespace

int TVCONT_LFG_pulseCtrl(TVCONT* board) {
    const int raised = tvcont_setLine(board, LFG_CTRL_BIT, true);
    tvstuff_delay_us(pulse_us);
    return chip_firstFailure({raised, tvcont_setLine(board, LFG_CTRL_BIT, false)});
}

int TVCONT_LFG_setVoltage(TVCONT* board, float volts) {
    if (std::isnan(volts))
        return scpi::illegalParameterValue;
    board->lfgVoltage = volts > lfgVoltageMax ? lfgVoltageMax : volts > 0 ? volts : 0;
    return board->lfgEnabled ? applyVoltage(board) : 0;
}

int TVCONT_LFG_setShapeSine(TVCONT* board) {
    return setShape(board, lfgSine);
}

int TVCONT_LFG_setShapeTriangle(TVCONT* board) {
    return setShape(board, lfgTriangle);
}

int TVCONT_LFG_setShapeSquare(TVCONT* board) {
    return setShape(board, lfgSquare);
}

int TVCONT_LFG_setShape(TVCONT* board, uint32_t shape) {
    return shape < lfgShapes ? setShape(board, static_cast<TvcontLfgShape>(shape)) : scpi::illegalParameterValue;
}

int TVCONT_LFG_setFrequency(TVCONT* board, const tvfreq* frequency) {
    board->lfgFrequency = *frequency;
    return board->lfgEnabled ? applyFrequency(board) : 0;
}

int TVCONT_LFG_enable(TVCONT* board) {
    board->lfgEnabled = true;
    const int powered = tvcont_setLine(board, LFG_OFF_BIT, false);
    tvstuff_delay_us(powerUp_us);
    return chip_firstFailure(
        {powered, AD5932_powerUp(&board->lfgDds), applyShape(board), applyFrequency(board), applyVoltage(board)});
}

int TVCONT_LFG_disable(TVCONT* board) {
    board->lfgEnabled = false;
    return chip_firstFailure({tvcont_setLine(board, LFG_OFF_BIT, true), AD5932_powerDown(&board->lfgDds)});
}

int TVCONT_applyFuncoutConfiguration(TVCONT* board) {
    const Route& route = routeOf(board);
    uint64_t set = 0, clear = 0;
    const auto put = [&](TvcontBit bit, bool on) { (on ? set : clear) |= tvcont_mask({bit}, board->revision); };
    put(FUNCOUT_15_BIT, route.bit15);
    put(FUNCOUT_1_BIT, route.bit1);
    put(FUNCOUT_0_BIT, route.bit0);
    const int routed = tvcont_changeLines(board, set, clear);
    return chip_firstFailure({routed, route.lfg ? TVCONT_LFG_enable(board) : TVCONT_LFG_disable(board)});
}

int TVCONT_enableFuncout(TVCONT* board) {
    board->funcoutEnabled = true;
    return TVCONT_applyFuncoutConfiguration(board);
}

int TVCONT_disableFuncout(TVCONT* board) {
    board->funcoutEnabled = false;
    return TVCONT_applyFuncoutConfiguration(board);
}

int TVCONT_setFuncoutSourcePulm(TVCONT* board) {
    return setSource(board, funcoutPulm);
}

int TVCONT_setFuncoutSourceLfg(TVCONT* board) {
    return setSource(board, funcoutLfg);
}

int TVCONT_setFuncoutSourceTrigger(TVCONT* board) {
    return setSource(board, funcoutTrigger);
}

int TVCONT_setFuncoutSourceLow(TVCONT* board) {
    return board->funcoutSource == funcoutLow ? 0 : setSource(board, funcoutLow);
}

int TVCONT_setFuncoutSourceHigh(TVCONT* board) {
    return board->funcoutSource == funcoutHigh ? 0 : setSource(board, funcoutHigh);
}

int TVCONT_setFuncoutSourceDac(TVCONT* board) {
    return board->revision >= tvcont1E ? setSource(board, funcoutDac) : scpi::hardwareMissing;
}

int TVCONT_setUserOutputDac(TVCONT* board, uint32_t value) {
    return board->revision >= tvcont1E ? AD5640_setValue(&board->userDac, value) : scpi::hardwareMissing;
}
