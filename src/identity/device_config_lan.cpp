#include "identity/device_config_lan.h"

#include "base/error_codes.h"
#include "base/sync.h"
#include "core/shell.h"
#include "identity/device_config_files.h"
#include "identity/device_config_lan_files.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char unknownAddress[] = "0.0.0.0";

using AddressText = char[ipv4TextSize];

Mutex lanMutex; // innermost: nothing is called under it
LanConfig device_config GUARDED_BY(lanMutex) = {"0.0.0.0", "0.0.0.0", "0.0.0.0", lanModeAuto};

LanConfig snapshot() {
    MutexLock lock(lanMutex);
    return device_config;
}

const char* textOf(AddressText LanConfig::*field, AddressText& copy) {
    memcpy(copy, snapshot().*field, sizeof copy);
    return copy;
}

void store(AddressText LanConfig::*field, uint32_t address) {
    AddressText text;
    ipv4ToString(text, address);
    MutexLock lock(lanMutex);
    memcpy(device_config.*field, text, sizeof text);
}

int parseAndStore(AddressText LanConfig::*field, const char* text) {
    uint32_t address;
    if (const int error = stringToIpv4(&address, text); error != 0)
        return error;
    store(field, address);
    return 0;
}

bool isSubnetMask(uint32_t mask) {
    const uint32_t hostBits = ~mask;
    return mask >> 31 == 1 && (hostBits & (hostBits + 1)) == 0;
}

void setMode(LanMode mode) {
    MutexLock lock(lanMutex);
    device_config.lanMode = mode;
}

/// One address of an interface: SIOCGIFADDR or SIOCGIFNETMASK. False if there is no such interface or address.
bool readAddress(int descriptor, const char* interface, unsigned long request, AddressText& text) {
    ifreq answer{};
    snprintf(answer.ifr_name, sizeof answer.ifr_name, "%s", interface);
    if (ioctl(descriptor, request, &answer) != 0)
        return false;
    sockaddr_in address;
    memcpy(&address, &answer.ifr_addr, sizeof address);
    ipv4ToString(text, ntohl(address.sin_addr.s_addr));
    return true;
}

/// Output of a shell line, cut to `size`, by way of a file in memory: a pipe would need a fork.
template <size_t size> void readShellLine(char (&buffer)[size], const char* commandToFile, const char* file) {
    tvstuffSystem(commandToFile);
    if (device_config_loadString(file, buffer, size) != 0)
        return;
    char remove[64];
    snprintf(remove, sizeof remove, "rm %s", file);
    tvstuffSystem(remove);
}

/// The text comes from outside and goes into shell lines: only an address passes.
void readGateway(AddressText& text) {
    char line[ipv4TextSize] = {};
    readShellLine(line, "route -n | grep 'UG' | awk '{print $2}' > /media/ram/gateway", "/media/ram/gateway");
    line[strcspn(line, "\r\n")] = '\0';
    uint32_t address;
    if (stringToIpv4(&address, line) == 0)
        ipv4ToString(text, address);
}

void readInterface(LanConfig& config) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return;
    for (const char* interface : {"eth0:avahi", "eth0"}) {
        if (!readAddress(descriptor, interface, SIOCGIFADDR, config.lanIp))
            continue;
        readAddress(descriptor, interface, SIOCGIFNETMASK, config.lanSubnet);
        readGateway(config.lanGateway);
        break;
    }
    close(descriptor);
}

void restartLinkWatcher() {
    tvstuffSystem("/etc/init.d/ifplugd.init stop");
    tvstuffSystem("sleep 1");
    tvstuffSystem("/etc/init.d/ifplugd.init start");
}

} // namespace

const char* device_config_getIP() {
    thread_local AddressText copy;
    return textOf(&LanConfig::lanIp, copy);
}

const char* device_config_getSubn() {
    thread_local AddressText copy;
    return textOf(&LanConfig::lanSubnet, copy);
}

const char* device_config_getGW() {
    thread_local AddressText copy;
    return textOf(&LanConfig::lanGateway, copy);
}

int device_config_setIP(const char* text) {
    return parseAndStore(&LanConfig::lanIp, text);
}

int device_config_setSubn(const char* text) {
    uint32_t mask;
    if (const int error = stringToIpv4(&mask, text); error != 0)
        return error;
    if (!isSubnetMask(mask))
        return scpi::illegalParameterValue;
    store(&LanConfig::lanSubnet, mask);
    return 0;
}

int device_config_setGW(const char* text) {
    return parseAndStore(&LanConfig::lanGateway, text);
}

bool device_config_isLanConfigAuto() {
    return snapshot().lanMode == lanModeAuto;
}
bool device_config_isLanConfigDhcp() {
    return snapshot().lanMode == lanModeDhcp;
}
bool device_config_isLanConfigMan() {
    return snapshot().lanMode == lanModeMan;
}

void device_config_setLanConfigAuto() {
    setMode(lanModeAuto);
}
void device_config_setLanConfigDhcp() {
    setMode(lanModeDhcp);
}
void device_config_setLanConfigMan() {
    setMode(lanModeMan);
}

void device_config_getLanConfig() {
    LanConfig fresh{};
    for (const auto field : {&LanConfig::lanIp, &LanConfig::lanSubnet, &LanConfig::lanGateway})
        memcpy(fresh.*field, unknownAddress, sizeof unknownAddress);
    readInterface(fresh);
    fresh.lanMode = lanFiles_mode();
    MutexLock lock(lanMutex);
    device_config = fresh;
}

int device_config_setLanConfig() {
    if (const int error = lanFiles_store(snapshot()); error != 0)
        return error;
    restartLinkWatcher();
    return 0;
}

int device_config_setDefaultLanConfig() {
    const LanMode before = snapshot().lanMode;
    setMode(lanModeAuto);
    const int error = device_config_setLanConfig();
    if (error != 0)
        setMode(before);
    return error;
}

void device_config_finishLanConfig() {
    if (lanFiles_repair())
        restartLinkWatcher();
}

int device_config_getMacAddr(char* buffer, size_t size) {
    if (size == 0)
        return 0;
    char line[64] = {};
    readShellLine(line, "ifconfig eth0 | sed -n 's/.*HWaddr //p' > /media/ram/mac", "/media/ram/mac");
    size_t length = strnlen(line, size - 1);
    while (length > 0 && strchr(" \t\r\n", line[length - 1]))
        --length;
    memcpy(buffer, line, length);
    buffer[length] = '\0';
    return 0;
}
