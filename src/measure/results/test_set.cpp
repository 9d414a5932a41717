#include "measure/results/test_set.h"

#include "base/error_codes.h"
#include "measure/results/pn_output.h"
#include "measure/results/statistics.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <span>

namespace {

constexpr double fsPerSecond = 1e15;
constexpr int numberTextSize = 320; // the largest double with four decimals, sign, letter and comma

/// Text of a list; entries go to the end with a comma between them.
class ListText {
public:
    void clear() {
        length_ = 0;
        text_[0] = '\0';
    }
    [[gnu::format(printf, 2, 3)]] void append(const char* format, ...) {
        if (length_ > 0 && length_ + 1 < text_.size())
            text_[length_++] = ',';
        const size_t room = text_.size() - length_;
        va_list arguments;
        va_start(arguments, format);
        const int written = vsnprintf(text_.data() + length_, room, format, arguments);
        va_end(arguments);
        length_ += std::min(static_cast<size_t>(std::max(written, 0)), room - 1);
    }
    [[nodiscard]] const char* text() const { return text_.data(); }

private:
    std::array<char, testSetSize * numberTextSize> text_{};
    size_t length_ = 0;
};

ListText definitionText;
ListText resultText;

std::span<const TestSetDefinition> entries() REQUIRES(meas_data.testSetMutex) {
    return {configPN.testSetDefinition, static_cast<size_t>(configPN.testSetCount)};
}

void clearResults() REQUIRES(meas_data.testSetMutex) {
    std::fill_n(configPN.testSetResults, testSetSize, 0.0);
}

} // namespace

int configPN_setTestSetDefinition(Device*, const TestSetDefinition* list) {
    constexpr TestSetDefinition empty[] = {{testSetEnd, -1}};
    const TestSetDefinition* from = list != nullptr ? list : empty;
    int32_t count = 0;
    while (count < testSetSize && from[count].type != testSetEnd)
        ++count;
    if (count == testSetSize)
        return scpi::illegalParameterValue;

    MutexLock lock(meas_data.testSetMutex);
    std::copy_n(from, count, configPN.testSetDefinition);
    configPN.testSetDefinition[count] = {testSetEnd, -1};
    configPN.testSetCount = count;
    clearResults(); // those of the old set mean something else
    return 0;
}

int configPN_getTestSetDefinition(Device*, const char** text) {
    definitionText.clear();
    MutexLock lock(meas_data.testSetMutex);
    for (const TestSetDefinition& entry : entries()) {
        switch (entry.type) {
        case testSetOffsetNoise: definitionText.append("O%.0f", entry.value); break;
        case testSetFrequency: definitionText.append("F"); break;
        case testSetPower: definitionText.append("P"); break;
        default: break;
        }
    }
    *text = definitionText.text();
    return 0;
}

int configPN_getTestSet(Device*, const char** text) {
    resultText.clear();
    MutexLock lock(meas_data.testSetMutex);
    for (int32_t i = 0; i < configPN.testSetCount; ++i)
        resultText.append("%.4f", configPN.testSetResults[i]);
    *text = resultText.text();
    return 0;
}

void clearTestSet() {
    MutexLock lock(meas_data.testSetMutex);
    clearResults();
}

void insertTestSetPowerFreq(double frequency, double power) {
    MutexLock lock(meas_data.testSetMutex);
    double* result = configPN.testSetResults;
    for (const TestSetDefinition& entry : entries()) {
        if (entry.type == testSetFrequency)
            *result = frequency;
        if (entry.type == testSetPower)
            *result = power;
        ++result;
    }
}

void insertTestSetOffsets(const TraceView& trace, const MeasSettings& settings) {
    const auto figure = [&](int mode) { return calculateStatistics(trace, settings, mode); };
    MutexLock lock(meas_data.testSetMutex);
    double* result = configPN.testSetResults;
    for (const TestSetDefinition& entry : entries()) {
        switch (entry.type) {
        case testSetOffsetNoise: *result = pn_output_levelAt(trace, entry.value); break;
        case testSetJitter: *result = figure(statisticsJitter) * fsPerSecond; break;
        case testSetIntegral: *result = figure(statisticsIntegral); break;
        case testSetResidualD: *result = figure(statisticsMillidegrees); break;
        case testSetResidualR: *result = figure(statisticsMilliradians); break;
        case testSetResidualM: *result = figure(statisticsResidualFm); break;
        default: break;
        }
        ++result;
    }
}
