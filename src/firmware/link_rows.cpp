#include "firmware/link_rows.h"

#include "identity/device_variants.h"
#include "links/bus_activity.h"
#include "links/bus_port.h"
#include "links/command_file.h"
#include "links/console.h"
#include "links/panel/panel_transport.h"
#include "links/panel/tvhc.h"
#include "links/tvsocket.h"
#include "links/vxi11/vxi_links.h"
#include "platform/bus_nodes.h"
#include "scpi/link.h"

namespace {

constexpr size_t threadStack = 16384; // bytes

CommandFile powerOnSettings;
Console console;
BusPort tvusb{.goesOnBit = usbtmc_writeGoesOn,
              .flushes = true,
              .endsOnFault = true,
              .notOpen = "tvusb_open() error: could not open the USBTMC character device\n",
              .halted = "usbLinkHandler(): error: USB link halted\n"};
BusActivity usbActivity{.inUse = linkEventUsbConnected, .gone = linkEventUsbGone};
BusPort gpib{.readBits = gpib_readTellsEnd,
             .endBit = gpib_readTellsEnd,
             .notOpen = "could not open the GPIB character device\n",
             .noRoom = "tvgpib_handle() error: tvcommOpenCmd() returned 0, retrying...\n"};
BusActivity gpibActivity{.inUse = linkEventGpibInUse, .gone = linkEventGpibGone};

constexpr LinkRow rows[] = {
    {.name = "HC Front Panel",
     .link = &link_hc,
     .cmdSize = 256,
     .ansSize = 256,
     .transport = &panelTransport,
     .medium = &tvhc,
     .stack = threadStack,
     .exists = device_config_usesFp},
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
    {.name = "USB",
     .link = &link_usb,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &busTransport,
     .medium = &tvusb,
     .path = usbtmc_nodePath,
     .stack = threadStack,
     .gone = linkEventClientGone,
     .activity = &usbActivity},
    {.name = "GPIB",
     .link = &link_gpib,
     .cmdSize = 1024,
     .ansSize = 1024,
     .transport = &busTransport,
     .medium = &gpib,
     .path = gpib_nodePath,
     .stack = threadStack,
     .gone = linkEventClientGone,
     .activity = &gpibActivity,
     .exists = device_config_usesGPIB},
};

} // namespace

const std::span<const LinkRow> linkRows(rows);

bool linkRow_exists(const LinkRow& row) {
    return row.exists == nullptr || row.exists();
}

const LinkRow* linkRow_of(const scpi_link* link) {
    for (const LinkRow& row : rows)
        if (row.link == link)
            return &row;
    return nullptr;
}
