#include "scpi/text/text_format.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "numeric/tvmath.h"
#include "scpi/text/ascii.h"
#include "scpi/text/power_unit.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace {

constexpr char digitPairs[] = "00010203040506070809101112131415161718192021222324"
                              "25262728293031323334353637383940414243444546474849"
                              "50515253545556575859606162636465666768697071727374"
                              "75767778798081828384858687888990919293949596979899";

/// The part of the answer buffer that is free. `end` is where the NUL may stand at the latest.
struct Answer {
    char* dst;
    char* end;
    int32_t* length;

    Answer(char* destination, int room, int32_t* lengthOut)
        : dst(destination), end(room > 0 ? destination + room - 1 : nullptr), length(lengthOut) {}

    [[nodiscard]] bool hasRoomFor(size_t count) const {
        return end != nullptr && static_cast<size_t>(end - dst) >= count;
    }

    int finish(char* textEnd) const {
        *textEnd = '\0';
        if (length != nullptr)
            *length = static_cast<int32_t>(textEnd - dst);
        return 0;
    }

    int fail(int error) const {
        if (end != nullptr)
            *dst = '\0';
        if (length != nullptr)
            *length = 0;
        return error;
    }

    /// std::to_chars with `arguments`.
    template <class... Arguments> int number(Arguments... arguments) const {
        if (end == nullptr)
            return fail(scpi::queryError);
        const std::to_chars_result result = std::to_chars(dst, end, arguments...);
        return result.ec == std::errc() ? finish(result.ptr) : fail(scpi::queryError);
    }

    int text(const char* value) const {
        const size_t count = std::strlen(value);
        if (!hasRoomFor(count))
            return fail(scpi::queryError);
        std::memcpy(dst, value, count);
        return finish(dst + count);
    }
};

/// "%.*f", but of the shortest decimal that reads back as `value` where the places hold it: a double near 100 MHz that
/// was made of 100000000.3 reads 100000000.300000000, not ...299999997. to_chars gives printf's text, without its
/// detours.
template <class Value> int fixed(Value value, int decimals, const Answer& answer) {
    constexpr size_t longest = 512; // of either type, denormals included
    std::array<char, longest> text;
    const std::to_chars_result shortest =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const char* const point = std::find(text.data(), shortest.ptr, '.');
    const auto places = std::max<std::ptrdiff_t>(shortest.ptr - point - 1, 0);
    if (!std::isfinite(value) || places > decimals)
        return answer.number(value, std::chars_format::fixed, decimals);

    const auto zeros = static_cast<size_t>(decimals - places);
    const auto length = static_cast<size_t>(shortest.ptr - text.data());
    const bool isWhole = point == shortest.ptr;
    if (!answer.hasRoomFor(length + zeros + (isWhole ? 1 : 0)))
        return answer.fail(scpi::queryError);
    char* end = std::copy_n(text.data(), length, answer.dst);
    if (isWhole)
        *end++ = '.';
    return answer.finish(std::fill_n(end, zeros, '0'));
}

/// "%E"
int scientific(double value, const Answer& answer) {
    constexpr int decimals = 6;
    const int error = answer.number(value, std::chars_format::scientific, decimals);
    if (error == 0)
        for (char* c = answer.dst; *c != '\0'; ++c)
            *c = scpi::toUpper(*c);
    return error;
}

char* writeTenDigits(char* dst, uint64_t value) {
    for (int pair = 4; pair >= 0; --pair) {
        std::memcpy(dst + 2 * pair, digitPairs + 2 * (value % 100), 2);
        value /= 100;
    }
    return dst + 10;
}

constexpr int doubleDecimals = 9;
constexpr int powerDecimals = 6;
constexpr int powerDecimalsShort = 2;

} // namespace

int scpi_double2strf(double value, char* dst, int room, int32_t* length, int flags) {
    const Answer answer(dst, room, length);
    return (flags & textFixed) != 0 ? fixed(value, doubleDecimals, answer) : scientific(value, answer);
}

