// Frequency counting.

#include "device/device_counter.h"

#include "acquisition/adfpga_capture.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

#include <cmath>

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr double agreement = 5e-6;
constexpr double failedReading = -1;
constexpr double countedMin_Hz = 1e6; // on 2A: below, the counter has lost its signal
constexpr uint64_t settling_us = 10'000;

/// Division in front of the counter for carriers below `below_Hz`; the last row takes the rest.
struct DivisionRow {
    double below_Hz;
    int32_t ratio;
};
constexpr DivisionRow divisions[] = {{30e6, 1}, {80e6, 4}, {350e6, 16}, {2e9, 64}};
constexpr int32_t divisionTop = 256, divisionTop2D = 512;

int32_t divisionFor(double frequency_Hz) {
    for (const DivisionRow& row : divisions)
        if (frequency_Hz < row.below_Hz)
            return row.ratio;
    return device_config_usesTVPNX_ALG_2D() ? divisionTop2D : divisionTop;
}

double hertz(const tvfreq& frequency) {
    return tvfreq2double(&frequency, nullptr);
}

void readBehindAdcs(Device* device, double* first, double* second) {
    tvfreq a{}, b{};
    // What was counted, even late, has to agree; a count that the bus has cut short is none.
    if (TVPN_ADFPGA_countFrequencyAdc(device->adfpga, &a, &b) == scpi::executionError)
        a = b = {};
    *first = hertz(a);
    *second = hertz(b);
}

bool differ(double first, double second) {
    return !(std::trunc(std::fabs(first - second)) / first < agreement);
}

int enableCounter(Device* device) {
    const double frequency_Hz = Automeasure_config_getFrequencyRaw(device);
    const int32_t division = divisionFor(frequency_Hz);
    onBothChannels(device, [=] { return TVPNX_ALG_enableFrequencyCounter(device->selectedAlg); });
    const tvfreq whole{static_cast<int64_t>(frequency_Hz), 0};
    device_planBoth(device, whole);
    onBothChannels(device, [=] { return TVPNX_ALG_setCounter(device->selectedAlg, division); });
    const uint32_t prescaler = TVPNX_ALG_getPrescaler(&device->algA);
    device->counterDivider = static_cast<uint32_t>(division) * prescaler;
    return static_cast<int>(prescaler);
}

int disableCounter(Device* device) {
    onBothChannels(device, [=] { return TVPNX_ALG_disableFrequencyCounter(device->selectedAlg); });
    return 0;
}

/// 2A counts behind both ADCs at a fixed division. Below a prescaler of 8 both must see the carrier, and the same.
int measure2A(Device* device, uint32_t prescaler, tvfreq* carrier) {
    constexpr uint32_t division = 64, fullPrescaler = 8;
    tvfreq a{}, b{};
    if (const int error = TVPN_ADFPGA_countFrequencyAdc(device->adfpga, &a, &b); error != 0)
        return error;
    const double first = hertz(a), second = hertz(b);
    if (prescaler < fullPrescaler) {
        if (first < countedMin_Hz || second < countedMin_Hz)
            return scpi::executionError;
        if (std::trunc(std::fabs(first - second)) / first > agreement)
            return scpi::executionError;
    }
    tvfreqMultiplyByInt32(carrier, first > countedMin_Hz ? &a : &b, static_cast<int32_t>(division * prescaler));
    return 0;
}

int measureAtInput(Device* device, uint32_t prescaler, tvfreq* carrier) {
    tvfreq counted{};
    if (const int error = TVPN_ADFPGA_countFrequency(device->adfpga, &counted); error != 0)
        return error;
    if (counted == tvfreq{})
        return scpi::executionError; // no carrier: the one in force stays
    const uint32_t division = prescaler * TVPNX_ALG_getCounter(device->selectedAlg);
    tvfreqMultiplyByInt32(carrier, &counted, static_cast<int32_t>(division));
    return 0;
}

int measureFrequency(Device* device) {
    const uint32_t prescaler = TVPNX_ALG_getPrescaler(device->selectedAlg);
    const auto measure = device_config_usesTVPNX_ALG_2A() ? measure2A : measureAtInput;
    if (const int error = measure(device, prescaler, &device->frequencyMeasured); error != 0)
        return error;
    device->frequency = device->frequencyMeasured;
    return 0;
}

double measured(Device* device) {
    return Device_measureFrequency(device) == 0 ? hertz(*Device_getFrequencyFixed(device)) : failedReading;
}

/// The carrier by both counters, which a sweep's run has enabled, into the configuration in force.
int getDUTFrequency(Device* device) {
    constexpr int attempts = 11;
    double first = 0, second = 0;
    for (int i = 0; i < attempts && !(first > 0 && counter_agree(first, second)); ++i)
        readBehindAdcs(device, &first, &second);
    if (!(first > 0)) {
        printd("getDUTFrequency:  No freq found\n f1: %.2f      f2: %.2f\n", first, second);
        return 0;
    }
    double frequency_Hz = (first + second) / 2 * device->counterDivider, raw_Hz = 0;
    slot_carryOn(Device_calibrateTVPNFrequency(device, &frequency_Hz, &raw_Hz)); // cannot fail
    slot_carryOn(Automeasure_config_setFrequency(device, frequency_Hz));         // held to its limits
    double2tvfreq(&frequency_Hz, &device->frequency);                            // the level is calibrated there
    alg_carryOn(TVPNX_ALG_setFrequency(&device->algA, &device->frequency));      // within the limits by now
    if (const tvpow* power = Device_getPowerFixed(device); power != nullptr)
        slot_carryOn(Automeasure_config_setPower(device, static_cast<double>(*power)));
    return 0;
}

} // namespace

bool counter_agree(double first, double second) {
    return first >= 0 && !differ(first, second);
}

bool readOutFrequencyCounter(Device* device, double* first, double* second) {
    if (device->selectedAlg->algVersion <= TVPNX_ALG_1C) {
        tvstuff_delay_us(settling_us);
        *first = measured(device);
        *second = measured(device);
        return counter_agree(*first, *second);
    }
    readBehindAdcs(device, first, second);
    return *first > 0 && counter_agree(*first, *second);
}

void device_registerCounter() {
    fill(Device_enableCounter, enableCounter);
    fill(Device_disableCounter, disableCounter);
    fill(Device_measureFrequency, measureFrequency);
    fill(Device_getDUTFrequency, getDUTFrequency);
}
