#include "measure/preparation/adc_scale.h"

#include <algorithm>

namespace {

constexpr double countMax = 4294967295.0;
constexpr uint32_t sampleMax = 65535;
/// Far below a count and far above the rounding of a double: a voltage that came from a count goes back to that count.
constexpr double roundingGuard = 1e-6;

uint32_t wholeCounts(double volts) {
    const double counts = volts / adcVoltsPerCount + roundingGuard;
    if (!(counts > 0))
        return 0;
    return static_cast<uint32_t>(std::min(counts, countMax));
}

} // namespace

double kphiVolts(double counts) {
    return counts > 0 ? adc2absvolt(static_cast<uint32_t>(std::min(counts, countMax))) : 0;
}

uint32_t volt2adc(double volts) {
    return wholeCounts(volts + adcCentre_V);
}

uint32_t absvolt2adc(double volts) {
    return wholeCounts(volts);
}

void adc2volt_array(double* out, const uint16_t* samples, int32_t count, const float* window) {
    double sum = 0;
    for (int32_t i = 0; i < count; ++i) {
        out[i] = adc2volt(samples[i]);
        sum += out[i];
    }
    if (window == nullptr)
        return;
    const double mean = count > 0 ? sum / count : 0;
    for (int32_t i = 0; i < count; ++i)
        out[i] = (out[i] - mean) * static_cast<double>(window[i]);
}

void volt2adc_array(uint16_t* out, const double* volts, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        out[i] = static_cast<uint16_t>(std::min(volt2adc(volts[i]), sampleMax));
}
