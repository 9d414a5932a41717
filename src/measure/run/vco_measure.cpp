#include "measure/run/vco_measure.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "base/waiting.h"
#include "core/abstime.h"
#include "measure/preparation/analog_board.h"
#include "measure/preparation/frequency_search.h"
#include "measure/results/pn_results.h"
#include "measure/run/measure.h"
#include "measure/run/pn_run.h"
#include "measure/run/run_settings.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_vco.h"

#include <algorithm>
#include <array>
#include <cmath>

// Orders are given and the sweep goes on: what has failed shows in the readings that follow. On boards without a tune
// output, or without a supply, an oscillator that needs none of it is swept all the same.

namespace {

constexpr int32_t supplyOutput = 1;
constexpr uint32_t typeCrystal = 1; // of VcoSettings::dutType
constexpr double noiseFrom_Hz = 10;
constexpr int32_t noiseCorrelations = 1;
constexpr double noLevel_dB = -1000;

constexpr tv_time gate_s = 0.01, longGate_s = 0.05, longestGate_s = 0.15;
constexpr double tunesLittle_perV = 1e-4, tunesHardly_perV = 1e-5; // sensitivity over frequency
constexpr uint64_t counterSettling_us = 20'000;
constexpr double lowBandEnd_Hz = 45e6;

constexpr double pushStep_V = 0.2, pushPerStep = 5;
constexpr uint64_t supplySettling_us = 1000;

/// What a point has measured. Its sensitivity column holds that of the point before it.
struct Point {
    double frequency_Hz;
    double kvco = 0, kvcoLast = 0;
    double power_dBm = noLevel_dB;
    double current_A = 0;
    double push = 0;
    std::array<double, vcoPnOffsets> noise = {noLevel_dB, noLevel_dB, noLevel_dB, noLevel_dB};
};

/// What a sweep goes by from its first point to its last; the measurement thread's own.
struct Sweep {
    const VcoSettings* settings;
    MeasConfig* config;
    int32_t points;
    int32_t published; // of them
    double step_V;
    double kScale; // 1 over twice the step
    tv_time gate;
    uint64_t tuneDelay_us;
    double supply_V;
    bool noise;
    bool gateUnchecked;
    double firstFrequency_Hz;
    bool tuneWasOn;
    double tuneBefore_V;
    Point point;
    std::array<double, vcoPointsMax> frequency_Hz; // as counted: a float is too coarse for the sensitivity of a crystal
};
Sweep sweep;

bool stopRequested() {
    return meas_data.stopRequested != 0;
}

int32_t last() {
    return sweep.points - 1;
}

double voltageOf(int32_t i) {
    return sweep.settings->voltageStart + i * sweep.step_V;
}

void divideSpan() {
    const VcoSettings& settings = *sweep.settings;
    const double span_V = settings.voltageStop - settings.voltageStart;
    sweep.points = span_V > 0 ? settings.voltagePoints.get() : 1;
    sweep.step_V = sweep.points > 1 ? span_V / last() : 0;
    sweep.kScale = sweep.points > 1 ? 0.5 * last() / span_V : 0;
}

void prepareNoise(Device* device) {
    const bool crystal = sweep.settings->dutType == typeCrystal;
    slot_carryOn(configVCO_setReference(device, crystal ? referenceNormal : referenceHighSensitivity));
    if (crystal)
        sweep.gate = longestGate_s;
    slot_carryOn({configVCO_setOffsetMin(device, noiseFrom_Hz), configVCO_setCorrelations(device, noiseCorrelations)});
}

void prepareSweep(Device* device) {
    resetTime();
    const VcoSettings& settings = runSettings_ofSweep();
    sweep.settings = &settings;
    sweep.config = runSettings_ofRun();
    sweep.published = 0;
    sweep.supply_V = Device_getSupplyOutputVoltage(device, supplyOutput);
    sweep.noise = settings.phaseNoiseEnabled != 0 && settings.pnOffset[0] > 0;
    const auto delay_us = static_cast<uint64_t>(settings.tuneDelay);
    sweep.tuneDelay_us = delay_us != 0 ? delay_us : analogBoard().tuneDelay_us;
    divideSpan();
    sweep.gate = gate_s;
    sweep.gateUnchecked = true;
    if (sweep.noise)
        prepareNoise(device);
    slot_carryOn({Device_disableRf(device), Device_enableSupplyOutput(device, supplyOutput)});
    MeasConfig& config = *sweep.config;
    config.doFrequency = 0;
    config.doKphi = 1;
    config.doIFgain = 1;
    config.autoFrequency = 1;
    sweep.tuneWasOn = Device_isDutTuneOutputVoltageEnabled(device) != 0;
    sweep.tuneBefore_V = Device_getDutTuneOutputVoltage(device);
    if (!sweep.tuneWasOn)
        slot_carryOn(Device_enableDutTuneOutputVoltage(device));
}

// ---- frequency ------------------------------------------------------------------------------------------------------

void countTwice(Device* device) {
    tvstuff_delay_us(counterSettling_us);
    slot_carryOn({Device_getDUTFrequency(device), Device_getDUTFrequency(device)});
}

void countWithGate(Device* device) {
    slot_carryOn({Device_enableCounter(device), Device_setCounterTimeout(device, sweep.gate)});
    countTwice(device);
}

/// Searches the oscillator and counts it, the first time with the gate of the sweep. False if it is not there.
bool search(Device* device, bool first) {
    MeasConfig& config = *sweep.config;
    if (pn_measure_frequencySearch(device, &config) != 0 || !(config.frequency > 0))
        return false;
    slot_carryOn(Device_enableCounter(device));
    if (first)
        slot_carryOn(Device_setCounterTimeout(device, sweep.gate));
    countTwice(device);
    sweep.firstFrequency_Hz = config.frequency;
    return true;
}

/// The frequency of a point, Hz; 0 if there is none.
double readFrequency(Device* device, int32_t i) {
    const MeasConfig& config = *sweep.config;
    if (i > 0)
        slot_carryOn(Device_getDUTFrequency(device));
    if (!(config.frequency > 0) && !search(device, i == 0))
        return 0;
    const double frequency_Hz = config.frequency;
    if (sweep.firstFrequency_Hz < lowBandEnd_Hz && frequency_Hz > lowBandEnd_Hz)
        printd("   > BAND CROSS NOT HANDLED\n");
    countWithGate(device); // for the steps to come; this point has its frequency
    return frequency_Hz;
}

// ---- sensitivity ----------------------------------------------------------------------------------------------------

/// What was published of a point, as closely as it was counted.
double frequencyOf(int32_t i) {
    return sweep.settings->frequencyEnabled != 0 ? sweep.frequency_Hz[i] : 0;
}

/// True if the oscillator tunes so little that the sweep has to start again with a longer gate.
bool lengthenGate() {
    const double perV = std::fabs(std::trunc(sweep.point.kvco)) / sweep.config->frequency;
    if (!sweep.gateUnchecked || !(perV < tunesLittle_perV))
        return false;
    sweep.gateUnchecked = false;
    sweep.gate = perV < tunesHardly_perV ? longestGate_s : longGate_s;
    printd("Timing SET TO %0.1f ms\n", sweep.gate * 1000);
    return true;
}

/// Sensitivity of the point before, and of the last. False if the sweep starts again.
bool findSensitivity(int32_t i) {
    Point& point = sweep.point;
    if (sweep.settings->kvcoEnabled == 0 || i == 0)
        return true;
    if (i == last())
        point.kvcoLast = 2 * (point.frequency_Hz - frequencyOf(i - 1)) * sweep.kScale;
    if (i >= 2) {
        point.kvco = (point.frequency_Hz - frequencyOf(i - 2)) * sweep.kScale;
        return true;
    }
    point.kvco = 2 * (point.frequency_Hz - frequencyOf(0)) * sweep.kScale;
    return !lengthenGate();
}

// ---- the rest of a point --------------------------------------------------------------------------------------------

std::array<double, vcoPnOffsets> readSpots(Device* device) {
    std::array<double, vcoPnOffsets> levels;
    for (int n = 0; n < vcoPnOffsets; ++n) {
        const double offset_Hz = sweep.settings->pnOffset[n];
        if (offset_Hz > 0)
            slot_carryOn(configVCO_setSpotFrequency(device, offset_Hz));
        levels[n] = offset_Hz > 0 ? pn_measure_getSpotSpectrumData(device) : noLevel_dB;
    }
    return levels;
}

void measureNoise(Device* device) {
    slot_carryOn({Device_enableRf(device), Device_disableCounter(device)});
    sweep.config->doFrequency = 0;
    pn_measure_forgetTrace(); // a run that fails or is stopped has none
    const int32_t failure = pnMeasureFull(device, sweep.config);
    slot_carryOn(Device_enableCounter(device));
    sweep.point.noise = failure == 0 ? readSpots(device) : Point{}.noise;
    slot_carryOn(Device_disableRf(device));
}

void measureRest(Device* device) {
    const VcoSettings& settings = *sweep.settings;
    Point& point = sweep.point;
    if (settings.powerEnabled != 0)
        point.power_dBm = sweep.config->power;
    if (settings.iSupplyEnabled != 0)
        point.current_A = Device_measureSupplyOutputCurrent(device, supplyOutput);
    if (sweep.noise)
        measureNoise(device);
    if (settings.kPushEnabled != 0)
        point.push = testKPush(device, 0, sweep.supply_V);
}

void store(int32_t i) REQUIRES(meas_data.resultMutex) {
    const Point& point = sweep.point;
    VcoTrace& trace = *meas_data.vco;
    trace.voltage[i] = static_cast<float>(voltageOf(i));
    if (sweep.settings->frequencyEnabled != 0)
        trace.frequency[i] = static_cast<float>(point.frequency_Hz);
    if (i > 0)
        trace.kvco[i - 1] = static_cast<float>(point.kvco);
    trace.kvco[last()] = static_cast<float>(point.kvcoLast);
    trace.power[i] = static_cast<float>(point.power_dBm);
    trace.iSupply[i] = static_cast<float>(point.current_A);
    trace.kPush[i] = static_cast<float>(point.push);
    for (int n = 0; n < vcoPnOffsets; ++n)
        trace.pnOffset[n][i] = static_cast<float>(point.noise[n]);
}

/// Stores the point and shows it to whoever waits. Returns the number of the service, 0 without one.
uint64_t publish(int32_t i) {
    MutexLock lock(meas_data.resultMutex);
    store(i);
    sweep.published = i + 1;
    const bool asked = meas_data.vcoPreliminaryTrigger != 0;
    if (i != last() && !(asked && i > 1))
        return 0;
    meas_data.vcoIteration = sweep.published;
    meas_data.vcoPreliminaryTrigger = 0;
    printd("TRIGGER UNSET\n");
    return asked ? ++meas_data.vcoServed : 0;
}

void announce(uint64_t service) {
    {
        MutexLock lock(meas_data.stateMutex);
        meas_data.vcoServedAnnounced = service;
    }
    waiting_announce();
}

enum class Outcome { measured, again, notFound };

Outcome measurePoint(Device* device, int32_t i) {
    Point& point = sweep.point;
    sweep.config->frequency = 0;
    slot_carryOn(Device_setDutTuneOutputVoltage(device, voltageOf(i)));
    tvstuff_delay_us(sweep.tuneDelay_us);
    point.frequency_Hz = readFrequency(device, i);
    if (!(point.frequency_Hz > 0))
        return Outcome::notFound;
    if (!findSensitivity(i))
        return Outcome::again;
    sweep.frequency_Hz[i] = point.frequency_Hz;
    measureRest(device);
    if (const uint64_t service = publish(i); service != 0)
        announce(service);
    return Outcome::measured;
}

// ---- the whole ------------------------------------------------------------------------------------------------------

int32_t failedAt(int32_t code) {
    printTime("ERROR detecting DUT frequency", 1);
    MutexLock lock(meas_data.resultMutex);
    meas_data.lastError = code;
    meas_data.vcoIteration = std::max(sweep.published, 1); // what there is
    return code;
}

int32_t measurePoints(Device* device) {
    sweep.point = {};
    for (int32_t i = 0; i < sweep.points;) {
        if (stopRequested()) {
            printd("   > Measurement stopped\n");
            break;
        }
        switch (measurePoint(device, i)) {
        case Outcome::measured: ++i; break;
        case Outcome::again: i = 0; break;
        case Outcome::notFound:
            if (!stopRequested()) // else whatever was cut short
                return failedAt(scpi::noSignalDetected);
        }
    }
    MutexLock lock(meas_data.resultMutex);
    meas_data.vcoIteration = std::max(sweep.published, 1);
    return 0;
}

void report() {
    constexpr double mega = 1e6, milli = 1e-3;
    MutexLock lock(meas_data.resultMutex);
    const VcoTrace& trace = *meas_data.vco;
    const auto value = [](const VcoTrace::Column& column, int32_t i) { return static_cast<double>(column[i]); };
    for (int32_t i = 0; i < sweep.published; ++i)
        printd("Iteration %4i: Tune = %5.2f V  f = %11.6f MHz / P = %6.2f dBm    Kvco = %9.6f MHz / Kpush = %7.6f MHz "
               "/ Isupp= %4.2f mA / PN1= %.1f dBc/Hz / PN2= %.1f dBc/Hz / PN3= %.1f dBc/Hz / PN4= %4.1f dBc/Hz\n",
               i, value(trace.voltage, i), value(trace.frequency, i) / mega, value(trace.power, i),
               value(trace.kvco, i) / mega, value(trace.kPush, i) / mega, value(trace.iSupply, i) / milli,
               value(trace.pnOffset[0], i), value(trace.pnOffset[1], i), value(trace.pnOffset[2], i),
               value(trace.pnOffset[3], i));
}

void closeSweep(Device* device) {
    slot_carryOn({Device_disableCounter(device), Device_enableRf(device)});
    if (!sweep.tuneWasOn)
        slot_carryOn(Device_disableDutTuneOutputVoltage(device));
    slot_carryOn(Device_setDutTuneOutputVoltage(device, sweep.tuneBefore_V));
    report();
    printTime("completed tests", 1);
    if (sweep.published > 0) // else the voltage from before the sweep is the only one that is known to do no harm
        slot_carryOn(Device_setDutTuneOutputVoltage(device, voltageOf(0)));
}

} // namespace

int32_t vcoMeasureFull(Device* device) {
    prepareSweep(device);
    if (const int32_t failure = measurePoints(device); failure != 0)
        return failure;
    closeSweep(device);
    return 0;
}

double testKPush(Device* device, int, double supplyVoltage) {
    const double before_Hz = configPNPtr->frequency;
    slot_carryOn(Device_setSupplyOutputVoltage(device, supplyOutput, supplyVoltage + pushStep_V));
    tvstuff_delay_us(supplySettling_us);
    slot_carryOn(Device_getDUTFrequency(device));
    const double raised_Hz = configPNPtr->frequency;
    slot_carryOn(Device_setSupplyOutputVoltage(device, supplyOutput, supplyVoltage));
    tvstuff_delay_us(supplySettling_us);
    return std::fabs(std::trunc(before_Hz - raised_Hz)) * pushPerStep;
}
