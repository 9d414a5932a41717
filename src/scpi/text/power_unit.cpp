#include "scpi/text/power_unit.h"

#include "base/error_codes.h"
#include "scpi/text/suffix.h"

#include <cmath>
#include <cstring>

namespace {

// What lies 0 dBm below each reference.
constexpr double dBmOfWatt = 30;
constexpr double dBmOfVolt = 13.0102999566398;   // 1 V on 50 ohms: 20 mW
constexpr double dBmOfAmpere = 46.9897000433602; // 1 A through 50 ohms: 50 W
constexpr int milliwattExponent = -3;

int storeIfFinite(double result, float* out) {
    const auto single = static_cast<float>(result);
    if (!std::isfinite(single))
        return scpi::dataOutOfRange;
    *out = single;
    return 0;
}

const scpi_unit& userUnit() {
    return unitPower.current != nullptr ? *unitPower.current : unitPower.rows.front();
}

} // namespace

int scpi_unit_setPowerUnit(char* text) {
    if (text == nullptr)
        return scpi::illegalParameterValue;
    const scpi_unit* row = nullptr;
    if (const int error = scpi_parseSuffix(text, &unitPower, 0, &row); error != 0)
        return error;
    if (scpi_isLinearSuffix(row) && row->exponent != 0)
        return scpi::invalidSuffix;
    unitPower.current = row;
    return 0;
}

void scpi_unit_getPowerUnit(char* dst, const char** name) {
    static_assert(sizeof(scpi_unit::name) == scpi_unitNameSize);
    const scpi_unit& unit = userUnit();
    if (dst != nullptr)
        std::memcpy(dst, unit.name, sizeof unit.name);
    if (name != nullptr)
        *name = unit.name;
}

int scpi_tv_pow_unit_dev2user(const tvpow* power, float* value) {
    const double x = *power;
    const scpi_unit& unit = userUnit();
    const double e = unit.exponent;
    switch (unit.unitType) {
    case unitLinear: return storeIfFinite(std::pow(10, (x - dBmOfWatt) / 10), value);
    case unitVolt: return storeIfFinite(std::pow(10, (x - dBmOfVolt) / 20), value);
    case unitAmpere: return storeIfFinite(std::pow(10, (x - dBmOfAmpere) / 20), value);
    case unitLogVolt: return storeIfFinite(x - dBmOfVolt - 20 * e, value);
    case unitLogAmpere: return storeIfFinite(x - dBmOfAmpere - 20 * e, value);
    default: // unitLogWatt; the device unit passes unchanged
        return storeIfFinite(unit.exponent == milliwattExponent ? x : x - dBmOfWatt - 10 * e, value);
    }
}

int scpi_tv_powIndBm(const float* value, int logExponent, int unitType, tvpow* dbm) {
    const double x = *value;
    const double e = logExponent;
    switch (unitType) {
    case unitLinear: return storeIfFinite(10 * std::log10(x) + dBmOfWatt, dbm);
    case unitVolt: return storeIfFinite(20 * std::log10(x) + dBmOfVolt, dbm);
    case unitAmpere: return storeIfFinite(20 * std::log10(x) + dBmOfAmpere, dbm);
    case unitLogWatt: return storeIfFinite(10 * e + x + dBmOfWatt, dbm);
    case unitLogVolt: return storeIfFinite(20 * e + x + dBmOfVolt, dbm);
    case unitLogAmpere: return storeIfFinite(20 * e + x + dBmOfAmpere, dbm);
    default: return storeIfFinite(x, dbm);
    }
}
