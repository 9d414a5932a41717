// The controller board: start, lamps, fan, pins, I/O update, attenuator lines.

#include "tests/boards/controller_rig.h"

#include <atomic>
#include <thread>

namespace {

constexpr Device* device = nullptr; // the slots of these tests do not ask it
constexpr const char* units[] = {unitOlder, unit1E, unit1F, unitFS};

class UpdateCounter final : public vi::SpiChip {
public:
    void ioUpdate(uint32_t trigger) override { updates.push_back(trigger); }
    std::vector<uint32_t> updates;
};

} // namespace

TEST(Controller, StartsItsChipsAndLeavesTheAttenuatorInItsFirstStage) {
    const std::string lfg = "240:000000 245:0090 245:0010 244:FB0E 244:99D199C9 244:00D800C0";
    const struct {
        const char* unit;
        const char* wire; // behind the generator's
    } rows[] = {
        {unitOlder, " 240:000F00 240:000000 240:005000"},
        {unit1E, " 243:0000 240:000F00 240:000000 240:005000"},
        {unitFS, " 243:0000 241:0000 240:000F00 240:000000 240:005000"},
        {"200-030000300-0000", " 243:0000 240:000F00 240:005F00"},
        {"200-030000400-0000", " 243:0000 240:000300 240:000C00 240:005C00"},
        {"200-030000500-0000", " 243:0000 240:000300 240:000C00 240:005C00"},
        {"200-030000700-0000", " 243:0000 240:000300 240:000C00 240:005C00"},
    };
    for (const auto& row : rows) {
        ControllerRig rig(row.unit);
        EXPECT_EQ(rig.startWire, lfg + row.wire) << row.unit;
        const uint64_t start = vi::clock_now(), before = rig.bus.transfers();
        EXPECT_EQ(TVCONT_resetEattLine(&rig.board), 0);
        const uint64_t onTheBus = (rig.bus.transfers() - before) * vi::spiTransfer_ns;
        EXPECT_NEAR(static_cast<double>(vi::clock_now() - start - onTheBus), 100e6, 1000) << "ns";
    }
}

// Lines by hand: what switches, from which revision on, and the line.
TEST(Controller, LampsAndFanSwitchTheirLinesWhereTheRevisionHasThem) {
    const struct {
        const char* name;
        const Slot<int(Device*)>*on, *off;
        size_t from; // first of `units`
        unsigned line;
    } rows[] = {
        {"ready", &Device_enableLedReady, &Device_disableLedReady, 1, 16},
        {"remote", &Device_enableLedRemote, &Device_disableLedRemote, 1, 17},
        {"error", &Device_enableLedError, &Device_disableLedError, 1, 18},
        {"fan", &Device_enableFan, &Device_disableFan, 2, 20},
    };
    for (size_t unit = 0; unit < std::size(units); ++unit) {
        ControllerRig rig(units[unit]);
        const uint64_t atStart = rig.lines.lines();
        for (const auto& row : rows) {
            const bool has = unit >= row.from;
            EXPECT_EQ((*row.on)(device), has ? 0 : missing) << row.name << unit;
            EXPECT_EQ(rig.lines.lines(), atStart | uint64_t{has} << row.line) << row.name << unit;
            EXPECT_EQ((*row.off)(device), has ? 0 : missing);
            EXPECT_EQ(rig.lines.lines(), atStart);
        }
        constexpr int lamps[][9] = {{-1, -1, -1, -1, -1, -1, -1, -1, -1},
                                    {16, 18, -1, -1, -1, -1, -1, -1, -1},
                                    {16, 18, -1, -1, -1, -1, -1, -1, -1},
                                    {16, 18, 21, 22, 23, 13, 24, 25, -1}};
        for (uint32_t number = 0; number < 9; ++number) {
            const int line = lamps[unit][number];
            EXPECT_EQ(TVCONT_getOutputLedBit(&rig.board, number), line) << number;
            EXPECT_EQ(Device_enableOutputLed(device, number), line < 0 ? missing : 0);
            const bool shown = line >= 0 && line < 24;
            EXPECT_EQ(rig.lines.lines(), atStart | uint64_t{shown} << (shown ? line : 0)) << number;
            EXPECT_EQ(Device_disableOutputLed(device, number), line < 0 ? missing : 0);
            EXPECT_EQ(rig.lines.lines(), atStart);
        }
        rig.taken();
        EXPECT_EQ(Device_disableLedReady(device), unit == 0 ? missing : 0);
        EXPECT_EQ(rig.taken(), "") << "it is off";
        const bool fs = unit == 3;
        EXPECT_EQ(Device_setFanDac(device, 0.75), fs ? 0 : missing);
        EXPECT_EQ(rig.taken(), fs ? "241:1F00" : "") << "31.75 of 127";
        EXPECT_DOUBLE_EQ(Device_getFanDac(device), fs ? 96.0 / 127 : -1);
        uint32_t value = 7;
        EXPECT_EQ(Device_readFsRegister(device, 5, &value), fs ? -365 : missing);
    }
}

