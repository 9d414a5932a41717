#include "scpi/tree/sense_vco.h"

#include "scpi/parameters.h"

namespace scpi {

void senseVco_type(Unit& unit) {
    if (unit.mode == modeQuery && Automeasure_config_getVCODUTType && noParameters(unit)) {
        if (!answerWord(unit, vcoTypes, Automeasure_config_getVCODUTType(unit.device)))
            answerText(unit, {"unknown"});
    } else if (unit.mode == modeSet) {
        runKeyword<vcoTypes, Automeasure_config_setVCODUTType>(unit);
    }
}

void senseVco_offset(Unit& unit) {
    if (unit.mode == modeQuery) {
        if (Automeasure_configVCO_getPnOffset && noParameters(unit))
            unit.errorCode = scpi_double2str(Automeasure_configVCO_getPnOffset(unit.device, unit.index), unit.answer,
                                             unit.answerRoom, &unit.answerLength);
        return;
    }
    if (!Automeasure_configVCO_setPnOffsets)
        return;
    std::array<char*, 4> texts{};
    std::array<double, 4> offsets{};
    unit.errorCode = scpi_getParameters(unit.cursor, texts);
    for (size_t i = 0; i < texts.size() && unit.errorCode == 0; ++i)
        unit.errorCode = scpi_str2double(texts[i], &offsets[i]);
    if (unit.errorCode == 0)
        unit.errorCode =
            Automeasure_configVCO_setPnOffsets(unit.device, offsets[0], offsets[1], offsets[2], offsets[3]);
}

} // namespace scpi
