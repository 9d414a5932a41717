// Spectra: the transfer task lets the FPGA run its stages and fetches them one after the other.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_generation.h"
#include "acquisition/adfpga_link.h"
#include "acquisition/adfpga_start.h"
#include "acquisition/adfpga_text.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "device_table/hardware_owner.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace {

constexpr double usPerSecond = 1e6;
constexpr double reserve = 1.2; // of every time budget
constexpr double reserve_s = 2; // added to it
constexpr double longestRead_s = 3600;
constexpr double shortestRead_s = 0.1;      // where stages before have used up the budget
constexpr uint64_t sleepSlice_us = 100'000; // a cancel interrupts a sleep after that time
constexpr uint32_t softFftRate = 100'000;   // samples per second that the soft core transforms by itself
constexpr std::array<const char*, 3> channelCommands = {"muxax0,muxbx1", "muxax1,muxbx0", "muxax0,muxbx0"};

bool cancelled(const TVPN_ADFPGA* board) {
    return board->transferCancel != 0;
}

uint32_t toMicroseconds(double seconds) {
    return static_cast<uint32_t>(std::min(std::max(seconds, shortestRead_s) * usPerSecond, double{UINT32_MAX}));
}

/// "stage", its number, and what is asked of it.
AdfpgaText stageCommand(uint32_t stage) {
    return AdfpgaText().add("stage").add(stage);
}

int configureStage(TVPN_ADFPGA* board, uint32_t stage) {
    const AdfpgaSettings& settings = board->inForce;
    if (stage >= adfpga_generation(board).firstSettableStage) {
        const uint32_t length = settings.fdSamplesCount[stage] * 2;
        if (const int status = TVPN_ADFPGA_sendFpga(board, stageCommand(stage).add("l").add(length).text());
            status != 0)
            return status;
    }
    return TVPN_ADFPGA_sendFpga(board, stageCommand(stage).add(settings.fdCorrelations[stage].get()).text());
}

/// Sends the set-up of a capture, up to the first failure.
int configure(TVPN_ADFPGA* board) {
    const AdfpgaSettings& settings = board->inForce;
    int status = TVPN_ADFPGA_ADC_setOutputMode2Complement(board);
    if (status == 0)
        status = TVPN_ADFPGA_fpgaCommandsImmediate(board, "muxd,muxaa,muxba");
    if (status == 0)
        status = TVPN_ADFPGA_fpgaCommandsImmediate(
            board, channelCommands[std::min<uint32_t>(settings.fdChannel, adfpga_crossCorrelation)]);
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, board->fdStageFlag != 0 ? "stage#n" : "stage#b");
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, "stage#x");
    for (uint32_t stage = 0; stage < settings.fdStages && status == 0; ++stage)
        status = configureStage(board, stage);
    return status == 0 ? TVPN_ADFPGA_sendFpga(board, "muxe") : status;
}

void logTimeout(const TVPN_ADFPGA* board, uint32_t stage, uint32_t tmoUs) {
    const AdfpgaSettings& settings = board->inForce;
    const uint32_t points = settings.fdSamplesCount[stage];
    adfpga_log("TVPN_ADFPGA_captureFdSamples(): FPGA data reception timed out\n");
    if (adfpga_generation(board).logsPointsReceived)
        printd("TVPN_ADFPGA_captureFdSamples(): stage %d, samples %d, fdSamplesCount %d\n\n", stage,
               points - board->sscRemaining / adfpga_fdPointBytes, points);
    adfpga_log("TVPN_ADFPGA_captureFdSamples(): stage %d, correlations %d, tmo_us %d\n\n", stage,
               settings.fdCorrelations[stage].get(), tmoUs);
}

/// Receives the block of a stage. A read waits for an hour and a bit at most, so that a longer `budget_s` takes
/// several.
int receiveStage(TVPN_ADFPGA* board, uint32_t stage, double budget_s) {
    const uint32_t bytes = board->inForce.fdSamplesCount[stage] * adfpga_fdPointBytes;
    const tv_abstime start = tv_abstime_now();
    uint32_t done = 0;
    while (!cancelled(board)) {
        const tv_abstime asked = tv_abstime_now();
        uint32_t received = 0;
        const int status = TVPN_ADFPGA_receiveSsc(board, board->fdBuffer[stage] + done, bytes - done, &received);
        if (status != 0 && tv_abstime_secondsSince(asked) >= longestRead_s && tv_abstime_secondsSince(start) < budget_s)
            continue;
        if (status != 0 || received == 0)
            return status;
        done += received;
    }
    return 0;
}

/// Fetches one stage within `budget_s`. The size of the buffer is that of the whole stage, whatever came.
int fetchStage(TVPN_ADFPGA* board, uint32_t stage, double budget_s) {
    const uint32_t points = board->inForce.fdSamplesCount[stage];
    const uint32_t tmoUs = toMicroseconds(budget_s);
    int status = TVPN_ADFPGA_listenSsc_nonrt(board, points * adfpga_fdPointBytes, tmoUs);
    if (status == 0)
        status = TVPN_ADFPGA_sendFpga(board, stageCommand(stage).add("f").text());
    if (status == 0) {
        status = receiveStage(board, stage, budget_s);
        if (status != 0)
            logTimeout(board, stage, tmoUs);
    }
    TVPN_ADFPGA_closeSsc(board);
    board->fdBufferSize[stage] = points;
    return status;
}

