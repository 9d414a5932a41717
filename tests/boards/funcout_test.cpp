// The function output and its generator, behind the device table.

#include "tests/boards/controller_rig.h"

#include <cmath>

namespace {

constexpr Device* device = nullptr; // the slots of these tests do not ask it

using Wave = vi::Ad5932Model::Wave;

/// A board whose function output has its defaults.
class FuncoutRig : public ControllerRig {
public:
    explicit FuncoutRig(const char* unit) : ControllerRig(unit) {
        Funcout_init(device);
        initWire = taken();
    }
    /// Lines 15, 1, 0 and LFG off (4), as digits.
    [[nodiscard]] std::string routing() const {
        std::string text;
        for (const unsigned line : {15, 1, 0, 4})
            text += lines.line(line) ? '1' : '0';
        return text;
    }
    std::string initWire;
};

} // namespace

TEST(Funcout, StartsOffWithASineOf400Hz) {
    FuncoutRig rig(unit1F);
    EXPECT_EQ(rig.initWire, "240:105000 244:FB0A 244:FB0A") << "generator off, twice";
    EXPECT_EQ(Device_isFuncoutEnabled(device), 0);
    EXPECT_EQ(Device_isFuncoutSourceLfg(device), 1);
    EXPECT_EQ(*Device_getLfgFrequency(device), (tvfreq{400, 0}));
    EXPECT_EQ(*Device_getLfgFrequencyMin(device), (tvfreq{10, 0}));
    EXPECT_EQ(*Device_getLfgFrequencyMax(device), (tvfreq{5'000'000, 0}));
    EXPECT_EQ(Device_getLfgAmplitude(device), 1);
    EXPECT_EQ(Device_isLfgShapeSine(device), 1);
    EXPECT_EQ(Device_enableFuncout(device), 0);
    EXPECT_NEAR(rig.lfg_Hz(), 400, 0.6);
    EXPECT_EQ(rig.sweep.wave(), Wave::sine);
    EXPECT_EQ(rig.amplitude.ratio(), 454.0 / 1024) << "454.67";
}

// Routing of each source, off and on, with the line of the sine in bit 0.
TEST(Funcout, EachSourceIsRoutedByItsLines) {
    const struct {
        const char* name;
        const Slot<int(Device*)>*set, *is;
        int result;
        const char *lines, *linesFS; // 15, 1, 0, LFG off
    } rows[] = {
        {"PULM", &Device_setFuncoutSourcePulm, &Device_isFuncoutSourcePulm, 0, "0011", "0001"},
        {"LFG", &Device_setFuncoutSourceLfg, &Device_isFuncoutSourceLfg, 0, "0100", "0100"},
        {"DAC", &Device_setFuncoutSourceDac, &Device_isFuncoutSourceDac, 0, "1101", "1101"},
        {"HIGH", &Device_setFuncoutSourceHigh, &Device_isFuncoutSourceHigh, 0, "0001", "0001"},
        {"LOW", &Device_setFuncoutSourceLow, &Device_isFuncoutSourceLow, failed, "0001", "0001"},
        {"TRIG", &Device_setFuncoutSourceTrigger, &Device_isFuncoutSourceTrigger, failed, "0001", "0001"},
    };
    for (const char* unit : {unit1E, unitFS}) {
        FuncoutRig rig(unit);
        for (const auto& row : rows) {
            EXPECT_EQ((*row.set)(device), row.result) << row.name;
            EXPECT_EQ((*row.is)(device), row.result == 0 ? 1 : 0) << row.name;
            EXPECT_EQ(rig.routing(), "0001") << row.name << " while off";
            EXPECT_EQ(Device_enableFuncout(device), 0);
            EXPECT_EQ(Device_isFuncoutEnabled(device), 1);
            EXPECT_EQ(rig.routing(), unit == unitFS ? row.linesFS : row.lines) << row.name;
            EXPECT_EQ(Device_disableFuncout(device), 0);
            EXPECT_EQ(rig.routing(), "0001");
        }
        EXPECT_EQ(Device_isFuncoutSourceHigh(device), 1) << "what was refused changed nothing";
        Device_enableFuncout(device);
        rig.taken();
        EXPECT_EQ(Device_setFuncoutSourceHigh(device), 0);
        EXPECT_EQ(rig.taken(), "") << "in force";
        EXPECT_EQ(Device_setFuncoutSourceLfg(device), 0);
        EXPECT_EQ(rig.routing(), "0100");
        EXPECT_EQ(TVCONT_setFuncoutSourceTrigger(&rig.board), 0);
        EXPECT_EQ(rig.routing(), "0001");
        EXPECT_EQ(TVCONT_setFuncoutSourceLow(&rig.board), 0);
        rig.taken();
        EXPECT_EQ(TVCONT_setFuncoutSourceLow(&rig.board), 0);
        EXPECT_EQ(rig.taken(), "");
        EXPECT_EQ(Device_setFuncoutDac(device, 5000), 0);
        EXPECT_EQ(rig.taken(), "243:8813");
    }
    FuncoutRig older(unitOlder);
    EXPECT_EQ(Device_setFuncoutSourceDac(device), missing);
    EXPECT_EQ(Device_setFuncoutDac(device, 1), missing);
    EXPECT_EQ(Device_isFuncoutSourceLfg(device), 1);
    EXPECT_EQ(older.taken(), "");
}

