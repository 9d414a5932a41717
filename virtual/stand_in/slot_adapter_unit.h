#pragma once
/// What the slots share: the unit as its boards would keep it, and the way to the bench.

#include "device_table/slot.h"
#include "virtual/physics/bench.h"

#include <array>
#include <cstdint>
#include <mutex>

namespace slot_adapter {

/// The stand-in fills what no board of the firmware does.
inline constexpr SlotRegistrar fill{"stand-in"};

struct Unit {
    vi::Bench* bench;
    double frequency_Hz; // of the carrier, as set or counted
    uint32_t divThreshold_MHz;
    bool lowPath, counting; // input relay; frequency counter
    bool rfOn;
    vi::Reference reference;                 // of the source boards
    std::array<bool, vi::channels> external; // the mixer takes the reference input
    struct Source {
        uint64_t word; // of the DDS
        uint32_t multiplier;
    };
    std::array<Source, vi::channels> sources;
    int loopMode;
};

/// The unit for the time of one call. A call costs its bus transfers.
class Access {
public:
    Access();
    Unit* operator->() const;
    Unit& operator*() const;

private:
    std::lock_guard<std::mutex> guard_;
};

template <class Change> void change(const Unit& unit, vi::Channel channel, Change act) {
    vi::ChannelSettings settings = bench_settings(unit.bench, channel);
    act(settings);
    bench_set(unit.bench, channel, settings);
}

template <class Change> void changeBoth(const Unit& unit, Change act) {
    change(unit, vi::channelB, act);
    change(unit, vi::channelA, act);
}

/// The channel that the record selects.
[[nodiscard]] vi::Channel selected(const Device* device);

/// Paths and division in front of the mixer that the analog boards choose for a carrier.
void planPaths(Unit* unit, double frequency_Hz);

void installCarrier();
void installAnalog();

} // namespace slot_adapter
