#pragma once
/// The controller board: lamps, fan, temperature, reset input, RF switch, the I/O update at which latched chips of all
/// boards take what they were sent, attenuator lines, and a low-frequency generator with the function output.
///
/// Unless told otherwise an operation gives 0; -241 where the board's revision or the option FS does not offer it, and
/// then nothing is changed or sent; -200 when the bus or the kernel module refused. A failed transfer keeps what was
/// asked for in the record: the lines among it go out with the next change of a line.
///
/// The lines have a lock of their own, as the links' threads switch lamps while a run switches RF. The rest of the
/// record belongs to whoever may use the device.

#include "base/sync.h"
#include "boards/tvcont_ioupdate.h"
#include "drivers/AD5432.h"
#include "drivers/AD5640.h"
#include "drivers/AD5932.h"
#include "drivers/AD7680.h"
#include "drivers/MCP4131.h"
#include "drivers/SRI.h"
#include "drivers/TC77.h"
#include "numeric/tvtypes.h"

enum TvcontRevision : uint8_t { tvcontOlder, tvcont1E, tvcont1F, tvcontFS, tvcontRevisions };

enum TvcontFuncoutSource : uint32_t {
    funcoutPulm,
    funcoutLfg,
    funcoutTrigger,
    funcoutLow,
    funcoutHigh,
    funcoutDac,
    funcoutSources
};
enum TvcontLfgShape : uint32_t { lfgSine, lfgTriangle, lfgSquare, lfgShapes };

/// Guards the shift register; spiMutex is taken inside.
inline Mutex tvcont_linesMutex;

struct TVCONT {
    uint32_t board;                                  // number of the board, the bus segment of its chips
    TvcontRevision revision;                         // as the serial number has it at the start
    SRI shiftRegister GUARDED_BY(tvcont_linesMutex); // lines: tvcont_lines.h
    TC77 tempSensor;
    bool funcoutEnabled;
    uint32_t funcoutSource; // TvcontFuncoutSource
    tvfreq lfgFrequency, lfgFrequencyMin, lfgFrequencyMax;
    float lfgVoltage;  // V
    uint32_t lfgShape; // TvcontLfgShape
    bool lfgEnabled;
    uint32_t umodamSource; // 0 low-frequency generator
    bool triggerPulseAtIoupdate;
    AD5432 lfgAmplitudeDac;
    AD5932 lfgDds;
    AD7680 userAdc;     // before 1E
    AD5640 userDac;     // from 1E on
    MCP4131 fanPot;     // option FS
    uint32_t eattStage; // 0 to 15
};

/// Clock of the generator.
inline constexpr tvfreq LFG_DDS_REF_FREQ{10'000'000, 0};

/// Fills the record, sets up the chips, resets the attenuator, switches the DC/DC converter on and fills the slots of
/// tvcont_commons. Carries on whatever the bus answers. Lasts 100 ms.
void TVCONT_init(TVCONT* board, uint32_t index);
/// Prints the board and its chips on standard output. Takes readings.
void TVCONT_printInfo(TVCONT* board);

/// A pulse on the trigger output at each I/O update (tvcont_ioupdate.h), of the form `mode` 0 or another.
[[nodiscard]] int TVCONT_enableTriggerOutputPulseAtIoupdate(TVCONT* board, int mode);
[[nodiscard]] int TVCONT_disableTriggerOutputPulseAtIoupdate(TVCONT* board);

// RF. With option FS the switch belongs to an FPGA, which is not driven: the FS forms do nothing.

[[nodiscard]] int STD_TVCONT_enableRF(TVCONT* board);
[[nodiscard]] int STD_TVCONT_disableRF(TVCONT* board);
[[nodiscard]] int FS_TVCONT_enableRF(TVCONT* board);
[[nodiscard]] int FS_TVCONT_disableRF(TVCONT* board);
/// The form of the unit, from TVCONT_init on.
inline int (*TVCONT_enableRF)(TVCONT* board) = STD_TVCONT_enableRF;
inline int (*TVCONT_disableRF)(TVCONT* board) = STD_TVCONT_disableRF;

