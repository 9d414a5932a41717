#include "numeric/tvtypes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr double two64 = 18446744073709551616.0;
constexpr double two63 = 9223372036854775808.0;

/// Splits a value in Hz. The difference to the whole part is exact in the precision of `Real`.
template <class Real> tvfreq split(Real value) {
    constexpr tvfreq highest{std::numeric_limits<int64_t>::max(), std::numeric_limits<uint64_t>::max()};
    constexpr tvfreq lowest{std::numeric_limits<int64_t>::min(), 0};
    if (std::isnan(value))
        return {0, 0};
    if (value >= two63)
        return highest;
    if (value < -two63)
        return lowest;
    const auto whole = static_cast<int64_t>(value);
    const Real fraction = value - static_cast<Real>(whole);
    return {whole, fraction > 0 ? static_cast<uint64_t>(fraction * two64) : 0};
}

} // namespace

double tvfreq2double(const tvfreq* f, double* out) {
    const double value = static_cast<double>(f->intPart) + static_cast<double>(f->fracPart) / two64;
    if (out != nullptr)
        *out = value;
    return value;
}

float tvfreq2float(const tvfreq* f, float* out) {
    const double whole = static_cast<float>(f->intPart);
    const double fraction = static_cast<float>(f->fracPart) / two64;
    const auto value = static_cast<float>(whole + fraction);
    if (out != nullptr)
        *out = value;
    return value;
}

void double2tvfreq(const double* in, tvfreq* f) {
    *f = split(*in);
}

void float2tvfreq(const float* in, tvfreq* f) {
    *f = split(*in);
}

int tvfreqArrayAppend(tvfreq* array, int32_t capacity, int32_t* count, tvfreq f) {
    if (*count >= capacity)
        return tvtypes_listFull;
    if (f.intPart > 0)
        array[(*count)++] = f;
    return 0;
}

void tvfreqSortArrayAscending(tvfreq* array, int32_t n) {
    bool exchanged = true;
    while (exchanged) {
        exchanged = false;
        for (int32_t i = 1; i < n; ++i) {
            if (tvfreqCompare(&array[i - 1], &array[i]) > 0) {
                std::swap(array[i - 1], array[i]);
                exchanged = true;
            }
        }
    }
}

void tvfreqSkipArrayMultiples(tvfreq* array, int32_t n, int32_t* newCount) {
    int32_t count = n;
    for (int32_t kept = 1; kept < count; ++kept) {
        for (int32_t i = kept + 1; i < count; ++i) {
            if (tvfreqCompare(&array[kept], &array[i]) == 0) {
                std::copy(array + i + 1, array + count, array + i);
                --count;
            }
        }
    }
    *newCount = count;
}

int ipv4ToString(char* dst, uint32_t address) {
    std::snprintf(dst, ipv4TextSize, "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                  address & 0xFF);
    return 0;
}

int stringToIpv4(uint32_t* dst, const char* text) {
    constexpr unsigned long octetMax = 255;
    constexpr std::array<char, 4> terminators = {'.', '.', '.', '\0'};
    if (text == nullptr)
        return tvtypes_badAddress;
    uint32_t address = 0;
    const char* cursor = text;
    for (const char terminator : terminators) {
        char* end = nullptr;
        const unsigned long octet = std::strtoul(cursor, &end, 10);
        if (end == cursor || octet > octetMax || *end != terminator)
            return tvtypes_badAddress;
        address = address << 8 | static_cast<uint32_t>(octet);
        cursor = end + 1;
    }
    *dst = address;
    return 0;
}
