// The firmware's boards on the models of theirs, unit by unit: what they make of a channel is what was asked for.

#include "acquisition/TVPN_ADFPGA.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"
#include "identity/device_config_sn.h"
#include "virtual/factory/calibration_file.h"
#include "virtual/hardware/hardware.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <sys/wait.h>
#include <unistd.h>

using namespace vi;

namespace {

struct Kind {
    const char* serial;
    double sourceMax_Hz; // of its source boards
    double step_Hz;      // that they come near a frequency
};
constexpr Kind kinds[] = {
    {"220-331306510-0001", 6.2e9, 1e-3}, {"220-331306710-0001", 3.6e9, 3}, {"220-331306910-0001", 13.8e9, 1e-3},
    {"220-332306510-0001", 6.2e9, 1e-3}, {"220-332306710-0001", 3.6e9, 3}, {"220-332306810-0001", 13.8e9, 1e-3},
    {"220-333306510-0001", 6.2e9, 1e-3}, {"220-333306710-0001", 3.6e9, 3}, {"220-333306910-0001", 13.8e9, 1e-3},
    {"220-334306510-0001", 6.2e9, 1e-3}, {"220-334106710-0001", 3.6e9, 3}, {"220-334306910-0001", 13.8e9, 1e-3},
    {"220-335306510-0001", 6.2e9, 1e-3}, {"220-335506710-0001", 3.6e9, 3}, {"220-335306810-0001", 13.8e9, 1e-3},
    {"220-336306510-0001", 6.2e9, 1e-3}, {"220-336306710-0001", 3.6e9, 3}, {"220-336306910-0001", 13.8e9, 1e-3},
};

/// Both sides of every threshold of boards and sources; those from below come first.
constexpr int64_t carriers[] = {
    1'000'000,      8'900'000,      29'999'999,     30'000'000,     50'000'000,     100'000'123,    199'999'999,
    200'000'000,    400'000'000,    400'000'001,    500'000'000,    749'999'999,    750'000'000,    799'999'999,
    990'000'000,    990'000'001,    1'099'999'999,  1'100'000'000,  1'499'999'999,  1'500'000'000,  1'989'999'999,
    1'990'000'000,  1'990'000'001,  2'019'999'999,  2'020'000'000,  2'020'020'000,  2'030'000'000,  2'500'000'000,
    2'500'000'001,  2'510'000'000,  2'999'999'999,  3'000'000'000,  3'900'000'000,  4'100'000'001,  4'199'999'999,
    4'200'000'000,  4'500'000'001,  5'000'000'000,  5'200'000'001,  5'400'000'000,  6'900'000'000,  6'900'000'001,
    7'000'000'001,  9'899'999'999,  9'900'000'000,  9'900'020'000,  12'000'000'000, 12'000'000'001, 13'000'000'000,
    13'099'999'999, 13'100'000'000, 13'100'020'000, 14'000'000'001, 15'900'000'000, 15'920'000'001, 17'999'999'999,
    18'000'000'000, 20'000'000'001, 24'999'999'999, 25'000'000'000, 29'500'000'000,
};

class DrivenBoards {
public:
    explicit DrivenBoards(const Kind& kind) : kind_(kind) {
        std::ofstream("/tolvane/dev/calibration.csv") << factory_calibrationFile(kind.serial);
        EXPECT_EQ(tvspiOpen(), 0);
        device_ = Device_create();
        strcpy(device_config_sn, kind.serial);
        EXPECT_EQ(Device_init(device_, [](Device*) { return 0; }), 0);
        EXPECT_EQ(Device_enableRf(device_), 0);
        for (const auto select : {device_selectB, device_selectA}) {
            select(device_);
            EXPECT_EQ(Device_setReferenceSourceInternal(device_), 0);
        }
    }
    void expectSweep();
    void expectExternalReference();
    void expectGainAndLoop();
    void expectNoFaults() {
        EXPECT_EQ(unit_.bus.faults() + unit_.acquisition.refusals(), 0U)
            << unit_.bus.faultTexts() << unit_.acquisition.refusalTexts();
    }

private:
    static constexpr double level_dBm = 3;

