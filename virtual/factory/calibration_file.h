#pragma once
/// The unit's factory calibration file. Its first line names the unit; then it says what its parts are off from their
/// nominal values, as production has measured it, which is without an error. Cells are parted by semicolons; a line
/// that begins with a number opens a region:
///
///   33001  time base (ppm) and tuning sensitivity of A and B (Hz/V at 100 MHz) in the cells 8, 9, 10
///   33008  tuning sensitivities A, B at the 10 MHz, the 100 MHz and the 1 GHz reference
///   33100  number of lines that follow, which tell about the detectors and are for the reader's eye
///   33110, 33120, 33130, 33140  detector counts over the carrier at 0 and 10 dBm, without and with preamplifier:
///   direct
///          path, amplifier path below and from 4.2 GHz on, divider path
///   33201, 33202, 33203  gain of the IF chain over the offset, dB over nominal, by stage and path: carriers below 2
///   GHz,
///          from there on, below with the preamplifier. The last of the three paths is the one in use
///   33004  conversions of the DUT supply, 12 lines: tag, x0, y0, x1, y1

#include <string>
#include <string_view>

namespace vi {

/// Of the unit with this serial number.
[[nodiscard]] std::string factory_calibrationFile(std::string_view serialNumber);
/// Whether a text begins as a file of the factory does, for another unit than this: one to be made anew.
[[nodiscard]] bool factory_isOfAnother(std::string_view text, std::string_view serialNumber);

} // namespace vi
