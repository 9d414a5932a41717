#pragma once
/// Holds a run where one of its phases begins, so that a test can act there.

#include "device_table/device_fptrs.h"
#include "measure/run/measure.h"
#include "tests/slots.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <type_traits>

enum Phase { searching, measuringKphi, locking, fittingGain, correlating, phases };
inline constexpr const char* phaseNames[phases] = {"search", "Kphi", "lock", "gain", "correlation"};

/// Holds the measurement thread where a phase begins.
class Turnstile {
public:
    /// The first call for `phase` from now on that is the `time`th of it waits.
    void arm(Phase phase, int time = 1) {
        const std::lock_guard lock(mutex_);
        armed_ = phase;
        callsToGo_ = time;
        held_ = false;
    }
    /// False if no run came there.
    [[nodiscard]] bool waitUntilHeld() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return held_; });
    }
    [[nodiscard]] bool isHolding() {
        const std::lock_guard lock(mutex_);
        return held_;
    }
    void release() {
        const std::lock_guard lock(mutex_);
        armed_.reset();
        held_ = false;
        changed_.notify_all();
    }
    void pass(Phase phase) {
        std::unique_lock lock(mutex_);
        if (!measure_isMeasurementThread() || phase != armed_ || --callsToGo_ != 0)
            return;
        armed_.reset();
        held_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return !held_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Phase> armed_;
    int callsToGo_ = 0;
    bool held_ = false;
};
inline Turnstile turnstile;

/// Lays the turnstile over the slots with which the phases begin.
inline void watchPhases() {
    static const auto search = Device_getPhaseNoiseDUTFrequency.function();
    static const auto offset = Device_setOffsettedFrequency.function();
    static const auto tune = Device_getIsTuneVoltage.function();
    static const auto gain = Device_setLnaGain.function();
    static const auto capture = Device_capturePhaseNoiseFdSamples.function();
    fill(Device_getPhaseNoiseDUTFrequency, [](Device* device, double hint) {
        turnstile.pass(searching);
        return search(device, hint);
    });
    fill(Device_setOffsettedFrequency, [](Device* device, const tvfreq* frequency, int up) {
        turnstile.pass(measuringKphi);
        return offset(device, frequency, up);
    });
    fill(Device_getIsTuneVoltage, [](Device* device) {
        turnstile.pass(locking);
        return tune(device);
    });
    fill(Device_setLnaGain, [](Device* device, int gain_dB) {
        if (gain_dB != 0)
            turnstile.pass(fittingGain);
        return gain(device, gain_dB);
    });
    fill(Device_capturePhaseNoiseFdSamples, [](Device* device) {
        turnstile.pass(correlating);
        return capture(device);
    });
}
