#pragma once
/// Lines of a board's shift register as tables that the compiler checks: a row a bit, a column a build of the board.
/// Patterns of lines are worked out by the compiler, so an operation moves masks.

#include "drivers/SRI.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

inline constexpr uint8_t line_none = 255;

template <class Bit, size_t columns> struct LineRow {
    Bit bit;
    std::array<uint8_t, columns> line; // line_none: this build has none
};

/// Lines to set and lines to clear, by build; the others stay.
template <size_t columns> struct LinePattern {
    std::array<uint64_t, columns> set;
    std::array<uint64_t, columns> clear;
};

constexpr uint64_t line_mask(uint8_t line) {
    return line == line_none ? 0 : uint64_t{1} << line;
}

/// Each of the `bits` has its row, each line lies in the register of its build, and no build has two bits on one line.
template <class Bit, size_t columns, size_t rowCount>
consteval bool linesFit(const LineRow<Bit, columns> (&rows)[rowCount], size_t bits,
                        const std::array<uint8_t, columns>& registerBytes) {
    if (rowCount != bits)
        return false;
    for (size_t column = 0; column < columns; ++column) {
        uint64_t taken = 0;
        for (size_t bit = 0; bit < bits; ++bit) {
            const uint8_t line = rows[bit].line[column];
            if (rows[bit].bit != bit || (line != line_none && line >= 8 * registerBytes[column]))
                return false;
            if ((taken & line_mask(line)) != 0)
                return false;
            taken |= line_mask(line);
        }
    }
    return true;
}

inline void line_patternIsWrong() {} // ends the compilation of a pattern that calls it

/// A character of `values` a bit: '1' sets it, '0' clears it, '-' leaves it. Bits that a build does not have are left
/// out there.
template <class Bit, size_t columns, size_t rowCount>
consteval LinePattern<columns> line_pattern(const LineRow<Bit, columns> (&rows)[rowCount],
                                            std::initializer_list<Bit> bits, std::string_view values) {
    LinePattern<columns> pattern{};
    if (bits.size() != values.size())
        line_patternIsWrong();
    for (size_t i = 0; i < bits.size(); ++i) {
        if (values[i] != '0' && values[i] != '1' && values[i] != '-')
            line_patternIsWrong();
        for (size_t column = 0; column < columns; ++column) {
            const uint64_t mask = line_mask(rows[bits.begin()[i]].line[column]);
            if (((pattern.set[column] | pattern.clear[column]) & mask) != 0)
                line_patternIsWrong();
            (values[i] == '1' ? pattern.set : pattern.clear)[column] |= values[i] == '-' ? 0 : mask;
        }
    }
    return pattern;
}

/// Change the shadow, and send nothing.
template <size_t columns> void line_preset(SRI* sri, const LinePattern<columns>& pattern, size_t column) {
    SRI_presetValue(sri, (SRI_getValue(sri) & ~pattern.clear[column]) | pattern.set[column]);
}
inline void line_presetBit(SRI* sri, uint8_t line, bool on) {
    on ? SRI_presetSetBit(sri, line) : SRI_presetClearBit(sri, line);
}
