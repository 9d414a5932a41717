/// Commands that wait: their link is silent until then, and nobody else is held up.

#include "base/waiting.h"
#include "engine_fixture.h"
#include "main_loop.h"

#include <chrono>
#include <sys/syscall.h>
#include <unistd.h>

using namespace engine;
using namespace std::chrono_literals;

namespace {
std::atomic<time_t> clockSetBy{0}; // seconds by which somebody has set the clock
}

/// In place of the C library's.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (clock == CLOCK_REALTIME)
        now->tv_sec += clockSetBy;
    return static_cast<int>(result);
}

namespace {

std::atomic<int> released{0}; // what a wait is over with
std::atomic<int> begun{0};    // waits that have begun

/// Waits for the release of that number.
int waitFor(int32_t release, int milliseconds, bool outlivesClient) {
    Waiting waiting;
    waiting.isOver = [](const Waiting& w) { return released >= w.argument; };
    waiting.finish = [](Device*, const Waiting& w, bool inTime) {
        ran.push_back((inTime ? "over " : "late ") + std::to_string(w.argument));
        return inTime ? 0 : static_cast<int>(timeOutError);
    };
    waiting.argument = release;
    waiting.outlivesClient = outlivesClient;
    if (milliseconds > 0)
        waiting.deadline_ns = waiting_deadline(milliseconds);
    const int result = waiting_for(nullptr, waiting);
    ++begun;
    return result;
}

template <bool outlivesClient> void wait(Unit& unit) {
    char* release = nullptr;
    char* milliseconds = nullptr;
    unit.errorCode = _scpi_getParameters(unit.cursor, &release, &milliseconds);
    if (unit.errorCode == 0)
        unit.errorCode = waitFor(atoi(release), atoi(milliseconds), outlivesClient);
}

/// Waits for two releases, one after the other.
void waitTwice(Unit& unit) {
    Waiting waiting;
    waiting.isOver = [](const Waiting& w) { return released >= w.argument; };
    waiting.finish = [](Device*, const Waiting& w, bool) { return waitFor(w.argument + 1, 0, false); };
    waiting.argument = 1;
    unit.errorCode = waiting_for(nullptr, waiting);
    ++begun;
}

constexpr Row waitRows[] = {
    {"*IDN", Q, idn, "", ""},        {"*OPC", QS, record<opc>, "", ""}, {"WAIT", QS, wait<false>, "", ""},
    {"KEEP", S, wait<true>, "", ""}, {"TWICe", S, waitTwice, "", ""},
};
constexpr CommandTreeStorage<16> waitTree{waitRows};

class ParkedLink : public Engine {
protected:
    ParkedLink() {
        context_.tree = waitTree.view({});
        released = begun = 0;
        clockSetBy = 0;
        scpi_link_init(&link_list, &other_, size, size, "other");
    }
    ~ParkedLink() override { scpi_link_destroy(&other_); }

    /// A client on its thread that has sent something that waits.
    struct Client {
        std::string answer;
        std::atomic<bool> answered{false};
        std::thread thread;
        Client(scpi_link* link, std::string_view text, int waits)
            : thread([this, link, text] {
                  answer = askOn(link, text);
                  answered = true;
              }) {
            while (begun < waits)
                std::this_thread::yield();
        }
        ~Client() { join(); }
        std::string join() {
            if (thread.joinable())
                thread.join();
            return answer;
        }
    };
    static void release(int number) {
        released = number;
        waiting_announce();
    }
    void expectOthersServed() {
        for (int i = 0; i < 50; ++i)
            ASSERT_EQ(askOn(&other_, "*IDN?\n"), handlerAnswer + "\n");
    }

    scpi_link other_{};
};

} // namespace

