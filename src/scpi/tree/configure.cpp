#include "scpi/tree/configure.h"

#include <algorithm>
#include <cstdint>

namespace scpi {

void configure_sampleFrequency(Unit& unit) {
    if (!Device_getBaseSampleFrequency || !noParameters(unit))
        return;
    const double hertz = Device_getBaseSampleFrequency(unit.device);
    answerInt(unit, static_cast<int32_t>(std::clamp<double>(hertz, INT32_MIN, INT32_MAX)));
}

void configure_gain(Unit& unit) {
    if (unit.mode == modeQuery)
        return runReading<Device_getLnaGain>(unit);
    if (!Device_setLnaGain)
        return;
    if (char* const text = onlyParameter(unit); text != nullptr) {
        int32_t gain = 0;
        unit.errorCode = scpi_str2int(text, &gain);
        if (unit.errorCode == 0)
            unit.errorCode = Device_setLnaGain(unit.device, gain);
    }
}

void configure_gainList(Unit& unit) {
    if (!Device_getLnaGainList || !noParameters(unit))
        return;
    std::array<char, listTextSize> list{};
    unit.errorCode = Device_getLnaGainList(unit.device, list.data());
    if (unit.errorCode == 0)
        answerText(unit, {list.data()});
}

} // namespace scpi
