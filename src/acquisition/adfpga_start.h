#pragma once
/// What the two generations of the acquisition board differ in when they start, and how they test themselves.

#include "acquisition/TVPN_ADFPGA.h"

void TVPN_ADFPGA_1_init(TVPN_ADFPGA* board);
void TVPN_ADFPGA_2_init(TVPN_ADFPGA* board);
void ADFPGA_2_init_hw(TVPN_ADFPGA* board);

/// Selects one ADC of the second generation on the bus (adfpga_channelA or adfpga_channelB), or neither.
[[nodiscard]] int ADFPGA_2_select_ADC(TVPN_ADFPGA* board, uint32_t channel) REQUIRES(board->controlMutex);
[[nodiscard]] int ADFPGA_2_deselect_ADCs(TVPN_ADFPGA* board) REQUIRES(board->controlMutex);
/// Test pattern of both ADCs, as in fast_adc.h.
[[nodiscard]] int adfpga_setTestMode(TVPN_ADFPGA* board, uint32_t mode);

[[nodiscard]] int TVPN_ADFPGA_1_selftest(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_2_selftest(TVPN_ADFPGA* board);

[[nodiscard]] int TVPN_ADFPGA_1_tryCaptureFdSamples(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_2_tryCaptureFdSamples(TVPN_ADFPGA* board);

/// Captures with values of their own, which leave the board's settings alone.
[[nodiscard]] int adfpga_startFdCapture(TVPN_ADFPGA* board, const AdfpgaSettings& settings);
[[nodiscard]] int adfpga_captureSamples(TVPN_ADFPGA* board, uint32_t samples, uint32_t divider);
