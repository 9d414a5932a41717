#include "core/tv_event.h"

#include "core/process.h"
#include "device_table/fptrs_panel.h"
#include "device_table/fptrs_system.h"

#include <array>

namespace {

constexpr int bitTcp = 0;
constexpr int bitUsb = 1;
constexpr int bitGpib = 2;
constexpr int bitVxiA = 3;
constexpr int bitVxiB = 4;
constexpr int linkKinds = 5;
constexpr int eventDeviceClear = 2 * linkKinds + 1;

// Each kind of link has a pair of events, from 1: an odd one sets the kind's bit, the even one behind it clears it.
constexpr int eventSetting(int bit) {
    return 2 * bit + 1;
}
constexpr int eventClearing(int bit) {
    return 2 * bit + 2;
}

constexpr int activityTicks = 5; // of two seconds each

struct VxiChannel {
    const scpi_link* link;
    int bit;
    int ticksLeft; // until the channel counts as left
};
std::array<VxiChannel, 2> vxiChannels{{{nullptr, bitVxiA, 0}, {nullptr, bitVxiB, 0}}};

/// Kinds of links that share an icon on the front panel.
struct Icon {
    uint32_t links; // of global_activeLinks
    const Slot<int()>* connect;
    const Slot<int()>* disconnect;
};
constexpr Icon icons[] = {
    {1u << bitTcp | 1u << bitVxiA | 1u << bitVxiB, &hcupdate_connectLan, &hcupdate_disconnectLan},
    {1u << bitUsb, &hcupdate_connectUsb, &hcupdate_disconnectUsb},
    {1u << bitGpib, &hcupdate_connectGpib, &hcupdate_disconnectGpib},
};

/// Tells the panel, which may be gone, of the icons that come or go.
void showIcons(uint32_t before, uint32_t after) {
    for (const Icon& icon : icons) {
        const bool shown = (before & icon.links) != 0, shows = (after & icon.links) != 0;
        const Slot<int()>& tell = shows ? *icon.connect : *icon.disconnect;
        if (shown != shows && tell)
            slot_carryOn(tell());
    }
}

uint32_t afterEvent(uint32_t activeLinks, int event) {
    if (event < eventSetting(0) || event > eventClearing(linkKinds - 1))
        return activeLinks;
    const uint32_t bit = 1u << ((event - 1) / 2);
    return event % 2 != 0 ? activeLinks | bit : activeLinks & ~bit;
}

} // namespace

uint32_t global_activeLinks = 0;

void tv_event_setVxiLinks(const scpi_link* channelA, const scpi_link* channelB) {
    vxiChannels[0].link = channelA;
    vxiChannels[1].link = channelB;
}

void tv_event_handle(scpi_link*, int event) {
    const uint32_t before = global_activeLinks;
    const uint32_t after = afterEvent(before, event);
    if (event == eventDeviceClear && Device_clear)
        slot_carryOn(Device_clear(debug_device)); // an event has nobody to answer to
    showIcons(before, after);
    if (before == 0 && after != 0 && Device_enableLedRemote)
        slot_carryOn(Device_enableLedRemote(debug_device)); // a lamp
    if (before != 0 && after == 0 && Device_disableLedRemote)
        slot_carryOn(Device_disableLedRemote(debug_device));
    global_activeLinks = after;
}

namespace {

/// The channel has been used, or with null two seconds have passed.
[[gnu::noinline]] void countActivity(const scpi_link* link) {
    for (VxiChannel& channel : vxiChannels) {
        if (link != nullptr && link == channel.link) {
            if (channel.ticksLeft == 0)
                tv_event_handle(nullptr, eventSetting(channel.bit));
            channel.ticksLeft = activityTicks;
        } else if (link == nullptr && channel.ticksLeft > 0) {
            if (--channel.ticksLeft == 0)
                tv_event_handle(nullptr, eventClearing(channel.bit));
        }
    }
}

} // namespace

void tv_event_indicateLinkActivity(const scpi_link* link) {
    if (link == nullptr || link == vxiChannels[0].link || link == vxiChannels[1].link)
        countActivity(link);
}

void tv_event_init(tv_event* event) {
    MutexLock lock(event->mutex);
    event->signalled = false;
}

void tv_event_signal(tv_event* event) {
    MutexLock lock(event->mutex);
    event->signalled = true;
    event->condition.signal();
}

void tv_event_wait(tv_event* event) {
    MutexLock lock(event->mutex);
    while (!event->signalled)
        event->condition.wait(event->mutex);
    event->signalled = false;
}

void tv_event_release(tv_event* event) {
    tv_event_init(event);
}
