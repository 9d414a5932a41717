// The DUT supply: lines, conversions, readings, refusals, by the kind of supply that a unit has.

#include "boards/tvpn_dut_supply.h"
#include "tests/boards/wire_rig.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"

#include <cmath>

namespace {

constexpr int missing = -241, noChannel = -114, refused = -224, failed = -200;

constexpr const char* unit5V = "200-001200000-0000";
constexpr const char* unit12V = "200-001300000-0000";
constexpr const char* unitRelayOnly = "200-001500000-0000";
constexpr const char* unitWithout = "200-001100000-0000";

class SupplyRig : public WireRig {
public:
    explicit SupplyRig(const char* unit) : WireRig(unit) {
        bus.attach(232, &lines, 0);
        bus.attach(236, &adc1, 0);
        bus.attach(235, &dac1, 0);
        bus.attach(234, &adc2, 0);
        bus.attach(233, &dac2, 0);
        CalibrationTVPN_setDefaults(&calibration);
        TVPN_DUT_SUPPLY_init(&supply, calibration.supplyCalibration);
        startWire = taken();
    }

    static constexpr double countsOf1V = 16384;
    double input1 = 0, input2 = 0; // V of 1 V
    vi::OutputRegister lines{1};
    vi::Ad7940Model adc1{1, [this] { return input1; }}, adc2{1, [this] { return input2; }};
    vi::Ad5640Model dac1{14}, dac2{14};
    CalibrationTVPN calibration{};
    TVPN_DUT_SUPPLY supply{};
    std::string startWire;
};

double dacCount(const vi::Ad5640Model& dac) {
    return dac.ratio() * 16384;
}

} // namespace

TEST(DutSupply, StartsOffWithTheRelayHighAndTheLimitsOfTheUnit) {
    const struct {
        const char* unit;
        const char* wire;
        double voltage, current;
    } rows[] = {
        {unit5V, "232:00 235:0000 233:0000", 5.2, 0.5},
        {unit12V, "232:00 235:0000 233:0000", 15.0, 1.5},
        {unitRelayOnly, "232:00", 0, 0},
        {unitWithout, "232:00", 0, 0},
    };
    for (const auto& row : rows) {
        SupplyRig rig(row.unit);
        EXPECT_EQ(rig.startWire, row.wire) << row.unit;
        EXPECT_EQ(TVPN_DUT_SUPPLY_readDutRelay(&rig.supply), 1U);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltageMax(&rig.supply, 2), row.voltage);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrentMax(&rig.supply, 1), row.current);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltageMin(&rig.supply, 1), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrentMin(&rig.supply, 2), 0);
    }
}

TEST(DutSupply, LinesOfOutputsAndRelayMoveOneByOneAndOnlyOnAChange) {
    SupplyRig rig(unit5V);
    const auto wireOf = [&](int result) {
        EXPECT_EQ(result, 0);
        return rig.taken();
    };
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_enable(&rig.supply, 1)), "232:02");
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_setDutRelayLow(&rig.supply)), "232:82");
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_enable(&rig.supply, 2)), "232:83");
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_enable(&rig.supply, 2)), "");
    EXPECT_EQ(TVPN_DUT_SUPPLY_readDutRelay(&rig.supply), 0U);
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_disable(&rig.supply, 1)), "232:81");
    EXPECT_EQ(TVPN_DUT_SUPPLY_isEnabled(&rig.supply, 1), 0);
    EXPECT_EQ(TVPN_DUT_SUPPLY_isEnabled(&rig.supply, 2), 1);
    rig.breakAfter(0);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setDutRelayHigh(&rig.supply), failed);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(&rig.supply, 1, 1), failed);
    rig.mend();
    rig.taken();
    EXPECT_EQ(wireOf(TVPN_DUT_SUPPLY_disable(&rig.supply, 2)), "232:00") << "the relay goes along";
    EXPECT_EQ(TVPN_DUT_SUPPLY_readDutRelay(&rig.supply), 1U);
}

TEST(DutSupply, VoltsAndAmperesBecomeTheCountsOfTheCalibration) {
    SupplyRig large(unit12V);
    TVPN_DUT_SUPPLY* supply = &large.supply;
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 1, 0.5), 0);
    EXPECT_EQ(dacCount(large.dac1), 1600);
    EXPECT_EQ(large.taken(), "235:4006");
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 2, 5), 0);
    EXPECT_EQ(dacCount(large.dac2), 6416) << "1600 + 4.5 / 15.5 * 16590 = 6416.45";
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 2, 5.0003), 0);
    EXPECT_EQ(dacCount(large.dac2), 6417) << "6416.77";
    EXPECT_EQ(dacCount(large.dac1), 1600) << "each channel has its own";
    EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltage(supply, 2), 5.0003);
    EXPECT_NEAR(TVPN_DUT_SUPPLY_toAdcDac(&large.calibration.supplyCalibration[0][0], 16), 18190, 1e-6);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 1, 16), 0);
    EXPECT_EQ(dacCount(large.dac1), 16383) << "the end of the DAC";
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 1, -3), 0);
    EXPECT_EQ(dacCount(large.dac1), 0);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setCurrent(supply, 1, 0.1), 0);
    EXPECT_EQ(dacCount(large.dac1), 3277) << "the DAC of the voltage: 3276.6";
    EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrent(supply, 1), 0.1);
    EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltage(supply, 1), -3);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltageDac(supply, 2, 1234), 0);
    EXPECT_EQ(dacCount(large.dac2), 1234);
    EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltage(supply, 2), 5.0003);

    SupplyRig small(unit5V);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(&small.supply, 1, 5.0425), 0);
    EXPECT_EQ(dacCount(small.dac1), 15000);
}

