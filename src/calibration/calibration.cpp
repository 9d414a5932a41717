#include "calibration/calibration.h"

#include "identity/device_variants.h"

#include <cstring>

int32_t calibration_tvpn_powerCalVersion = 0;
int32_t calibration_tvpn_gainCalVersion = 0;

namespace {

constexpr double defaultPoint_Hz = 100e6;
constexpr double defaultAdcZero = 2000.0;
constexpr double defaultAdcTen = 4000.0;

constexpr SupplyConversion voltsToDac12V = {0.0f, 0.5f, 1600.0f, 16.0f, 18190.0f};
constexpr SupplyConversion supplyDefaults[supplyRecords] = {
    {0.0f, 0.26575f, 1000.0f, 5.0425f, 15000.0f}, {0.0f, 0.0f, 0.0f, 0.5f, 16383.0f},
    {1.0f, 0.0f, 0.0f, 0.5f, 16383.0f},           {0.0f, 0.0f, 0.0f, 5.0f, 16383.0f},
    {0.0f, 0.0f, 200.1f, 1.0f, 32664.8f},         {1.0f, 0.0f, 200.1f, 1.0f, 32664.8f},
};

} // namespace

void CalibrationTVPN_setDefaults(CalibrationTVPN* calibration) {
    memset(calibration, 0, sizeof *calibration); // too large for a temporary on the stack
    calibration->powerPoints = 1;
    calibration->powerFrequency[0] = defaultPoint_Hz;
    calibration->powerGain[0] = 1.0;
    for (uint32_t i = 0; i < detectorTablesMax; ++i) {
        DetectorTable& table = calibration->detectorTable[i];
        calibration->detectorPoints[i] = 1;
        table.detectorFrequency[0] = defaultPoint_Hz;
        table.adcZero[0] = table.adcZeroPreamp[0] = defaultAdcZero;
        table.adcTen[0] = table.adcTenPreamp[0] = defaultAdcTen;
    }
    calibration->gainPoints = 1;
    calibration->gainFrequency[0] = defaultPoint_Hz;
    calibration->multiGainPoints = 1;
    for (SupplyConversion(&channel)[supplyRecords] : calibration->supplyCalibration) {
        memcpy(channel, supplyDefaults, sizeof channel);
        if (device_config_isTvpnDutSupply_12V_1A())
            channel[0] = voltsToDac12V;
    }
}

void CalibrationTVPN_reset(CalibrationTVPN* calibration) {
    CalibrationTVPN_setDefaults(calibration);
    calibration_tvpn_powerCalVersion = 0;
}

double calibration_interpolate(const double* x, const double* y, uint32_t count, double q) {
    if (count == 0 || q <= x[0])
        return y[0];
    for (uint32_t i = 1; i < count && q < x[count - 1]; ++i)
        if (x[i - 1] <= q && q <= x[i])
            return calibration_line(x[i - 1], y[i - 1], x[i], y[i], q);
    return y[count - 1];
}
