#pragma once
/// What the files of the bench share: its state as of now. The caller holds the bench's lock.

#include "virtual/physics/bench.h"

namespace vi {

/// Takes over a DUT file that has changed, after the loops ran up to a moment on the clock, ns: now, unless told. They
/// never go back.
void benchState_updateAt(Bench* bench, uint64_t moment);
void benchState_update(Bench* bench);

/// The carrier at a moment on the clock, ns.
double benchState_carrier_Hz(const Bench* bench, uint64_t when);
/// The carrier gets to the end of a path of the channel.
bool benchState_carrierPasses(const Bench* bench, Channel channel, const SignalPath& path);
/// Gain of the channel's IF chain at an offset, a ratio.
double benchState_ifGain(const Bench* bench, Channel channel, double offset_Hz);
/// V/rad of the channel's mixer while the carrier is there; 0 without carrier or source.
double benchState_mixerSlope(const Bench* bench, Channel channel);

} // namespace vi
