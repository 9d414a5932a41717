#include "firmware/service.h"

#include "acquisition/adfpga_flash.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"
#include "firmware/startup.h"
#include "identity/device_config.h"
#include "measure/run/measure.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr int exitFailed = 1, exitUnknown = 2;

struct Row {
    ServiceCommand command;
    int (*run)(Device* device); // 0 is good
};

constexpr std::array rows{
    Row{{"selftest", "tests the boards as *TST? does"}, [](Device* device) { return Device_selftest(device); }},
    Row{{"fpga check", "compares the flash of the FPGA with the files in /tolvane/fpga"},
        [](Device* device) {
            return TVPN_ADFPGA_checkFpgaConfig(device->adfpga, adfpga_configFile, adfpga_firmwareFile);
        }},
    Row{{"fpga update", "writes these files to the flash of the FPGA"},
        [](Device* device) {
            return TVPN_ADFPGA_updateFpgaConfig(device->adfpga, adfpga_configFile, adfpga_firmwareFile);
        }},
};

constexpr auto commands = [] {
    std::array<ServiceCommand, rows.size()> found{};
    for (size_t i = 0; i < rows.size(); ++i)
        found[i] = rows[i].command;
    return found;
}();

} // namespace

std::span<const ServiceCommand> firmware_serviceCommands() {
    return commands;
}

int firmware_service(const char* command) {
    for (const Row& row : rows) {
        if (strcmp(row.command.name, command) != 0)
            continue;
        preparePaths();
        Device* const device = Device_create();
        device_config_init();
        tvspiOpen();
        slot_carryOn(Device_init(device, measure_init)); // what does not come up may be what is to be mended
        Device_sealSlots();
        const int status = row.run(device);
        printf("%s: %s (%d)\n", command, status == 0 ? "passed" : "failed", status);
        return status == 0 ? 0 : exitFailed;
    }
    return exitUnknown;
}
