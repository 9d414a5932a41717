#include "scpi/text/decimal.h"

#include "base/error_codes.h"
#include "scpi/text/ascii.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

using scpi::isDigit;

constexpr int digitsKept = scpi_stddecstrLength - 1; // indices 1 to 41; the sign is at index 0
constexpr int window = 30;                           // digits from this index on are not shifted
constexpr int pointPositionMax = 39;                 // a value of the order of 1E37
constexpr int64_t exponentMax = 1'000'000'000;       // beyond any text; sums of three stay far within 64 bits

struct NumberParts {
    std::string_view mantissa;
    const char* exponent; // null: none
};

/// Splits at the first "e" or "E"; another one fails as part of the exponent.
int scpi_separateNumberString(const char* text, NumberParts* parts) {
    const char* mark = text;
    while (*mark != '\0' && *mark != 'e' && *mark != 'E')
        ++mark;
    const char* const mantissaEnd = scpi::trimEnd(text, mark);
    if (mantissaEnd == text)
        return scpi::illegalParameterValue;
    *parts = {{text, mantissaEnd}, *mark != '\0' ? mark + 1 : nullptr};
    return 0;
}

/// Nothing behind the "e" counts as 0. Magnitudes beyond exponentMax count as that.
int scpi_getNumberExponent(const char* text, int64_t* exponent) {
    *exponent = 0;
    if (text == nullptr)
        return 0;
    const char* const end = scpi::trimEnd(text, text + std::strlen(text));
    while (text != end && scpi::isBlank(*text))
        ++text;
    if (text == end)
        return 0;
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    if (text == end)
        return scpi::illegalParameterValue;
    int64_t magnitude = 0;
    for (; text != end; ++text) {
        if (!isDigit(*text))
            return scpi::illegalParameterValue;
        magnitude = std::min(magnitude * 10 + (*text - '0'), exponentMax);
    }
    *exponent = negative ? -magnitude : magnitude;
    return 0;
}

/// Writes sign and digits without the point; `pointPosition` is the index at which it stands.
int scpi_normaliseNumber(std::string_view mantissa, char* out, int64_t* pointPosition) {
    std::memset(out, '0', scpi_stddecstrLength);
    out[scpi_stddecstrLength] = '\0';
    out[0] = mantissa.front() == '-' ? '-' : '+';
    if (mantissa.front() == '-' || mantissa.front() == '+')
        mantissa.remove_prefix(1);

    int64_t position = 1;
    int kept = 0;
    bool anyDigit = false;
    bool behindPoint = false;
    for (const char c : mantissa) {
        if (c == '.' && !behindPoint) {
            behindPoint = true;
            continue;
        }
        if (!isDigit(c))
            return scpi::illegalParameterValue;
        anyDigit = true;
        if (c == '0' && kept == 0) { // leading zero
            if (behindPoint)
                --position;
            continue;
        }
        if (kept < digitsKept)
            out[++kept] = c;
        if (!behindPoint)
            ++position;
    }
    *pointPosition = position;
    return anyDigit ? 0 : scpi::illegalParameterValue;
}

/// Above 9.9E37, the mark for infinity, though below 1E38.
bool exceedsInfinityMark(const char* digits) {
    const auto isZero = [](char c) { return c == '0'; };
    return digits[1] == '9' && digits[2] == '9' && !std::all_of(digits + 3, digits + window + 1, isZero);
}

/// Puts the point to where the exponents move it.
int scpi_reformatNumber(char* out, int64_t pointPosition, int64_t exponent, int64_t unitExponent) {
    const int64_t position = pointPosition + exponent + unitExponent;
    if (position > pointPositionMax || (position == pointPositionMax && exceedsInfinityMark(out)))
        return scpi::dataOutOfRange;
    if (position < 1) {
        const auto shift = static_cast<size_t>(std::min<int64_t>(2 - position, digitsKept));
        std::memmove(out + 1 + shift, out + 1, digitsKept - shift);
        std::memset(out + 1, '0', shift);
        out[1] = '.';
        return 0;
    }
    if (position < window)
        std::memmove(out + position + 1, out + position, static_cast<size_t>(window - position));
    out[position] = '.';
    return 0;
}

/// Reads the digits up to the point; `limit` if they are more.
uint64_t wholePart(const char** cursor, uint64_t limit) {
    uint64_t value = 0;
    bool exceeded = false;
    for (; isDigit(**cursor); ++*cursor) {
        const auto digit = static_cast<uint64_t>(**cursor - '0');
        exceeded = exceeded || value > (limit - digit) / 10;
        value = value * 10 + digit;
    }
    return exceeded ? limit : value;
}

