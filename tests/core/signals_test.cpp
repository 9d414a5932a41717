#include "core/process.h"
#include "core/signals.h"
#include "core/sync.h"
#include "core/tvdebug.h"
#include "device/device_fptrs.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool signalsAreHeldBack = true; // until the interrupted thread calls something that blocks
#else
constexpr bool signalsAreHeldBack = false;
#endif

constexpr int survived = 42; // exit status of a scenario that comes to its end

struct Outcome {
    int status; // of waitpid
    std::string output;
    double seconds; // from the start to the end
};

/// Runs the scenario in a process of its own, with the handlers in place and its standard output in a pipe. Unless told
/// otherwise the pipe is read.
Outcome outcomeOf(void (*scenario)(), bool readOutput = true) {
    std::array<int, 2> output;
    EXPECT_EQ(pipe(output.data()), 0);
    fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(output[1], STDOUT_FILENO);
        if (readOutput)
            close(output[0]);
        close(output[1]);
        pid = getpid();
        installSignalHandlers();
        scenario();
        _exit(survived);
    }
    close(output[1]);
    Outcome outcome{};
    char text[4096];
    ssize_t count;
    while (readOutput && (count = read(output[0], text, sizeof text)) > 0)
        outcome.output.append(text, static_cast<size_t>(count));
    waitpid(child, &outcome.status, 0);
    close(output[0]);
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return outcome;
}

bool endedInOrder(const Outcome& outcome) {
    return WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 0;
}

class FatalSignal : public testing::Test {
protected:
    void SetUp() override {
        if (signalsAreHeldBack)
            GTEST_SKIP() << "ThreadSanitizer holds signals back";
    }
};

[[noreturn]] void waitForTheEnd() {
    for (;;)
        pause();
}

TEST_F(FatalSignal, AbortsTheDeviceAndEndsInOrder) {
    const Outcome outcome = outcomeOf([] {
        Device_abort = [](Device*) { return printf("abort\n"); };
        Device_abort_local = [](Device*) { return printf("abort_local\n"); };
        kill(getpid(), SIGTERM);
        waitForTheEnd();
    });
    EXPECT_TRUE(endedInOrder(outcome)) << outcome.status;
    EXPECT_EQ(outcome.output, "Got signal 15\nexit_TV()\nabort\nabort_local\n");
}

TEST_F(FatalSignal, EndsTheProcessInEveryState) {
    const struct {
        const char* state;
        void (*scenario)();
        bool readOutput;
    } cases[] = {
        {"a lock that the abort needs is held for ever",
         [] {
             static Mutex mutex;
             Device_abort = [](Device*) {
                 MutexLock lock(mutex);
                 return 0;
             };
             MutexLock lock(mutex);
             kill(getpid(), SIGINT);
             waitForTheEnd();
         },
         true},
        {"a thread hangs in a print that nobody reads",
         [] {
             fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
             const std::array<char, 4096> page{};
             while (write(STDOUT_FILENO, page.data(), page.size()) > 0) {
             }
             fcntl(STDOUT_FILENO, F_SETFL, 0);
             pthread_t thread;
             const auto keepPrinting = [](void*) -> void* {
                 for (;;)
                     puts("more than the pipe holds");
             };
             pthread_create(&thread, nullptr, keepPrinting, nullptr);
             for (int refused = 0; refused < 100; sched_yield()) {
                 refused = ftrylockfile(stdout) != 0 ? refused + 1 : 0;
                 if (refused == 0)
                     funlockfile(stdout);
             }
             kill(getpid(), SIGTERM);
             waitForTheEnd();
         },
         false},
        {"the abort ends in a fault",
         [] {
             Device_abort = [](Device*) { return raise(SIGSEGV); };
             kill(getpid(), SIGHUP);
             waitForTheEnd();
         },
         true},
        {"a second signal does not wait for the first",
         [] {
             Device_abort = [](Device*) -> int {
                 kill(getpid(), SIGINT);
                 waitForTheEnd();
             };
             kill(getpid(), SIGINT);
             waitForTheEnd();
         },
         true},
        {"a thread spins in a computation",
         [] {
             kill(getpid(), SIGQUIT);
             for (volatile int i = 0;;)
                 i = i + 1;
         },
         true},
    };
    for (const auto& [state, scenario, readOutput] : cases) {
        const Outcome outcome = outcomeOf(scenario, readOutput);
        EXPECT_TRUE(endedInOrder(outcome)) << state << ": " << outcome.status;
        EXPECT_LT(outcome.seconds, 1.0) << state;
    }
}

TEST_F(FatalSignal, ACrashIsLoggedBehindTheEarlierOnes) {
    constexpr char log[] = "/tolvane/segv";
    constexpr char head[] = "\nSegmentation violation Tolvane device firmware";
    { std::ofstream(log) << "earlier\n"; }
    const Outcome outcome = outcomeOf([] {
        volatile uintptr_t nowhere = 8;
        *reinterpret_cast<volatile int*>(nowhere) = 1;
    });
    EXPECT_TRUE(endedInOrder(outcome)) << outcome.status;
    EXPECT_EQ(outcome.output, "Got signal 11\nexit_TV()\n");
    std::ifstream file(log);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    ASSERT_GT(lines.size(), 5u) << "a few callers at least";
    EXPECT_EQ(lines[0], "earlier");
    EXPECT_EQ("\n" + lines[2], head);
    EXPECT_NE(lines[3].find("[0x"), std::string::npos) << lines[3];
}

TEST(OtherSignals, LeaveTheProcessRunning) {
    const Outcome outcome = outcomeOf([] {
        tvdebug_enable();
        for (const int number : {SIGPIPE, SIGIO, SIGVTALRM, SIGXCPU, SIGCHLD, SIGURG, SIGWINCH, SIGCONT})
            raise(number);
    });
    ASSERT_TRUE(WIFEXITED(outcome.status));
    EXPECT_EQ(WEXITSTATUS(outcome.status), survived);
    for (const char* text :
         {"Got signal 13\nSignal 13: broken pipe (ignored)\n", "Signal 27 or 29: profiling timer expired (ignored)\n",
          "Signal 26 or 28: virtual alarm clock (ignored)\n", "addresses\n",
          "SIGXCPU: real time task has been switched to secondary mode!\n"})
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text << outcome.output;
    EXPECT_EQ(outcome.output.find("Got signal 17"), std::string::npos);
}

TEST(OtherSignals, AnOutputWithoutAReaderDoesNotFeedOnItsOwnSignals) {
    const Outcome outcome = outcomeOf([] {
        std::array<int, 2> broken;
        if (pipe(broken.data()) == 0) {
            close(broken[0]);
            dup2(broken[1], STDOUT_FILENO);
        }
        (void)!write(STDOUT_FILENO, "x", 1);
    });
    ASSERT_TRUE(WIFEXITED(outcome.status));
    EXPECT_EQ(WEXITSTATUS(outcome.status), survived);
}

} // namespace
