#pragma once
/// The language of the usual GPIB adapters. A line that begins with ++ is a command to the adapter; every other one is
/// a message to the device at the address in force. A line ends at a CR or LF; one of CR, LF, ESC and + that belongs to
/// a message has an ESC before it.

#include "virtual/gpib/gpib_bus.h"
#include "virtual/gpib/gpib_settings.h"

#include <functional>
#include <string>
#include <string_view>

namespace vi {

/// One client at the adapter. Several may take turns; each has settings of its own.
class GpibAdapter {
public:
    using Answer = std::function<void(std::string_view)>;

    /// Begins with the settings in the file, where they are also kept.
    GpibAdapter(GpibBus& bus, std::string settingsFile, Answer answer);

    /// Carries out what the bytes complete. False: the client is to be disconnected.
    [[nodiscard]] bool take(std::string_view bytes);

private:
    struct Command {
        std::string_view name;
        bool (GpibAdapter::*carryOut)(std::string_view arguments); // false: the arguments are wrong
        std::string_view help;
    };
    static const Command commands_[];

    void endLine();
    void carryOut(std::string_view line);
    bool setOrTell(const GpibSetting& setting, std::string_view argument);
    void send(bool withTerminator);
    /// Until END, `stop` (-1: no such byte), or the device is silent for too long.
    void readAnswer(int stop, bool untilEnd);
    bool forEach(std::string_view addresses, const std::function<void(GpibAddress)>& act);
    void tell(std::string_view text);
    void keep(bool asked);

    bool address(std::string_view arguments);
    bool clear(std::string_view arguments);
    bool help(std::string_view arguments);
    bool interfaceClear(std::string_view arguments);
    bool lockOut(std::string_view arguments);
    bool goToLocal(std::string_view arguments);
    bool mode(std::string_view arguments);
    bool read(std::string_view arguments);
    bool reset(std::string_view arguments);
    bool serialPoll(std::string_view arguments);
    bool serviceRequest(std::string_view arguments);
    bool trigger(std::string_view arguments);
    bool version(std::string_view arguments);

    GpibBus& bus_;
    std::string settingsFile_;
    Answer answer_;
    GpibSettings settings_;
    std::string line_;       // without the ESCs
    bool escaped_ = false;   // the last byte was an ESC
    bool isMessage_ = false; // the line began with an ESC, or its beginning is on its way
    bool ends_ = false;      // the client is to be disconnected
};

} // namespace vi
