/// Transports on their own threads against the main loop: nothing is lost, nobody is left waiting.

#include "engine_fixture.h"

#include <atomic>
#include <thread>

using namespace engine;

namespace {

/// A transport's standard loop: one message in, the whole answer out.
std::string exchange(scpi_link* link, std::string_view message) {
    char* where = nullptr;
    const int room = tvcommOpenCmd(link, &where);
    EXPECT_GE(room, static_cast<int>(message.size()));
    message.copy(where, message.size());
    tvcommCloseCmd(link, static_cast<int>(message.size()));
    std::string answer;
    int more = 1;
    while (more) {
        scpi_link_doHandle(link);
        scpi_link_waitHandled(link);
        const int count = tvcommPeekAns(link, &where, nullptr);
        answer.append(where, static_cast<size_t>(count));
        tvcommClearAns(link, count, &more);
    }
    return answer;
}

} // namespace

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
    std::atomic<bool> stop{false};
    std::thread mainThread([&] {
        while (!stop)
            scpi_execute(link_list, nullptr, 60000);
    });
    std::thread transport([&] { exchange(&link_, "CAPT?\n*OPC 1\n"); });
    capturing.waitWhile(0);
    scpi_link_clientGone(&link_);
    transport.join();
    EXPECT_EQ(commands(), Texts{"opc(1)"});
    stop = true;
    scpi_link_doHandle(nullptr);
    mainThread.join();
}

TEST_F(Engine, LinksOnTheirOwnThreadsAreAllServedInOrder) {
    constexpr int links = 3, rounds = 3000;
    blockSource.assign(500, 'b');
    scpi_link others[links];
    for (scpi_link& other : others)
        scpi_link_init(&link_list, &other, 256, 256, "other");
    std::atomic<bool> stop{false};
    std::thread mainThread([&] {
        while (!stop)
            scpi_execute(link_list, nullptr, 250);
    });
    std::atomic<int> wrong{0};
    std::vector<std::thread> transports;
    for (scpi_link& other : others)
        transports.emplace_back([&, link = &other] {
            for (int i = 0; i < rounds; ++i) {
                if (exchange(link, "*IDN?\n") != "Tolvane AG,TEST\n")
                    ++wrong;
                if (i % 16 == 0 && exchange(link, "BLOC?\n") != "#3500" + blockSource)
                    ++wrong;
                if (i % 64 == 0)
                    tvcommClear(link);
                if (i % 128 == 0)
                    tvcommEvent(link, linkEventTcpConnected);
            }
        });
    for (std::thread& transport : transports)
        transport.join();
    stop = true;
    scpi_link_doHandle(nullptr);
    mainThread.join();
    EXPECT_EQ(wrong, 0);
    for (scpi_link& other : others)
        scpi_link_destroy(&other);
}
