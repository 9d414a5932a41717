#include "../links/client.h"
#include "core/shell.h"
#include "core/startup.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int port = 18;
constexpr std::string_view idn = "*IDN?\n";

/// The firmware in a process of its own on a fresh unit, without boards, started without a standard input.
class Instrument {
public:
    explicit Instrument(std::vector<std::string> options = {}) {
        std::array<int, 2> output;
        EXPECT_EQ(pipe(output.data()), 0);
        fflush(stdout);
        process_ = fork();
        if (process_ == 0) {
            dup2(output[1], STDOUT_FILENO);
            close(STDIN_FILENO);
            close(output[0]);
            close(output[1]);
            std::vector<char*> arguments{const_cast<char*>("firmware")};
            for (std::string& option : options)
                arguments.push_back(option.data());
            arguments.push_back(nullptr);
            _exit(firmware_start(static_cast<int>(arguments.size()) - 1, arguments.data()));
        }
        close(output[1]);
        output_ = output[0];
    }
    ~Instrument() {
        if (process_ > 0)
            stop();
        close(output_);
    }
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    /// Everything that it has printed up to and with `text`; ends early when it does.
    std::string printedUpTo(std::string_view text) {
        char c;
        while (!printed_.ends_with(text) && read(output_, &c, 1) == 1)
            printed_ += c;
        return printed_;
    }
    /// Ends it if need be; returns its status.
    int stop() {
        kill(process_, SIGTERM);
        return wait();
    }
    int wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }
    [[nodiscard]] pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    int output_ = -1;
    std::string printed_;
};

constexpr std::string_view running = "\nDevice is running!\n";

std::string identity() {
    Client client(port);
    client.send(idn);
    std::string line;
    while (!line.ends_with('\n')) {
        const std::string next = client.read(1);
        if (next.empty())
            break;
        line += next;
    }
    return line;
}

TEST(Startup, MakesItsFoldersAndRunsThePowerOnSettingsBeforeAnybodyIsServed) {
    fs::remove_all("/tolvane/cust");
    {
        Instrument bare;
        EXPECT_EQ(bare.printedUpTo(running), running) << "nothing else without \"-v\"";
        for (const char* folder : {"/tolvane/cust", "/tolvane/cust/list", "/tolvane/cust/flatness"})
            EXPECT_TRUE(fs::is_directory(folder)) << folder;
        EXPECT_NE(identity(), "");
    }
    std::ofstream("/tolvane/cust/sav0") << "*IDN?\nno such command\n*OPC?\n*IDN?";
    Instrument withSettings;
    const std::string printed = withSettings.printedUpTo(running);
    EXPECT_EQ(printed, identity() + "1\n" + std::string(running)) << "the line without an end is not run";
    const int status = withSettings.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    fs::remove("/tolvane/cust/sav0");
}

TEST(Startup, TakesOneOptionAtMost) {
    const struct {
        std::vector<std::string> options;
        bool verbose;
    } cases[] = {{{"-v"}, true}, {{"-v", "-d"}, false}, {{"-d", "-v"}, false}, {{"-vv"}, false}, {{""}, false}};
    for (const auto& [options, verbose] : cases) {
        Instrument instrument(options);
        const std::string printed = instrument.printedUpTo(running);
        EXPECT_EQ(printed.starts_with("verbose mode\n"), verbose) << printed;
        EXPECT_TRUE(printed.ends_with(running)) << printed;
        EXPECT_EQ(waitpid(instrument.process(), nullptr, WNOHANG), 0) << "in the foreground";
    }
}

TEST(Startup, DetachesIntoASessionOfItsOwn) {
    prctl(PR_SET_CHILD_SUBREAPER, 1); // a daemon becomes the test's child
    Instrument starter({"-d"});
    const int status = starter.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(starter.printedUpTo(running), running);
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
    instrument.printedUpTo(running);
    Client client(port);
    EXPECT_TRUE(client.send(idn));
    const std::string first = client.read(10);
    EXPECT_EQ(first.size(), 10u);
    ASSERT_EQ(tvstuffSystem("ip addr add 169.254.7.7/16 dev eth0 label eth0:avahi"), 0);
    EXPECT_TRUE(client.isDropped());
    while (identity().empty()) { // the port opens again right behind the drop
    }
    ASSERT_EQ(tvstuffSystem("ip addr del 169.254.7.7/16 dev eth0"), 0);
}

} // namespace
