// Start-up of the acquisition board, and what concerns it as a whole: ADC formats, reference, reset, temperature.

#include "acquisition/adfpga_start.h"

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_flash.h"
#include "acquisition/adfpga_generation.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "core/abstime.h"
#include "core/tvmem.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <tuple>

namespace {

constexpr uint32_t controlSlave = 248, clockSlave = 249, adcSlave = 250;
constexpr uint32_t busSegment = 0, plainMode = 0;
constexpr uint32_t statusBytes = 1;

// Status lines.
constexpr uint64_t statusReferenceMissing = 1U << 2; // second generation
constexpr uint64_t statusLocked = 1U << 3;

constexpr double stageOneFrequency_Hz = 12.5e6; // of both generations; each stage behind it has a tenth
constexpr double stageStep = 10;

constexpr int32_t sampleMemoryBytes = 4 << 20; // rings and TD buffers, half for each channel

constexpr uint32_t transferBytesAtStart = 400;
constexpr uint32_t counterMinimumAtStart = 1000;

int32_t fdBufferBytesOf(const AdfpgaGeneration& generation, uint32_t stage) {
    const uint32_t pointsMax =
        stage >= generation.firstSettableStage ? adfpga_fdPointsMax : generation.pointsAtStart[stage];
    return static_cast<int32_t>(pointsMax * adfpga_fdPointBytes);
}

void setDefaults(TVPN_ADFPGA* board) {
    const AdfpgaGeneration& generation = adfpga_generation(board);
    board->baseSampleFrequency = generation.baseSampleFrequency_Hz;
    board->fdSamplingFreq[0] = board->baseSampleFrequency;
    double frequency_Hz = stageOneFrequency_Hz;
    for (uint32_t stage = 1; stage < adfpga_stagesMax; ++stage, frequency_Hz /= stageStep)
        board->fdSamplingFreq[stage] = frequency_Hz;

    AdfpgaSettings& settings = board->settings;
    settings.counterTimeout = 1;
    settings.tdSamplesCount = 1024;
    settings.tdDivider = 1;
    settings.tdChannel = adfpga_channelBoth;
    settings.fdChannel = adfpga_crossCorrelation;
    settings.fdStages = 7;
    for (uint32_t stage = 0; stage < adfpga_stagesMax; ++stage) {
        settings.fdCorrelations[stage] = 1;
        settings.fdSamplesCount[stage] = generation.pointsAtStart[stage];
    }
    board->fdStageFlag = 1;
    board->counterMinimum = counterMinimumAtStart;
    board->hBytes = transferBytesAtStart;
    board->refInternal = 1;
    board->trigger.levelMax_Hz = generation.triggerLevelMax_Hz;
    for (FvstRing& ring : board->fvstRing)
        ring.divider = 1;
    MutexLock lock(board->completeMutex);
    board->transferComplete = 1;
}

/// Rings and TD buffers share their memory: the two uses never overlap in time.
void takeMemory(TVPN_ADFPGA* board) {
    auto* const samples = static_cast<uint8_t*>(tvmemAlloc(sampleMemoryBytes));
    rt_event_create(&board->txEvent, nullptr, 0, 0);
    for (size_t channel = 0; channel < 2; ++channel) {
        uint8_t* const half = samples + channel * (sampleMemoryBytes / 2);
        board->tdBuffer[channel] = reinterpret_cast<uint16_t*>(half);
        board->fvstRing[channel].data = reinterpret_cast<uint32_t*>(half);
        board->fvstRing[channel].event = &board->txEvent;
        board->fvstRing[channel].cancel = &board->transferCancel;
    }
    for (uint32_t stage = 0; stage < adfpga_stagesMax; ++stage)
        board->fdBuffer[stage] = static_cast<uint8_t*>(tvmemAlloc(fdBufferBytesOf(adfpga_generation(board), stage)));
}

// ---- first generation -----------------------------------------------------------------------------------------------

constexpr uint32_t pllReference = 2, pllFeedback = 25; // 10 MHz / 2 = 125 MHz / 25
constexpr uint32_t pllShowsLock = 1;                   // on its output pin
constexpr uint32_t clockInput = 1;
constexpr std::array<uint32_t, 2> clockOutputs{1, 2}; // ADC and FPGA

void startPll(TVPN_ADFPGA* board) REQUIRES(board->controlMutex) {
    chip_carryOn(SRI_setBit(&board->sri, adfpga_sriPllSetup));
    ADF4002_init(&board->referencePll, clockSlave, busSegment, plainMode);
    chip_carryOn(ADF4002_setManualRNConfig(&board->referencePll, pllReference, pllFeedback));
    chip_carryOn(ADF4002_setMUX(&board->referencePll, pllShowsLock));
    chip_carryOn(SRI_clearBit(&board->sri, adfpga_sriPllSetup));
}

void startClock(AD9512* clock) {
    AD9512_init(clock, clockSlave, busSegment);
    chip_carryOn(AD9512_setClockInput(clock, clockInput));
    for (const uint32_t output : clockOutputs) {
        chip_carryOn(AD9512_powerUp(clock, output));
        chip_carryOn(AD9512_setDivideRatio(clock, output, 1));
    }
    chip_carryOn(AD9512_update(clock));
}

// ---- second generation ----------------------------------------------------------------------------------------------

constexpr uint64_t lockFirst_us = 10'000, lockPoll_us = 1000;
constexpr uint32_t lockPolls = 100;
constexpr uint64_t clockSync_us = 2000;

void awaitLock(TVPN_ADFPGA* board) {
    tvstuff_delay_us(lockFirst_us);
    for (uint32_t poll = 0; poll < lockPolls; ++poll) {
        if (TVPN_ADFPGA_isRefExternalLocked(board) != 0)
            return;
        tvstuff_delay_us(lockPoll_us);
    }
    fputs("ERROR LTC6950 locking timed out. Proceeding with ADFPGA_2 init anyway\n", stdout);
}

void synchronizeClock(SRI* sri) {
    chip_carryOn(SRI_setBit(sri, adfpga_sriClockSync));
    tvstuff_delay_us(clockSync_us);
    chip_carryOn(SRI_clearBit(sri, adfpga_sriClockSync));
    tvstuff_delay_us(clockSync_us);
}

void presetLine(SRI* sri, uint32_t line, bool on) {
    if (on)
        SRI_presetSetBit(sri, line);
    else
        SRI_presetClearBit(sri, line);
}

/// Changes the one ADC of the first generation, or both of the second in turn. Returns the first failure; an ADC that
/// could not be selected is left alone.
template <class First, class Second>
[[nodiscard]] int onAdcs(TVPN_ADFPGA* board, First first, Second second) REQUIRES(board->controlMutex) {
    if (!adfpga_isSecondGeneration(board))
        return first(&board->adc);
    const auto change = [&](uint32_t channel, AD9467* adc) REQUIRES(board->controlMutex) {
        const int selected = ADFPGA_2_select_ADC(board, channel);
        return selected != 0 ? selected : second(adc);
    };
    return chip_firstFailure(
        {change(adfpga_channelA, &board->adcA), change(adfpga_channelB, &board->adcB), ADFPGA_2_deselect_ADCs(board)});
}

// ---- reset ----------------------------------------------------------------------------------------------------------

constexpr uint64_t resetPulse_us = 100'000, load_us = 30'000'000;

constexpr uint32_t temperatureTimeout_us = 5000, temperatureBytes = 64;

} // namespace

