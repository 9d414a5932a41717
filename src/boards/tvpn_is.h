#pragma once
/// The internal source board TVPN_IS, one per measurement channel: the local oscillator that the mixer of the analog
/// board gets. Three generations: 1B with a DDS and a multiplier behind it, 2A and 2B with a DDS and, above 400 MHz, a
/// VCO that is locked to it.
///
/// An operation with a result gives 0. A value that it refuses gives -224, an operation that the generation does not
/// have -241; nothing is changed or sent then. -200 tells that a transfer failed, or that the VCO did not lock: what
/// can be done has been done, the record has the new setting, and the same call again sends it once more. Lines that
/// did not change are not sent.
///
/// Nothing is locked: a board belongs to whoever may use the device.

#include "drivers/AD5640.h"
#include "drivers/AD7940.h"
#include "drivers/AD9912.h"
#include "drivers/AD9914.h"
#include "drivers/ADF5355.h"
#include "drivers/HMC988.h"
#include "drivers/SRI.h"
#include "numeric/tvtypes.h"

/// Reference that the sources are made from, as `referenceSelection` has it.
enum : uint32_t { TVPN_IS_reference10M, TVPN_IS_reference100M, TVPN_IS_reference1G, TVPN_IS_reference100MPll };

/// Way of the signal to the output, as `outputRange` has it.
enum : uint32_t { TVPN_IS_rangeDirect, TVPN_IS_rangePll, TVPN_IS_rangeDoubled };

struct TVPN_IS {
    uint32_t board;              // 0 channel A, 1 channel B
    tvfreq frequency;            // asked for last
    uint32_t referenceSelection; // TVPN_IS_reference...
    uint32_t ddsClockSelect;     // 1B: 0 DDS clock of 3 GHz, 1 of 500 MHz
    uint32_t outputRange;        // TVPN_IS_range...
    bool rfEnabled;              // 1B: the DDS is powered
    // Tuning sensitivities of the reference in Hz/V, for an output of 100 MHz.
    double vcoSensitivity; // as set last
    double vco10MSensitivity, vco100MSensitivity, vco1000MSensitivity;
    double fmSensitivity; // last result of TVPN_IS_getFmSensitivity
    bool rounding;        // 1B: tuning words are rounded
    tvfreq ddsClock;      // 1B
    double pdFrequency;   // comparison frequency of the PLL in Hz, as set last
    SRI shiftRegister;
    AD9914 dds1B;                                      // 1B
    HMC988 divider;                                    // 1B
    AD9912 dds;                                        // from 2A on
    ADF5355 pll;                                       // from 2A on
    AD7940 referenceTuneAdc, referenceAdc, vcoTuneAdc; // from 2A on; 1B has the second
    AD5640 referenceDac, vcoDac;                       // from 2A on
    uint32_t generation;                               // 0 1B, 1 2A, 2 2B
    int64_t internalRefThreshold;                      // MHz
};

// Start and power.

/// Channel A has `index` 0. A `generation` above 2 counts as 0. Fills the record, loads the sensitivity, sets the chips
/// up and selects the reference of 100 MHz; carries on whatever the bus answers. The frequency is 100 MHz; 1B makes it,
/// the others make none yet. RF is on on 1B, off on the others. On 1B it lasts 20 ms.
void TVPN_IS_init(TVPN_IS* board, uint32_t index, uint32_t generation);

/// Sends the lines if one has changed, and pulses the I/O update.
[[nodiscard]] int TVPN_IS_applyPreset(TVPN_IS* board);

