// The phase noise record, parameter by parameter.

#include "base/error_codes.h"
#include "measure/settings/config_accessors.h"
#include "measure/settings/staging.h"

namespace {

constexpr double decade = 10;

bool pnActive() {
    return measurement_mode == measurementModePN;
}

bool isReferenceChannel(int32_t channel) {
    return channel == 1 || channel == 2;
}

/// Has the stage plan follow a setting while the mode is active.
int followPlan(Device* device) {
    return pnActive() ? config_staging(device) : 0;
}

template <class T, class Value> int store(Shared<T>& field, Value value) {
    field = static_cast<T>(value);
    return 0;
}

} // namespace

// clang-format off

double  configPN_getFrequency(Device*) { return configPN.frequency; }
int     configPN_isAutoFrequency(Device*) { return configPN.autoFrequency != 0; }
int     configPN_enableAutoFrequency(Device*) { return store(configPN.autoFrequency, 1); }
int     configPN_disableAutoFrequency(Device*) { return store(configPN.autoFrequency, 0); }
int     configPN_getRedoFrequency(Device*) { return static_cast<int>(configPN.redoFrequency.get()); }
int     configPN_enableFreqInit(Device*) { return store(configPN.freqInit, 1); }
int     configPN_disableFreqInit(Device*) { return store(configPN.freqInit, 0); }
double  configPN_getOffsetMin(Device*) { return configPN.offsetMin; }
double  configPN_getOffsetMax(Device*) { return configPN.offsetMax; }
double  configPN_getSpotFrequency(Device*) { return configPN.spotFrequency; }
int32_t configPN_getIterations(Device*) { return configPN.iterations; }
int     configPN_setIterations(Device*, int32_t iterations) { return store(configPN.iterations, iterations); }
int32_t configPN_getCorrelations(Device*) { return configPN.correlations; }
int32_t configPN_getPointsPerDecade(Device*) { return configPN.pointsPerDecade; }
double  configPN_getAttenuation(Device*) { return configPN.attenuation; }
int     configPN_isAutoAttenuation(Device*) { return configPN.autoAttenuation != 0; }
int     configPN_enableAutoAttenuation(Device*) { return store(configPN.autoAttenuation, 1); }
int     configPN_disableAutoAttenuation(Device*) { return store(configPN.autoAttenuation, 0); }
int     configPN_getRedoAttenuation(Device*) { return static_cast<int>(configPN.redoAttenuation.get()); }
int     configPN_setRedoAttenuation(Device*, int redo) { return store(configPN.redoAttenuation, redo); }
double  configPN_getIFgain(Device*) { return configPN.ifGain; }
int     configPN_isAutoIFgain(Device*) { return configPN.autoIFgain != 0; }
int     configPN_enableAutoIFgain(Device*) { return store(configPN.autoIFgain, 1); }
int     configPN_disableAutoIFgain(Device*) { return store(configPN.autoIFgain, 0); }
int     configPN_getRedoIFgain(Device*) { return static_cast<int>(configPN.redoIFgain.get()); }
int     configPN_setRedoIFgain(Device*, int redo) { return store(configPN.redoIFgain, redo); }
int     configPN_isAutoKphi(Device*) { return configPN.autoKphi != 0; }
int     configPN_enableAutoKphi(Device*) { return store(configPN.autoKphi, 1); }
int     configPN_disableAutoKphi(Device*) { return store(configPN.autoKphi, 0); }
int     configPN_getRedoKphi(Device*) { return static_cast<int>(configPN.redoKphi.get()); }
int     configPN_setRedoKphi(Device*, int redo) { return store(configPN.redoKphi, redo); }
double  configPN_getLoopBandwidth(Device*) { return configPN.loopBandwidth; }
int     configPN_setLoopBandwidth(Device*, double bandwidth) { return store(configPN.loopBandwidth, std::fmax(bandwidth, loopBandwidthLimits.min)); }
int     configPN_isAutoLoopBW(Device*) { return configPN.autoLoopBW != 0; }
int     configPN_enableAutoLoopBW(Device*) { return store(configPN.autoLoopBW, 1); }
int     configPN_disableAutoLoopBW(Device*) { return store(configPN.autoLoopBW, 0); }
int     configPN_isSmoothingEnabled(Device*) { return configPN.smoothing != 0; }
int     configPN_enableSmoothing(Device*) { return store(configPN.smoothing, 1); }
int     configPN_disableSmoothing(Device*) { return store(configPN.smoothing, 0); }
double  configPN_getSmoothingAperture(Device*) { return configPN.smoothingAperture; }
int     configPN_setSmoothingAperture(Device*, double percent) { return store(configPN.smoothingAperture, percent); }
int     configPN_isSpurOmissionEnabled(Device*) { return configPN.spurOmission != 0; }
int     configPN_enableSpurOmission(Device*) { return store(configPN.spurOmission, 1); }
int     configPN_disableSpurOmission(Device*) { return store(configPN.spurOmission, 0); }
double  configPN_getSpurThreshold(Device*) { return configPN.spurThreshold; }
int     configPN_setSpurThreshold(Device*, double threshold) { return store(configPN.spurThreshold, threshold); }

// clang-format on

int configPN_setFrequency(Device* device, double frequency) {
    configPN.frequency = frequency;
    return pnActive() ? configHW_move(device, sideFrequency) : 0;
}

int configPN_setRedoFrequency(Device*, int redo) {
    configPN.redoFrequency = static_cast<uint32_t>(redo);
    if (redo == redoAlways) // a new DUT frequency invalidates the detector constants
        configPN.redoKphi = redoAlways;
    return 0;
}

void config_storeOffsetMin(MeasConfig* config, double offset) {
    offset = limited(offset, offsetMinLimits);
    config->offsetMin = offset;
    if (config->offsetMax <= offset)
        config->offsetMax = limited(decade * offset, offsetMaxLimits);
    config->gridChanged = 1;
}

void config_storeOffsetMax(MeasConfig* config, double offset) {
    offset = limited(offset, offsetMaxLimits);
    config->offsetMax = offset;
    if (config->offsetMin >= offset)
        config->offsetMin = limited(offset / decade, offsetMinLimits);
    config->gridChanged = 1;
}

int configPN_setOffsetMin(Device* device, double offset) {
    config_storeOffsetMin(&configPN, offset);
    return followPlan(device);
}

int configPN_setOffsetMax(Device* device, double offset) {
    config_storeOffsetMax(&configPN, offset);
    return followPlan(device);
}

int configPN_setCorrelations(Device* device, int32_t correlations) {
    configPN.correlations = correlations;
    return followPlan(device);
}

int configPN_setPointsPerDecade(Device*, int32_t points) {
    configPN.pointsPerDecade = points;
    configPN.gridChanged = 1;
    return 0;
}

int configPN_setSpotFrequency(Device* device, double offset) {
    configPN.spotFrequency = offset;
    return pnActive() ? configHW_move(device, sideSpotFrequency) : 0;
}

int configPN_setMeasurementMethod(Device*, int method) {
    // One channel alone needs a reference better than the normal one.
    if ((method == methodSingle || method == methodDut) && configPN.reference == referenceNormal)
        return scpi::illegalParameterValue;
    configPN.measurementMethod = static_cast<uint32_t>(method);
    return 0;
}

int configPN_setAttenuation(Device* device, double attenuation) {
    configPN.attenuation = limited(attenuation, attenuationLimits);
    return pnActive() ? configHW_move(device, sideAttenuation) : 0;
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
