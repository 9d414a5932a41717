#include "scpi/tree/source.h"

namespace scpi {

/// The device table tells internal from external, but not the two external inputs from each other: the one that was
/// chosen here last answers. What else switches to external takes the plain input, so an internal phase forgets it.
void source_referenceInput(Unit& unit) {
    static const char* externalInput = "EXT";
    if (unit.mode == modeQuery) {
        if (!Device_isReferenceSourceInternal || !noParameters(unit))
            return;
        const bool internal = Device_isReferenceSourceInternal(unit.device) != 0;
        if (internal)
            externalInput = "EXT";
        answerText(unit, {internal ? "INT" : externalInput});
    } else if (const Choice* const chosen = setChoice(unit, referenceInputs); chosen != nullptr) {
        externalInput = chosen->set == &Device_setReferenceSourceExternalAmpAtt ? chosen->reply : "EXT";
    }
}

} // namespace scpi
