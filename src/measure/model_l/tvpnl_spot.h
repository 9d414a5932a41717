#pragma once
/// The level at one offset by two sums instead of a transform.

#include "device_table/slot.h"

#include <complex>
#include <cstdint>

/// Fills the tables of meas_tvpnl_data for segments of `length`, a turn of `spotFrequency` at the rate of stage 0. They
/// are made only where the length changes: another spot frequency counts after pn_measure_tvpnl_init. Returns false
/// without memory, which goes to standard output; there are no tables then.
bool pn_measure_tvpnl_preCalcSinCosHann(Device* device, int32_t length, double spotFrequency);

/// Sums of the segments' windowed volts with both tables: their real and imaginary part.
void pn_measure_tvpnl_spotFFT(const uint16_t* a, const uint16_t* b, int32_t length, std::complex<double>* sumA,
                              std::complex<double>* sumB);

/// Mean of A conj(B) / length^2 over the segments of two records, V^2, with the tables of this length. Returns false if
/// there is no segment or no memory, which goes to standard output.
bool pn_measure_tvpnl_SDfft_spot(Device* device, const uint16_t* a, const uint16_t* b, int32_t count, int32_t length,
                                 int32_t overlap, std::complex<double>* result);
