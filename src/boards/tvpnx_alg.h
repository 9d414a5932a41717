#pragma once
/// The analog board, one per measurement channel: the DUT's input with its paths, the mixer, the IF chain with filters
/// and gain, the loop filter, the tune switches and, by revision, a frequency counter chain. It turns decisions taken
/// elsewhere into lines and chip words.
///
/// Unless told otherwise an operation gives 0. A value that it refuses gives -224, an operation that the revision does
/// not have -241; nothing is changed or sent then. The chips take what they are sent, but what takes effect with the
/// I/O update waits for it; no operation here gives one. A transfer that fails is told by the chip's driver; the
/// operation carries on and its result is the same.
///
/// Nothing is locked: a board belongs to whoever may use the device.

#include "drivers/AD5293.h"
#include "drivers/AD5640.h"
#include "drivers/AD5760.h"
#include "drivers/AD7940.h"
#include "drivers/ADF4106.h"
#include "drivers/HMC624.h"
#include "drivers/SRI.h"
#include "numeric/tvtypes.h"

/// Answers whether the unit has the calibration of a third power detector.
using AlgDetectorQuestion = bool (*)(const void* context);

/// Revision, as `algVersion` has it.
enum : uint32_t { TVPNX_ALG_1B, TVPNX_ALG_1C, TVPNX_ALG_2A, TVPNX_ALG_2B, TVPNX_ALG_2C, TVPNX_ALG_2D };

struct TVPNX_ALG {
    uint32_t spiBase;      // first address of the board on the bus
    tvfreq mixerFrequency; // what reaches the mixer
    tvfreq dutFrequency;
    tvfreq thresholdHigh;        // lower limit of the divider path
    tvfreq thresholdLow;         // lower limit of the upper band
    tvfreq thresholdAmp;         // from here on path 1 goes round its amplifier; 2C, 2D
    uint32_t prescaler;          // ratio in front of the mixer
    bool autoPrescaler;          // the ratio follows the frequency
    uint32_t counter;            // ratio in front of the frequency counter
    uint32_t ifGain;             // dB
    uint32_t dutAttenuation;     // steps of 0.5 dB
    double loopSupplyVoltage;    // V
    uint32_t r1, r2;             // ohm, as last set; 0 before
    uint32_t capacitor;          // number last set
    double loopC[4];             // capacitors of the board, F
    uint32_t prescalerThreshold; // MHz
    bool referenceInternal;
    bool counterEnabled;                 // from 2B on
    uint32_t referencePath;              // 0 internal, 1 external
    uint32_t referenceBand;              // 1 at or above thresholdLow
    uint32_t ifPath;                     // 0, 1, 2: see TVPNX_ALG_setIFPath
    uint32_t preampOffLow, preampOffMid; // 0 inserts, 1 bypasses the amplifier of path 0, path 1
    uint32_t dutPath;                    // 0 direct, 1 amplifier, 2 divider
    bool preamplifier;                   // the amplifier of the path in force is inserted
    bool fmDiscriminator;
    bool tuneSourceLoop; // tune comes from the loop filter, not from the calibration driver
    bool tuneLoadExternal;
    bool openMode; // loop open
    bool dutTuneEnabled;
    bool pulseMode, tranMode;                                   // 2D
    double externalTuneVoltage, dutTuneVoltage, calTuneVoltage; // V
    SRI sri;
    HMC624 dutAttenuator, referenceAttenuator; // 1B, 1C
    AD7940 powerAdc;
    AD7940 tuneAdc;         // from 2A on
    ADF4106 counterDivider; // 1B, 1C
    AD5293 loopR1, loopR2, loopR3, acquisitionDriver, calibrationDriver, loopSupply;
    AD5640 dutTune;                       // from 2A on; on 2D it gives the detector's level in pulse mode
    AD5760 dutTuneWide;                   // 2D
    uint32_t algVersion;                  // TVPNX_ALG_1B to TVPNX_ALG_2D
    AlgDetectorQuestion hasThirdDetector; // null: no
    const void* detectorContext;
};

/// The IF filter last set, on either board: 0 none yet, 1 DC, 2 5 MHz band, 3 20 MHz band, 4 50 MHz band.
inline uint32_t selectedPath = 0;
/// Lower limit of the divider path in MHz: 13100 once a 2D board has started.
inline uint32_t threshold_freq_high = 9900;

