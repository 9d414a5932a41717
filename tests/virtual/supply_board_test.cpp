#include "tests/virtual/board_bus.h"
#include "virtual/boards/supply_board.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace vi;

namespace {

constexpr const char* unit12V = "220-336306910-0001";
constexpr const char* unit5V = "220-336206910-0001";
constexpr const char* unitRelay = "220-336506910-0001";

struct Supply {
    explicit Supply(const char* serial)
        : boards(unitBoards_of(serial)),
          board(bus, boards, [](size_t output, double volts) { return volts / (output == 0 ? 400 : 100); }) {}

    UnitBoards boards;
    BoardBus bus;
    SupplyBoard board;
};

} // namespace

TEST(SupplyBoard, VoltsAndAmperesAreThoseOfTheUnitNearTheNominalOnes) {
    const struct {
        const char* serial;
        uint32_t dac, adc, enable;
        size_t output;
        uint32_t word;
        double nominal_V, spread_V, nominal_A;
    } rows[] = {
        {unit12V, 235, 236, 0b10, 0, 13909, 12, 0.2, 0.030},
        {unit12V, 233, 234, 0b01, 1, 6416, 5, 0.1, 0.050},
        {unit5V, 235, 236, 0b10, 0, 14876, 5, 0.08, 0.0125},
    };
    for (const auto& row : rows) {
        Supply supply(row.serial);
        EXPECT_TRUE(supply.bus.send(row.dac, row.word, 2, 1));
        const uint32_t off = supply.bus.adc(row.adc);
        EXPECT_NEAR(off, 200, 41) << "output off";
        EXPECT_TRUE(supply.bus.send(232, row.enable, 1));
        const SupplyOutput& out = supply.board.circuit().outputs[row.output];
        EXPECT_TRUE(out.enabled);
        EXPECT_NEAR(out.set_V, row.nominal_V, row.spread_V);
        EXPECT_GT(std::abs(out.set_V - row.nominal_V), 1e-3) << "no unit is nominal";
        EXPECT_NEAR((supply.bus.adc(row.adc) - off) / 32464.7, row.nominal_A, 0.05 * row.nominal_A + 0.002);
        EXPECT_TRUE(supply.bus.send(row.dac, 0xC000, 2, 1));
        EXPECT_EQ(out.set_V, 0) << "powered down";
        EXPECT_EQ(supply.bus.faults(), 0u) << supply.bus.faultTexts();
    }
    EXPECT_NE(unitTruth_supply(unitBoards_of(unit12V), 0).dacPerVolt,
              unitTruth_supply(unitBoards_of("220-336306910-0002"), 0).dacPerVolt);
}

TEST(SupplyBoard, ARelayIsThereInEachUnit) {
    for (const char* serial : {unit12V, unitRelay, "220-336006910-0001"}) {
        Supply supply(serial);
        EXPECT_TRUE(supply.board.circuit().inputHigh);
        EXPECT_TRUE(supply.bus.send(232, 0x80, 1));
        EXPECT_FALSE(supply.board.circuit().inputHigh) << serial;
    }
    Supply relay(unitRelay);
    EXPECT_TRUE(relay.bus.send(235, 5000, 2, 1) && relay.bus.send(232, 0b11, 1));
    EXPECT_EQ(relay.board.circuit().outputs[0].set_V, Supply(unitRelay).board.circuit().outputs[0].set_V) << "lost";
    EXPECT_EQ(relay.bus.adc(236), 0x3FFFu);
}

TEST(SpiBus, ChipsHaveTheFaultsThatTheirNamesAreGiven) {
    Supply supply(unit12V);
    std::string name;
    ChipFault fault = ChipFault::none;
    supply.bus.spi.setChipFaults([&](const std::string& chip) { return chip == name ? fault : ChipFault::none; });
    const struct {
        const char* name;
        ChipFault fault;
        bool taken, acts;
        uint32_t read;
    } rows[] = {
        {"supply.dac1", ChipFault::silent, false, false, 0}, {"supply.dac1", ChipFault::absent, true, false, 0},
        {"supply.dac2", ChipFault::silent, true, true, 0},   {"supply.adc1", ChipFault::absent, true, true, 0x3FFF},
        {"supply.adc1", ChipFault::stuck, true, true, 0},    {"supply.dac1", ChipFault::none, true, true, 0}};
    for (const auto& row : rows) {
        name = "";
        EXPECT_TRUE(supply.bus.send(235, 0, 2, 1));
        name = row.name;
        fault = row.fault;
        EXPECT_EQ(supply.bus.send(235, 5000, 2, 1), row.taken) << row.name;
        EXPECT_EQ(supply.board.circuit().outputs[0].set_V > 1, row.acts) << row.name;
        if (name == "supply.adc1") {
            EXPECT_EQ(supply.bus.adc(236), row.read);
        }
    }
    EXPECT_EQ(supply.bus.faults(), 0u);
}

TEST(SupplyBoard, AShortDrawsWhatTheSupplyGivesAndNoVolts) {
    BoardBus bus;
    const SupplyBoard board(bus, unitBoards_of(unit5V), [](size_t, double) { return 1e3; });
    EXPECT_TRUE(bus.send(235, 14876, 2, 1) && bus.send(232, 0b10, 1));
    EXPECT_NEAR(bus.adc(236), 16383, 500) << "0.5 A";
    EXPECT_EQ(bus.faults(), 0u) << bus.faultTexts();
}