    [[nodiscard]] bool first() const { return unit_.bench.boards.analog <= AnalogRevision::r1C; }
    [[nodiscard]] ChannelWiring wiring(Channel channel) const { return unit_.boards.wiring(channel); }

    int set(int64_t carrier_Hz) {
        unit_.bench.dutNow.frequency_Hz = static_cast<double>(carrier_Hz);
        const tvfreq frequency{carrier_Hz, 0};
        return Device_setFrequency(device_, &frequency);
    }
    void expectCarrier(int64_t carrier_Hz);
    void expectCounted(int64_t carrier_Hz);

    const Kind& kind_;
    Hardware unit_{unitBoards_of(kind_.serial), {"", {100e6, level_dBm, {{{1, -100}}}, {}, {}}, {}}, 1};
    Device* device_;
};

void DrivenBoards::expectCarrier(int64_t carrier_Hz) {
    const auto f = static_cast<double>(carrier_Hz);
    const int result = set(carrier_Hz);
    for (const Channel c : {channelA, channelB}) {
        const ChannelWiring w = wiring(c);
        EXPECT_TRUE(w.dut.passes(f) && w.reaches(w.dut)) << "the carrier gets to the mixer";
        const TVPNX_ALG& board = c == channelA ? device_->algA : device_->algB;
        EXPECT_EQ(w.dut.ratio, TVPNX_ALG_getPrescaler(&board));
        EXPECT_EQ(w.ifChain.input, IfInput::mixer);
        const double mixer_Hz = f / w.dut.ratio;
        if (mixer_Hz > kind_.sourceMax_Hz)
            continue;
        EXPECT_EQ(result, 0);
        EXPECT_TRUE(w.driven);
        EXPECT_NEAR(w.source_Hz, mixer_Hz, kind_.step_Hz);
        EXPECT_NEAR(w.drive_dB, 0, 0.1);
    }
    const tvpow* const level = Device_getPower(device_);
    const bool readable = !first() || f <= 20e9;
    EXPECT_NEAR(double(*level), readable ? level_dBm : -100, 0.2);
}

void DrivenBoards::expectCounted(int64_t carrier_Hz) {
    const auto f = static_cast<double>(carrier_Hz);
    TVPNX_ALG* const boards[] = {&device_->algA, &device_->algB};
    const int counterResult = first() ? -241 : 0;
    for (TVPNX_ALG* const board : boards)
        EXPECT_EQ(TVPNX_ALG_enableFrequencyCounter(board), counterResult);
    set(carrier_Hz);
    for (const int32_t ratio : {1, 4, 16, 64, 128, 256, 512})
        for (const Channel c : {channelA, channelB}) {
            EXPECT_TRUE(first() || TVPNX_ALG_setCounter(boards[c], ratio) == 0);
            const CounterChain counter = wiring(c).counter;
            EXPECT_TRUE(counter.path.passes(f) && wiring(c).reaches(counter.path));
            EXPECT_EQ(counter.path.ratio * counter.ratio,
                      TVPNX_ALG_getPrescaler(boards[c]) * TVPNX_ALG_getCounter(boards[c]))
                << ratio;
            EXPECT_EQ(counter.atAdc, !first());
        }
    for (TVPNX_ALG* const board : boards)
        EXPECT_EQ(TVPNX_ALG_disableFrequencyCounter(board), counterResult);
}

void DrivenBoards::expectSweep() {
    for (const bool rising : {true, false})
        for (size_t i = 0; i < std::size(carriers); ++i) {
            const int64_t carrier_Hz = carriers[rising ? i : std::size(carriers) - 1 - i];
            SCOPED_TRACE(testing::Message() << carrier_Hz << (rising ? " rising" : " falling"));
            expectCarrier(carrier_Hz);
            expectCounted(carrier_Hz);
        }
}

void DrivenBoards::expectExternalReference() {
    for (const auto select : {device_selectB, device_selectA}) {
        select(device_);
        EXPECT_EQ(Device_setReferenceSourceExternal(device_), 0);
    }
    for (const int64_t carrier_Hz : carriers) {
        SCOPED_TRACE(carrier_Hz);
        set(carrier_Hz);
        for (const Channel c : {channelA, channelB}) {
            const ChannelWiring w = wiring(c);
            EXPECT_TRUE(w.dut.passes(static_cast<double>(carrier_Hz)) && w.reaches(w.dut));
            EXPECT_EQ(w.dut.ratio, 1U);
            EXPECT_TRUE(w.driven && w.reference == Reference::external);
        }
        expectCounted(carrier_Hz);
    }
}

void DrivenBoards::expectGainAndLoop() {
    for (const int64_t carrier_Hz : {22'999'999, 23'000'000, 100'000'000})
        for (int gain = 0; gain < 66; ++gain) {
            set(carrier_Hz);
            EXPECT_EQ(Device_setLnaGain(device_, gain), 0);
            const ChannelWiring w = wiring(channelB);
            SCOPED_TRACE(testing::Message() << carrier_Hz << " Hz, " << gain << " dB");
            EXPECT_EQ(w.ifChain.gain_dB, Device_getLnaGain(device_));
            EXPECT_TRUE(w.ifOpen());
            EXPECT_EQ(wiring(channelA).ifChain, w.ifChain);
        }
    constexpr double wiper_ohm = 100e3 / 1024;
    constexpr double none = std::numeric_limits<double>::infinity();
    constexpr double capacitors_F[] = {none, 1e-8, 2e-7, 9.4e-7, 3.76e-6};
    const Channel both[] = {channelA, channelB};
    for (const Channel c : both) {
        c == channelA ? device_selectA(device_) : device_selectB(device_);
        for (const uint32_t ohm : {200U, 1950U, 33'000U, 100'000U}) {
            for (const int resistor : {1, 2, 3})
                EXPECT_EQ(Device_setResistance(device_, resistor, ohm / static_cast<uint32_t>(resistor)), 0);
            EXPECT_EQ(Device_selectPnLoopMode(device_, 4), 0);
            const LoopFilter loop = wiring(c).loop;
            EXPECT_NEAR(loop.r1_ohm, ohm, wiper_ohm);
            EXPECT_NEAR(loop.r2_ohm, std::max(ohm / 2, 120U), wiper_ohm);
            EXPECT_NEAR(loop.r3_ohm, std::max(ohm / 3, 120U), wiper_ohm);
            EXPECT_EQ(loop.source, TuneDrive::loop);
        }
        for (uint32_t i = 0; i < std::size(capacitors_F); ++i) {
            EXPECT_EQ(Device_selectLoopC(device_, i), 0);
            EXPECT_DOUBLE_EQ(wiring(c).loop.capacitance_F, capacitors_F[i]);
        }
        for (const float supply_V : {5.0F, 15.0F}) {
            EXPECT_EQ(Device_setVoutPosVoltage(device_, supply_V), 0);
            EXPECT_EQ(Device_setTuneOutputVoltage(device_, 3.3F), 0);
            for (const int mode : {1, 3, 5}) {
                EXPECT_EQ(Device_selectPnLoopMode(device_, mode), 0);
                const LoopFilter loop = wiring(c).loop;
                EXPECT_NEAR(loop.supply_V, double(supply_V), 0.02);
                EXPECT_EQ(loop.r3_ohm, none) << mode;
                const TuneDrive held = first() ? TuneDrive::calibration : TuneDrive::none; // of a closed loop
                EXPECT_EQ(loop.source, mode == 1 ? TuneDrive::calibration : mode == 3 ? TuneDrive::loop : held) << mode;
                if (mode == 1) {
                    EXPECT_NEAR(loop.calibration_V, 3.3, 0.02);
                }
            }
        }
        EXPECT_EQ(Device_setLockhelperVoltage(device_, 2.1F), 0);
        EXPECT_NEAR(wiring(c).loop.aid_V, 2.1, 0.005);
    }
}

} // namespace

// A process starts one instrument, so each unit has one of its own.
TEST(DrivenBoards, WhatWasAskedForIsWhatTheCircuitsDo) {
    std::string failed;
    for (const Kind& kind : kinds) {
        fflush(nullptr);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            SCOPED_TRACE(kind.serial);
            DrivenBoards unit(kind);
            unit.expectSweep();
            unit.expectGainAndLoop();
            unit.expectExternalReference();
            unit.expectNoFaults();
            fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0)
            failed += std::string(kind.serial) + ' ';
    }
    EXPECT_EQ(failed, "");
}