/// Takes a result where the caller carries on: what refused has changed nothing. The caller says why.
constexpr void alg_carryOn(int) {}

// Start.

/// Board A has `boardIndex` 0. `version` as `algVersion`; one above 5 counts as 0. Fills the record, sets up the chips
/// and selects the internal reference; carries on whatever the bus answers. On 2D it lasts 10 ms.
void TVPNX_ALG_init(TVPNX_ALG* board, uint32_t boardIndex, uint32_t version);
/// Chooses the lines, chips and values of the revision.
void TVPNX_ALG_initVersion(TVPNX_ALG* board, uint32_t version);
/// `question` is asked at each power reading on 2D; TVPNX_ALG_init forgets it.
void TVPNX_ALG_setDetectorQuestion(TVPNX_ALG* board, AlgDetectorQuestion question, const void* context);
/// 0, or -200 if the shift register cannot be written; it is sent once more.
[[nodiscard]] int TVPNX_ALG_getDeviceStatus(TVPNX_ALG* board);
/// Prints the board and its chips on standard output. Takes readings of its ADCs.
void TVPNX_ALG_printInfo(const TVPNX_ALG* board);

// Frequency and input path.

/// Plans path, prescaler and mixer frequency. From 2B on frequencies below 1 MHz are refused. On 1B, 1C and 2A the
/// counter's ratio is set anew as well.
[[nodiscard]] int TVPNX_ALG_setFrequency(TVPNX_ALG* board, const tvfreq* frequency);
/// 1 MHz and 29.5 GHz; the mixer's frequency; results go through the pointer.
void TVPNX_ALG_getFrequencyMin(const TVPNX_ALG* board, tvfreq* frequency);
void TVPNX_ALG_getFrequencyMax(const TVPNX_ALG* board, tvfreq* frequency);
void TVPNX_ALG_getFrequencyMixer(const TVPNX_ALG* board, tvfreq* frequency);

