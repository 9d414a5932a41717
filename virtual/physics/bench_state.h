#pragma once
/// What the files of the bench share: its state as of now. The caller holds the bench's lock.

#include "virtual/physics/bench.h"

namespace vi {

/// Takes over a DUT file that has changed, after the loops ran up to a moment on the clock, ns: now, unless told. They
/// never go back.
void benchState_updateAt(Bench* bench, uint64_t moment);
void benchState_update(Bench* bench);

/// Division in front of the channel's mixer.
uint32_t benchState_prescaler(const ChannelSettings& settings);
/// V/rad of the channel's mixer while the carrier is there; 0 without carrier or source.
double benchState_mixerSlope(const Bench* bench, Channel channel);

} // namespace vi
