#pragma once
/// Reader of the calibration file; docs/calibration.md describes the format.
///
/// Lines and tables lie in memory of fixed size, taken at start; one file is read at a time.

#include "calibration/calibration.h"

#include <cstdint>

/// Sensitivities of the internal sources, in the unit of the file.
enum class SourceSensitivity { vco, at10MHz, at100MHz, at1000MHz };

/// What the file has to say to, and what its reader asks of, the instrument around the record.
struct CalibrationDevice {
    /// Gives the source of channel 0 (A) or 1 (B) a sensitivity and leaves channel A selected. Null: nobody listens.
    void (*setSensitivity)(void* context, SourceSensitivity which, int channel, double value);
    void* context;
    uint32_t defaultGainStages; // of a gain table that does not state its lines: 4 on analog board 1C, else 6
};

/// Fills the record from the file at `path`. Returns
///     0     at the end of the file: the record has its values, and the defaults where the file says nothing;
///     1     if the file cannot be read to its end (csv_lines.h), ends within a region, has a gain table of more
///           than 72 rows or of less than none, or a table with more columns than the record: all is as it was before,
///           the sensitivities included;
///     -100  if it cannot be opened: the record has the defaults.
/// Malformed numbers read as 0, and a missing cell ends a table.
[[nodiscard]] int Csvtables_TVPNX_Csv2Cal(const CalibrationDevice* device, CalibrationTVPN* calibration,
                                          const char* path);

/// All digits of the first cell as one number, 2147483647 at most; `region` receives it if it is above 0. An empty
/// line, one without even an end, gives -1 in both.
int32_t extractRegion(const char* line, int32_t* region);

/// The next cell behind blanks and semicolons, up to the next blank or semicolon; `next` receives its end. Start and
/// end are the same where the line has no further cell.
[[nodiscard]] const char* csvtables_getCell(const char* cursor, const char** next);
/// Skips blanks and semicolons.
[[nodiscard]] const char* csvtables_stripCell(const char* cursor);
