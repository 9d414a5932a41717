#pragma once
/// The device slots that a run needs, filled with a spectrum of constant points and a preparation that always succeeds.

#include "device/device_fptrs.h"
#include "measure/meas_data.h"
#include "measure/measurement_configuration.h"

#include <array>

struct FakePoint {
    float re, im;
};
inline std::array<FakePoint, 512> fakeSpectrum;

inline void fillCaptureSlots() {
    fakeSpectrum.fill({1e-12f, 1e-13f});
    Device_capturePhaseNoiseFdSamples = [](Device*) { return 0; };
    Device_getPhaseNoiseFdBuffer = [](Device*, uint32_t, const void** data) {
        *data = fakeSpectrum.data();
        return static_cast<int>(sizeof fakeSpectrum);
    };
    Device_quicklyGetPower = [](Device*) -> const tvpow* {
        configPNPtr->kphiA = configPNPtr->kphiB = 20480.0;
        configPNPtr->ifGain = 20.0;
        meas_data.locked = 1;
        static constexpr tvpow level_dBm = 8.0f;
        return &level_dBm;
    };
    Device_getPrescaler = [](Device*) { return 1u; };
    Device_getFdSamplingFreq = [](Device*, int) { return 250e6; };
}
