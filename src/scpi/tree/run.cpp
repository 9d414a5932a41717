#include "scpi/tree/run.h"

#include "base/tvdebug.h"

namespace scpi {

void run_initFrequency(Unit& unit) {
    if (!Automeasure_configPN_setFrequency || !Automeasure_configPN_enableFreqInit || !Device_initImmediate)
        return;
    char* const text = onlyParameter(unit);
    if (text == nullptr)
        return;
    double frequency = 0; // Hz
    unit.errorCode = scpi_str2double(text, &frequency);
    if (unit.errorCode == 0)
        unit.errorCode = Automeasure_configPN_setFrequency(unit.device, frequency);
    if (unit.errorCode == 0)
        unit.errorCode = Automeasure_configPN_enableFreqInit(unit.device);
    if (unit.errorCode == 0)
        unit.errorCode = Device_initImmediate(unit.device);
}

void run_abort(Unit& unit) {
    if (!Device_abort || !noParameters(unit))
        return;
    unit.errorCode = Device_abort(unit.device);
    if (unit.errorCode == 0 && Device_abort_local)
        unit.errorCode = Device_abort_local(unit.device);
}

void run_triggerMode(Unit&) {
    printd("got <TRIG[:SEQ]:MODE>\n");
}

} // namespace scpi
