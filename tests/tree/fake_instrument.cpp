#include "fake_instrument.h"

#include "scpi/execution_cycle.h"
#include "scpi/text/power_unit.h"

#include <cstring>
#include <functional>
#include <sstream>
#include <utility>

namespace tree {
namespace {

std::vector<std::function<void()>> cleanUp;

bool isReader(std::string_view name) {
    if (name == "Device_getFilteredSamples") // takes them
        return false;
    return name.find("_get") != name.npos || name.find("_is") != name.npos || name.find("_measureSupply") != name.npos;
}
bool isMaximum(std::string_view name) {
    return name.find("_getMax") != name.npos || (name.ends_with("Max") && name.find("Min") == name.npos);
}

void write(std::ostream& out, const tvfreq* frequency) {
    out << frequency->intPart;
}
void write(std::ostream& out, auto value) {
    out << value;
}

template <class Result> Result answer(double number) {
    return static_cast<Result>(number);
}
template <> const tvfreq* answer(double number) {
    static tvfreq frequency;
    frequency = {static_cast<int64_t>(number), 0};
    return &frequency;
}
template <> const tvpow* answer(double number) {
    static tvpow power;
    power = static_cast<tvpow>(number);
    return &power;
}

/// Notes a call of a slot that acts; gives the slot's result.
template <auto& slot, class SlotType> struct Fake;
template <auto& slot, class Result, class... Arguments> struct Fake<slot, Slot<Result(Device*, Arguments...)>> {
    inline static std::string name;

    static Result call(Device*, Arguments... arguments) {
        if constexpr (std::is_same_v<std::tuple<Arguments...>, std::tuple<const float**>>) {
            (*arguments, ...) = traceData.data();
            return traceBytes;
        } else {
            if (!isReader(name)) {
                std::ostringstream note;
                note << name << '(';
                const char* comma = "";
                ((note << comma, write(note, arguments), comma = ","), ...);
                notes.push_back(note.str() + ')');
            }
            return answer<Result>(results[name]);
        }
    }
};

#define FAKE(slot) fill<slot>(#slot)
template <auto& slot> void fill(const char* name) {
    using Calls = Fake<slot, std::remove_reference_t<decltype(slot)>>;
    Calls::name = name;
    slot = Calls::call;
    const auto own = static_cast<double>(cleanUp.size());
    results[name] = !isReader(name) ? 0 : isMaximum(name) ? 1000 + own : own;
    cleanUp.push_back([] { slot.unregister(); });
}

template <class SlotType, class Function> void fillWith(SlotType& slot, Function function) {
    slot = function;
    cleanUp.push_back([&slot] { slot.unregister(); });
}

} // namespace

void fillSlots() {
    // clang-format off
    FAKE(Automeasure_calculateAVariance); FAKE(Automeasure_configBB_setMeasurementMethod);
    FAKE(Automeasure_configPN_disableAutoAttenuation); FAKE(Automeasure_configPN_disableAutoFrequency);
    FAKE(Automeasure_configPN_disableAutoIFgain); FAKE(Automeasure_configPN_disableAutoKphi);
    FAKE(Automeasure_configPN_disableAutoLoopBW); FAKE(Automeasure_configPN_disableSmoothing);
    FAKE(Automeasure_configPN_disableSpurOmission); FAKE(Automeasure_configPN_enableAutoAttenuation);
    FAKE(Automeasure_configPN_enableAutoFrequency); FAKE(Automeasure_configPN_enableAutoIFgain);
    FAKE(Automeasure_configPN_enableAutoKphi); FAKE(Automeasure_configPN_enableAutoLoopBW);
    FAKE(Automeasure_configPN_enableFreqInit); FAKE(Automeasure_configPN_enableSmoothing);
    FAKE(Automeasure_configPN_enableSpurOmission); FAKE(Automeasure_configPN_getAttenuation);
    FAKE(Automeasure_configPN_getCorrelations); FAKE(Automeasure_configPN_getFrequency);
    FAKE(Automeasure_configPN_getIFgain); FAKE(Automeasure_configPN_getIterations);
    FAKE(Automeasure_configPN_getLoopBandwidth); FAKE(Automeasure_configPN_getMaxReferenceSens);
    FAKE(Automeasure_configPN_getMinReferenceSens); FAKE(Automeasure_configPN_getOffsetMax);
    FAKE(Automeasure_configPN_getOffsetMin); FAKE(Automeasure_configPN_getPointsPerDecade);
    FAKE(Automeasure_configPN_getRedoAttenuation); FAKE(Automeasure_configPN_getRedoFrequency);
    FAKE(Automeasure_configPN_getRedoIFgain); FAKE(Automeasure_configPN_getRedoKphi);
    FAKE(Automeasure_configPN_getReferenceSens); FAKE(Automeasure_configPN_getSmoothingAperture);
    FAKE(Automeasure_configPN_getSpotFrequency); FAKE(Automeasure_configPN_getSpurThreshold);
    FAKE(Automeasure_configPN_isAutoAttenuation); FAKE(Automeasure_configPN_isAutoFrequency);
    FAKE(Automeasure_configPN_isAutoIFgain); FAKE(Automeasure_configPN_isAutoKphi);
    FAKE(Automeasure_configPN_isAutoLoopBW); FAKE(Automeasure_configPN_isSmoothingEnabled);
    FAKE(Automeasure_configPN_isSpurOmissionEnabled); FAKE(Automeasure_configPN_resetDetectFlags);
    FAKE(Automeasure_configPN_setAttenuation); FAKE(Automeasure_configPN_setCorrelations);
    FAKE(Automeasure_configPN_setFrequency); FAKE(Automeasure_configPN_setFunctionRange);
    FAKE(Automeasure_configPN_setIFgain); FAKE(Automeasure_configPN_setIterations); FAKE(Automeasure_configPN_setKphi);
    FAKE(Automeasure_configPN_setLoopBandwidth); FAKE(Automeasure_configPN_setMeasurementMethod);
    FAKE(Automeasure_configPN_setOffsetMax); FAKE(Automeasure_configPN_setOffsetMin);
    FAKE(Automeasure_configPN_setPointsPerDecade); FAKE(Automeasure_configPN_setRedoAttenuation);
    FAKE(Automeasure_configPN_setRedoFrequency); FAKE(Automeasure_configPN_setRedoIFgain);
    FAKE(Automeasure_configPN_setRedoKphi); FAKE(Automeasure_configPN_setReference);
    FAKE(Automeasure_configPN_setReferenceSens); FAKE(Automeasure_configPN_setReferenceVoltage);
    FAKE(Automeasure_configPN_setSmoothingAperture); FAKE(Automeasure_configPN_setSpotFrequency);
    FAKE(Automeasure_configPN_setSpurThreshold); FAKE(Automeasure_configVCO_disableFrequency);
    FAKE(Automeasure_configVCO_disableISupply); FAKE(Automeasure_configVCO_disableKPush);
    FAKE(Automeasure_configVCO_disableKVCO); FAKE(Automeasure_configVCO_disablePhaseNoise);
    FAKE(Automeasure_configVCO_disablePower); FAKE(Automeasure_configVCO_enableFrequency);
    FAKE(Automeasure_configVCO_enableISupply); FAKE(Automeasure_configVCO_enableKPush);
    FAKE(Automeasure_configVCO_enableKVCO); FAKE(Automeasure_configVCO_enablePhaseNoise);
    FAKE(Automeasure_configVCO_enablePower); FAKE(Automeasure_configVCO_getMaxVoltagePoints);
    FAKE(Automeasure_configVCO_getMaxVoltageStart); FAKE(Automeasure_configVCO_getMaxVoltageStop);
    FAKE(Automeasure_configVCO_getMinVoltagePoints); FAKE(Automeasure_configVCO_getMinVoltageStart);
    FAKE(Automeasure_configVCO_getMinVoltageStop); FAKE(Automeasure_configVCO_getNumberOfUsedOffsets);
    FAKE(Automeasure_configVCO_getPnOffset); FAKE(Automeasure_configVCO_getVoltagePoints);
    FAKE(Automeasure_configVCO_getVoltageStart); FAKE(Automeasure_configVCO_getVoltageStop);
    FAKE(Automeasure_configVCO_isFrequencyEnabled); FAKE(Automeasure_configVCO_isISupplyEnabled);
    FAKE(Automeasure_configVCO_isKPushEnabled); FAKE(Automeasure_configVCO_isKVCOEnabled);
    FAKE(Automeasure_configVCO_isPhaseNoiseEnabled); FAKE(Automeasure_configVCO_isPowerEnabled);
    FAKE(Automeasure_configVCO_setPnOffsets); FAKE(Automeasure_configVCO_setReference);
    FAKE(Automeasure_configVCO_setVoltagePoints); FAKE(Automeasure_configVCO_setVoltageStart);
    FAKE(Automeasure_configVCO_setVoltageStop); FAKE(Automeasure_config_disableAutoFrequency);
    FAKE(Automeasure_config_disablePulse); FAKE(Automeasure_config_enableAutoFrequency);
    FAKE(Automeasure_config_enablePulse); FAKE(Automeasure_config_getFrequency);
    FAKE(Automeasure_config_getFrequencyRaw); FAKE(Automeasure_config_getKphi_converted);
    FAKE(Automeasure_config_getMaxAttenuation); FAKE(Automeasure_config_getMaxCorrelations);
    FAKE(Automeasure_config_getMaxFrequency); FAKE(Automeasure_config_getMaxIFgain);
    FAKE(Automeasure_config_getMaxIterations); FAKE(Automeasure_config_getMaxKphi);
    FAKE(Automeasure_config_getMaxLoopBandwidth); FAKE(Automeasure_config_getMaxOffsetMax);
    FAKE(Automeasure_config_getMaxOffsetMin); FAKE(Automeasure_config_getMaxPointsPerDecade);
    FAKE(Automeasure_config_getMaxSpotFrequency); FAKE(Automeasure_config_getMeasurementMode);
    FAKE(Automeasure_config_getMinAttenuation); FAKE(Automeasure_config_getMinCorrelations);
    FAKE(Automeasure_config_getMinFrequency); FAKE(Automeasure_config_getMinIFgain);
    FAKE(Automeasure_config_getMinIterations); FAKE(Automeasure_config_getMinKphi);
    FAKE(Automeasure_config_getMinLoopBandwidth); FAKE(Automeasure_config_getMinOffsetMax);
    FAKE(Automeasure_config_getMinOffsetMin); FAKE(Automeasure_config_getMinPointsPerDecade);
    FAKE(Automeasure_config_getMinSpotFrequency); FAKE(Automeasure_config_getPower);
    FAKE(Automeasure_config_getPowerRaw); FAKE(Automeasure_config_getPulseStatus);
    FAKE(Automeasure_config_getRedoFrequency); FAKE(Automeasure_config_getVCODUTType);
    FAKE(Automeasure_config_isAutoFrequency); FAKE(Automeasure_config_reset); FAKE(Automeasure_config_resetDetectFlags);
    FAKE(Automeasure_config_searchForDUT); FAKE(Automeasure_config_selectConfiguration);
    FAKE(Automeasure_config_setFrequency); FAKE(Automeasure_config_setMeasurementMode);
    FAKE(Automeasure_config_setRedoFrequency); FAKE(Automeasure_config_setVCODUTType);
    FAKE(Automeasure_execSensitivity); FAKE(Automeasure_getFunctionAVarianceSigma);
    FAKE(Automeasure_getFunctionAVarianceTau); FAKE(Automeasure_getFunctionIntegral);
    FAKE(Automeasure_getFunctionJitter); FAKE(Automeasure_getISupply); FAKE(Automeasure_getKPush);
    FAKE(Automeasure_getKVCO); FAKE(Automeasure_getMaxSmoothingAperture); FAKE(Automeasure_getMaxSpurThreshold);
    FAKE(Automeasure_getMinSmoothingAperture); FAKE(Automeasure_getMinSpurThreshold);
    FAKE(Automeasure_getPnSpectrumData); FAKE(Automeasure_getPnSpectrumFreq); FAKE(Automeasure_getPnSpectrumPowerData);
    FAKE(Automeasure_getPnSpotSpectrumData); FAKE(Automeasure_getPreliminaryAverageCount);
    FAKE(Automeasure_getPreliminaryCorrelationCount); FAKE(Automeasure_getSpurData); FAKE(Automeasure_getSpurFreq);
    FAKE(Automeasure_getVCOFrequency); FAKE(Automeasure_getVCOIteration); FAKE(Automeasure_getVCOPower);
    FAKE(Automeasure_getVoltage); FAKE(Automeasure_timedWaitForMeasurement);
    FAKE(Automeasure_timedWaitForVCOMeasurement); FAKE(Automeasure_waitForMeasurement);
    FAKE(Automeasure_waitForVCOMeasurement); FAKE(Device_abort); FAKE(Device_abort_local);
    FAKE(Device_capturePhaseNoiseFdSamples); FAKE(Device_disableAutoPrescaler);
    FAKE(Device_disableDutTuneOutputVoltage); FAKE(Device_disableFrequencyRounding); FAKE(Device_disableFuncout);
    FAKE(Device_disableOCXO); FAKE(Device_disablePreamplifier); FAKE(Device_disableReferenceLownoise);
    FAKE(Device_disableRf); FAKE(Device_disableSupplyOutput); FAKE(Device_enableAutoPrescaler);
    FAKE(Device_enableDutTuneOutputVoltage); FAKE(Device_enableFrequencyRounding); FAKE(Device_enableFuncout);
    FAKE(Device_enableOCXO); FAKE(Device_enablePreamplifier); FAKE(Device_enableReferenceLownoise);
    FAKE(Device_enableRf); FAKE(Device_enableSupplyOutput); FAKE(Device_getBaseSampleFrequency);
    FAKE(Device_getContTemperature); FAKE(Device_getCounterMinimum); FAKE(Device_getDefaultSourceIndex);
    FAKE(Device_getDutTuneOutputVoltage); FAKE(Device_getExternalTuneOutputVoltage); FAKE(Device_getFNSize);
    FAKE(Device_getFilteredSamples); FAKE(Device_getFrequencyFixed); FAKE(Device_getFrequencyMax);
    FAKE(Device_getFrequencyMin); FAKE(Device_getInternalReferenceSelection); FAKE(Device_getLfgAmplitude);
    FAKE(Device_getLfgFrequency); FAKE(Device_getLfgFrequencyMax); FAKE(Device_getLfgFrequencyMin);
    FAKE(Device_getLnaGain); FAKE(Device_getPhaseNoiseChannels); FAKE(Device_getPhaseNoiseDivider);
    FAKE(Device_getPhaseNoiseFdBufferSize); FAKE(Device_getPhaseNoiseSamples);
    FAKE(Device_getPhaseNoiseValidSamplesCount); FAKE(Device_getPowerFixed); FAKE(Device_getPowerRaw);
    FAKE(Device_getPrescaler); FAKE(Device_getREFPower); FAKE(Device_getSourceIndexMax); FAKE(Device_getSourceIndexMin);
    FAKE(Device_getSupplyOutputCurrent); FAKE(Device_getSupplyOutputCurrentMax); FAKE(Device_getSupplyOutputCurrentMin);
    FAKE(Device_getSupplyOutputVoltage); FAKE(Device_getSupplyOutputVoltageMax); FAKE(Device_getSupplyOutputVoltageMin);
    FAKE(Device_getTuneOutputVoltage); FAKE(Device_initImmediate); FAKE(Device_isAutoPrescaler);
    FAKE(Device_isDutTuneOutputVoltageEnabled); FAKE(Device_isFrequencyRoundingEnabled); FAKE(Device_isFuncoutEnabled);
    FAKE(Device_isFuncoutSourceDac); FAKE(Device_isFuncoutSourceHigh); FAKE(Device_isFuncoutSourceLfg);
    FAKE(Device_isFuncoutSourceLow); FAKE(Device_isFuncoutSourcePulm); FAKE(Device_isFuncoutSourceTrigger);
    FAKE(Device_isInternalReferenceReady); FAKE(Device_isLfgShapeSine); FAKE(Device_isLfgShapeSquare);
    FAKE(Device_isLfgShapeTriangle); FAKE(Device_isPhaseNoiseAlgBoardASelected);
    FAKE(Device_isPhaseNoiseAlgBoardBSelected); FAKE(Device_isPreamplifierEnabled);
    FAKE(Device_isReferenceLownoiseEnabled); FAKE(Device_isReferenceSource10MInternal);
    FAKE(Device_isReferenceSource10MLocked); FAKE(Device_isReferenceSourceInternal); FAKE(Device_isRfEnabled);
    FAKE(Device_isSupplyOutputEnabled); FAKE(Device_isTriggerSourceExternal); FAKE(Device_isTriggerSourceImmediate);
    FAKE(Device_loadCalibrationData); FAKE(Device_measureFrequency); FAKE(Device_measureSupplyOutputCurrent);
    FAKE(Device_phaseNoiseSampling_endHMode); FAKE(Device_phaseNoiseSampling_getHBytes);
    FAKE(Device_phaseNoiseSampling_startHMode); FAKE(Device_selectPhaseNoiseAlgBoardA);
    FAKE(Device_selectPhaseNoiseAlgBoardB); FAKE(Device_selftest); FAKE(Device_setCounterMinimum);
    FAKE(Device_setDutTuneOutputVoltage); FAKE(Device_setExternalTuneOutputVoltage); FAKE(Device_setFrequencyFixed);
    FAKE(Device_setFuncoutDac); FAKE(Device_setFuncoutSourceDac); FAKE(Device_setFuncoutSourceHigh);
    FAKE(Device_setFuncoutSourceLfg); FAKE(Device_setFuncoutSourceLow); FAKE(Device_setFuncoutSourcePulm);
    FAKE(Device_setFuncoutSourceTrigger); FAKE(Device_setInternalReferenceSelection); FAKE(Device_setLfgAmplitude);
    FAKE(Device_setLfgFrequency); FAKE(Device_setLfgShapeSine); FAKE(Device_setLfgShapeSquare);
    FAKE(Device_setLfgShapeTriangle); FAKE(Device_setLnaGain); FAKE(Device_setPath); FAKE(Device_setPhaseNoiseChannels);
    FAKE(Device_setPhaseNoiseDivider); FAKE(Device_setPhaseNoiseSamples); FAKE(Device_setPrescaler);
    FAKE(Device_setReferenceSource10MExternal); FAKE(Device_setReferenceSource10MInternal);
    FAKE(Device_setReferenceSourceExternal); FAKE(Device_setReferenceSourceExternalAmpAtt);
    FAKE(Device_setReferenceSourceInternal); FAKE(Device_setSupplyOutputCurrent); FAKE(Device_setSupplyOutputVoltage);
    FAKE(Device_setTotalStepAttenuation); FAKE(Device_setTriggerSourceExternal); FAKE(Device_setTriggerSourceImmediate);
    FAKE(Device_setTuneOutputVoltage);
    // clang-format on
    fillWith(Device_getName, [](Device*) -> const char* { return "TVPNX"; });
    fillWith(Device_getStatusRegisters, [](Device*) { return &registers; });
    fillWith(Device_getLnaGainList, [](Device*, char* list) { return strcpy(list, text.c_str()), 0; });
    fillWith(Automeasure_getTestSet, [](Device*, const char** list) { return *list = text.c_str(), 0; });
    fillWith(Automeasure_getTestSetDefinition, [](Device*, const char** list) { return *list = text.c_str(), 0; });
    fillWith(Automeasure_setTestSetDefinition, [](Device*, const TestSetDefinition* list) {
        std::ostringstream note;
        for (; list->type != testSetEnd; ++list)
            note << list->type << ':' << list->value << ' ';
        notes.push_back("test set " + note.str());
        return 0;
    });
    fillWith(Automeasure_getVcoPnOffset, [](Device*, const float** data, int32_t offset) {
        notes.push_back("offset " + std::to_string(offset));
        *data = traceData.data();
        return traceBytes;
    });
    fillWith(Device_getPhaseNoiseFdBuffer, [](Device*, uint32_t stage, const void** data) {
        notes.push_back("stage " + std::to_string(stage));
        *data = traceData.data();
        return traceBytes;
    });
    fillWith(Device_getPhaseNoiseFbuffer, [](Device*, uint32_t channel, uint32_t segment, const uint16_t** data) {
        static constexpr uint16_t samples[2][2] = {{0x6141, 0x6242}, {0x6343, 0x6444}}; // "AaBb", "CcDd"
        *data = samples[channel];
        return segment == 0 ? 4 : segment == 1 ? 2 : 0;
    });
    fillWith(Device_phaseNoiseSampling_handler, [](Device*, int count, uint32_t offset, char* buffer) {
        for (int i = 0; i < count; ++i)
            buffer[i] = static_cast<char>('a' + (offset + static_cast<uint32_t>(i)) % 26);
        return count;
    });
}

void emptySlots() {
    for (const auto& empty : std::exchange(cleanUp, {}))
        empty();
    results.clear();
    notes.clear();
    text.clear();
    traceData.clear();
    traceBytes = 0;
}

Tree::Tree() {
    fillSlots();
    deviceStatusRegistersInit(&registers);
    char unit[] = "dBm";
    EXPECT_EQ(scpi_unit_setPowerUnit(unit), 0);
    context_.tree = scpi::commandTree();
    scpi_parser_init(&context_);
    scpi_link_initAll(&link_list);
    scpi_link_init(&link_list, &link_, size, size, "memory");
    scpi_link_init(&link_list, &link_file, size, size, "File");
    scpi_link_init(&link_list, &link_socket, size, size, "TCP");
}

Tree::~Tree() {
    for (scpi_link* link : {&link_, &link_file, &link_socket})
        scpi_link_destroy(link);
    emptySlots();
}

std::string Tree::tell(scpi_link* link, std::string_view line) {
    const std::string message = std::string(line) + '\n';
    tvcommWriteCmd(link, message.data(), static_cast<int>(message.size()));
    std::string answers;
    for (int more = 1; more != 0;) {
        scpi_link_doHandle(link);
        openSynchronousDeviceAccess();
        scpi_execute_link(link);
        closeSynchronousDeviceAccess();
        scpi_link_waitHandled(link);
        char* bytes = nullptr;
        const int count = tvcommPeekAns(link, &bytes, nullptr);
        answers.append(bytes, static_cast<size_t>(count));
        tvcommClearAns(link, count, &more);
    }
    return answers;
}

Codes Tree::errors() {
    Codes codes;
    while (!scpi_isErrorQueueEmpty(&context_.errors)) {
        int32_t code = 0;
        int32_t length = 0;
        char entry[128];
        EXPECT_EQ(0, scpi_popErrorQueue(&context_.errors, &code, entry, sizeof entry, &length));
        codes.push_back(code);
    }
    return codes;
}

} // namespace tree
