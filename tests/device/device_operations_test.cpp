// What operations of the device leave on the boards.
#include "base/error_codes.h"
#include "boards/tvcont.h"
#include "tests/device/recording_bus.h"
#include "tests/slots.h"
#include "virtual/platform/clock.h"

#include <cmath>
#include <filesystem>
#include <fstream>

namespace {

constexpr const char* unit1B = "220-331306710-0001"; // with the source boards of its time
constexpr const char* unit1C = "220-332306710-0001";
constexpr const char* unit2A = "220-333305510-0001"; // with the double source board
constexpr const char* unit2B = "220-334306810-0001";
constexpr const char* unit2C = "220-335306910-0001";
constexpr const char* unit2D = "220-336306910-0001";
constexpr const char* unitBare = "000-000000000-0000";

constexpr uint32_t linesA = 160, linesB = 176, supplyLines = 232, controllerLines = 240;
constexpr unsigned relayLow = 7, counterHigh = 3, readyLamp = 16;

tvfreq hz(int64_t hertz) {
    return {hertz, 0};
}

double frequencyOfConfiguration;

class Operations : public testing::Test {
protected:
    Device* unit(const char* serial) {
        device = start(serial);
        bus.taken();
        return device;
    }
    int setFrequency(int64_t hertz) {
        const tvfreq frequency = hz(hertz);
        return Device_setFrequency(device, &frequency);
    }
    template <class Action> double took_us(Action action) {
        const uint64_t begin = vi::clock_now();
        action();
        return static_cast<double>(vi::clock_now() - begin) / 1000;
    }

    RecordingBus bus;
    Device* device = nullptr;
};

} // namespace

