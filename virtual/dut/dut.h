#pragma once
/// The device under test, described in a TOML file:
///
///   [signal]
///   frequency_hz = 100.000123e6      # carrier, above 0 to 1e12
///   power_dbm    = 8.0               # at the instrument's input, -200 to 40
///   noise = [[1, -72], [10, -104]]   # offset Hz, L(f) dBc/Hz (-300 to 100); see noise_curve.h
///   spurs = [[1.0e3, -95]]           # offset Hz, level dBc (-300 to 0); may be left out
///   pulse_width_s  = 2e-6            # the carrier is there for so long, 1e-9 to 1000 ...
///   pulse_period_s = 10e-6           # ... in each of these, longer; both keys or neither
///
///   [reference_a]                    # an oscillator at the reference input of channel A; may be left out
///   frequency_hz         = 100e6     # at the tune voltage `tune_v`
///   sensitivity_hz_per_v = 20e3      # 1e-3 to 1e9; the frequency rises with the tune voltage
///   tune_v               = 7.2       # 0 to 20; 7.2 when left out
///   power_dbm            = 13.0      # -200 to 40; drives the mixer in full from 10 dBm on
///   noise = [[10, -90], [1e4, -150]]
///   [reference_b]                    # likewise at that of channel B
///
///   [vco]                            # the carrier follows tune output A and supply output 1; may be left out
///   tuning   = [[0, 95e6], [5, 100e6]] # tune voltage V, Hz; rises or falls throughout; see oscillator.h. The
///                                    # frequency of [signal] does not count beside it, and may be left out
///   supply_v = 12.0                  # 0.1 to 20; dead below 0.6 times that
///   pushing  = 2.0e5                 # Hz/V around supply_v, -1e9 to 1e9; 0 when left out, as the following ones
///   supply_a = 0.035                 # at supply_v, in proportion to the volts there are, 0 to 10;
///                                    # or over the tune voltage: [[0, 0.03], [5, 0.04]]
///   settle_s = 0.0002                # first order, after a tune step, 0 to 1000
///   drift_share = 0.01               # of a tune step, 0 to 1, comes with this time instead:
///   drift_s  = 5.0                   # 0 to 1e6
///   level    = [[0, 6.0], [5, 7.0]]  # tune voltage V, dBm; power_dbm of [signal] when left out
///   gap      = [3.0, 3.4]            # it stands from here to below there, V
///   jump     = [2.5, 2e6]            # from this tune voltage on it is so many Hz higher (or lower)
///
///   [faults]                         # may be left out, each of its keys too
///   no_signal         = false        # the cable is off
///   drift_hz_per_s    = 0            # the carrier drifts from the moment the file is read, -1e9 to 1e9
///   unlockable        = false        # the sources do not follow their tune voltage
///   tune_rail         = false        # the tune voltages stand at the upper rail
///   clip              = false        # a line of 40 kHz gets into the IF chains and limits their gain
///   channel_b_dead    = false        # nothing reaches the mixer of channel B
///   unlike_detectors  = false        # the detector of channel B has lost half of its slope
///   counter_disagrees = false        # the counter of channel B reads 1e-4 too much
///   samples_missing   = false        # samples never come
///   fpga_silent       = false        # the FPGA takes commands and does nothing
///   stage_timeout     = []           # the spectra of these stages, 0 to 7, never come
///   pll_unlocked      = []           # the VCOs of these source boards, "A" or "B", do not follow
///   no_source_board   = []           # these source boards, "A" or "B", are pulled out
///   spi_fails         = []           # transfers to the chips of these names fail, such as "A.alg.r1"
///   stuck_adc         = []           # the converters of these names read 0
///   supply_overload   = false        # the outputs of the DUT supply are shorted
///
/// Offsets are 1e-6 to 1e12 Hz and ascend; a list has at most 1000 rows. A key that is not in this list, a wrong type,
/// a value out of range, a missing key or a file above 1 MiB is refused as a whole.

#include "virtual/dut/noise_curve.h"
#include "virtual/dut/oscillator.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vi {

struct Spur {
    double offset_Hz;
    double level_dBc; // single sideband: peak phase deviation 2 * 10^(level/20) rad
};

struct Faults {
    bool noSignal = false;
    double drift_HzPerS = 0;
    bool unlockable = false;
    bool tuneRail = false;
    bool clip = false;
    bool channelBDead = false;
    bool unlikeDetectors = false;
    bool counterDisagrees = false;
    bool samplesMissing = false;
    bool fpgaSilent = false;
    uint32_t stageTimeout = 0;            // bit n: stage n
    std::array<bool, 2> pllUnlocked = {}; // channels A and B
    std::array<bool, 2> noSourceBoard = {};
    std::vector<std::string> spiFails = {}, stuckAdc = {};
    bool supplyOverload = false;
};

/// The carrier is there from the start of each period for `width_s`. A period of 0: all the time.
struct Pulses {
    double width_s = 0, period_s = 0;
    [[nodiscard]] double dutyCycle() const { return period_s > 0 ? width_s / period_s : 1; }
};

/// An oscillator at a reference input.
struct ExternalReference {
    double frequency_Hz = 0; // at `tune_V`; 0: the input is open
    double sensitivity_HzPerV = 0;
    double tune_V = 0;
    double power_dBm = 0;
    NoiseCurve noise;
};

struct Dut {
    double frequency_Hz;
    double power_dBm; // in the pulses
    NoiseCurve noise;
    std::vector<Spur> spurs; // ascending in offset
    Faults faults;
    Pulses pulses = {};
    std::array<ExternalReference, 2> references = {}; // at the channels A and B
    std::optional<Oscillator> oscillator = {};
};

/// A DUT and the file that it follows.
struct DutFile {
    std::string path;
    Dut dut;
    std::array<int64_t, 5> stamp; // what stat told of the file when it was last read; all 0: it was not there
    std::string name = {};        // what messages call it
};

/// Reads the file, which messages call `name`, or by its path without one. On failure `file` is unchanged and `reason`
/// reads "NAME:LINE: what is wrong", or "NAME: ..." where no line is to blame.
[[nodiscard]] bool dutFile_open(DutFile* file, const std::string& path, std::string* reason,
                                const std::string& name = {});

/// Reads the file again if it has changed. Returns true when a new DUT is in force. A file that is refused leaves the
/// old DUT and prints its reason on standard error, once for each change.
bool dutFile_refresh(DutFile* file);

} // namespace vi