TEST(DutSupply, TheCurrentIsTheMeanOfFreshReadingsBlendedByTheVoltage) {
    SupplyRig rig(unit5V);
    TVPN_DUT_SUPPLY* supply = &rig.supply;
    // Laws of channel 2: at 1 V counts / 10000, at 5 V (counts - 1000) / 5000.
    SupplyConversion* records = rig.calibration.supplyCalibration[1];
    records[4] = {1, 0, 0, 1, 10000};
    records[5] = {5, 0, 1000, 1, 6000};
    rig.input2 = 4000 / SupplyRig::countsOf1V;
    const struct { double volts, amperes; } rows[] = {{1, 0.4}, {5, 0.6}, {2, 0.45}, {9, 0.8}};
    for (const auto& row : rows) {
        EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, 2, row.volts), 0);
        EXPECT_NEAR(TVPN_DUT_SUPPLY_measureCurrent(supply, 2), row.amperes, 1e-6) << row.volts;
    }
    records[5] = {1, 0, 1000, 1, 6000};
    EXPECT_NEAR(TVPN_DUT_SUPPLY_measureCurrent(supply, 2), 0.6, 1e-6) << "laws of one voltage: the second";
    EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrentAdc(supply, 1), 0);
    EXPECT_EQ(TVPN_DUT_SUPPLY_measureCurrent(supply, 1), 0) << "0 counts stand for less than 0 A";
    EXPECT_LT(TVPN_DUT_SUPPY_currentFromAdc(supply, 1, 0), 0);

    rig.taken();
    uint64_t before = rig.bus.transfers();
    int conversions = 0;
    vi::Ad7940Model counting{1, [&] { return conversions++ / SupplyRig::countsOf1V; }};
    rig.bus.attach(236, &counting, 0);
    // A reading is the second of two transfers, each of which hands out the conversion before it; so the thrown one is
    // conversion 0, and the hundred that follow are 2, 4, ... 200.
    EXPECT_DOUBLE_EQ(TVPN_DUT_SUPPLY_getCurrentAdc(supply, 1), 101);
    EXPECT_EQ(rig.bus.transfers() - before, 202U);
}

TEST(DutSupply, ChannelsThatAUnitDoesNotHaveAreRefusedAndNothingIsSent) {
    const struct {
        const char* unit;
        int32_t channel;
        int result;
        const char* relayWire;
    } rows[] = {
        {unitRelayOnly, 1, missing, "232:80 232:00"}, {unitRelayOnly, 3, missing, "232:80 232:00"},
        {unitWithout, 2, missing, "232:80 232:00"},   {unit5V, 0, noChannel, "232:80 232:00"},
        {unit5V, 3, noChannel, "232:80 232:00"},      {unit12V, -1, noChannel, "232:80 232:00"},
    };
    for (const auto& row : rows) {
        SupplyRig rig(row.unit);
        TVPN_DUT_SUPPLY* supply = &rig.supply;
        EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(supply, row.channel, 1), row.result) << row.unit << row.channel;
        EXPECT_EQ(TVPN_DUT_SUPPLY_setCurrent(supply, row.channel, 1), row.result);
        EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltageDac(supply, row.channel, 1), row.result);
        EXPECT_EQ(TVPN_DUT_SUPPLY_enable(supply, row.channel), row.result);
        EXPECT_EQ(TVPN_DUT_SUPPLY_disable(supply, row.channel), row.result);
        EXPECT_EQ(TVPN_DUT_SUPPLY_isEnabled(supply, row.channel), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltage(supply, row.channel), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrent(supply, row.channel), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_getCurrentAdc(supply, row.channel), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_measureCurrent(supply, row.channel), 0);
        EXPECT_EQ(rig.taken(), "");
        EXPECT_EQ(TVPN_DUT_SUPPLY_setDutRelayLow(supply), 0);
        EXPECT_EQ(TVPN_DUT_SUPPLY_readDutRelay(supply), 0U);
        EXPECT_EQ(TVPN_DUT_SUPPLY_setDutRelayHigh(supply), 0);
        EXPECT_EQ(rig.taken(), row.relayWire);
    }
    SupplyRig rig(unit5V);
    EXPECT_EQ(TVPN_DUT_SUPPLY_setVoltage(&rig.supply, 1, std::nan("")), refused);
    EXPECT_EQ(TVPN_DUT_SUPPLY_getVoltage(&rig.supply, 1), 0);
    EXPECT_EQ(rig.taken(), "");
}
