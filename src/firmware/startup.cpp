#include "firmware/startup.h"

#include "base/tvdebug.h"
#include "core/abstime.h"
#include "core/process.h"
#include "core/signals.h"
#include "core/thread.h"
#include "core/tv_event.h"
#include "core/user_memory.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/chip.h"
#include "drivers/tvspi.h"
#include "firmware/link_rows.h"
#include "identity/device_config.h"
#include "identity/device_variants.h"
#include "links/bus_activity.h"
#include "links/discovery.h"
#include "links/own_address.h"
#include "links/panel/hcupdate.h"
#include "links/panel/panel_mirror.h"
#include "links/panel/tvhc.h"
#include "links/rmt.h"
#include "links/tvsocket.h"
#include "links/vxi11/vxi_links.h"
#include "links/vxi11/vxi_server.h"
#include "measure/run/measure.h"
#include "platform/panel_node.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"
#include "scpi/tree/common.h"
#include "scpi/tree/old_forms.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int tickMs = 250;
constexpr size_t helperStack = 16384; // bytes
constexpr unsigned addressWatchSeconds = 2;
constexpr pid_t initProcess = 1;
constexpr mode_t everybody = 0777;
constexpr double microsecondsPerSecond = 1e6;

pthread_t socketDoorThread, vxiCoreThread, ipAddressChangeThread, rmtdevFinderThread;

void startThread(pthread_t* thread, void* (*body)(void*), void* argument = nullptr) {
    tvstuffPthreadCreate(thread, body, argument, helperStack);
}

void* socketDoorHandler(void*) {
    for (;;)
        Tvsocket_listen(&tvsocket);
}

void* vxiCoreHandler(void*) {
    tv_vxi_link_run(firmware_place.address);
    pthread_detach(pthread_self()); // VXI-11 is off
    return nullptr;
}

void* rmtdevFinderHandler(void*) {
    while (tvsocketBcastHandle(&rmtdevFinderSocket) == 0) {
    }
    pthread_detach(pthread_self()); // there is no socket to answer on
    return nullptr;
}

/// Ages the link activity, unless a command is at work: the lamps are the device's, and who works is not idle.
void ageLinkActivity() {
    if (!deviceAccessMutex.try_lock())
        return;
    tv_event_indicateLinkActivity(nullptr);
    for (const LinkRow& row : linkRows)
        if (row.activity != nullptr)
            busActivity_age(row.activity);
    deviceAccessMutex.unlock();
}

/// Shows the charge where it has changed. `level` is what was shown last.
void watchBattery(Device* device, int* level) {
    constexpr struct {
        double above_V;
        int level;
    } steps[] = {{7.5, 6}, {7.2, 5}, {6.9, 4}, {6.6, 3}};
    if (!device_config_usesBattery() || !Device_getBatteryVoltage)
        return;
    const double volts = Device_getBatteryVoltage(device);
    int now = 1;
    for (const auto& step : steps)
        if (volts > step.above_V && step.level > now)
            now = step.level;
    if (now != *level && hcupdate_batteryState)
        slot_carryOn(hcupdate_batteryState(now));
    *level = now;
}

void* ipAddressChangeHandler(void* device) {
    int batteryLevel = -1;
    for (;;) {
        char address[addressTextSize];
        if (Tvsocket_hasAddressChanged(address)) {
            printd("ipAddressChangeHandler(): own address is now %s\n", address);
            if (hcupdate_ipAddress)
                slot_carryOn(hcupdate_ipAddress()); // a panel that has gone shows nothing
            device_config_getLanConfig();
            Tvsocket_reset(&tvsocket);
        }
        watchBattery(static_cast<Device*>(device), &batteryLevel);
        ageLinkActivity();
        sleep(addressWatchSeconds);
    }
}

/// The sources are good only when their oven is warm.
void waitForBootDelay() {
    double seconds = 0;
    printd("Boot delay (OCXO startup time)... \n");
    device_config_loadBootDelay(&seconds);
    tvstuff_delay_us(static_cast<uint64_t>(seconds * microsecondsPerSecond));
    printd("Done. (Boot delay)\n");
}

/// The panel says that the instrument is there from here on; its keys wait until the links are served.
void openPanel() {
    if (!device_config_usesFp())
        return;
    if (Tvhc_open(&tvhc, panelNode_path, 0) != 0)
        printd("no front panel answers\n");
    Tvhcupdate_init(&tvhc);
}