// Without the lock it is the thread sanitizer that tells.
TEST(Controller, TheLinkThreadsLampsAndTheRunsSwitchDoNotUndoEachOther) {
    ControllerRig rig(unit1F);
    constexpr int rounds = 5000;
    std::atomic<uint32_t> low{0}, high{0}; // bytes of the last frame
    rig.watch = [&](const vi::SpiTransfer& transfer) {
        low = transfer.frame[0];
        high = transfer.frame[2];
    };
    const auto lamp = [&] { return (high >> 1 & 1) != 0; };
    const auto rf = [&] { return (low >> 7 & 1) != 0; };
    std::atomic<int> wrong{0};
    std::thread links([&] {
        for (int i = 0; i < rounds; ++i) {
            Device_enableLedRemote(device);
            wrong += !lamp();
            Device_disableLedRemote(device);
            wrong += lamp();
        }
    });
    for (int i = 0; i < rounds; ++i) {
        EXPECT_EQ(TVCONT_enableRF(&rig.board), 0);
        wrong += !rf();
        EXPECT_EQ(TVCONT_disableRF(&rig.board), 0);
        wrong += rf();
    }
    links.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Controller, RfSwitchTemperatureAndPins) {
    ControllerRig rig(unit1E);
    EXPECT_EQ(TVCONT_enableRF(&rig.board), 0);
    EXPECT_EQ(rig.taken(), "240:805000");
    EXPECT_EQ(TVCONT_disableRF(&rig.board), 0);
    EXPECT_EQ(rig.taken(), "240:005000");
    rig.temperature_degC = -12.3;
    EXPECT_NEAR(TVCONT_getTemperature(&rig.board), -12.3, 0.0625);
    EXPECT_EQ(TVCONT_getTemperature_async(&rig.board), TVCONT_getTemperature(&rig.board));
    rig.taken();
    rig.bus.setPinSource(57365, [&] { return rig.lines.line(19) ? 2U : 3U; });
    EXPECT_EQ(Device_getPinStatePHSTATUS(device), 3);
    EXPECT_EQ(rig.taken(), "");
    EXPECT_EQ(Device_getPinStateRESET(device), 2);
    EXPECT_EQ(rig.taken(), "240:005008 240:005000");
    rig.breakAfter(1);
    EXPECT_EQ(Device_getPinStateRESET(device), failed) << "the line stays";
    rig.breakAfter(0);
    EXPECT_EQ(Device_getPinStateRESET(device), failed);
    EXPECT_EQ(TVCONT_enableRF(&rig.board), failed);
    rig.mend();
    EXPECT_EQ(TVCONT_enableRF(&rig.board), 0);
    EXPECT_EQ(rig.lines.lines(), 0x5080U);

    ControllerRig withFpga(unitFS);
    EXPECT_EQ(TVCONT_enableRF(&withFpga.board), 0);
    EXPECT_EQ(TVCONT_disableRF(&withFpga.board), 0);
    EXPECT_EQ(withFpga.taken(), "") << "the switch is not on this board";
}

TEST(Controller, TheIoUpdateReachesTheChipsOrTheListThatIsCaptured) {
    ControllerRig rig(unit1F);
    UpdateCounter chip;
    rig.bus.attach(1, &chip);
    EXPECT_EQ(TVCONT_ioupdate(), 0);
    EXPECT_EQ(TVCONT_ioupdateTrigger(0), 0);
    EXPECT_EQ(TVCONT_ioupdateTrigger(9), 0);
    EXPECT_EQ(chip.updates, (std::vector<uint32_t>{0, 0, 9}));

    uint32_t list[16] = {};
    tvspi_startCapture(list, sizeof list, 0);
    EXPECT_EQ(TVCONT_ioupdate(), 1);
    EXPECT_EQ(TVCONT_ioupdateTrigger(9), 1);
    EXPECT_EQ(tvspi_stopCapture(), 0);
    EXPECT_EQ(list[0], 257U);
    EXPECT_EQ(list[3], 258U);
    EXPECT_EQ(list[6], 256U) << "the end";
    EXPECT_EQ(chip.updates.size(), 3U);

    Funcout_init(device);
    const auto isOn = [] { return Device_isTriggerOutputPulseAtIoupdateEnabled(device); };
    EXPECT_EQ(isOn(), 0);
    EXPECT_EQ(Device_enableTriggerOutputPulseAtIoupdate(device, 2), 0);
    EXPECT_EQ(rig.bus.triggerPulse(), 3U);
    EXPECT_EQ(isOn(), 1);
    EXPECT_EQ(Device_enableTriggerOutputPulseAtIoupdate(device, 0), 0);
    EXPECT_EQ(rig.bus.triggerPulse(), 1U);
    tvspiClose();
    EXPECT_EQ(Device_disableTriggerOutputPulseAtIoupdate(device), failed);
    EXPECT_EQ(isOn(), 1);
    EXPECT_EQ(TVCONT_ioupdate(), failed);
    EXPECT_EQ(tvspiOpen(), 0);
    EXPECT_EQ(Device_disableTriggerOutputPulseAtIoupdate(device), 0);
    EXPECT_EQ(rig.bus.triggerPulse(), 0U);
    EXPECT_EQ(isOn(), 0);
}

