#include "measure/preparation/gain.h"

#include "base/tvdebug.h"
#include "device_table/internal_reference.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/time_samples.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_mode.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>

namespace {

// ---- input level ----------------------------------------------------------------------------------------------------

constexpr double preamplifierOn_dB = 32; // as inputAttenuation tells the preamplifier's state
constexpr double preamplifierOff_dB = 0;

const LevelRow& levelsAt(double frequency) {
    const std::span<const LevelRow> rows = analogBoard().preamplifier;
    const auto row = std::ranges::find_if(rows, [&](const LevelRow& r) { return frequency > r.above; });
    return row != rows.end() ? *row : rows.back();
}

bool hasPreamplifier() {
    return !analogBoard().preamplifier.empty();
}

enum class Preamplifier { keep, on, off };

/// What a level of `power` dBm asks for. Within the hysteresis a known state stays.
Preamplifier preamplifierFor(const LevelRow& row, double power, double inForce) {
    if (power < row.lower)
        return Preamplifier::on;
    if (power < row.upper && inForce == preamplifierOn_dB)
        return Preamplifier::keep;
    if (power > row.upper)
        return Preamplifier::off;
    if (power > row.lower && inForce == preamplifierOff_dB)
        return Preamplifier::keep;
    return Preamplifier::on;
}

void adjustPreamplifier(Device* device, const MeasConfig& config) {
    Shared<double>& inForce = config.prepared->inputAttenuation;
    const Preamplifier wanted = preamplifierFor(levelsAt(config.frequency), config.power, inForce);
    if (wanted != Preamplifier::keep)
        inForce = wanted == Preamplifier::on ? preamplifierOn_dB : preamplifierOff_dB;
    else if (!analogBoard().preamplifierToldAlways)
        return;
    if (inForce == preamplifierOn_dB)
        slot_carryOn(Device_enablePreamplifier(device)); // the records that follow show the level that there is
    else
        slot_carryOn(Device_disablePreamplifier(device));
}

/// A level below `lower` dBm is attenuated by 32 dB, one above `upper` by (level - 5) / 2 dB at low carriers and not at
/// all at others.
constexpr double lowCarrier_Hz = 200e6;
constexpr LevelRow lowCarrierLevels{0, 3, 5};
constexpr LevelRow levels{lowCarrier_Hz, 5, 7};

double autoAttenuationFor(double frequency, double power, double threshold, double inForce) {
    if (!(frequency < threshold))
        return 0;
    const bool low = frequency < lowCarrier_Hz;
    const LevelRow& row = low ? lowCarrierLevels : levels;
    if (power < row.lower)
        return rowOf<&MeasConfig::attenuation>.limits.max;
    if (power > row.upper)
        return low ? (power - row.upper) / 2 : 0;
    return inForce;
}

void adjustStepAttenuator(Device* device, const MeasConfig& config) {
    const double threshold = Device_getDivThresFrequency(device) * 1e6;
    Shared<double>& inForce = config.prepared->inputAttenuation;
    const double attenuation = config.autoAttenuation == 0
                                   ? config.attenuation.get()
                                   : autoAttenuationFor(config.frequency, config.power, threshold, inForce);
    inForce = attenuation;
    const double steps = std::fmin(std::fmax(2 * attenuation, 0), 2 * rowOf<&MeasConfig::attenuation>.limits.max);
    slot_carryOn(Device_setTotalStepAttenuation(device, static_cast<uint32_t>(steps))); // as the preamplifier
}

// ---- IF gain --------------------------------------------------------------------------------------------------------

constexpr uint32_t gainSamples = 64;
constexpr uint32_t gainDivider = 1024;
constexpr uint32_t bothChannels = 2;
constexpr uint16_t sampleMin = 1000;
constexpr uint16_t sampleMax = 64000;
constexpr double storedGainMax_dB = 100; // far above any board's

bool hasRoom(std::span<const uint16_t> record, int spanLimit) {
    const auto [min, max] = std::ranges::minmax(record);
    return min >= sampleMin && max <= sampleMax && max - min <= spanLimit;
}

int setStoredGain(Device* device, const MeasConfig& config) {
    const double stored = std::fmax(std::fmin(config.ifGain, storedGainMax_dB), -storedGainMax_dB);
    return Device_setLnaGain(device, static_cast<int>(stored));
}

/// Not every gain that a user may set is one of the boards': the trace goes by what they make of it.
int useStoredGain(Device* device, MeasConfig* config) {
    if (const int error = setStoredGain(device, *config); error != 0 || config->ifGain < 0)
        return error;
    config->ifGain = Device_getLnaGain(device);
    return 0;
}

int scanGains(Device* device, MeasConfig* config, const GainScan& scan) {
    for (int gain = scan.start; gain >= scan.lowest; gain -= scan.step) {
        if (const int error = Device_setLnaGain(device, gain); error != 0)
            return error; // where the board stands then nobody knows
        uint16_t* a = nullptr;
        uint16_t* b = nullptr;
        const uint32_t count = getTimeSamples(device, &a, &b, gainSamples, gainDivider, bothChannels);
        if (count == 0) {
            printd("  ERROR: pn_measure_SDmeasureP2PValue: could not read samples\n");
            return setStoredGain(device, *config);
        }
        if (hasRoom({a, count}, scan.spanLimit) && hasRoom({b, count}, scan.spanLimit)) {
            printd("     > adjustGain: adjusted gain to %.0f [dB]\n", static_cast<double>(gain));
            break;
        }
    }
    config->ifGain = Device_getLnaGain(device);
    return 0;
}

// ---- beat -----------------------------------------------------------------------------------------------------------

struct BeatCapture {
    double duration; // s
    uint32_t divider;
};
constexpr double highCarrier_Hz = 2e9;
constexpr double slowDivider_Hz = 30e6;

/// Decimation for an external reference: a low sensitivity has slow beats.
uint32_t externalDivider(double frequency, double sensitivity, uint32_t otherwise) {
    if (frequency < slowDivider_Hz)
        return 4;
    return sensitivity < 300 ? 1024 : sensitivity < 10000 ? 128 : otherwise;
}

BeatCapture beatCaptureFor(Device* device, const MeasConfig& config, double sensitivity) {
    const bool newBoard = hasPreamplifier();
    BeatCapture capture{newBoard ? 0.0001 : 0.1 / sensitivity + 0.00004, newBoard ? 8U : 32U};
    if (!(config.frequency < highCarrier_Hz))
        capture.divider = 4;
    if (config.reference == referenceExternal)
        capture.divider = externalDivider(config.frequency, sensitivity, capture.divider);
    if (newBoard && Device_getInternalReferenceSelection(device) == internalReference1GHz)
        capture = {5 / sensitivity, 2};
    return capture;
}

} // namespace

