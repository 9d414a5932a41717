#include "measure/preparation/gain.h"

#include "base/tvdebug.h"
#include "identity/device_variants.h"
#include "measure/preparation/time_samples.h"
#include "measure/settings/config_accessors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>

namespace {

// ---- input level ----------------------------------------------------------------------------------------------------

constexpr double preamplifierOn_dB = 32; // as meas_data.inputAttenuation tells the preamplifier's state
constexpr double preamplifierOff_dB = 0;

/// Above a carrier of `above` Hz: levels of the DUT, dBm, below which the preamplifier goes on and above which off.
struct LevelRow {
    double above;
    double lower;
    double upper;
};
constexpr LevelRow levels2A[] = {{200e6, 7, 8}, {-INFINITY, 4, 5}};
constexpr LevelRow levels2B[] = {{5e9, 12, 13}, {1.5e9, 10, 11}, {1e9, 4, 5}, {300e6, 1, 2}, {-INFINITY, -1, 0}};
constexpr LevelRow levels2CD[] = {{5e9, 6, 7}, {2e9, 4, 5}, {1.5e9, 9, 10}, {300e6, 4, 5}, {-INFINITY, 1, 2}};

bool usesPreamplifierBoard() {
    return device_config_usesTVPNX_ALG_2A() || device_config_usesTVPNX_ALG_2B() || device_config_usesTVPNX_ALG_2C() ||
           device_config_usesTVPNX_ALG_2D();
}

const LevelRow& levelsAt(double frequency) {
    const std::span<const LevelRow> rows = device_config_usesTVPNX_ALG_2A()   ? std::span<const LevelRow>(levels2A)
                                           : device_config_usesTVPNX_ALG_2B() ? std::span<const LevelRow>(levels2B)
                                                                              : std::span<const LevelRow>(levels2CD);
    const auto row = std::ranges::find_if(rows, [&](const LevelRow& r) { return frequency > r.above; });
    return row != rows.end() ? *row : rows.back();
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
    const Preamplifier wanted = preamplifierFor(levelsAt(config.frequency), config.power, meas_data.inputAttenuation);
    if (wanted != Preamplifier::keep)
        meas_data.inputAttenuation = wanted == Preamplifier::on ? preamplifierOn_dB : preamplifierOff_dB;
    else if (!device_config_usesTVPNX_ALG_2A()) // that board is told its state every time
        return;
    if (meas_data.inputAttenuation == preamplifierOn_dB)
        Device_enablePreamplifier(device);
    else
        Device_disablePreamplifier(device);
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
        return numberRow<&MeasConfig::attenuation>.limits.max;
    if (power > row.upper)
        return low ? (power - row.upper) / 2 : 0;
    return inForce;
}

void adjustStepAttenuator(Device* device, const MeasConfig& config) {
    const double threshold = Device_getDivThresFrequency(device) * 1e6;
    const double attenuation = config.autoAttenuation == 0 ? config.attenuation.get()
                                                           : autoAttenuationFor(config.frequency, config.power,
                                                                                threshold, meas_data.inputAttenuation);
    meas_data.inputAttenuation = attenuation;
    const double steps = std::fmin(std::fmax(2 * attenuation, 0), 2 * numberRow<&MeasConfig::attenuation>.limits.max);
    Device_setTotalStepAttenuation(device, static_cast<uint32_t>(steps));
}

// ---- IF gain --------------------------------------------------------------------------------------------------------

struct GainScan {
    int start;     // dB
    int step;      // dB
    int lowest;    // dB
    int spanLimit; // counts
};
constexpr GainScan scan1C{50, 25, 25, 0};
constexpr GainScan scanOthers{48, 12, 0, 10000};
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

void scanGains(Device* device, MeasConfig* config, const GainScan& scan) {
    for (int gain = scan.start; gain >= scan.lowest; gain -= scan.step) {
        Device_setLnaGain(device, gain);
        uint16_t* a = nullptr;
        uint16_t* b = nullptr;
        const uint32_t count = getTimeSamples(device, &a, &b, gainSamples, gainDivider, bothChannels);
        if (count == 0) {
            printd("  ERROR: pn_measure_SDmeasureP2PValue: could not read samples\n");
            return;
        }
        if (hasRoom({a, count}, scan.spanLimit) && hasRoom({b, count}, scan.spanLimit)) {
            printd("     > adjustGain: adjusted gain to %.0f [dB]\n", static_cast<double>(gain));
            break;
        }
    }
    config->ifGain = Device_getLnaGain(device);
}

// ---- beat -----------------------------------------------------------------------------------------------------------

struct BeatCapture {
    double duration; // s
    uint32_t divider;
};
constexpr double highCarrier_Hz = 2e9;
constexpr double slowDivider_Hz = 30e6;
constexpr int selection1GHz = 2; // Device_getInternalReferenceSelection

/// Decimation for an external reference: a low sensitivity has slow beats.
uint32_t externalDivider(double frequency, double sensitivity, uint32_t otherwise) {
    if (frequency < slowDivider_Hz)
        return 4;
    return sensitivity < 300 ? 1024 : sensitivity < 10000 ? 128 : otherwise;
}

BeatCapture beatCaptureFor(Device* device, const MeasConfig& config, double sensitivity) {
    const bool newBoard = usesPreamplifierBoard();
    BeatCapture capture{newBoard ? 0.0001 : 0.1 / sensitivity + 0.00004, newBoard ? 8U : 32U};
    if (!(config.frequency < highCarrier_Hz))
        capture.divider = 4;
    if (config.reference == referenceExternal)
        capture.divider = externalDivider(config.frequency, sensitivity, capture.divider);
    if (newBoard && Device_getInternalReferenceSelection(device) == selection1GHz)
        capture = {5 / sensitivity, 2};
    return capture;
}

} // namespace

void adjustInputAttenuation(Device* device, const MeasConfig* config) {
    if (usesPreamplifierBoard())
        adjustPreamplifier(device, *config);
    else
        adjustStepAttenuator(device, *config);
}

void adjustGain(Device* device, MeasConfig* config) {
    if (config_doIFgain(config))
        return scanGains(device, config, device_config_usesTVPNX_ALG_1C() ? scan1C : scanOthers);
    const double stored = std::fmax(std::fmin(config->ifGain, storedGainMax_dB), -storedGainMax_dB);
    Device_setLnaGain(device, static_cast<int>(stored));
}

void detectMinimalBeatMeasurementSettings(Device* device, const MeasConfig* config) {
    const double rate = Device_getBaseSampleFrequency(device);
    const double sensitivity =
        config->reference == referenceExternal ? config->referenceSens.get() : Device_getFmSensitivity(device);
    const BeatCapture capture = beatCaptureFor(device, *config, sensitivity);
    // A sensitivity of 0 or below, as without a source, asks for the longest record.
    const double pairs = capture.duration > 0 ? capture.duration * rate / capture.divider : timeSamplesMax;
    meas_data.beatChannels = config->measurementMethod == methodCrossCorrelation ? 2 : 1;
    meas_data.beatDivider = capture.divider;
    meas_data.beatSamples =
        std::bit_ceil(static_cast<uint32_t>(std::fmax(std::fmin(pairs, timeSamplesMax), timeSamplesMin)));
}
