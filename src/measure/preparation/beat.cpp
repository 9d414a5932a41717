#include "measure/preparation/beat.h"

#include "base/error_codes.h"
#include "measure/preparation/time_samples.h"
#include "measure/results/pn_output.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <span>

namespace {

using Record = std::span<const uint16_t>;

// A period runs between falls through the lower threshold, with a rise through the upper one in between.
constexpr uint16_t upperThreshold = 49152;
constexpr uint16_t lowerThreshold = 16384;
constexpr double filterBelow_Hz = 60e6;
constexpr double sampleRateMax = 4e9; // samples per second

/// Position of the end of the first swing from `from` on, up over the upper threshold and down again; the length of the
/// record if there is none.
size_t endOfSwing(Record record, size_t from) {
    const auto isHigh = [](uint16_t sample) { return sample >= upperThreshold; };
    const auto isLow = [](uint16_t sample) { return sample <= lowerThreshold; };
    const auto high = std::find_if(record.begin() + static_cast<ptrdiff_t>(from), record.end(), isHigh);
    return static_cast<size_t>(std::find_if(high, record.end(), isLow) - record.begin());
}

/// Mean over up to `count` periods, Hz. `sampleRate` is the ADC's.
double beatOf(Record record, int32_t count, uint64_t sampleRate, uint32_t divider) {
    const size_t start = endOfSwing(record, 0);
    size_t end = start;
    int32_t periods = 0;
    while (periods < count) {
        const size_t next = endOfSwing(record, end);
        if (next == record.size())
            break;
        end = next;
        ++periods;
    }
    if (periods == 0)
        return beatUnknown;
    const uint64_t beat = static_cast<uint64_t>(periods) * (sampleRate / (end - start) / divider);
    return static_cast<double>(beat);
}

} // namespace

int checkBeat(Device* device, const MeasConfig* config, double* beatA, double* beatB, int32_t count, int filter) {
    *beatA = beatUnknown;
    *beatB = beatUnknown;
    uint16_t* records[2];
    const Prepared& beat = *config->prepared;
    const uint32_t samples =
        getTimeSamples(device, &records[0], &records[1], beat.beatSamples, beat.beatDivider, beat.beatChannels);
    if (samples < 2)
        return scpi::executionError;
    const auto rate = static_cast<uint64_t>(std::clamp(Device_getBaseSampleFrequency(device), 0.0, sampleRateMax));
    const uint32_t divider = std::max(beat.beatDivider.get(), uint32_t{1});
    const bool filtered = filter != 0 && config->frequency < filterBelow_Hz;
    double* const beats[2] = {beatA, beatB};
    for (int channel = 0; channel < 2; ++channel) {
        if (records[channel] == nullptr)
            continue;
        if (filtered)
            lowPass10Percent(records[channel], static_cast<int32_t>(samples));
        *beats[channel] = beatOf({records[channel], samples - 1}, count, rate, divider); // the last sample is left out
    }
    return *beatA > 0 && *beatB > 0 ? 0 : scpi::executionError;
}