void TVPN_ADFPGA_init(TVPN_ADFPGA* board, uint32_t version) {
    std::construct_at(board);
    board->version = version;
    if (adfpga_isSecondGeneration(board))
        TVPN_ADFPGA_2_init(board);
    else
        TVPN_ADFPGA_1_init(board);
}

void TVPN_ADFPGA_1_init(TVPN_ADFPGA* board) {
    {
        MutexLock lock(board->controlMutex);
        SRI_init(&board->sri, controlSlave, busSegment, adfpga_generation(board).controlAtStart.data(),
                 adfpga_controlBytes);
        if (board->version > 0)
            startPll(board);
        startClock(&board->clock);
        AD9268_init(&board->adc, adcSlave, busSegment);
        chip_carryOn(AD9268_setOutputTypeLvds(&board->adc));
        chip_carryOn(AD9268_setOutputMode2Complement(&board->adc));
    }
    SRO_init(&board->sro, controlSlave, busSegment, statusBytes);
    {
        MutexLock lock(board->controlMutex);
        chip_carryOn(adfpga_startFlash(board));
    }
    setDefaults(board);
    takeMemory(board);
}

void TVPN_ADFPGA_2_init(TVPN_ADFPGA* board) {
    setDefaults(board);
    takeMemory(board);
    ADFPGA_2_init_hw(board);
}

/// The FPGA is held in reset until its clocks run.
void ADFPGA_2_init_hw(TVPN_ADFPGA* board) {
    MutexLock lock(board->controlMutex);
    SRI_init(&board->sri, controlSlave, busSegment, adfpga_generation(board).controlAtStart.data(),
             adfpga_controlBytes);
    chip_carryOn(SRI_setBit(&board->sri, adfpga_sriReset));
    SRO_init(&board->sro, controlSlave, busSegment, statusBytes);
    LTC6950_init(&board->ltc6950, clockSlave, busSegment);
    chip_carryOn(SRI_setBit(&board->sri, adfpga_sriClockReady));
    awaitLock(board);
    synchronizeClock(&board->sri);
    chip_carryOn(onAdcs(board, AD9268_setOutputMode2Complement, [](AD9467* adc) {
        AD9467_init(adc, adcSlave, busSegment);
        return AD9467_setOutputMode2Complement(adc);
    }));
    chip_carryOn(adfpga_startFlash(board));
    chip_carryOn(SRI_clearBit(&board->sri, adfpga_sriReset));
}

