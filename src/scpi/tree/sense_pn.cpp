#include "scpi/tree/sense_pn.h"

#include "scpi/parameter_lists.h"
#include "scpi/parameters.h"

#include <cmath>
#include <cstdlib>

namespace scpi {
namespace {

/// A plain number that a float holds, with nothing behind it.
bool readFloat(const char* text, float& value) {
    char* end = nullptr;
    value = static_cast<float>(strtod(text, &end));
    return end != text && *end == 0 && std::isfinite(value);
}

} // namespace

void sensePn_functionRange(Unit& unit) {
    if (!Automeasure_configPN_setFunctionRange)
        return;
    char* startText = nullptr;
    char* stopText = nullptr;
    unit.errorCode = _scpi_getParameters(unit.cursor, &startText, &stopText);
    if (unit.errorCode != 0)
        return;
    float start = 0;
    float stop = 0;
    if (readFloat(startText, start) && readFloat(stopText, stop))
        unit.errorCode = Automeasure_configPN_setFunctionRange(unit.device, start, stop);
    else
        unit.errorCode = illegalParameterValue;
}

void sensePn_testSet(Unit& unit) {
    if (unit.mode == modeQuery) {
        if (!Automeasure_getTestSetDefinition || !noParameters(unit))
            return;
        const char* text = nullptr;
        unit.errorCode = Automeasure_getTestSetDefinition(unit.device, &text);
        if (unit.errorCode == 0)
            answerText(unit, {text != nullptr ? text : ""});
    } else {
        paramListParser_AteTestSetCmd(unit.link, unit.cursor, unit.answer, unit.answerRoom, scpi_analyse_cbufFull());
        unit.errorCode = 0; // the list reports for itself, when its last part has been read
    }
}

} // namespace scpi
