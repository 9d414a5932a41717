#pragma once
/// What each bit of the analog board's shift register is wired to, by revision.

#include "virtual/boards/unit_boards.h"

#include <cstddef>

namespace vi {

/// 1B and 1C have the same wiring.
enum class AnalogWiring : size_t { w1, w2A, w2B, w2C, w2D };

[[nodiscard]] constexpr AnalogWiring analogWiring_of(AnalogRevision revision) {
    switch (revision) {
    case AnalogRevision::r2A: return AnalogWiring::w2A;
    case AnalogRevision::r2B: return AnalogWiring::w2B;
    case AnalogRevision::r2C: return AnalogWiring::w2C;
    case AnalogRevision::r2D: return AnalogWiring::w2D;
    default: return AnalogWiring::w1;
    }
}

/// A line's name says what it does while it is high.
enum class AnalogLine : uint8_t {
    // Input paths.
    dividerPower,
    dividerSelectA,
    dividerSelectB,
    inputSwitchA, // at the input of the three paths of 1B and 1C, and at their other end
    inputSwitchB,
    outputSwitchA,
    outputSwitchB,
    amplifierPower,
    amplifierIn, // else it is bypassed: of the amplifier path on 2A, at the high input later
    lowAmplifierIn,
    dutMuxA0,
    dutMuxA1,
    // Reference.
    sourceToMixer,
    referenceSwitch, // to attenuator and amplifier
    referenceAmplifierPower,
    externalReference,
    externalToAmplified, // to the mixer of that path alone, else to that of the direct path, too
    referenceMux,
    // IF.
    ifMuxEnable,
    ifMuxA0,
    ifMuxA1,
    mixerToIf, // else the baseband input
    filtersIn,
    basebandAmplifierOff,
    filterEnable,
    filterA0,
    filterA1,
    off5MHz,
    on20MHz,
    on50MHz,
    bandAmplifier,
    bandAmplifierBypass,
    vga1,
    vga2,
    acCoupling,
    fmDiscriminator,
    pulseGate,
    // Counter chain.
    counterPower,
    counterAmplifier,
    counterSelect, // 1B and 1C: the RF input of the PLL; 2A: the divider's way; later: the high input
    counterBypass0,
    counterBypass1,
    counterBypass2,
    counterFurther,
    ifToAdc, // else the counter
    // Power detectors.
    detectorPower,
    detectDut,
    detectReference,
    detectAdl6010,
    detectAm,
    detectLow,
    detectHigh, // not the middle one
    lowDetectorPower,
    middleDetectorPower,
    highDetectorPower,
    // Loop filter and tune lines.
    bridge1, // of the capacitor with this number
    bridge2,
    bridge3,
    bridge4,
    calibrationOut,
    loopOut,
    loadSource,
    loadExternal,
    loopToSource,
    loopToExternal,
    calibrationToSource,
    calibrationToExternal,
    tuneAdcIn,
    dutTuneOut,
    count
};

/// The lines of one board as its shift register has set them.
class AnalogLines {
public:
    AnalogLines(AnalogWiring wiring, uint64_t bits) : wiring_(wiring), bits_(bits) {}
    [[nodiscard]] bool has(AnalogLine line) const;
    /// False also for a line that the board does not have.
    [[nodiscard]] bool high(AnalogLine line) const;
    /// True unless the board has the line and it is low.
    [[nodiscard]] bool highOrAbsent(AnalogLine line) const { return high(line) || !has(line); }
    /// 0 to 3.
    [[nodiscard]] size_t address(AnalogLine a1, AnalogLine a0) const {
        return (high(a1) ? size_t{2} : 0) + (high(a0) ? 1 : 0);
    }

private:
    AnalogWiring wiring_;
    uint64_t bits_;
};

} // namespace vi
