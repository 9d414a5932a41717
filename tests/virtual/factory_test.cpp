// The factory's file, read by the instrument's reader, says what the parts do.

#include "calibration/calibration_tvpn.h"
#include "tests/calibration/loaded.h"
#include "virtual/boards/unit_truth.h"
#include "virtual/factory/calibration_file.h"
#include "virtual/physics/signal_chain.h"

using namespace vi;

namespace {

struct Factory : Loaded {
    UnitBoards leave(const char* serialNumber) {
        unit(serialNumber);
        const std::string file = factory_calibrationFile(serialNumber);
        EXPECT_EQ(load(file), 0);
        EXPECT_FALSE(factory_isOfAnother(file, serialNumber));
        EXPECT_TRUE(factory_isOfAnother(file, "220-336306910-9999"));
        return unitBoards_of(serialNumber);
    }
};

constexpr const char* serials[] = {"220-331306910-0001", "220-332206710-0007", "220-333306550-0001",
                                   "220-334306910-0001", "220-335206810-0123", "220-336306910-0001"};

} // namespace

TEST_F(Factory, ALevelReadsAsItIs) {
    for (const char* serial : serials) {
        const UnitBoards boards = leave(serial);
        const bool later = boards.hasHighInput, last = boards.analog == AnalogRevision::r2D;
        const struct {
            int path;
            double carrier_Hz;
            Detector later, last;
        } rows[] = {{0, 1.3e6, Detector::low, Detector::low},     {0, 1.9e9, Detector::low, Detector::low},
                    {1, 3.1e9, Detector::middle, Detector::high}, {1, 7.7e9, Detector::middle, Detector::high},
                    {1, 14e9, Detector::high, Detector::high},    {2, 26e9, Detector::high, Detector::high}};
        for (const auto& row : rows)
            for (const int preamp : {0, 1})
                for (const double level_dBm : {-20.0, 0.0, 15.0}) {
                    const Detector detector = !later ? Detector::dut : last ? row.last : row.later;
                    const bool behind = detector == Detector::low || detector == Detector::middle;
                    const double count = detector_count(unitTruth_detector(boards, detector), row.carrier_Hz,
                                                        level_dBm + (preamp != 0 && behind ? 15 : 0));
                    double carrier_Hz = row.carrier_Hz;
                    tvfreq frequency;
                    double2tvfreq(&carrier_Hz, &frequency);
                    tvpow level = 0;
                    calibration_tvpn_getDutPower(record.get(), &frequency, preamp, row.path,
                                                 static_cast<uint16_t>(count), &level, nullptr);
                    EXPECT_NEAR(level, level_dBm, 0.04) << serial << " path " << row.path << " preamp " << preamp;
                }
    }
}

TEST_F(Factory, ASpectrumLosesWhatTheStagesHaveTooMuch) {
    for (const char* serial : serials) {
        const UnitBoards boards = leave(serial);
        double worst_dB = 0;
        for (size_t group = 0; group < ifGroups; ++group)
            for (size_t stage = 0; stage < if_stages(boards); ++stage) {
                std::array<float, 6> offsets{2, 3e3F, 1.1e5F, 2e6F, 9e6F, 4.5e7F}, values;
                for (size_t i = 0; i < offsets.size(); ++i) {
                    double both_dB = 0;
                    for (const size_t channel : {0, 1})
                        both_dB += if_excess_dB(unitTruth_if(boards, channel, group), stage, double(offsets[i]));
                    values[i] = static_cast<float>(both_dB / 2);
                    worst_dB = std::max(worst_dB, std::abs(both_dB) / 2);
                }
                const double carrier_Hz = group == 1 ? 5e9 : 1e9;
                calibration_tvpn_calibrateGain(record.get(), carrier_Hz, group == 2, 2, static_cast<uint32_t>(stage),
                                               offsets.size(), offsets.data(), values.data());
                for (size_t i = 0; i < offsets.size(); ++i)
                    EXPECT_NEAR(values[i], 0, 1e-5) << serial << ' ' << group << ' ' << stage << ' ' << offsets[i];
            }
        EXPECT_GT(worst_dB, 0.4);
        EXPECT_LT(worst_dB, 2.0);
    }
    EXPECT_EQ(if_stage(unitBoards_of(serials[5]), 12), 1u);
    EXPECT_EQ(if_stage(unitBoards_of(serials[5]), 56), 5u);
    EXPECT_EQ(if_stage(unitBoards_of(serials[1]), 20), 1u);
    EXPECT_EQ(if_stage(unitBoards_of(serials[1]), 46), 3u);
}

TEST_F(Factory, TimeBaseSensitivitiesAndSupplyAreThoseOfTheUnit) {
    for (const char* serial : serials) {
        const UnitBoards boards = leave(serial);
        const double error = unitTruth_timeBase(boards);
        EXPECT_TRUE(std::abs(error) >= 0.05e-6 && std::abs(error) <= 0.5e-6) << error;
        double counted_Hz = 1e9 * (1 + error), before_Hz;
        calibration_tvpn_calibrateFrequency(record.get(), &counted_Hz, &before_Hz);
        EXPECT_NEAR(counted_Hz, 1e9, 1e-3);
        using Which = SourceSensitivity;
        EXPECT_EQ(sensitivities.size(), 8u);
        for (const Channel c : {channelA, channelB}) {
            EXPECT_NEAR(sensitivities[std::pair(Which::vco, int(c))],
                        chain_sensitivity_HzPerV(Reference::crystal100MHz, c), 1e-3);
            EXPECT_NEAR(sensitivities[std::pair(Which::at10MHz, int(c))],
                        chain_sensitivity_HzPerV(Reference::ocxo10MHzTimes100, c), 1e-3);
            EXPECT_NEAR(sensitivities[std::pair(Which::at1000MHz, int(c))],
                        chain_sensitivity_HzPerV(Reference::resonator1GHz, c), 1e-3);
        }
        for (const size_t output : {0, 1}) {
            const SupplyTruth truth = unitTruth_supply(boards, output);
            const auto& records = record->supplyCalibration[output];
            const auto y = [](const SupplyConversion& r, double x) {
                return calibration_line(double(r.x0), double(r.y0), double(r.x1), double(r.y1), x);
            };
            EXPECT_NEAR(supply_voltsOf(truth, y(records[0], 3.3)), 3.3, 1e-4);
            for (const int law : {4, 5})
                EXPECT_NEAR(y(records[law], 0.2), supply_adcCount(truth, double(records[law].tag), 0.2), 0.01);
        }
    }
}
