#pragma once
/// The front panel behind its device node. Lines of the channel of updates make its picture; whoever presses its keys
/// sends a line of SCPI and gets what comes back on the channel of answers.
///
/// A key's line goes out at one go, and the next one when the instrument asks for more: by then it has answered the
/// first. So every key has exactly one answer, which may be empty.

#include "virtual/boards/unit_boards.h"
#include "virtual/panel/panel_picture.h"
#include "virtual/platform/refusals.h"
#include "virtual/platform/rtdm.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vi {

struct PanelAnswer {
    int user; // who pressed the key
    std::string bytes;
};

inline constexpr size_t panelKeyMax = 250; // characters of a line; the instrument's buffer holds 256

class FrontPanel final : public RtDevice {
public:
    explicit FrontPanel(PanelKind kind) : kind_(kind) {}

    // The instrument's side: the node.
    int open(int flags) override;
    void close() override;
    long read(std::span<uint8_t> data) override;
    long write(std::span<const uint8_t> data) override;
    int ioctl(uint32_t request, uintptr_t argument) override;
    int waitInput(int timeout_ms) override;

    // The user's side.

    /// Sends a line, without its newline. Returns null, or why the key does nothing.
    [[nodiscard]] const char* press(int user, std::string_view line);
    /// A user who has left gets no answers any more.
    void leave(int user);
    /// What else the panel shows: lamps and the like, a line "name   value" each, with names that begin in small
    /// letters or have no colon.
    void showRecord(std::string_view text);
    [[nodiscard]] PanelPicture picture() const;
    /// The answers that nobody has taken yet, oldest first.
    [[nodiscard]] std::vector<PanelAnswer> takeAnswers();
    /// Called, by the instrument's threads, when the picture has changed or there is an answer. Once, before it starts.
    void onNews(std::function<void()> news) { news_ = std::move(news); }
    /// The panel dies: its device fails from here on, and what keys wait for is empty.
    void unplug();

    /// What the instrument did that a panel would not know.
    [[nodiscard]] uint64_t refusals() const;
    [[nodiscard]] std::string refusalTexts() const;

private:
    enum class State { silent, asked, selected }; // until it has been told which panel it is, it sends nothing
    enum class Port { none, updates, answers };
    struct Key {
        int user;
        std::string line; // with its newline
        size_t sent = 0;
        std::string answer;
    };

    int refuse(const std::string& what);
    int select(State after);
    void finishKey();
    void giveUpKeys();
    void takeUpdates(std::string_view text);
    void tellNews() const {
        if (news_)
            news_();
    }

    const PanelKind kind_;
    std::function<void()> news_;
    mutable std::mutex mutex_; // of all below
    std::condition_variable input_;
    State state_ = State::silent;
    Port port_ = Port::none;
    bool dead_ = false;
    int openings_ = 0;
    std::string update_; // a line that has begun
    PanelPicture picture_;
    std::deque<Key> keys_; // the first one may be on its way
    std::vector<PanelAnswer> answers_;
    Refusals refusals_;
};

} // namespace vi
