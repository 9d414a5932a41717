#pragma once
/// The numbers that every operation of the firmware answers with: 0, or one of these.

#include <cstdint>

namespace scpi {

inline constexpr int32_t commandError = -100;
inline constexpr int32_t parameterNotAllowed = -108;
inline constexpr int32_t missingParameter = -109;
inline constexpr int32_t undefinedHeader = -113;
inline constexpr int32_t headerSuffixOutOfRange = -114;
inline constexpr int32_t invalidSuffix = -131;
inline constexpr int32_t commandNotYetImplemented = -190;
inline constexpr int32_t notInThisMode = -191;
inline constexpr int32_t executionError = -200;
inline constexpr int32_t settingsConflict = -221;
inline constexpr int32_t dataOutOfRange = -222;
inline constexpr int32_t tooMuchData = -223;
inline constexpr int32_t illegalParameterValue = -224;
inline constexpr int32_t listsNotSameLength = -226;
inline constexpr int32_t hardwareError = -240;
inline constexpr int32_t hardwareMissing = -241;
inline constexpr int32_t outOfMemory = -321;
inline constexpr int32_t queueOverflow = -350;
inline constexpr int32_t timeOutError = -365;
inline constexpr int32_t queryError = -400;

/// Detail of a failed run, carried above bit 16 of an execution error.
constexpr int32_t runFailure(int32_t detail) {
    return executionError - detail * 65536;
}
inline constexpr int32_t noMeasurementRunning = runFailure(1);
inline constexpr int32_t noSignalDetected = runFailure(2);
inline constexpr int32_t noValidBeatDetected = runFailure(3);
inline constexpr int32_t lockFailed = runFailure(4);
inline constexpr int32_t measurementFailed = runFailure(5);
inline constexpr int32_t waitTimedOut = runFailure(6);

struct CodeText {
    int32_t code;
    const char* text;
};
inline constexpr CodeText ateerr_strings[] = {
    {noMeasurementRunning, "No measurement running"}, {noSignalDetected, "No signal detected"},
    {noValidBeatDetected, "No valid beat detected"},  {lockFailed, "Lock failed"},
    {measurementFailed, "Measurement failed"},        {waitTimedOut, "Timeout"},
};
/// What a run has failed in; null for a code without such a detail.
constexpr const char* runFailureText(int32_t code) {
    for (const CodeText& row : ateerr_strings)
        if (row.code == code)
            return row.text;
    return nullptr;
}

} // namespace scpi
