// Frequency plans: path, prescaler, mixer frequency and lines.

#include "tests/boards/alg_rig.h"

namespace {

struct Plan {
    Version version;
    bool internal, counting;
    int64_t frequency;
    uint32_t path, prescaler;
    uint32_t ifPath;
};

} // namespace

TEST(AlgPlan, From2BPathAndPrescalerFollowThresholdsReferenceAndCounter) {
    const Plan rows[] = {
        {v2B, true, false, 1'000'000, 0, 1, 1},      {v2B, true, false, 2'020'019'999, 0, 1, 1},
        {v2B, false, false, 2'020'020'000, 1, 1, 0}, {v2B, true, false, 9'900'019'999, 1, 1, 2},
        {v2B, true, false, 9'900'020'000, 2, 2, 2},  {v2B, true, false, 17'999'999'999, 2, 2, 2},
        {v2B, true, false, 18'000'000'000, 2, 4, 2}, {v2B, false, false, 18'000'000'000, 1, 1, 0},
        {v2B, true, true, 11'999'999'999, 2, 2, 2},  {v2B, true, true, 12'000'000'000, 2, 4, 2},
        {v2B, false, true, 12'000'000'000, 2, 4, 0}, {v2B, true, true, 8'000'000'000, 1, 1, 2},
        {v2C, true, true, 7'000'000'000, 1, 1, 2},   {v2C, false, true, 7'000'000'001, 2, 2, 0},
        {v2C, true, true, 14'000'000'000, 2, 2, 2},  {v2C, true, true, 14'000'000'001, 2, 4, 2},
        {v2C, true, true, 20'000'000'000, 2, 4, 2},  {v2C, true, true, 20'000'000'001, 2, 8, 2},
        {v2C, true, false, 20'000'000'001, 2, 4, 2}, {v2D, true, false, 13'100'019'999, 1, 1, 2},
        {v2D, true, false, 13'100'020'000, 2, 2, 2}, {v2D, true, false, 24'999'999'999, 2, 2, 2},
        {v2D, true, false, 25'000'000'000, 2, 4, 2}, {v2D, true, true, 12'000'000'000, 1, 1, 2},
        {v2D, true, true, 12'000'000'001, 2, 2, 2},  {v2D, false, true, 20'000'000'000, 2, 2, 0},
        {v2D, true, true, 20'000'000'001, 2, 4, 2},
    };
    for (const Plan& row : rows) {
        SCOPED_TRACE(testing::Message() << "version " << row.version << " at " << row.frequency << " Hz, internal "
                                        << row.internal << ", counting " << row.counting);
        AlgRig rig(row.version);
        if (!row.internal)
            TVPNX_ALG_setRefExternalDirect(&rig.board);
        if (row.counting)
            TVPNX_ALG_enableFrequencyCounter(&rig.board);
        const tvfreq f = hz(row.frequency);
        EXPECT_EQ(TVPNX_ALG_setFrequency(&rig.board, &f), 0);
        tvfreq mixer{}, expected{};
        TVPNX_ALG_getFrequencyMixer(&rig.board, &mixer);
        tvfreqDivideByInt32(&expected, &f, static_cast<int32_t>(row.prescaler));
        EXPECT_EQ(TVPNX_ALG_getDUTPath(&rig.board), row.path);
        EXPECT_EQ(TVPNX_ALG_getPrescaler(&rig.board), row.prescaler);
        EXPECT_EQ(mixer, expected);
        EXPECT_EQ(rig.board.dutFrequency, f);
        // On the board: divider power, input mux, IF mux and reference as path, reference and band have them.
        const bool upper = row.frequency > 2'020'010'000;
        EXPECT_EQ(rig.line(0), row.path == 2);
        EXPECT_EQ(rig.line(1), row.path == 2 && row.prescaler != 4);
        EXPECT_EQ(rig.line(2), row.path == 2 && row.prescaler != 8);
        EXPECT_EQ(rig.line(27), row.ifPath != 1);
        EXPECT_EQ(rig.line(26), row.ifPath != 0);
        EXPECT_EQ(rig.line(31), !row.internal && !upper);
        if (row.path == 1) {
            EXPECT_EQ(rig.line(8), !row.internal && !row.counting);
        }
    }
}

TEST(AlgPlan, ThresholdsHaveAHysteresisAndFractionsCount) {
    AlgRig rig(v2B);
    const auto pathAt = [&](int64_t frequency, uint64_t fraction = 0) {
        const tvfreq f{frequency, fraction};
        EXPECT_EQ(TVPNX_ALG_setFrequency(&rig.board, &f), 0);
        return TVPNX_ALG_getDUTPath(&rig.board);
    };
    EXPECT_EQ(pathAt(9'900'019'999), 1U);
    EXPECT_EQ(pathAt(9'900'020'000), 2U);
    EXPECT_EQ(pathAt(9'900'000'000), 2U) << "stays on the way down";
    EXPECT_EQ(pathAt(9'899'999'999), 1U);
    EXPECT_EQ(pathAt(9'900'019'999), 1U) << "and has to go all the way up again";
    EXPECT_EQ(pathAt(2'020'000'000), 1U);
    EXPECT_EQ(pathAt(2'019'999'999, ~uint64_t{0}), 0U);
    EXPECT_EQ(pathAt(2'020'019'999), 0U);
    EXPECT_EQ(pathAt(2'020'020'000), 1U);

    rig.taken();
    EXPECT_EQ(pathAt(2'020'020'001), 1U);
    EXPECT_EQ(rig.taken(), "") << "no line changed";
    const tvfreq tooLow{999'999, ~uint64_t{0}};
    EXPECT_EQ(TVPNX_ALG_setFrequency(&rig.board, &tooLow), refused);
    EXPECT_EQ(rig.board.dutFrequency, hz(2'020'020'001));

    AlgRig board2C(v2C);
    TVPNX_ALG_enableFrequencyCounter(&board2C.board);
    const tvfreq justAbove{7'000'000'000, 1};
    TVPNX_ALG_setFrequency(&board2C.board, &justAbove);
    EXPECT_EQ(TVPNX_ALG_getPrescaler(&board2C.board), 2U);
}

TEST(AlgPlan, ThePreamplifierIsThatOfThePath) {
    struct Step {
        Version version;
        int64_t frequency;
        int enabled, disabled; // results of the two operations
        bool before, after;    // at the start, and after the two tries to switch off
    };
    const Step rows[] = {
        {v1C, 100'000'000, missing, missing, false, false},
        {v2A, 100'000'000, 0, 0, false, false},
        {v2B, 100'000'000, 0, 0, true, false},
        {v2B, 3'000'000'000, 0, 0, true, false},
        {v2C, 100'000'000, 0, 0, true, false},
        {v2C, 4'199'999'999, missing, missing, true, true},
        {v2C, 4'200'000'000, missing, missing, false, false},
        {v2D, 4'200'000'000, missing, missing, false, false},
        {v2D, 14'000'000'000, missing, missing, false, false},
    };
    for (const Step& row : rows) {
        SCOPED_TRACE(testing::Message() << "version " << row.version << " at " << row.frequency);
        AlgRig rig(row.version);
        const tvfreq f = hz(row.frequency);
        TVPNX_ALG_setFrequency(&rig.board, &f);
        EXPECT_EQ(TVPNX_ALG_isPreamplifierEnabled(&rig.board), row.before);
        const unsigned line = rig.board.dutPath == 0 && row.version >= v2B ? 32 : 5;
        if (row.version >= v2A) {
            EXPECT_EQ(rig.line(line), row.before);
        }
        EXPECT_EQ(TVPNX_ALG_enablePreamplifier(&rig.board), row.enabled);
        EXPECT_EQ(TVPNX_ALG_isPreamplifierEnabled(&rig.board), row.enabled == 0 || row.before);
        EXPECT_EQ(TVPNX_ALG_disablePreamplifier(&rig.board), row.disabled);
        EXPECT_EQ(TVPNX_ALG_isPreamplifierEnabled(&rig.board), row.after);
        if (row.version >= v2A) {
            EXPECT_EQ(rig.line(line), row.after);
        }
    }
}

TEST(AlgPlan, EarlierBoardsGoByThePrescalersThreshold) {
    struct Early {
        Version version;
        bool internal;
        uint32_t given; // prescaler that a user set; 0: automatic
        uint32_t attenuation;
        int64_t frequency;
        uint32_t prescaler, path, counter;
        std::vector<unsigned> set; // lines, from none set
    };
    constexpr uint32_t threshold_MHz = 2500;
    const Early rows[] = {
        {v1B, true, 0, 0, 199'999'999, 1, 0, 8, {}},
        {v1B, true, 0, 64, 200'000'000, 1, 1, 128, {5, 6, 9, 22}},
        {v1C, true, 0, 63, 2'500'000'000, 1, 0, 128, {22}},
        {v1C, true, 0, 0, 2'500'000'001, 2, 2, 128, {1, 2, 3, 4, 5, 6, 7, 22}},
        {v1C, true, 0, 0, 20'000'000'001, 8, 2, 128, {1, 2, 4, 5, 6, 7, 22}},
        {v1C, true, 4, 0, 400'000'000, 4, 2, 8, {1, 3, 4, 5, 6, 7}},
        {v1C, false, 4, 0, 400'000'000, 1, 0, 128, {22}},
        {v2A, true, 0, 0, 29'999'999, 1, 0, 1, {10, 8, 26, 6, 7, 9}},
        {v2A, true, 0, 0, 1'989'999'999, 1, 0, 64, {10, 8, 26}},
        {v2A, true, 0, 0, 1'990'000'000, 1, 1, 64, {10, 8, 26}},
        {v2A, true, 0, 0, 2'500'000'000, 1, 1, 64, {10, 8, 26}},
        {v2A, true, 0, 0, 5'000'000'000, 2, 1, 64, {0, 3, 27, 26, 31, 1, 2}},
        {v2A, true, 0, 0, 5'000'000'001, 4, 1, 64, {0, 3, 27, 26, 31, 2}},
        {v2A, true, 0, 0, 12'999'999'999, 8, 1, 64, {0, 3, 27, 26, 31, 1}},
        {v2A, true, 0, 0, 25'000'000'000, 8, 2, 64, {0, 3, 27, 26, 31, 1}},
        {v2A, false, 0, 0, 2'499'999'999, 1, 1, 64, {33, 11, 10, 8, 26}},
        {v2A, false, 0, 0, 13'000'000'000, 1, 2, 64, {33, 10, 27}},
    };
    for (const Early& row : rows) {
        SCOPED_TRACE(testing::Message() << "version " << row.version << " at " << row.frequency << " internal "
                                        << row.internal);
        AlgRig rig(row.version);
        TVPNX_ALG* board = &rig.board;
        TVPNX_ALG_setPrescalerThresholdFrequency(board, threshold_MHz);
        if (!row.internal)
            TVPNX_ALG_setRefExternalDirect(board);
        if (row.given != 0) {
            TVPNX_ALG_disableAutoPrescaler(board);
            TVPNX_ALG_setPrescaler(board, row.given);
        }
        if (rig.first) {
            EXPECT_EQ(TVPNX_ALG_setDUTAttenuation(board, row.attenuation), 0);
        }
        rig.setLines(0);
        const tvfreq f = hz(row.frequency);
        EXPECT_EQ(TVPNX_ALG_setFrequency(board, &f), 0);
        EXPECT_EQ(TVPNX_ALG_getPrescaler(board), row.prescaler);
        EXPECT_EQ(TVPNX_ALG_getDUTPath(board), row.path);
        EXPECT_EQ(TVPNX_ALG_getCounter(board), row.counter);
        uint64_t expected = row.version == v2A ? uint64_t{1} << 29 : 0; // the baseband amplifier is off
        for (const unsigned line : row.set)
            expected |= uint64_t{1} << line;
        EXPECT_EQ(rig.lines(), expected);
    }
}

TEST(AlgPlan, AReferencePlansTheFrequencyAnew) {
    for (const Version version : {v2A, v2B, v2C, v2D}) {
        AlgRig rig(version);
        const tvfreq f = hz(15'000'000'000);
        TVPNX_ALG_setPrescalerThresholdFrequency(&rig.board, 2500);
        TVPNX_ALG_setFrequency(&rig.board, &f);
        EXPECT_TRUE(rig.line(0));
        EXPECT_TRUE(rig.line(45)) << "the calibration driver serves the outer tune output";
        TVPNX_ALG_setRefTuneSourceLoop(&rig.board);
        TVPNX_ALG_setRefExternalDirect(&rig.board);
        EXPECT_FALSE(rig.line(0)) << version;
        EXPECT_EQ(rig.board.mixerFrequency, f) << version;
        EXPECT_TRUE(rig.line(44));
        TVPNX_ALG_setRefInternal(&rig.board);
        TVPNX_ALG_setRefTuneLoadExt(&rig.board);
        EXPECT_TRUE(rig.board.tuneLoadExternal);
        TVPNX_ALG_setRefTuneLoadIntExt(&rig.board);
        EXPECT_FALSE(rig.board.tuneLoadExternal) << "both count as the internal load";
        EXPECT_TRUE(rig.line(0)) << version;
        EXPECT_TRUE(rig.line(43));
        TVPNX_ALG_setRefExternalAttAMP(&rig.board);
        EXPECT_EQ(rig.line(44), version == v2A);
        EXPECT_EQ(rig.board.mixerFrequency == f, version == v2A) << version;
    }
}

TEST(AlgPlan, TheFilterIsTheNarrowestForTheMixersFrequency) {
    for (const Version version : {v1B, v2A, v2D}) {
        AlgRig rig(version);
        const auto filterAt = [&](int64_t frequency, uint32_t channel) {
            rig.board.mixerFrequency = hz(frequency);
            EXPECT_EQ(TVPNX_ALG_setIFMuxPath(&rig.board, channel), 0);
            return TVPNX_ALG_getIFMuxPath(&rig.board);
        };
        EXPECT_EQ(filterAt(100'000'000, 0), 1U);
        EXPECT_EQ(filterAt(22'999'999, 1), 2U);
        EXPECT_EQ(filterAt(23'000'000, 2), 3U);
        EXPECT_EQ(filterAt(69'999'999, 3), 3U);
        EXPECT_EQ(filterAt(70'000'000, 3), 4U);
        rig.board.pulseMode = true;
        EXPECT_EQ(filterAt(69'999'999, 1), 2U);
        EXPECT_EQ(filterAt(70'000'000, 1), 2U);
    }
}

TEST(AlgPlan, RequestsOfGainAreTakenToGainsThatTheBoardHas) {
    struct Gain {
        Version version;
        int32_t request;
        int gain;            // -224: refused
        unsigned amplifiers; // bit 0 the first, bit 1 the second
        uint32_t filter;
    };
    const Gain rows[] = {
        {v1B, -1, 0, 2, 1},  {v1B, 5, 26, 2, 4},    {v1B, 38, 26, 2, 4},        {v1B, 39, 52, 3, 4},
        {v1B, 69, 52, 3, 4}, {v1B, 70, -224, 0, 0}, {v1C, 4, 0, 2, 1},          {v1C, 5, 20, 3, 1},
        {v1C, 23, 20, 3, 1}, {v1C, 24, 26, 2, 4},   {v1C, 29, 26, 2, 4},        {v1C, 30, 46, 3, 4},
        {v1C, 69, 46, 3, 4}, {v1C, 70, -224, 0, 0}, {v2A, 5, 0, 0, 1},          {v2A, 6, 12, 2, 1},
        {v2A, 15, 12, 2, 1}, {v2B, 16, 20, 0, 4},   {v2B, 25, 20, 0, 4},        {v2B, 26, 32, 2, 4},
        {v2C, 37, 32, 2, 4}, {v2C, 38, 44, 1, 4},   {v2C, 49, 44, 1, 4},        {v2C, 50, 56, 3, 4},
        {v2D, 5, 0, 0, 2},   {v2D, 6, 12, 2, 1},    {v2D, INT32_MAX, 56, 3, 4},
    };
    for (const Gain& row : rows) {
        SCOPED_TRACE(testing::Message() << "version " << row.version << ", request " << row.request);
        AlgRig rig(row.version);
        rig.board.mixerFrequency = hz(100'000'000);
        EXPECT_EQ(TVPNX_ALG_setIFGain(&rig.board, 40), 0);
        const uint32_t before = TVPNX_ALG_getIFGain(&rig.board);
        const int result = TVPNX_ALG_setIFGain(&rig.board, row.request);
        if (row.gain < 0) {
            EXPECT_EQ(result, row.gain);
            EXPECT_EQ(TVPNX_ALG_getIFGain(&rig.board), before);
            continue;
        }
        EXPECT_EQ(result, 0);
        EXPECT_EQ(TVPNX_ALG_getIFGain(&rig.board), static_cast<uint32_t>(row.gain));
        EXPECT_EQ(rig.line(rig.first ? 30 : 16) + 2U * rig.line(rig.first ? 31 : 18), row.amplifiers);
        EXPECT_EQ(selectedPath, row.filter);
    }
}