TEST_F(ParkedLink, IsSilentUntilTheWaitIsOverAndGoesOnBehindIt) {
    const MainLoop mainLoop;
    Client client(&link_, "*IDN?;WAIT 1,0;*OPC?;WAIT 2,0;*IDN?\n*OPC 1\n", 1);
    expectOthersServed();
    waiting_announce(); // of something else
    expectOthersServed();
    EXPECT_FALSE(client.answered);
    release(1);
    while (begun < 2)
        std::this_thread::yield();
    expectOthersServed();
    EXPECT_FALSE(client.answered);
    release(2);
    EXPECT_EQ(client.join(), handlerAnswer + ";1;" + handlerAnswer + "\n");
    EXPECT_EQ(commands(), (Texts{"over 1", "opc?()", "over 2", "opc(1)"}));
    {
        MutexLock access(deviceAccessMutex);
        scpi_link_enableQueryEcho(&link_);
    }
    EXPECT_EQ(askOn(&link_, "WAIT? 1,0\n"), "\n");
    tvcommEvent(&link_, linkEventTcpGone);
    EXPECT_EQ(askOn(&link_, "WAIT? 1,0\n"), "") << "the echo was the last client's";
}

TEST_F(ParkedLink, MayWaitOnceMoreAndTwoLinksMayWaitAtOnce) {
    const MainLoop mainLoop;
    Client first(&link_, "TWIC\n*OPC?\n", 1), second(&other_, "WAIT 1,0;*IDN?\n", 2);
    release(1);
    EXPECT_EQ(second.join(), handlerAnswer + "\n");
    while (begun < 3)
        std::this_thread::yield();
    EXPECT_FALSE(first.answered);
    release(2);
    EXPECT_EQ(first.join(), "1\n");
}

TEST_F(ParkedLink, IsServedAtItsDeadlineWhateverTheClockIsSetTo) {
    const MainLoop mainLoop;
    for (const time_t set : {0, 3600, -3600}) {
        const auto begin = std::chrono::steady_clock::now();
        clockSetBy = set;
        EXPECT_EQ(askOn(&link_, "WAIT 9,30;*OPC?\n"), "1\n");
        EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
        EXPECT_EQ(errors(), Codes{timeOutError});
    }
}

TEST_F(ParkedLink, DropsTheWaitOfAClientThatHasGoneAndRunsWhatItHadSent) {
    const MainLoop mainLoop;
    {
        Client client(&link_, "WAIT 9,0;*OPC 1\nWAIT 9,0\n*OPC 2\n", 1);
        scpi_link_clientGone(&link_);
    }
    EXPECT_EQ(commands(), (Texts{"opc(1)", "opc(2)"}));
    EXPECT_EQ(errors(), Codes{});
    tvcommEvent(&link_, linkEventTcpGone);
    {
        begun = 0;
        Client client(&link_, "WAIT 9,0\n*OPC 4\n", 1);
        scpi_link_clientMakesRoom(&link_);
    }
    EXPECT_EQ(commands(), Texts{"opc(4)"});
    EXPECT_EQ(errors(), Codes{waitTimedOut}) << "who still reads is told";
    tvcommEvent(&link_, linkEventTcpGone);
    begun = 0;
    Client next(&link_, "WAIT 1,0\nKEEP 2,0\n*OPC 3\n", 1);
    expectOthersServed();
    EXPECT_FALSE(next.answered) << "the next client's waits are its own";
    release(1);
    while (begun < 2)
        std::this_thread::yield();
    scpi_link_clientGone(&link_);
    expectOthersServed();
    EXPECT_FALSE(next.answered) << "what ends by itself is not left half-way";
    release(2);
    next.join();
    EXPECT_EQ(commands().back(), "opc(3)");
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(ParkedLink, IsFreedByADeviceClearAndByAnEventFromAnotherThread) {
    const MainLoop mainLoop;
    {
        Client client(&link_, "*IDN?;WAIT 9,0;*OPC 1\n", 1);
        tvcommClear(&link_);
        EXPECT_EQ(client.join(), "");
    }
    {
        Client client(&link_, "WAIT 9,0;*OPC 2\n", 2);
        tvcommEvent(&link_, linkEventTcpGone);
    }
    EXPECT_EQ(commands(), Texts{"opc(2)"});
    EXPECT_EQ(askOn(&link_, "*OPC?\n"), "1\n");
}

TEST_F(ParkedLink, IsNoneWhereTheCallerHasToFinish) {
    std::thread releases([&] {
        std::this_thread::sleep_for(5ms);
        release(1);
        std::this_thread::sleep_for(5ms);
        release(2);
    });
    EXPECT_EQ(asked("TWIC;*OPC?;WAIT 9,5\n"), "1\n");
    EXPECT_EQ(commands(), (Texts{"over 2", "opc?()", "late 9"}));
    releases.join();
}
