#pragma once
/// The relay in front of the two inputs of the analog boards from 2B on, low and high, and what goes with it: from
/// which of them the counters are fed, and lowPath.

struct Device;

/// Moves the relay, unless it is there, and lets the counters of B and then A follow; leaves A selected.
void inputRelay_follow(Device* device, bool high);
/// Moves the relay and lets the counter of the selected board follow.
void inputRelay_followOne(Device* device, bool high);
/// Lets the counters follow alone.
void inputRelay_followCounters(Device* device, bool high);
