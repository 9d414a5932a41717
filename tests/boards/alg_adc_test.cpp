// Readings of the board's ADCs: what is switched for them, waits, and the detector's level for pulsed signals.

#include "tests/boards/alg_rig.h"

namespace {

constexpr double reading_V = 5.0 / 16384;

} // namespace

// The reading comes after the switching and the wait, and what was moved for it goes back.
TEST(AlgAdc, ReadingsWaitForTheirLines) {
    struct Reading {
        Version version;
        int64_t frequency;
        double wait_us;
        uint64_t mask, seen; // lines at the time of the reading
        uint64_t after;      // the same lines after it
    };
    constexpr auto bit = [](unsigned line) { return uint64_t{1} << line; };
    const uint64_t input1 = bit(1) | bit(4) | bit(9), input2A = bit(34) | bit(10) | bit(0) | bit(8);
    const uint64_t detectors = bit(34) | bit(35) | bit(36) | bit(37);
    const Reading rows[] = {
        {v1B, 3'000'000'000, 20'000, input1, 0, bit(1) | bit(4)},
        {v1C, 20'000'000'000, 20'000, input1, 0, bit(1) | bit(4)},
        {v2A, 3'000'000'000, 15'000, input2A, bit(34) | bit(10), bit(34) | bit(0)},
        {v2B, 100'000'000, 1'000, detectors, bit(34) | bit(36) | bit(37), bit(34) | bit(36)},
        {v2C, 3'000'000'000, 1'000, detectors, bit(35), 0},
        {v2D, 3'000'000'000, 1'000, detectors, bit(35), bit(35)},
    };
    for (const Reading& row : rows) {
        SCOPED_TRACE(row.version);
        AlgRig rig(row.version);
        TVPNX_ALG_setPrescalerThresholdFrequency(&rig.board, 1990);
        const tvfreq f = hz(row.frequency);
        TVPNX_ALG_setFrequency(&rig.board, &f);
        uint64_t seen = 0;
        int readings = 0;
        rig.powerSource = [&] {
            seen = rig.lines() & row.mask;
            return (1000 + readings++ / 2) * reading_V; // each value takes two transfers
        };
        uint32_t word = 0;
        EXPECT_NEAR(waited_us(&rig, [&] { EXPECT_EQ(TVPNX_ALG_getDutPowerAdcValue(&rig.board, &word), 0); }),
                    row.wait_us, 0.5);
        EXPECT_EQ(seen, row.seen);
        EXPECT_EQ(rig.lines() & row.mask, row.after);
        EXPECT_EQ(readings, row.version == v2D ? 20 : 2);
        EXPECT_EQ(word, row.version == v2D ? 1004U : 1000U) << "2D: the mean of ten, cut";
    }
    AlgRig early(v1B);
    const tvfreq tooHigh{20'000'000'000, 1};
    TVPNX_ALG_setFrequency(&early.board, &tooHigh);
    uint32_t word = 7;
    EXPECT_EQ(TVPNX_ALG_getDutPowerAdcValue(&early.board, &word), -200);
    EXPECT_EQ(TVPNX_ALG_getRefPowerAdcValue(&early.board, &word), missing);
    early.power_V = 8192 * reading_V;
    EXPECT_DOUBLE_EQ(TVPN_X_ALG_getVPowerDet(&early.board), 2.5);
}

TEST(AlgAdc, TuneAndReferenceReadings) {
    AlgRig rig(v2A);
    rig.tuneSource = [&] { return (rig.line(47) ? 3000 : 20) * reading_V; };
    rig.powerSource = [&] { return (rig.line(36) && !rig.line(34) ? 700 : 1) * reading_V; };
    EXPECT_NEAR(waited_us(&rig, [&] { EXPECT_EQ(TVPNX_ALG_getTuneAdcValue(&rig.board), 3000); }), 10'000, 0.5);
    EXPECT_NEAR(waited_us(&rig, [&] { EXPECT_EQ(TVPNX_ALG_getOffsetAdcValue(&rig.board), 20); }), 10'000, 0.5);
    uint32_t word = 0;
    EXPECT_NEAR(waited_us(&rig, [&] { EXPECT_EQ(TVPNX_ALG_getRefPowerAdcValue(&rig.board, &word), 0); }), 15'000, 0.5);
    EXPECT_EQ(word, 700U);
    AlgRig later(v2B, 1);
    later.tune_V = 4000 * reading_V;
    EXPECT_NEAR(waited_us(&later, [&] { EXPECT_EQ(TVPNX_ALG_getTuneAdcValue(&later.board), 4000); }), 0, 0.5);
}

TEST(AlgPulse, TheDetectorGetsTheLevelOfItsBand) {
    const struct {
        int64_t frequency;
        bool third;
        uint32_t level; // 0: as it was
    } rows[] = {{2'020'019'999, false, 4500}, {2'020'019'999, true, 4500},  {2'020'020'000, false, 3500},
                {4'999'999'999, true, 3500},  {5'000'000'000, false, 3900}, {9'999'999'999, false, 3900},
                {10'000'000'000, false, 0},   {5'000'000'000, true, 4100},  {20'000'000'000, true, 4100}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.frequency);
        AlgRig rig(v2D);
        TVPNX_ALG_setDetectorQuestion(
            &rig.board, [](const void* context) { return *static_cast<const bool*>(context); }, &row.third);
        const tvfreq f = hz(row.frequency);
        TVPNX_ALG_setFrequency(&rig.board, &f);
        uint32_t word = 0;
        TVPNX_ALG_getDutPowerAdcValue(&rig.board, &word);
        EXPECT_EQ(rig.dac.ratio(), 0) << "pulse mode alone sets it";
        EXPECT_EQ(TVPNX_ALG_enablePULSE(&rig.board, 1), 0);
        EXPECT_DOUBLE_EQ(rig.dac.ratio() * 16384, row.level);
        EXPECT_TRUE(rig.line(33) && rig.line(17));
        EXPECT_EQ(selectedPath, 2U);
        SRI_setBit(&rig.board.sri, 19);
        rig.board.dutPath = 0;
        EXPECT_EQ(TVPNX_ALG_enablePULSE(&rig.board, 0), 0);
        EXPECT_FALSE(rig.line(33) || rig.line(19));
        EXPECT_FALSE(rig.board.pulseMode);
        EXPECT_EQ(rig.board.dutPath != 0, row.frequency > 2'020'019'999) << "planned anew";
    }
}
