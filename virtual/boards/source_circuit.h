#pragma once
/// What a source board of a channel is as a circuit: which reference clocks it, and what it puts out.

namespace vi {

/// What clocks the board's DDS.
enum class SourceReference { none, ocxo10MHzTimes100, crystal100MHz, resonator1GHz, lowNoisePll };

/// Where the output is led to. The boards of 1B and the double board have one output.
enum class SourcePort { single, low, high };

struct SourceCircuit {
    SourceReference reference = SourceReference::none;
    double output_Hz = 0; // while the reference stands in the middle of its tuning; 0: no RF
    double level_dB = 0;  // of the output, over what drives a mixer in full
    SourcePort port = SourcePort::single;
    bool usesVco = false; // the output is the VCO's
    bool locked = false;  // the VCO is on the frequency that DDS and dividers ask for
    double vcoTune_V = 0; // at the VCO; at a rail while it cannot follow

    bool operator==(const SourceCircuit&) const = default;
};

} // namespace vi
