#include "virtual/gpib/gpib_adapter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace vi {
namespace {

constexpr char escape = 27;
constexpr size_t messageMax = 1 << 20;            // bytes that are gathered; of a longer one the beginning goes ahead
constexpr GpibBus::Patience sendPatience{10'000}; // with a device that takes nothing; what is left is lost
constexpr std::string_view terminators[] = {"\r\n", "\r", "\n", ""}; // by ++eos
constexpr size_t addressesMax = 15;                                  // of one command
constexpr int primaryMax = 30, secondaryLow = 96, secondaryHigh = 126;
constexpr std::string_view unknown = "Unrecognized command";

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    constexpr std::string_view blanks = " \t,";
    for (size_t at = text.find_first_not_of(blanks); at != text.npos; at = text.find_first_not_of(blanks, at)) {
        const size_t end = std::min(text.find_first_of(blanks, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

std::optional<int> numberOf(std::string_view word, int low, int high) {
    int number = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || stop != word.data() + word.size() || number < low || number > high)
        return std::nullopt;
    return number;
}

std::span<const uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

} // namespace

const GpibAdapter::Command GpibAdapter::commands_[] = {
    {"addr", &GpibAdapter::address, "[0-30 [96-126]] address of the device"},
    {"clr", &GpibAdapter::clear, "device clear"},
    {"help", &GpibAdapter::help, "this text"},
    {"ifc", &GpibAdapter::interfaceClear, "interface clear"},
    {"llo", &GpibAdapter::lockOut, "local lockout"},
    {"loc", &GpibAdapter::goToLocal, "go to local"},
    {"mode", &GpibAdapter::mode, "[1] controller"},
    {"read", &GpibAdapter::read, "[eoi|0-255] read until END or a character, or until time-out"},
    {"rst", &GpibAdapter::reset, "restart the adapter, which ends the connection"},
    {"spoll", &GpibAdapter::serialPoll, "[addresses] serial poll"},
    {"srq", &GpibAdapter::serviceRequest, "state of the service request line"},
    {"trg", &GpibAdapter::trigger, "[addresses] group execute trigger"},
    {"ver", &GpibAdapter::version, "version of the adapter"},
};

GpibAdapter::GpibAdapter(GpibBus& bus, std::string settingsFile, Answer answer)
    : bus_(bus), settingsFile_(std::move(settingsFile)), answer_(std::move(answer)) {
    gpibSettings_load(&settings_, settingsFile_);
}

bool GpibAdapter::take(std::string_view bytes) {
    for (const char c : bytes) {
        if (std::exchange(escaped_, false)) {
            isMessage_ = isMessage_ || line_.empty();
            line_ += c;
        } else if (c == escape) {
            escaped_ = true;
        } else if (c == '\r' || c == '\n') {
            endLine();
        } else {
            line_ += c;
        }
        if (line_.size() >= messageMax) {
            send(false);
            isMessage_ = true;
        }
        if (ends_)
            return false;
    }
    return true;
}

void GpibAdapter::endLine() {
    if (!isMessage_ && line_.starts_with("++")) {
        carryOut(std::string_view(line_).substr(2));
    } else if (isMessage_ || !line_.empty()) {
        send(true);
        if (settings_.autoRead != 0)
            readAnswer(-1, true);
    }
    line_.clear();
    isMessage_ = false;
}

void GpibAdapter::carryOut(std::string_view line) {
    const std::string_view name = line.substr(0, line.find_first_of(" \t"));
    const std::string_view arguments = line.substr(name.size());
    bool known = false;
    if (const GpibSetting* const setting = gpibSetting_find(name); setting != nullptr)
        known = setOrTell(*setting, arguments);
    for (const Command& command : commands_)
        if (command.name == name)
            known = (this->*command.carryOut)(arguments);
    if (!known)
        tell(unknown);
}

void GpibAdapter::tell(std::string_view text) {
    answer_(std::string(text) + "\r\n");
}

void GpibAdapter::keep(bool asked) {
    if (asked || settings_.saveConfig != 0)
        gpibSettings_save(settings_, settingsFile_);
}

bool GpibAdapter::setOrTell(const GpibSetting& setting, std::string_view arguments) {
    const auto words = wordsOf(arguments);
    if (words.empty()) {
        tell(std::to_string(settings_.*setting.value));
        return true;
    }
    const auto number = numberOf(words[0], setting.low, setting.high);
    if (!number || words.size() > 1)
        return false;
    settings_.*setting.value = *number;
    keep(setting.value == &GpibSettings::saveConfig && *number != 0);
    return true;
}

/// Nobody at the address: the message is lost, as on any bus.
void GpibAdapter::send(bool withTerminator) {
    if (withTerminator)
        line_ += terminators[settings_.eos];
    bus_.address(gpib_listen, settings_.address);
    bus_.send(bytesOf(line_), withTerminator && settings_.eoi != 0, sendPatience);
    bus_.sendCommands({gpib_unlisten});
    line_.clear();
}

void GpibAdapter::readAnswer(int stop, bool untilEnd) {
    std::array<uint8_t, 4096> piece;
    bus_.address(gpib_talk, settings_.address);
    for (;;) {
        const GpibData said = bus_.receive(piece, stop, GpibBus::Patience(settings_.readTimeout_ms));
        if (said.count == 0)
            break;
        answer_({reinterpret_cast<const char*>(piece.data()), said.count});
        if (said.end && settings_.eotEnable != 0)
            answer_(std::string(1, static_cast<char>(settings_.eotChar)));
        if ((said.end && untilEnd) || piece[said.count - 1] == stop)
            break;
    }
    bus_.sendCommands({gpib_untalk});
}

bool GpibAdapter::forEach(std::string_view addresses, const std::function<void(GpibAddress)>& act) {
    std::vector<GpibAddress> list;
    for (const std::string_view word : wordsOf(addresses))
        if (const auto primary = numberOf(word, 0, primaryMax); primary && list.size() < addressesMax)
            list.push_back({.primary = *primary});
        else if (const auto secondary = numberOf(word, secondaryLow, secondaryHigh);
                 secondary && !list.empty() && list.back().secondary < 0)
            list.back().secondary = *secondary - secondaryLow;
        else
            return false;
    if (list.empty())
        list.push_back(settings_.address);
    std::for_each(list.begin(), list.end(), act);
    return true;
}

bool GpibAdapter::address(std::string_view arguments) {
    if (wordsOf(arguments).empty()) {
        const auto [primary, secondary] = settings_.address;
        tell(std::to_string(primary) + (secondary < 0 ? "" : " " + std::to_string(secondaryLow + secondary)));
        return true;
    }
    std::vector<GpibAddress> list;
    if (!forEach(arguments, [&](GpibAddress address) { list.push_back(address); }) || list.size() > 1)
        return false;
    settings_.address = list.front();
    keep(false);
    return true;
}

bool GpibAdapter::clear(std::string_view) {
    bus_.address(gpib_listen, settings_.address);
    bus_.sendCommands({gpib_selectedClear, gpib_unlisten});
    return true;
}

bool GpibAdapter::help(std::string_view) {
    for (const GpibSetting& row : gpibSettings)
        tell("++" + std::string(row.name) + " [" + std::to_string(row.low) + "-" + std::to_string(row.high) + "]");
    for (const Command& row : commands_)
        tell("++" + std::string(row.name) + " " + std::string(row.help));
    return true;
}

bool GpibAdapter::interfaceClear(std::string_view) {
    bus_.clearInterface();
    return true;
}

bool GpibAdapter::lockOut(std::string_view) {
    bus_.sendCommands({gpib_lockout});
    return true;
}

bool GpibAdapter::goToLocal(std::string_view) {
    bus_.address(gpib_listen, settings_.address);
    bus_.sendCommands({gpib_goToLocal, gpib_unlisten});
    return true;
}

/// It is no device on the bus.
bool GpibAdapter::mode(std::string_view arguments) {
    const auto words = wordsOf(arguments);
    if (words.empty())
        tell("1");
    return words.empty() || (words.size() == 1 && words[0] == "1");
}

bool GpibAdapter::read(std::string_view arguments) {
    const auto words = wordsOf(arguments);
    const bool untilEnd = words.size() == 1 && words[0] == "eoi";
    const auto stop = words.size() == 1 ? numberOf(words[0], 0, 255) : std::nullopt;
    if (!words.empty() && !untilEnd && !stop)
        return false;
    readAnswer(stop.value_or(-1), untilEnd);
    return true;
}

bool GpibAdapter::reset(std::string_view) {
    bus_.clearInterface();
    ends_ = true;
    return true;
}

bool GpibAdapter::serialPoll(std::string_view arguments) {
    // One time-out for all: who is there answers at once, whoever was waited for before.
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + GpibBus::Patience(settings_.readTimeout_ms);
    bus_.sendCommands({gpib_pollEnable});
    const bool known = forEach(arguments, [&](GpibAddress address) {
        uint8_t status = 0;
        bus_.address(gpib_talk, address);
        const auto left = std::chrono::duration_cast<GpibBus::Patience>(end - Clock::now());
        if (bus_.receive({&status, 1}, -1, std::max(left, GpibBus::Patience(0))).count > 0)
            tell(std::to_string(status));
    });
    bus_.sendCommands({gpib_pollDisable, gpib_untalk});
    return known;
}

/// No device here requests service.
bool GpibAdapter::serviceRequest(std::string_view) {
    tell("0");
    return true;
}

bool GpibAdapter::trigger(std::string_view arguments) {
    return forEach(arguments, [&](GpibAddress address) {
        bus_.address(gpib_listen, address);
        bus_.sendCommands({gpib_trigger, gpib_unlisten});
    });
}

bool GpibAdapter::version(std::string_view) {
    tell("Virtual GPIB adapter version 1.0");
    return true;
}

} // namespace vi
