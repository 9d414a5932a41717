#pragma once
/// Allan deviation of the DUT from its phase noise: for each averaging time tau an integral of the spectrum, weighted
/// with the transfer function of the two-sample variance,
///
///     sigma^2(tau) = sum of 10^(L(f)/10) * 4 sin^4(pi f tau) / (pi frequency tau)^2 * df,
///
/// (IEEE 1139, with S_y = 2 f^2 / frequency^2 * 10^(L/10)). The sum takes each point's level up to the next point.
/// Where the integrand lies within the range, that makes sigma^2 too large by (r - 1) / ln r, r the ratio of
/// neighbouring offsets: sigma by 0.5 % at 120 points per decade.

#include "device_table/device_fptrs.h"

/// Computes aVarianceTau (s) and aVarianceSigma from the trace in hand, over the function range, for the carrier of the
/// configuration in force. tau runs from 1 / hi in steps of 1.1 up to below 1 / lo, aVariancePointsMax values at most;
/// with lo at or above hi there is none. Holds resultMutex throughout.
///
/// Returns 0, or -327880 if there is no trace (see statistics_range), no range above 0 Hz or no known carrier; the
/// arrays then keep the last result.
int pn_measure_calculateAVariance(Device* device);
