#pragma once
/// The device slots that a run needs: spectra of constant points, a DUT at 100 MHz, a beat while the sources stand
/// beside it, and quiet mixers with the tune voltage in the middle once they are back.

#include "device_table/device_fptrs.h"
#include "tests/slots.h"

#include <array>
#include <cmath>
#include <cstdint>

struct FakePoint {
    float re, im;
};
inline std::array<FakePoint, 512> fakeSpectrum;
inline std::array<uint16_t, 1 << 14> fakeRecord;
inline uint32_t fakeSamples;

inline void fillFakeRecord(double amplitude_counts) {
    for (size_t i = 0; i < fakeRecord.size(); ++i) // 16 periods, none of whose crossings lies near an end
        fakeRecord[i] = static_cast<uint16_t>(32768 + amplitude_counts * std::cos(double(i) * 0x1p-9 * 3.14159265));
}

inline void fillCaptureSlots() {
    fakeSpectrum.fill({1e-12f, 1e-13f});
    fillFakeRecord(0);
    fill(Device_capturePhaseNoiseFdSamples, [](Device*) { return 0; });
    fill(Device_getPhaseNoiseFdBuffer, [](Device*, uint32_t, const void** data) {
        *data = fakeSpectrum.data();
        return static_cast<int>(sizeof fakeSpectrum);
    });
    fill(Device_getPrescaler, [](Device*) { return 1u; });
    fill(Device_getFdSamplingFreq, [](Device*, int) { return 250e6; });

    fill(Device_getPhaseNoiseDUTFrequency, [](Device*, double) { return 100e6; });
    fill(Device_quicklyGetPower, [](Device*) -> const tvpow* {
        static constexpr tvpow level_dBm = 8.0f;
        return &level_dBm;
    });
    fill(Device_getFmSensitivity, [](Device*) { return 250.0; });
    fill(Device_getInternalReferenceSelection, [](Device*) { return 1; });
    fill(Device_getIsTuneVoltage, [](Device*) { return 7.2; });
    fill(Device_getBaseSampleFrequency, [](Device*) { return 250e6; });
    fill(Device_getLnaGain, [](Device*) { return 44; });
    fill(Device_setOffsettedFrequency, [](Device*, const tvfreq*, int away) {
        fillFakeRecord(away != 0 ? 20000 : 0);
        return 0;
    });
    fill(Device_setPhaseNoiseSamples, [](Device*, uint32_t samples) {
        fakeSamples = samples < fakeRecord.size() ? samples : uint32_t(fakeRecord.size());
        return 0;
    });
    fill(Device_getPhaseNoiseSamples, [](Device*) { return fakeSamples; });
    fill(Device_getFilteredSamples, [](Device*, uint32_t) { return 0; });
    fill(Device_abort_local, [](Device*) { return 0; });
    fill(Device_getPhaseNoiseFbuffer, [](Device*, uint32_t, uint32_t, uint16_t** samples) {
        *samples = fakeRecord.data();
        return static_cast<int>(fakeSamples * sizeof(uint16_t));
    });
}