TEST(Funcout, ATriggerOutputLineShowsTheSourceWhereThereIsOne) {
    static std::string shown;
    static int answer;
    shown.clear();
    answer = 0;
    FuncoutRig rig(unit1F);
    constexpr SlotRegistrar fill{"test"};
    fill(Device_setTriggerOutputLineOff, [](Device*) { return shown += "off ", answer; });
    fill(Device_setTriggerOutputLineLow, [](Device*) { return shown += "low ", answer; });
    fill(Device_setTriggerOutputLineHigh, [](Device*) { return shown += "high ", answer; });
    fill(Device_setTriggerOutputLineTrigger, [](Device*) { return shown += "trigger ", answer; });
    EXPECT_EQ(Device_setFuncoutSourceTrigger(device), 0);
    EXPECT_EQ(Device_isFuncoutSourceTrigger(device), 1);
    EXPECT_EQ(Device_enableFuncout(device), 0);
    EXPECT_EQ(Device_setFuncoutSourceLow(device), 0);
    EXPECT_EQ(Device_isFuncoutSourceLow(device), 1);
    EXPECT_EQ(Device_disableFuncout(device), 0);
    EXPECT_EQ(Device_setFuncoutSourceHigh(device), 0);
    EXPECT_EQ(Device_enableFuncout(device), 0);
    EXPECT_EQ(Device_setFuncoutSourceLfg(device), 0);
    EXPECT_EQ(Device_enableFuncout(device), 0);
    EXPECT_EQ(shown, "trigger trigger low off high ");
    answer = failed;
    EXPECT_EQ(Device_setFuncoutSourceLow(device), failed);
    EXPECT_EQ(Device_disableFuncout(device), failed);
    EXPECT_EQ(Device_isFuncoutSourceLfg(device) + Device_isFuncoutEnabled(device), 2) << "as they were";
    for (auto* line : {&Device_setTriggerOutputLineOff, &Device_setTriggerOutputLineLow,
                       &Device_setTriggerOutputLineHigh, &Device_setTriggerOutputLineTrigger})
        fill.clear(*line);
}

