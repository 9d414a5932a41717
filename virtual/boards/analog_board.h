#pragma once
/// The analog board of one channel, revisions 1B to 2D, as the SPI bus sees it: a shift register and its chips at their
/// addresses. After each frame it knows what circuit it is.
///
/// No chip of this board hangs on the I/O update line: registers, resistors, DACs, attenuators and the counter's PLL
/// act at the end of their own frame, the AD5760 on its load word. The firmware counts on that: it switches detectors
/// and closes tune switches in steps that must be over before it reads or goes on.

#include "virtual/boards/analog_circuit.h"
#include "virtual/boards/analog_lines.h"
#include "virtual/boards/watched_board.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

#include <functional>

namespace vi {

inline constexpr uint32_t analogBoardA = 160, analogBoardB = 176; // first SPI address of a channel's board

/// What the rest of the instrument puts on the board's ADCs. Asked at each conversion.
struct AnalogInputs {
    std::function<double(Detector)> detector_V; // a detector's output while it has its supply
    std::function<double()> tune_V;             // of the tune line in use
};

/// To be built before the first transfer and to outlive the bus. All but the constructor is called under the bus's
/// lock: `circuit` may be looked at when no transfer is on its way, or from the callback.
class AnalogBoard final : public WatchedBoard<AnalogCircuit> {
public:
    /// Its chips' names begin with `name`.
    AnalogBoard(SpiBus& bus, const UnitBoards& boards, uint32_t firstAddress, AnalogInputs inputs,
                const std::string& name = "alg");

private:
    [[nodiscard]] AnalogCircuit decode() const override;
    void decodeFirst(const AnalogLines& lines, AnalogCircuit* circuit) const;
    void decodeLoop(LoopFilter* loop) const;
    [[nodiscard]] DutTune dutTune(bool relayClosed) const;

    UnitBoards boards_;
    AnalogInputs inputs_;
    OutputRegister lines_;
    Hmc624Model dutAttenuator_, referenceAttenuator_;
    Ad7940Model powerAdc_, tuneAdc_;
    Adf4xxxModel counterPll_;
    Ad5293Chain r1AndR2_, r3AndAid_, calibration_, loopSupply_;
    Ad5640Model dac14_; // DUT tune, on 2D the threshold of the pulse gate
    Ad5760Model dac16_; // DUT tune of 2D
};

} // namespace vi
