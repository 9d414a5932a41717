#include "measure/preparation/frequency_search.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device_table/fptrs_panel.h"
#include "device_table/internal_reference.h"
#include "identity/device_variants.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/beat.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/gain.h"
#include "measure/preparation/loop_modes.h"
#include "measure/preparation/time_samples.h"
#include "measure/preparation/whole_hertz.h"
#include "measure/run/measure.h"
#include "measure/settings/config_mode.h"

#include <bit>
#include <cmath>
#include <span>

namespace {

constexpr double countedMin_Hz = 500e3;
constexpr double countedMax_Hz = 32e9;
constexpr double notFound = -1;

constexpr uint32_t countAttenuation = 64; // half-dB steps
constexpr double countTune_V = 6.5;
constexpr uint64_t settle_us = 20000;
constexpr tv_time commandedGateMax_s = 0.02;
constexpr double unreadableLevel = -100.0; // dBm

/// How the beat of a counted frequency above `above` Hz is captured: offset of the sources in Hz, decimation, and the
/// samples that hold 50 periods of the offset at 125 MHz.
struct BeatRow {
    double above;
    double offset;
    uint32_t divider;
    uint32_t samples;
};
constexpr BeatRow beatRows[] = {{200e6, 10000, 32, 19531}, {60e6, 5000, 128, 9765}, {0, 3000, 256, 8138}};
constexpr int32_t beatPeriods = 100;
constexpr uint32_t beatChannels = 2;
constexpr double offsetsMax = 3; // a beat counts up to that many offsets

constexpr double roundingStep_Hz = 1e6;
constexpr double reach1GHz_V = 1;
constexpr double reach_V = 5;

// The orders of a search are not waited for: a carrier counts only if its readings agree, whatever failed before.

void prepareBoards(Device* device) {
    const AnalogBoard& board = analogBoard();
    if (board.counterGain >= 0)
        slot_carryOn(Device_setLnaGain(device, board.counterGain));
    if (board.attenuatedCount)
        slot_carryOn(onBothBoards(device, [&](int) {
            slot_carryOn({Device_setTuneOutputVoltage(device, countTune_V), Device_selectPnLoopMode(device, loopOpen)});
            return Device_setTotalStepAttenuation(device, countAttenuation); // last: it selects each board itself
        }));
}

const BeatRow& beatRowFor(double frequency) {
    const BeatRow* row = beatRows;
    while (row != std::end(beatRows) - 1 && !(frequency > row->above))
        ++row;
    return *row;
}

/// Counters of these boards are coarse: puts the sources `offset` above the counted frequency and reads the DUT off the
/// beat. Returns the corrected frequency, or the counted one if there is no plausible beat.
double correctByBeat(Device* device, MeasConfig* config, double counted) {
    const BeatRow& row = beatRowFor(counted);
    slot_carryOn(Device_setLnaGain(device, analogBoard().counterGain));
    config->prepared->beatSamples = std::bit_ceil(row.samples);
    config->prepared->beatDivider = row.divider;
    config->prepared->beatChannels = beatChannels;
    slot_carryOn(Device_enableRf(device));
    const tvfreq source = wholeHertz(std::trunc(counted) + row.offset);
    slot_carryOn(Device_setFrequencyFixed(device, &source));
    config->frequencyRounded = static_cast<double>(source.intPart); // so that rounding takes them back
    tvstuff_delay_us(settle_us);
    const double prescaler = Device_getPrescaler(device);

    double frequency = counted;
    double beatA = beatUnknown;
    double beatB = beatUnknown;
    checkBeat(device, config, &beatA, &beatB, beatPeriods, 1);
    const double beat = beatA > 0 && beatB > 0 ? (beatA + beatB) / 2 : beatUnknown;
    if (beat > 0 && beat < offsetsMax * row.offset)
        frequency = counted + row.offset - beat * prescaler;
    else
        printd("   3. > NO VALID BEAT  ==>  ERROR NOT HANDLED \n");

    slot_carryOn({Device_disableRf(device), Device_setLnaGain(device, 0)});
    if (analogBoard().attenuatedCount)
        slot_carryOn(onBothBoards(device, [&](int) { return Device_setTotalStepAttenuation(device, 0); }));
    return frequency;
}

bool isCoarse() {
    const BeatCorrection correction = analogBoard().beatCorrection;
    return correction == BeatCorrection::always ||
           (correction == BeatCorrection::unlessSecondCounter && !device_config_usesTVPN_ADFPGA_1E());
}

/// One attempt of the counters; notFound outside their range.
double attempt(Device* device, MeasConfig* config, double hint) {
    const double counted = Device_getPhaseNoiseDUTFrequency(device, hint);
    if (!(counted >= countedMin_Hz && counted <= countedMax_Hz))
        return notFound;
    if (isCoarse())
        return correctByBeat(device, config, counted);
    if (analogBoard().counterGain >= 0)
        slot_carryOn(Device_setLnaGain(device, 0));
    return counted;
}

/// Carrier in Hz as the factory's calibration of the time base has it. Where a beat with the sources has measured it,
/// it was they who were trusted.
double withoutTimeBaseError(Device* device, double found) {
    double before = found;
    if (found > 0 && !isCoarse() && Device_calibrateTVPNFrequency)
        slot_carryOn(Device_calibrateTVPNFrequency(device, &found, &before)); // leaves it as it is without calibration
    return found;
}

bool findCarrier(Device* device, MeasConfig* config) {
    const std::span<const double> hints = analogBoard().hints;
    for (size_t i = config->frequency < 0 ? 1 : 0; i < hints.size(); ++i) {
        const double raw = attempt(device, config, hints[i]);
        const double found = withoutTimeBaseError(device, raw);
        const bool once = config->ateMode != 0;
        if (found > 0 || !once) {
            config->frequency = found;
            config->frequencyRaw = raw;
        }
        const tvfreq carrier = wholeHertz(found);
        slot_carryOn(Device_setFreqVariable(device, &carrier));
        if (found > 0)
            return true;
        if (once)
            return false;
    }
    return false;
}

void readLevel(Device* device, MeasConfig* config) {
    const bool quick = config->firstSearch.exchange(0) != 0;
    pn_measure_readPower(device, config, quick ? Device_quicklyGetPower : Device_getPowerFixed);
    if (!quick)
        adjustInputAttenuation(device, config);
}

void enableInternalSources(Device* device) {
    if (Device_isReferenceSourceInternal(device) != 0)
        slot_carryOn(Device_enableRf(device));
}

/// What a search changes that the front panel shows, which may be gone.
void showOnPanel() {
    for (const Slot<int()>* line : {&hcupdate_frequencyFixed, &hcupdate_rfOutputState})
        if (*line)
            slot_carryOn((*line)());
}

/// The neighbour of `frequency` on the grid that lies within `reach` Hz, the lower one first; else `frequency`.
double roundedWithin(double reach, double frequency) {
    const double down = std::floor(frequency / roundingStep_Hz) * roundingStep_Hz;
    const double up = down + roundingStep_Hz;
    if (std::trunc(std::fabs(frequency - down)) < reach)
        return down;
    if (reach > std::trunc(std::fabs(up - frequency)))
        return up;
    return frequency;
}

} // namespace

