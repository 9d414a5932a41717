#include "measure/settings/config_vco.h"

#include "base/error_codes.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"

#include <algorithm>

namespace {

constexpr int delayRefused = 3;
constexpr const Limits& pnOffsetLimits = rowOf<&VcoSettings::pnOffset>.limits;

double limitedPnOffset(double offset) {
    if (offset == 0)
        return 0;
    if (!(offset > pnOffsetLimits.min))
        return pnOffsetLimits.min;
    return std::min(offset, pnOffsetLimits.max);
}

} // namespace

const tv_time* configVCO_getTuneDelay(Device*) {
    static tv_time delay;
    delay = configVCO.tuneDelay;
    return &delay;
}

int configVCO_setTuneDelay(Device*, const tv_time* delay) {
    const Limits& limits = setting_limits<&VcoConfig::tuneDelay>();
    if (!(*delay >= limits.min && *delay <= limits.max))
        return delayRefused;
    configVCO.tuneDelay = *delay;
    return 0;
}

int configVCO_setReference(Device* device, int reference) {
    const auto code = static_cast<uint32_t>(reference);
    if (code > referenceExternal)
        return scpi::illegalParameterValue;
    return config_changeReference(device, &SweepRun::record(), code, SweepRun::active());
}

double configVCO_getPnOffset(Device*, int32_t number) {
    if (number < 1 || number > vcoPnOffsets)
        return -1;
    return configVCO.pnOffset[number - 1];
}

int configVCO_setPnOffsets(Device*, double offset1, double offset2, double offset3, double offset4) {
    const double offsets[vcoPnOffsets] = {offset1, offset2, offset3, offset4};
    for (int i = 0; i < vcoPnOffsets; ++i)
        configVCO.pnOffset[i] = limitedPnOffset(offsets[i]);
    return 0;
}

int configVCO_getNumberOfUsedOffsets(Device*) {
    return static_cast<int>(
        std::ranges::count_if(configVCO.pnOffset, [](const Shared<double>& offset) { return offset > 0; }));
}
