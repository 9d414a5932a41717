// Input level, IF gain, and how a beat is sampled.

#include "measure/preparation/gain.h"
#include "tests/measure/steps_fixture.h"

#include <cmath>

namespace {

class GainTest : public StepsTest {
protected:
    static std::string adjustInput(double frequency, double power, double before) {
        configPN.frequency = frequency;
        configPN.power = power;
        meas_data.inputAttenuation = before;
        return logOf([] { adjustInputAttenuation(device, configPNPtr); });
    }
    static std::string adjust() {
        return logOf([] { EXPECT_EQ(adjustGain(device, configPNPtr), 0); });
    }
};

TEST_F(GainTest, FitsThePreamplifierOrTheStepAttenuatorToTheLevelWithAHysteresis) {
    const struct {
        char board;
        double frequency, power, before, after;
        const char* log;
    } cases[] = {{'5', 3e9, 3.9, 32, 32, "preamplifier on"},  {'5', 3e9, 4.5, 0, 0, ""},
                 {'5', 3e9, 5.1, 0, 0, "preamplifier off"},   {'5', 3e9, 5, 0, 0, ""},
                 {'5', 3e9, 5, -1, 32, "preamplifier on"},    {'5', 3e9, NAN, 0, 32, "preamplifier on"},
                 {'3', 1e9, 7.5, 0, 0, "preamplifier off"},   {'4', 5e9, 9.9, 0, 32, "preamplifier on"},
                 {'2', 100e6, 2.9, 7, 32, "attenuation 64"},  {'2', 100e6, 3, 7, 7, "attenuation 14"},
                 {'2', 100e6, 12.6, 7, 3.8, "attenuation 7"}, {'2', 200e6, 7.1, 7, 0, "attenuation 0"},
                 {'2', 990e6, -20, 7, 0, "attenuation 0"},    {'2', 100e6, 1e30, 7, 5e29, "attenuation 64"}};
    for (const auto& c : cases) {
        useBoard(c.board);
        EXPECT_EQ(adjustInput(c.frequency, c.power, c.before), c.log) << c.board << ' ' << c.power;
        EXPECT_DOUBLE_EQ(meas_data.inputAttenuation, c.after) << c.board << ' ' << c.power;
    }
    configPN.autoAttenuation = 0;
    configPN.attenuation = 12.5;
    EXPECT_EQ(adjustInput(100e6, 0, 0), "attenuation 25");
}

TEST_F(GainTest, TakesTheHighestIfGainThatLeavesRoom) {
    fake->gainOffset = -4; // the board has a state near what was asked
    const struct {
        char board;
        double amplitude, offset; // at the ADC with no gain, counts
        int gain;
    } cases[] = {{'6', 30, 0, 36},     {'6', 6000, 0, 0},   {'6', 0, 31232, 48}, {'6', 0, 31233, 0},
                 {'6', 0, -31768, 48}, {'6', 0, -31769, 0}, {'2', 0, 0, 50},     {'2', 1, 0, 25}}; // no span on 1C
    for (const auto& c : cases)
        for (const int loud : {0, 1}) { // either channel
            useBoard(c.board);
            hardware.sample = [&, loud](int channel, uint32_t i) { // still in use behind the loops
                const double gain = std::pow(10, fake->gain / 20.0);
                return channel != loud ? 0 : c.offset + c.amplitude * gain * (i % 2 == 0 ? 1 : -1);
            };
            adjust();
            EXPECT_EQ(fake->gain, c.gain) << c.amplitude << ' ' << c.offset;
            EXPECT_EQ(configPN.ifGain, c.gain - 4);
        }
    useBoard('6');
    configPN.ifGain = 20.9;
    hardware.captureResult = -365; // keeps the gain that it cannot, or need not, adjust
    EXPECT_EQ(adjust(), "gain 48; capture 64/1024/2; gain 20");
    EXPECT_EQ(configPN.ifGain, 20.9);
    configPN.redoIFgain = redoOnce;
    configPN.doIFgain = 0;
    EXPECT_EQ(adjust(), "gain 20");
    EXPECT_EQ(configPN.ifGain, 16) << "what the board makes of it";
}

TEST_F(GainTest, SamplesTheBeatAsLongAsTheSensitivityAsks) {
    const struct {
        char board;
        double frequency, sensitivity;
        uint32_t reference;
        int selection;
        uint32_t divider, samples; // at 125 MHz
    } cases[] = {{'2', 1e9, 1000, 0, 1, 32, 1024}, {'2', 1e9, 200, 3, 1, 1024, 128},
                 {'6', 1e9, 1000, 0, 1, 8, 2048},  {'3', 1e9, 300, 3, 1, 128, 128},
                 {'3', 29e6, 200, 3, 1, 4, 4096},  {'4', 1e9, 5.0 * 62.5e6 / 2048, 0, 2, 2, 2048},
                 {'4', 1e9, 0, 0, 2, 2, 1048576}};
    for (const auto& c : cases) {
        useBoard(c.board);
        configPN.frequency = c.frequency;
        configPN.reference = c.reference;
        configPN.referenceSens = c.reference == referenceExternal ? c.sensitivity : untouched;
        hardware.sensitivity = c.reference == referenceExternal ? untouched : c.sensitivity;
        fake->selection = c.selection;
        detectMinimalBeatMeasurementSettings(device, configPNPtr);
        EXPECT_EQ(meas_data.beatDivider, c.divider) << c.board << c.frequency << ' ' << c.sensitivity;
        EXPECT_EQ(meas_data.beatSamples, c.samples) << c.board << c.frequency << ' ' << c.sensitivity;
    }
}

} // namespace
