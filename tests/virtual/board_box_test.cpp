// A unit's boards in front of the bench: what comes out for what is on the chips.

#include "tests/virtual/bench_fixture.h"
#include "tests/virtual/board_bus.h"
#include "virtual/boards/source_pair.h"
#include "virtual/hardware/board_box.h"

#include <algorithm>
#include <complex>

using namespace vi;

namespace {

constexpr double carrier_Hz = 100e6;
constexpr uint32_t sources[] = {sourceBoardA, sourceBoardB}, analogs[] = {analogBoardA, analogBoardB};

// Lines of the boards of the default unit.
constexpr uint64_t one = 1;
constexpr uint64_t lowMixer = one << 26 | one << 28 | one << 29, filters = one << 12 | one << 15;
constexpr uint64_t band50 = one << 14 | one << 22 | one << 23 | one << 24;
constexpr uint64_t loopToSource = one << 43, calibrationToSource = one << 46;
constexpr uint64_t capacitor3 = one << 40 | one << 39 | one << 42; // the others are bridged
constexpr uint64_t carrierPath = lowMixer | filters | band50;
constexpr uint32_t crystalDirect = 1 << 11 | 1 << 18 | 1 << 21 | 1 << 16;

struct Box {
    explicit Box(const Dut& dut) : bench(dut), box(bus, bench, bench.boards) {
        EXPECT_TRUE(bus.send(232, 0x80, 1) && bus.send(240, 1 << 7, 3)); // relay low, RF on
        for (const Channel c : {channelA, channelB}) {
            resistors(c);
            lines(c, carrierPath | loopToSource | capacitor3);
            EXPECT_TRUE(bus.send(sources[c], crystalDirect, 3));
            dds(c, carrier_Hz);
        }
    }
    void lines(Channel c, uint64_t word) { EXPECT_TRUE(bus.send(analogs[c], word, 6)); }
    void dds(Channel c, double frequency_Hz) {
        const uint64_t word = uint64_t(std::ldexp(frequency_Hz / 1e9, 48));
        EXPECT_TRUE(bus.send(sources[c] + 6, uint64_t{0x61AB} << 48 | word, 8) && bus.ioUpdate());
    }
    /// A loop of some 100 Hz on 15 V, R3 shut down.
    void resistors(Channel c) {
        for (const uint32_t offset : {3U, 4U})
            EXPECT_TRUE(bus.send(analogs[c] + offset, 0x18021802, 4, 1));
        for (const uint32_t offset : {5U, 6U})
            EXPECT_TRUE(bus.send(analogs[c] + offset, 0x1802, 2, 1));
        EXPECT_TRUE(bus.send(analogs[c] + 3, 0x0400 | (1024 - 20), 4, 1));                 // R1 1953 ohms
        EXPECT_TRUE(bus.send(analogs[c] + 3, uint64_t{0x0400 | (1024 - 41)} << 16, 4, 1)); // R2 4004 ohms
        EXPECT_TRUE(bus.send(analogs[c] + 4, 0x2001, 4, 1));
        EXPECT_TRUE(bus.send(analogs[c] + 6, 0x06C2, 2, 1));
        EXPECT_TRUE(bus.send(analogs[c] + 5, 0x0614, 2, 1)); // 7.2 V
    }
    ChannelTruth truth(Channel c = channelA) { return bench_truth(&bench, c); }
    void settle() { clock_spend(2'000'000'000); }

    TestBench bench;
    BoardBus bus;
    BoardBox box;
};

} // namespace

TEST(BoardBox, TheChipsMakeALoopThatLocks) {
    Box box(flatDut(carrier_Hz, -140));
    for (const Channel c : {channelA, channelB}) {
        box.lines(c, carrierPath | calibrationToSource | capacitor3);
        EXPECT_NEAR(box.truth(c).tune_V, 7.2, 0.02);
        EXPECT_LT(std::abs(box.truth(c).beat_Hz), 5);
        EXPECT_NEAR(box.bus.adc(analogs[c] + 2) * 20 / 16384.0, 7.2, 0.02) << "as its own ADC sees it";
        box.lines(c, carrierPath | loopToSource | capacitor3);
    }
    box.settle();
    for (const Channel c : {channelA, channelB}) {
        EXPECT_TRUE(box.truth(c).locked);
        EXPECT_NEAR(box.truth(c).wn_rad_s / twoPi, 98, 6);
    }
    EXPECT_EQ(box.bus.faults(), 0u) << box.bus.faultTexts();
}

TEST(BoardBox, WhatIsWrongOnABoardIsWrongInTheCircuit) {
    using Spoil = void (*)(Box&);
    enum class Result { locked, unlocked, noSlope };
    const struct {
        const char* why;
        Spoil spoil;
        Result result;
    } rows[] = {
        {"nothing", [](Box&) {}, Result::locked},
        {"IF mux off", [](Box& b) { b.lines(channelA, (carrierPath | loopToSource | capacitor3) & ~(one << 28)); },
         Result::noSlope},
        {"relay at the other input", [](Box& b) { EXPECT_TRUE(b.bus.send(232, 0, 1)); }, Result::noSlope},
        {"RF off at the controller", [](Box& b) { EXPECT_TRUE(b.bus.send(240, 0, 3)); }, Result::noSlope},
        {"RF off at the source",
         [](Box& b) { EXPECT_TRUE(b.bus.send(sources[0], crystalDirect ^ 1 << 16, 3) && b.bus.ioUpdate()); },
         Result::noSlope},
        {"the VCO's output switched while the DDS is in use",
         [](Box& b) { EXPECT_TRUE(b.bus.send(sources[0], crystalDirect | 1 << 6, 3) && b.bus.ioUpdate()); },
         Result::locked},
        {"DDS powered down", [](Box& b) { EXPECT_TRUE(b.bus.send(sources[0] + 6, 0x0010D2, 3)); }, Result::noSlope},
        {"lines that wait for the I/O update",
         [](Box& b) { EXPECT_TRUE(b.bus.send(sources[0], crystalDirect ^ 1 << 16, 3)); }, Result::locked},
        {"two tune sources that meet",
         [](Box& b) { b.lines(channelA, carrierPath | loopToSource | calibrationToSource | capacitor3); },
         Result::unlocked},
        {"no tune source", [](Box& b) { b.lines(channelA, carrierPath | capacitor3); }, Result::unlocked},
        {"all capacitors bridged",
         [](Box& b) { b.lines(channelA, carrierPath | loopToSource | capacitor3 | one << 41); }, Result::unlocked},
        {"a source beyond the tuning reach", [](Box& b) { b.dds(channelA, carrier_Hz + 20e3); }, Result::unlocked},
    };
    for (const auto& row : rows) {
        Box box(flatDut(carrier_Hz, -140));
        row.spoil(box);
        box.settle();
        EXPECT_EQ(box.truth().detectorSlope_V == 0, row.result == Result::noSlope) << row.why;
        EXPECT_EQ(box.truth().locked, row.result == Result::locked) << row.why;
        EXPECT_EQ(box.bus.faults(), 0u) << box.bus.faultTexts();
    }
}

TEST(BoardBox, GainAndFilterAreThoseOfTheStages) {
    Box box(flatDut(carrier_Hz, -100));
    const auto level_dB = [&](uint64_t word, double spacing_Hz) {
        for (const Channel c : {channelA, channelB})
            box.lines(c, (carrierPath | loopToSource | capacitor3) ^ word);
        box.settle();
        const StageExpectation& stage = box.bench.expect(spacing_Hz);
        return 10 * std::log10(std::abs(std::complex(stage.sxyRe[500], stage.sxyIm[500])));
    };
    constexpr uint64_t vga1 = one << 16, vga2 = one << 18, band5 = one << 13 | one << 22 | one << 24;
    const double plain_dB = level_dB(0, 1000);
    EXPECT_NEAR(level_dB(vga1, 1000), plain_dB + 24, 0.01);
    EXPECT_NEAR(level_dB(vga1 | vga2, 1000), plain_dB + 36, 0.01);
    EXPECT_NEAR(level_dB(one << 17, 1000), plain_dB - 20, 0.01) << "past the band amplifier";
    EXPECT_NEAR(level_dB(0, 60e3), plain_dB, 0.1) << "30 MHz";
    EXPECT_NEAR(level_dB(band5, 1000), plain_dB, 0.1) << "5 MHz filter";
    EXPECT_LT(level_dB(band5, 60e3), plain_dB - 40) << "far beyond it";
}

TEST(BoardBox, TheCounterSeesWhatItsChainDivides) {
    Box box(flatDut(carrier_Hz, -140));
    constexpr uint64_t counter = one << 4 | one << 38, bypass[] = {one << 6, one << 7, one << 9};
    const auto counted = [&](uint64_t word) {
        box.lines(channelA, (carrierPath ^ one << 15) | word);
        const EdgeCount count = box.bench.count(CounterInput::adcA, 1, 0.01);
        return count.ticks != 0 ? double(count.periods) * adcClock_Hz / double(count.ticks) : 0;
    };
    EXPECT_NEAR(counted(counter | bypass[0] | bypass[1] | bypass[2]), 100e6, 50);
    EXPECT_NEAR(counted(counter | bypass[1] | bypass[2]), 25e6, 15);
    EXPECT_NEAR(counted(counter), 100e6 / 64, 2);
    EXPECT_EQ(counted(one << 4), 0) << "amplifier off";
    EXPECT_EQ(counted(counter | one << 3), 0) << "the other input";
}

TEST(BoardBox, AFaultOfTheFileHasItsEffectAsLongAsItIsThere) {
    const auto faulty = [](auto set) {
        Dut dut = flatDut(carrier_Hz, -140);
        set(dut.faults);
        return dut;
    };
    Box box(flatDut(carrier_Hz, -140));
    const auto give = [&](const Dut& dut) { box.bench.dutNow = dut; };
    give(faulty([](Faults& f) { f.spiFails = {"A.alg.r1"}; }));
    EXPECT_FALSE(box.bus.send(analogs[0] + 3, 0, 4, 1));
    EXPECT_TRUE(box.bus.send(analogs[1] + 3, 0, 4, 1));
    give(faulty([](Faults& f) { f.stuckAdc = {"B.alg.tune_adc"}; }));
    EXPECT_EQ(box.bus.adc(analogs[1] + 2), 0u);
    EXPECT_GT(box.bus.adc(analogs[0] + 2), 0u);
    give(faulty([](Faults& f) { f.supplyOverload = true; }));
    EXPECT_TRUE(box.bus.send(235, 13909, 2, 1) && box.bus.send(232, 0x82, 1));
    EXPECT_EQ(box.bus.adc(236), 16383u);
    give(faulty([](Faults& f) { f.noSourceBoard[channelA] = true; }));
    EXPECT_TRUE(box.bus.send(sources[0], 0, 3));
    EXPECT_EQ(box.bus.adc(sources[0] + 5), 0x3FFFu);
    EXPECT_EQ(box.truth(channelA).detectorSlope_V, 0);
    EXPECT_GT(box.truth(channelB).detectorSlope_V, 0);
    give(flatDut(carrier_Hz, -140));
    EXPECT_GT(box.truth(channelA).detectorSlope_V, 0);
    EXPECT_NEAR(box.bus.adc(236), 200 + 32464.7 * 12 / 350, 150);
    EXPECT_EQ(box.bus.faults(), 0u) << box.bus.faultTexts();
}

TEST(BoardBox, AnIndividualUnitIsOffItsNominalValues) {
    Box box(flatDut(carrier_Hz, -100));
    box.settle();
    const auto cross_dB = [&] {
        const StageExpectation& stage = box.bench.expect(60e3);
        return 10 * std::log10(std::abs(std::complex(stage.sxyRe[500], stage.sxyIm[500])));
    };
    constexpr uint64_t counter = one << 4 | one << 38 | one << 7 | one << 9; // by four
    const auto counted_Hz = [&] {
        box.lines(channelA, (carrierPath ^ one << 15) | counter);
        const EdgeCount count = box.bench.count(CounterInput::adcA, 1, 1.0);
        return 4 * double(count.periods) * adcClock_Hz / double(count.ticks);
    };
    const double nominal_dB = cross_dB(), nominal_Hz = counted_Hz();
    box.lines(channelA, carrierPath | loopToSource | capacitor3);
    box.settle();
    bench_setIndividual(&box.bench);
    const UnitBoards& boards = box.bench.boards;
    double excess_dB = 0;
    for (const size_t c : {0, 1})
        excess_dB += if_excess_dB(unitTruth_if(boards, c, 0), if_stage(boards, 20), 30e6) / 2;
    EXPECT_GT(std::abs(excess_dB), 0.01);
    EXPECT_NEAR(cross_dB(), nominal_dB + excess_dB, 1e-3);
    EXPECT_NEAR(counted_Hz() - nominal_Hz, carrier_Hz * unitTruth_timeBase(boards), 1.0);
    const double count = detector_count(unitTruth_detector(boards, Detector::low), carrier_Hz, 8);
    box.lines(channelA, carrierPath | one << 36 | one << 37);
    EXPECT_NEAR(box.bus.adc(analogs[0] + 1), count, 5);
    box.lines(channelA, carrierPath | one << 36);
    EXPECT_EQ(box.bus.adc(analogs[0] + 1), 0u) << "detector without supply";
}

TEST(BoardBox, WhatTheControllerAndTheSupplyShowIsTold) {
    Box box(flatDut(carrier_Hz, -140));
    std::string shown;
    box.box.onPanel([&](const std::string& text) { shown = text; });
    const auto shows = [&](const char* line) { return shown.find(line) != std::string::npos; };
    EXPECT_TRUE(shows("ready lamp       off\n") && shows("fan              0.0 %\n") && shows("RF               on\n"));
    EXPECT_TRUE(shows("temperature      34.5 degC\n") && shows("input relay      low\n")) << shown;
    EXPECT_TRUE(box.bus.send(240, 1 << 16 | 1 << 20, 3) && box.bus.send(232, 0b10, 1));
    EXPECT_TRUE(shows("ready lamp       on\n") && shows("fan              100.0 %\n") &&
                shows("RF               off\n"));
    EXPECT_TRUE(shows("input relay      high\n") && shows("supply 1         on, 0.000 V\n")) << shown;
}

TEST(BoardBox, EachUnitHasTheBoardsOfItsNumber) {
    const struct {
        const char* serial;
        const char* has;
        const char* lacks;
    } rows[] = {
        {"220-336306910-0001", "B.is.vco_dac", "A.alg.counter_pll"},
        {"220-331306710-0001", "A.is.divider", "A.is.pll"},
        {"220-334206550-0001", "B.is.control", "B.is.lines"},
        {"220-336306000-0001", "A.alg.dut_tune16", "A.is.dds"},
        {"220-346306910-0001", "cont.fan", "cont.user_adc"},
        {"220-312506910-0001", "cont.user_adc", "supply.dac1"},
    };
    for (const auto& row : rows) {
        TestBench bench(flatDut(carrier_Hz, -140));
        SpiBus bus;
        const BoardBox box(bus, bench, unitBoards_of(row.serial));
        const std::vector<std::string> names = bus.names();
        EXPECT_EQ(std::count(names.begin(), names.end(), row.has), 1) << row.serial;
        EXPECT_EQ(std::count(names.begin(), names.end(), row.lacks), 0) << row.serial;
    }
}
