#pragma once
/// Allan deviation of the DUT from its phase noise: for each averaging time tau an integral of the spectrum, weighted
/// with the transfer function of the two-sample variance,
///
///     sigma^2(tau) = sum of 10^(L(f)/10) * 4 sin^4(pi f tau) / (pi frequency tau)^2 * df,
///
/// (IEEE 1139, with S_y = 2 f^2 / frequency^2 * 10^(L/10)). The sum takes each point's level up to the next point.
/// Where the integrand lies within the range, that makes sigma^2 too large by (r - 1) / ln r, r the ratio of
/// neighbouring offsets: sigma by 0.5 % at 120 points per decade.

#include "measure/results/statistics.h"

#include <cstdint>

/// Computes averaging times (s) and deviations of `trace` over `range`, whose ends lie above 0 Hz; `trace` has a known
/// carrier and at most tracePointsMax points. tau runs from 1 / hi in steps of 1.1 up to below 1 / lo, as many values
/// as `tau` and `sigma` hold at most; with lo at or above hi there is none. Returns their number. One thread at a time.
[[nodiscard]] int32_t allanDeviation(const TraceView& trace, const FunctionRange& range, std::span<float> tau,
                                     std::span<float> sigma);