void pn_measure_readPower(Device* device, MeasConfig* config, const Slot<const tvpow*(Device*)>& reading) {
    const tvpow* const level = reading(device);
    config->power = level != nullptr ? static_cast<double>(*level) : unreadableLevel;
    const tvpow* const raw = Device_getPowerRaw(device);
    config->powerRaw = raw != nullptr ? static_cast<double>(*raw) : 0;
}

double pn_measure_roundFrequency(Device* device, MeasConfig* config) {
    const double before = config->frequencyRounded;
    double rounded = before;
    if (Device_isRfEnabled(device) != 0) {
        const double deltaMax =
            Device_getInternalReferenceSelection(device) == internalReference1GHz ? reach1GHz_V : reach_V;
        const double prescaler = Device_getPrescaler(device);
        const double frequency = config->frequency;
        double sensitivity = Device_getFmSensitivity(device);
        if (before > 0)
            sensitivity *= frequency / before;
        rounded = roundedWithin(prescaler * deltaMax * sensitivity, frequency);
        config->frequencyRounded = rounded;
        // A source without sensitivity is never rounded: it has nothing to pull.
        DELTAV = rounded != frequency ? (frequency - rounded) / sensitivity : 0;
        if (sensitivity > std::fabs(before - rounded))
            return rounded;
    }
    const tvfreq source = wholeHertz(rounded);
    slot_carryOn(Device_setFrequencyFixed(device, &source));
    return rounded;
}

int pn_measure_frequencySearch(Device* device, MeasConfig* config) {
    const bool search = config->autoFrequency != 0 && config_doFrequency(config);
    if (!search && config->frequency > 0) {
        config->frequencyRounded = pn_measure_roundFrequency(device, config);
        detectMinimalBeatMeasurementSettings(device, config);
        return 0;
    }
    slot_carryOn(Device_disableRf(device));
    prepareBoards(device);
    if (!findCarrier(device, config)) {
        enableInternalSources(device);
        printd("WARNING: No Frequency found: using old frequency = %.6f [MHz] \n", config->frequency * 1e-6);
        return scpi::executionError;
    }
    readLevel(device, config);
    enableInternalSources(device);
    config->frequencyRounded = pn_measure_roundFrequency(device, config);
    detectMinimalBeatMeasurementSettings(device, config);
    if (analogBoard().settlesAfterSearch)
        tvstuff_delay_us(settle_us);
    showOnPanel();
    return 0;
}

int pn_measure_execfrequencySearch(Device* device) {
    if (measure_isRunInTheWay())
        return measure_afterRun(device,
                                [](Device* d, const Waiting&, bool) { return pn_measure_execfrequencySearch(d); });
    if (measure_isBoardBusy(device))
        return scpi::settingsConflict;
    MeasConfig* config = configPNPtr;
    const OwnSampling sampling(device, *config->prepared);
    config->ateMode = 0;
    config->autoFrequency = 1;
    config->doFrequency = 1;
    if (Device_getCounterTimeout(device) > commandedGateMax_s)
        slot_carryOn(Device_setCounterTimeout(device, commandedGateMax_s));
    return pn_measure_frequencySearch(device, config);
}
