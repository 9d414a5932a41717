#pragma once
/// What both ways of locking share: one channel's working values, and the marks that its tune voltage earns.

#include "device_table/device_fptrs.h"
#include "measure/preparation/both_boards.h"
#include "measure/preparation/loop_modes.h"
#include "measure/preparation/prepared.h"

#include <cstdint>

/// Where the tune voltage of a locked loop is expected, V.
struct TuneBand {
    double center;
    double min, max;
    double window; // how close to the center it must come before it counts

    [[nodiscard]] bool holds(double tune) const { return tune >= min && tune <= max; } // NaN: no
};

struct LockChannel {
    const Slot<int(Device*)>* select;
    double r1, r2;      // of the loop filter, ohm
    uint32_t capacitor; // its number
    double r3;          // between helper and loop filter, ohm
    double helper;      // V
    double tune;        // V, now and a pass ago
    double previousTune;
    uint32_t locked; // 1: looks locked
    bool near;       // came close to the center since it was outside the band
    int32_t stable;  // passes in a row without a move
};

/// The channels with the filters that calcLoopParams gave them.
struct LockChannels {
    LockChannel a, b;

    /// False if a channel has never had a filter: there is nothing to close its loop with.
    [[nodiscard]] bool haveFilters() const { return a.r1 > 0 && b.r1 > 0; }
};
[[nodiscard]] LockChannels lockChannels_ofDesign(const Prepared& prepared);

/// Reads the tune voltages.
void lockChannels_readTune(Device* device, LockChannels* channels);
/// Closes both loops behind their R3, helpers off, and reads the tune voltages.
void lockChannels_close(Device* device, LockChannels* channels);
/// Starts the marks: a channel outside the band counts as near, so that it must not come close to the center first.
void lockChannels_startMarks(LockChannels* channels, const TuneBand& band);
/// Brings the marks of one channel up to its last reading; a move below `step` (V) counts as stable. Returns whether
/// the channel became near.
bool lockChannel_mark(LockChannel* channel, const TuneBand& band, double step);
/// True if both are near and have been stable for more than `passes` passes.
[[nodiscard]] bool lockChannels_stable(const LockChannels& channels, int32_t passes);

/// Acts with the board of `channel` selected; board A is selected afterwards. Orders to the loops are not waited for:
/// the tune voltages and the records of the lock tell what came of them.
template <class Action> void onBoard(Device* device, const LockChannel& channel, Action action) {
    slot_carryOn((*channel.select)(device)); // as selectBoardA
    action();
    if (channel.select != &Device_selectPhaseNoiseAlgBoardA)
        selectBoardA(device);
}

/// Sets R3 of the channel and its helper on the selected board.
void setHelper(Device* device, LockChannel* channel, double r3, double volts);
