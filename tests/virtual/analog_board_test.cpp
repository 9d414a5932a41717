#include "platform/tvko.h"
#include "virtual/boards/analog_board.h"

#include <gtest/gtest.h>
#include <limits>
#include <span>
#include <vector>

using namespace vi;

namespace {

using enum AnalogRevision;
constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr const char* serialNumbers[] = {"220-331306910-0001", "220-332306910-0001", "220-333306910-0001",
                                         "220-334306910-0001", "220-335306910-0001", "220-336306910-0001"};

struct Rig {
    explicit Rig(AnalogRevision revision, uint32_t first = analogBoardA)
        : boards(unitBoards_of(serialNumbers[static_cast<size_t>(revision)])), first_(first),
          board(bus, boards, first,
                {[](Detector d) { return d == Detector::low ? 1.25 : 2.5; }, [this] { return tune_V; }}) {
        board.onChange([this](const AnalogCircuit&) { ++changes; });
    }
    /// A frame of so many bytes to the chip at an offset; what comes last on the wire lies first.
    bool send(uint32_t offset, uint64_t word, uint32_t bytes, uint32_t mode) {
        tvko_transfer record{first_ + offset, bytes, mode, 0, &word};
        return bus.ioctl(tvko_send, reinterpret_cast<uintptr_t>(&record)) == 0;
    }
    const AnalogCircuit& lines(uint64_t word) {
        EXPECT_TRUE(send(0, word, early() ? 5 : 6, 0));
        return board.circuit();
    }
    bool resistor(uint32_t offset, uint64_t word, uint32_t chips = 1) { return send(offset, word, 2 * chips, 1); }
    /// Converter's code, at its second reading.
    uint32_t adc(uint32_t offset) {
        uint16_t word = 0;
        tvko_transfer record{first_ + offset, sizeof word, 1, 0, &word};
        for (int reading = 0; reading < 2; ++reading)
            EXPECT_EQ(bus.ioctl(tvko_receive, reinterpret_cast<uintptr_t>(&record)), 0);
        return word >> 1 & 0x3FFF;
    }
    [[nodiscard]] bool early() const { return boards.analog <= r1C; }

    UnitBoards boards;
    uint32_t first_;
    double tune_V = 7.2;
    int changes = 0;
    SpiBus bus;
    AnalogBoard board;
};

/// Contents of the shift register among which each line has something to switch.
constexpr uint64_t earlySettings[] = {0, 0xD0BFB3EC00, 0x4AF9217260, 0xA5B52750FA, 0x4FBD2B4000};
constexpr uint64_t laterSettings[] = {0,
                                      0xAB8C3481F520,
                                      0x0008BEC0321B,
                                      0x00001C003213,
                                      0x100E38409400,
                                      0x001800100400,
                                      0x000010001000,
                                      0xC0483DC55838,
                                      0x1730B6C0B000,
                                      0x100438449100,
                                      0x48063C92F407,
                                      0x004134051810};

/// Attenuators open and the counter's PLL dividing its reference by 8, so that all that hangs on them shows.
void openEarly(Rig* rig) {
    if (!rig->early())
        return;
    EXPECT_TRUE(rig->send(1, 0x3F, 1, 0) && rig->send(12, 0x3F, 1, 0));
    EXPECT_TRUE(rig->send(4, 8 << 2, 3, 0) && rig->send(4, 0xC00042, 3, 0));
}

} // namespace

TEST(AnalogBoard, EachBitIsWiredToSomethingOrKnownToBeIdle) {
    const struct {
        AnalogRevision revision;
        std::vector<unsigned> idle;
    } boards[] = {
        {r1B, {0, 8, 10, 11, 15, 20, 23, 25, 36}},
        {r1C, {0, 8, 10, 11, 15, 20, 23, 25, 36}},
        {r2A, {19, 21, 30, 32}},
        {r2B, {17, 19, 21, 30, 33}},
        {r2C, {17, 19, 21, 30, 33}},
        {r2D, {19, 21, 30}},
    };
    for (const auto& [revision, idle] : boards) {
        Rig rig(revision);
        openEarly(&rig);
        std::vector<unsigned> found;
        for (unsigned bit = 0; bit < (rig.early() ? 40u : 48u); ++bit) {
            bool acts = false;
            for (const uint64_t setting : rig.early() ? std::span<const uint64_t>(earlySettings) : laterSettings) {
                const AnalogCircuit before = rig.lines(setting);
                acts = acts || rig.lines(setting ^ uint64_t{1} << bit) != before;
            }
            if (!acts)
                found.push_back(bit);
        }
        EXPECT_EQ(found, idle) << serialNumbers[static_cast<size_t>(revision)];
    }
}

