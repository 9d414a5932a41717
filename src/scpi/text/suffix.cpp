#include "scpi/text/suffix.h"

#include "base/error_codes.h"
#include "scpi/text/ascii.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr scpi_unit frequencyRows[] = {
    {"Hz", unitLinear, 0},   {"kHz", unitLinear, 3}, {"MHz", unitLinear, 6},
    {"MAHz", unitLinear, 6}, {"GHz", unitLinear, 9},
};
constexpr scpi_unit timeRows[] = {
    {"s", unitLinear, 0},   {"ps", unitLinear, -12}, {"ns", unitLinear, -9},
    {"us", unitLinear, -6}, {"ms", unitLinear, -3},
};
constexpr scpi_unit ratioRows[] = {
    {"", unitLinear, 0},
    {"PCT", unitLinear, -2},
    {"PPM", unitLinear, -6},
};
constexpr scpi_unit angleRows[] = {
    {"rad", unitRadian, 0},
    {"deg", unitDegree, 0},
};
// clang-format off
constexpr scpi_unit powerRows[] = {
    {"dBmW", unitLogWatt, -3},   {"dBm", unitAlias, 0},
    {"uW", unitLinear, -6},      {"mW", unitLinear, -3},      {"W", unitLinear, 0},
    {"uV", unitVolt, -6},        {"mV", unitVolt, -3},        {"V", unitVolt, 0},
    {"uA", unitAmpere, -6},      {"mA", unitAmpere, -3},      {"A", unitAmpere, 0},
    {"dBuW", unitLogWatt, -6},   {"dBW", unitLogWatt, 0},     {"dB", unitAlias, 0},
    {"dBuA", unitLogAmpere, -6}, {"dBmA", unitLogAmpere, -3}, {"dBA", unitLogAmpere, 0},
    {"dBuV", unitLogVolt, -6},   {"dBmV", unitLogVolt, -3},   {"dBV", unitLogVolt, 0},
};
// clang-format on

bool isSuffixCharacter(char c) {
    return scpi::isLetter(c) || c == '.' || c == '/';
}

const scpi_unit* findRow(std::span<const scpi_unit> rows, std::string_view suffix) {
    const auto found = std::ranges::find_if(rows, [suffix](const scpi_unit& row) {
        return std::ranges::equal(std::string_view(row.name), suffix, scpi::equalIgnoringCase);
    });
    return found == rows.end() ? nullptr : &*found;
}

} // namespace

constinit const scpi_unit_table unitFrequency{nullptr, frequencyRows};
constinit const scpi_unit_table unitTime{nullptr, timeRows};
constinit const scpi_unit_table unitRatio{nullptr, ratioRows};
constinit const scpi_unit_table unitAngle{nullptr, angleRows};
constinit scpi_unit_table unitPower{nullptr, powerRows};

int scpi_parseSuffix(char* text, const scpi_unit_table* unitTable, int flags, const scpi_unit** row) {
    const char* const end = scpi::trimEnd(text, text + std::strlen(text));
    const char* suffix = end;
    while (suffix != text && isSuffixCharacter(suffix[-1]))
        --suffix;

    const scpi_unit* found = nullptr;
    if (suffix != end) {
        found = findRow(unitTable->rows, {suffix, end});
        if (found == nullptr)
            return scpi::invalidSuffix;
        while (found->unitType == unitAlias)
            --found;
    } else {
        const bool useCurrent = (flags & suffixIgnoreCurrent) == 0 && unitTable->current != nullptr;
        found = useCurrent ? unitTable->current : unitTable->rows.data();
    }
    text[suffix - text] = '\0';
    *row = found;
    return 0;
}
