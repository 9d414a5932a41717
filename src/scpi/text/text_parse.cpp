#include "scpi/text/text_parse.h"

#include "base/error_codes.h"
#include "scpi/text/ascii.h"
#include "scpi/text/decimal.h"
#include "scpi/text/keyword.h"
#include "scpi/text/power_unit.h"

#include <cstring>

namespace {

/// A number of a table's kind on its way from text to value.
struct Decimal {
    char string[scpi_stddecstrSize];
    int unitType;
    int logExponent;

    [[nodiscard]] int read(char* text, const scpi_unit_table* unitTable, int flags = 0) {
        return scpi_str2stddecstr(text, string, &unitType, unitTable, &logExponent, flags);
    }
};

constexpr double radPerDegree = 0.017453292519943295;

} // namespace

int scpi_str2double_unit(char* text, double* value, const scpi_unit_table* unitTable) {
    Decimal decimal;
    const int error = decimal.read(text, unitTable);
    if (error == 0)
        *value = scpi_stdstr2double(decimal.string);
    return error;
}

int scpi_str2double(char* text, double* value) {
    return scpi_str2double_unit(text, value, nullptr);
}

int scpi_str2float(char* text, float* value) {
    double wide = 0;
    const int error = scpi_str2double(text, &wide);
    if (error == 0)
        *value = static_cast<float>(wide);
    return error;
}

namespace {

/// Nothing but digits, few enough for any integer: most settings are written so.
bool isShortNumber(const char* text, int32_t* value) {
    constexpr int digitsMax = 9;
    int32_t number = 0;
    int digits = 0;
    for (; text != nullptr && digits < digitsMax && scpi::isDigit(text[digits]); ++digits)
        number = number * 10 + (text[digits] - '0');
    *value = number;
    return digits > 0 && text[digits] == 0;
}

/// Any other number.
[[gnu::noinline]] int readInt(char* text, int32_t* value) {
    Decimal decimal;
    const int error = decimal.read(text, nullptr);
    if (error == 0)
        *value = scpi_stdstr2int(decimal.string);
    return error;
}

} // namespace

int scpi_str2int(char* text, int32_t* value) {
    int32_t number;
    if (!isShortNumber(text, &number))
        return readInt(text, value);
    *value = number;
    return 0;
}

int scpi_str2uint(char* text, uint32_t* value) {
    Decimal decimal;
    const int error = decimal.read(text, nullptr);
    if (error == 0)
        *value = scpi_stdstr2uint(decimal.string);
    return error;
}

int scpi_str2tv_freq(char* text, tvfreq* frequency) {
    Decimal decimal;
    const int error = decimal.read(text, &unitFrequency);
    if (error == 0)
        scpi_stdfmtstr2tv_freq(decimal.string, frequency);
    return error;
}

int scpi_str2tv_time(char* text, tv_time* time) {
    return scpi_str2double_unit(text, time, &unitTime);
}

int scpi_str2tv_angle(char* text, tv_angle* angle) {
    if (angle == nullptr)
        return scpi::executionError;
    Decimal decimal;
    const int error = decimal.read(text, &unitAngle);
    if (error != 0)
        return error;
    const double value = scpi_stdstr2double(decimal.string);
    *angle = decimal.unitType == unitDegree ? value * radPerDegree : value;
    return 0;
}

int scpi_str2ratio(char* text, double* ratio) {
    return scpi_str2double_unit(text, ratio, &unitRatio);
}

int scpi_str2tv_pow(char* text, tvpow* power, int flags) {
    Decimal decimal;
    if (const int error = decimal.read(text, &unitPower, flags); error != 0)
        return error;
    const auto value = static_cast<float>(scpi_stdstr2double(decimal.string));
    return scpi_tv_powIndBm(&value, decimal.logExponent, decimal.unitType, power);
}

int scpi_str2bool(char* text, bool* value) {
    int32_t number = scpi_isParam("ON", text);
    if (number == 0 && scpi_isParam("OFF", text) == 0)
        if (const int error = scpi_str2int(text, &number); error != 0)
            return error;
    *value = number != 0;
    return 0;
}

int scpi_str2chararray(char* text, char** start) {
    if (text == nullptr)
        return scpi::illegalParameterValue;
    char* const first = std::strchr(text, '"');
    char* const last = std::strrchr(text, '"');
    if (first == last)
        return scpi::illegalParameterValue;
    *last = '\0';
    *start = first + 1;
    return 0;
}
