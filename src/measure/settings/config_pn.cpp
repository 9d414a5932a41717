#include "measure/settings/config_pn.h"

#include "base/error_codes.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/config_hw.h"

namespace {

constexpr double decade = 10;

bool pnActive() {
    return measurement_mode == measurementModePN;
}

bool isReferenceChannel(int32_t channel) {
    return channel == 1 || channel == 2;
}

} // namespace

void config_storeOffsetMin(MeasSettings* config, double offset) {
    offset = limited(offset, setting_limits<&MeasConfig::offsetMin>());
    config->offsetMin = offset;
    if (config->offsetMax <= offset)
        config->offsetMax = limited(decade * offset, setting_limits<&MeasConfig::offsetMax>());
}

void config_storeOffsetMax(MeasSettings* config, double offset) {
    offset = limited(offset, setting_limits<&MeasConfig::offsetMax>());
    config->offsetMax = offset;
    if (config->offsetMin >= offset)
        config->offsetMin = limited(offset / decade, setting_limits<&MeasConfig::offsetMin>());
}

int configPN_setMeasurementMethod(Device*, int method) {
    // One channel alone needs a reference better than the normal one.
    if ((method == methodSingle || method == methodDut) && configPN.reference == referenceNormal)
        return scpi::illegalParameterValue;
    configPN.measurementMethod = static_cast<uint32_t>(method);
    return 0;
}

int configPN_setIFgain(Device* device, double gain) {
    if (!pnActive())
        return scpi::illegalParameterValue;
    if (const int error = configHW_setIFgain(device, gain); error != 0)
        return error;
    configPN.autoIFgain = 0;
    return 0;
}

int configPN_setKphi(Device* device, double kphi) {
    const int isA = Device_isPhaseNoiseAlgBoardASelected(device);
    if (isA < 0) // a run is selecting boards
        return isA;
    (isA != 0 ? configPN.kphiA : configPN.kphiB) = kphi;
    return 0;
}

int configPN_setFunctionRange(Device*, float start, float stop) {
    configPN.functionRangeStart = static_cast<double>(start);
    configPN.functionRangeStop = static_cast<double>(stop);
    return 0;
}

int configPN_setReference(Device* device, int reference) {
    const auto code = static_cast<uint32_t>(reference);
    if (code > referenceExternal)
        return scpi::illegalParameterValue;
    return config_changeReference(device, &configPN, code, pnActive());
}

double configPN_getReferenceSens(Device*, int32_t channel) {
    if (!pnActive())
        return configPN.referenceSens;
    if (!isReferenceChannel(channel))
        return -1;
    return channel == 1 ? configPN.refSensA : configPN.refSensB;
}

int configPN_setReferenceSens(Device* device, int32_t channel, double sensitivity) {
    if (!isReferenceChannel(channel) ||
        !(sensitivity > referenceSensLimits.min && sensitivity < referenceSensLimits.max))
        return scpi::illegalParameterValue;
    configPN.referenceSens = sensitivity;
    return pnActive() ? configHW_setReferenceSens(device, channel, sensitivity) : 0;
}

int configPN_setReferenceVoltage(Device* device, int32_t channel, double voltage) {
    if (!isReferenceChannel(channel) ||
        !(voltage >= referenceVoltageLimits.min && voltage <= referenceVoltageLimits.max))
        return scpi::illegalParameterValue;
    (channel == 1 ? configPN.referenceVoltage1 : configPN.referenceVoltage2) = voltage;
    if (pnActive() && configPN.reference == referenceExternal)
        return configHW_move(device, sideReferenceVoltage);
    return 0;
}

int configBB_setMeasurementMethod(Device*, int method) {
    if (method == methodDut)
        return scpi::illegalParameterValue;
    configBB.measurementMethod = static_cast<uint32_t>(method);
    return 0;
}
