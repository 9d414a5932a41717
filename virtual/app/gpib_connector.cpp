#include "virtual/app/gpib_connector.h"

#include "core/thread.h"
#include "platform/bus_nodes.h"
#include "virtual/gpib/gpib_interface.h"
#include "virtual/gpib/gpib_recorder.h"
#include "virtual/gpib/gpib_server.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace vi {
namespace {

constexpr size_t serialNumberPosition = 11; // above '0': there is a connector
constexpr const char* addressFile = "/tolvane/dev/gpib";
constexpr GpibAddress listenerAddress{.primary = 21};
constexpr uint16_t usualPort = 1234, anyPort = 0;
constexpr int addresses = 31, secondaryBase = 96;
constexpr size_t stackBytes = 65536;

/// As the unit's own file has it: one or two numbers; what is no address on the bus is nobody's.
GpibAddress addressOfUnit() {
    GpibAddress address{.primary = addresses};
    std::ifstream file(addressFile);
    int number;
    char separator;
    if (file >> number && number < addresses)
        address.primary = number;
    if (file.peek() == ',' || file.peek() == '.')
        file >> separator;
    if (file >> number && number >= 0)
        address.secondary = number >= secondaryBase ? number - secondaryBase : number;
    return address;
}

void* serveClients(void* server) {
    for (;;)
        static_cast<GpibServer*>(server)->serve();
}

} // namespace

void gpibConnector_start(in_addr place, const std::string& serialNumber, const std::string& records) {
    const std::string portRecord = records + "/gpib", heardRecord = records + "/gpib-listener";
    std::filesystem::remove(portRecord);
    std::filesystem::remove(heardRecord);
    if (serialNumber.size() <= serialNumberPosition || serialNumber[serialNumberPosition] <= '0')
        return;
    // Never freed: threads of the firmware use them until the process is gone.
    auto* const bus = new GpibBus;
    auto* const heard = new std::ofstream(heardRecord, std::ios::binary);
    new GpibRecorder(*bus, listenerAddress, [heard](std::span<const uint8_t> data) {
        heard->write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size())).flush();
    });
    rtdm_register(gpib_nodePath, new GpibInterface(*bus, addressOfUnit));
    auto* const server = new GpibServer(*bus, records + "/gpib-adapter");
    const int port = server->open(place, {usualPort, anyPort});
    pthread_t thread;
    if (port < 0)
        printf("GPIB is off: no port for the adapter: %s\n", strerror(-port));
    else if (tvstuffPthreadCreate(&thread, serveClients, server, stackBytes) == 0)
        std::ofstream(portRecord) << port << "\n";
}

} // namespace vi
