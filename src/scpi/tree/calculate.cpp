#include "scpi/tree/calculate.h"

#include "scpi/parameters.h"
#include "scpi/text/keyword.h"

namespace scpi {
namespace {

/// What a wait is asked for: a whole run, or the save of an average.
struct Wait {
    int all = 0;
    int32_t count = 0;
    int32_t timeout = 0; // ms; none unless positive
};

/// Reads "[ALL|NEXT|<count>[,<timeout>]]". False with the unit's error if it is none of that.
bool readWait(Unit& unit, Wait& wait) {
    std::array<char*, 2> fields{};
    const int taken = upToParameters(unit, fields);
    if (taken < 0)
        return false;
    int32_t error = 0;
    if (taken >= 1) {
        if (scpi_isParam("ALL", fields[0]))
            wait.all = 1;
        else if (!scpi_isParam("NEXT", fields[0]))
            error = scpi_str2int(fields[0], &wait.count);
    }
    if (taken == 2 && error == 0)
        error = scpi_str2int(fields[1], &wait.timeout);
    if (error != 0)
        unit.errorCode = error;
    return error == 0;
}

} // namespace

void calculate_waitForAverage(Unit& unit) {
    if (!Automeasure_waitForMeasurement && !Automeasure_timedWaitForMeasurement)
        return;
    Wait wait;
    if (!readWait(unit, wait))
        return;
    if (wait.timeout > 0 && Automeasure_timedWaitForMeasurement)
        unit.errorCode = Automeasure_timedWaitForMeasurement(unit.device, wait.all, wait.count, wait.timeout);
    else if (wait.timeout <= 0 && Automeasure_waitForMeasurement)
        unit.errorCode = Automeasure_waitForMeasurement(unit.device, wait.all, wait.count);
}

void calculate_waitForVco(Unit& unit) {
    if (!Automeasure_waitForVCOMeasurement && !Automeasure_timedWaitForVCOMeasurement)
        return;
    Wait wait;
    if (!readWait(unit, wait))
        return;
    if (wait.timeout > 0 && Automeasure_timedWaitForVCOMeasurement)
        unit.errorCode = Automeasure_timedWaitForVCOMeasurement(unit.device, wait.all, wait.timeout);
    else if (wait.timeout <= 0 && Automeasure_waitForVCOMeasurement)
        unit.errorCode = Automeasure_waitForVCOMeasurement(unit.device, wait.all);
}

void calculate_testSetResults(Unit& unit) {
    if (!Automeasure_getTestSet || !noParameters(unit))
        return;
    const char* text = nullptr;
    unit.errorCode = Automeasure_getTestSet(unit.device, &text);
    if (unit.errorCode == 0)
        answerText(unit, {text != nullptr ? text : ""});
}

void calculate_spot(Unit& unit) {
    if (!Automeasure_getPnSpotSpectrumData)
        return;
    if (!scpi_isEmptyCommand(unit.cursor)) {
        if (!Automeasure_configPN_setSpotFrequency)
            return;
        char* const text = onlyParameter(unit);
        if (text == nullptr)
            return;
        double offset = 0;
        unit.errorCode = scpi_str2double(text, &offset);
        if (unit.errorCode == 0)
            unit.errorCode = Automeasure_configPN_setSpotFrequency(unit.device, offset);
        if (unit.errorCode != 0)
            return;
    }
    unit.errorCode = scpi_double2str(Automeasure_getPnSpotSpectrumData(unit.device), unit.answer, unit.answerRoom,
                                     &unit.answerLength);
}

void calculate_vcoNoise(Unit& unit) {
    if (!Automeasure_getVcoPnOffset)
        return;
    char* const text = onlyParameter(unit);
    if (text == nullptr)
        return;
    int32_t offset = 0;
    const float* data = nullptr;
    unit.errorCode = illegalParameterValue;
    if (scpi_str2int(text, &offset) != 0)
        return;
    if (const int bytes = Automeasure_getVcoPnOffset(unit.device, &data, offset); bytes > 0)
        answerBlock(unit, bytes, data);
}

void calculate_baseband(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode = commandNotYetImplemented;
}

} // namespace scpi