/// Sets reference and frequency up anew; on 1B the reference of 100 MHz and the DDS, which takes 4 ms.
[[nodiscard]] int TVPN_IS_powerUp(TVPN_IS* board);
/// 1B: the DDS. The reference stays warm.
[[nodiscard]] int TVPN_IS_fastPowerDown(TVPN_IS* board);
/// Everything, references included.
[[nodiscard]] int TVPN_IS_fullPowerDown(TVPN_IS* board);
/// From 2A on: the output on or off, in the range in force and those that follow.
[[nodiscard]] int TVPN_IS_2A_enableRf(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_2A_disableRf(TVPN_IS* board);

// Frequency.

/// Plans and sets the frequency. `lowPath` not 0: the analog board has its direct path. From 2A on it takes 15 ms above
/// 400 MHz and checks the lock, which -200 tells of, too: the caller tries again. On 1B it takes 8 ms; 3.6 GHz at most.
[[nodiscard]] int TVPN_IS_setFrequency(TVPN_IS* board, const tvfreq* frequency, int lowPath);
/// 1 MHz.
void TVPN_IS_getFrequencyMin(const TVPN_IS* board, tvfreq* frequency);
/// What the DDS makes. On 1B the word is rounded if `rounding` is set, the more so the higher the frequency in force.
[[nodiscard]] int TVPN_IS_setDdsOutputFrequency(TVPN_IS* board, const tvfreq* frequency);
/// From 2A on: the tuning word 3,500,000,000 up (`up` not 0) or down, 12.4 kHz at the DDS.
[[nodiscard]] int TVPN_IS_offsetDdsOutputFrequency(TVPN_IS* board, int up);
/// Comparison frequency of the PLL in Hz, as set last; 0 before, and on 1B.
double TVPN_IS_getpdFrequency(const TVPN_IS* board);

/// From 2A on, between the VCO and the comparison: 1, 2, 4, 8; and 1, 2, 3, 4.
[[nodiscard]] int TVPN_IS_2A_setOutputDividerA(TVPN_IS* board, uint32_t ratio);
[[nodiscard]] int TVPN_IS_2A_setOutputDividerB(TVPN_IS* board, uint32_t ratio);

/// 1B: the clock of the DDS, whose DAC is calibrated for it; takes 8 ms, or 4 ms while the DDS is powered down.
[[nodiscard]] int TVPN_IS_setDdsInputFrequency3GHz(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_setDdsInputFrequency500MHz(TVPN_IS* board);
/// 1B, behind the DDS: 1, 2, 4.
[[nodiscard]] int TVPN_IS_setDdsOutputMultiplier(TVPN_IS* board, uint32_t ratio);
[[nodiscard]] int TVPN_IS_disableDdsOutputDivider(TVPN_IS* board);
/// 1B: the word of the DDS itself; it has 32 bits.
[[nodiscard]] int TVPN_IS_setFtw(TVPN_IS* board, uint64_t word);
/// 0 from 2A on.
uint64_t TVPN_IS_getFtw(const TVPN_IS* board);
/// For the frequencies that follow; 1B rounds, the others only keep the wish.
[[nodiscard]] int TVPN_IS_enableFrequencyRounding(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_disableFrequencyRounding(TVPN_IS* board);
int TVPN_IS_isFrequencyRoundingEnabled(const TVPN_IS* board);

// Reference.

/// 1B has the first two.
[[nodiscard]] int TVPN_IS_2A_setInternalReference10MhzX100(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_2A_setInternalReference100MhzX10(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_2A_setInternalReference1Ghz(TVPN_IS* board);
/// Brings the lock about; takes 400 ms. Whether it holds is told on the debug channel.
[[nodiscard]] int TVPN_IS_2A_setInternalReference100MhzPllX10(TVPN_IS* board);
/// The low-noise and the ordinary reference: the first two above.
[[nodiscard]] int TVPN_IS_setInternalReference10x10MHz(TVPN_IS* board);
[[nodiscard]] int TVPN_IS_setInternalReference100x1MHz(TVPN_IS* board);
/// 1 with the reference of 10 MHz, else 0.
int TVPN_IS_isInternalReference10x10MHz(const TVPN_IS* board);
/// 1 if the reference has settled, else 0. With the oscillator of 10 MHz, from 2A on, it takes a second.
int TVPN_IS_isInternalReferenceReady(const TVPN_IS* board);
/// Frequency in MHz above which TVPN_IS_powerUp takes the direct path of the analog board for granted.
void TVPN_IS_2A_setInternalRefThresholdFrequency(TVPN_IS* board, int64_t megahertz);
/// 1B: the ADC that sees the tune voltage of the reference, 0 to 16383; 0 on others.
uint32_t TVPN_IS_getReferenceExternalTuning(const TVPN_IS* board);

// Sensitivities.

/// Of the frequency in force, in Hz/V.
double TVPN_IS_getFmSensitivity(TVPN_IS* board);
/// Takes the stored value for all references; 250 Hz/V if none is stored or it is not a number.
void TVPN_IS_loadVcoSensitivity(TVPN_IS* board);
/// 0, or -200 if the file cannot be written.
[[nodiscard]] int TVPN_IS_storeVcoSensitivity(const TVPN_IS* board);
/// That of 100 MHz, too.
void TVPN_IS_setVcoSensitivity(TVPN_IS* board, double value);
double TVPN_IS_getVcoSensitivity(const TVPN_IS* board);
void TVPN_IS_setVco10MSensitivity(TVPN_IS* board, double value);
double TVPN_IS_getVco10MSensitivity(const TVPN_IS* board);
void TVPN_IS_setVco100MSensitivity(TVPN_IS* board, double value);
double TVPN_IS_getVco100MSensitivity(const TVPN_IS* board);
void TVPN_IS_setVco1000MSensitivity(TVPN_IS* board, double value);
double TVPN_IS_getVco1000MSensitivity(const TVPN_IS* board);

// Service.

/// Resets the board and sets it up as it was.
[[nodiscard]] int TVPN_IS_reset(TVPN_IS* board);
/// Sets a frequency of each range and then the one in force; tells each on standard output. The first failure.
[[nodiscard]] int TVPN_IS_test(TVPN_IS* board);
/// Prints the board and its chips on standard output. Takes readings of its ADCs.
void TVPN_IS_printInfo(const TVPN_IS* board);
