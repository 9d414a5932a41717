#include "calibration/calibration_tvpn.h"

#include "identity/device_variants.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace {

constexpr double highDetectorFrom_Hz = 4.2e9;
constexpr double highGainFrom_Hz = 2e9;
constexpr double dBmBetweenPoints = 10.0;
constexpr float failedReading_dBm = -100.0f;
constexpr int gainPath50M = 2;

/// Nominal law of the detector chip behind the single table: 5 V in 16384 half counts, 19.5 mV/dB.
double nominalLevel_dBm(uint16_t adc) {
    return 2.0 * adc * 5.0 / 16384.0 / 0.0195 - 85.0 - 40.0;
}

uint32_t detectorOf(int path, double frequency_Hz) {
    if (path == 0)
        return 0;
    if (path == 1)
        return frequency_Hz < highDetectorFrom_Hz ? 1 : 2;
    return 3;
}

double levelOfDetector(const CalibrationTVPN& calibration, double f, bool preamp, int path, uint16_t adc) {
    const uint32_t index = detectorOf(path, f);
    const DetectorTable& table = calibration.detectorTable[index];
    const auto at = [&](const double* values) {
        return calibration_interpolate(table.detectorFrequency, values, calibration.detectorPoints[index], f);
    };
    const double zero = at(preamp ? table.adcZeroPreamp : table.adcZero);
    const double ten = at(preamp ? table.adcTenPreamp : table.adcTen);
    return zero == ten ? failedReading_dBm : dBmBetweenPoints * (adc - zero) / (ten - zero);
}

double levelOfSingleTable(const CalibrationTVPN& calibration, double f, uint16_t adc) {
    const auto at = [&](const double* values) {
        return calibration_interpolate(calibration.powerFrequency, values, calibration.powerPoints, f);
    };
    return nominalLevel_dBm(adc) * at(calibration.powerGain) - at(calibration.powerOffset);
}

/// Points of a gain table that hold for a measurement.
struct GainTable {
    uint32_t points;
    const double* frequency;
    const GainOfPath* paths;
};

GainTable gainTableFor(const CalibrationTVPN& calibration, double frequency_Hz, bool preamp) {
    if (!calibration_tvpn_hasMultiGainCalibration())
        return {calibration.gainPoints, calibration.gainFrequency, calibration.gainTable};
    const uint32_t group = frequency_Hz >= highGainFrom_Hz ? 1 : preamp ? 2 : 0;
    return {calibration.multiGainPoints, calibration.multiGainFrequency, calibration.multiGainTable[group]};
}

} // namespace

bool calibration_tvpn_hasPowerDetectorX3Calibration() {
    return calibration_tvpn_powerCalVersion == 1;
}
bool calibration_tvpn_hasMultiGainCalibration() {
    return calibration_tvpn_gainCalVersion == 1;
}
SupplyConversion (*calibration_tvpn_getSupplyCalibration(CalibrationTVPN* calibration))[supplyRecords] {
    return calibration->supplyCalibration;
}

int calibration_tvpn_getDutPower(const CalibrationTVPN* calibration, const tvfreq* frequency, int preamp, int path,
                                 uint16_t adc, tvpow* power, float* raw) {
    const double f = tvfreq2double(frequency, nullptr);
    *power = static_cast<tvpow>(calibration_tvpn_hasPowerDetectorX3Calibration()
                                    ? levelOfDetector(*calibration, f, preamp != 0, path, adc)
                                    : levelOfSingleTable(*calibration, f, adc));
    if (raw != nullptr)
        *raw = adc;
    return 0;
}

int calibration_tvpn_calibrateFrequency(const CalibrationTVPN* calibration, double* value, double* previous) {
    *previous = *value;
    *value *= 1.0 + calibration->frequencyCorrection * -1e-6;
    return 0;
}
int calibrateTVPNFrequency(const CalibrationTVPN* calibration, double* value, double* previous) {
    return calibration_tvpn_calibrateFrequency(calibration, value, previous);
}

int calibration_tvpn_calibrateGain(const CalibrationTVPN* calibration, double frequency, int preamp, int path,
                                   uint32_t stage, uint32_t count, const float* offsets, float* values) {
    if (stage >= gainStagesMax)
        return 0;
    const GainTable table = gainTableFor(*calibration, frequency, preamp != 0);
    const double* x = table.frequency;
    const double* gain = table.paths[path == 0 || path == 1 ? path : gainPath50M] + stage * gainPointsMax;
    uint32_t j = 1; // never goes back: the offsets ascend
    for (uint32_t i = 0; i < count; ++i) {
        const double q = offsets[i];
        while (j < table.points && !(q <= x[j]) && !(q < x[j - 1]))
            ++j;
        if (j >= table.points)
            return 0;
        const double correction =
            q < x[j - 1] ? gain[j - 1] : calibration_line(x[j - 1], gain[j - 1], x[j], gain[j], q);
        values[i] = static_cast<float>(values[i] - correction);
    }
    return 0;
}

uint32_t calibration_tvpn_gainStage(double lnaGain) {
    // Each stage up to and with its gain in dB; the last one takes the rest.
    static constexpr double of1C[] = {19, 25, 45};
    static constexpr double ofOthers[] = {11, 19, 31, 43, 55};
    const std::span<const double> stages =
        device_config_usesTVPNX_ALG_1C() ? std::span(of1C) : std::span<const double>(ofOthers);
    return static_cast<uint32_t>(
        std::distance(stages.begin(), std::lower_bound(stages.begin(), stages.end(), lnaGain)));
}

int calibrateTVPNGain(const CalibrationTVPN* calibration, const GainConditions* conditions, uint32_t count,
                      const float* offsets, float* values) {
    return calibration_tvpn_calibrateGain(calibration, conditions->frequency, conditions->preamp, gainPath50M,
                                          calibration_tvpn_gainStage(conditions->lnaGain), count, offsets, values);
}