TEST(AnalogBoard, ResistorsMakeTheLoopFilterAndItsVoltages) {
    for (const AnalogRevision revision : {r1B, r1C, r2A, r2B, r2C, r2D}) {
        Rig rig(revision, analogBoardB);
        const uint32_t filter = rig.early() ? 8 : 3, aid = filter + 1, calibration = filter + 2, supply = filter + 3;
        const LoopFilter& loop = rig.board.circuit().loop;
        EXPECT_NEAR(loop.supply_V, 11.68, 0.01) << "all wipers in the middle";
        EXPECT_NEAR(loop.calibration_V, 5.84, 0.01);
        EXPECT_DOUBLE_EQ(loop.r1_ohm, 50e3);
        EXPECT_DOUBLE_EQ(loop.aid_V, 2.5);

        EXPECT_TRUE(rig.resistor(filter, 0x079A, 2));
        EXPECT_DOUBLE_EQ(loop.r1_ohm, 50e3) << "write-protected";
        EXPECT_TRUE(rig.resistor(filter, 0x18021802, 2) && rig.resistor(aid, 0x18021802, 2));
        EXPECT_TRUE(rig.resistor(filter, 0x079A, 2) && rig.resistor(filter, 0x07CD0000, 2));
        EXPECT_NEAR(loop.r1_ohm, 9961, 1) << "wiper 922, from it to A";
        EXPECT_NEAR(loop.r2_ohm, 4980, 1) << "wiper 973";
        EXPECT_TRUE(rig.resistor(aid, 0x06662001, 2));
        EXPECT_EQ(loop.r3_ohm, infinite) << "shut down";
        EXPECT_NEAR(loop.aid_V, 2.0, 0.005) << "wiper 614 of the driver behind it";
        EXPECT_TRUE(rig.resistor(aid, 0x00002000, 2));
        EXPECT_DOUBLE_EQ(loop.r3_ohm, 50e3);

        EXPECT_TRUE(rig.resistor(supply, 0x1802) && rig.resistor(supply, 0x06C2));
        EXPECT_NEAR(loop.supply_V, 14.99, 0.01) << "68.9 kilohms";
        EXPECT_TRUE(rig.resistor(calibration, 0x1802) && rig.resistor(calibration, 0x0614));
        EXPECT_NEAR(loop.calibration_V, 7.2, 0.01) << "of 15 V";
        EXPECT_EQ(rig.bus.faults(), 0u) << rig.bus.faultTexts();
    }
}

TEST(AnalogBoard, BridgedCapacitorsLeaveOneAndAModifiedBoardHasAnother) {
    const struct {
        unsigned open; // switch
        double farad;
    } rows[] = {{40, 1e-8}, {39, 2e-7}, {41, 9.4e-7}, {42, 3.76e-6}};
    constexpr uint64_t all = uint64_t{0xF} << 39, allEarly = 0xF << 26;
    Rig early(r1C), later(r2D);
    const unsigned earlyOpen[] = {27, 28, 29, 26};
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_DOUBLE_EQ(later.lines(all ^ uint64_t{1} << rows[i].open).loop.capacitance_F, rows[i].farad);
        EXPECT_DOUBLE_EQ(early.lines(allEarly ^ 1 << earlyOpen[i]).loop.capacitance_F, rows[i].farad);
    }
    EXPECT_EQ(later.lines(all).loop.capacitance_F, infinite);
    SpiBus bus;
    AnalogBoard modified(bus, unitBoards_of("220-336306911-0001"), analogBoardA, {});
    EXPECT_NEAR(1 / modified.circuit().loop.capacitance_F, 1 / 1e-8 + 1 / 2e-7 + 1 / 9.4e-7 + 1 / 3.3e-6, 1);
    EXPECT_DOUBLE_EQ(tuneLine_V(TuneDrive::both, 4, 10, 0), 7) << "two sources that meet";
    EXPECT_DOUBLE_EQ(tuneLine_V(TuneDrive::none, 4, 10, 3), 3);
}

