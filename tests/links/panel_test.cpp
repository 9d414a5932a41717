/// The front panel's link on a panel of the test's own: both kinds, and what becomes of the link when it fails.

#include "identity/device_config.h"
#include "link_rig.h"
#include "links/link_thread.h"
#include "links/panel/hcupdate.h"
#include "links/panel/panel_transport.h"
#include "links/panel/tvhc.h"
#include "platform/panel_node.h"
#include "virtual/panel/front_panel.h"

#include <cstdio>

using namespace rig;

namespace {

constexpr const char *newer = "220-336306910-0001", *older = "220-236306910-0001", *none = "220-136306910-0001";

/// Notes each request and write in order; the read and the write fail on demand.
struct ToldPanel : vi::RtDevice {
    std::string told, says;
    int failsFrom = 1 << 30, calls = 0;
    int readsLeft = 1 << 30;

    bool fails() { return ++calls > failsFrom; }
    int ioctl(uint32_t request, uintptr_t argument) override {
        told += '<' + std::to_string(request) + '>';
        if (request == panelNode_getPort)
            *reinterpret_cast<uint32_t*>(argument) = 2;
        return fails() ? -EIO : 0;
    }
    long write(std::span<const uint8_t> data) override {
        const size_t part = (data.size() + 1) / 2; // a device may take less
        told.append(reinterpret_cast<const char*>(data.data()), part);
        return fails() ? -EIO : static_cast<long>(part);
    }
    int waitInput(int timeout_ms) override {
        if (says.empty() && timeout_ms >= 0)
            return readsLeft-- > 0 ? -EINTR : 1;
        return 1;
    }
    long read(std::span<uint8_t> data) override {
        const size_t count = std::min({data.size(), says.size(), size_t{5}});
        std::copy_n(says.data(), count, data.data());
        says.erase(0, count);
        return fails() ? -EIO : static_cast<long>(count);
    }
};

class Panel : public Rig {
protected:
    void plug(vi::RtDevice& device, const char* serialNumber) {
        snprintf(device_config_sn, sizeof device_config_sn, "%s", serialNumber);
        vi::rtdm_register(panelNode_path, &device);
    }
    ~Panel() override {
        Tvhcupdate_init(nullptr);
        if (Tvhc_connected(&tvhc))
            Tvhc_close(&tvhc);
    }
    const LinkRow row{.link = &link_, .transport = &panelTransport, .medium = &tvhc};
};

TEST_F(Panel, EachKindIsIdentifiedAndGetsLinesAndAnswersOnTheirChannels) {
    const struct {
        const char *serialNumber, *says, *told;
        int result;
    } starts[] = {
        {newer, "", "<57352>", 0},
        {older, "HC0000000000\nmore", "<57350><57354>*IDN?\n<57347>", 0},
        {older, "HC0000000001\n", "<57350><57354>*IDN?\n", -1},
        {older, "", "<57350><57354>*IDN?\n", -1}, // says nothing
        {none, "", "", -1},
    };
    for (const auto& [serialNumber, says, told, result] : starts) {
        ToldPanel panel;
        panel.says = says;
        panel.readsLeft = 10;
        plug(panel, serialNumber);
        EXPECT_EQ(Tvhc_open(&tvhc, panelNode_path, -1), -1);
        EXPECT_EQ(Tvhc_open(&tvhc, panelNode_path, 0), result) << serialNumber << says;
        EXPECT_EQ(panel.told, told);
        Tvhcupdate_init(&tvhc);
        panel.told.clear();
        panel.says = "*IDN?\n\x01*IDN?\n";
        if (result == 0) {
            EXPECT_EQ(Tvhcupdate_line("ONE") | Tvhcupdate_line("TWO"), 0);
            EXPECT_EQ(Tvhcupdate_line(std::string(127, 'x').c_str()), scpi::tooMuchData);
            while (!panel.says.empty())
                EXPECT_TRUE(link_step(row));
            EXPECT_EQ(Tvhcupdate_line("THREE"), 0);
            const std::string port = serialNumber == newer ? "<57351>" : "", answer(identity);
            EXPECT_EQ(panel.told,
                      "<57354>ONE\nTWO\n" + port + port + "<57355>" + answer + port + answer + "<57354>THREE\n");
        }
        EXPECT_EQ(Tvhcupdate_line("LAST"), result) << "without a panel it does nothing";
        Tvhc_close(&tvhc);
        vi::rtdm_unregister(&panel);
    }
}

TEST_F(Panel, AnyFailureEndsTheLinkAndQuietensTheMirror) {
    for (int failsFrom = 0; failsFrom < 12; ++failsFrom) {
        ToldPanel panel;
        plug(panel, newer);
        panel.failsFrom = failsFrom;
        panel.readsLeft = 3;
        panel.says = "*IDN?\nBLOC?\n*ID";
        Tvhcupdate_init(&tvhc);
        const int opened = Tvhc_open(&tvhc, panelNode_path, 0);
        EXPECT_EQ(opened, failsFrom == 0 ? -1 : 0);
        const int first = Tvhcupdate_line("ONE");
        EXPECT_EQ(first, failsFrom < 5 ? -1 : 0) << failsFrom; // its kind, the channel, then three pieces
        link_run(row);                                         // comes back: the panel has failed, or says the end
        EXPECT_FALSE(Tvhc_connected(&tvhc));
        const int before = panel.calls;
        EXPECT_EQ(Tvhcupdate_line("TWO"), -1);
        EXPECT_EQ(panel.calls, before);
        EXPECT_EQ(tvhc.readFd, -1);
        vi::rtdm_unregister(&panel);
    }
}

TEST_F(Panel, APanelThatDiesEndsAWaitForItsKeys) {
    for (const char* const serialNumber : {newer, older}) {
        vi::FrontPanel panel(serialNumber == newer ? vi::PanelKind::newer : vi::PanelKind::older);
        plug(panel, serialNumber);
        ASSERT_EQ(Tvhc_open(&tvhc, panelNode_path, 0), 0);
        Tvhcupdate_init(&tvhc);
        std::atomic<int> answers = 0;
        panel.onNews([&] { answers += static_cast<int>(panel.takeAnswers().size()); });
        std::thread link([&] { link_run(row); });
        touched = 0;
        EXPECT_EQ(panel.press(1, "TOUC;TOUC"), nullptr);
        EXPECT_TRUE(reaches(answers, 1));
        EXPECT_EQ(touched, 2);
        EXPECT_EQ(Tvhcupdate_line("LFO:SHAP SINE") | Tvhcupdate_line("NOISE"), 0);
        EXPECT_EQ(panel.picture(), (vi::PanelPicture{{"LFO:SHAP", "SINE"}}));
        EXPECT_EQ(panel.refusals(), 1U) << panel.refusalTexts();
        panel.unplug();
        link.join();
        EXPECT_EQ(Tvhcupdate_line("*OPC"), -1);
        EXPECT_STREQ(panel.press(1, "TOUC"), "off");
        vi::rtdm_unregister(&panel);
    }
}

} // namespace
