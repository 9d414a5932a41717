#include "links/own_address.h"

#include "base/tvdebug.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <span>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char noAddress[] = "0.0.0.0";
constexpr size_t interfacesMax = 10;

std::array<char, addressTextSize> currentIpAddress{"0.0.0.0"};

const ifreq* findInterface(std::span<const ifreq> interfaces, std::string_view name) {
    for (const ifreq& interface : interfaces)
        if (name == std::string_view(interface.ifr_name, strnlen(interface.ifr_name, IFNAMSIZ)))
            return &interface;
    return nullptr;
}

} // namespace

int TvsocketGetMyAddr(char* buffer) {
    strcpy(buffer, noAddress);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    std::array<ifreq, interfacesMax> room{};
    ifconf list{};
    list.ifc_len = sizeof room;
    list.ifc_req = room.data();
    const int listed = ioctl(fd, SIOCGIFCONF, &list);
    close(fd);
    if (listed < 0)
        return -1;

    const std::span interfaces = std::span(room).first(static_cast<size_t>(list.ifc_len) / sizeof(ifreq));
    const ifreq* own = findInterface(interfaces, "eth0:avahi");
    if (own == nullptr)
        own = findInterface(interfaces, "eth0");
    if (own == nullptr)
        return -1;
    sockaddr_in address;
    memcpy(&address, &own->ifr_addr, sizeof address);
    return inet_ntop(AF_INET, &address.sin_addr, buffer, addressTextSize) != nullptr ? 0 : -1;
}

bool Tvsocket_hasAddressChanged(char* buffer) {
    TvsocketGetMyAddr(buffer);
    if (strcmp(buffer, currentIpAddress.data()) == 0)
        return false;
    memcpy(currentIpAddress.data(), buffer, currentIpAddress.size());
    return true;
}

void TvsocketPrintMyAddr() {
    std::array<char, addressTextSize> text;
    TvsocketGetMyAddr(text.data());
    printd("TvsocketPrintMyAddr(): %s\n", text.data());
}
