// Which lines each operation moves, and that it moves no other.

#include "tests/boards/alg_rig.h"

#include <cstring>
#include <initializer_list>

namespace {

using Lines = std::vector<unsigned>;
using Versions = std::vector<Version>;
using Board = TVPNX_ALG;

const Versions first = {v1B, v1C}, only2A = {v2A}, from2A = {v2A, v2B, v2C, v2D}, from2B = {v2B, v2C, v2D},
               from2C = {v2C, v2D}, narrow = {v2B, v2C}, only2B = {v2B}, only2D = {v2D};

struct Row {
    const char* what;
    Versions versions;
    int (*operation)(Board*);
    Lines set;
    Lines clear;
};

uint64_t maskOf(const Lines& lines) {
    uint64_t mask = 0;
    for (const unsigned line : lines)
        mask |= uint64_t{1} << line;
    return mask;
}

/// `path` and the members it goes by, sent.
template <uint32_t path, uint32_t prescaler = 1, bool off = false, bool internal = true, bool counting = false>
int dutPath(Board* b) {
    b->dutPath = path;
    b->prescaler = prescaler;
    b->preampOffLow = b->preampOffMid = off ? 1 : 0;
    b->referenceInternal = internal;
    b->counterEnabled = counting;
    return TVPNX_ALG_setDUTPath(b);
}
/// Only one amplifier is bypassed.
template <bool low> int oneBypassed(Board* b) {
    b->dutPath = 1;
    b->preampOffLow = low ? 1 : 0;
    b->preampOffMid = low ? 0 : 1;
    return TVPNX_ALG_setDUTPath(b);
}
template <uint32_t path> int ifPath(Board* b) {
    b->ifPath = path;
    return TVPNX_ALG_setIFPath(b);
}
template <uint32_t number> int capacitor(Board* b) {
    return TVPNX_ALG_setLoopFilterCapArray(b, number);
}
template <uint32_t state> int vga(Board* b) {
    return TVPNX_ALG_setVGA_Gain_State(b, state);
}
template <int32_t ratio> int counter(Board* b) {
    return TVPNX_ALG_setCounter(b, ratio);
}
template <uint32_t ratio> int divider(Board* b) {
    return TVPNX_ALG_setDUT_DivRatioX(b, ratio);
}
template <bool on> int amplifier2A(Board* b) {
    b->preamplifier = on;
    return TVPNX_ALG_setDUT_RFinAmp(b);
}
template <uint32_t path, uint32_t band> int reference(Board* b) {
    b->referencePath = path;
    b->referenceBand = band;
    return TVPNX_ALG_setReferencePathandSource(b);
}
/// Tune switches of a state; the refresh is that of the tune source.
template <bool internal, bool loop, bool open> int tune(Board* b) {
    b->referenceInternal = internal;
    TVPNX_ALG_setOpenMode(b, open);
    return loop ? TVPNX_ALG_setRefTuneSourceLoop(b) : TVPNX_ALG_setRefTuneSourceCalibration(b);
}
template <int32_t gain, bool pulse = false, bool transient = false> int ifGain(Board* b) {
    b->pulseMode = pulse;
    b->tranMode = transient;
    return TVPNX_ALG_setIFGain(b, gain);
}
template <int64_t frequency> int power(Board* b) {
    uint32_t word = 0;
    b->dutFrequency = {frequency, 0};
    return TVPNX_ALG_getDutPowerAdcValue(b, &word);
}
template <int64_t frequency> int powerThird(Board* b) {
    TVPNX_ALG_setDetectorQuestion(
        b, [](const void*) { return true; }, nullptr);
    return power<frequency>(b);
}
int tuneAdc(Board* b) {
    return TVPNX_ALG_getTuneAdcValue(b) < 0;
}
int offsetAdc(Board* b) {
    return TVPNX_ALG_getOffsetAdcValue(b) < 0;
}

} // namespace

