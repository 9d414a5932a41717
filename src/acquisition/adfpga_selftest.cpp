// The acquisition board's test of itself.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "acquisition/adfpga_start.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace {

// What the self test reports: the first that fails.
enum SelftestResult : int {
    passed = 0,
    noAnswer = -1,
    midScaleWrong = -2,
    positiveFullScaleWrong = -3,
    negativeFullScaleWrong = -4,
    streamPatternWrong = -5,
    clockUnlocked = -6,
};

struct TestPattern {
    uint32_t mode; // of the ADCs
    uint16_t word; // offset binary
    SelftestResult failure;
};
constexpr std::array<TestPattern, 3> patterns{
    {{1, 0x8000, midScaleWrong}, {2, 0xFFFF, positiveFullScaleWrong}, {3, 0x0000, negativeFullScaleWrong}}};
constexpr std::array<uint32_t, 2> dividers{1, 2};
constexpr uint32_t samples = 1024;

bool answersPing(TVPN_ADFPGA* board) {
    constexpr char expected[] = "*pong";
    std::array<char, 64> answer{};
    return TVPN_ADFPGA_sendFpga(board, "ping") == 0 &&
           TVPN_ADFPGA_receiveFpga(board, answer.data(), answer.size(), 1) == 0 &&
           memcmp(answer.data(), expected, strlen(expected)) == 0;
}

bool bothChannelsRead(TVPN_ADFPGA* board, uint16_t word) {
    const auto all = [word](const uint16_t* buffer) {
        return std::all_of(buffer, buffer + samples, [word](uint16_t sample) { return sample == word; });
    };
    return all(board->tdBuffer[0]) && all(board->tdBuffer[1]);
}

bool patternArrives(TVPN_ADFPGA* board, const TestPattern& pattern) {
    return adfpga_setTestMode(board, pattern.mode) == 0 &&
           std::all_of(dividers.begin(), dividers.end(), [&](uint32_t divider) {
               // What an earlier capture left there must not pass for this one.
               for (uint16_t* const buffer : board->tdBuffer)
                   std::fill_n(buffer, samples, static_cast<uint16_t>(~pattern.word));
               return adfpga_captureSamples(board, samples, divider) == 0 && bothChannelsRead(board, pattern.word);
           });
}

SelftestResult testAdcs(TVPN_ADFPGA* board) {
    SelftestResult result = passed;
    for (const TestPattern& pattern : patterns)
        if (result == passed && !patternArrives(board, pattern))
            result = pattern.failure;
    const int restored = adfpga_setTestMode(board, fastAdc_testOff);
    return result == passed && restored != 0 ? patterns.front().failure : result;
}

} // namespace

int TVPN_ADFPGA_1_selftest(TVPN_ADFPGA* board) {
    return answersPing(board) ? testAdcs(board) : noAnswer;
}

int TVPN_ADFPGA_2_selftest(TVPN_ADFPGA* board) {
    if (const int result = TVPN_ADFPGA_1_selftest(board); result != passed)
        return result;
    if (TVPN_ADFPGA_captureSSCTestSamples(board) != 0)
        return streamPatternWrong;
    return TVPN_ADFPGA_isRefExternalLocked(board) != 0 ? passed : clockUnlocked;
}

int TVPN_ADFPGA_selftest(TVPN_ADFPGA* board) {
    return adfpga_isSecondGeneration(board) ? TVPN_ADFPGA_2_selftest(board) : TVPN_ADFPGA_1_selftest(board);
}

int TVPN_ADFPGA_getDeviceStatus(TVPN_ADFPGA* board) {
    return TVPN_ADFPGA_selftest(board) != passed ? -1 : 0;
}