/// The magnitude of a canonical string, rounded; the sign is at index 0.
uint64_t roundedMagnitude(const char* string, uint64_t limit) {
    const char* cursor = string + 1;
    const uint64_t whole = wholePart(&cursor, limit);
    const bool up = cursor[0] == '.' && cursor[1] > '4';
    return up && whole < limit ? whole + 1 : whole;
}

constexpr uint64_t tenDigits = 10'000'000'000;

uint64_t readTenDigits(const char** cursor) {
    uint64_t value = 0;
    for (int i = 0; i < 10; ++i) {
        const bool present = isDigit(**cursor);
        value = value * 10 + (present ? static_cast<uint64_t>(**cursor - '0') : 0);
        if (present)
            ++*cursor;
    }
    return value;
}

/// Twenty decimals behind the point as two groups of ten.
struct Decimals {
    uint64_t high;
    uint64_t low;

    /// Multiplies by 2^count, count at most 29, and returns what passes the point.
    uint64_t shiftOut(int count) {
        const uint64_t shiftedLow = low << count;
        low = shiftedLow % tenDigits;
        const uint64_t shiftedHigh = (high << count) + shiftedLow / tenDigits;
        high = shiftedHigh % tenDigits;
        return shiftedHigh / tenDigits;
    }
};

} // namespace

int scpi_str2stddecstr(char* text, char* out, int* unitType, const scpi_unit_table* unitTable, int* logExponent,
                       int flags) {
    *unitType = unitNone;
    *logExponent = 0;
    if (text == nullptr)
        return scpi::illegalParameterValue;
    int unitExponent = 0;
    if (unitTable != nullptr) {
        const scpi_unit* row = nullptr;
        if (const int error = scpi_parseSuffix(text, unitTable, flags, &row); error != 0)
            return error;
        *unitType = row->unitType;
        (isLogUnit(row->unitType) ? *logExponent : unitExponent) = row->exponent;
    }
    NumberParts parts;
    int64_t exponent = 0;
    int64_t pointPosition = 0;
    if (const int error = scpi_separateNumberString(text, &parts); error != 0)
        return error;
    if (const int error = scpi_getNumberExponent(parts.exponent, &exponent); error != 0)
        return error;
    if (const int error = scpi_normaliseNumber(parts.mantissa, out, &pointPosition); error != 0)
        return error;
    return scpi_reformatNumber(out, pointPosition, exponent, unitExponent);
}

double scpi_stdstr2double(const char* string) {
    const char* end = string + std::strlen(string);
    while (end - string > 3 && end[-1] == '0' && end[-2] != '.')
        --end;
    double value = 0;
    std::from_chars(*string == '+' ? string + 1 : string, end, value); // of "-0.0" and the like the sign stays
    return value;
}

int32_t scpi_stdstr2int(const char* string) {
    constexpr uint64_t highest = std::numeric_limits<int32_t>::max();
    if (string[0] == '-')
        return static_cast<int32_t>(-static_cast<int64_t>(roundedMagnitude(string, highest + 1)));
    return static_cast<int32_t>(roundedMagnitude(string, highest));
}

uint32_t scpi_stdstr2uint(const char* string) {
    if (string[0] == '-')
        return 0;
    return static_cast<uint32_t>(roundedMagnitude(string, std::numeric_limits<uint32_t>::max()));
}

void scpi_stdfmtstr2tv_freq(const char* string, tvfreq* frequency) {
    constexpr uint64_t roundUp = 3; // in units of the twentieth decimal
    constexpr uint64_t highest = std::numeric_limits<int64_t>::max();
    const char* cursor = string + 1;
    uint64_t whole = wholePart(&cursor, highest);
    if (*cursor == '.')
        ++cursor;
    Decimals decimals{};
    decimals.high = readTenDigits(&cursor);
    decimals.low = readTenDigits(&cursor) + roundUp;
    if (decimals.low >= tenDigits) {
        decimals.low -= tenDigits;
        ++decimals.high;
    }
    if (decimals.high == tenDigits) {
        decimals = {0, 0};
        whole = std::min(whole + 1, highest);
    }
    // 64 bits of the binary fraction, as many at a time as the groups leave room for
    uint64_t fraction = decimals.shiftOut(22);
    fraction = fraction << 21 | decimals.shiftOut(21);
    fraction = fraction << 21 | decimals.shiftOut(21);
    *frequency = {static_cast<int64_t>(whole), fraction};
    if (string[0] == '-')
        tvfreqInvert(frequency, frequency);
}
