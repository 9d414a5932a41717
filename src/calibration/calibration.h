#pragma once
/// The factory calibration of one unit as one record, its defaults, and the interpolation that its tables share.

#include <cstdint>

inline constexpr uint32_t powerPointsMax = 2048; // columns of the tables of level detectors
inline constexpr uint32_t gainPointsMax = 512;   // columns of the gain tables
inline constexpr uint32_t gainStagesMax = 6;
inline constexpr uint32_t gainPathsMax = 3;
inline constexpr uint32_t gainGroupsMax = 3;
inline constexpr uint32_t detectorTablesMax = 4;
inline constexpr uint32_t supplyChannels = 2;
inline constexpr uint32_t supplyRecords = 6;

/// Readings of a level detector over the carrier frequency, ADC counts.
struct DetectorTable {
    double detectorFrequency[powerPointsMax]; // Hz
    double adcZero[powerPointsMax];           // at 0 dBm, preamplifier off
    double adcTen[powerPointsMax];            // at 10 dBm, preamplifier off
    double adcZeroPreamp[powerPointsMax];     // the same, preamplifier on
    double adcTenPreamp[powerPointsMax];
};

/// Gain corrections of one IF path in dB: stage * gainPointsMax + point.
using GainOfPath = double[gainStagesMax * gainPointsMax];

/// Straight line between a quantity of the DUT supply and the count of a converter, at the output voltage `tag`.
struct SupplyConversion {
    float tag; // V
    float x0;  // V or A
    float y0;  // counts
    float x1;
    float y1;
};

/// A table with a count holds its values, the frequencies ascending, at the indices below it. About 0.7 MB.
struct CalibrationTVPN {
    double frequencyCorrection; // deviation of the internal time base, ppm

    // Single table of the level detector: dBm = nominal level * gain - offset.
    uint32_t powerPoints;
    double powerFrequency[powerPointsMax]; // Hz
    double powerGain[powerPointsMax];
    double powerOffset[powerPointsMax]; // dB

    // One table a detector: DUT path 0, path 1 below 4.2 GHz, path 1 from there on, all other paths.
    uint32_t detectorPoints[detectorTablesMax];
    DetectorTable detectorTable[detectorTablesMax];

    // Gain of the IF chain over the offset frequency, for any carrier.
    uint32_t gainPoints, gainPaths, gainStages;
    double gainFrequency[gainPointsMax]; // Hz
    GainOfPath gainTable[gainPathsMax];  // of the 5, 20 and 50 MHz path

    // The same in groups: below 2 GHz without preamplifier, from 2 GHz on, below 2 GHz with preamplifier.
    uint32_t multiGainPoints, multiGainPaths, multiGainStages;
    double multiGainFrequency[gainPointsMax]; // Hz
    GainOfPath multiGainTable[gainGroupsMax][gainPathsMax];

    // Volts to DAC, amperes to DAC, two in reserve, and ADC to amperes at two output voltages.
    SupplyConversion supplyCalibration[supplyChannels][supplyRecords];
};

/// Which format the loaded file had: 1 if its detector tables are in use, else 0 (the single table).
extern int32_t calibration_tvpn_powerCalVersion;
/// 1 once a grouped gain table was read, else 0 (the single table). Stays 1 until the process ends.
extern int32_t calibration_tvpn_gainCalVersion;

/// Defaults of a unit without a file: a level detector with 2000 counts at 0 dBm and 4000 at 10 dBm, no gain
/// correction, the conversions of the unit's supply; sets calibration_tvpn_powerCalVersion to 0. Whoever makes a record
/// calls this first. Asks the serial number.
void CalibrationTVPN_reset(CalibrationTVPN* calibration);

/// The same without the version.
void CalibrationTVPN_setDefaults(CalibrationTVPN* calibration);

/// The straight line through (x0, y0) and (x1, y1) at `q`; y1 where the points have the same x.
[[nodiscard]] constexpr double calibration_line(double x0, double y0, double x1, double y1, double q) {
    return x0 == x1 ? y1 : (y1 * (q - x0) + y0 * (x1 - q)) / (x1 - x0);
}

/// Value at `q` of the table with the points x[0 .. count - 1], ascending, and y[]. Outside the range the ends hold
/// their value; a table without points counts as one of y[0].
[[nodiscard]] double calibration_interpolate(const double* x, const double* y, uint32_t count, double q);
