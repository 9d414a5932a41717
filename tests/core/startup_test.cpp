#include "../links/client.h"
#include "child.h"
#include "core/shell.h"
#include "core/startup.h"
#include "virtual/unit.h"

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

/// The firmware on a fresh unit, of whose boards only that of the acquisition is there.
class Instrument : public Child {
public:
    explicit Instrument(std::vector<const char*> options = {})
        : Child([&] {
              // It stays until the process is gone, as the firmware's threads do.
              new vi::Unit(vi::unitBoards_of(vi::defaultSerialNumber), {}, 1);
              options.insert(options.begin(), "firmware");
              options.push_back(nullptr);
              return firmware_start(static_cast<int>(options.size()) - 1, const_cast<char**>(options.data()));
          }) {}
};

constexpr std::string_view running = "\nDevice is running!\n";

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
        EXPECT_EQ(bare.printed(running), running) << "nothing else without \"-v\"";
        for (const char* folder : {"/tolvane/cust", "/tolvane/cust/list", "/tolvane/cust/flatness"})
            EXPECT_TRUE(fs::is_directory(folder)) << folder;
        EXPECT_NE(identity(), "");
    }
    std::ofstream("/tolvane/cust/sav0") << "*IDN?\nno such command\n*OPC?\n*IDN?";
    Instrument withSettings;
    const std::string printed = withSettings.printed(running);
    EXPECT_EQ(printed, identity() + "1\n" + std::string(running)) << "the line without an end is not run";
    kill(withSettings.process, SIGTERM);
    EXPECT_EQ(withSettings.printed(), printed + "Got signal 15\nexit_TV()\n");
    EXPECT_EQ(withSettings.wait(), 0);
    fs::remove("/tolvane/cust/sav0");
}

TEST(Startup, DetachesIntoASessionOfItsOwn) {
    prctl(PR_SET_CHILD_SUBREAPER, 1); // a daemon becomes the test's child
    Instrument starter({"-d"});
    EXPECT_EQ(starter.wait(), 0);
    EXPECT_EQ(starter.printed(running), running);
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
    Instrument instrument({"-v"});
    EXPECT_TRUE(instrument.printed(running).starts_with("verbose mode\n"));
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
