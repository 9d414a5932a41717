#pragma once
/// The internal source board TVPN_IS6G: the local oscillators of both measurement channels on one board. Each channel
/// has a DDS and, above 400 MHz, a VCO that is locked to it, 3 to 6 GHz, with a divider behind it.
///
/// `selector` is 0 for channel A, 1 for B, 2 for both; any other is refused. An operation with a result gives 0, -224
/// for a value that it refuses (nothing is changed or sent then), or -200: a transfer failed. It has done what could be
/// done then, the record has the new setting, and the same call again sends it once more. Lines that did not change are
/// not sent.
///
/// Nothing is locked: the board belongs to whoever may use the device.

#include "drivers/AD5640.h"
#include "drivers/AD7940.h"
#include "drivers/AD9912.h"
#include "drivers/SRI.h"
#include "drivers/SRO.h"
#include "numeric/tvtypes.h"

#include <array>

enum : uint32_t { TVPN_IS6G_channelA, TVPN_IS6G_channelB, TVPN_IS6G_both };

struct TVPN_IS6G_channel {
    SRI controlRegister, pathRegister;
    std::array<SRO, 2> outputRegisters;
    AD9912 dds;
    AD7940 ocxoTuneAdc, vcoTuneAdc;
    AD5640 vcoDac;
    tvfreq frequency;       // in force
    tvfreq ddsFrequency;    // at the DDS
    tvfreq targetFrequency; // as requested
    bool rounding;          // tuning words are rounded
    bool rfEnabled;
    double fmSensitivity;  // last result of TVPN_IS6G_getFmSensitivity
    double vcoSensitivity; // of the reference in Hz/V, for an output of 100 MHz
};

struct TVPN_IS6G {
    std::array<TVPN_IS6G_channel, 2> channel;
};

/// The next of the selected channels, null after the last. `cursor` starts at 0 and is the iterator's.
TVPN_IS6G_channel* TVPN_IS6G_each(TVPN_IS6G* board, uint32_t* cursor, uint32_t selector);

/// Fills the records of the channels, loads their sensitivities and sets their chips up; everything is off then.
/// Carries on whatever the bus answers.
void TVPN_IS6G_init(TVPN_IS6G* board, uint32_t selector);
/// Oscillator, DDS and supply of the channel, and off again with RF and PLL.
[[nodiscard]] int TVPN_IS6G_powerUp(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_powerDown(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_enableOCXO(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_disableOCXO(TVPN_IS6G* board, uint32_t selector);
/// On, the VCO locks anew if the frequency asked for needs it, which takes 15 ms.
[[nodiscard]] int TVPN_IS6G_RFOn(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_RFOff(TVPN_IS6G* board, uint32_t selector);

/// Plans and sets the frequency; above 400 MHz it takes 15 ms, and a VCO that does not lock is told on the debug
/// channel. `frequency` comes back as what the VCO makes, so with both channels B would get that of A: callers above
/// 400 MHz name one channel at a time.
[[nodiscard]] int TVPN_IS6G_setFrequency(TVPN_IS6G* board, uint32_t selector, tvfreq* frequency);
/// What the DDS makes, with the current of its DAC that keeps the level. From 695 MHz on no current does: -224.
[[nodiscard]] int TVPN_IS6G_setDDSFrequency(TVPN_IS6G* board, uint32_t selector, const tvfreq* frequency);
/// For the frequencies that follow.
[[nodiscard]] int TVPN_IS6G_enableFrequencyRounding(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_disableFrequencyRounding(TVPN_IS6G* board, uint32_t selector);
/// 1 if the words of the channel are rounded, else 0; of both that of A.
int TVPN_IS6G_isFrequencyRoundingEnabled(TVPN_IS6G* board, uint32_t selector);

/// Leads the tune voltage of the VCO to where its loop can take it, and lets go; takes 15 ms.
[[nodiscard]] int TVPN_IS6G_vcoLock(TVPN_IS6G* board, uint32_t selector);
/// 0 if the tune voltage lies within the loop's range, else -200.
[[nodiscard]] int TVPN_IS6G_vcoLockCheck(TVPN_IS6G* board, uint32_t selector);

// Of one channel; of both that of A, and 0 for a selector that is refused.

/// Tune voltages in volts; 0 if the bus failed.
double TVPN_IS6G_getVtune_vco(TVPN_IS6G* board, uint32_t selector);
double TVPN_IS6G_getVtune_ocxo(TVPN_IS6G* board, uint32_t selector);
/// Of the frequency asked for last, in Hz/V.
double TVPN_IS6G_getFmSensitivity(TVPN_IS6G* board, uint32_t selector);
double TVPN_IS6G_getVcoSensitivity(TVPN_IS6G* board, uint32_t selector);
[[nodiscard]] int TVPN_IS6G_setVcoSensitivity(TVPN_IS6G* board, uint32_t selector, double value);
/// 250 Hz/V if none is stored, or less than 10.
[[nodiscard]] int TVPN_IS6G_loadVcoSensitivity(TVPN_IS6G* board, uint32_t selector);
/// 0, or -200 if a file cannot be written.
[[nodiscard]] int TVPN_IS6G_storeVcoSensitivity(TVPN_IS6G* board, uint32_t selector);

/// Locks both channels at 1 GHz with RF on, and then sets frequencies and RF as channel A had it. 0; -3 if channel A
/// did not lock, -4 if B did not, -200 if both did but a transfer failed.
[[nodiscard]] int TVPN_IS6G_selftest(TVPN_IS6G* board);
/// The same, told on standard output.
[[nodiscard]] int TVPN_IS6G_test(TVPN_IS6G* board);
/// Prints the channels and their chips on standard output. Takes readings of their ADCs and status lines.
void TVPN_IS6G_printInfo(const TVPN_IS6G* board);
