#pragma once
/// A channel as it is set by hand, in the words of what the boards' firmware decides, without their circuits.

#include "virtual/physics/channel_wiring.h"

#include <cstdint>

namespace vi {

enum class TuneSource { none, calibration, loop }; // what drives the source's tune port; none: its own bias

/// At start what the chips of a channel's boards are after power-on.
struct ChannelSettings {
    // Input.
    bool highInput = false; // the relay; boards without one ignore it
    DutPath path = DutPath::direct;
    uint32_t prescaler = 1; // acts in the divider path
    bool preamplifier = false;
    double attenuation_dB = 0;
    // Source.
    bool rfOn = false;
    double source_Hz = 100e6;
    Reference reference = Reference::crystal100MHz; // external: none of the source board counts
    // IF chain.
    int ifGain_dB = 0;
    // Loop.
    bool open = false;
    TuneSource tuneSource = TuneSource::none;
    double calibration_V = 0;
    double loopSupply_V = 15;
    double r1_ohm = 10e3, r2_ohm = 10e3, r3_ohm = 10e3;
    uint32_t capacitor = 4; // 1 to 4; 0: all switches closed, the filter is shorted and its charge stays
    bool aidOn = false;
    double aid_V = 2.5;
    // Counters on: what divides the carrier behind the prescaler on its way to the ADC; 0: they are off.
    uint32_t counterRatio = 0;

    friend bool operator==(const ChannelSettings&, const ChannelSettings&) = default;
};

/// Limits the values to what the parts can do.
void settings_limit(ChannelSettings* settings);
[[nodiscard]] ChannelWiring wiring_of(const ChannelSettings& settings, const UnitBoards& boards);

} // namespace vi
