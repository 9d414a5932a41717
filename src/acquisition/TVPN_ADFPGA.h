#pragma once
/// The acquisition board: two ADC channels and an FPGA whose soft core does all signal processing at sample rate.
///
/// Two links lead to it. Commands go over the SPI bus as short ASCII texts, answers come back the same way. Results
/// come over the sample stream, a real-time device that delivers the blocks the FPGA sends. One background thread at a
/// time, the transfer task, or the thread that called, owns the stream.
///
/// Two generations of the board differ in ADCs, clock, rates and in how stages run. The first has a dual ADC and 125
/// MHz, the second two ADCs and 250 MHz.
///
/// A stage is one decimation step of the FPGA's pipeline. A correlation is one spectrum of a stage that the FPGA folds
/// into its running average. FD is the frequency domain, TD the time domain.

#include "base/shared.h"
#include "base/sync.h"
#include "drivers/AD9268.h"
#include "drivers/AD9467.h"
#include "drivers/AD9512.h"
#include "drivers/ADF4002.h"
#include "drivers/LTC6950.h"
#include "drivers/S25FL.h"
#include "drivers/SRI.h"
#include "drivers/SRO.h"
#include "drivers/W25Q.h"
#include "numeric/tvtypes.h"
#include "platform/rt.h"

#include <array>
#include <cstdint>

inline constexpr uint32_t adfpga_stagesMax = 8;
inline constexpr uint32_t adfpga_channelA = 0, adfpga_channelB = 1;
inline constexpr uint32_t adfpga_channelBoth = 2;           // of tdChannel
inline constexpr uint32_t adfpga_crossCorrelation = 2;      // of fdChannel
inline constexpr uint32_t adfpga_firstSecondGeneration = 3; // lowest version of the second generation
inline constexpr uint32_t adfpga_ringWords = 0x80000;       // of 32 bits, in each ring
inline constexpr uint32_t adfpga_tdSamplesMax = 0x100000;   // pairs of a capture
inline constexpr uint32_t adfpga_fdPointBytes = 8;          // of a spectrum point: two floats
inline constexpr uint32_t adfpga_fdPointsMin = 64, adfpga_fdPointsMax = 8192;

struct StatusRegister;

enum SscState : uint32_t { sscClosed = 0, sscListening = 1, sscReceiving = 2, sscFailed = 3, sscCancelled = 4 };

/// A ring between the transfer task, which writes, and the thread that serves a block transfer, which reads. Positions
/// count 32-bit words and run from 0 to below twice the size; both fall by the size whenever the reader crosses it.
struct FvstRing {
    uint32_t samplesCount; // words to capture and to transfer
    uint32_t divider;      // of the rate
    uint32_t triggerOffset;
    uint32_t* data; // adfpga_ringWords
    Shared<uint32_t> transferred;
    std::atomic<uint64_t> positions; // the reader's in the upper half, the writer's in the lower: they change together
    uint32_t writeOpen;              // words of the writer's open access
    uint32_t readOpen;               // of the reader's
    RT_EVENT* event;
    const Shared<uint32_t>* cancel; // 1: who waits for the other side shall give up
};

/// What a client sets for the next capture. A capture takes a copy when it starts.
struct AdfpgaSettings {
    Shared<tv_time> counterTimeout;  // gate of the counters, s
    Shared<uint32_t> tdSamplesCount; // pairs
    Shared<uint32_t> tdDivider;      // decimation
    Shared<uint32_t> tdChannel;      // adfpga_channelA, adfpga_channelB or adfpga_channelBoth
    Shared<uint32_t> fdChannel;      // adfpga_channelA, adfpga_channelB or adfpga_crossCorrelation
    Shared<uint32_t> fdStages;       // in use
    std::array<Shared<uint32_t>, adfpga_stagesMax> fdCorrelations;
    std::array<Shared<uint32_t>, adfpga_stagesMax> fdSamplesCount; // points
};

enum AdfpgaTriggerSource : uint32_t { adfpga_immediate, adfpga_atA, adfpga_atB, adfpga_external };
/// A slope through the levels, or a window between them.
enum AdfpgaTriggerMode : uint32_t { adfpga_negative, adfpga_positive, adfpga_out, adfpga_in };

/// What starts the frequency-versus-time capture.
struct AdfpgaTrigger {
    AdfpgaTriggerSource source;
    AdfpgaTriggerMode mode;
    tvfreq levelHigh, levelLow;       // never crossed
    int64_t levelMax_Hz, levelMin_Hz; // of both
    uint32_t continuous;              // 1: the capture runs until it is aborted
};

