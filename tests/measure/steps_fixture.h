#pragma once
/// The steps that prepare a run, each on its own: on top of the instrument without physics, counters and records that
/// the test chooses, in full detail in the log.

#include "tests/measure/fake_instrument.h"

#include <functional>

inline constexpr double untouched = -12345; // a value that no step writes

struct StepsHardware {
    std::function<double(double hint)> count = [](double) { return -200.0; };                  // Hz
    std::function<double(int channel, uint32_t i)> sample = [](int, uint32_t) { return 0.0; }; // from the centre
    int captureResult = 0;
    uint32_t missing[2] = {0, 0}; // samples that a record falls short of what was asked
    double sensitivity = 1000;    // Hz/V
    uint32_t prescaler = 1;
    int sourceInternal = 1;
    double source = 0; // where the sources stand, Hz
};
inline StepsHardware hardware;

class StepsTest : public MeasureTest {
protected:
    void SetUp() override;

    /// The step's log, with what stood before it thrown away.
    template <class Step> static std::string logOf(Step step) {
        fake->takeLog();
        step();
        return fake->takeLog();
    }
};
