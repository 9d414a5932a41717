// Frequencies of the double-channel source board.

#include "base/tvdebug.h"
#include "boards/is6g_lines.h"
#include "boards/tvcont_ioupdate.h"

#include <limits>

namespace {

constexpr tvfreq ddsClock{1'000'000'000, 0};
constexpr int64_t hertzPerMegahertz = 1'000'000;
constexpr int64_t noLimit = std::numeric_limits<int64_t>::max();

/// Frequencies up to `upTo_Hz`, in whole hertz.
struct Row {
    int64_t upTo_Hz;
    int32_t ratio;
    Is6gPattern lines;
};
consteval Is6gPattern divider(std::string_view values) {
    return is6g_path({IS6G_DIV_A0_BIT, IS6G_DIV_A1_BIT, IS6G_DIV_A2_BIT}, values);
}
consteval Is6gPattern factor(std::string_view values) {
    return is6g_path({IS6G_PLL_A1_BIT, IS6G_PLL_A0_BIT}, values);
}
/// Divider behind the VCO, by the frequency asked for.
constexpr Row dividers[] = {
    {749'999'999, 8, divider("111")},
    {1'499'999'999, 4, divider("110")},
    {2'999'999'999, 2, divider("100")},
    {noLimit, 1, divider("000")},
};
/// Factor from the DDS to the VCO, by the VCO's frequency: those that keep spurs of the DDS out of the loop.
constexpr Row factors[] = {
    {3'899'999'999, 12, factor("00")}, {4'100'000'000, 16, factor("01")}, {4'500'000'000, 12, factor("00")},
    {5'200'000'000, 16, factor("01")}, {5'399'999'999, 24, factor("10")}, {noLimit, 16, factor("01")},
};

template <size_t count> const Row& rowOf(const Row (&rows)[count], const tvfreq& frequency) {
    const Row* row = rows;
    while (frequency.intPart > row->upTo_Hz)
        ++row;
    return *row;
}

constexpr Is6gPattern pllOff = is6g_path({IS6G_PLL_ON_BIT, IS6G_RF_OUT_BIT}, "00");
constexpr Is6gPattern pllOn = is6g_path({IS6G_PLL_ON_BIT, IS6G_RF_OUT_BIT}, "10");
constexpr Is6gPattern pllOnWithRf = is6g_path({IS6G_PLL_ON_BIT, IS6G_RF_OUT_BIT}, "11");

// Full-scale current of the DDS, in steps of its DAC: it makes up for what the path loses towards high frequencies.
constexpr int64_t flatFrom_Hz = 349'000'001, flatTo_Hz = 400'999'999;
constexpr uint32_t flatCurrent = 800;

uint32_t fullScale(const tvfreq& frequency) {
    if (frequency.intPart >= flatFrom_Hz && frequency.intPart <= flatTo_Hz)
        return flatCurrent;
    const int64_t megahertz = frequency.intPart / hertzPerMegahertz;
    const double u = static_cast<double>(megahertz) * 0.0146 - 0.2586 - 4.0;
    return static_cast<uint32_t>(5.2 * u * u + 67.7 * u + 195.27) + 250;
}

// Words are rounded to odd multiples of 2^29.
constexpr uint32_t patternBits = 30, pattern = 0x20000000;

// Lock aid, in volts at the tune DAC.
constexpr double tuneLow_V = 2.0, tuneMiddle_V = 3.0, wordsPerVolt = 3276.8;
constexpr uint32_t dacFloating = 3;
constexpr uint64_t settling_us = 5000;

constexpr double vcoDivider = 4.7, ocxoDivider = 4.545, adcReference_V = 3.3, adcWords = 16384; // tune ADCs
constexpr double lockedAbove_V = 0.5, lockedBelow_V = 13.5;

int setTune(TVPN_IS6G_channel* channel, double volt) {
    const int result = AD5640_setValue(&channel->vcoDac, static_cast<uint32_t>(volt * wordsPerVolt));
    tvstuff_delay_us(settling_us);
    return result;
}

double tune_V(const AD7940* adc, double divider) {
    return AD7940_getValue(adc) * divider * adcReference_V / adcWords;
}

bool isLocked(const TVPN_IS6G_channel* channel) {
    const double volt = tune_V(&channel->vcoTuneAdc, vcoDivider);
    return volt > lockedAbove_V && volt < lockedBelow_V;
}

int setByPll(TVPN_IS6G_channel* channel, tvfreq* frequency) {
    const Row& behind = rowOf(dividers, *frequency);
    tvfreqMultiplyByInt32(frequency, frequency, behind.ratio);
    const Row& before = rowOf(factors, *frequency);
    line_preset(&channel->pathRegister, behind.lines, 0);
    line_preset(&channel->pathRegister, before.lines, 0);
    const int path = is6g_apply(&channel->pathRegister, channel->rfEnabled ? pllOnWithRf : pllOn);
    tvfreq dds;
    tvfreqDivideByInt32(&dds, frequency, before.ratio);
    const int result = chip_firstFailure({path, is6g_setDds(channel, dds), is6g_lock(channel)});
    if (!isLocked(channel))
        printd("IS6G setFreq: f=%4.6f MHz ...unlocked\n\n",
               tvfreq2double(&channel->targetFrequency, nullptr) / hertzPerMegahertz);
    return result;
}

int setFrequency(TVPN_IS6G_channel* channel, tvfreq* frequency) {
    channel->targetFrequency = channel->frequency = *frequency;
    if (tvfreqAboveInt(*frequency, is6gDirectMax_Hz))
        return setByPll(channel, frequency);
    return chip_firstFailure({is6g_setDds(channel, *frequency), is6g_apply(&channel->pathRegister, pllOff)});
}

} // namespace

int is6g_setDds(TVPN_IS6G_channel* channel, const tvfreq& frequency) {
    AD9912* dds = &channel->dds;
    const int current = AD9912_setFsc(dds, fullScale(frequency));
    if (current == scpi::illegalParameterValue)
        return current;
    channel->ddsFrequency = frequency;
    AD9912_presetDDSIn(dds, ddsClock);
    AD9912_presetDDSOut(dds, frequency);
    AD9912_calculatePreset(dds);
    uint64_t word = AD9912_getFtwOnly(dds);
    if (channel->rounding)
        FTW_roundToPattern(&word, patternBits, pattern, 0);
    const int sent = chip_firstFailure({current, AD9912_applyFtwOnly(dds, word)});
    return TVCONT_ioupdate() < 0 ? scpi::executionError : sent;
}

int is6g_lock(TVPN_IS6G_channel* channel) {
    const int result =
        chip_firstFailure({AD5640_setOpMode(&channel->vcoDac, 0), setTune(channel, tuneLow_V),
                           setTune(channel, tuneMiddle_V), AD5640_setOpMode(&channel->vcoDac, dacFloating)});
    tvstuff_delay_us(settling_us);
    return result;
}

int TVPN_IS6G_setFrequency(TVPN_IS6G* board, uint32_t selector, tvfreq* frequency) {
    return is6g_forEach(board, selector, [&](TVPN_IS6G_channel* channel) { return setFrequency(channel, frequency); });
}

int TVPN_IS6G_setDDSFrequency(TVPN_IS6G* board, uint32_t selector, const tvfreq* frequency) {
    const tvfreq wanted = *frequency; // which may be that of a channel
    return is6g_forEach(board, selector, [&](TVPN_IS6G_channel* channel) { return is6g_setDds(channel, wanted); });
}

int TVPN_IS6G_enableFrequencyRounding(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [](TVPN_IS6G_channel* channel) {
        channel->rounding = true;
        return 0;
    });
}

int TVPN_IS6G_disableFrequencyRounding(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [](TVPN_IS6G_channel* channel) {
        channel->rounding = false;
        return 0;
    });
}

int TVPN_IS6G_isFrequencyRoundingEnabled(TVPN_IS6G* board, uint32_t selector) {
    return is6g_ofFirst(board, selector, [](const TVPN_IS6G_channel* channel) { return channel->rounding ? 1 : 0; });
}

int TVPN_IS6G_vcoLock(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, is6g_lock);
}

int TVPN_IS6G_vcoLockCheck(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector,
                        [](const TVPN_IS6G_channel* channel) { return isLocked(channel) ? 0 : scpi::executionError; });
}

double TVPN_IS6G_getVtune_vco(TVPN_IS6G* board, uint32_t selector) {
    return is6g_ofFirst(board, selector,
                        [](const TVPN_IS6G_channel* channel) { return tune_V(&channel->vcoTuneAdc, vcoDivider); });
}

double TVPN_IS6G_getVtune_ocxo(TVPN_IS6G* board, uint32_t selector) {
    return is6g_ofFirst(board, selector,
                        [](const TVPN_IS6G_channel* channel) { return tune_V(&channel->ocxoTuneAdc, ocxoDivider); });
}