void TVPN_ADFPGA_free(TVPN_ADFPGA* board) {
    for (uint16_t* const half : board->tdBuffer)
        tvmemFree(half);
    for (uint8_t* const buffer : board->fdBuffer)
        tvmemFree(buffer);
}

int ADFPGA_2_select_ADC(TVPN_ADFPGA* board, uint32_t channel) {
    const bool isA = channel == adfpga_channelA;
    presetLine(&board->sri, adfpga_sriAdcA, isA);
    presetLine(&board->sri, adfpga_sriSelectAdcA, !isA);
    presetLine(&board->sri, adfpga_sriSelectAdcB, isA);
    return SRI_applyPreset(&board->sri);
}

int ADFPGA_2_deselect_ADCs(TVPN_ADFPGA* board) {
    SRI_presetSetBit(&board->sri, adfpga_sriSelectAdcA);
    SRI_presetSetBit(&board->sri, adfpga_sriSelectAdcB);
    return SRI_applyPreset(&board->sri);
}

int TVPN_ADFPGA_ADC_setOutputMode2Complement(TVPN_ADFPGA* board) {
    MutexLock lock(board->controlMutex);
    return onAdcs(board, AD9268_setOutputMode2Complement, AD9467_setOutputMode2Complement);
}

int TVPN_ADFPGA_ADC_setOutputModeOffsetBinary(TVPN_ADFPGA* board) {
    MutexLock lock(board->controlMutex);
    return onAdcs(board, AD9268_setOutputModeOffsetBinary, AD9467_setOutputModeOffsetBinary);
}

int adfpga_setTestMode(TVPN_ADFPGA* board, uint32_t mode) {
    MutexLock lock(board->controlMutex);
    return onAdcs(
        board, [mode](AD9268* adc) { return AD9268_setTestMode(adc, mode); },
        [mode](AD9467* adc) { return AD9467_setTestMode(adc, mode); });
}

int TVPN_ADFPGA_setRefInternal(TVPN_ADFPGA* board, int internal) {
    if (board->version == 0)
        return 0;
    MutexLock lock(board->controlMutex);
    presetLine(&board->sri, adfpga_sriRefExternal, internal == 0);
    chip_carryOn(SRI_applyPreset(&board->sri));
    board->refInternal = internal != 0 ? 1 : 0;
    return 0;
}

int TVPN_ADFPGA_getRefInternal(const TVPN_ADFPGA* board) {
    return static_cast<int>(board->refInternal);
}

int TVPN_ADFPGA_isRefExternalLocked(TVPN_ADFPGA* board) {
    chip_carryOn(SRO_getValue64(&board->sro)); // the lines of the read before come first
    const uint64_t lines = SRO_getValue64(&board->sro);
    const bool referenceMissing =
        adfpga_generation(board).reportsMissingReference && (lines & statusReferenceMissing) != 0;
    return (lines & statusLocked) != 0 && !referenceMissing ? 1 : 0;
}

void adfpga_pulseReset(TVPN_ADFPGA* board) {
    const auto set = [board](int (*change)(SRI*, uint32_t)) {
        MutexLock lock(board->controlMutex);
        chip_carryOn(change(&board->sri, adfpga_sriReset));
    };
    set(SRI_setBit);
    tvstuff_delay_us(resetPulse_us);
    set(SRI_clearBit);
}

int TVPN_ADFPGA_resetFpga(TVPN_ADFPGA* board, int wait) {
    TVPN_ADFPGA_cancelTransferTask(board); // what runs would wait for results that never come
    adfpga_pulseReset(board);
    if (wait != 0)
        tvstuff_delay_us(load_us);
    std::ignore = adfpga_captureSamples(board, 2, 1); // warms up: the first ones after a reset may fail
    AdfpgaSettings settings = board->settings;
    settings.fdStages = 1;
    settings.fdCorrelations[0] = 1;
    settings.fdChannel = adfpga_crossCorrelation;
    std::ignore = adfpga_startFdCapture(board, settings);
    TVPN_ADFPGA_joinTransferTask(board, nullptr); // whoever comes next may take the stream at once
    board->resetCount = board->resetCount + 1;
    return 0;
}

int TVPN_ADFPGA_2_getFPGATempString(TVPN_ADFPGA* board, char* text) {
    std::array<char, temperatureBytes> received{};
    const int status =
        TVPN_ADFPGA_receiveStreamText(board, "xadcp", temperatureTimeout_us, received.data(), temperatureBytes);
    if (status == scpi::timeOutError) {
        adfpga_log("TVPN_ADFPGA_2_getFPGATempString(): FPGA data reception timed out\n");
        adfpga_log("TVPN_ADFPGA_2_getFPGATempString(): Command xadcp, tmo_us %d\n\n", temperatureTimeout_us);
    }
    received.back() = '\0';
    memcpy(text, received.data(), received.size());
    return status;
}
