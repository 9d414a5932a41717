#pragma once
/// Readings of the frequency counters that the search shares.

struct Device;

/// Two readings agree: their whole hertz differ by less than 5e-6 of the first, which must not be below 0.
[[nodiscard]] bool counter_agree(double first, double second);

/// Two readings in Hz, and whether they agree. On 1B and 1C one after the other, of the carrier; later the counters
/// behind both ADCs at the same time, of what reaches them. A reading that failed is -1 and agrees with nothing; behind
/// the ADCs one without a count is 0 and agrees with nothing, and one that came late counts as it is.
[[nodiscard]] bool readOutFrequencyCounter(Device* device, double* first, double* second);
