#include "calibration/calibration_tvpn.h"
#include "loaded.h"

#include <cmath>
#include <random>
#include <vector>

namespace {

/// The straight line by its slope, searched from the top: shares nothing with the code but the meaning.
double bySlope(const std::vector<double>& x, const std::vector<double>& y, double q) {
    if (q <= x.front())
        return y.front();
    for (size_t i = x.size() - 1; i-- > 0;)
        if (q >= x[i])
            return q >= x.back() ? y.back() : y[i] + (y[i + 1] - y[i]) / (x[i + 1] - x[i]) * (q - x[i]);
    return NAN;
}

TEST(Interpolation, LiesOnStraightLinesAndHoldsItsEnds) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> step(0.1, 5.0), value(-50.0, 50.0);
    for (size_t size : {1, 2, 3, 40}) {
        std::vector<double> x{1.0}, y{value(random)};
        while (x.size() < size) {
            x.push_back(x.back() + step(random));
            y.push_back(value(random));
        }
        const auto at = [&](double q) {
            return calibration_interpolate(x.data(), y.data(), static_cast<uint32_t>(size), q);
        };
        for (double q = -2.0; q < x.back() + 3.0; q += 0.013)
            ASSERT_NEAR(at(q), size == 1 ? y[0] : bySlope(x, y, q), 1e-9) << size << " points, at " << q;
        for (size_t i = 0; i < size; ++i)
            EXPECT_DOUBLE_EQ(at(x[i]), y[i]) << "exactly on point " << i;
    }
}

TEST(Interpolation, OfATableInDisorderStillGivesANumber) {
    const double x[] = {5, 1, 9, 9, 2, 7}, y[] = {10, 20, 30, 40, 50, 60};
    for (uint32_t count = 0; count <= 6; ++count)
        for (double q = 0; q < 12; q += 0.5)
            EXPECT_TRUE(calibration_interpolate(x, y, count, q) >= 10 && calibration_interpolate(x, y, count, q) <= 60);
    EXPECT_EQ(calibration_interpolate(x, y, 0, 7), 10) << "no points: the first value";
    EXPECT_EQ(calibration_interpolate(x + 1, y + 1, 3, NAN), 40) << "no frequency: the last value";
}

struct Level : Loaded {
    float power(double frequency_Hz, int preamp, int path, uint16_t adc) {
        tvfreq f;
        double2tvfreq(&frequency_Hz, &f);
        tvpow result;
        float raw = 0;
        EXPECT_EQ(calibration_tvpn_getDutPower(record.get(), &f, preamp, path, adc, &result, &raw), 0);
        EXPECT_EQ(raw, adc);
        EXPECT_EQ(calibration_tvpn_getDutPower(record.get(), &f, preamp, path, adc, &result, nullptr), 0);
        return result;
    }
};

TEST_F(Level, OfAUnitWithoutAFile) {
    EXPECT_NEAR(power(1e9, 0, 0, 3000), 2.0 * 3000 * 5 / 16384 / 0.0195 - 125, 1e-4)
        << "nominal law of the single table";
    EXPECT_NE(power(1e9, 0, 0, 3001), power(1e9, 0, 0, 3000)) << "counts are not rounded to whole steps";
    for (double frequency :
         {record->powerFrequency[0], record->detectorTable[3].detectorFrequency[0], record->gainFrequency[0]})
        EXPECT_EQ(frequency, 100e6);
    EXPECT_FALSE(calibration_tvpn_hasPowerDetectorX3Calibration());
    ASSERT_EQ(load("33100;1\nheader\n"), 0);
    EXPECT_TRUE(calibration_tvpn_hasPowerDetectorX3Calibration());
    for (int path : {0, 1, 2, 7, -1})
        for (double f : {1e6, 100e6, 4.2e9, 26e9})
            for (int preamp : {0, 1}) {
                EXPECT_FLOAT_EQ(power(f, preamp, path, 2000), 0.0f);
                EXPECT_FLOAT_EQ(power(f, preamp, path, 4000), 10.0f);
                EXPECT_FLOAT_EQ(power(f, preamp, path, 1000), -5.0f);
            }
}

