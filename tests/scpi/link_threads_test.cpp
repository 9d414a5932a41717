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
