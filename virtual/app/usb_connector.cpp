#include "virtual/app/usb_connector.h"

#include "core/thread.h"
#include "platform/bus_nodes.h"
#include "virtual/platform/rtdm.h"
#include "virtual/usb/usbip_export.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace vi {
namespace {

constexpr size_t stackBytes = 16384;

void* serveHosts(void* exported) {
    static_cast<UsbipExport*>(exported)->run();
    return nullptr;
}

} // namespace

void usbConnector_start(uint32_t address, const std::string& serialNumber, const char* record) {
    // Never freed: threads of the firmware use them until the process is gone.
    auto* const node = new UsbtmcNode;
    auto* const exported = new UsbipExport(node, serialNumber);
    rtdm_register(usbtmc_nodePath, node);
    std::filesystem::remove(record);
    const int error = exported->open(address, usbipPort);
    pthread_t thread;
    if (error != 0)
        printf("USBTMC is off: TCP port %d %s%s\n", usbipPort,
               error == -EADDRINUSE ? "is taken" : "cannot be had: ", error == -EADDRINUSE ? "" : strerror(-error));
    else if (tvstuffPthreadCreate(&thread, serveHosts, exported, stackBytes) == 0)
        std::ofstream(record) << exported->port() << "\n";
}

} // namespace vi
