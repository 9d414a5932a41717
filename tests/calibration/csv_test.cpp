#include "calibration/calibration_tvpn.h"
#include "loaded.h"
#include "tests/core/contents.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <sys/stat.h>
#include <tuple>

namespace {

using std::to_string;

/// One line: what its first cells say, then the values.
template <class Value> std::string line(std::string head, const Value* values, size_t count) {
    char text[40];
    for (size_t i = 0; i < count; ++i) {
        snprintf(text, sizeof text, ";%.17g", static_cast<double>(values[i]));
        head += text;
    }
    return head + '\n';
}

/// A whole record as the production tools write it, all regions in the opposite of the usual order.
std::string written(const CalibrationTVPN& c, const float (&sensitivity)[8]) {
    std::string text = line("33004;1", &c.supplyCalibration[0][0].tag, 5);
    for (uint32_t r = 1; r < 12; ++r)
        text += line(std::string("supply;") + (r < 6 ? "1" : "2"), &c.supplyCalibration[r / 6][r % 6].tag, 5);
    for (int group = 2; group >= 0; --group) {
        text += line(to_string(33201 + group) + ";6;3;1", c.multiGainFrequency, c.multiGainPoints);
        for (size_t row = 0; row < 18; ++row)
            text += line("gain;" + to_string(row / 3) + ";;",
                         c.multiGainTable[group][row % 3] + row / 3 * gainPointsMax, c.multiGainPoints);
    }
    text += line("33000;" + to_string(19), c.gainFrequency, c.gainPoints);
    for (size_t row = 0; row < 18; ++row)
        text += line("gain;" + to_string(row / 3), c.gainTable[row % 3] + row / 3 * gainPointsMax, c.gainPoints);
    for (int i = 3; i >= 0; --i) {
        const DetectorTable& table = c.detectorTable[i];
        text += line("33" + to_string(110 + 10 * i), table.detectorFrequency, c.detectorPoints[i]);
        for (const double* row : {table.adcZero, table.adcTen, table.adcZeroPreamp, table.adcTenPreamp})
            text += line("row", row, c.detectorPoints[i]);
    }
    text += "33100;2\na;b;c;d;e;f\n33001;not;a;region;line;of;its;own;9;9\n";
    text += line("33002", c.powerFrequency, c.powerPoints) + line("offset", c.powerOffset, c.powerPoints) +
            line("gain", c.powerGain, c.powerPoints);
    text += line("33008", sensitivity + 2, 6);
    text += line("33001;;;;;;;", &c.frequencyCorrection, 1);
    text.insert(text.size() - 1, line("", sensitivity, 2), 0, line("", sensitivity, 2).size() - 1);
    return text;
}

struct CsvFile : Loaded {
    /// Whatever differs from the defaults.
    void fill(CalibrationTVPN& c) {
        std::mt19937 random(1);
        std::uniform_real_distribution<float> any(-1000, 1000);
        const auto some = [&](double* values, uint32_t count) {
            std::generate_n(values, count, [&] { return any(random); });
        };
        c.frequencyCorrection = any(random);
        c.powerPoints = 1700;
        for (double* values : {c.powerFrequency, c.powerGain, c.powerOffset})
            some(values, c.powerPoints);
        for (uint32_t i = 0; i < 4; ++i) {
            DetectorTable& t = c.detectorTable[i];
            c.detectorPoints[i] = 900 + i;
            for (double* values : {t.detectorFrequency, t.adcZero, t.adcTen, t.adcZeroPreamp, t.adcTenPreamp})
                some(values, c.detectorPoints[i]);
        }
        c.gainPoints = 512;
        c.multiGainPoints = 77;
        c.gainPaths = c.multiGainPaths = 3;
        c.gainStages = c.multiGainStages = 6;
        some(c.gainFrequency, 512);
        some(c.multiGainFrequency, 77);
        for (uint32_t row = 0; row < 18; ++row) {
            some(c.gainTable[row % 3] + row / 3 * gainPointsMax, 512);
            for (auto& group : c.multiGainTable)
                some(group[row % 3] + row / 3 * gainPointsMax, 77);
        }
        for (auto& channel : c.supplyCalibration)
            for (auto& [tag, x0, y0, x1, y1] : channel)
                for (float* value : {&tag, &x0, &y0, &x1, &y1})
                    *value = any(random);
    }
    bool holds(const CalibrationTVPN& expected) { return memcmp(record.get(), &expected, sizeof expected) == 0; }
};

TEST_F(CsvFile, GivesBackWhatWasWritten) {
    auto expected = std::make_unique<CalibrationTVPN>(*record);
    fill(*expected);
    const float sensitivity[8] = {1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f, 8.25f};
    ASSERT_EQ(load(written(*expected, sensitivity)), 0);
    EXPECT_TRUE(holds(*expected));
    EXPECT_TRUE(calibration_tvpn_hasPowerDetectorX3Calibration() && calibration_tvpn_hasMultiGainCalibration());
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ((sensitivities[{static_cast<SourceSensitivity>(i / 2), i % 2}]), sensitivity[i]);

    // Another file takes nothing over but the format of the gain; no file leaves the defaults.
    CalibrationTVPN_reset(expected.get());
    expected->frequencyCorrection = 0.1f;
    sensitivities.clear();
    ASSERT_EQ(load("33001;;;;;;;;0.1"), 0) << "also without a last line end";
    EXPECT_TRUE(holds(*expected) && sensitivities.empty());
    EXPECT_FALSE(calibration_tvpn_hasPowerDetectorX3Calibration());
    EXPECT_TRUE(calibration_tvpn_hasMultiGainCalibration());
    calibration_tvpn_powerCalVersion = 1;
    EXPECT_EQ(Csvtables_TVPNX_Csv2Cal(&device, record.get(), "/tmp/no-such-file"), -100);
    expected->frequencyCorrection = 0;
    EXPECT_TRUE(holds(*expected));
    EXPECT_FALSE(calibration_tvpn_hasPowerDetectorX3Calibration());
}

TEST_F(CsvFile, ShortAndOddTables) {
    const std::string two = ";1;2\n", three = ";1;2;3\n";
    ASSERT_EQ(load("33002" + three + "o" + three + "g" + two), 0);
    EXPECT_EQ(record->powerPoints, 2u);
    ASSERT_EQ(load("33120;7\nz;8;\nt;9; \nzp;10;\ntp;11;"), 0) << "padded lines";
    EXPECT_EQ(record->detectorPoints[1], 1u);
    EXPECT_EQ(record->detectorTable[1].adcTenPreamp[0], 11);
    ASSERT_EQ(load("33110;7\nz" + three + "t" + three + "zp" + two + "tp\n"), 0);
    EXPECT_EQ(record->detectorPoints[0], 2u) << "neither the frequencies nor the last line end it";
    EXPECT_TRUE(record->detectorTable[0].detectorFrequency[1] == 0 && record->detectorTable[0].adcTenPreamp[0] == 0);
    ASSERT_EQ(load("33110;1;x; ;4\nz;1;nan;3\nt;inf;1e39;3\nzp;0x10;2;3\ntp;-2;1e400;3\n"), 0);
    EXPECT_EQ(record->detectorPoints[0], 3u);
    for (double value : {record->detectorTable[0].adcZero[1], record->detectorTable[0].adcTen[0],
                         record->detectorTable[0].adcTen[1], record->detectorTable[0].adcTenPreamp[1]})
        EXPECT_EQ(value, 0) << "no number of single precision";
    ASSERT_EQ(load("33000;5;10;20;30;;\na;7;1;2;3\nb;7;4;5\nc;9;6;7;8\nd;9;9;10;11\n"), 0);
    EXPECT_EQ((std::tuple{record->gainStages, record->gainPaths, record->gainPoints}), (std::tuple{2u, 2u, 5u}));
    EXPECT_EQ(record->gainTable[0][gainPointsMax + 2], 8);
    EXPECT_EQ(record->gainTable[1][gainPointsMax + 1], 10);
    EXPECT_EQ(record->gainTable[1][gainPointsMax + 2], 0) << "the other stage of this path has no third column";
    std::string lines;
    for (int stage = 0; stage < 5; ++stage)
        lines += "x;" + to_string(stage) + ";" + to_string(stage + 1) + "\n";
    ASSERT_EQ(load("33000;6;10;20\n" + lines), 0);
    EXPECT_EQ(record->gainTable[0][3 * gainPointsMax], 4);
    EXPECT_EQ(record->gainTable[0][4 * gainPointsMax], 0) << "the fifth of five stages is not read";
}

TEST_F(CsvFile, DefaultLinesRepetitionsAndHalfTables) {
    for (uint32_t stages : {4u, 6u}) {
        device.defaultGainStages = stages;
        std::string rows;
        for (uint32_t row = 0; row < 3 * stages; ++row)
            rows += "33001;" + to_string(row / 3) + ";1;;;;;;5\n"; // would set the time base if it opened a region
        ASSERT_EQ(load("33000;0;10\n" + rows + "33001;;;;;;;;2\n"), 0);
        EXPECT_EQ(record->gainStages, stages);
        EXPECT_EQ(record->frequencyCorrection, 2) << "the line behind the table";
        EXPECT_EQ(load("33000;0;10\n" + rows.substr(rows.find('\n') + 1)), 1) << "one line short";
    }
    std::string rows;
    for (int row = 0; row < 4; ++row)
        rows += "x;" + to_string(row / 2) + ";;;" + to_string(row) + "\n";
    ASSERT_EQ(load("33202;2;1;2;10;20\n" + rows), 0);
    EXPECT_EQ((std::tuple{record->multiGainStages, record->multiGainPaths, record->multiGainPoints}),
              (std::tuple{2u, 2u, 2u}));
    EXPECT_EQ(record->multiGainTable[1][1][gainPointsMax], 3);
    calibration_tvpn_gainCalVersion = 0;
    ASSERT_EQ(load("33202;1;1;1;10;20\nx;0\n"), 0);
    EXPECT_FALSE(calibration_tvpn_hasMultiGainCalibration()) << "nothing was stored";
}

TEST_F(CsvFile, SupplyIsReadLineByLine) {
    auto unread = std::make_unique<CalibrationTVPN>(*record);
    const auto line = [](int channel, int value) {
        return ";" + to_string(channel) + " " + to_string(value) + ";2;;3;4\t5;6\n";
    };
    std::string text = "33004" + line(1, 10);
    for (int r = 1; r < 12; ++r)
        text += "x" + line(r == 6 ? 1 : 9, 10 + r);
    ASSERT_EQ(load(text + "x" + line(3, 99)), 0) << "a thirteenth line is nobody's";
    const auto& supply =
        *reinterpret_cast<SupplyConversion(*)[12]>(calibration_tvpn_getSupplyCalibration(record.get()));
    for (int r = 0; r < 12; ++r)
        if (r != 6) {
            EXPECT_EQ(supply[r].tag, 10 + r);
            EXPECT_EQ(supply[r].y1, 5) << "cells end at blanks";
        }
    EXPECT_EQ(memcmp(&supply[6], &unread->supplyCalibration[1][0], sizeof supply[6]), 0) << "says channel 1";
    ASSERT_EQ(load("33004;2;9;9;9;9;9\nx;1;7\n"), 0);
    EXPECT_EQ(supply[0].x1, 5.0425f);
    EXPECT_TRUE(supply[1].tag == 7 && supply[1].y1 == 16383.0f) << "a missing cell keeps its default";
    unit("220-336306910-0001");
    ASSERT_EQ(load(""), 0);
    EXPECT_TRUE(supply[0].x0 == 0.5f && supply[6].y1 == 18190.0f && supply[4].y0 == 200.1f && supply[4].tag == 0);
}

TEST(Region, IsAllDigitsOfTheFirstCell) {
    struct {
        const char* line;
        int32_t result, region;
    } const rows[] = {{"33001;5", 33001, 33001},
                      {"a3b3 004", 33004, 33004},
                      {"x;7", 0, 5},
                      {"\n", 0, 5},
                      {"0;1", 0, 5},
                      {"12\n9", 12, 12},
                      {"", -1, -1},
                      {"99999999999999999999", INT32_MAX, INT32_MAX}};
    for (const auto& row : rows) {
        int32_t region = 5;
        EXPECT_EQ(extractRegion(row.line, &region), row.result) << row.line;
        EXPECT_EQ(region, row.region) << row.line;
    }
}

TEST_F(CsvFile, IsRefusedWholeAndLeavesAllAsItWas) {
    ASSERT_EQ(load("33001;;;;;;;;3;4;5\n33100;1\nx\n33201;1;1;1;10;20\nx;0;;;1;2\n"), 0);
    const auto before = std::make_unique<CalibrationTVPN>(*record);
    sensitivities.clear();
    const std::string start = "33001;;;;;;;;7;8;9\n33100;0\n";
    const auto cells = [](const std::string& head, size_t count) {
        std::string text = head;
        for (size_t i = 0; i < count; ++i)
            text += ";1";
        return text + "\n";
    };
    std::string noise(100'000, '\0');
    std::mt19937 random(3);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    const std::pair<const char*, std::string> files[] = {
        {"100 MB", std::string(100'000'000, '\n')},
        {"one line of 1 MB", cells("33002", 500'000)},
        {"a line one too long", std::string(32768, 'x') + "\n"},
        {"10,000 columns", cells("33002", 10'000) + cells("o", 10'000) + cells("g", 10'000)},
        {"one column too many", cells("33110", 1) + cells("", 2049) + cells("", 2049) + cells("", 2049) + "\n"},
        {"one offset too many", cells("33000;2", 513) + cells("x;0", 513)},
        {"random bytes", noise},
        {"a zero byte", std::string("x\0y\n", 4)},
        {"cut off in a table", cells("33110", 3) + cells("z", 3)},
        {"cut off in the single table", cells("33002", 3) + cells("z", 3)},
        {"cut off in the header", "33100;2\nx\n"},
        {"a gain table of 73 rows", "33000;74;1\n" + std::string(80, '\n')},
        {"of less than none", "33000;-3;1\n"},
        {"of too many stages", "33201;99999999999;99999999999;99999999999;1\n"},
    };
    for (const auto& [what, text] : files) {
        put(start + text);
        EXPECT_EQ(read(), 1) << what;
        EXPECT_TRUE(holds(*before) && sensitivities.empty()) << what;
        EXPECT_TRUE(calibration_tvpn_hasPowerDetectorX3Calibration()) << what;
    }
    EXPECT_EQ(load(start + std::string(32767, 'x') + "\n" + cells("33002", 2048) + cells("o", 2048) + cells("g", 2048) +
                   cells("33000;73", 512) + std::string(72, '\n')),
              0)
        << "as long as may be";
    EXPECT_EQ(record->powerPoints, 2048u);
    EXPECT_EQ(record->frequencyCorrection, 7);
    ASSERT_EQ(mkfifo("/tmp/calibration-pipe", 0600), 0);
    for (const char* none : {"/tmp", "/dev/zero", "/tmp/calibration-pipe"})
        EXPECT_EQ(Csvtables_TVPNX_Csv2Cal(&device, record.get(), none), -100) << none;
}

TEST_F(CsvFile, OfThePageIsTakenAndReadBack) {
    const std::string page = contents(CALIBRATION_PAGE);
    const size_t begin = page.find("```csv\n") + 7;
    const std::string example = page.substr(begin, page.find("```", begin) - begin);
    ASSERT_LT(begin, page.size());
    std::filesystem::remove(calibrationFile);
    EXPECT_EQ(loadCalibrationData(&device, record.get()), -100);
    std::ofstream(calibrationFile) << example;
    ASSERT_EQ(loadCalibrationData(&device, record.get()), 0);
    EXPECT_EQ(contents(calibrationCheckFile), example);
    EXPECT_FLOAT_EQ(static_cast<float>(record->frequencyCorrection), 0.21f);
    EXPECT_EQ(sensitivities.size(), 8u);
    EXPECT_EQ((sensitivities[{SourceSensitivity::at1000MHz, 1}]), 1000.6f);
    const tvfreq f{400'000'000, 0};
    tvpow power;
    calibration_tvpn_getDutPower(record.get(), &f, 1, 0, 5090, &power, nullptr);
    EXPECT_EQ(power, 10.0f);
    EXPECT_EQ(record->multiGainTable[0][2][gainPointsMax + 1], 1.8);
    EXPECT_EQ(record->supplyCalibration[0][0].y1, 18190.0f);
    std::ofstream(calibrationFile) << "33100;9\n";
    EXPECT_EQ(loadCalibrationData(&device, record.get()), -200);
    EXPECT_EQ(contents(calibrationCheckFile), example) << "still in force";
}

TEST_F(CsvFile, DateOutlivesARestart) {
    char text[calibrationDateMax + 1];
    const auto date = [&] { return getCalibrationDate(text, sizeof text) == 0 ? std::string(text) : "failed"; };
    std::filesystem::remove(calibrationDateFile);
    EXPECT_EQ(date(), "2000/01/01/00/00");
    std::ofstream(calibrationDateFile) << "\n";
    EXPECT_EQ(date(), "2000/01/01/00/00");
    EXPECT_EQ(setCalibrationDate("2024/05/17/13/45"), 0);
    EXPECT_EQ(contents(calibrationDateFile), "2024/05/17/13/45\n");
    for (const std::string& bad :
         {std::string(), std::string("two words"), std::string("line\n"), std::string(256, '1')})
        EXPECT_EQ(setCalibrationDate(bad.c_str()), -224);
    EXPECT_EQ(date(), "2024/05/17/13/45");
    char small[5];
    getCalibrationDate(small, sizeof small);
    EXPECT_STREQ(small, "2024");
    std::filesystem::remove(calibrationDateFile);
    std::filesystem::create_directory(calibrationDateFile);
    EXPECT_EQ(setCalibrationDate("2025/01/01/00/00"), -200);
    std::filesystem::remove(calibrationDateFile);
}

} // namespace