void startPanel() {
    if (!device_config_usesFp())
        return;
    panelMirror_register();
    hcupdate_everything();
}

void serveOldForms() {
    scpi::oldFormServices = {
        .exitProcess = exit_TV,
        .sendFile = [](const char* path) { return Tvsocket_rmtSendFile(&tvsocket, path); },
        .receiveFile = [](const char* path) { return Tvsocket_rmtReceiveFile(&tvsocket, path); },
    };
}

void startLinkThreads() {
    startThread(&socketDoorThread, socketDoorHandler);
    for (const LinkRow& row : linkRows)
        if (row.stack > 0 && linkRow_exists(row))
            link_start(row);
    tv_vxi_link_init(linkRow_of(&link_vxiA), linkRow_of(&link_vxiB));
    vxiServer_startWorkers();
    tvstuffPthreadCreate(&vxiCoreThread, vxiCoreHandler, nullptr, vxiStackBytes);
}

/// An init script may start the process with closed descriptors. The next file or socket would take their numbers, and
/// the console would read from a client's connection.
void fillStandardDescriptors() {
    int fd;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        close(fd);
}

/// Returns the exit status of this process, or -1 in the one that goes on.
int detach() {
    const pid_t child = fork();
    if (child != 0)
        return child < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
    return setsid() < 0 || chdir("/") != 0 ? EXIT_FAILURE : -1;
}

} // namespace

int firmware_start(int argc, char** argv) {
    fillStandardDescriptors();
    const char* option = argc == 2 ? argv[1] : "";
    if (strcmp(option, "-d") == 0 && getppid() != initProcess)
        if (const int status = detach(); status >= 0)
            return status;
    if (strcmp(option, "-v") == 0) {
        tvdebug_enable();
        printd("verbose mode\n");
    }
    if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0)
        printd("mlockall failed (%d)\n", errno);
    initialize();
}

/// The run that goes on meanwhile fails for want of the bus, which is no news.
void letGoOfBus() {
    chip_keepQuiet();
    tvspiClose();
}

void initialize() {
    waitForBootDelay(); // before any hardware is touched
    pid = getpid();
    preparePaths();
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    device_config_finishInterruptedWrites();
    mkdir("/tolvane/cust/list", everybody);
    mkdir("/tolvane/cust/flatness", everybody);
    installSignalHandlers();
    exit_closeHardware = letGoOfBus;
    scpi::recall_resetBus = tvspiReset;
    tvspiOpen();
    scpi_link_initAll(&link_list);
    openPanel();

    device_config_getLanConfig();
    char address[addressTextSize];
    (void)Tvsocket_hasAddressChanged(address); // the address at start is no change, which would cost the first client
    device_config_reset_cause = 0;
    slot_carryOn(Device_init(device, measure_init)); // who fails the self test is served all the same
    scpi_parser_context parserContext{};
    parserContext.device = device;
    parserContext.tree = scpi::commandTree();
    scpi_parser_init(&parserContext);
    serveOldForms();
    startPanel();
    Device_registerMandatoryFunctions();
    Device_sealSlots();

    Tvsocket_open(&tvsocket, &link_socket, firmware_place.port, firmware_place.address);
    for (const LinkRow& row : linkRows)
        if (linkRow_exists(row))
            scpi_link_init(&link_list, row.link, row.cmdSize, row.ansSize, row.name);
    loadDefaultSettings(); // before anybody outside can reach the instrument
    startLinkThreads();
    startThread(&ipAddressChangeThread, ipAddressChangeHandler, device);
    tvsocketBcastOpen(&rmtdevFinderSocket, discoveryPort, device, firmware_place.address);
    startThread(&rmtdevFinderThread, rmtdevFinderHandler);

    vxiServer_waitUntilSettled();
    scpi_link_checkLinkList(&link_list);
    tvstuff_printMemoryUsage();
    device_config_reset_cause = 1;
    printf("\nDevice is running!\n");
    fflush(stdout);
    for (;;)
        scpi_execute(link_list, device, tickMs);
}

void preparePaths() {
    for (const char* folder : {"/tolvane", "/tolvane/cust", "/tolvane/cust/list"}) {
        struct stat status;
        if (stat(folder, &status) != 0 && mkdir(folder, everybody) != 0)
            printd("preparePaths(): no folder %s (%d)\n", folder, errno);
    }
}

void loadDefaultSettings() {
    for (const LinkRow& row : linkRows)
        if (row.alone)
            (void)link_visit(row);
}
