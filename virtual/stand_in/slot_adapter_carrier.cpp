// Slots of the carrier: sources, level, counting, references.

#include "acquisition/adfpga_capture.h"
#include "base/error_codes.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "virtual/platform/clock.h"
#include "virtual/stand_in/slot_adapter_unit.h"

#include <algorithm>
#include <cmath>
#include <tuple>

using namespace vi;

namespace slot_adapter {
namespace {

constexpr double megahertz = 1e6;

// Paths of the analog boards.
constexpr double highInput_Hz = 2.02e9, mixerMax_Hz = 9.9e9, mixerMax2D_Hz = 13.1e9;

// DDS of the second pair of source boards: 48 bits of 1 GHz, up to 400 MHz; beyond, its output is multiplied.
constexpr double ddsClock_Hz = 1e9, ddsWords = 0x1p48, ddsMax_Hz = 400e6;
constexpr double doubled_Hz = 6.9e9, dividerA_Hz = 800e6;
constexpr uint32_t dividerAMax = 8, dividerBMax = 4;
constexpr int64_t offsetStep = 3'500'000'000; // of its word
constexpr double firstPairMax_Hz = 3.6e9;

constexpr double factoryError[channels] = {-0.0025, 0.0025}; // of the sensitivities on file

constexpr double countersAgree = 5e-6;

// Power detector, straight through 2000 counts at 0 dBm and 4000 at 10 dBm.
constexpr double detectorZero_counts = 2000, detectorSlope_countsPerdB = 200, detectorMax_counts = 16383;

double hertz(const tvfreq* frequency) {
    return static_cast<double>(frequency->intPart) + static_cast<double>(frequency->fracPart) * 0x1p-64;
}

// ---- sources --------------------------------------------------------------------------------------------------------

/// The multiplication behind the DDS that a source board plans.
uint32_t multiplier(double mixer_Hz) {
    if (mixer_Hz <= ddsMax_Hz)
        return 1;
    const uint32_t doubler = mixer_Hz > doubled_Hz ? 2 : 1;
    const double output_Hz = mixer_Hz / doubler;
    uint32_t a = 1, b = 1;
    while (output_Hz / (a * b) > ddsMax_Hz && a * b < dividerAMax * dividerBMax) {
        if (a < 4 && output_Hz > dividerA_Hz) {
            a *= 2;
        } else if (b < dividerBMax) {
            ++b;
        } else {
            a *= 2;
            b = 1;
        }
    }
    return a * b * doubler;
}

Reference referenceOf(const Unit& unit, Channel channel) {
    return unit.external[channel] ? Reference::external : unit.reference;
}

void applySource(const Unit& unit, Channel channel) {
    const Unit::Source& source = unit.sources[channel];
    const double source_Hz = static_cast<double>(source.word) * (ddsClock_Hz / ddsWords) * source.multiplier;
    change(unit, channel, [&](ChannelSettings& s) {
        s.source_Hz = source_Hz;
        s.rfOn = unit.rfOn && unit.bench->boards.sources != SourceBoards::none;
        s.reference = referenceOf(unit, channel);
    });
}

void setSource(Unit* unit, Channel channel, double mixer_Hz) {
    constexpr double planned_Hz = 30e9;
    mixer_Hz = std::clamp(mixer_Hz, 0.0, planned_Hz);
    if (unit->bench->boards.sources == SourceBoards::firstPair)
        mixer_Hz = std::min(mixer_Hz, firstPairMax_Hz);
    const uint32_t factor = multiplier(mixer_Hz);
    unit->sources[channel] = {static_cast<uint64_t>(std::llround(mixer_Hz / factor * (ddsWords / ddsClock_Hz))),
                              factor};
    applySource(*unit, channel);
}

double mixer_Hz(const Unit& unit, Channel channel) {
    return unit.frequency_Hz / bench_settings(unit.bench, channel).prescaler;
}

int setFrequencyFixed(Device* device, const tvfreq* frequency) {
    const Access unit;
    device->frequency = *frequency;
    unit->frequency_Hz = hertz(frequency);
    planPaths(&*unit, unit->frequency_Hz);
    // Without RF the pairs keep what they had, but for board B of the first.
    const SourceBoards sources = unit->bench->boards.sources;
    const bool pair = sources == SourceBoards::firstPair || sources == SourceBoards::secondPair;
    if (unit->rfOn || !pair)
        setSource(&*unit, channelA, mixer_Hz(*unit, channelA));
    if (unit->rfOn || sources != SourceBoards::secondPair)
        setSource(&*unit, channelB, mixer_Hz(*unit, channelB));
    return 0;
}

int setFreqVariable(Device* device, const tvfreq* frequency) {
    const Access unit;
    device->frequency = *frequency;
    unit->frequency_Hz = hertz(frequency);
    planPaths(&*unit, unit->frequency_Hz);
    return 0;
}

int setOffsettedFrequency(Device* device, const tvfreq* frequency, int up) {
    {
        const Access unit;
        if (unit->bench->boards.sources == SourceBoards::secondPair) {
            for (const Channel c : {channelA, channelB}) {
                unit->sources[c].word += static_cast<uint64_t>(up != 0 ? offsetStep : -offsetStep);
                applySource(*unit, c);
            }
            return 0;
        }
    }
    return setFrequencyFixed(device, frequency);
}

template <bool on> int setRf(Device* device) {
    constexpr uint64_t wait_ns = 400'000, waitDouble_ns = 15'100'000;
    uint64_t wait = 0;
    {
        const Access unit;
        unit->rfOn = on;
        device->rfEnabled = on;
        applySource(*unit, channelB);
        applySource(*unit, channelA);
        if (on)
            wait = unit->bench->boards.sources == SourceBoards::doubleChannel ? waitDouble_ns : wait_ns;
    }
    clock_take(wait);
    return 0;
}

int isRfEnabled(Device*) {
    return Access()->rfOn;
}

uint32_t getPrescaler(Device* device) {
    const Access unit;
    return bench_settings(unit->bench, selected(device)).prescaler;
}

uint32_t getDivThreshold(Device*) {
    return Access()->divThreshold_MHz;
}

int setDivThreshold(Device*, uint32_t threshold_MHz) {
    Access()->divThreshold_MHz = threshold_MHz;
    return 0;
}

/// As the factory has measured it.
double getFmSensitivity(Device* device) {
    const Access unit;
    const Channel channel = selected(device);
    const Unit::Source& source = unit->sources[channel];
    const double planned_Hz = unit->rfOn
                                  ? static_cast<double>(source.word) * (ddsClock_Hz / ddsWords) * source.multiplier
                                  : mixer_Hz(*unit, channel);
    return chain_sensitivity_HzPerV(unit->reference, channel) * (1 + factoryError[channel]) * planned_Hz /
           sensitivityStated_Hz;
}

// ---- references -----------------------------------------------------------------------------------------------------

bool hasPair(const Unit& unit) {
    const SourceBoards sources = unit.bench->boards.sources;
    return sources == SourceBoards::firstPair || sources == SourceBoards::secondPair;
}

int getReferenceSelection(Device*) {
    const Access unit;
    return hasPair(*unit) ? static_cast<int>(unit->reference) : -1;
}

int setReferenceSelection(Device*, int selection) {
    constexpr double supply_V = 15, supply1GHz_V = 5;
    const Access unit;
    if (!hasPair(*unit))
        return scpi::undefinedHeader;
    const bool known = selection >= 0 && selection <= 3;
    if (known)
        unit->reference = static_cast<Reference>(selection);
    const bool low = selection == 2;
    for (const Channel c : {channelB, channelA})
        change(*unit, c, [&](ChannelSettings& s) {
            s.calibration_V = 0;
            s.open = true;
            s.tuneSource = TuneSource::calibration;
            s.aidOn = false;
            s.loopSupply_V = low ? supply1GHz_V : supply_V;
            s.reference = referenceOf(*unit, c);
        });
    unit->loopMode = 1;
    return known ? 0 : scpi::illegalParameterValue;
}

int isReferenceInternal(Device* device) {
    return device->referenceInternal;
}

template <bool external> int setReferenceSource(Device* device) {
    const Access unit;
    const Channel channel = selected(device);
    device->referenceInternal = !external;
    unit->external[channel] = external;
    applySource(*unit, channel);
    planPaths(&*unit, unit->frequency_Hz); // external references are mixed with the carrier itself
    return 0;
}

// ---- level ----------------------------------------------------------------------------------------------------------

const tvpow* getPower(Device*) {
    thread_local tvpow level;
    level = static_cast<tvpow>(bench_readLevel_dBm(Access()->bench));
    return &level;
}

const tvpow* getPowerRaw(Device*) {
    thread_local tvpow counts;
    const double reading = detectorZero_counts + detectorSlope_countsPerdB * bench_readLevel_dBm(Access()->bench);
    counts = static_cast<tvpow>(std::clamp(std::round(reading), 0.0, detectorMax_counts));
    return &counts;
}

// ---- counting -------------------------------------------------------------------------------------------------------

/// Carrier by both counters at one ratio; negative if they do not agree. A counter that is still waiting for an edge
/// when the gate is over tells what it has.
double countAt(Unit* unit, Device* device, uint32_t ratio) {
    changeBoth(*unit, [=](ChannelSettings& s) { s.counterRatio = ratio; });
    std::array<tvfreq, channels> counted{};
    std::ignore =
        TVPN_ADFPGA_countFrequencyAdc(device->adfpga, &counted[channelA], &counted[channelB]); // the counts tell
    changeBoth(*unit, [](ChannelSettings& s) { s.counterRatio = 0; });
    const auto carrier_Hz = [&](Channel c) {
        return hertz(&counted[c]) * ratio * bench_settings(unit->bench, c).prescaler;
    };
    const double a = carrier_Hz(channelA), b = carrier_Hz(channelB);
    return a > 0 && std::abs(a - b) / a < countersAgree ? (a + b) / 2 : -1;
}

/// Where the boards of the later revisions look for a carrier near `hint_Hz`.
double placeOf(Unit* unit, double hint_Hz) {
    constexpr double highPlace_Hz = 3e9, high2B_Hz = 6e9, divided2B_Hz = 20e9, relay_Hz = 2e9;
    double place_Hz = hint_Hz < 0 ? unit->frequency_Hz : hint_Hz;
    if (!unit->bench->boards.hasHighInput)
        return place_Hz;
    if (hint_Hz >= 0)
        unit->lowPath = hint_Hz < relay_Hz;
    if (!unit->lowPath && place_Hz < unit->divThreshold_MHz * megahertz)
        place_Hz = highPlace_Hz;
    if (unit->bench->boards.analog == AnalogRevision::r2B && place_Hz > high2B_Hz)
        place_Hz = divided2B_Hz;
    return place_Hz;
}

double countOnFirstBoards(Unit* unit, Device* device, double hint_Hz) {
    constexpr double noHint_Hz = 2, highCounter_Hz = 200e6;
    constexpr uint32_t ratioLow = 8, ratioHigh = 128;
    if (hint_Hz > 0 && hint_Hz < noHint_Hz) {
        planPaths(unit, 100e6); // no division
        const double low = countAt(unit, device, ratioLow);
        return low > 0 ? low : countAt(unit, device, ratioHigh);
    }
    planPaths(unit, hint_Hz < 0 ? unit->frequency_Hz : hint_Hz);
    const double place_Hz = hint_Hz < 0 ? unit->frequency_Hz : hint_Hz;
    const double mixed_Hz = place_Hz / bench_settings(unit->bench, channelA).prescaler;
    return countAt(unit, device, mixed_Hz < highCounter_Hz ? ratioLow : ratioHigh);
}

double countOnLaterBoards(Unit* unit, Device* device, double hint_Hz) {
    constexpr uint32_t ratiosOther[] = {1, 4, 16, 64, 256}, ratios2D[] = {1, 4, 16, 64, 512};
    const AnalogRevision revision = unit->bench->boards.analog;
    std::span<const uint32_t> ratios = revision == AnalogRevision::r2D ? std::span(ratios2D) : std::span(ratiosOther);
    if (revision == AnalogRevision::r2A)
        ratios = ratios.first(4);
    unit->counting = true;
    planPaths(unit, placeOf(unit, hint_Hz));
    double carrier_Hz = -1;
    for (size_t i = 0; i < ratios.size() && carrier_Hz < 0; ++i)
        carrier_Hz = countAt(unit, device, ratios[i]);
    unit->counting = false;
    return carrier_Hz;
}

double getPhaseNoiseDutFrequency(Device* device, double hint_Hz) {
    constexpr double noneFirst = -1, none = -200;
    const Access unit;
    const AnalogRevision revision = unit->bench->boards.analog;
    const bool first = revision == AnalogRevision::r1B || revision == AnalogRevision::r1C;
    const double carrier_Hz =
        first ? countOnFirstBoards(&*unit, device, hint_Hz) : countOnLaterBoards(&*unit, device, hint_Hz);
    if (carrier_Hz < 0) {
        planPaths(&*unit, unit->frequency_Hz);
        return first ? noneFirst : none;
    }
    unit->frequency_Hz = carrier_Hz;
    double2tvfreq(&carrier_Hz, &device->frequency);
    planPaths(&*unit, carrier_Hz);
    return carrier_Hz;
}

/// The boards up to 2A.
void planFirstPath(const Unit& unit, Channel channel, double frequency_Hz) {
    constexpr uint32_t prescalerMax = 8;
    uint32_t prescaler = 1;
    while (!unit.external[channel] && prescaler < prescalerMax &&
           frequency_Hz / prescaler > unit.divThreshold_MHz * megahertz)
        prescaler *= 2;
    change(unit, channel, [=](ChannelSettings& s) {
        const DutPath undivided = s.preamplifier ? DutPath::amplifier : DutPath::direct;
        s.path = prescaler > 1 ? DutPath::divider : undivided;
        s.prescaler = prescaler;
    });
}

/// The later boards. Returns true when the input relay leads to the direct path.
bool planLaterPath(const Unit& unit, Channel channel, double frequency_Hz) {
    const AnalogRevision revision = unit.bench->boards.analog;
    DutPath path = DutPath::direct;
    uint32_t prescaler = 1;
    const bool is2D = revision == AnalogRevision::r2D;
    const double divided_Hz = is2D ? mixerMax2D_Hz : mixerMax_Hz, four_Hz = is2D ? 25e9 : 18e9;
    if (frequency_Hz >= divided_Hz && (!unit.external[channel] || unit.counting)) {
        path = DutPath::divider;
        prescaler = frequency_Hz < (unit.counting ? 12e9 : four_Hz) ? 2 : 4;
    } else if (frequency_Hz >= highInput_Hz) {
        path = DutPath::amplifier;
    }
    if (unit.counting && is2D && frequency_Hz > 12e9) {
        path = DutPath::divider;
        prescaler = frequency_Hz > 20e9 ? 4 : 2;
    } else if (unit.counting && revision == AnalogRevision::r2C && frequency_Hz > 7e9) {
        path = DutPath::divider;
        prescaler = frequency_Hz > 20e9 ? 8 : frequency_Hz > 14e9 ? 4 : 2;
    }
    change(unit, channel, [=](ChannelSettings& s) {
        s.path = path;
        s.prescaler = prescaler;
        s.highInput = path != DutPath::direct;
    });
    return path == DutPath::direct;
}

} // namespace

void planPaths(Unit* unit, double frequency_Hz) {
    constexpr double planned_Hz = 1e6; // the later boards take no notice of less
    for (const Channel c : {channelB, channelA})
        if (!unit->bench->boards.hasHighInput)
            planFirstPath(*unit, c, frequency_Hz);
        else if (frequency_Hz >= planned_Hz)
            unit->lowPath = planLaterPath(*unit, c, frequency_Hz);
}

void installCarrier() {
    fill(Device_setFrequency, setFrequencyFixed);
    fill(Device_setFrequencyFixed, setFrequencyFixed);
    fill(Device_setFreqVariable, setFreqVariable);
    fill(Device_setOffsettedFrequency, setOffsettedFrequency);
    fill(Device_enableRf, setRf<true>);
    fill(Device_disableRf, setRf<false>);
    fill(Device_isRfEnabled, isRfEnabled);
    fill(Device_getPrescaler, getPrescaler);
    fill(Device_getDivThresFrequency, getDivThreshold);
    fill(Device_setDivThresFrequency, setDivThreshold);
    fill(Device_getFmSensitivity, getFmSensitivity);

    fill(Device_getInternalReferenceSelection, getReferenceSelection);
    fill(Device_setInternalReferenceSelection, setReferenceSelection);
    fill(Device_isReferenceSourceInternal, isReferenceInternal);
    fill(Device_setReferenceSourceInternal, setReferenceSource<false>);
    fill(Device_setReferenceSourceExternal, setReferenceSource<true>);

    fill(Device_getPower, getPower);
    fill(Device_getPowerFixed, getPower);
    fill(Device_quicklyGetPower, getPower);
    fill(Device_getPowerRaw, getPowerRaw);

    fill(Device_getPhaseNoiseDUTFrequency, getPhaseNoiseDutFrequency);
}

} // namespace slot_adapter
