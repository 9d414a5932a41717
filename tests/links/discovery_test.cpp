#include "base/sync.h"
#include "client.h"
#include "core/shell.h"
#include "device_table/device_fptrs.h"
#include "identity/device_config.h"
#include "links/discovery.h"
#include "links/own_address.h"
#include "scpi/link.h"
#include "tests/slots.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace {

/// The finder on its port, and a host tool beside it.
class Discovery : public testing::Test {
protected:
    Discovery() {
        fill(Device_getName, [](Device*) { return "TVPNX"; });
        strcpy(device_config_sn, "220-336306910-0001");
        tvsocketBcastOpen(&finder_, discoveryPort, nullptr);
        const sockaddr_in address = loopback(discoveryPort);
        EXPECT_EQ(connect(tool_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~Discovery() override {
        close(tool_);
        tvsocketBcastClose(&finder_);
    }

    /// The answer to a datagram of `size` bytes; empty if there is none.
    std::string answerTo(size_t size) {
        const std::string query(size, 'q');
        EXPECT_EQ(send(tool_, query.data(), query.size(), 0), static_cast<ssize_t>(size));
        EXPECT_EQ(tvsocketBcastHandle(&finder_), 0);
        char answer[2048];
        return {answer, static_cast<size_t>(std::max<ssize_t>(recv(tool_, answer, sizeof answer, MSG_DONTWAIT), 0))};
    }
    static std::string field(const std::string& text, size_t size) {
        return text + std::string(size - text.size(), '\0');
    }

    RmtdevFinder finder_;
    int tool_ = socket(AF_INET, SOCK_DGRAM, 0);
};

TEST_F(Discovery, NamesTooLongAreCutAndAMissingOneHasAStandIn) {
    fill(Device_getName, [](Device*) { return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefgh"; });
    strcpy(device_config_sn, "ABCDEFGHIJKLMNOPQRSTUVWXYZABCDEF");
    EXPECT_EQ(answerTo(0).substr(21), field("ABCDEFGHIJKLMNOPQRSTUVWXYZabc", 30) + //
                                          field("ABCDEFGHIJKLMNOPQRSTUVWXYZABCD", 60));
    EXPECT_EQ(answerTo(32), "") << "no empty datagram";
    fill(Device_getName, nullptr);
    EXPECT_EQ(answerTo(0).substr(21, 30), field("(ARM test device)", 30));
}

TEST_F(Discovery, AnInstrumentAtWorkIsFoundTooAndOneWithoutASocketDoesNotSpin) {
    MutexLock busy(deviceAccessMutex);
    strcpy(device_config_sn, "CHANGING");
    EXPECT_EQ(answerTo(0).substr(51, 18), "220-336306910-0001") << "the last that was settled";
    RmtdevFinder second;
    tvsocketBcastOpen(&second, discoveryPort, nullptr);
    EXPECT_EQ(tvsocketBcastHandle(&second), -1);
}

TEST(OwnAddress, IsThatOfEth0AndAChangeIsToldOnce) {
    ASSERT_EQ(tvstuffSystem("ip addr flush dev eth0"), 0);
    char text[addressTextSize];
    EXPECT_EQ(TvsocketGetMyAddr(text), -1);
    EXPECT_STREQ(text, "0.0.0.0");
    EXPECT_FALSE(Tvsocket_hasAddressChanged(text));
    ASSERT_EQ(tvstuffSystem("ip addr add 10.20.30.40/24 dev eth0"), 0);
    EXPECT_TRUE(Tvsocket_hasAddressChanged(text));
    EXPECT_STREQ(text, "10.20.30.40");
    EXPECT_FALSE(Tvsocket_hasAddressChanged(text));
    ASSERT_EQ(tvstuffSystem("ip addr add 169.254.1.2/16 dev eth0 label eth0:avahi"), 0);
    EXPECT_TRUE(Tvsocket_hasAddressChanged(text));
    EXPECT_STREQ(text, "169.254.1.2") << "the alias goes first";
}

} // namespace
