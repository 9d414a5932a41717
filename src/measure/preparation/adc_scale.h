#pragma once
/// Scale of the acquisition's ADC samples: 16 bits in offset binary, centre 32768, 1.6 V over the range.

#include <cstdint>

inline constexpr double adcVoltsPerCount = 2.44140625e-05;
inline constexpr int32_t adcCentre = 32768; // counts
inline constexpr double adcCentre_V = 0.8;

/// Volts around the centre: 0 counts are -0.8 V.
[[nodiscard]] constexpr double adc2volt(uint32_t count) {
    return count * adcVoltsPerCount - adcCentre_V;
}

/// Volts above the lowest count.
[[nodiscard]] constexpr double adc2absvolt(uint32_t count) {
    return count * adcVoltsPerCount;
}

/// A detector constant of ADC counts per radian in volts per radian, from whole counts; 0 for one that is not measured.
[[nodiscard]] double kphiVolts(double counts);

/// The way back, cut to a whole count; values below the range and NaN give 0.
[[nodiscard]] uint32_t volt2adc(double volts);
[[nodiscard]] uint32_t absvolt2adc(double volts);

/// Converts `count` samples to volts. With a `window` of as many values also takes the mean out and multiplies by the
/// window; null for none.
void adc2volt_array(double* out, const uint16_t* samples, int32_t count, const float* window);
/// Converts `count` voltages to samples; values beyond the range give its ends.
void volt2adc_array(uint16_t* out, const double* volts, int32_t count);
