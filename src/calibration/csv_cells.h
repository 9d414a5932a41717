#pragma once
/// Cells of a line, between semicolons. A cell without anything but blanks counts as missing.

#include <cstdint>

class CsvCells {
public:
    explicit CsvCells(const char* line) : next_(line) {}

    /// Start of the next cell, or null if it is missing.
    [[nodiscard]] const char* next();
    void skip(uint32_t cells);

private:
    const char* next_; // null behind the last cell
};

/// The number that a cell begins with; 0 for a missing cell, for one that begins with none, and for one that single
/// precision cannot hold (nan, inf, 1e39).
[[nodiscard]] double csv_number(const char* cell);
[[nodiscard]] int64_t csv_wholeNumber(const char* cell);
