// Frequency counters: one on the counter input, and one behind each ADC.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "core/abstime.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <tuple>

namespace {

constexpr double reserve = 1.2, reserve_s = 2; // of the time that a gate may take
constexpr uint32_t answerLength = 64;          // characters on the command link
constexpr uint32_t textBytes = 64;             // of a text on the stream
constexpr uint32_t textTimeout_us = 5000;
constexpr double counterInputPeriods = 2; // the counter input is divided by two

using Text = std::array<char, textBytes + 1>;

uint32_t gateTicks(const TVPN_ADFPGA* board) {
    const double ticks = board->baseSampleFrequency * board->settings.counterTimeout;
    return static_cast<uint32_t>(std::fmin(std::fmax(ticks, 0.0), double{UINT32_MAX}));
}

int awaitGate(TVPN_ADFPGA* board) {
    const double limit_s = board->settings.counterTimeout * reserve + reserve_s;
    const tv_abstime start = tv_abstime_now();
    for (;;) {
        Text answer{};
        int status = TVPN_ADFPGA_sendFpga(board, "freq0g");
        if (status == 0)
            status = TVPN_ADFPGA_receiveFpga(board, answer.data(), answerLength, 1);
        if (status != 0 || answer[0] == '1')
            return status;
        if (tv_abstime_secondsSince(start) > limit_s)
            return scpi::timeOutError;
    }
}

struct Count {
    uint32_t periods;
    uint32_t ticks;
};
constexpr Count nothingCounted{0, 1};

int readCount(TVPN_ADFPGA* board, Count* count) {
    Text answer{};
    int status = TVPN_ADFPGA_sendFpga(board, "freq0r");
    if (status == 0)
        status = TVPN_ADFPGA_receiveFpga(board, answer.data(), answerLength - 1, 1);
    if (status != 0)
        return status;
    return sscanf(answer.data(), "%x %x>", &count->periods, &count->ticks) == 2 && count->ticks != 0
               ? 0
               : scpi::executionError;
}

void toFrequency(double hertz, tvfreq* frequency) {
    if (frequency != nullptr)
        double2tvfreq(&hertz, frequency);
}

using AdcCounts = std::array<Count, 2>;

/// One reading of both counters, as a text over the stream.
int readAdcCounts(TVPN_ADFPGA* board, AdcCounts* counts) {
    Text text{};
    int status = TVPN_ADFPGA_receiveStreamText(board, "freqag", textTimeout_us, text.data(), textBytes);
    if (status == scpi::timeOutError) {
        adfpga_log("TVPN_ADFPGA_countFrequencyAdc(): FPGA data reception timed out\n");
        adfpga_log("TVPN_ADFPGA_countFrequencyAdc(): Command freqag, tmo_us %d\n\n", textTimeout_us);
    }
    AdcCounts read{};
    if (status == 0 &&
        sscanf(text.data(), "*%u,%u,%u,%u", &read[0].periods, &read[0].ticks, &read[1].periods, &read[1].ticks) == 4)
        *counts = read;
    return status;
}

} // namespace

int TVPN_ADFPGA_receiveStreamText(TVPN_ADFPGA* board, const char* command, uint32_t timeoutUs, char* text,
                                  uint32_t bytes) {
    int status = TVPN_ADFPGA_listenSsc_nonrt(board, bytes, timeoutUs);
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, command);
    for (uint32_t done = 0, received = 1; status == 0 && received != 0; done += received)
        status = TVPN_ADFPGA_receiveSsc(board, text + done, bytes - done, &received);
    TVPN_ADFPGA_closeSsc(board);
    return status;
}

int TVPN_ADFPGA_countFrequency(TVPN_ADFPGA* board, tvfreq* frequency) {
    int status = TVPN_ADFPGA_fpgaCommandF(board, "freq0%u", gateTicks(board));
    if (status == 0)
        status = awaitGate(board);
    Count count = nothingCounted;
    if (status == 0)
        status = readCount(board, &count);
    if (status != 0)
        count = nothingCounted;
    toFrequency(counterInputPeriods * board->baseSampleFrequency * count.periods / count.ticks, frequency);
    board->counterMinimum = std::min(count.periods, count.ticks);
    return status;
}

int TVPN_ADFPGA_countFrequencyAdc(TVPN_ADFPGA* board, tvfreq* frequencyA, tvfreq* frequencyB) {
    const std::array<tvfreq*, 2> frequencies{frequencyA, frequencyB};
    const uint32_t limit = gateTicks(board);
    const double limit_s = board->settings.counterTimeout;
    int status = TVPN_ADFPGA_ADC_setOutputMode2Complement(board);
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, "freqae");
    const tv_abstime start = tv_abstime_now();
    AdcCounts counts{};
    const auto done = [&](size_t channel) { return frequencies[channel] == nullptr || counts[channel].ticks > limit; };
    while (status == 0) {
        status = readAdcCounts(board, &counts);
        if (status != 0 || (done(0) && done(1)))
            break;
        if (tv_abstime_secondsSince(start) > limit_s)
            status = scpi::timeOutError;
    }
    std::ignore = TVPN_ADFPGA_sendFpga(board, "freqad"); // the count stands, or has failed already
    for (size_t channel = 0; channel < counts.size(); ++channel) {
        const Count& count = counts[channel];
        toFrequency(count.ticks != 0 ? count.periods * board->baseSampleFrequency / count.ticks : 0,
                    frequencies[channel]);
    }
    return status;
}
