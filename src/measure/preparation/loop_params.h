#pragma once
/// Design of the measurement's phase-locked loops: mixer, active loop filter, tuning input of the source.
///
/// Second order. With K = 2 pi x sensitivity (Hz/V) x Kphi (V/rad), filter capacitor C, input resistance R1 and
/// feedback resistance R2: natural frequency wn = sqrt(K / (R1 C)) rad/s, damping zeta = C R2 wn / 2. The bandwidth
/// that a user sees is wn / 2 pi.

#include "device_table/device_fptrs.h"

struct MeasConfig;

/// Picks capacitor and resistances of both channels for a bandwidth of `wantedBandwidth` Hz; 0 or below: the instrument
/// chooses. The largest capacitor that fits is taken. A bandwidth that no filter gives is raised, never lowered.
///
/// The filters, and what they give, stand in loopR1A to loopZetaB of what is prepared; the bandwidth of channel A,
/// unless the user has set one, in loopBandwidth of `config`. A channel for which nothing fits keeps its filter;
/// loopWnA to loopZetaB then tell what that gives now, as far as the gain is known, so that the trace is corrected for
/// the loop that there is.
///
/// Returns false if a loop with the filter that its channel keeps would be damped too little to correct the trace for.
///
/// A measurement with one channel has no detector constant of B: B gets its filter by the constant of A. With a pulsed
/// DUT kphiA and kphiB are the user's volts; the design leaves them as counts, and finds the volts again in them when
/// it is repeated.
bool calcLoopParams(Device* device, MeasConfig* config, double wantedBandwidth);