TEST(Funcout, TheGeneratorTakesItsSettingsWhenItIsEnabled) {
    FuncoutRig rig(unit1F);
    const tvfreq kilohertz{1000, 0}, megahertz{1'000'000, 0};
    EXPECT_EQ(Device_setLfgFrequency(device, &kilohertz), 0);
    EXPECT_EQ(Device_setLfgAmplitude(device, 2.0), 0);
    EXPECT_EQ(Device_getLfgAmplitude(device), static_cast<double>(1.8F));
    EXPECT_EQ(Device_setLfgShapeTriangle(device), 0);
    EXPECT_EQ(rig.taken(), "");
    const uint64_t start = vi::clock_now(), before = rig.bus.transfers();
    EXPECT_EQ(TVCONT_LFG_enable(&rig.board), 0);
    const uint64_t onTheBus = (rig.bus.transfers() - before) * vi::spiTransfer_ns;
    EXPECT_NEAR(static_cast<double>(vi::clock_now() - start - onTheBus), 12e6, 1000) << "ns";
    const std::string pulse = " 240:405000 240:005000";
    EXPECT_EQ(rig.taken(), "240:005000 244:FB0E 244:FB0C 244:FB0C" + pulse + " 244:00D08DC6" + pulse + " 245:C81C");
    EXPECT_EQ(rig.sweep.wave(), Wave::triangle);
    EXPECT_NEAR(rig.lfg_Hz(), 1000, 0.6);
    EXPECT_EQ(rig.amplitude.ratio(), 818.0 / 1024);

    EXPECT_EQ(Device_setLfgFrequency(device, &megahertz), 0);
    EXPECT_NEAR(rig.lfg_Hz(), 1e6, 0.6);
    EXPECT_EQ(Device_setLfgShapeSquare(device), 0);
    EXPECT_EQ(Device_isLfgShapeSquare(device), 1);
    EXPECT_TRUE(rig.sweep.square() && rig.lines.line(0));
    EXPECT_EQ(Device_setLfgShapeSine(device), 0);
    EXPECT_TRUE(!rig.sweep.square() && !rig.lines.line(0) && rig.sweep.wave() == Wave::sine);
    EXPECT_EQ(TVCONT_LFG_setShape(&rig.board, 1), 0);
    EXPECT_EQ(Device_isLfgShapeTriangle(device), 1);
    EXPECT_EQ(TVCONT_LFG_setShape(&rig.board, 3), refused);
    EXPECT_EQ(Device_isLfgShapeTriangle(device), 1);
    for (const auto& [volts, stored] : {std::pair{1.799F, 1.799F}, {-1.0F, 0.0F}, {INFINITY, 1.8F}}) {
        EXPECT_EQ(TVCONT_LFG_setVoltage(&rig.board, volts), 0);
        EXPECT_EQ(rig.board.lfgVoltage, stored);
        EXPECT_EQ(rig.amplitude.ratio(), std::floor(static_cast<double>(stored) * 1023 / 2.25) / 1024);
    }
    EXPECT_EQ(TVCONT_LFG_setVoltage(&rig.board, NAN), refused);
    EXPECT_EQ(rig.board.lfgVoltage, 1.8F);
    rig.taken();
    EXPECT_EQ(TVCONT_LFG_disable(&rig.board), 0);
    EXPECT_EQ(rig.taken(), "240:105000 244:FB08");
    EXPECT_EQ(rig.sweep.wave(), Wave::off);
    EXPECT_EQ(TVCONT_LFG_setShapeSine(&rig.board), 0);
    EXPECT_EQ(rig.taken(), "");
}

TEST(Funcout, EachTransferThatIsLostIsToldAndTheNextSettingIsRight) {
    for (uint64_t transfers = 0;; ++transfers) {
        FuncoutRig rig(unit1F);
        rig.breakAfter(transfers);
        if (Device_enableFuncout(device) == 0) {
            EXPECT_EQ(transfers, 12U) << "as many as an undisturbed one has";
            break;
        }
        rig.mend();
        EXPECT_EQ(Device_enableFuncout(device), 0) << transfers;
        EXPECT_EQ(rig.routing(), "0100") << transfers;
        EXPECT_NEAR(rig.lfg_Hz(), 400, 0.6) << transfers;
        EXPECT_EQ(rig.amplitude.ratio(), 454.0 / 1024) << transfers;
        ASSERT_LT(transfers, 100U);
    }
}
