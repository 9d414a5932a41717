// Start-up of the analog board, and what concerns it as a whole.

#include "base/error_codes.h"
#include "boards/alg_lines.h"
#include "core/abstime.h"
#include "identity/device_variants.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr uint32_t spiBaseA = 160, spiBaseB = 176;
static_assert(spiBaseA + algChipsPerBoard <= spiBaseB);

constexpr uint32_t nominal100kilohm = 2; // of AD5293_init
constexpr tvfreq frequencyAtStart{100'000'000, 0};
constexpr uint32_t dutPathAtStart = 2;
constexpr uint32_t counterAtStart = 64;
constexpr double loopSupplyAtStart_V = 11.7; // what the supply gives with its resistor in the middle
constexpr double modifiedCapacitor_F = 3.3e-06;
constexpr uint32_t thresholdHigh2D_MHz = 13100;
constexpr uint64_t dutTuneSettling_us = 10'000;

// On 1B and 1C.
constexpr uint32_t counterPinShowsN = 2;

constexpr AlgPattern linesAtStart = alg_pattern({IF_MUX_EN_BIT, IF_CNT_MUX_BIT, IF_12_BIT}, "111");

void setDefaults(TVPNX_ALG* board, uint32_t boardIndex) {
    const AlgRevision& revision = alg_revision(board);
    board->spiBase = boardIndex == 0 ? spiBaseA : spiBaseB;
    board->dutFrequency = frequencyAtStart;
    board->thresholdAmp = {revision.thresholdAmp_Hz, 0};
    board->prescaler = 1;
    board->autoPrescaler = true;
    board->counter = counterAtStart;
    board->loopSupplyVoltage = loopSupplyAtStart_V;
    board->dutPath = dutPathAtStart;
    std::copy(revision.capacitors_F.begin(), revision.capacitors_F.end(), board->loopC);
    if (alg_hasThresholds(board) && device_config_isAnalog2BCDModified())
        board->loopC[3] = modifiedCapacitor_F;
}

/// Reads name the board as their bus segment.
void initChips(TVPNX_ALG* board, uint32_t segment) {
    const AlgRevision& revision = alg_revision(board);
    const AlgChips& chips = revision.chips;
    const auto fitted = [](uint8_t chip) { return chip != algNoChip; };
    const uint32_t base = board->spiBase;

    SRI_init(&board->sri, base, segment, revision.start.data(), algRegisterBytes[revision.column]);
    if (fitted(chips.dutAttenuator))
        HMC624_init(&board->dutAttenuator, base + chips.dutAttenuator, segment);
    AD7940_init(&board->powerAdc, base + chips.powerAdc, segment);
    if (fitted(chips.tuneAdc))
        AD7940_init(&board->tuneAdc, base + chips.tuneAdc, segment);
    if (fitted(chips.counterDivider))
        ADF4106_init(&board->counterDivider, base + chips.counterDivider, segment);
    AD5293_init(&board->loopR1, base + chips.loopR1R2, segment, nominal100kilohm);
    AD5293_init(&board->loopR2, base + chips.loopR1R2, segment, nominal100kilohm);
    AD5293_init(&board->loopR3, base + chips.loopR3Aid, segment, nominal100kilohm);
    AD5293_init(&board->acquisitionDriver, base + chips.loopR3Aid, segment, nominal100kilohm);
    AD5293_init(&board->calibrationDriver, base + chips.calibrationDriver, segment, nominal100kilohm);
    AD5293_init(&board->loopSupply, base + chips.loopSupply, segment, nominal100kilohm);
    if (fitted(chips.referenceAttenuator))
        HMC624_init(&board->referenceAttenuator, base + chips.referenceAttenuator, segment);
    if (fitted(chips.dutTune))
        AD5640_init(&board->dutTune, base + chips.dutTune, segment);
    if (fitted(chips.dutTuneWide))
        AD5760_init(&board->dutTuneWide, base + chips.dutTuneWide, segment);
}

void startResistors(TVPNX_ALG* board) {
    chip_carryOn(AD5293_daisyChain(&board->loopR1, &board->loopR2));
    chip_carryOn(AD5293_daisyChain(&board->loopR3, &board->acquisitionDriver));
    for (AD5293* chip : {&board->loopR1, &board->loopR2, &board->loopR3, &board->acquisitionDriver,
                         &board->calibrationDriver, &board->loopSupply})
        chip_carryOn(AD5293_enableSpiControl(chip));
}

void startCounterDivider(TVPNX_ALG* board) {
    chip_carryOn(ADF4106_powerUp(&board->counterDivider));
    chip_carryOn(ADF4106_setMUX(&board->counterDivider, counterPinShowsN));
    chip_carryOn(ADF4106_setCpPinThreeState(&board->counterDivider));
}

void startWideDutTune(TVPNX_ALG* board) {
    alg_carryOn(TVPNX_ALG_setDutTuneVout(board, board->dutTuneVoltage)); // its chip is there
    chip_carryOn(AD5760_setOutputDac(&board->dutTuneWide));
    tvstuff_delay_us(dutTuneSettling_us);
    alg_carryOn(TVPNX_ALG_disableDutTuneVoltage(board)); // as above
}

} // namespace

void TVPNX_ALG_init(TVPNX_ALG* board, uint32_t boardIndex, uint32_t version) {
    *board = {};
    TVPNX_ALG_initVersion(board, version);
    setDefaults(board, boardIndex);
    initChips(board, boardIndex);
    startResistors(board);
    const AlgRevision& revision = alg_revision(board);
    if (alg_isFirst(board))
        startCounterDivider(board);
    else
        alg_apply(board, linesAtStart);
    if (revision.dutTune == AlgDutTune::wide)
        startWideDutTune(board);
    if (revision.pulsed)
        threshold_freq_high = thresholdHigh2D_MHz;
    alg_carryOn(TVPNX_ALG_setRefInternal(board)); // refuses nothing
}

void TVPNX_ALG_initVersion(TVPNX_ALG* board, uint32_t version) {
    board->algVersion = version < std::size(algRevisions) ? version : 0;
}

void TVPNX_ALG_setDetectorQuestion(TVPNX_ALG* board, AlgDetectorQuestion question, const void* context) {
    board->hasThirdDetector = question;
    board->detectorContext = context;
}

int TVPNX_ALG_getDeviceStatus(TVPNX_ALG* board) {
    return SRI_writeValue(&board->sri);
}

void TVPNX_ALG_printInfo(const TVPNX_ALG* board) {
    const AlgRevision& revision = alg_revision(board);
    printf("TVPNX_ALG %s\n\tSPI base: %u\n\tDUT path: %u\n\tprescaler: %u\n\tIF gain: %u dB\n", revision.name,
           board->spiBase, board->dutPath, board->prescaler, board->ifGain);
    SRI_printInfo(&board->sri);
    AD7940_printInfo(&board->powerAdc);
    for (const AD5293* chip : {&board->loopR1, &board->loopR2, &board->loopR3, &board->acquisitionDriver,
                               &board->calibrationDriver, &board->loopSupply})
        AD5293_printInfo(chip);
    if (alg_isFirst(board)) {
        HMC624_printInfo(&board->dutAttenuator);
        HMC624_printInfo(&board->referenceAttenuator);
        ADF4106_printInfo(&board->counterDivider);
        return;
    }
    AD7940_printInfo(&board->tuneAdc);
    AD5640_printInfo(&board->dutTune);
    if (revision.dutTune == AlgDutTune::wide)
        AD5760_printInfo(&board->dutTuneWide);
}
