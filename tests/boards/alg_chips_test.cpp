// The chips of the analog board: start, voltages, resistances, dividers, lists, refusals.

#include "tests/boards/alg_rig.h"

#include <cmath>

// Addresses, order and contents of everything that a start sends.
TEST(AlgStart, SendsTheStartValuesOfEachRevision) {
    const std::string resistors1 = " +8:02180000 +8:00000218 +9:02180000 +9:00000218 +10:0218 +11:0218";
    const std::string resistors2 = " +3:02180000 +3:00000218 +4:02180000 +4:00000218 +5:0218 +6:0218";
    const std::string connect = " +5:FF07 +0:009080340520"; // the calibration driver at 0 V, to the outer tune output
    const std::string first = "+0:00ECB3BFD0 +1:FF +4:06801F +4:040000 +4:010400 +4:02801F +12:FF" + resistors1 +
                              " +4:02801F +4:22801F +4:22811F +0:00ECB3BF50";
    EXPECT_EQ(AlgRig(v1B).initWire, first);
    EXPECT_EQ(AlgRig(v1C, 1).initWire, first);
    EXPECT_EQ(AlgRig(v2A).initWire,
              "+0:008080340800 +7:0000" + resistors2 + " +0:009080340800 +0:CB9280BC0800 +5:FF07 +0:CB9280BC0820")
        << "100 MHz by 8, as no threshold is known yet";
    for (const Version version : {v2B, v2C})
        EXPECT_EQ(AlgRig(version, 1).initWire,
                  "+0:008080340400 +7:0000" + resistors2 + " +0:009080340400 +0:009080340500" + connect);
    EXPECT_EQ(AlgRig(v2D).initWire, "+0:008080340400 +7:0000 +8:1E0020 +8:3E0020 +8:3E0020 +8:000010 +8:010040" +
                                        resistors2 + " +0:009080340400 +8:303313 +8:010040 +8:320020 +0:009080340500" +
                                        connect);
    EXPECT_EQ(threshold_freq_high, 13100U);
    EXPECT_EQ(AlgRig(v2C).board.thresholdHigh, hz(9'900'020'000));
    EXPECT_EQ(AlgRig(v2C).board.counter, 64U);
    AlgRig unknown(v1B);
    TVPNX_ALG_init(&unknown.board, 0, 6);
    EXPECT_EQ(unknown.taken(), first) << "a code that no revision has";
}

TEST(AlgStart, TheWideTuneOutputSettlesAtZeroBeforeItIsCutOff) {
    AlgRig rig(v2D);
    EXPECT_NEAR(waited_us(&rig, [&] { TVPNX_ALG_init(&rig.board, 0, v2D); }), 10'000, 0.5);
    EXPECT_EQ(rig.wideDac.output(), vi::Ad5760Model::Output::driven);
    EXPECT_NEAR(rig.wideDac.ratio() * 26.25 - 5.25, 0, 0.001);
    EXPECT_EQ(TVPNX_ALG_isDutTuneVoltageEnabled(&rig.board), 0);
}

TEST(AlgChips, ResistancesVoltagesAndAttenuations) {
    for (const Version version : {v1B, v2A, v2D}) {
        AlgRig rig(version);
        TVPNX_ALG* board = &rig.board;
        const double step_ohm = 100e3 / 1024;
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR1(board, 10'000), 0);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR2(board, 99), 0);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR3(board, 200'000), 0);
        EXPECT_NEAR(rig.r1r2.wiperToA_ohm(0), 10'000, step_ohm);
        EXPECT_EQ(board->r2, 120U);
        EXPECT_DOUBLE_EQ(rig.r1r2.wiperToA_ohm(1), step_ohm);
        EXPECT_DOUBLE_EQ(rig.r3aid.wiperToA_ohm(0), 100e3);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR1(board, 100'000.5), refused);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR1(board, 100'000), 0);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR1(board, 119.9), 0);
        EXPECT_EQ(board->r1, 120U);
        EXPECT_EQ(TVPNX_ALG_setLoopFilterR2(board, 100'000.5), 0);
        EXPECT_DOUBLE_EQ(rig.r1r2.wiperToA_ohm(1), 100e3);

        // The aid gives 5 V over its resistor's part to A.
        const auto aid_V = [&] { return 5 * rig.r3aid.wiperToA_ohm(1) / 100e3; };
        EXPECT_EQ(TVPNX_ALG_setAcquisitionDriverVout(board, 2.4), 0);
        EXPECT_DOUBLE_EQ(aid_V(), 5 * 492.0 / 1024) << "wiper 532";
        TVPNX_ALG_setAcquisitionDriverVout(board, -1);
        EXPECT_DOUBLE_EQ(aid_V(), 5.0 / 1024);
        TVPNX_ALG_setAcquisitionDriverVout(board, 6);
        EXPECT_DOUBLE_EQ(aid_V(), 5);
        EXPECT_EQ(TVPNX_ALG_setAcquisitionShutdownMode(board), 0);
        EXPECT_TRUE(std::isinf(rig.r3aid.wiperToA_ohm(0)));
        EXPECT_FALSE(std::isinf(rig.r3aid.wiperToA_ohm(1)));
        EXPECT_EQ(TVPNX_ALG_setAcquisitionNormalMode(board), 0);
        EXPECT_DOUBLE_EQ(rig.r3aid.wiperToA_ohm(0), 100e3);

        const auto supply_V = [&] { return 1.189 * (1 + (10e3 + rig.supply.wiperToB_ohm(0)) / 6800); };
        const double stepOfSupply_V = 1.189 * step_ohm / 6800;
        EXPECT_NEAR(supply_V(), board->loopSupplyVoltage, 0.02) << "as it starts";
        for (const double volt : {3.0, 11.7, 20.0}) {
            EXPECT_EQ(TVPNX_ALG_setLoopSupplyVoltage(board, volt), 0);
            EXPECT_LE(supply_V(), volt + 0.001);
            EXPECT_GT(supply_V(), volt - stepOfSupply_V - 0.001);
        }
        for (const double volt : {2.999, 20.001, std::nan("")})
            EXPECT_EQ(TVPNX_ALG_setLoopSupplyVoltage(board, volt), refused);
        EXPECT_EQ(board->loopSupplyVoltage, 20);
    }
    AlgRig rig(v1C);
    EXPECT_EQ(TVPNX_ALG_setDUTAttenuation(&rig.board, 63), 0);
    EXPECT_DOUBLE_EQ(rig.dutAttenuator.attenuation_dB(), 31.5);
    EXPECT_FALSE(rig.line(5));
    EXPECT_EQ(TVPNX_ALG_setDUTAttenuation(&rig.board, 64), 0);
    EXPECT_DOUBLE_EQ(rig.dutAttenuator.attenuation_dB(), 0);
    EXPECT_EQ(rig.board.dutPath, 2U) << "without a threshold the divider is in use";
    TVPNX_ALG_setPrescalerThresholdFrequency(&rig.board, 1990);
    TVPNX_ALG_setDUTPath(&rig.board);
    EXPECT_EQ(rig.board.dutPath, 1U);
    EXPECT_EQ(TVPNX_ALG_setDUTAttenuation(&rig.board, 126), 0);
    EXPECT_DOUBLE_EQ(rig.dutAttenuator.attenuation_dB(), 31);
    EXPECT_EQ(TVPNX_ALG_setDUTAttenuation(&rig.board, 0), 0);
    EXPECT_EQ(rig.board.dutPath, 0U) << "the amplifier leaves the path at once";
    EXPECT_EQ(TVPNX_ALG_setRefExtAttenuation(&rig.board, 20), 0);
    EXPECT_DOUBLE_EQ(rig.refAttenuator.attenuation_dB(), 10);
    TVPNX_ALG_setRefExternalAttAMP(&rig.board);
    EXPECT_DOUBLE_EQ(rig.refAttenuator.attenuation_dB(), 0);
}

TEST(AlgChips, TheCalibrationDriverGivesTheVoltageOfTheModeInForce) {
    AlgRig rig(v2C);
    TVPNX_ALG* board = &rig.board;
    const auto driver_V = [&] { return board->loopSupplyVoltage * rig.calibration.wiperToA_ohm(0) / 100e3; };
    const double step_V = 15.0 / 1024;
    TVPNX_ALG_setLoopSupplyVoltage(board, 15);
    TVPNX_ALG_setExternalTuneVoltage(board, 3);
    EXPECT_NEAR(driver_V(), 3, step_V);
    TVPNX_ALG_setCalTuneVoltage(board, 9);
    EXPECT_NEAR(driver_V(), 3, step_V) << "internal reference, loop closed";
    TVPNX_ALG_setOpenMode(board, 1);
    TVPNX_ALG_setRefTuneSourceCalibration(board);
    EXPECT_NEAR(driver_V(), 9, step_V);
    TVPNX_ALG_setOpenMode(board, 0);
    TVPNX_ALG_setRefTuneLoadInt(board);
    EXPECT_NEAR(driver_V(), 3, step_V);
    TVPNX_ALG_setRefExternalDirect(board);
    EXPECT_NEAR(driver_V(), 9, step_V) << "external reference";
    EXPECT_EQ(TVPNX_ALG_getTuneVoltage(board), 9);
    EXPECT_EQ(TVPNX_ALG_getExternalTuneVoltage(board), 3);
    TVPNX_ALG_setCalibrationDriverVout(board, 20);
    EXPECT_DOUBLE_EQ(driver_V(), 15);
}

TEST(AlgChips, TheTuneOutputOfTheDut) {
    AlgRig narrow(v2B);
    const auto narrow_V = [&] { return narrow.dac.ratio() * 5 * 16384 / 16383 * 3.9 * 1.252666667; };
    for (const double volt : {0.0, 12.0, 21.0}) {
        EXPECT_EQ(TVPNX_ALG_setDutTuneVoltage(&narrow.board, volt), 0);
        EXPECT_NEAR(narrow_V(), volt, 0.0015);
        EXPECT_LE(narrow_V(), volt + 1e-9) << "cut";
    }
    EXPECT_EQ(TVPNX_ALG_setDutTuneVoltage(&narrow.board, 21.1), 0);
    EXPECT_DOUBLE_EQ(narrow.dac.ratio(), 10731.0 / 16384);
    EXPECT_EQ(TVPNX_ALG_getDutTuneVoltage(&narrow.board), 21.1);
    EXPECT_EQ(TVPNX_ALG_setDutTuneVoltage(&narrow.board, -1), 0);
    EXPECT_EQ(narrow.dac.ratio(), 0);
    EXPECT_EQ(TVPNX_ALG_isDutTuneVoltageEnabled(&narrow.board), 1);

    AlgRig wide(v2D);
    const auto wide_V = [&] { return wide.wideDac.ratio() * 26.25 - 5.25; };
    for (const double volt : {-5.25, -1.0, 0.0, 20.99}) {
        EXPECT_EQ(TVPNX_ALG_setDutTuneVoltage(&wide.board, volt), 0);
        EXPECT_NEAR(wide_V(), volt, 0.001);
    }
    TVPNX_ALG_setDutTuneVoltage(&wide.board, 22);
    EXPECT_NEAR(wide_V(), 21, 0.001);
    TVPNX_ALG_setDutTuneVoltage(&wide.board, -6);
    EXPECT_EQ(wide.wideDac.ratio(), 0);
    EXPECT_EQ(TVPNX_ALG_isDutTuneVoltageEnabled(&wide.board), 0);
}

TEST(AlgChips, TheCounterOfEarlyBoardsDividesOneWayOrTheOther) {
    AlgRig rig(v1C);
    TVPNX_ALG* board = &rig.board;
    constexpr double f_Hz = 199'999'999;
    board->mixerFrequency = hz(199'999'999);
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 10'000), 0);
    EXPECT_DOUBLE_EQ(rig.pll.muxOut_Hz(f_Hz, 0), f_Hz / 10'000);
    EXPECT_FALSE(rig.line(22));
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 10'001), refused);
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 0), refused);
    EXPECT_EQ(TVPNX_ALG_getCounter(board), 10'000U);
    board->mixerFrequency = hz(200'000'000);
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 128), 0);
    EXPECT_DOUBLE_EQ(rig.pll.muxOut_Hz(0, 2e9), 2e9 / 128);
    EXPECT_TRUE(rig.line(22));
    rig.taken();
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 100'000), 0);
    EXPECT_EQ(rig.taken(), "+4:811A06 +4:040000 +4:2281DF +4:2281DF") << "N = 1562 times 64 + 32, R = 1";
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 127), refused);
    EXPECT_EQ(TVPNX_ALG_setCounter(board, 100'001), refused);
    EXPECT_EQ(TVPNX_ALG_getCounter(board), 100'000U);
    EXPECT_EQ(TVPNX_ALG_setCounterHF(board, 1), 0);
    EXPECT_EQ(TVPNX_ALG_getCounter(board), 1U);
}

TEST(AlgChips, TheCounterChainTakesTheRatioBelowTheRequest) {
    const struct {
        Version version;
        int32_t request;
        uint32_t ratio;
    } rows[] = {{v2A, 0, 1},    {v2A, 3, 1},     {v2A, 4, 4},    {v2B, 15, 4},    {v2B, 16, 16},
                {v2C, 63, 16},  {v2C, 64, 64},   {v2C, 255, 64}, {v2C, 256, 256}, {v2B, 512, 256},
                {v2D, 255, 64}, {v2D, 256, 512}, {v2A, 512, 64}};
    for (const auto& row : rows) {
        AlgRig rig(row.version);
        EXPECT_EQ(TVPNX_ALG_setCounter(&rig.board, row.request), 0);
        EXPECT_EQ(TVPNX_ALG_getCounter(&rig.board), row.ratio) << row.version << " " << row.request;
    }
}

TEST(AlgChips, ListsOfGainsAndCapacitors) {
    const auto lists = [](Version version, const char* unit = "") {
        AlgRig rig(version, 0, unit);
        char text[TVPNX_ALG_listTextSize];
        std::string result;
        TVPNX_ALG_getIFGainList(&rig.board, text);
        result = text;
        TVPNX_ALG_getLoopCListStr(&rig.board, text);
        return result + " " + text;
    };
    constexpr char early[] = "0.000000200,0.000000940,0.000014000,0.000109000";
    EXPECT_EQ(lists(v1B), std::string("0,20,26,52 ") + early);
    EXPECT_EQ(lists(v1C), std::string("0,20,26,46 ") + early);
    EXPECT_EQ(lists(v2A), std::string("0,12,20,32,56 ") + early);
    EXPECT_EQ(lists(v2B), "0,12,20,32,56 0.000000010,0.000000200,0.000000940,0.000003760");
    constexpr char modified[] = "212-000000001-0001";
    EXPECT_EQ(lists(v2D, modified), "0,12,20,32,56 0.000000010,0.000000200,0.000000940,0.000003300");
    EXPECT_EQ(lists(v2A, modified), std::string("0,12,20,32,56 ") + early);
}

template <auto operation> int withNan(TVPNX_ALG* board) {
    return operation(board, std::nan(""));
}

TEST(AlgRefusals, ARefusedOperationSendsNothingAndSaysWhy) {
    using B = TVPNX_ALG;
    const struct {
        std::vector<Version> versions;
        int (*operation)(B*);
        int result;
        const char* text;
    } rows[] = {
        {{v1C}, with<TVPNX_ALG_setDUTAttenuation, 127>, refused, "TVPNX: unknown DUT attenuation value\n"},
        {{v2A, v2B, v2D}, with<TVPNX_ALG_setDUTAttenuation, 0>, -113, ""},
        {{v1B, v2D},
         with<TVPNX_ALG_setLoopFilterR1, 100'001>,
         refused,
         "TVPNX_ALG: R1 resistance R1 is out of range\n"},
        {{v1B, v2D}, with<TVPNX_ALG_setLoopFilterCapArray, 5>, refused, "TVPNX_ALG: unknown capacitor number\n"},
        {{v2B}, with<TVPNX_ALG_setLoopSupplyVoltage, 2>, refused, "TVPNX_ALG: loop supply voltage is out of range\n"},
        {{v1B, v2D}, with<TVPNX_ALG_setIFMuxPath, 4>, refused, "TVPNX_ALG: invalid if channel selected\n"},
        {{v1B, v2D}, with<TVPNX_ALG_setVGA_Gain_State, 4>, refused, "TVPNX: unknown VGA gain stage\n"},
        {{v1B, v1C}, with<TVPNX_ALG_setIFGain, 70>, refused, "TVPNX: unknown IF gain value\n"},
        {{v1B, v2D}, with<TVPNX_ALG_setDUT_DivRatioX, 3>, refused, "TVPNX: unknown DUT divider ratio\n"},
        {{v1B}, with<TVPNX_ALG_setCounterUHF, 127>, refused, "TVPNX_ALG: divider ratio is out of range\n"},
        {{v2A, v2D}, [](B* b) { return b->ifPath = 3, TVPNX_ALG_setIFPath(b); }, refused, ""},
        {{v1B}, TVPNX_ALG_setIFPath, missing, ""},
        {{v2A, v2D}, with<TVPNX_ALG_setCounterHF, 8>, missing, ""},
        {{v1B, v1C}, TVPNX_ALG_enableFrequencyCounter, missing, ""},
        {{v1B, v1C}, TVPNX_ALG_disableFrequencyCounter, missing, ""},
        {{v1B, v2B, v2D}, TVPNX_ALG_enableFMDiscriminator, missing, ""},
        {{v1B, v2A}, TVPNX_ALG_enableDutTuneVoltage, missing, ""},
        {{v1B, v2A}, TVPNX_ALG_disableDutTuneVoltage, missing, ""},
        {{v1B, v2A}, with<TVPNX_ALG_setDutTuneVoltage, 1>, missing, ""},
        {{v2B, v2D}, withNan<TVPNX_ALG_setDutTuneVoltage>, refused, ""},
        {{v2B}, withNan<TVPNX_ALG_setCalTuneVoltage>, refused, ""},
        {{v2B}, withNan<TVPNX_ALG_setAcquisitionDriverVout>, refused, ""},
        {{v1B, v1C}, TVPNX_ALG_getTuneAdcValue, missing, ""},
        {{v1B, v2B, v2D}, TVPNX_ALG_getOffsetAdcValue, missing, ""},
        {{v2B, v2C, v2D}, TVPNX_ALG_setDUT_RFinDirect, missing, ""},
        {{v1B, v2A}, TVPNX_ALG_setReferencePathandSource, missing, ""},
        {{v1B, v2B}, TVPNX_ALG_setPD_AM, missing, ""},
        {{v2A, v2D}, with<TVPNX_ALG_setRefExtAttenuation, 1>, missing, ""},
        {{v1B, v2A, v2C}, with<TVPNX_ALG_enablePULSE, 1>, missing, ""},
        {{v1B, v2A, v2C}, with<TVPNX_ALG_enableTRAN, 1>, missing, ""},
    };
    for (size_t i = 0; i < std::size(rows); ++i)
        for (const Version version : rows[i].versions) {
            SCOPED_TRACE(testing::Message() << "row " << i << ", version " << version);
            AlgRig rig(version);
            int result = 0;
            EXPECT_EQ(debugTextOf([&] { result = rows[i].operation(&rig.board); }), rows[i].text);
            EXPECT_EQ(result, rows[i].result);
            EXPECT_EQ(rig.taken(), "");
            EXPECT_FALSE(rig.board.pulseMode || rig.board.tranMode);
            EXPECT_EQ(rig.board.dutTuneVoltage, 0);
        }
}
