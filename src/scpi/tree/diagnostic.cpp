#include "scpi/tree/diagnostic.h"

namespace scpi {

void diagnostic_tuneDelay(Unit& unit) {
    scpi_node_time(unit, {.get = &Automeasure_configVCO_getTuneDelay, .set = &Automeasure_configVCO_setTuneDelay});
    if (unit.errorCode > 0) // of a setter of the sweep
        unit.errorCode = dataOutOfRange;
}

} // namespace scpi
