#pragma once
/// The device under test, described in a TOML file:
///
///   [signal]
///   frequency_hz = 100.000123e6      # carrier, above 0 to 1e12
///   power_dbm    = 8.0               # at the instrument's input, -200 to 40
///   noise = [[1, -72], [10, -104]]   # offset Hz, L(f) dBc/Hz (-300 to 100); see noise_curve.h
///   spurs = [[1.0e3, -95]]           # offset Hz, level dBc (-300 to 0); may be left out
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
///
/// Offsets are 1e-6 to 1e12 Hz and ascend; a list has at most 1000 rows. A key that is not in this list, a wrong type,
/// a value out of range, a missing key or a file above 1 MiB is refused as a whole.

#include "virtual/noise_curve.h"

#include <array>
#include <cstdint>
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
};

struct Dut {
    double frequency_Hz;
    double power_dBm;
    NoiseCurve noise;
    std::vector<Spur> spurs; // ascending in offset
    Faults faults;
};

/// A DUT and the file that it follows.
struct DutFile {
    std::string path;
    Dut dut;
    std::array<int64_t, 5> stamp; // what stat told of the file when it was last read; all 0: it was not there
};

/// Reads the file. On failure `file` is unchanged and `reason` reads "PATH:LINE: what is wrong", or "PATH: ..." where
/// no line is to blame.
[[nodiscard]] bool dutFile_open(DutFile* file, const std::string& path, std::string* reason);

/// Reads the file again if it has changed. Returns true when a new DUT is in force. A file that is refused leaves the
/// old DUT and prints its reason on standard error, once for each change.
bool dutFile_refresh(DutFile* file);

} // namespace vi