int scpi_double2str(double value, char* dst, int room, int32_t* length) {
    return scpi_double2strf(value, dst, room, length, textFixed);
}

int scpi_float2str(float value, char* dst, int room, int32_t* length) {
    return scpi_double2strf(value, dst, room, length, textFixed);
}

int scpi_tv_angle2str(const tv_angle* value, char* dst, int room, int32_t* length) {
    return scpi_double2strf(value != nullptr ? *value : 0, dst, room, length, textFixed);
}

int scpi_tv_time2strf(const tv_time* value, char* dst, int room, int32_t* length, int flags) {
    if (value == nullptr)
        return Answer(dst, room, length).text("0.0");
    return scpi_double2strf(*value, dst, room, length, flags);
}

int scpi_tv_time2str(const tv_time* value, char* dst, int room, int32_t* length) {
    constexpr int scientificFlags = 2;
    return scpi_tv_time2strf(value, dst, room, length, scientificFlags);
}

int scpi_tv_freq2str(const tvfreq* value, char* dst, int room, int32_t* length) {
    constexpr uint64_t tenDigits = 10'000'000'000;
    constexpr size_t longest = sizeof "-9223372036854775808.00000000000000000000" - 1;
    const Answer answer(dst, room, length);

    const tvfreq f = value != nullptr ? *value : tvfreq{0, 0};
    tvfreq magnitude = f;
    if (tvfreqNegative(&f))
        tvfreqInvert(&magnitude, &f);

    char text[longest];
    char* cursor = text;
    if (tvfreqNegative(&f))
        *cursor++ = '-';
    cursor = std::to_chars(cursor, text + longest, static_cast<uint64_t>(magnitude.intPart)).ptr;
    *cursor++ = '.';
    // Ten decimals at a time: what passes the top of the 64 bits.
    uint64_t fraction = magnitude.fracPart;
    for (int group = 0; group < 2; ++group) {
        tvmath_uint128 product;
        tvmath_mul_uint64(&product, fraction, tenDigits);
        cursor = writeTenDigits(cursor, product.high);
        fraction = product.low;
    }

    const auto count = static_cast<size_t>(cursor - text);
    if (!answer.hasRoomFor(count))
        return answer.fail(scpi::queryError);
    return answer.finish(std::copy_n(text, count, dst));
}

int scpi_tv_pow2strf(const tvpow* value, char* dst, int room, int32_t* length, int flags) {
    const Answer answer(dst, room, length);
    if (value == nullptr)
        return answer.text("0");
    float shown = *value;
    if ((flags & textDeviceUnit) == 0)
        if (const int error = scpi_tv_pow_unit_dev2user(value, &shown); error != 0)
            return answer.fail(error);
    return fixed(shown, (flags & textTwoDecimals) != 0 ? powerDecimalsShort : powerDecimals, answer);
}

int scpi_tv_pow2str(const tvpow* value, char* dst, int room, int32_t* length) {
    return scpi_tv_pow2strf(value, dst, room, length, textFixed);
}

int scpi_bool2str(bool value, char* dst, int room, int32_t* length) {
    return Answer(dst, room, length).text(value ? "1" : "0");
}

int scpi_uint2str(uint32_t value, char* dst, int room, int32_t* length) {
    return Answer(dst, room, length).number(value);
}

int scpi_int2str(int32_t value, char* dst, int room, int32_t* length) {
    return Answer(dst, room, length).number(value);
}

int scpi_chararray2str(const char* value, char* dst, int room, int32_t* length) {
    const Answer answer(dst, room, length);
    const char* const inner = value != nullptr ? value : "";
    const size_t count = std::strlen(inner);
    if (!answer.hasRoomFor(count + 2))
        return answer.fail(scpi::queryError);
    dst[0] = '"';
    std::memcpy(dst + 1, inner, count);
    dst[count + 1] = '"';
    return answer.finish(dst + count + 2);
}

void tvfreqPrint(const tvfreq* f) {
    char text[100];
    if (scpi_tv_freq2str(f, text, sizeof text, nullptr) == 0)
        printd("%s", text);
}
