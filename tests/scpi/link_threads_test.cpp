/// Transports on their own threads against the main loop: nothing is lost, nobody is left waiting.

#include "engine_fixture.h"
#include "main_loop.h"

using namespace engine;

namespace {

/// A source whose samples never come.
WakeWord capturing{0};

void startEndlessCapture(Unit& unit) {
    const auto wait = [](void*, int, uint32_t, char*) {
        capturing.setAndWake(1);
        capturing.waitWhile(1);
        return -1;
    };
    scpi_exec_startBdSend_handler(unit.link, 1'000'000, wait, nullptr, nullptr, nullptr);
    scpi_exec_bdSend_interruptWith(unit.link, [](void*) { capturing.setAndWake(2); });
    unit.errorCode = 0;
}

} // namespace

TEST_F(Engine, ABlockThatNobodyReadsEndsAtOnceAndWhatTheClientHadSentBehindItRuns) {
    static constexpr Row endless[] = {{"CAPTure", Q, startEndlessCapture, "", ""}, rows[1]};
    static constexpr CommandTreeStorage<8> tree{endless};
    context_.tree = tree.view({});
    const MainLoop mainLoop;
    std::thread transport([&] { askOn(&link_, "CAPT?\n*OPC 1\n"); });
    capturing.waitWhile(0);
    scpi_link_clientGone(&link_);
    transport.join();
    EXPECT_EQ(commands(), Texts{"opc(1)"});
}

TEST_F(Engine, LinksOnTheirOwnThreadsAreAllServedInOrder) {
    constexpr int links = 3, rounds = 3000;
    blockSource.assign(500, 'b');
    scpi_link others[links];
    for (scpi_link& other : others)
        scpi_link_init(&link_list, &other, 256, 256, "other");
    const MainLoop mainLoop;
    std::atomic<int> wrong{0};
    std::vector<std::thread> transports;
    for (scpi_link& other : others)
        transports.emplace_back([&, link = &other] {
            for (int i = 0; i < rounds; ++i) {
                if (askOn(link, "*IDN?\n") != "Tolvane AG,TEST\n")
                    ++wrong;
                if (i % 16 == 0 && askOn(link, "BLOC?\n") != "#3500" + blockSource)
                    ++wrong;
                if (i % 64 == 0)
                    tvcommClear(link);
                if (i % 128 == 0)
                    tvcommEvent(link, linkEventTcpConnected);
            }
        });
    for (std::thread& transport : transports)
        transport.join();
    EXPECT_EQ(wrong, 0);
    for (scpi_link& other : others)
        scpi_link_destroy(&other);
}

TEST_F(Engine, ATransportRunsItsPassItselfUnlessSomebodyElseHasTheDeviceOrWaitsForIt) {
    const auto served = [&] {
        tvcommWriteCmd(&link_, "*OPC 1\n", 7);
        link_.handleRequest.set(1);
        const bool here = scpi_serveLinkHere(&link_);
        EXPECT_EQ(commands(), here ? Texts{"opc(1)"} : Texts{});
        scpi_link_serveAlone(&link_);
        commands();
        return here;
    };
    EXPECT_FALSE(served()) << "before the main loop's first cycle";
    scpi_execute(link_list, nullptr, 250);
    EXPECT_TRUE(served());
    scpi_link_doHandle(nullptr);
    EXPECT_FALSE(served()) << "somebody has asked for the main thread";
    scpi_execute(link_list, nullptr, 250);
    {
        std::thread taker;
        {
            MutexLock access(deviceAccessMutex);
            taker = std::thread([&] {
                openSynchronousDeviceAccess();
                closeSynchronousDeviceAccess();
            });
            link_.handleRequest.set(1);
            EXPECT_FALSE(scpi_serveLinkHere(&link_));
        }
        taker.join();
        scpi_link_serveAlone(&link_);
    }
    EXPECT_TRUE(served());
}

TEST_F(Engine, AClientThatHasAlwaysMoreToSayLetsTheOthersIn) {
    scpi_link other{};
    scpi_link_init(&link_list, &other, size, size, "other");
    std::string much;
    for (int i = 0; i < 50'000; ++i)
        much += "EMPT?\n";
    const MainLoop mainLoop;
    std::atomic<bool> stop{false};
    std::thread talker([&] {
        while (!stop)
            askOn(&link_, much);
    });
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(askOn(&other, "*OPC?\n"), "1\n");
    stop = true;
    talker.join();
    scpi_link_destroy(&other);
}
