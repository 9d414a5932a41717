#pragma once
/// What the analog board of a channel is as a circuit: where its switches stand and what its chips put out. A setting
/// that cannot work is no error here but a path without signal, a node that floats, a detector that reads nothing.

#include "virtual/boards/unit_boards.h"

#include <cstdint>

namespace vi {

/// Where the DUT's cable has to end: boards up to 2A have one input, later ones two behind a relay of another board.
enum class DutInput { single, low, high };

/// The way of a carrier from an input to some point. It gets there if the way is connected and its frequency at the
/// input lies in the band; there it has its level plus the gain, and its frequency over the ratio.
struct SignalPath {
    bool connected = false;
    DutInput input = DutInput::single;
    double gain_dB = 0; // of the amplifier, less the attenuator
    Passband band{0, 0};
    uint32_t ratio = 1;

    [[nodiscard]] bool passes(double carrier_Hz) const {
        return connected && carrier_Hz >= band.min_Hz && carrier_Hz <= band.max_Hz;
    }

    bool operator==(const SignalPath&) const = default;
};

/// What drives the mixer's other port. The source boards have one output up to 2A, later two.
enum class MixerReference { none, source, sourceLow, sourceHigh, external, externalAmplified };

enum class IfInput { none, baseband, mixer };
enum class IfFilter { none, bypass, dc, band5MHz, band20MHz, band50MHz };

struct IfChain {
    IfInput input = IfInput::none;
    IfFilter filter = IfFilter::none; // none: nothing gets through
    double bandwidth_Hz = 0;          // of the filter: from below 1 Hz to here
    double gain_dB = 0;               // of filter and variable gain stages
    bool acCoupled = false;
    bool fmDiscriminator = false; // in the path, 2A

    bool operator==(const IfChain&) const = default;
};

/// What drives a tune line. Both: two switches are closed, and two outputs of like resistance meet.
enum class TuneDrive { none, calibration, loop, both };

/// Voltage of a tune line; without a drive it is where what hangs on it pulls it.
[[nodiscard]] constexpr double tuneLine_V(TuneDrive drive, double calibration_V, double loop_V, double floating_V) {
    switch (drive) {
    case TuneDrive::calibration: return calibration_V;
    case TuneDrive::loop: return loop_V;
    case TuneDrive::both: return (calibration_V + loop_V) / 2;
    default: return floating_V;
    }
}

struct LoopFilter {
    double r1_ohm = 0, r2_ohm = 0;
    double r3_ohm = 0;                    // infinite: the acquisition aid is off
    double capacitance_F = 0;             // infinite: all capacitors are bridged, the filter does not integrate
    double supply_V = 0;                  // of the amplifier, the upper rail of the tune voltage
    double calibration_V = 0;             // the calibration driver's output
    double aid_V = 0;                     // the acquisition driver's output
    TuneDrive source = TuneDrive::none;   // of the source board's tune line
    TuneDrive external = TuneDrive::none; // of the tune output for an external reference

    bool operator==(const LoopFilter&) const = default;
};

struct CounterChain {
    SignalPath path;    // to the chain's dividers
    double ratio = 0;   // of the dividers; 0: nothing comes out
    double gain_dB = 0; // of the variable gain stages behind them, on the way to the ADC
    bool atAdc = false; // in the place of the IF chain; on 1B and 1C it ends at the FPGA's own counter input

    bool operator==(const CounterChain&) const = default;
};

/// dut, reference, adl6010, am: of 2A, dut also of 1B and 1C; low, middle, high: of later boards.
enum class Detector { none, dut, reference, adl6010, am, low, middle, high };

struct PowerDetector {
    Detector detector = Detector::none; // at the power ADC
    bool powered = false;               // without its supply it gives 0 V
    SignalPath path;                    // of the DUT's carrier to it; none to the detector of the reference

    bool operator==(const PowerDetector&) const = default;
};

struct DutTune {
    bool driven = false;
    double volts = 0; // at the output

    bool operator==(const DutTune&) const = default;
};

struct PulseGate {
    bool on = false;        // the IF chain is open only while the detector is above the threshold
    double threshold_V = 0; // at the detector's output

    bool operator==(const PulseGate&) const = default;
};

struct AnalogCircuit {
    SignalPath dut; // to the mixer that the IF chain listens to
    MixerReference reference = MixerReference::none;
    double referenceGain_dB = 0; // of the external reference: amplifier less attenuator
    IfChain ifChain;
    LoopFilter loop;
    CounterChain counter;
    PowerDetector power;
    bool tuneAtAdc = false; // the tune ADC sees a quarter of the tune voltage, else 0 V
    DutTune dutTune;
    PulseGate pulse;

    bool operator==(const AnalogCircuit&) const = default;
};

} // namespace vi
