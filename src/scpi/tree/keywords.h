#pragma once
/// Words of the settings that more than one branch knows: the same table serves parse, answer and manual.

#include "scpi/tree/leaves.h"

namespace scpi {

inline constexpr Word measurementModes[] = {
    {"PN", "PN", modePn},    {"APN", "APN", modeApn},          {"BB", "BB", modeBaseband},
    {"VCO", "VCO", modeVco}, {"TRAN", "TRANS", modeTransient},
};
inline constexpr Word olderMeasurementModes[] = {
    {"PN", "PN", modePn},
    {"BB", "BB", modeBaseband},
    {"TRAN", "TRANS", modeTransient},
};
inline constexpr Word redoWords[] = {{"ALWays", "ALW", 0}, {"ONCe", "ONCE", 1}, {"NEVer", "NEV", 2}};
inline constexpr Word pnMethods[] = {{"SINGle", "SING", 0}, {"DUT", "DUT", 1}, {"CC", "CC", 2}};
inline constexpr Word basebandMethods[] = {{"SINGle", "SING", 0}, {"CC", "CC", 2}};
inline constexpr Word pathWords[] = {
    {"BB", "BB", 2}, {"AM", "AM", 1}, {"PN", "PN", 3}, {"MUX", "MUX", 4}, {"TRAN", "TRAN", 5},
};
inline constexpr Word referenceWords[] = {
    {"INT", "INT", 0}, {"NORM", "NORM", 0}, {"LN", "LN", 1}, {"HIGH", "HIGH", 2}, {"EXT", "EXT", 3},
};
/// The selection by name: 100 MHz x 10, 10 MHz x 100, 100 MHz through a PLL, 1 GHz.
inline constexpr Word internalReferenceWords[] = {
    {"NORM", "NORM", 1},
    {"LN", "LN", 0},
    {"LNPLL", "LNPLL", 3},
    {"HSENS", "HSENS", 2},
};
inline constexpr Word vcoTypes[] = {{"VCO", "VCO", 0}, {"VCXO", "VCXO", 1}};

inline constexpr Choice sampleClockReferences[] = {
    {"INTernal", "INT", &Device_isReferenceSource10MInternal, &Device_setReferenceSource10MInternal},
    {"EXTernal", "EXT", nullptr, &Device_setReferenceSource10MExternal},
};
inline constexpr Choice samplingBoards[] = {
    {"A", "A", &Device_isPhaseNoiseAlgBoardASelected, &Device_selectPhaseNoiseAlgBoardA},
    {"B", "B", &Device_isPhaseNoiseAlgBoardBSelected, &Device_selectPhaseNoiseAlgBoardB},
};
inline constexpr Choice triggerSources[] = {
    {"IMMediate", "IMM", &Device_isTriggerSourceImmediate, &Device_setTriggerSourceImmediate},
    {"EXTernal", "EXT", &Device_isTriggerSourceExternal, &Device_setTriggerSourceExternal},
};
/// Without a predicate for the external inputs; see source.cpp.
inline constexpr Choice referenceInputs[] = {
    {"INTernal", "INT", &Device_isReferenceSourceInternal, &Device_setReferenceSourceInternal},
    {"EXTernal", "EXT", nullptr, &Device_setReferenceSourceExternal},
    {"EXTAmpatt", "EXTA", nullptr, &Device_setReferenceSourceExternalAmpAtt},
};
inline constexpr Choice lfgShapes[] = {
    {"SINE", "SINE", &Device_isLfgShapeSine, &Device_setLfgShapeSine},
    {"SQUare", "SQU", &Device_isLfgShapeSquare, &Device_setLfgShapeSquare},
    {"TRIangle", "TRI", &Device_isLfgShapeTriangle, &Device_setLfgShapeTriangle},
};
inline constexpr Choice functionOutputSources[] = {
    {"DAC", "DAC", &Device_isFuncoutSourceDac, &Device_setFuncoutSourceDac},
    {"HIGH", "HIGH", &Device_isFuncoutSourceHigh, &Device_setFuncoutSourceHigh},
    {"LFGenerator", "LFG", &Device_isFuncoutSourceLfg, &Device_setFuncoutSourceLfg},
    {"LOW", "LOW", &Device_isFuncoutSourceLow, &Device_setFuncoutSourceLow},
    {"PULM", "PULM", &Device_isFuncoutSourcePulm, &Device_setFuncoutSourcePulm},
    {"TRIGger", "TRIG", &Device_isFuncoutSourceTrigger, &Device_setFuncoutSourceTrigger},
};

} // namespace scpi
