#include "identity/device_config_lan_files.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/file_draft.h"
#include "core/file_trees.h"
#include "identity/device_config_files.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr char modeFile[] = "/tolvane/dev/conf/syst_comm_lan_conf";
constexpr char loopbackStanza[] = "/tolvane/dev/conf/lo_conf";
constexpr char dynamicStanza[] = "/tolvane/dev/conf/eth0_dhcp_conf";
constexpr char staticStanza[] = "/tolvane/dev/conf/eth0_static_conf";
constexpr char systemMode[] = "/etc/network/configuration";
constexpr char systemInterfaces[] = "/etc/network/interfaces";

/// Contents of a file, whole or not at all.
struct Text {
    static constexpr size_t room = 4096;
    char characters[room];
    size_t length = 0;

    [[nodiscard]] std::string_view view() const { return {characters, length}; }

    [[nodiscard]] bool add(std::string_view more) {
        if (more.size() >= room - length)
            return false;
        length += more.copy(characters + length, more.size());
        return true;
    }

    [[nodiscard]] bool addFile(const char* path) {
        const size_t left = room - length;
        if (device_config_loadString(path, characters + length, left) != 0)
            return false;
        const size_t count = strlen(characters + length);
        length += count;
        return count + 1 < left; // else there may be more of it
    }
};

const char* modeLine(LanMode mode) {
    return mode == lanModeMan ? "MAN\n" : mode == lanModeDhcp ? "DHCP\n" : "AUTO\n";
}

bool addStanza(Text& text, const LanConfig& config) {
    char stanza[160];
    snprintf(stanza, sizeof stanza, "auto eth0\niface eth0 inet static\n   address %s\n   netmask %s\n   gateway %s\n",
             config.lanIp, config.lanSubnet, config.lanGateway);
    return text.add(stanza);
}

bool holds(const char* path, std::string_view content) {
    Text present;
    return present.addFile(path) && present.view() == content;
}

} // namespace

LanMode lanFiles_mode() {
    char line[16];
    if (device_config_loadString(modeFile, line, sizeof line) != 0)
        return lanModeAuto;
    const std::string_view word(line, strcspn(line, "\r\n"));
    return word == "MAN" ? lanModeMan : word == "DHCP" ? lanModeDhcp : lanModeAuto;
}

int lanFiles_store(const LanConfig& config) {
    const bool isStatic = config.lanMode == lanModeMan;
    Text stanza, interfaces;
    if (!addStanza(stanza, config) || !interfaces.addFile(loopbackStanza) ||
        !(isStatic ? interfaces.add(stanza.view()) : interfaces.addFile(dynamicStanza)))
        return scpi::executionError;

    ProtectedWrite tv(FileTree::tv);
    ProtectedWrite root(FileTree::root);
    FileDraft drafts[] = {FileDraft(staticStanza), FileDraft(modeFile), FileDraft(systemMode),
                          FileDraft(systemInterfaces)};
    const std::string_view contents[] = {stanza.view(), modeLine(config.lanMode), modeLine(config.lanMode),
                                         interfaces.view()};
    const size_t first = isStatic ? 0 : 1; // the stanza of another time may stay
    for (size_t i = first; i < std::size(drafts); ++i) {
        drafts[i].write(contents[i]);
        if (const int error = drafts[i].finish(); error != 0)
            return error;
    }
    for (size_t i = first; i < std::size(drafts); ++i)
        if (const int error = drafts[i].commit(); error != 0)
            return error;
    return 0;
}

bool lanFiles_repair() {
    Text stored, interfaces;
    if (!stored.addFile(modeFile))
        return false;
    const LanMode mode = lanFiles_mode();
    if (!interfaces.addFile(loopbackStanza) || !interfaces.addFile(mode == lanModeMan ? staticStanza : dynamicStanza))
        return false;
    const bool modeHolds = holds(systemMode, modeLine(mode)),
               interfacesHold = holds(systemInterfaces, interfaces.view());
    if (modeHolds && interfacesHold)
        return false;
    ProtectedWrite root(FileTree::root);
    if ((!modeHolds && file_replace(systemMode, modeLine(mode)) != 0) ||
        (!interfacesHold && file_replace(systemInterfaces, interfaces.view()) != 0))
        printd("lanFiles_repair(): cannot write /etc/network\n");
    return true;
}
