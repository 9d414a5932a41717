// Power detectors, and the modes of 2D for pulsed and transient signals.

#include "base/error_codes.h"
#include "boards/alg_lines.h"
#include "core/abstime.h"

namespace {

constexpr double adcReference_V = 5, adcSteps = 16384;
constexpr uint64_t settling_us = 1'000, settling2A_us = 15'000, settling1x_us = 20'000;
constexpr int readings2D = 10;

constexpr int64_t middleBelow2D_Hz = 5'000'000'000;
constexpr int64_t hertzPerMegahertz = 1'000'000, hysteresis_Hz = 20'000;
constexpr int64_t readableTo1x_Hz = 20'000'000'000;

enum Band { lower, middle, high };

consteval AlgPattern detector(std::string_view values) {
    return alg_pattern({PD_35_BIT, PD_37_BIT, PD_34_BIT, PD_36_BIT, PD_20_BIT}, values);
}
using Detectors = std::array<AlgPattern, 3>; // by band
constexpr Detectors detectors2BC = {detector("-1-1-"), detector("1-00-"), detector("--10-")};
constexpr Detectors detectors2D = {detector("01010"), detector("10000"), detector("00101")};
constexpr Detectors detectorsThird = {detector("-101-"), detector("--101"), detector("--101")};
constexpr AlgPattern detectorsOff = alg_pattern({PD_35_BIT, PD_37_BIT}, "00"); // 2B, 2C

// The detector's level in pulse mode, words of the AD5640.
constexpr uint32_t pulseLevelLower = 4500, pulseLevelMiddle = 3500, pulseLevelHigh = 3900, pulseLevelThird = 4100;
constexpr int64_t pulseLevelTo_Hz = 10'000'000'000; // two detectors have no level from here on

// 2A.
consteval AlgPattern selector(std::string_view values) {
    return alg_pattern({PD_DUT_BIT, PD_REF_BIT, PD_ADL6010_BIT, PD_AM_BIT}, values);
}
constexpr AlgPattern selectDut = selector("1000"), selectRef = selector("0100"), selectAdl6010 = selector("0010"),
                     selectAm = selector("0001");
constexpr AlgPattern detectorInput2A = alg_pattern({DUT_MUX_A0_BIT, DUT_DIVX_PWR_EN_BIT, DUT_MUX_A1_BIT}, "100");

constexpr AlgPattern pulseOn = alg_pattern({PULSE_33_BIT, IF_FM_DEMOD_EN_BIT}, "11");
constexpr AlgPattern pulseOff = alg_pattern({PULSE_19_BIT, PULSE_33_BIT}, "00");

bool hasThird(const TVPNX_ALG* board) {
    return board->hasThirdDetector != nullptr && board->hasThirdDetector(board->detectorContext);
}

Band bandOf(const TVPNX_ALG* board) {
    const bool is2D = alg_revision(board).pulsed;
    const int64_t middleBelow_Hz = is2D ? middleBelow2D_Hz : threshold_freq_high * hertzPerMegahertz + hysteresis_Hz;
    if (tvfreqCompare(&board->dutFrequency, &board->thresholdLow) < 0) // its detector sees its own input alone
        return lower;
    return tvfreqAtLeastInt(board->dutFrequency, middleBelow_Hz) ? high : middle;
}

void setPulseLevel(TVPNX_ALG* board, Band band, bool third) {
    if (band == lower)
        chip_carryOn(AD5640_setValue(&board->dutTune, pulseLevelLower));
    else if (band == middle)
        chip_carryOn(AD5640_setValue(&board->dutTune, pulseLevelMiddle));
    else if (third)
        chip_carryOn(AD5640_setValue(&board->dutTune, pulseLevelThird));
    else if (!tvfreqAtLeastInt(board->dutFrequency, pulseLevelTo_Hz))
        chip_carryOn(AD5640_setValue(&board->dutTune, pulseLevelHigh));
}

/// The readings of the detector leave 0 and -200 if the bus failed: a mean with a lost one in it is no level.
int read2D(TVPNX_ALG* board, uint32_t* mean) {
    const Band band = bandOf(board);
    const bool third = hasThird(board);
    alg_apply(board, (third ? detectorsThird : detectors2D)[band]);
    if (board->pulseMode)
        setPulseLevel(board, band, third);
    tvstuff_delay_us(settling_us);
    uint32_t sum = 0;
    int status = 0;
    for (int i = 0; i < readings2D; ++i) {
        uint32_t word = 0;
        status = chip_firstFailure({status, AD7940_read(&board->powerAdc, &word)});
        sum += word;
    }
    *mean = status == 0 ? sum / readings2D : 0;
    return status;
}

int read2BC(TVPNX_ALG* board, uint32_t* word) {
    alg_apply(board, detectors2BC[bandOf(board)]);
    tvstuff_delay_us(settling_us);
    const int status = AD7940_read(&board->powerAdc, word);
    alg_apply(board, detectorsOff);
    return status;
}

int readAfter(TVPNX_ALG* board, uint64_t microseconds, uint32_t* word) {
    tvstuff_delay_us(microseconds);
    return AD7940_read(&board->powerAdc, word);
}

int select2A(TVPNX_ALG* board, const AlgPattern& lines) {
    if (!alg_isSwitched(board))
        return scpi::hardwareMissing;
    alg_apply(board, lines);
    return 0;
}

} // namespace

