#pragma once
/// What the acquisition board measures: spectra stage by stage, samples, a stream of samples for a client, and two
/// kinds of frequency counter. All of it needs the sample stream for itself; the measurement keeps that order.

#include "acquisition/TVPN_ADFPGA.h"

// Settings of the next capture. Setters bring a value into its range and return 0.

/// Sample pairs of a TD capture: 0, or 2 to adfpga_tdSamplesMax, even.
[[nodiscard]] int TVPN_ADFPGA_setTdSamplesCount(TVPN_ADFPGA* board, uint32_t count);
/// Decimation of a TD capture, 1 to 2000000.
[[nodiscard]] int TVPN_ADFPGA_setTdDivider(TVPN_ADFPGA* board, uint32_t divider);
[[nodiscard]] int TVPN_ADFPGA_setTdChannelAOnly(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_setTdChannelBOnly(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_setTdChannelBoth(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isTdChannelAOnly(const TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isTdChannelBOnly(const TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isTdChannelBoth(const TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_setFdChannelAOnly(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_setFdChannelBOnly(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_setFdChannelCrosscorrelation(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isFdChannelAOnly(const TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isFdChannelBOnly(const TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_isFdChannelCrosscorrelation(const TVPN_ADFPGA* board);
/// Stages in use, 0 to 7; anything else means all 8.
[[nodiscard]] int TVPN_ADFPGA_setFdStages(TVPN_ADFPGA* board, uint32_t stages);
/// Does nothing for a stage that does not exist.
[[nodiscard]] int TVPN_ADFPGA_setFdCorrelations(TVPN_ADFPGA* board, int32_t stage, uint32_t count);
/// Points of a stage, a power of two of 64 to 8192. On the first generation only stages 6 and 7 can be set.
[[nodiscard]] int TVPN_ADFPGA_setFdSamplesCount(TVPN_ADFPGA* board, int32_t stage, uint32_t points);
/// Gate of the counters, s.
[[nodiscard]] int TVPN_ADFPGA_setCounterTimeout(TVPN_ADFPGA* board, tv_time seconds);
[[nodiscard]] int TVPN_ADFPGA_setCounterMinimum(TVPN_ADFPGA* board, uint32_t count);
/// Bytes of the next block transfer.
[[nodiscard]] int TVPN_ADFPGA_setFpgaBytes(TVPN_ADFPGA* board, uint32_t bytes);

// Queries. A stage that does not exist reads 0, but where told otherwise.

[[nodiscard]] uint32_t TVPN_ADFPGA_getTdSamplesCount(const TVPN_ADFPGA* board);
[[nodiscard]] uint32_t TVPN_ADFPGA_getTdDivider(const TVPN_ADFPGA* board);
[[nodiscard]] uint32_t TVPN_ADFPGA_getTdBufferSize(const TVPN_ADFPGA* board,
                                                   uint32_t channel); // samples; 0 is A, else B
[[nodiscard]] uint32_t TVPN_ADFPGA_getFdStages(const TVPN_ADFPGA* board);
[[nodiscard]] uint32_t TVPN_ADFPGA_getFdCorrelations(const TVPN_ADFPGA* board, int32_t stage);
[[nodiscard]] uint32_t TVPN_ADFPGA_getFdSamplesCount(const TVPN_ADFPGA* board, int32_t stage);
[[nodiscard]] double TVPN_ADFPGA_getFdSamplingFreq(const TVPN_ADFPGA* board, int32_t stage); // Hz
[[nodiscard]] uint32_t TVPN_ADFPGA_getFdBufferSize(const TVPN_ADFPGA* board,
                                                   uint32_t stage);                // points; from 7 on stage 7
[[nodiscard]] double TVPN_ADFPGA_getBaseSampleFrequency(const TVPN_ADFPGA* board); // Hz
[[nodiscard]] uint32_t TVPN_ADFPGA_getResetCount(const TVPN_ADFPGA* board);
tv_time TVPN_ADFPGA_getCounterTimeout(const TVPN_ADFPGA* board); // s
[[nodiscard]] uint32_t TVPN_ADFPGA_getCounterMinimum(const TVPN_ADFPGA* board);
[[nodiscard]] uint32_t TVPN_ADFPGA_getHBytes(const TVPN_ADFPGA* board);

// Spectra.

/// Starts a capture of all stages in use, after the end of an earlier one, and returns 0 at once.
[[nodiscard]] int TVPN_ADFPGA_captureFdSamples(TVPN_ADFPGA* board);
/// Waits for the end of the capture and gives the points of a stage, from 7 on of stage 7: real and imaginary part of
/// the averaged spectrum as floats. They stay until the next capture; after a stage that timed out, the rest of them is
/// of an earlier one. Returns their bytes, or -200 if the stream or the bus failed in the capture.
[[nodiscard]] int TVPN_ADFPGA_getFdBuffer(TVPN_ADFPGA* board, uint32_t stage, const void** buffer);

// Samples.

/// Captures sample pairs into the TD buffers; returns when they are there. Returns 0, -200 if the stream or the bus
/// failed, -365 if it timed out. The buffers hold what came.
[[nodiscard]] int TVPN_ADFPGA_captureTdSamples(TVPN_ADFPGA* board);
/// Gives the samples of a channel (0 is A, else B), offset binary; they may be changed in place. Returns their bytes.
[[nodiscard]] int TVPN_ADFPGA_getTdBuffer(TVPN_ADFPGA* board, uint32_t channel, uint16_t** buffer);
/// Captures the pattern 0x55555555 that the FPGA puts on the stream. Returns 0, -200 or -365 as above, -1 if a word was
/// wrong.
[[nodiscard]] int TVPN_ADFPGA_captureSSCTestSamples(TVPN_ADFPGA* board);

/// Stream of a TD capture to a client, of any length: start, handler until it returns 0 or less, end. The handler
/// places up to `maxBytes` in `buffer` and returns their number, 0 at the end, -1 on failure. With both channels the
/// samples are interleaved, A first.
[[nodiscard]] int TVPN_ADFPGA_startHMode(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_handler(TVPN_ADFPGA* board, int maxBytes, uint32_t position, char* buffer);
[[nodiscard]] int TVPN_ADFPGA_endHMode(TVPN_ADFPGA* board);

// Counters.

/// Frequency at the counter input in Hz; `frequency` may be null. Returns 0, -200, or -365 if the gate did not end. Any
/// failure gives the frequency 0.
[[nodiscard]] int TVPN_ADFPGA_countFrequency(TVPN_ADFPGA* board, tvfreq* frequency);
/// Frequencies behind the ADCs; either pointer may be null. Returns 0, -200, or -365 when a gate did not end: a channel
/// without signal reads 0.
[[nodiscard]] int TVPN_ADFPGA_countFrequencyAdc(TVPN_ADFPGA* board, tvfreq* frequencyA, tvfreq* frequencyB);

// The board as a whole.

/// Resets the FPGA; with `wait` not 0 it is given the 30 s that it takes to load. Both domains are warmed up by a
/// capture each. Returns 0.
[[nodiscard]] int TVPN_ADFPGA_resetFpga(TVPN_ADFPGA* board, int wait);
/// Command link, ADC test patterns at two dividers, on the second generation also stream pattern and clock lock.
/// Returns 0, or the negative number of the first that fails. Settings stay as they are.
[[nodiscard]] int TVPN_ADFPGA_selftest(TVPN_ADFPGA* board);
/// -1 if the self test reports anything, else 0.
[[nodiscard]] int TVPN_ADFPGA_getDeviceStatus(TVPN_ADFPGA* board);
/// Sample clock from the internal (1) or an external (0) 10 MHz; boards up to 1C have no choice.
[[nodiscard]] int TVPN_ADFPGA_setRefInternal(TVPN_ADFPGA* board, int internal);
[[nodiscard]] int TVPN_ADFPGA_getRefInternal(const TVPN_ADFPGA* board);
/// 1 if the clock is locked to its reference.
[[nodiscard]] int TVPN_ADFPGA_isRefExternalLocked(TVPN_ADFPGA* board);
/// Temperature of the FPGA as its own text, at most 64 bytes with the NUL; second generation. Returns 0, -200 or -365.
[[nodiscard]] int TVPN_ADFPGA_2_getFPGATempString(TVPN_ADFPGA* board, char* text);
