#pragma once
/// Unit suffixes of numbers and their tables. Comparison ignores case, so mHz is megahertz and MS is milliseconds.

#include <cstdint>
#include <span>

/// What a unit measures and how; unitAlias is another spelling of the nearest row before it that is no alias.
enum UnitType : uint8_t {
    unitNone = 0,      // a number without a unit table
    unitLinear = 1,    // in watts, or the plain unit of a table with one kind only
    unitVolt = 2,      // linear
    unitAmpere = 3,    // linear
    unitLogWatt = 4,   // dB over 1 W times the power of ten
    unitLogVolt = 5,   // dB over 1 V times the power of ten
    unitLogAmpere = 6, // dB over 1 A times the power of ten
    unitRadian = 7,
    unitDegree = 8,
    unitAlias = 9,
};

struct scpi_unit {
    char name[5]; // NUL-padded
    UnitType unitType;
    int8_t exponent; // power of ten
};

struct scpi_unit_table {
    const scpi_unit* current; // default for numbers without a suffix; null: the first row
    std::span<const scpi_unit> rows;
};

extern const scpi_unit_table unitFrequency; // Hz
extern const scpi_unit_table unitTime;      // seconds
extern const scpi_unit_table unitRatio;     // plain, percent, parts per million
extern const scpi_unit_table unitAngle;     // radians, degrees
/// dBm. The only table whose current row changes (scpi_unit_setPowerUnit); belongs to the main thread.
extern scpi_unit_table unitPower;

/// Bit of the flags of scpi_parseSuffix and of those who pass them on: a number without a suffix is in the first row's
/// unit, whatever the current one is.
inline constexpr int suffixIgnoreCurrent = 8;

constexpr bool isLogUnit(int type) {
    return type >= unitLogWatt && type <= unitLogAmpere;
}
constexpr bool scpi_isLinearSuffix(const scpi_unit* row) {
    return row->unitType >= unitLinear && row->unitType <= unitAmpere;
}

/// Finds the row of the suffix (letters, "." and "/" at the end of `text`), or the default row if there is none, and
/// cuts the text behind the number. Returns 0, or -131 (text and `row` untouched) for a suffix that the table does not
/// have.
[[nodiscard]] int scpi_parseSuffix(char* text, const scpi_unit_table* unitTable, int flags, const scpi_unit** row);