TEST(AlgLines, EachOperationMovesItsLinesAndNoOther) {
    const Row rows[] = {
        {"DC", first, TVPNX_ALG_setIFMuxDC, {16, 17, 13, 14}, {18, 19, 12}},
        {"5M", first, TVPNX_ALG_setIFMuxBP5M, {16, 12, 13, 14}, {18, 17, 19}},
        {"20M", first, TVPNX_ALG_setIFMuxBPxM, {16, 18, 17, 12, 14}, {19, 13}},
        {"50M", first, TVPNX_ALG_setIFMuxBP50M, {16, 17, 19, 14}, {18, 12, 13}},
        {"BB", first, TVPNX_ALG_setIFMuxBBIn, {17, 12}, {16, 18, 19, 13, 14}},
        {"DC", from2A, TVPNX_ALG_setIFMuxDC, {22}, {13, 14, 23, 24, 25}},
        {"5M", from2A, TVPNX_ALG_setIFMuxBP5M, {13, 14, 23}, {22, 24, 25}},
        {"20M", from2A, TVPNX_ALG_setIFMuxBPxM, {13, 22, 23, 25}, {14, 24}},
        {"50M", from2A, TVPNX_ALG_setIFMuxBP50M, {14, 22, 23, 24}, {13, 25}},
        {"BB", only2A, TVPNX_ALG_setIFMuxBBIn, {}, {30, 29}},
        {"BB", from2B, TVPNX_ALG_setIFMuxBBIn, {}, {26, 27, 29}},
        {"IF 0", from2A, ifPath<0>, {27}, {26}},
        {"IF 1", from2A, ifPath<1>, {26}, {27}},
        {"IF 2", from2A, ifPath<2>, {26, 27}, {}},
        {"VGA 0", first, vga<0>, {}, {30, 31}},
        {"VGA 1", first, vga<1>, {31}, {30}},
        {"VGA 2", from2A, vga<2>, {16}, {18}},
        {"VGA 3", from2A, vga<3>, {16, 18}, {}},
        {"C0", first, capacitor<0>, {26, 27, 28, 29}, {}},
        {"C1", first, capacitor<1>, {26, 28, 29}, {27}},
        {"C2", from2A, capacitor<2>, {42, 40, 41}, {39}},
        {"C3", from2A, capacitor<3>, {42, 40, 39}, {41}},
        {"C4", from2A, capacitor<4>, {40, 39, 41}, {42}},
        {"FM on", only2A, TVPNX_ALG_enableFMDiscriminator, {17}, {}},
        {"FM off", only2A, TVPNX_ALG_disableFMDiscriminator, {}, {17}},

        {"path 0", from2B, dutPath<0>, {32}, {0, 1, 2}},
        {"path 0 bypassed", from2B, dutPath<0, 1, true>, {}, {0, 1, 2, 32}},
        {"path 1", from2B, dutPath<1>, {5}, {0, 1, 2, 10, 8}},
        {"path 1 bypassed", from2B, dutPath<1, 1, true>, {}, {0, 1, 2, 10, 8, 5}},
        {"path 1 external", from2B, dutPath<1, 1, false, false>, {5, 8}, {0, 1, 2, 10}},
        {"path 1 counting", from2B, dutPath<1, 1, false, false, true>, {5}, {0, 1, 2, 10, 8}},
        {"path 1 by the low amplifier", only2B, oneBypassed<true>, {}, {0, 1, 2, 10, 8, 5}},
        {"path 1 by the mid amplifier", from2C, oneBypassed<true>, {5}, {0, 1, 2, 10, 8}},
        {"path 1 by the mid amplifier", from2C, oneBypassed<false>, {}, {0, 1, 2, 10, 8, 5}},
        {"path 2 by 2", from2B, dutPath<2, 2>, {10, 0, 1, 2}, {5}},
        {"path 2 by 4", from2B, dutPath<2, 4>, {10, 0, 2}, {5, 1}},
        {"path 2 by 8", from2B, dutPath<2, 8>, {10, 0, 1}, {5, 2}},
        {"amplifier on", only2A, TVPNX_ALG_enablePreamplifier, {5}, {}},
        {"amplifier off", only2A, TVPNX_ALG_disablePreamplifier, {}, {5}},
        {"reference", from2B, reference<1, 0>, {31}, {}},
        {"reference", from2B, reference<1, 1>, {}, {31}},
        {"reference", from2B, reference<0, 0>, {}, {31}},
        {"direct", first, TVPNX_ALG_setDUT_RFinDirect, {}, {4, 5, 6, 7, 9, 1, 2, 3}},
        {"amplifier", first, TVPNX_ALG_setDUT_RFinAmp, {5, 6, 9}, {4, 7, 1, 2, 3}},
        {"divider", first, TVPNX_ALG_setDUT_RFinDiv, {4, 5, 6, 7, 1, 2, 3}, {9}},
        {"direct", only2A, TVPNX_ALG_setDUT_RFinDirect, {10, 27}, {0, 8, 26}},
        {"amplifier", only2A, amplifier2A<true>, {10, 8, 5, 26}, {3, 27, 0}},
        {"amplifier", only2A, amplifier2A<false>, {10, 8, 26}, {5, 3, 27, 0}},
        {"divider", only2A, TVPNX_ALG_setDUT_RFinDiv, {0, 3, 27, 26}, {10}},
        {"by 1", first, divider<1>, {}, {2, 3}},
        {"by 2", only2A, divider<2>, {1, 2}, {}},
        {"by 4", first, divider<4>, {3}, {2}},
        {"by 8", only2A, divider<8>, {1}, {2}},

        {"count 1", only2A, counter<-1>, {6, 7, 9}, {}},
        {"count 1", from2B, counter<3>, {6, 7, 9}, {11}},
        {"count 4", from2B, counter<4>, {7, 9}, {6, 11}},
        {"count 4", from2B, counter<15>, {7, 9}, {6, 11}},
        {"count 16", from2B, counter<16>, {9}, {6, 7, 11}},
        {"count 16", from2B, counter<63>, {9}, {6, 7, 11}},
        {"count 64", from2B, counter<64>, {}, {6, 7, 9, 11}},
        {"count 64", from2B, counter<255>, {}, {6, 7, 9, 11}},
        {"count 256", from2B, counter<256>, {11}, {6, 7, 9}},
        {"count 256", only2A, counter<256>, {}, {6, 7, 9}},
        {"counter on", only2A, TVPNX_ALG_enableFrequencyCounter, {4}, {15}},
        {"counter off", only2A, TVPNX_ALG_disableFrequencyCounter, {15}, {4}},
        {"counter on", from2B, TVPNX_ALG_enableFrequencyCounter, {4, 38, 16, 18}, {15}},
        {"counter off", from2B, TVPNX_ALG_disableFrequencyCounter, {15}, {4, 38, 16, 18}},

        {"internal, loop", from2A, tune<true, true, false>, {43, 45}, {44, 46}},
        {"internal, open", from2A, tune<true, false, true>, {46}, {43, 44, 45}},
        {"internal, calibration", from2A, tune<true, false, false>, {45}, {43, 44, 46}},
        {"external, loop", from2A, tune<false, true, false>, {44}, {43, 45, 46}},
        {"external, calibration", from2A, tune<false, false, true>, {45}, {43, 44, 46}},
        {"source", first, TVPNX_ALG_setRefTuneSourceCalibration, {32}, {33}},
        {"source", first, TVPNX_ALG_setRefTuneSourceLoop, {33}, {32}},
        {"source", first, TVPNX_ALG_setRefTuneSourceNone, {}, {32, 33}},
        {"load", first, TVPNX_ALG_setRefTuneLoadInt, {35}, {34}},
        {"load", first, TVPNX_ALG_setRefTuneLoadExt, {34}, {35}},
        {"load", first, TVPNX_ALG_setRefTuneLoadIntExt, {34, 35}, {}},
        {"load", first, TVPNX_ALG_setRefTuneLoadNone, {}, {34, 35}},
        {"reference", first, TVPNX_ALG_setRefInternal, {38}, {37, 39}},
        {"reference", first, TVPNX_ALG_setRefExternalDirect, {}, {37, 38, 39}},
        {"reference", first, TVPNX_ALG_setRefExternalAttAMP, {37, 39}, {38}},
        {"reference", from2B, TVPNX_ALG_setRefExternalAttAMP, {}, {}},
        {"DUT tune on", from2B, TVPNX_ALG_enableDutTuneVoltage, {47}, {}},
        {"DUT tune off", from2B, TVPNX_ALG_disableDutTuneVoltage, {}, {47}},
        {"DUT tune", narrow, [](Board* b) { return TVPNX_ALG_setDutTuneVoltage(b, 5); }, {47}, {}},
        {"DUT tune", only2D, [](Board* b) { return TVPNX_ALG_setDutTuneVoltage(b, 5); }, {}, {}},
        {"tune ADC", only2A, tuneAdc, {47}, {}},
        {"tune ADC", from2B, tuneAdc, {}, {}},
        {"offset ADC", only2A, offsetAdc, {}, {47}},

        {"detector DUT", only2A, TVPNX_ALG_setPD_DUT, {34}, {36, 37, 38}},
        {"detector REF", only2A, TVPNX_ALG_setPD_REF, {36}, {34, 37, 38}},
        {"detector ADL6010", only2A, TVPNX_ALG_setPD_ADL6010, {37}, {34, 36, 38}},
        {"detector AM", only2A, TVPNX_ALG_setPD_AM, {38}, {34, 36, 37}},
        {"lower", narrow, power<2'020'019'999>, {36}, {35, 37}},
        {"middle", narrow, power<2'020'020'000>, {}, {35, 37, 34, 36}},
        {"middle", narrow, power<9'900'019'999>, {}, {35, 37, 34, 36}},
        {"high", narrow, power<9'900'020'000>, {34}, {35, 37, 36}},
        {"lower", only2D, power<2'020'019'999>, {37, 36}, {35, 20, 34}},
        {"middle", only2D, power<2'020'020'000>, {35}, {37, 20, 34, 36}},
        {"middle", only2D, power<4'999'999'999>, {35}, {37, 20, 34, 36}},
        {"high", only2D, power<5'000'000'000>, {34, 20}, {35, 37, 36}},
        {"lower, third", only2D, powerThird<2'020'019'999>, {37, 36}, {34}},
        {"high, third", only2D, powerThird<2'020'020'000>, {20, 34}, {36}},

        // Gains: amplifiers, filter (channel 0 DC, channel 1 at 100 MHz the 50 MHz band).
        {"gain", {v1B}, ifGain<4>, {31, 16, 17, 13, 14}, {30, 18, 19, 12}},
        {"gain", from2C, ifGain<6>, {18, 22}, {16, 13, 14, 23, 24, 25}},
        {"gain", narrow, ifGain<5>, {22}, {16, 18, 13, 14, 23, 24, 25}},
        {"gain", narrow, ifGain<16>, {14, 22, 23, 24}, {16, 18, 13, 25}},
        {"gain", narrow, ifGain<50>, {16, 18, 14, 22, 23, 24}, {13, 25}},
        {"gain", only2D, ifGain<5>, {13, 14, 23, 17}, {16, 18, 22, 24, 25}},
        {"gain", only2D, ifGain<5, false, true>, {22}, {16, 18, 13, 14, 23, 24, 25}},
        {"gain", only2D, ifGain<15>, {18, 22}, {16, 13, 14, 23, 24, 25}},
        {"gain", only2D, ifGain<16>, {14, 22, 23, 24}, {16, 18, 13, 25, 17}},
        {"gain", only2D, ifGain<15, true>, {17, 37, 36, 18, 22}, {35, 20, 34, 16, 13, 14, 23, 24, 25}},
    };
    constexpr uint64_t all = (uint64_t{1} << 48) - 1;
    for (const Row& row : rows)
        for (const Version version : row.versions) {
            SCOPED_TRACE(std::string(row.what) + " on version " + std::to_string(version));
            AlgRig low(version);
            low.setLines(0);
            EXPECT_EQ(row.operation(&low.board), 0);
            EXPECT_EQ(low.lines(), maskOf(row.set));
            AlgRig high(version);
            const uint64_t ones = high.first ? all >> 8 : all;
            high.setLines(ones);
            EXPECT_EQ(row.operation(&high.board), 0);
            EXPECT_EQ(high.lines(), ones & ~maskOf(row.clear));
        }
}

TEST(AlgLines, NoTwoTuneSourcesMeetAndTheVoltageChangesWhileTheSwitchesAreOpen) {
    AlgRig rig(v2C);
    TVPNX_ALG_setCalTuneVoltage(&rig.board, 4);
    TVPNX_ALG_setExternalTuneVoltage(&rig.board, 1);
    tune<true, true, false>(&rig.board);
    std::vector<int> switches;
    std::string order;
    rig.bus.intercept([&](const vi::SpiTransfer& transfer) {
        order += transfer.address == rig.base ? 'L' : 'V';
        if (transfer.address == rig.base)
            switches.push_back(transfer.frame[5] >> 3 & 0xF); // lines 43 to 46
        return true;
    });
    tune<true, false, true>(&rig.board);
    EXPECT_EQ(order, "LVL");
    EXPECT_EQ(switches, (std::vector<int>{0, 8})) << "both open, then the calibration driver alone";
}

TEST(AlgLines, ALostTransferIsMadeUpByTheNextChangeAndASettledBoardSendsNothing) {
    AlgRig rig(v2B);
    rig.setLines(0);
    rig.bus.failTransfers(0, 2); // the bus tries twice
    EXPECT_EQ(TVPNX_ALG_setIFMuxDC(&rig.board), 0);
    EXPECT_EQ(rig.lines(), 0U) << "the frame was lost";
    EXPECT_EQ(TVPNX_ALG_setVGA_Gain_State(&rig.board, 0), 0);
    EXPECT_EQ(rig.lines(), maskOf({22})) << "though the amplifiers' lines did not change";

    const uint64_t transfers = rig.bus.transfers();
    TVPNX_ALG_setIFMuxDC(&rig.board);
    EXPECT_EQ(rig.bus.transfers(), transfers);
    SRI_clearBit(&rig.board.sri, 22); // as the device does with lines of its own
    TVPNX_ALG_setIFMuxDC(&rig.board);
    EXPECT_EQ(rig.lines(), maskOf({22}));

    rig.bus.failTransfers(0, 2);
    EXPECT_EQ(TVPNX_ALG_getDeviceStatus(&rig.board), -200);
    EXPECT_EQ(TVPNX_ALG_getDeviceStatus(&rig.board), 0);
}
