#pragma once
/// Discovery: an empty UDP datagram is answered with the instrument's name and serial number, so that a host tool finds
/// the instruments of its network.

#include <array>
#include <cstddef>
#include <cstdint>

struct Device;

inline constexpr int discoveryPort = 9998;
inline constexpr size_t discoveryAnswerSize = 111; // bytes

struct RmtdevFinder {
    int fd = -1;
    Device* device = nullptr;
    std::array<char, discoveryAnswerSize> answer{}; // as of the last time that no command ran
};

extern RmtdevFinder rmtdevFinderSocket;

/// Binds to `port` of `address` (IPv4, network byte order; 0: of all interfaces). Errors go to the debug channel and
/// leave the finder without a socket.
void tvsocketBcastOpen(RmtdevFinder* finder, int port, Device* device, uint32_t address = 0);
/// Waits for one datagram and answers it if it is empty. Returns 0, or -1 at once if there is no socket.
[[nodiscard]] int tvsocketBcastHandle(RmtdevFinder* finder);
void tvsocketBcastClose(RmtdevFinder* finder);
