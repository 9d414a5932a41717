#pragma once
/// Transports on their own threads against the main loop.

#include "scpi/execution_cycle.h"
#include "scpi/link.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>

/// The main loop for as long as it lives. Its tick is so far away that whatever happens was woken.
class MainLoop {
public:
    ~MainLoop() {
        stop_ = true;
        scpi_link_doHandle(nullptr);
        thread_.join();
    }

private:
    std::atomic<bool> stop_{false};
    std::thread thread_{[this] {
        while (!stop_)
            scpi_execute(link_list, nullptr, 3'600'000);
    }};
};

/// A transport's standard loop: one message in, the whole answer out.
inline std::string askOn(scpi_link* link, std::string_view message) {
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
