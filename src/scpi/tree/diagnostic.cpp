#include "scpi/tree/diagnostic.h"

namespace scpi {

void diagnostic_tuneDelay(Unit& unit) {
    scpi_node_time(unit, {.get = &Automeasure_configVCO_getTuneDelay, .set = &Automeasure_configVCO_setTuneDelay});
    if (unit.errorCode > 0) // of a setter of the sweep
        unit.errorCode = dataOutOfRange;
}

void diagnostic_panelLine(Unit& unit) {
    if (!hcupdate)
        return;
    if (unit.mode == modeQuery) {
        if (noParameters(unit))
            answerText(unit, "HC comm test: command only!");
    } else if (const char* const text = onlyParameter(unit); text != nullptr) {
        unit.errorCode = hcupdate(text);
        if (unit.errorCode == -1)
            unit.errorCode = hardwareMissing;
    }
}

} // namespace scpi
