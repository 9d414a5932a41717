#include "base/sync.h"
#include "base/tvdebug.h"
#include "child.h"
#include "contents.h"
#include "core/process.h"
#include "core/signals.h"
#include "device_table/device_fptrs.h"
#include "tests/slots.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>

namespace {

constexpr int survived = 42; // exit status of a scenario that comes to its end
constexpr int crashedBy(int signal) {
    return 128 + signal;
}

struct Outcome {
    int exitStatus; // -1: killed by a signal
    std::string output;
};

/// Runs the scenario in a process of its own with the handlers in place.
Outcome outcomeOf(void (*scenario)(), bool readOutput = true) {
    Child child([&] {
        pid = getpid();
        installSignalHandlers();
        scenario();
        return survived;
    });
    const std::string output = readOutput ? child.printed() : "";
    return {child.wait(), output};
}

class FatalSignal : public testing::Test {
#if defined(__SANITIZE_THREAD__)
    void SetUp() override {
        GTEST_SKIP() << "ThreadSanitizer holds signals back until something blocks";
    }
#endif
};

/// Sends itself the signal and waits for what it does.
template <int Signal> [[noreturn]] void endBy() {
    kill(getpid(), Signal);
    for (;;)
        pause();
}

TEST_F(FatalSignal, AbortsTheDeviceAndEndsInOrder) {
    const Outcome outcome = outcomeOf([] {
        static Mutex mutex;
        fill(Device_abort, [](Device*) {
            MutexLock lock(mutex);
            return printf("abort\n");
        });
        fill(Device_abort_local, [](Device*) { return printf("abort_local\n"); });
        exit_closeHardware = [] { printf("bus closed\n"); };
        static char task[] = "task ended\n";
        rt_thread_exit_cookie = task;
        rt_thread_exit = [](void* cookie) { printf("%s", static_cast<char*>(cookie)); };
        {
            MutexLock lock(mutex); // the interrupted thread goes on and lets go of it
            kill(getpid(), SIGTERM);
        }
        for (;;)
            pause();
    });
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "Got signal 15\nexit_TV()\nabort\nabort_local\nbus closed\ntask ended\n");
}

/// A thread hangs in a print that nobody reads.
void printForEver() {
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
    endBy<SIGTERM>();
}

TEST_F(FatalSignal, EndsTheProcessInEveryState) {
    const struct {
        const char* state;
        void (*scenario)();
        bool readOutput = true;
        int exitStatus = 0;
    } cases[] = {
        {"a lock that the abort needs is held for ever",
         [] {
             static Mutex mutex;
             fill(Device_abort, [](Device*) {
                 MutexLock lock(mutex);
                 return 0;
             });
             MutexLock lock(mutex);
             endBy<SIGINT>();
         }},
        {"a print hangs", printForEver, false},
        {"the abort ends in a fault",
         [] {
             fill(Device_abort, [](Device*) { return raise(SIGSEGV); });
             endBy<SIGHUP>();
         },
         true, crashedBy(SIGSEGV)},
        {"a second signal does not wait for the first",
         [] {
             fill(Device_abort, [](Device*) -> int { endBy<SIGINT>(); });
             endBy<SIGINT>();
         }},
        {"a thread spins in a computation",
         [] {
             kill(getpid(), SIGQUIT);
             for (volatile int i = 0;;)
                 i = i + 1;
         }},
    };
    for (const auto& [state, scenario, readOutput, exitStatus] : cases) {
        SCOPED_TRACE(state); // one that does not end ends this test at its time limit
        EXPECT_EQ(outcomeOf(scenario, readOutput).exitStatus, exitStatus);
    }
}

/// Ends long after the stack does.
int overflow(int depth) {
    volatile char page[4096];
    page[0] = static_cast<char>(depth);
    return depth == INT_MAX ? 0 : overflow(depth + 1) + page[0];
}

TEST_F(FatalSignal, ACrashIsLoggedBehindTheEarlierOnesAndHasItsStatus) {
    const struct {
        int signal;
        const char* line;
        void (*scenario)();
    } cases[] = {
        {SIGSEGV, "Segmentation violation",
         [] {
             volatile uintptr_t nowhere = 8;
             *reinterpret_cast<volatile int*>(nowhere) = 1;
         }},
        {SIGSEGV, "Segmentation violation", [] { overflow(0); }},
        {SIGABRT, "Abort", abort},
        {SIGFPE, "Arithmetic error", [] { raise(SIGFPE); }},
        {SIGBUS, "Bus error", [] { raise(SIGBUS); }},
        {SIGILL, "Illegal instruction", [] { raise(SIGILL); }},
        {SIGTRAP, "Trap", [] { raise(SIGTRAP); }},
        {SIGSYS, "Bad system call", [] { raise(SIGSYS); }},
    };
    for (const auto& [signal, line, scenario] : cases) {
        { std::ofstream("/tolvane/segv") << "earlier\n"; }
        const Outcome outcome = outcomeOf(scenario);
        EXPECT_EQ(outcome.exitStatus, crashedBy(signal)) << line;
        EXPECT_EQ(outcome.output, "Got signal " + std::to_string(signal) + "\nexit_TV()\n");
        const std::string log = contents("/tolvane/segv");
        EXPECT_TRUE(log.starts_with("earlier\n\n" + std::string(line) + " Tolvane device firmware\n")) << log;
        EXPECT_GT(std::ranges::count(log, '['), 2) << "a few callers at least: " << log;
    }
}

TEST(OtherSignals, LeaveTheProcessRunning) {
    const Outcome outcome = outcomeOf([] {
        tvdebug_enable();
        for (const int number : {SIGPIPE, SIGIO, SIGVTALRM, SIGXCPU, SIGCHLD, SIGURG, SIGWINCH, SIGCONT})
            raise(number);
    });
    EXPECT_EQ(outcome.exitStatus, survived);
    for (const char* text : {"Got signal 13\nSignal 13: broken pipe (ignored)\n", "addresses\n",
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
    EXPECT_EQ(outcome.exitStatus, survived);
}

} // namespace
