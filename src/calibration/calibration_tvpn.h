#pragma once
/// What the factory calibration makes of readings: the level of the DUT, the gain of the IF chain, the frequency of the
/// time base. None of the operations fails, waits or allocates; without a file the defaults of the record hold.
///
/// The record may not be loaded meanwhile: both belong to whoever has the hardware.

#include "calibration/calibration.h"
#include "numeric/tvtypes.h"

#include <cstdint>

[[nodiscard]] bool calibration_tvpn_hasPowerDetectorX3Calibration();
[[nodiscard]] bool calibration_tvpn_hasMultiGainCalibration();
[[nodiscard]] SupplyConversion (*calibration_tvpn_getSupplyCalibration(CalibrationTVPN* calibration))[supplyRecords];

/// Level in dBm from the count `adc` of the detector, for a carrier of `frequency` on the DUT path `path`. `raw`, if
/// not null, receives the count. A table that has the same count for both levels gives -100 dBm, as a failed reading
/// does. Returns 0.
int calibration_tvpn_getDutPower(const CalibrationTVPN* calibration, const tvfreq* frequency, int preamp, int path,
                                 uint16_t adc, tvpow* power, float* raw);

/// Takes the deviation of the time base out of `value` in Hz; `previous` receives the value as given. Returns 0.
int calibration_tvpn_calibrateFrequency(const CalibrationTVPN* calibration, double* value, double* previous);
int calibrateTVPNFrequency(const CalibrationTVPN* calibration, double* value, double* previous);

/// Subtracts the gain of the IF chain from `count` values in dB at the ascending `offsets` in Hz, for a carrier of
/// `frequency` Hz. `path` is 0, 1, or anything else for 2. Below the first point of the table that point's gain is
/// subtracted; from the first offset beyond the last point on values stay as they are, as they do for a table of one
/// point and for a stage that no table has. Returns 0.
int calibration_tvpn_calibrateGain(const CalibrationTVPN* calibration, double frequency, int preamp, int path,
                                   uint32_t stage, uint32_t count, const float* offsets, float* values);

/// What calibrateTVPNGain asks of the instrument.
struct GainConditions {
    double lnaGain;   // IF gain in force, dB
    int preamp;       // preamplifier on
    double frequency; // carrier, Hz
};
/// Stage of the gain tables for an IF gain, 0 to 5; analog board 1C has a scale of its own. Asks the serial number.
[[nodiscard]] uint32_t calibration_tvpn_gainStage(double lnaGain);
/// calibration_tvpn_calibrateGain with the stage of the IF gain, on path 2.
int calibrateTVPNGain(const CalibrationTVPN* calibration, const GainConditions* conditions, uint32_t count,
                      const float* offsets, float* values);
