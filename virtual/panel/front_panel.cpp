#include "virtual/panel/front_panel.h"

#include "platform/panel_node.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <utility>

namespace vi {
namespace {

constexpr int nobody = -1, openingsMax = 2;
constexpr size_t updateMax = 127; // bytes of a line
constexpr std::string_view identityOfOlder = "HC0000000000\n";
constexpr size_t recordNameColumns = 17;

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? ""
                                           : std::string(text.substr(first, text.find_last_not_of(' ') + 1 - first));
}

} // namespace

int FrontPanel::refuse(const std::string& what) {
    refusals_.add("front panel: " + what);
    return -EINVAL;
}

int FrontPanel::open(int) {
    const std::lock_guard lock(mutex_);
    if (dead_)
        return -ENODEV;
    return openings_ == openingsMax ? refuse("opened a third time") : (++openings_, 0);
}

void FrontPanel::close() {
    {
        const std::lock_guard lock(mutex_);
        if (--openings_ > 0)
            return;
        state_ = State::silent;
        port_ = Port::none;
        giveUpKeys();
    }
    tellNews();
}

void FrontPanel::giveUpKeys() {
    for (Key& key : keys_)
        key.sent = key.line.size();
    while (!keys_.empty())
        finishKey();
}

int FrontPanel::select(State after) {
    state_ = after;
    return 0;
}

int FrontPanel::ioctl(uint32_t request, uintptr_t argument) {
    const std::lock_guard lock(mutex_);
    if (dead_)
        return -EIO;
    const bool newer = kind_ == PanelKind::newer;
    switch (request) {
    case panelNode_selectNewer: return newer ? select(State::selected) : refuse("taken for the newer kind");
    case panelNode_askOlder: return newer ? refuse("taken for the older kind") : select(State::asked);
    case panelNode_selectOlder:
        return !newer && state_ == State::asked ? select(State::selected) : refuse("selected without being asked");
    case panelNode_sendUpdates: port_ = Port::updates; return 0;
    case panelNode_sendElsewhere: port_ = Port::answers; return 0;
    case panelNode_getPort:
        if (!newer)
            return refuse("the older kind has no ports of input");
        *reinterpret_cast<uint32_t*>(argument) = 1; // NOLINT(performance-no-int-to-ptr): that is what a request carries
        return 0;
    default: return refuse("unknown request " + std::to_string(request));
    }
}

void FrontPanel::takeUpdates(std::string_view text) {
    for (const char c : text) {
        if (c != '\n' && update_.size() < updateMax) {
            update_ += c;
            continue;
        }
        if (state_ == State::asked && update_ == "*IDN?")
            keys_.push_back({nobody, std::string(identityOfOlder), 0, {}});
        else if (c != '\n' || state_ != State::selected || !panelPicture_take(&picture_, update_))
            refuse("unknown line \"" + update_ + "\"");
        update_.clear();
    }
}

long FrontPanel::write(std::span<const uint8_t> data) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    {
        const std::lock_guard lock(mutex_);
        if (dead_)
            return -EIO;
        const bool answered = port_ == Port::answers && !keys_.empty() && keys_.front().sent > 0;
        if (port_ == Port::updates)
            takeUpdates(text);
        else if (answered)
            keys_.front().answer += text;
        else
            refuse(port_ == Port::none ? "a write to no channel" : "an answer that nobody has asked for");
    }
    input_.notify_all(); // it may have asked who this is
    tellNews();
    return static_cast<long>(data.size());
}

void FrontPanel::finishKey() {
    if (keys_.empty() || keys_.front().sent < keys_.front().line.size())
        return;
    if (keys_.front().user != nobody)
        answers_.push_back({keys_.front().user, std::move(keys_.front().answer)});
    keys_.pop_front();
}

int FrontPanel::waitInput(int timeout_ms) {
    std::unique_lock lock(mutex_);
    finishKey();
    if (!answers_.empty()) {
        lock.unlock();
        tellNews();
        lock.lock();
    }
    const auto ready = [this] { return dead_ || !keys_.empty(); };
    if (timeout_ms < 0)
        input_.wait(lock, ready);
    else if (!input_.wait_for(lock, std::chrono::milliseconds(timeout_ms), ready))
        return 0;
    return 1;
}

long FrontPanel::read(std::span<uint8_t> data) {
    const std::lock_guard lock(mutex_);
    if (dead_)
        return -EIO;
    if (keys_.empty())
        return -EAGAIN;
    Key& key = keys_.front();
    const size_t count = std::min(data.size(), key.line.size() - key.sent);
    std::copy_n(key.line.data() + key.sent, count, data.data());
    key.sent += count;
    return static_cast<long>(count);
}

const char* FrontPanel::press(int user, std::string_view line) {
    {
        const std::lock_guard lock(mutex_);
        if (dead_ || state_ != State::selected)
            return "off";
        if (const auto locked = picture_.find("LOCK"); locked != picture_.end() && locked->second == "1")
            return "locked";
        if (line.size() > panelKeyMax)
            return "too long";
        // It has no blocks to send, and one that is begun would take the next keys for its data.
        if (line.find('#') != std::string_view::npos ||
            !std::all_of(line.begin(), line.end(), [](unsigned char c) { return isprint(c); }))
            return "no text";
        keys_.push_back({user, std::string(line) + '\n', 0, {}});
    }
    input_.notify_all();
    return nullptr;
}

void FrontPanel::leave(int user) {
    const std::lock_guard lock(mutex_);
    for (Key& key : keys_)
        if (key.user == user)
            key.user = nobody;
    std::erase_if(answers_, [user](const PanelAnswer& answer) { return answer.user == user; });
}

void FrontPanel::showRecord(std::string_view text) {
    {
        const std::lock_guard lock(mutex_);
        for (size_t at = 0; at < text.size();) {
            const std::string_view line = text.substr(at, text.find('\n', at) - at);
            at += line.size() + 1;
            if (line.size() <= recordNameColumns)
                continue;
            std::string name = trimmed(line.substr(0, recordNameColumns));
            std::replace(name.begin(), name.end(), ' ', '_');
            picture_[name] = trimmed(line.substr(recordNameColumns));
        }
    }
    tellNews();
}

PanelPicture FrontPanel::picture() const {
    const std::lock_guard lock(mutex_);
    return picture_;
}

std::vector<PanelAnswer> FrontPanel::takeAnswers() {
    const std::lock_guard lock(mutex_);
    return std::exchange(answers_, {});
}

void FrontPanel::unplug() {
    {
        const std::lock_guard lock(mutex_);
        dead_ = true;
        giveUpKeys();
    }
    input_.notify_all();
    tellNews();
}

uint64_t FrontPanel::refusals() const {
    const std::lock_guard lock(mutex_);
    return refusals_.count();
}

std::string FrontPanel::refusalTexts() const {
    const std::lock_guard lock(mutex_);
    return refusals_.texts();
}

} // namespace vi
