#pragma once
/// Frequency versus time: the FPGA counts the frequency of both channels without a break into memory of its own, from a
/// trigger on; afterwards the words are fetched channel by channel. An option: without it captures and trigger offsets
/// give -241. The words are the FPGA's, nobody here looks into them.

#include "acquisition/TVPN_ADFPGA.h"

/// The unit has the option. Its captures show in `operation`, the operation status register.
void TVPN_ADFPGA_enableFvst(TVPN_ADFPGA* board, StatusRegister* operation);

// Trigger. Levels are in Hz and stay between levelMin_Hz and levelMax_Hz; all setters but that of the offset return 0.

/// A level that is set beyond the other one takes that along.
int TVPN_ADFPGA_setTriggerLevelHigh(TVPN_ADFPGA* board, const tvfreq* level);
int TVPN_ADFPGA_setTriggerLevelLow(TVPN_ADFPGA* board, const tvfreq* level);
[[nodiscard]] tvfreq TVPN_ADFPGA_getTriggerLevelHigh(const TVPN_ADFPGA* board);
[[nodiscard]] tvfreq TVPN_ADFPGA_getTriggerLevelLow(const TVPN_ADFPGA* board);
/// The same two as their middle and their distance: one is set, the other stays.
int TVPN_ADFPGA_setTriggerLevel(TVPN_ADFPGA* board, const tvfreq* middle);
int TVPN_ADFPGA_setTriggerHysteresis(TVPN_ADFPGA* board, const tvfreq* distance);
[[nodiscard]] tvfreq TVPN_ADFPGA_getTriggerLevel(const TVPN_ADFPGA* board);
[[nodiscard]] tvfreq TVPN_ADFPGA_getTriggerHysteresis(const TVPN_ADFPGA* board);
/// Of a channel, sent at once. Returns 0; -241 without the option; -200 if the bus failed, with the new value stored.
int TVPN_ADFPGA_setTriggerOffset(TVPN_ADFPGA* board, uint32_t channel, uint32_t offset);
/// Whether the next capture runs until it is aborted. What runs now is aborted.
int TVPN_ADFPGA_enableContinousCapture(TVPN_ADFPGA* board);
int TVPN_ADFPGA_disableContinousCapture(TVPN_ADFPGA* board);
/// The trigger as the FPGA takes it.
[[nodiscard]] uint32_t TVPN_ADFPGA_fvstTriggerConfiguration(const TVPN_ADFPGA* board);

// Capture.

/// Starts a capture of both channels, after the end of what runs, and returns: 0; -241 without the option; the failure
/// of the command, after which nothing waits for a trigger. Until its end or an abort it shows as measuring and as
/// waiting for a trigger.
int TVPN_ADFPGA_captureFvstSamples(TVPN_ADFPGA* board);
/// Waits for the end of the capture and starts the transfer of a channel. Returns its bytes, 0 without the option.
[[nodiscard]] int TVPN_ADFPGA_fvstGetHBytes(TVPN_ADFPGA* board, uint32_t channel);
/// Hands over the next words of that transfer, at most `maxBytes`, and waits for the first. Returns their bytes; -241
/// without the option; -200 if the transfer has ended before.
[[nodiscard]] int TVPN_ADFPGA_fvstHandler(TVPN_ADFPGA* board, uint32_t channel, int maxBytes, char* buffer);