TEST(AnalogBoard, ItsConvertersSeeWhatTheLinesLetThrough) {
    constexpr uint64_t bit47 = uint64_t{1} << 47;
    constexpr uint32_t tune = 5898; // a quarter of 7.2 V, of 5 V in 14 bits
    Rig second(r2A), later(r2C), first(r1B);
    second.lines(bit47);
    EXPECT_EQ(second.adc(2), tune);
    second.lines(0);
    EXPECT_EQ(second.adc(2), 0u) << "offset";
    for (const AnalogRevision revision : {r2B, r2C, r2D})
        EXPECT_EQ(Rig(revision).adc(2), tune);

    const struct {
        Rig* rig;
        uint32_t offset;
        uint64_t lines;
        uint32_t code;
        const char* why;
    } rows[] = {
        {&first, 2, 0xD0BFB3EC00, 8192, "the only detector"},
        {&first, 2, 0xD0BEB3EC00, 0, "without its supply"},
        {&second, 1, 0x000C00000000, 8192, "DUT"},
        {&second, 1, 0x001C00000000, 0, "two of them"},
        {&second, 1, 0x000400000000, 0, "without supply"},
        {&later, 1, 0x003000000000, 4096, "low"},
        {&later, 1, 0x001000000000, 0, "without supply"},
        {&later, 1, 0x000800000000, 8192, "middle"},
        {&later, 1, 0x000400000000, 8192, "high"},
    };
    for (const auto& row : rows) {
        row.rig->lines(row.lines);
        EXPECT_EQ(row.rig->adc(row.offset), row.code) << row.why;
    }
}

TEST(AnalogBoard, DutTuneComesFromTheConverterOfTheRevision) {
    constexpr uint64_t relay = uint64_t{1} << 47;
    Rig later(r2B), last(r2D);
    EXPECT_TRUE(later.send(7, 6707, 2, 1));
    EXPECT_FALSE(later.lines(0).dutTune.driven);
    EXPECT_NEAR(later.lines(relay).dutTune.volts, 10, 0.002);
    EXPECT_TRUE(later.send(7, 0xC000 | 6707, 2, 1));
    EXPECT_DOUBLE_EQ(later.board.circuit().dutTune.volts, 0) << "powered down";
    EXPECT_TRUE(last.send(8, 0x100000 | 38073 << 4, 3, 1) && last.send(8, 0x200032, 3, 1));
    EXPECT_NEAR(last.lines(relay).dutTune.volts, -5.25, 1e-9) << "not loaded yet";
    EXPECT_TRUE(last.send(8, 0x400001, 3, 1) && last.send(7, 4500, 2, 1));
    EXPECT_NEAR(last.board.circuit().dutTune.volts, 10, 0.001);
    EXPECT_NEAR(last.board.circuit().pulse.threshold_V, 1.373, 0.001);
    EXPECT_TRUE(last.send(8, 0x20003A, 3, 1));
    EXPECT_FALSE(last.board.circuit().dutTune.driven) << "high impedance";
}

TEST(AnalogBoard, AFrameActsAtItsEndAndAnIoUpdateOnNothing) {
    Rig rig(r1B);
    openEarly(&rig);
    EXPECT_DOUBLE_EQ(rig.board.circuit().counter.ratio, 0) << "without its supply";
    EXPECT_DOUBLE_EQ(rig.lines(0xD0BFB3EC00).counter.ratio, 8);
    const int before = rig.changes;
    EXPECT_EQ(rig.bus.ioctl(tvko_ioUpdate, 0), 0);
    rig.lines(0xD0BFB3EC00);
    EXPECT_EQ(rig.changes, before) << "nothing new";
    EXPECT_TRUE(rig.send(4, 2 << 8 | 1, 3, 0) && rig.send(4, 0xC00022, 3, 0));
    EXPECT_DOUBLE_EQ(rig.board.circuit().counter.ratio, 0) << "the signal goes to the other divider";
    EXPECT_DOUBLE_EQ(rig.lines(0xD0BFF3EC00).counter.ratio, 128);
    EXPECT_TRUE(rig.send(1, 0x3F - 20, 1, 0));
    EXPECT_DOUBLE_EQ(rig.board.circuit().dut.gain_dB, -10);
    EXPECT_GT(rig.changes, before);
    EXPECT_TRUE(rig.send(12, 0x3F - 10, 1, 0));
    EXPECT_DOUBLE_EQ(rig.lines(0xA5B52750FA).referenceGain_dB, 10) << "amplifier less 5 dB";
    EXPECT_EQ(rig.bus.faults(), 0u) << rig.bus.faultTexts();
    EXPECT_FALSE(rig.send(3, 0, 2, 1)) << "where later boards have R1";
    EXPECT_FALSE(Rig(r2C).send(8, 0x400001, 3, 1)) << "where 2D has its DAC";
    EXPECT_FALSE(Rig(r2A).send(0, 0, 5, 0)) << "a register of six bytes";
}
