#include "calibration/csv_cells.h"

#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>

const char* CsvCells::next() {
    const char* cell = next_;
    if (cell == nullptr)
        return nullptr;
    const char* semicolon = strchr(cell, ';');
    next_ = semicolon != nullptr ? semicolon + 1 : nullptr;
    while (isspace(static_cast<unsigned char>(*cell)))
        ++cell;
    return *cell == ';' || *cell == '\0' ? nullptr : cell;
}

void CsvCells::skip(uint32_t cells) {
    for (; cells > 0; --cells)
        static_cast<void>(next());
}

double csv_number(const char* cell) {
    const double value = cell != nullptr ? strtod(cell, nullptr) : 0.0;
    return std::fabs(value) <= static_cast<double>(FLT_MAX) ? value : 0.0; // not for NaN
}

int64_t csv_wholeNumber(const char* cell) {
    return cell != nullptr ? strtol(cell, nullptr, 10) : 0;
}