void adjustInputAttenuation(Device* device, const MeasConfig* config) {
    if (hasPreamplifier())
        adjustPreamplifier(device, *config);
    else
        adjustStepAttenuator(device, *config);
}

int adjustGain(Device* device, MeasConfig* config) {
    return config_doIFgain(config) ? scanGains(device, config, analogBoard().gainScan) : useStoredGain(device, config);
}

void detectMinimalBeatMeasurementSettings(Device* device, const MeasConfig* config) {
    const double rate = Device_getBaseSampleFrequency(device);
    const double sensitivity =
        config->reference == referenceExternal ? config->referenceSens.get() : Device_getFmSensitivity(device);
    const BeatCapture capture = beatCaptureFor(device, *config, sensitivity);
    // A sensitivity of 0 or below, as without a source, asks for the longest record.
    const double pairs = capture.duration > 0 ? capture.duration * rate / capture.divider : timeSamplesMax;
    Prepared* const prepared = config->prepared;
    prepared->beatChannels = config->measurementMethod == methodCrossCorrelation ? 2 : 1;
    prepared->beatDivider = capture.divider;
    prepared->beatSamples =
        std::bit_ceil(static_cast<uint32_t>(std::fmax(std::fmin(pairs, timeSamplesMax), timeSamplesMin)));
}