// Lamps, fan, temperature, inputs.

/// Line of an output lamp: 0 and 1 from 1E on, 0 to 7 with option FS; else -1. The register ends before those of lamps
/// 6 and 7.
[[nodiscard]] int TVCONT_getOutputLedBit(const TVCONT* board, uint32_t number);
/// Speed of the fan, 0 to 1, cut to a step of 1/127; option FS, else -241 and -1.
[[nodiscard]] int TVCONT_setFanDac(TVCONT* board, double value);
[[nodiscard]] double TVCONT_getFanDac(const TVCONT* board);
/// Degrees Celsius; 0 if the bus failed.
[[nodiscard]] double TVCONT_getTemperature(const TVCONT* board);
[[nodiscard]] double TVCONT_getTemperature_async(const TVCONT* board);
/// Level of the reset input, and of the phase status that shares its pin; negative if the kernel module refused.
[[nodiscard]] int TVCONT_getPinStateRESET(TVCONT* board);
[[nodiscard]] int TVCONT_getPinStatePHSTATUS(const TVCONT* board);

// Attenuator lines.

/// Lines A to D as bits 0 to 3.
[[nodiscard]] int TVCONT_setEattLine(TVCONT* board, uint32_t code);
[[nodiscard]] uint32_t TVCONT_getEattLine(TVCONT* board);
/// The low four bits count; the stage in force is not sent again.
[[nodiscard]] int TVCONT_setEattStage(TVCONT* board, uint32_t stage);
/// Through stage 15 to stage 0; lasts 100 ms.
[[nodiscard]] int TVCONT_resetEattLine(TVCONT* board);

// Low-frequency generator. While it is disabled settings are stored, and enabling sends them.

/// Starts the generator on what was written; lasts 1 ms.
[[nodiscard]] int TVCONT_LFG_pulseCtrl(TVCONT* board);
/// 0 to 1.8 V, values beyond at the ends; NaN gives -224.
[[nodiscard]] int TVCONT_LFG_setVoltage(TVCONT* board, float volts);
[[nodiscard]] int TVCONT_LFG_setShapeSine(TVCONT* board);
[[nodiscard]] int TVCONT_LFG_setShapeTriangle(TVCONT* board);
[[nodiscard]] int TVCONT_LFG_setShapeSquare(TVCONT* board);
/// TvcontLfgShape; others give -224.
[[nodiscard]] int TVCONT_LFG_setShape(TVCONT* board, uint32_t shape);
/// The limits are told by the record, not held.
[[nodiscard]] int TVCONT_LFG_setFrequency(TVCONT* board, const tvfreq* frequency);
/// Lasts 12 ms.
[[nodiscard]] int TVCONT_LFG_enable(TVCONT* board);
[[nodiscard]] int TVCONT_LFG_disable(TVCONT* board);

// Function output.

/// Routes the source of the record to the output, or nothing while that is off, and has the generator run when it is
/// the source.
[[nodiscard]] int TVCONT_applyFuncoutConfiguration(TVCONT* board);
[[nodiscard]] int TVCONT_enableFuncout(TVCONT* board);
[[nodiscard]] int TVCONT_disableFuncout(TVCONT* board);
[[nodiscard]] int TVCONT_setFuncoutSourcePulm(TVCONT* board);
[[nodiscard]] int TVCONT_setFuncoutSourceLfg(TVCONT* board);
[[nodiscard]] int TVCONT_setFuncoutSourceTrigger(TVCONT* board);
/// The source in force is not applied again.
[[nodiscard]] int TVCONT_setFuncoutSourceLow(TVCONT* board);
[[nodiscard]] int TVCONT_setFuncoutSourceHigh(TVCONT* board);
/// From 1E on.
[[nodiscard]] int TVCONT_setFuncoutSourceDac(TVCONT* board);
/// Count of the DAC, 16383 at most; from 1E on.
[[nodiscard]] int TVCONT_setUserOutputDac(TVCONT* board, uint32_t value);
