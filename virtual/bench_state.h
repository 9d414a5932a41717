#pragma once
/// What the files of the bench share: its state as of now. The caller holds the bench's lock.

#include "virtual/bench.h"

namespace vi {

/// Sample rate of a stage of the spectrum board; stage 0 runs at the base rate.
double benchState_sampleRate_Hz(const UnitBoards& boards, uint32_t stage);

/// Lets both loops run up to a moment on the clock, ns; they never go back.
void benchState_runLoops(Bench* bench, uint64_t until);

/// Takes over a DUT file that has changed, after the loops ran up to a moment on the clock, ns: now, unless told.
void benchState_updateAt(Bench* bench, uint64_t moment);
void benchState_update(Bench* bench);

/// A signal that the instrument can notice is at its input.
bool benchState_signalPresent(const Bench* bench);
double benchState_carrier_Hz(const Bench* bench, uint64_t when);
/// Division in front of the channel's mixer.
uint32_t benchState_prescaler(const ChannelSettings& settings);
/// The carrier reaches the channel's mixer and counter.
bool benchState_carrierPasses(const Bench* bench, Channel channel);
/// V/rad of the channel's mixer while the carrier is there; 0 without carrier or source.
double benchState_mixerSlope(const Bench* bench, Channel channel);

/// The channel as its spectrum sees it at the moment of the loop's state.
ChannelChain benchState_chain(const Bench* bench, Channel channel);

} // namespace vi