int TVPNX_ALG_getDutPowerAdcValue(TVPNX_ALG* board, uint32_t* word) {
    if (alg_hasThresholds(board))
        return alg_revision(board).pulsed ? read2D(board, word) : read2BC(board, word);
    int status = 0;
    if (alg_isSwitched(board)) {
        alg_preset(board, detectorInput2A);
        alg_apply(board, selectDut);
        status = readAfter(board, settling2A_us, word);
    } else {
        if (tvfreqAboveInt(board->dutFrequency, readableTo1x_Hz))
            return scpi::executionError;
        alg_carryOn(TVPNX_ALG_setDUT_RFinDirect(board)); // each first revision has this input
        status = readAfter(board, settling1x_us, word);
    }
    return chip_firstFailure({status, TVPNX_ALG_setFrequency(board, &board->dutFrequency)});
}

int TVPNX_ALG_getRefPowerAdcValue(TVPNX_ALG* board, uint32_t* word) {
    const int result = TVPNX_ALG_setPD_REF(board);
    return result == 0 ? readAfter(board, settling2A_us, word) : result;
}

double TVPN_X_ALG_getVPowerDet(const TVPNX_ALG* board) {
    return AD7940_getValue(&board->powerAdc) * adcReference_V / adcSteps;
}

int TVPNX_ALG_setPD_DUT(TVPNX_ALG* board) {
    return select2A(board, selectDut);
}

int TVPNX_ALG_setPD_REF(TVPNX_ALG* board) {
    return select2A(board, selectRef);
}

int TVPNX_ALG_setPD_ADL6010(TVPNX_ALG* board) {
    return select2A(board, selectAdl6010);
}

int TVPNX_ALG_setPD_AM(TVPNX_ALG* board) {
    return select2A(board, selectAm);
}

int TVPNX_ALG_enablePULSE(TVPNX_ALG* board, int on) {
    if (!alg_revision(board).pulsed)
        return scpi::hardwareMissing;
    board->pulseMode = on != 0;
    if (!board->pulseMode) {
        alg_preset(board, pulseOff);
        return TVPNX_ALG_setFrequency(board, &board->dutFrequency);
    }
    alg_preset(board, pulseOn);
    alg_carryOn(TVPNX_ALG_setIFMuxBP5M(board)); // each pulsed revision has this filter
    uint32_t unused = 0;                        // the reading sets the detector's level
    return TVPNX_ALG_getDutPowerAdcValue(board, &unused);
}

int TVPNX_ALG_enableTRAN(TVPNX_ALG* board, int on) {
    if (!alg_revision(board).pulsed)
        return scpi::hardwareMissing;
    board->tranMode = on != 0;
    return 0;
}
