// The link on a bus, and clients who reach it through the adapter.

#include "link_rig.h"
#include "links/bus_activity.h"
#include "links/bus_port.h"
#include "links/link_thread.h"
#include "platform/bus_nodes.h"
#include "scpi/execution_cycle.h"
#include "virtual/gpib/gpib_adapter.h"
#include "virtual/gpib/gpib_interface.h"
#include "virtual/gpib/gpib_recorder.h"

#include <filesystem>
#include <unistd.h>

using namespace rig;

namespace {

class Gpib : public Rig {
protected:
    Gpib() {
        vi::rtdm_register(gpib_nodePath, &interface_);
        thread_ = std::thread([this] { link_run(row_); });
    }
    ~Gpib() override {
        interface_.fail(); // which ends the link
        thread_.join();
        vi::rtdm_unregister(&interface_);
        std::filesystem::remove(settingsFile_);
    }

    /// What the adapter answers to lines of a client.
    std::string ask(std::string_view lines) {
        answers_.clear();
        connected_ = adapter_.take(lines);
        return answers_;
    }
    std::string query(std::string_view message) { return ask(std::string(message) + "\n++read eoi\n"); }

    const std::string settingsFile_ = testing::TempDir() + "gpib_" + std::to_string(getpid());
    vi::GpibAddress address_{.primary = 5}; // under the bus's mutex
    std::string heard_;                     // by the listener at 21
    vi::GpibBus bus_;
    vi::GpibInterface interface_{bus_, [this] { return address_; }};
    vi::GpibRecorder listener_{
        bus_, {.primary = 21}, [this](std::span<const uint8_t> data) { heard_.append(data.begin(), data.end()); }};
    std::string answers_;
    bool connected_ = true;
    vi::GpibAdapter adapter_{bus_, settingsFile_, [this](std::string_view text) { answers_ += text; }};
    BusActivity activity_{.inUse = linkEventGpibInUse, .gone = linkEventGpibGone};

private:
    BusPort port_{.readBits = gpib_readTellsEnd, .endBit = gpib_readTellsEnd, .endsOnFault = true};
    const LinkRow row_{.link = &link_,
                       .transport = &busTransport,
                       .medium = &port_,
                       .path = gpib_nodePath,
                       .gone = linkEventClientGone,
                       .activity = &activity_};
    std::thread thread_;
};

TEST_F(Gpib, AMessageEndsWithItsNewlineOrWithEndWhateverItsLength) {
    EXPECT_EQ(ask("++addr 5\n"), "");
    for (const char* ending : {"++eoi 1\n++eos 3\n", "++eoi 0\n++eos 2\n", "++eoi 1\n++eos 0\n"})
        for (const size_t length : {5u, 1023u, 1024u, 1025u, 4095u, 4097u, 20000u}) {
            std::string message;
            while (message.size() + 14 < length) // in units that fit a buffer
                message += "TOUC;    ";
            ask(ending);
            EXPECT_EQ(query(message + std::string(length - message.size() - 5, ' ') + "*IDN?"), identity) << length;
        }
    ask("++eoi 0\n++eos 3\nTOU\n");
    const int before = touched;
    ask("C;\n++eoi 1\nTOUC\n");
    EXPECT_EQ(query("*IDN?"), identity);
    EXPECT_EQ(touched, before + 2) << "a message in pieces, of which the last has END";
}

TEST_F(Gpib, EndComesWithTheLastByteOfAnAnswerAlone) {
    ask("++addr 5\n++eot_enable 1\n++eot_char 33\n");
    for (const size_t length : {1u, 1014u, 1015u, 1024u, 4087u, 4096u, 40000u}) {
        block = std::string(length, '\n');
        const std::string digits = std::to_string(length);
        EXPECT_EQ(query("BLOC?"), "#" + std::to_string(digits.size()) + digits + block + "!") << length;
    }
    EXPECT_EQ(query("*IDN?;TOUC;*IDN?"),
              std::string(identity.substr(0, identity.size() - 1)) + ";" + std::string(identity) + "!");
    ask("++eoi 0\n++eos 2\n*IDN?\n*IDN?\n"); // two messages, whose answers come as one or as two
    std::string both;
    while (both.size() < 2 * identity.size())
        both += ask("++read eoi\n");
    std::erase(both, '!');
    EXPECT_EQ(both, std::string(identity) + std::string(identity));
}

TEST_F(Gpib, ADeviceClearDropsTheRestOfABlockAndOfAMessage) {
    block = std::string(40000, 'x');
    ask("++addr 5\n");
    for (int turn = 0; turn < 20; ++turn) {
        EXPECT_EQ(ask("BLOC?\n++read 35\n"), "#");
        ask("++clr\n");
        EXPECT_EQ(query("*IDN?"), identity);
        ask("++eoi 0\n++eos 3\nTOUC;TOU\n++clr\n++eoi 1\n++eos 0\n");
        EXPECT_EQ(query("*IDN?"), identity);
        ask(turn % 2 ? "WAIT;TOUC\n++clr\n" : "WAIT\nTOUC\n++clr\n"); // for ever
        EXPECT_EQ(query("*IDN?"), identity);
    }
}

TEST_F(Gpib, TheInstrumentIsAtItsAddressAndNothingLeaksToAnother) {
    ask("++read_tmo_ms 1\n++addr 7\nTOUC\n");
    EXPECT_EQ(ask("++spoll\n*IDN?\n++read eoi\n"), "") << "nobody is at 7";
    EXPECT_EQ(ask("++read_tmo_ms 3000\n++addr 5\n++spoll\n*IDN?\n++read eoi\n"), "0\r\n" + std::string(identity));
    for (const auto& [moved, command] : {std::pair{vi::GpibAddress{.primary = 7}, "++addr 7\n"},
                                         {{.primary = 7, .secondary = 4}, "++addr 7 100\n"},
                                         {{.primary = 30, .secondary = 0}, "++addr 30 96\n"}}) {
        {
            const std::lock_guard lock(bus_.mutex);
            address_ = moved;
        }
        EXPECT_EQ(ask("++read_tmo_ms 1\n*IDN?\n++read eoi\n"), "") << "where it was";
        ask(command);
        EXPECT_EQ(ask("++read_tmo_ms 3000\n*IDN?\n++read eoi\n"), identity) << command;
    }
    EXPECT_EQ(touched, 0);
    EXPECT_EQ(heard_, "");
    ask("++addr 21\n*IDN?\n++trg\n++loc\n++llo\n++clr\n++ifc\n");
    EXPECT_EQ(heard_, "*IDN?\r\n");
}

TEST_F(Gpib, TheLampFollowsTheBytesOnTheBus) {
    ask("++addr 5\n");
    EXPECT_EQ(lampOn, 0);
    query("*IDN?");
    EXPECT_TRUE(reaches(lampOn, 1));
    for (const int expected : {0, 1, 1}) {
        MutexLock access(deviceAccessMutex);
        busActivity_age(&activity_);
        EXPECT_EQ(lampOff, expected);
    }
    query("*IDN?");
    EXPECT_TRUE(reaches(lampOn, 2));
}

TEST_F(Gpib, TheAdapterTakesMessagesByteByByte) {
    ask("++addr 21\n");
    const struct {
        std::string_view sent, heard;
    } cases[] = {
        {"A\nB\r\n\n\rC\n", "A\r\nB\r\nC\r\n"},
        {"+5\nA++B\n", "+5\r\nA++B\r\n"},
        {"\x1b+\x1b+ver\n", "++ver\r\n"},
        {"A\x1b\nB\x1b\rC\x1b\x1b\n", "A\nB\rC\x1b\r\n"},
        {std::string_view("\0\xff\x80\n", 4), std::string_view("\0\xff\x80\r\n", 5)},
        {"++eos 1\nA\n++eos 3\nB\nC\n++eos 2\nD\n++eos 0\n", "A\rBCD\n"},
    };
    for (const auto& [sent, heard] : cases) {
        for (const char c : sent)
            EXPECT_EQ(ask({&c, 1}), "");
        EXPECT_EQ(std::exchange(heard_, {}), heard);
    }
    const std::string endless(3 << 20, 'x'); // goes ahead in pieces
    ask(endless + "\n");
    EXPECT_EQ(heard_, endless + "\r\n");
}

TEST_F(Gpib, TheAdapterAnswersItsCommandsAndKeepsItsSettings) {
    const struct {
        std::string_view sent, answer;
    } cases[] = {
        {"++addr\n", "0\r\n"},
        {"++addr 12 98\n++addr\n", "12 98\r\n"},
        {"++addr 5\n++addr\n", "5\r\n"},
        {"++mode\n++mode 1\n++eoi\n++auto\n", "1\r\n1\r\n0\r\n"},
        {"++spoll 5 21\n++srq\n++trg 5 21\n", "0\r\n0\r\n"},
        {"++read_tmo_ms 3000\n++read_tmo_ms\n", "3000\r\n"},
        {"++eos 3\n++savecfg 1\n++eos 2\n", ""},
        {"++auto 1\n*IDN?\n++auto 0\n", identity},
    };
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(ask("++addr 5\n++read_tmo_ms 3000\n++spoll 6,7,8,9,10,11,12,13,14,15,16,17,18,5,19\n++addr 0\n"),
              "0\r\n");
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(30)) << "three for each who is not there";
    ask("++read_tmo_ms 1\n");
    for (const auto& [sent, answer] : cases)
        EXPECT_EQ(ask(sent), answer) << sent;
    for (const char* wrong :
         {"addr 31", "addr 5 95", "addr 5 6", "eos 4", "eoi x", "auto 0 0", "mode 0", "read_tmo_ms 3001", "read foo",
          "spoll 99", "trg 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", "trg 5,x", "", "nothing", "EOI"})
        EXPECT_EQ(ask("++" + std::string(wrong) + "\n"), "Unrecognized command\r\n") << wrong;
    EXPECT_TRUE(ask("++help\n").find("++savecfg") != std::string::npos);
    EXPECT_TRUE(connected_);
    ask("++rst\n++ver\n");
    EXPECT_FALSE(connected_);
    EXPECT_EQ(answers_, "");
    std::string kept;
    vi::GpibAdapter another(bus_, settingsFile_, [&](std::string_view text) { kept += text; });
    EXPECT_TRUE(another.take("++addr\n++eos\n++read_tmo_ms\n"));
    EXPECT_EQ(kept, "5\r\n2\r\n3000\r\n");
}

} // namespace
