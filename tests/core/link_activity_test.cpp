#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "tests/slots.h"

#include <gtest/gtest.h>
#include <string>

namespace {

std::string calls; // of the device: '+' and '-' for the remote lamp, 'c' for a clear

/// The accounting with a device behind it and two VXI-11 links.
class LinkActivity : public testing::Test {
protected:
    LinkActivity() {
        fill(Device_enableLedRemote, [](Device*) { return calls += '+', 0; });
        fill(Device_disableLedRemote, [](Device*) { return calls += '-', 0; });
        fill(hcupdate_connectLan, [] { return calls += 'L', 0; });
        fill(hcupdate_disconnectLan, [] { return calls += 'l', 0; });
        fill(hcupdate_connectUsb, [] { return calls += 'U', 0; });
        fill(hcupdate_disconnectUsb, [] { return calls += 'u', 0; });
        fill(hcupdate_connectGpib, [] { return calls += 'G', 0; });
        fill(hcupdate_disconnectGpib, [] { return calls += 'g', -1; });
        fill(Device_clear, [](Device*) { return calls += 'c', 0; });
        tv_event_setVxiLinks(&channelA, &channelB);
        global_activeLinks = 0;
        calls.clear();
    }

    static void tick(int times) {
        for (int i = 0; i < times; ++i)
            tv_event_indicateLinkActivity(nullptr);
    }

    scpi_link channelA{}, channelB{}, socket{};
};

TEST_F(LinkActivity, EachEventMovesItsOwnBitAndLampAndIconsFollow) {
    const struct {
        int event;
        uint32_t mask;
        const char* shown;
    } story[] = {
        {linkEventTcpConnected, 0x01, "L+"},
        {linkEventUsbConnected, 0x03, "U"},
        {linkEventGpibInUse, 0x07, "G"},
        {linkEventVxiAActive, 0x0f, ""},
        {linkEventVxiBActive, 0x1f, ""},
        {linkEventTcpGone, 0x1e, ""},
        {linkEventVxiBIdle, 0x0e, ""},
        {linkEventUsbGone, 0x0c, "u"},
        {linkEventDeviceClear, 0x0c, "c"},
        {linkEventVxiAIdle, 0x04, "l"},
        {linkEventGpibGone, 0x00, "g-"},
        {linkEventGpibGone, 0x00, ""},
        {12, 0x00, ""},
        {-1, 0x00, ""},
    };
    for (const auto& [event, mask, shown] : story) {
        calls.clear();
        tv_event_handle(nullptr, event);
        EXPECT_EQ(global_activeLinks, mask) << "event " << event;
        EXPECT_EQ(calls, shown) << "event " << event;
    }
}

TEST_F(LinkActivity, AVxiChannelIsLeftFiveTicksAfterItsLastCommandAndOtherLinksDoNotAge) {
    tv_event_indicateLinkActivity(&channelA);
    EXPECT_EQ(global_activeLinks, 0x08u);
    tick(4);
    tv_event_indicateLinkActivity(&channelB);
    tv_event_indicateLinkActivity(&channelA);
    tick(4);
    EXPECT_EQ(global_activeLinks, 0x18u);
    tv_event_indicateLinkActivity(&channelB);
    tick(1);
    EXPECT_EQ(global_activeLinks, 0x10u);
    tick(4);
    EXPECT_EQ(global_activeLinks, 0x00u);
    tick(20);
    EXPECT_EQ(calls, "L+l-");
    tv_event_handle(&socket, linkEventTcpConnected);
    tv_event_indicateLinkActivity(&socket);
    tick(10);
    EXPECT_EQ(global_activeLinks, 0x01u);
}

} // namespace
