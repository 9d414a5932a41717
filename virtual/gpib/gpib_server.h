#pragma once
/// Clients of the adapter over TCP, eight at most. They take turns on the bus, each for a command or a message.

#include "virtual/gpib/gpib_bus.h"

#include <initializer_list>
#include <list>
#include <netinet/in.h>
#include <string>

namespace vi {

class GpibServer {
public:
    /// The file is that of the adapter's settings.
    GpibServer(GpibBus& bus, std::string settingsFile);
    ~GpibServer();
    GpibServer(const GpibServer&) = delete;
    GpibServer& operator=(const GpibServer&) = delete;

    /// Listens at the first of the ports that is to be had; 0 is any. Returns it, or a negative error number.
    [[nodiscard]] int open(in_addr address, std::initializer_list<uint16_t> ports);
    /// Waits until somebody comes, says something or goes, and sees to it.
    void serve();

private:
    struct Client;
    void accept();

    GpibBus& bus_;
    const std::string settingsFile_;
    int fd_ = -1;
    std::list<Client> clients_;
};

} // namespace vi
