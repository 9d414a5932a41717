#pragma once

#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "tests/memory_client.h"

#include <atomic>
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