TEST_F(Level, ComesFromTheDetectorOfPathFrequencyAndPreamplifier) {
    const auto table = [](int region, int zero) {
        std::string text = std::to_string(region) + ";1000000000;3000000000\n";
        for (int row = 0; row < 4; ++row) // each row at another height, rising by 100 over the table
            text += "row;" + std::to_string(zero + 1000 * row) + ';' + std::to_string(zero + 1000 * row + 100) + '\n';
        return text;
    };
    ASSERT_EQ(
        load("33100;1\nfor people\n" + table(33110, 100) + table(33120, 200) + table(33130, 300) + table(33140, 400)),
        0);
    struct {
        int path, preamp;
        double frequency;
        uint16_t zero; // count that is 0 dBm there
    } const rows[] = {
        {0, 0, 1e9, 100},  {0, 1, 1e9, 2100}, {0, 0, 2e9, 150},          {0, 0, 9e9, 200},
        {1, 0, 1e9, 200},  {1, 1, 2e9, 2250}, {1, 0, 4199999999.0, 300}, {1, 0, 4.2e9, 400},
        {1, 1, 5e9, 2400}, {2, 0, 1e8, 400},  {3, 1, 26e9, 2500},
    };
    for (const auto& row : rows) {
        EXPECT_NEAR(power(row.frequency, row.preamp, row.path, row.zero), 0.0f, 1e-5)
            << row.path << ' ' << row.frequency;
        EXPECT_NEAR(power(row.frequency, row.preamp, row.path, static_cast<uint16_t>(row.zero + 1500)), 15.0f, 1e-5);
    }
    ASSERT_EQ(load("33100;0\n33110;1e9\nrow;1\nrow;2\nrow;3\nrow;4\n33002;1e9;2e9\noffset;1;3\ngain;1;2\n"), 0);
    EXPECT_FALSE(calibration_tvpn_hasPowerDetectorX3Calibration()) << "a header of no lines";
    EXPECT_NEAR(power(1.5e9, 0, 0, 8192), (5 / 0.0195 - 125) * 1.5 - 2, 1e-4);
    ASSERT_EQ(load("33100;1\nx\n33110;1e9\nrow;500\nrow;500\nrow;3\nrow;4\n"), 0);
    EXPECT_EQ(power(1e9, 0, 0, 500), -100.0f) << "no slope: as a failed reading";
}

TEST_F(Level, FrequencyLosesTheTimeBasesDeviation) {
    ASSERT_EQ(load("33001;;;;;;;;1.0\n"), 0);
    for (const auto operation : {calibration_tvpn_calibrateFrequency, calibrateTVPNFrequency}) {
        double value = 10e6, previous = 0;
        EXPECT_EQ(operation(record.get(), &value, &previous), 0);
        EXPECT_NEAR(value, 9999990.0, 1e-6);
        EXPECT_EQ(previous, 10e6);
    }
}

struct Gain : Loaded {
    /// What is taken from 0 dB at these offsets.
    std::vector<float> corrections(std::vector<float> offsets, double frequency, int preamp, int path, uint32_t stage) {
        const auto count = static_cast<uint32_t>(offsets.size());
        std::vector<float> values(count + 1, 0.0f);
        offsets.push_back(offsets.back()); // whoever goes on behind the last value is seen
        EXPECT_EQ(calibration_tvpn_calibrateGain(record.get(), frequency, preamp, path, stage, count, offsets.data(),
                                                 values.data()),
                  0);
        EXPECT_EQ(values.back(), 0.0f);
        values.pop_back();
        for (float& value : values)
            value = -value;
        return values;
    }
    /// Lines of a table whose gain is base + 10 * stage + path at the first point, and 1 dB more at each further one.
    static std::string rows(int base, int stages, int paths, const char* gap) {
        std::string text;
        for (int stage = 0; stage < stages; ++stage)
            for (int path = 0; path < paths; ++path) {
                const int at = base + 10 * stage + path;
                text += "gain;" + std::to_string(stage) + gap;
                text += ';' + std::to_string(at) + ';' + std::to_string(at + 1) + ';' + std::to_string(at + 2) + '\n';
            }
        return text;
    }
};

