#include "firmware/link_rows.h"

#include "links/command_file.h"
#include "links/console.h"
#include "links/tvsocket.h"
#include "links/vxi11/vxi_links.h"
#include "scpi/link.h"

namespace {

constexpr size_t threadStack = 16384; // bytes

CommandFile powerOnSettings;
Console console;

constexpr LinkRow rows[] = {
    {.name = "File",
     .link = &link_file,
     .cmdSize = 128,
     .ansSize = 128,
     .transport = &commandFileTransport,
     .medium = &powerOnSettings,
     .path = "/tolvane/cust/sav0",
     .alone = true},
    {.name = "Console",
     .link = &link_console,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &consoleTransport,
     .medium = &console,
     .stack = threadStack},
    {.name = "Socket Port 18",
     .link = &link_socket,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &tcpTransport,
     .medium = &tvsocket,
     .stack = threadStack,
     .connected = linkEventTcpConnected,
     .gone = linkEventTcpGone},
    {.name = "VXI-11 Channel A",
     .link = &link_vxiA,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &vxiTransport,
     .medium = &vxiLinks.channels[0]},
    {.name = "VXI-11 Channel B",
     .link = &link_vxiB,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &vxiTransport,
     .medium = &vxiLinks.channels[1]},
};

} // namespace

const std::span<const LinkRow> linkRows(rows);

const LinkRow* linkRow_of(const scpi_link* link) {
    for (const LinkRow& row : rows)
        if (row.link == link)
            return &row;
    return nullptr;
}