/// Ratio of the next planning without `autoPrescaler`, rounded up to 1, 2, 4 or 8.
[[nodiscard]] int TVPNX_ALG_setPrescaler(TVPNX_ALG* board, uint32_t value);
uint32_t TVPNX_ALG_getPrescaler(const TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_enableAutoPrescaler(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_disableAutoPrescaler(TVPNX_ALG* board);
int TVPNX_ALG_isAutoPrescaler(const TVPNX_ALG* board);
/// In MHz, for the next planning on 1B, 1C and 2A.
[[nodiscard]] int TVPNX_ALG_setPrescalerThresholdFrequency(TVPNX_ALG* board, uint32_t megahertz);

/// 0 direct, 1 amplifier, 2 divider.
uint32_t TVPNX_ALG_getDUTPath(const TVPNX_ALG* board);
/// Sends path and amplifiers as the record has them. On 1B, 1C and 2A, whose path follows from the frequency, plans the
/// DUT's frequency anew.
[[nodiscard]] int TVPNX_ALG_setDUTPath(TVPNX_ALG* board);
/// 1B and 1C (-113): steps of 0.5 dB. From 64 to 126 the amplifier is in the path, as its gain lets the attenuator
/// start again; above refused.
[[nodiscard]] int TVPNX_ALG_setDUTAttenuation(TVPNX_ALG* board, uint32_t steps);
uint32_t TVPNX_ALG_getDUTAttenuation(const TVPNX_ALG* board);
/// 2A and 2B in any path, 2C and 2D in path 0.
[[nodiscard]] int TVPNX_ALG_enablePreamplifier(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_disablePreamplifier(TVPNX_ALG* board);
int TVPNX_ALG_isPreamplifierEnabled(const TVPNX_ALG* board);

/// The input's switches on 1B, 1C and 2A.
[[nodiscard]] int TVPNX_ALG_setDUT_RFinDirect(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setDUT_RFinAmp(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setDUT_RFinDiv(TVPNX_ALG* board);
/// 1, 2, 4 or 8.
[[nodiscard]] int TVPNX_ALG_setDUT_DivRatioX(TVPNX_ALG* board, uint32_t ratio);

/// From 2B on: which oscillator feeds the mixer, by `referencePath` and `referenceBand`.
[[nodiscard]] int TVPNX_ALG_setReferencePathandSource(TVPNX_ALG* board);

// IF chain.

/// From 2A on: the mux in front of the filters, by `ifPath`; values above 2 are refused.
[[nodiscard]] int TVPNX_ALG_setIFPath(TVPNX_ALG* board);
/// 0: DC. 1 to 3: the 5, 20 or 50 MHz band, the narrowest that holds what the mixer's frequency leaves.
[[nodiscard]] int TVPNX_ALG_setIFMuxPath(TVPNX_ALG* board, uint32_t channel);
/// `selectedPath`.
uint32_t TVPNX_ALG_getIFMuxPath(const TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setIFMuxDC(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setIFMuxBP5M(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setIFMuxBPxM(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setIFMuxBP50M(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setIFMuxBBIn(TVPNX_ALG* board);
/// Amplifiers: 0 neither, 1 the second, 2 the first, 3 both; 0, 14, 26, 40 dB.
[[nodiscard]] int TVPNX_ALG_setVGA_Gain_State(TVPNX_ALG* board, uint32_t state);
/// In dB, taken to a gain that the board has; 70 and above is refused on 1B and 1C. On 2D a request below 6 takes the
/// 5 MHz band, unless TRAN mode is on.
[[nodiscard]] int TVPNX_ALG_setIFGain(TVPNX_ALG* board, int32_t gain);
/// In dB.
uint32_t TVPNX_ALG_getIFGain(const TVPNX_ALG* board);
/// The longest of the lists below with its NUL.
inline constexpr int TVPNX_ALG_listTextSize = 64;
/// The gains in dB, as text of at most TVPNX_ALG_listTextSize bytes.
[[nodiscard]] int TVPNX_ALG_getIFGainList(const TVPNX_ALG* board, char* text);
/// 2A.
[[nodiscard]] int TVPNX_ALG_enableFMDiscriminator(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_disableFMDiscriminator(TVPNX_ALG* board);
int TVPNX_ALG_isFMDiscriminatorEnabled(const TVPNX_ALG* board);

// Loop filter.

/// In ohm, 120 at least, cut to a step of the chip. Above 100000 R1 is refused and the others take 100000.
[[nodiscard]] int TVPNX_ALG_setLoopFilterR1(TVPNX_ALG* board, double ohm);
[[nodiscard]] int TVPNX_ALG_setLoopFilterR2(TVPNX_ALG* board, double ohm);
[[nodiscard]] int TVPNX_ALG_setLoopFilterR3(TVPNX_ALG* board, double ohm);
/// 0: all; 1 to 4: the switch pattern of that capacitor.
[[nodiscard]] int TVPNX_ALG_setLoopFilterCapArray(TVPNX_ALG* board, uint32_t number);
/// The capacitors in F, as text of at most TVPNX_ALG_listTextSize bytes.
[[nodiscard]] int TVPNX_ALG_getLoopCListStr(const TVPNX_ALG* board, char* text);
/// 0 to 5 V, values beyond at the ends.
[[nodiscard]] int TVPNX_ALG_setAcquisitionDriverVout(TVPNX_ALG* board, double volt);
/// The acquisition aid's resistor R3 away from the loop, and back.
[[nodiscard]] int TVPNX_ALG_setAcquisitionShutdownMode(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setAcquisitionNormalMode(TVPNX_ALG* board);
/// 0 V to the loop supply, values beyond at the ends.
[[nodiscard]] int TVPNX_ALG_setCalibrationDriverVout(TVPNX_ALG* board, double volt);
/// 3 to 20 V, others are refused.
[[nodiscard]] int TVPNX_ALG_setLoopSupplyVoltage(TVPNX_ALG* board, double volt);

// Tuning and reference.

/// Loop open or closed; takes effect with the next tune source, tune load or reference that is set.
[[nodiscard]] int TVPNX_ALG_setOpenMode(TVPNX_ALG* board, int open);
/// What tunes the source. None counts as calibration from 2A on.
[[nodiscard]] int TVPNX_ALG_setRefTuneSourceLoop(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefTuneSourceCalibration(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefTuneSourceNone(TVPNX_ALG* board);
/// What is tuned. None and both count as internal from 2A on.
[[nodiscard]] int TVPNX_ALG_setRefTuneLoadInt(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefTuneLoadExt(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefTuneLoadNone(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefTuneLoadIntExt(TVPNX_ALG* board);

/// In volts. The calibration driver gives the first with the internal reference and the loop closed, else the second.
[[nodiscard]] int TVPNX_ALG_setExternalTuneVoltage(TVPNX_ALG* board, double volt);
double TVPNX_ALG_getExternalTuneVoltage(const TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setCalTuneVoltage(TVPNX_ALG* board, double volt);
double TVPNX_ALG_getTuneVoltage(const TVPNX_ALG* board);

/// The tune output for the DUT, from 2B on. 0 to 21 V, values below at the end, values above 21 V as 16 V; connects the
/// output. On 2D -5.25 to 21 V, values beyond at the ends, and the output stays as it is.
[[nodiscard]] int TVPNX_ALG_setDutTuneVoltage(TVPNX_ALG* board, double volt);
/// The same without storing the voltage.
[[nodiscard]] int TVPNX_ALG_setDutTuneVout(TVPNX_ALG* board, double volt);
double TVPNX_ALG_getDutTuneVoltage(const TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_enableDutTuneVoltage(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_disableDutTuneVoltage(TVPNX_ALG* board);
int TVPNX_ALG_isDutTuneVoltageEnabled(const TVPNX_ALG* board);

/// The tune voltage, 0 to 16383 of 20 V, from 2A on. On 2A it lasts 10 ms.
[[nodiscard]] int TVPNX_ALG_getTuneAdcValue(TVPNX_ALG* board);
/// The same ADC without the tune voltage, on 2A; lasts 10 ms.
[[nodiscard]] int TVPNX_ALG_getOffsetAdcValue(TVPNX_ALG* board);

/// From 2A on they plan the DUT's frequency anew and move the tune switches; the last does so on 2A alone.
[[nodiscard]] int TVPNX_ALG_setRefInternal(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefExternalDirect(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setRefExternalAttAMP(TVPNX_ALG* board);
/// 1B and 1C: steps of 0.5 dB, 63 at most.
[[nodiscard]] int TVPNX_ALG_setRefExtAttenuation(TVPNX_ALG* board, uint32_t value);

// Counter.

/// The ratio in front of the counter. From 2A on the chain takes a ratio that it has: 1, 4, 16, 64 and, from 256 on,
/// 256 on 2B and 2C, 512 on 2D. On 1B and 1C below 200 MHz at the mixer 1 to 10000, else 128 to 100000.
[[nodiscard]] int TVPNX_ALG_setCounter(TVPNX_ALG* board, int32_t ratio);
uint32_t TVPNX_ALG_getCounter(const TVPNX_ALG* board);
/// The dividers of 1B and 1C for low and high frequencies.
[[nodiscard]] int TVPNX_ALG_setCounterHF(TVPNX_ALG* board, int32_t ratio);
[[nodiscard]] int TVPNX_ALG_setCounterUHF(TVPNX_ALG* board, int32_t ratio);
/// From 2A on: whether the high input feeds the chain, else the low one.
[[nodiscard]] int TVPNX_ALG_setCounterInput(TVPNX_ALG* board, bool high);
/// From 2A on. From 2B on they also switch both IF amplifiers on, and off; `ifGain` is not asked.
[[nodiscard]] int TVPNX_ALG_enableFrequencyCounter(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_disableFrequencyCounter(TVPNX_ALG* board);

// Power detectors.

/// The level at the DUT's input, ADC word 0 to 16383, at its frequency. Lasts 1 ms from 2B on, 15 ms on 2A, 20 ms
/// before. On 1B and 1C -200 above 20 GHz.
[[nodiscard]] int TVPNX_ALG_getDutPowerAdcValue(TVPNX_ALG* board, uint32_t* word);
/// The level at the reference input, on 2A; lasts 15 ms.
[[nodiscard]] int TVPNX_ALG_getRefPowerAdcValue(TVPNX_ALG* board, uint32_t* word);
/// What the power ADC shows now, in volts.
double TVPN_X_ALG_getVPowerDet(const TVPNX_ALG* board);
/// Which detector the power ADC sees, on 2A.
[[nodiscard]] int TVPNX_ALG_setPD_DUT(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setPD_REF(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setPD_ADL6010(TVPNX_ALG* board);
[[nodiscard]] int TVPNX_ALG_setPD_AM(TVPNX_ALG* board);

/// Pulsed and transient signals, on 2D. Switching pulse mode on takes a power reading, which sets the detector's level.
[[nodiscard]] int TVPNX_ALG_enablePULSE(TVPNX_ALG* board, int on);
[[nodiscard]] int TVPNX_ALG_enableTRAN(TVPNX_ALG* board, int on);
