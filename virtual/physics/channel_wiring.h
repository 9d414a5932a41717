#pragma once
/// A channel between the DUT's cable and the ADC, as the bench counts with it.

#include "virtual/boards/analog_circuit.h"
#include "virtual/physics/signal_chain.h"

namespace vi {

/// At start: nothing is connected.
struct ChannelWiring {
    // Input.
    SignalPath dut;         // to the mixer
    bool inputHigh = false; // where the relay leads the cable, for paths that begin at one of two inputs
    // The mixer's other port.
    Reference reference = Reference::crystal100MHz; // external: what is at the reference input
    bool driven = false;                            // a source's RF, or a way from the reference input, reaches it
    double source_Hz = 0;                           // of the source board, in the middle of its tuning
    double drive_dB = 0;                            // what comes on top of the source's or the reference's level
    // Behind it.
    IfChain ifChain;
    LoopFilter loop; // `source` is the drive of the tune line in use
    CounterChain counter;

    /// The cable reaches the beginning of a path.
    [[nodiscard]] bool reaches(const SignalPath& path) const {
        return path.input == DutInput::single || (path.input == DutInput::high) == inputHigh;
    }
    /// What comes out of the mixer gets to the ADC.
    [[nodiscard]] bool ifOpen() const {
        return ifChain.input == IfInput::mixer && ifChain.filter != IfFilter::none && !counter.atAdc;
    }

    bool operator==(const ChannelWiring&) const = default;
};

} // namespace vi