TEST(Controller, AttenuatorLinesFollowTheStage) {
    ControllerRig rig(unit1F);
    EXPECT_EQ(TVCONT_setEattLine(&rig.board, 1), 0);
    EXPECT_EQ(TVCONT_setEattLine(&rig.board, 2), 0);
    EXPECT_EQ(TVCONT_setEattLine(&rig.board, 4), 0);
    EXPECT_EQ(TVCONT_setEattLine(&rig.board, 8), 0);
    EXPECT_EQ(rig.taken(), "240:005200 240:005400 240:005800 240:005100");
    EXPECT_EQ(TVCONT_getEattLine(&rig.board), 8U);
    EXPECT_EQ(TVCONT_setEattStage(&rig.board, 0), 0);
    EXPECT_EQ(rig.taken(), "") << "the stage in force";
    EXPECT_EQ(TVCONT_setEattStage(&rig.board, 0x35), 0);
    EXPECT_EQ(TVCONT_getEattLine(&rig.board), 5U);
    EXPECT_EQ(rig.board.eattStage, 5U);
    rig.breakAfter(0);
    EXPECT_EQ(TVCONT_resetEattLine(&rig.board), failed);
    EXPECT_EQ(rig.board.eattStage, 0U);
    rig.breakAfter(1);
    EXPECT_EQ(TVCONT_resetEattLine(&rig.board), failed) << "the second transfer";
    rig.mend();
    const struct {
        const char* unit;
        uint32_t codes[4];
    } rows[] = {
        {"200-030000300-0000", {15, 3, 12, 0}},
        {"200-030000400-0000", {6, 10, 5, 9}},
    };
    for (const auto& row : rows) {
        ControllerRig coded(row.unit);
        for (uint32_t stage = 1; stage <= 8; ++stage) {
            EXPECT_EQ(TVCONT_setEattStage(&coded.board, stage), 0);
            EXPECT_EQ(TVCONT_getEattLine(&coded.board), row.codes[stage % 4]) << row.unit << stage;
        }
    }
}

TEST(Controller, WithoutABoardTheSlotsSaySo) {
    ControllerRig rig(unitFS);
    Funcout_init(device);
    rig.taken();
    ControllerRig::present = nullptr;
    tvfreq frequency{};
    uint32_t value = 0;
    const int results[] = {Device_enableLedReady(device),      Device_enableOutputLed(device, 0),
                           Device_setFanDac(device, 1),        Device_getPinStateRESET(device),
                           Device_getPinStatePHSTATUS(device), Device_readFsRegister(device, 0, &value),
                           Device_setBootDelay(device, 1),     Device_enableFuncout(device),
                           Device_disableFuncout(device),      Device_setFuncoutSourceDac(device),
                           Device_setFuncoutDac(device, 1),    Device_setLfgFrequency(device, &frequency),
                           Device_setLfgAmplitude(device, 1),  Device_enableTriggerOutputPulseAtIoupdate(device, 1)};
    for (const int result : results)
        EXPECT_EQ(result, noBoard) << &result - results;
    EXPECT_EQ(Device_getFanDac(device), -1);
    EXPECT_EQ(Device_getBootDelay(device), 0);
    EXPECT_EQ(Device_getLfgAmplitude(device), 0);
    EXPECT_EQ(*Device_getLfgFrequencyMax(device), tvfreq{});
    EXPECT_EQ(Device_isFuncoutSourceLfg(device) + Device_isLfgShapeSine(device) + Device_isFuncoutEnabled(device), 0);
    EXPECT_EQ(rig.taken(), "");
}
