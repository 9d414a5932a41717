#include "../links/client.h"
#include "core/shell.h"
#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "firmware/startup.h"
#include "platform/tvko.h"
#include "tests/core/child.h"
#include "tests/slots.h"
#include "virtual/hardware/hardware.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/prctl.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int port = 18;
constexpr std::string_view idn = "*IDN?\n";

/// The SPI bus of a unit; says which bit rate it is given, whether the device table is sealed, and that it is closed.
struct TalkingBus final : vi::RtDevice {
    explicit TalkingBus(vi::SpiBus& ofUnit) : bus(ofUnit) {}
    int open(int flags) override { return bus.open(flags); }
    int ioctl(uint32_t request, uintptr_t argument) override {
        constexpr uint32_t setBitRateDivider = 57384;
        if (request == setBitRateDivider)
            printf("bit rate divider %u\n", unsigned(argument));
        return bus.ioctl(request, argument);
    }
    void close() override {
        bus.close();
        fill.clear(Device_getName);
        printf("table %s\n", Device_getName ? "sealed" : "open");
        printf("bus closed\n"), fflush(stdout);
    }
    vi::SpiBus& bus;
};

enum class Bus { silent, talking };

/// The firmware on a fresh unit.
class Instrument : public Child {
public:
    explicit Instrument(std::vector<const char*> options = {}, Bus bus = Bus::silent)
        : Child([&] {
              // Both stay until the process is gone, as the firmware's threads do.
              auto* unit = new vi::Hardware(vi::unitBoards_of(vi::defaultSerialNumber),
                                            vi::DutFile{"", {100e6, 8, {{{1, -100}}}, {}, {}}, {}}, 1);
              if (bus == Bus::talking)
                  vi::rtdm_register(tvko_deviceName, new TalkingBus(unit->bus));
              options.insert(options.begin(), "firmware");
              options.push_back(nullptr);
              return firmware_start(static_cast<int>(options.size()) - 1, const_cast<char**>(options.data()));
          }) {}
};

constexpr std::string_view running = "\nDevice is running!\n";

/// What a start prints: in the sandbox of these tests there is no port mapper.
const std::string wholeStart =
    "VXI-11 is off: no port mapper on port 111 takes its services (rpcbind is one)\n" + std::string(running);

std::string identity() {
    Client client(port);
    client.send(idn);
    std::string line, next;
    while (!line.ends_with('\n') && !(next = client.read(1)).empty())
        line += next;
    return line;
}

TEST(Startup, MakesItsFoldersAndRunsThePowerOnSettingsBeforeAnybodyIsServed) {
    fs::remove_all("/tolvane/cust");
    {
        Instrument bare;
        EXPECT_EQ(bare.printed(running), wholeStart) << "nothing else without \"-v\"";
        for (const char* folder : {"/tolvane/cust", "/tolvane/cust/list", "/tolvane/cust/flatness"})
            EXPECT_TRUE(fs::is_directory(folder)) << folder;
        EXPECT_NE(identity(), "");
    }
    std::ofstream("/tolvane/cust/sav0") << "*IDN?\nno such command\n*OPC?\n*IDN?";
    Instrument withSettings;
    const std::string printed = withSettings.printed(running);
    EXPECT_EQ(printed, identity() + "1\n" + wholeStart) << "the line without an end is not run";
    EXPECT_EQ(withSettings.stop(), 0);
    fs::remove("/tolvane/cust/sav0");
}

TEST(Startup, OpensTheBusAndLetsGoOfItOnTheWayOut) {
    Instrument withBus({}, Bus::talking);
    const std::string started = "bit rate divider 40\n" + wholeStart;
    EXPECT_EQ(withBus.printed(running), started);
    kill(withBus.process, SIGTERM);
    EXPECT_EQ(withBus.printed("bus closed\n"), started + "Got signal 15\nexit_TV()\ntable sealed\nbus closed\n");
    EXPECT_EQ(withBus.wait(), 0);
}

TEST(Startup, TakesOneOptionAtMost) {
    const struct {
        std::vector<const char*> options;
        bool verbose;
    } cases[] = {{{"-v"}, true}, {{"-d", "-v"}, false}, {{"-vv"}, false}};
    for (const auto& [options, verbose] : cases) {
        Instrument instrument(options);
        const std::string printed = instrument.printed(running);
        EXPECT_EQ(printed.starts_with("verbose mode\n"), verbose) << printed;
        EXPECT_TRUE(printed.ends_with(running)) << printed;
        EXPECT_EQ(waitpid(instrument.process, nullptr, WNOHANG), 0) << "in the foreground";
    }
}

TEST(Startup, DetachesIntoASessionOfItsOwn) {
    prctl(PR_SET_CHILD_SUBREAPER, 1); // a daemon becomes the test's child
    Instrument starter({"-d"});
    EXPECT_EQ(starter.wait(), 0);
    EXPECT_EQ(starter.printed(running), wholeStart);
    EXPECT_NE(identity(), "");
    pid_t daemon = 0;
    std::ifstream("/proc/self/task/" + std::to_string(getpid()) + "/children") >> daemon;
    ASSERT_GT(daemon, 0);
    EXPECT_EQ(getsid(daemon), daemon);
    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(daemon) + "/cwd"), "/");
    kill(daemon, SIGTERM);
    waitpid(daemon, nullptr, 0);
}

TEST(AddressWatch, DropsTheClientWhenTheAddressChangesAndNotBefore) {
    Instrument instrument;
    instrument.printed(running);
    Client client(port);
    EXPECT_TRUE(client.send(idn));
    EXPECT_EQ(client.read(10).size(), 10u);
    ASSERT_EQ(tvstuffSystem("ip addr add 169.254.7.7/16 dev eth0 label eth0:avahi"), 0);
    EXPECT_TRUE(client.isDropped());
    while (identity().empty()) { // the port opens again right behind the drop
    }
    ASSERT_EQ(tvstuffSystem("ip addr del 169.254.7.7/16 dev eth0"), 0);
}

} // namespace
