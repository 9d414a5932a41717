#pragma once
/// The engine with a few commands of its own behind a transport under test. The rig is the main thread of the
/// instrument; the remote lamp tells when a link event has been handled.

#include "core/tv_event.h"
#include "device/device_fptrs.h"
#include "scpi/command_tree.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parser.h"

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace rig {

inline std::string block;           // sent by BLOCk?
inline std::atomic<int> touched{0}; // times that TOUCh ran
inline constexpr std::string_view identity = "Tolvane AG,RIG,1,0\n";

/// Something that a test waits for without sleeping.
class Counter {
public:
    void add() {
        std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    /// False if it takes more than ten seconds.
    [[nodiscard]] bool reaches(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return count_ >= count; });
    }
    void clear() {
        std::lock_guard lock(mutex_);
        count_ = 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};
inline Counter lampOn, lampOff;

inline void answer(scpi::Unit& unit, std::string_view text) {
    unit.answerLength = static_cast<int32_t>(text.copy(unit.answer, static_cast<size_t>(unit.answerRoom)));
    unit.errorCode = 0;
}
inline void idn(scpi::Unit& unit) {
    answer(unit, identity.substr(0, identity.size() - 1));
}
inline void touch(scpi::Unit& unit) {
    ++touched;
    unit.errorCode = 0;
}
inline void sendBlock(scpi::Unit& unit) {
    scpi_exec_startBdSend_memory(unit.link, static_cast<int32_t>(block.size()), block.data(), nullptr, nullptr);
    unit.errorCode = scpi_exec_bdSend_asciiHeader(unit.link);
}

inline constexpr scpi::Row rows[] = {
    {"*IDN", scpi::Q, idn, "", ""},
    {"BLOCk", scpi::Q, sendBlock, "", ""},
    {"TOUCh", scpi::S, touch, "", ""},
};
inline constexpr scpi::CommandTreeStorage<16> storage{rows};
static_assert(storage.error() == nullptr);

class Rig : public testing::Test {
protected:
    Rig() {
        touched = 0;
        lampOn.clear();
        lampOff.clear();
        global_activeLinks = 0;
        Device_enableLedRemote = [](Device*) { return lampOn.add(), 0; };
        Device_disableLedRemote = [](Device*) { return lampOff.add(), 0; };
        context_.tree = storage.view({});
        scpi_parser_init(&context_);
        scpi_link_initAll(&link_list);
        scpi_link_init(&link_list, &link_, 1024, 1024, "under test");
        scpi_link_init(&link_list, &other_, 1024, 1024, "another");
        mainThread_ = std::thread([this] {
            while (!stopMain_)
                scpi_execute(link_list, nullptr, 250);
        });
    }
    ~Rig() override {
        stopMain_ = true;
        scpi_link_doHandle(nullptr);
        mainThread_.join();
        scpi_link_destroy(&link_);
        scpi_link_destroy(&other_);
        Device_enableLedRemote.unregister();
        Device_disableLedRemote.unregister();
    }

    /// A command on another link: does the main thread still serve it?
    std::string onAnotherLink(std::string_view command) {
        tvcommWriteCmd(&other_, command.data(), static_cast<int>(command.size()));
        scpi_link_doHandle(&other_);
        scpi_link_waitHandled(&other_);
        char* bytes = nullptr;
        const int count = tvcommPeekAns(&other_, &bytes, nullptr);
        std::string text(bytes, static_cast<size_t>(count));
        tvcommClearAns(&other_, count, nullptr);
        return text;
    }

    scpi_parser_context context_{};
    scpi_link link_{}, other_{};

private:
    std::atomic<bool> stopMain_{false};
    std::thread mainThread_;
};

} // namespace rig