/// `asked`: each stage was asked for its block, so that none runs on. If not, a spectrum is missing that nobody would
/// miss: the capture has failed, whatever the last stage says.
void endCapture(TVPN_ADFPGA* board, int status, bool asked) {
    if (cancelled(board) || !asked)
        std::ignore = TVPN_ADFPGA_sendFpga(board, "stagea"); // the capture has its status
    TVPN_ADFPGA_exitTransferTask(board, asked ? status : scpi::executionError);
}

/// What a stage of the first generation, where stages run one after the other, may take.
double stageBudget_s(const TVPN_ADFPGA* board, uint32_t stage) {
    const AdfpgaSettings& settings = board->inForce;
    const double samples = 3.0 * settings.fdCorrelations[stage] * settings.fdSamplesCount[stage];
    return samples / board->baseSampleFrequency * std::pow(10, stage) * reserve + reserve_s;
}

void* TVPN_ADFPGA_1_captureFdSamples_task(void* argument) {
    auto* const board = static_cast<TVPN_ADFPGA*>(argument);
    int status = configure(board);
    const uint32_t stages = status == 0 ? board->inForce.fdStages.get() : 0;
    bool asked = true;
    for (uint32_t stage = 0; stage < stages && !cancelled(board); ++stage) {
        status = fetchStage(board, stage, stageBudget_s(board, stage)); // each starts afresh: the last one counts
        asked = asked && status != scpi::executionError;
    }
    endCapture(board, status, asked);
    return nullptr;
}

/// What a whole capture of the second generation, where stages run side by side, may take.
double captureBudget_s(const TVPN_ADFPGA* board) {
    const AdfpgaSettings& settings = board->inForce;
    double sampling_s = 0, softFft_s = 0;
    for (uint32_t stage = 0; stage < settings.fdStages; ++stage) {
        const double work = 2.0 * settings.fdCorrelations[stage] * settings.fdSamplesCount[stage];
        sampling_s = std::max(sampling_s, work / board->fdSamplingFreq[stage] * (stage == 0 ? 2 : 1));
        if (settings.fdSamplesCount[stage] != adfpga_generation(board).hardwarePoints[stage])
            softFft_s += work / softFftRate;
    }
    return std::max(sampling_s, softFft_s) * reserve + reserve_s;
}

/// Sleeps as long as a read could not wait for the rest of the capture.
void sleepThroughLongCapture(const TVPN_ADFPGA* board, double rest_s) {
    auto slices = static_cast<uint64_t>(std::max(0.0, std::floor(rest_s - longestRead_s))) * 1'000'000 / sleepSlice_us;
    for (; slices > 0 && !cancelled(board); --slices)
        tvstuff_delay_us(sleepSlice_us);
}

void* TVPN_ADFPGA_2_captureFdSamples_task(void* argument) {
    auto* const board = static_cast<TVPN_ADFPGA*>(argument);
    int status = configure(board);
    const tv_abstime start = tv_abstime_now();
    const double total_s = captureBudget_s(board);
    double passed_s = 0;
    const uint32_t stages = status == 0 ? board->inForce.fdStages.get() : 0;
    bool asked = true;
    for (uint32_t stage = 0; stage < stages && !cancelled(board); ++stage) {
        sleepThroughLongCapture(board, total_s - passed_s);
        passed_s = tv_abstime_secondsSince(start);
        status = fetchStage(board, stage, total_s - passed_s); // each starts afresh: the last one counts
        asked = asked && status != scpi::executionError;
    }
    endCapture(board, status, asked);
    return nullptr;
}

/// A run fetches what it captures at once. Who else captures may look in now and then.
void begin(TVPN_ADFPGA* board, adfpga_transferBody body) {
    if (hardware_isRunThread)
        TVPN_ADFPGA_postTransferTask(board, body);
    else
        TVPN_ADFPGA_startTransferTask(board, body);
}

} // namespace

int TVPN_ADFPGA_1_tryCaptureFdSamples(TVPN_ADFPGA* board) {
    begin(board, TVPN_ADFPGA_1_captureFdSamples_task);
    return 0;
}

int TVPN_ADFPGA_2_tryCaptureFdSamples(TVPN_ADFPGA* board) {
    begin(board, TVPN_ADFPGA_2_captureFdSamples_task);
    return 0;
}

int adfpga_startFdCapture(TVPN_ADFPGA* board, const AdfpgaSettings& settings) {
    TVPN_ADFPGA_joinTransferTask(board, nullptr); // the task before reads what is in force
    board->inForce = settings;
    return adfpga_isSecondGeneration(board) ? TVPN_ADFPGA_2_tryCaptureFdSamples(board)
                                            : TVPN_ADFPGA_1_tryCaptureFdSamples(board);
}

int TVPN_ADFPGA_captureFdSamples(TVPN_ADFPGA* board) {
    return adfpga_startFdCapture(board, board->settings);
}

int TVPN_ADFPGA_getFdBuffer(TVPN_ADFPGA* board, uint32_t stage, const void** buffer) {
    int status = 0;
    TVPN_ADFPGA_joinTransferTask(board, &status);
    const uint32_t number = std::min(stage, adfpga_stagesMax - 1);
    *buffer = board->fdBuffer[number];
    if (status == scpi::executionError)
        return status;
    return static_cast<int>(board->fdBufferSize[number] * adfpga_fdPointBytes);
}
