#pragma once
/// The flash that the FPGA boots from: it holds its configuration and the firmware of its soft core.
///
/// While the link is enabled the flash is cut off from the FPGA, which must not boot then, and no other command may go
/// to the FPGA. A service operation runs on the thread of its caller, which sees to that.

#include "acquisition/TVPN_ADFPGA.h"

/// Where the images of an update lie in the unit's tree.
inline constexpr const char* adfpga_configFile = "/tolvane/fpga/fpga_config.bin";
inline constexpr const char* adfpga_firmwareFile = "/tolvane/fpga/adfpga.srec";

/// Link the flash in force to the bus, or to the FPGA.
[[nodiscard]] int TVPN_ADFPGA_enableFlashLink(TVPN_ADFPGA* board);
[[nodiscard]] int TVPN_ADFPGA_disableFlashLink(TVPN_ADFPGA* board);

/// Erases the flash, writes both images, compares them and lets the FPGA boot. Tells on standard output what it does
/// and what failed; the steps behind a failed one are not carried out, but named. Returns 0 or -200. Takes minutes.
/// After a failure the FPGA is silent until an update succeeds.
[[nodiscard]] int TVPN_ADFPGA_updateFpgaConfig(TVPN_ADFPGA* board, const char* configFile, const char* firmwareFile);
/// Returns 0 if the flash holds both files, else -200.
[[nodiscard]] int TVPN_ADFPGA_checkFpgaConfig(TVPN_ADFPGA* board, const char* configFile, const char* firmwareFile);

/// Prepares the flash at the start of the board.
[[nodiscard]] int adfpga_startFlash(TVPN_ADFPGA* board) REQUIRES(board->controlMutex);
/// Keeps the FPGA in reset for 100 ms; it boots when the line goes back.
void adfpga_pulseReset(TVPN_ADFPGA* board);
/// Tells of a failure of the board.
void TVPN_ADFPGA_error(TVPN_ADFPGA* board, int status, const char* text);