TEST_F(Gain, IsInterpolatedOverTheOffsetAndEndsWithItsTable) {
    ASSERT_EQ(load("33000;19;10;100;300\n" + rows(5, 6, 3, "")), 0);
    using Values = std::vector<float>;
    EXPECT_EQ(corrections({1, 10, 55, 100, 150, 300, 301, 1000}, 1e9, 0, 0, 0), (Values{5, 5, 5.5, 6, 6.25, 7, 0, 0}));
    EXPECT_EQ(corrections({400, 20}, 1e9, 0, 0, 0), (Values{0, 0})) << "it never looks back";
    EXPECT_EQ(corrections({100, 20, 99}, 1e9, 0, 0, 0), (Values{6, 5 + 10.0f / 90, 5 + 89.0f / 90}));
    for (uint32_t stage = 0; stage < 6; ++stage)
        for (int path : {0, 1, 2, 3, -1}) {
            const float at =
                5.0f + 10.0f * static_cast<float>(stage) + (path == 0 || path == 1 ? static_cast<float>(path) : 2);
            EXPECT_EQ(corrections({10}, 26e9, 1, path, stage), Values{at}) << stage << ' ' << path;
        }
    EXPECT_EQ(corrections({10}, 1e9, 0, 0, 6), Values{0}) << "no such stage";
    ASSERT_EQ(load("33000;13;10;100;300\n" + rows(5, 4, 3, "")), 0);
    EXPECT_EQ(corrections({10, 20}, 1e9, 0, 2, 4), (Values{0, 0})) << "a file of four stages";
    ASSERT_EQ(load("33000;2;10\nx;0;3\n"), 0);
    EXPECT_EQ(corrections({5, 10, 20}, 1e9, 0, 0, 0), (Values{0, 0, 0})) << "one point corrects nothing";
}

TEST_F(Gain, ComesFromTheGroupOfCarrierAndPreamplifier) {
    ASSERT_EQ(load("33201;6;3;1;10;100;300\n" + rows(100, 6, 3, ";;") + "33202;6;3;1;10;100;300\n" +
                   rows(200, 6, 3, ";;") + "33203;6;3;1;10;100;300\n" + rows(300, 6, 3, ";;")),
              0);
    EXPECT_TRUE(calibration_tvpn_hasMultiGainCalibration());
    const auto group = [&](double f, int preamp) { return corrections({10}, f, preamp, 0, 0)[0]; };
    EXPECT_EQ(group(1999999999.0, 0), 100);
    EXPECT_EQ(group(1999999999.0, 1), 300);
    EXPECT_EQ(group(2e9, 0), 200);
    EXPECT_EQ(group(2e9, 1), 200);
    // The gain in force says the stage; the path is the last one.
    struct {
        const char* unit;
        std::vector<std::pair<double, int>> stages;
    } const scales[] = {
        {"220-336206910-0001",
         {{0, 0}, {11, 0}, {12, 1}, {19, 1}, {20, 2}, {31, 2}, {32, 3}, {43, 3}, {44, 4}, {55, 4}, {56, 5}}},
        {"220-332206910-0001", {{19, 0}, {20, 1}, {25, 1}, {26, 2}, {45, 2}, {46, 3}, {90, 3}}},
    };
    for (const auto& scale : scales) {
        strcpy(device_config_sn, scale.unit);
        for (const auto& [gain, stage] : scale.stages) {
            const GainConditions conditions{gain, 1, 1e9};
            const float offset = 100;
            float value = 0;
            EXPECT_EQ(calibrateTVPNGain(record.get(), &conditions, 1, &offset, &value), 0);
            EXPECT_EQ(-value, 303 + 10 * stage) << gain << " dB";
        }
    }
}

} // namespace