struct TVPN_ADFPGA {
    uint32_t version; // 0 up to 1C (free-running reference), 1 and 2 1D and 1E (reference PLL), 3 and above from 2A on
    Mutex controlMutex;                   // a client may switch the reference while a capture sets up the ADCs
    SRI sri GUARDED_BY(controlMutex);     // control lines
    SRO sro;                              // status lines
    AD9512 clock;                         // first generation
    AD9268 adc GUARDED_BY(controlMutex);  // first generation
    AD9467 adcA GUARDED_BY(controlMutex); // second generation
    AD9467 adcB GUARDED_BY(controlMutex); // second generation
    ADF4002 referencePll;                 // first generation from 1D on
    LTC6950 ltc6950;                      // second generation
    W25Q flashW25Q;                       // first generation
    S25FL flashS25FL;                     // second generation
    uint32_t activeFlash;                 // that the flash link leads to: 0 is A, 1 is B

    // The sample stream. The owner alone reads; whoever cancels takes streamMutex, so that he never stops a block that
    // comes after the one he meant.
    Mutex streamMutex;
    int sscFd GUARDED_BY(streamMutex) = -1;
    Shared<uint32_t> sscState;
    Shared<uint32_t> sscRemaining;  // bytes still expected
    Shared<uint32_t> validSscBytes; // that the driver called valid in the last block transfer
    Shared<uint32_t> hBytes;        // of the next block transfer

    AdfpgaSettings settings;
    AdfpgaSettings inForce;                              // of the running FD capture
    double baseSampleFrequency;                          // ADC and counter clock, Hz
    std::array<double, adfpga_stagesMax> fdSamplingFreq; // Hz
    Shared<uint32_t> counterMinimum;                     // lower raw count of the last count
    uint32_t fdStageFlag;                                // letter of the stage command
    std::array<uint16_t*, 2> tdBuffer;                   // samples of A and B
    std::array<Shared<uint32_t>, 2> tdBufferSize;        // samples in them
    std::array<uint8_t*, adfpga_stagesMax> fdBuffer;
    std::array<Shared<uint32_t>, adfpga_stagesMax> fdBufferSize; // points in them
    tv_abstime hStartTime;                                       // of the block transfer
    double hTimeout;                                             // of the block transfer, s
    uint32_t hChannel;                                           // tdChannel of the block transfer
    Shared<uint32_t> refInternal;                                // 1: sample clock on the internal 10 MHz
    Shared<uint32_t> resetCount;

    std::array<FvstRing, 2> fvstRing; // frequency versus time, channels A and B
    FvstRing* activeRing;             // of the running transfer task
    RT_EVENT txEvent;                 // of both rings
    AdfpgaTrigger trigger;            // of its next capture
    StatusRegister* fvstOperation;    // where its captures show; null on a unit without the option
    Shared<uint32_t> fvstRunning;     // 1 from the start of a capture to its end or an abort

    Mutex joinMutex;
    uint32_t transferRunning GUARDED_BY(joinMutex); // 1 while a task exists that nobody has joined
    Shared<uint32_t> transferCancel;                // 1 while a cancel is in progress
    Mutex completeMutex;
    Condition completeCond;
    uint32_t transferComplete GUARDED_BY(completeMutex); // 1: the body has ended
    int32_t transferStatus GUARDED_BY(completeMutex);
};

/// Clears the record, takes its memory from the pool and brings the board up; `version` as in the record. Once, at
/// start.
void TVPN_ADFPGA_init(TVPN_ADFPGA* board, uint32_t version);
/// Gives the memory back to the pool.
void TVPN_ADFPGA_free(TVPN_ADFPGA* board);
[[nodiscard]] inline bool adfpga_isSecondGeneration(const TVPN_ADFPGA* board) {
    return board->version >= adfpga_firstSecondGeneration;
}

// Control lines, bits of `sri`.
inline constexpr uint32_t adfpga_sriPllSetup = 0; // first generation: the reference PLL is being configured
inline constexpr uint32_t adfpga_sriAdcA = 0;     // second generation: set for ADC A, clear for B
inline constexpr uint32_t adfpga_sriFlashLink = 3;
inline constexpr uint32_t adfpga_sriReset = 4;
inline constexpr uint32_t adfpga_sriClockSync = 9;    // LTC6950 output synchronisation
inline constexpr uint32_t adfpga_sriSelectAdcA = 13;  // active low
inline constexpr uint32_t adfpga_sriSelectAdcB = 14;  // active low
inline constexpr uint32_t adfpga_sriRefExternal = 16; // 1: external reference
inline constexpr uint32_t adfpga_sriClockReady = 21;  // the LTC6950 has been configured

/// Output format of both ADCs: two's complement for spectra, counters and frequency versus time, offset binary for
/// samples.
[[nodiscard]] int TVPN_ADFPGA_ADC_setOutputMode2Complement(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_ADC_setOutputModeOffsetBinary(TVPN_ADFPGA* board);