TEST_F(Operations, TheInputRelayAndTheCountersFollowThePath) {
    for (const char* serial : {unit2B, unit2C, unit2D}) {
        unit(serial);
        for (const bool high : {true, false}) {
            bus.taken();
            EXPECT_EQ(Device_selectPhaseNoiseAlgBoardB(device), 0);
            EXPECT_EQ(setFrequency(high ? 5'000'000'000 : 100'000'000), 0);
            EXPECT_EQ(bus.taken(), "ABSBAu") << serial;
            EXPECT_NE(bus.line(supplyLines, relayLow), high);
            EXPECT_TRUE(bus.line(linesA, counterHigh) == high && bus.line(linesB, counterHigh) == high);
            EXPECT_NE(device->lowPath, high);
            EXPECT_TRUE(Device_isPhaseNoiseAlgBoardASelected(device));
            EXPECT_EQ(setFrequency(high ? 5'000'000'001 : 100'000'001), 0);
            EXPECT_EQ(bus.taken(), "u") << "nothing has moved";
        }
    }
}

TEST_F(Operations, SourcesAreTunedAsTheirGenerationWantsIt) {
    unit(unitBare);
    EXPECT_EQ(setFrequency(200'000'000), 0);
    EXPECT_EQ(bus.taken().find_first_of("ab6"), std::string::npos);

    unit(unit1C);
    EXPECT_EQ(setFrequency(200'000'000), 0);
    const std::string off = bus.taken();
    EXPECT_TRUE(off.find('b') != std::string::npos && off.find('a') == std::string::npos) << off;
    EXPECT_EQ(Device_enableRf(device), 0);
    bus.taken();
    EXPECT_EQ(setFrequency(300'000'000), 0);
    const std::string on = bus.taken();
    EXPECT_LT(on.find('a'), on.find('b')) << on;

    unit(unit2A);
    EXPECT_EQ(setFrequency(300'000'000), 0);
    EXPECT_NE(bus.taken().find('6'), std::string::npos);

    unit(unit2D);
    EXPECT_EQ(setFrequency(1'000'000'000), 0);
    EXPECT_EQ(bus.taken().find_first_of("ab"), std::string::npos);
    EXPECT_EQ(Device_enableRf(device), 0);
    bus.taken();
    EXPECT_EQ(setFrequency(1'000'000'000), 0);
    EXPECT_EQ(bus.taken().back(), 'u');
    EXPECT_EQ(device->isB->frequency, hz(1'000'000'000));
    bus.word = 50; // no VCO locks
    EXPECT_EQ(setFrequency(1'100'000'000), scpi::executionError);
    EXPECT_EQ(device->frequency, hz(1'100'000'000));
    EXPECT_EQ(device->algB.dutFrequency, hz(1'100'000'000));
    EXPECT_EQ(device->isB->frequency, hz(1'000'000'000)) << "A was tried in vain";
}

TEST_F(Operations, RfOfOneChannelLeavesTheSwitchAlone) {
    constexpr unsigned rfSwitch = 7;
    unit(unit2D);
    EXPECT_TRUE(bus.line(controllerLines, rfSwitch));
    EXPECT_EQ(Device_disableRf(device), 0);
    EXPECT_FALSE(bus.line(controllerLines, rfSwitch));
    bus.taken();
    EXPECT_GE(took_us([&] { EXPECT_EQ(Device_enableRfOneChannel(device, 3), 0); }), 400);
    EXPECT_EQ(bus.taken(), "");
    EXPECT_EQ(Device_enableRfOneChannel(device, 2), 0);
    EXPECT_TRUE(device->isB->rfEnabled && !device->isA->rfEnabled);
    EXPECT_TRUE(Device_isPhaseNoiseAlgBoardBSelected(device));
    EXPECT_FALSE(bus.line(controllerLines, rfSwitch) || Device_isRfEnabled(device));
    EXPECT_EQ(Device_enableRf(device), 0);
    EXPECT_TRUE(bus.line(controllerLines, rfSwitch) && device->isA->rfEnabled && Device_isRfEnabled(device));
    unit(unit2A);
    EXPECT_GE(took_us([&] { EXPECT_EQ(Device_enableRf(device), 0); }), 15'100);
    EXPECT_TRUE(device->is6g->channel[0].rfEnabled && device->is6g->channel[1].rfEnabled);
}

TEST_F(Operations, TheReferenceChangesOnOpenLoopsWithTheSupplyThatItTakes) {
    unit(unit2D);
    const struct {
        int selection, result, inForce;
        double supply_V, asked_V, held_V;
    } rows[] = {{2, 0, 2, 5, 15, 5},
                {3, 0, 3, 15, 12, 12},
                {4, -224, 3, 15, 12, 12},
                {0, 0, 0, 15, 12, 12},
                {1, 0, 1, 15, 15, 15}};
    for (const auto& [selection, result, inForce, supply_V, asked_V, held_V] : rows) {
        EXPECT_EQ(Device_selectPhaseNoiseAlgBoardB(device), 0);
        EXPECT_EQ(Device_selectPnLoopMode(device, 3), 0);
        EXPECT_EQ(Device_setTuneOutputVoltage(device, 4), 0);
        EXPECT_EQ(Device_setInternalReferenceSelection(device, selection), result);
        EXPECT_TRUE(Device_isPhaseNoiseAlgBoardBSelected(device));
        EXPECT_EQ(Device_getInternalReferenceSelection(device), inForce);
        for (const TVPNX_ALG* board : {&device->algA, &device->algB}) {
            EXPECT_TRUE(board->openMode && board->calTuneVoltage == 0.0);
            EXPECT_DOUBLE_EQ(board->loopSupplyVoltage, supply_V) << selection;
        }
        EXPECT_EQ(Device_setVoutPosVoltage(device, static_cast<float>(asked_V)), 0);
        EXPECT_EQ(Device_setTuneOutputVoltage(device, asked_V), 0);
        EXPECT_DOUBLE_EQ(device->algB.loopSupplyVoltage, held_V);
        EXPECT_DOUBLE_EQ(Device_getTuneOutputVoltage(device), held_V);
        EXPECT_EQ(Device_setVoutPosVoltage(device, 10), 0);
    }
    for (const char* serial : {unitBare, unit2A}) {
        unit(serial);
        EXPECT_EQ(Device_setInternalReferenceSelection(device, 1), scpi::undefinedHeader);
        EXPECT_EQ(Device_getInternalReferenceSelection(device), -1);
    }
}

TEST_F(Operations, PathsAndLoopModesRefuseCodesThatTheyDoNotHave) {
    unit(unit2D);
    for (const int path : {0, 4, 6})
        EXPECT_TRUE(Device_setPath(device, path) == -224 && Device_setPathOneChannel(device, 2, path) == -224) << path;
    for (const int path : {0, 5})
        EXPECT_EQ(Device_setIFPath(device, path), -224);
    for (const int mode : {0, 2, 6})
        EXPECT_EQ(Device_selectPnLoopMode(device, mode), -224);
    EXPECT_TRUE(Device_setResistance(device, 0, 1000) == -224 && Device_setResistance(device, 4, 1000) == -224);
    for (const int path : {1, 2, 3, 4}) {
        EXPECT_EQ(Device_setIFPath(device, path), 0);
        EXPECT_EQ(Device_getIFPath(device), path);
    }
    EXPECT_EQ(Device_setLnaGain(device, 40), 0);
    EXPECT_EQ(Device_setPath(device, 5), 0);
    EXPECT_TRUE(device->algA.counterEnabled && !device->algB.counterEnabled && device->algB.tranMode);
    EXPECT_EQ(device->algB.ifGain, 0U);
    EXPECT_EQ(Device_setPath(device, 3), 0);
    EXPECT_FALSE(device->algA.counterEnabled || device->algA.tranMode);
    EXPECT_EQ(Device_setPathOneChannel(device, 2, 5), 0);
    EXPECT_TRUE(device->algB.counterEnabled && !device->algA.counterEnabled);
    const struct {
        int mode;
        bool open, loop;
    } modes[] = {{1, true, false}, {3, false, true}, {4, false, true}, {5, false, false}};
    for (const auto& [mode, open, loop] : modes) {
        EXPECT_EQ(Device_selectPnLoopMode(device, mode), 0);
        EXPECT_TRUE(device->algA.openMode == open && device->algA.tuneSourceLoop == loop) << mode;
        EXPECT_EQ(device->loopMode, static_cast<uint32_t>(mode));
    }
    unit(unit1C);
    EXPECT_EQ(Device_setPath(device, 5), 0);
    EXPECT_EQ(bus.taken(), "");
}

TEST_F(Operations, TheCounterDividesByTheFrequencyOfTheConfiguration) {
    fill(Automeasure_config_getFrequencyRaw, [](Device*) { return frequencyOfConfiguration; });
    const struct {
        const char* serial;
        double frequency_Hz;
        uint32_t divider;
    } rows[] = {{unit2D, 29'999'999, 1}, {unit2D, 30e6, 4},  {unit2D, 80e6, 16}, {unit2D, 350e6, 64},
                {unit2D, 2e9, 512},      {unit2C, 2e9, 256}, {unit2C, 8e9, 512}, // behind a prescaler of 2
                {unit2D, 26e9, 512U * 4}};
    for (const auto& [serial, frequency_Hz, divider] : rows) {
        if (device == nullptr || strcmp(serial, device_config_sn) != 0)
            unit(serial);
        frequencyOfConfiguration = frequency_Hz;
        const int prescaler = Device_enableCounter(device);
        EXPECT_EQ(prescaler, static_cast<int>(device->algB.prescaler));
        EXPECT_EQ(device->counterDivider, divider) << frequency_Hz;
        EXPECT_TRUE(device->algA.counterEnabled && device->algB.counterEnabled);
        EXPECT_EQ(device->algB.dutFrequency, hz(static_cast<int64_t>(frequency_Hz)));
        EXPECT_EQ(Device_disableCounter(device), 0);
        EXPECT_FALSE(device->algA.counterEnabled || device->algB.counterEnabled);
    }
    fill.clear(Automeasure_config_getFrequencyRaw);
}

// Nobody counts here, so each search goes to its end.
TEST_F(Operations, ASearchInVainLooksWhereItsHintLies) {
    const struct {
        const char* serial;
        double hint_Hz, result;
        bool high;
        uint32_t counter; // the last ratio tried
        int64_t planned_Hz;
    } rows[] = {
        {unit1B, -1, -1, false, 8, 100'000'000},         {unit1C, 1, -1, false, 128, 1'000'000'000},
        {unit2A, 40e6, -200, false, 16, 40'000'000},     {unit2B, 10e6, -200, false, 256, 10'000'000},
        {unit2B, 10e9, -200, true, 256, 20'000'000'000}, {unit2C, 4e9, -200, true, 256, 4'000'000'000},
        {unit2D, 2e9, -200, true, 512, 3'000'000'000}, // the threshold of its source boards
        {unit2D, 10e6, -200, false, 512, 10'000'000},    {unit2D, -1, -200, false, 512, 100'000'000},
    };
    for (const auto& [serial, hint_Hz, result, high, counter, planned_Hz] : rows) {
        SCOPED_TRACE(testing::Message() << serial << ", " << hint_Hz);
        unit(serial);
        EXPECT_EQ(Device_getPhaseNoiseDUTFrequency(device, hint_Hz), result);
        EXPECT_NE(device->lowPath, high);
        EXPECT_EQ(device->algA.counter, counter);
        EXPECT_EQ(device->algA.dutFrequency, hz(planned_Hz));
        EXPECT_FALSE(device->algA.counterEnabled || device->algB.counterEnabled);
        EXPECT_TRUE(device->algA.autoPrescaler && device->algB.autoPrescaler);
        EXPECT_EQ(device->lastCounterRatio, 16);
        EXPECT_TRUE(Device_isPhaseNoiseAlgBoardASelected(device));
    }
}

TEST_F(Operations, LevelsPassTheCalibrationOrSayThatTheyCannotBeRead) {
    bus.word = 2000 << 1; // behind a leading zero
    unit(unit2C);
    const double nominal_dBm = 2.0 * 2000 * 5 / 16384 / 0.0195 - 125;
    EXPECT_TRUE(Device_isPreamplifierEnabled(device));
    EXPECT_NEAR(static_cast<double>(*Device_quicklyGetPower(device)), nominal_dBm, 0.1);
    EXPECT_TRUE(Device_isPreamplifierEnabled(device));
    EXPECT_GE(took_us([&] { EXPECT_NEAR(static_cast<double>(*Device_getPower(device)), nominal_dBm, 0.1); }), 100'000);
    EXPECT_FALSE(Device_isPreamplifierEnabled(device)) << "the single table holds without it";
    EXPECT_EQ(*Device_getPowerRaw(device), 2000);
    EXPECT_EQ(Device_enableRf(device), 0);
    EXPECT_EQ(*Device_getREFPower(device), -100);
    EXPECT_TRUE(Device_isRfEnabled(device));

    unit(unit1C);
    EXPECT_EQ(setFrequency(500'000'000), 0);
    EXPECT_NEAR(static_cast<double>(*Device_getPower(device)), nominal_dBm, 0.1);
    EXPECT_EQ(Device_getDivThresFrequency(device), 1990U);
    EXPECT_EQ(Device_getPrescaler(device), 1U);
    EXPECT_EQ(setFrequency(20'000'000'001), 0);
    EXPECT_EQ(*Device_getPower(device), -100);
    EXPECT_EQ(*Device_getPowerRaw(device), 0);
    EXPECT_EQ(Device_setDivThresFrequency(device, 1500), 0);
    EXPECT_EQ(*Device_getPower(device), -100);
    EXPECT_EQ(Device_getDivThresFrequency(device), 1500U) << "a reading puts back what was set";
}

TEST_F(Operations, SensitivitiesOfTheFileReachTheirBoards) {
    std::filesystem::create_directories("/tolvane/dev");
    std::ofstream("/tolvane/dev/calibration.csv") << "33001;;;;;;;;0.5;21;22\n33008;11;12;31;32;41;42\n";
    unit(unit2D);
    const TVPN_IS *a = device->isA, *b = device->isB;
    EXPECT_EQ(a->vcoSensitivity + a->vco10MSensitivity + a->vco100MSensitivity + a->vco1000MSensitivity,
              21 + 11 + 31 + 41);
    EXPECT_TRUE(a->vco10MSensitivity == 11 && a->vco100MSensitivity == 31 && a->vco1000MSensitivity == 41);
    EXPECT_TRUE(b->vco10MSensitivity == 12 && b->vco100MSensitivity == 32 && b->vco1000MSensitivity == 42);
    double frequency_Hz = 1e9, raw_Hz = 0;
    EXPECT_EQ(Device_calibrateTVPNFrequency(device, &frequency_Hz, &raw_Hz), 0);
    EXPECT_TRUE(raw_Hz == 1e9 && std::fabs(frequency_Hz - 999'999'500) < 1e-3);
    EXPECT_EQ(Device_setVcoSensitivity(device, 50), 0);
    EXPECT_TRUE(a->vco100MSensitivity == 50 && Device_getVcoSensitivity(device) == 50);
    unit(unit2A);
    EXPECT_EQ(Device_selectPhaseNoiseAlgBoardB(device), 0);
    EXPECT_EQ(Device_getVcoSensitivity(device), 32) << "the last for channel B";
    unit(unitBare);
    EXPECT_EQ(Device_getFmSensitivity(device) + Device_getVco10MSensitivity(device), 0);
    std::filesystem::remove("/tolvane/dev/calibration.csv");
}

TEST_F(Operations, HardwareThatFailsItsSelfTestIsGivenTime) {
    unit(unit2D);
    EXPECT_FALSE(bus.line(controllerLines, readyLamp)) << "the start has failed it";
    bus.taken();
    const double waited_us = took_us([&] { EXPECT_EQ(Device_resetFull(device), 0); });
    EXPECT_GE(waited_us, 40 * 500'000);
    EXPECT_FALSE(bus.line(controllerLines, readyLamp));
    EXPECT_EQ(device->selftestResult, -1);
}
