#pragma once
/// The engine with a few commands of its own behind a transport under test. The rig has the main loop of the
/// instrument; the remote lamp tells when a link event has been handled.

#include "base/waiting.h"
#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/command_tree.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "tests/scpi/main_loop.h"
#include "tests/slots.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace rig {

inline std::string block;           // sent by BLOCk?
inline std::atomic<int> touched{0}; // times that TOUCh ran
inline constexpr std::string_view identity = "Tolvane AG,RIG,1,0\n";

inline std::atomic<int> lampOn{0}, lampOff{0}; // times that the remote lamp went on and off

/// Waits for a count without sleeping. False if it takes more than ten seconds.
[[nodiscard]] inline bool reaches(const std::atomic<int>& counter, int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (counter < count && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    return counter >= count;
}

inline void idn(scpi::Unit& unit) {
    unit.answerLength = static_cast<int32_t>(identity.copy(unit.answer, identity.size() - 1));
    unit.errorCode = 0;
}
inline void touch(scpi::Unit& unit) {
    ++touched;
    unit.errorCode = 0;
}
inline void sendBlock(scpi::Unit& unit) {
    scpi_exec_startBdSend_memory(unit.link, static_cast<int32_t>(block.size()), block.data(), nullptr, nullptr);
    unit.errorCode = scpi_exec_bdSend_asciiHeader(unit.link);
}

/// Waits for ever.
inline void wait(scpi::Unit& unit) {
    Waiting waiting;
    waiting.isOver = [](const Waiting&) { return false; };
    waiting.finish = [](Device*, const Waiting&, bool) { return 0; };
    unit.errorCode = waiting_for(nullptr, waiting);
}

inline void echo(scpi::Unit& unit) {
    scpi_link_enableQueryEcho(unit.link);
    unit.errorCode = 0;
}

inline constexpr scpi::Row rows[] = {
    {"*IDN", scpi::Q, idn, "", ""},    {"BLOCk", scpi::Q, sendBlock, "", ""}, {"ECHO", scpi::S, echo, "", ""},
    {"TOUCh", scpi::S, touch, "", ""}, {"WAIT", scpi::S, wait, "", ""},
};
inline constexpr scpi::CommandTreeStorage<16> storage{rows};
static_assert(storage.error() == nullptr);

class Rig : public testing::Test {
protected:
    Rig() {
        touched = lampOn = lampOff = 0;
        global_activeLinks = 0;
        fill(Device_enableLedRemote, [](Device*) { return ++lampOn, 0; });
        fill(Device_disableLedRemote, [](Device*) { return ++lampOff, 0; });
        context_.tree = storage.view({});
        scpi_parser_init(&context_);
        scpi_link_initAll(&link_list);
        scpi_link_init(&link_list, &link_, 1024, 1024, "under test");
        scpi_link_init(&link_list, &other_, 1024, 1024, "another");
        mainLoop_.emplace();
    }
    ~Rig() override {
        mainLoop_.reset();
        scpi_link_destroy(&link_);
        scpi_link_destroy(&other_);
    }

    scpi_parser_context context_{};
    scpi_link link_{}, other_{};

private:
    std::optional<MainLoop> mainLoop_;
};

} // namespace rig
