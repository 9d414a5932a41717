#include "core/signals.h"

#include "base/tvdebug.h"
#include "core/process.h"
#include "core/thread.h"
#include "device_table/device_fptrs.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <string_view>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr int signalsEnd = 32;
constexpr int leftToTheSystem[] = {SIGCHLD, SIGCONT, SIGURG, SIGPROF, SIGWINCH};

constexpr suseconds_t exitLimit_us = 500'000; // for the orderly end
constexpr size_t exitThreadStack = 16384;     // bytes

constexpr int backtraceMax = 1000;
constexpr char crashLog[] = "/tolvane/segv";

/// Signals after which the interrupted thread cannot go on, for it would fault again at once, and their lines in the
/// log.
struct Fault {
    int signal;
    std::string_view line;
};
constexpr Fault faults[] = {
    {SIGSEGV, "\nSegmentation violation Tolvane device firmware\n"}, {SIGABRT, "\nAbort Tolvane device firmware\n"},
    {SIGFPE, "\nArithmetic error Tolvane device firmware\n"},        {SIGBUS, "\nBus error Tolvane device firmware\n"},
    {SIGILL, "\nIllegal instruction Tolvane device firmware\n"},     {SIGTRAP, "\nTrap Tolvane device firmware\n"},
    {SIGSYS, "\nBad system call Tolvane device firmware\n"},
};
static_assert(faults[0].line.size() == 48, "readers of the log know the length of the line");

constexpr int signalStatusBase = 128; // as a shell tells of a process that a signal has ended

std::atomic<int> exitStatus{EXIT_SUCCESS};

enum class ExitStage { running, requested, leaving, gone };
std::atomic<ExitStage> exitStage{ExitStage::running};
static_assert(std::atomic<ExitStage>::is_always_lock_free, "the handler uses it");

sem_t exitRequest;
std::atomic<bool> exitThreadWaits{false};

bool canTakeText(int fd) {
    pollfd output{.fd = fd, .events = POLLOUT, .revents = 0};
    return poll(&output, 1, 0) == 1 && output.revents == POLLOUT;
}

/// Prints from within a handler: past stdio, whose lock may be taken, and only if standard output takes the text at
/// once. A reader that has gone would make each text about a SIGPIPE the cause of the next.
[[gnu::format(printf, 1, 2)]] void handlerPrint(const char* format, ...) {
    std::array<char, 128> text;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (length > 0 && canTakeText(STDOUT_FILENO))
        (void)!write(STDOUT_FILENO, text.data(), std::min(static_cast<size_t>(length), text.size() - 1));
}

/// The symbols go straight to the descriptors: the heap may be what has just been found broken.
void reportBacktrace(int logFd) {
    static std::array<void*, backtraceMax> addresses; // larger than a thread's stack likes
    const int count = backtrace(addresses.data(), backtraceMax);
    if (logFd >= 0)
        backtrace_symbols_fd(addresses.data(), count, logFd);
    if (debugEnabled) {
        handlerPrint("backtrace() returned %d addresses\n", count);
        if (canTakeText(STDOUT_FILENO))
            backtrace_symbols_fd(addresses.data(), count, STDOUT_FILENO);
    }
}

void logCrash(std::string_view line) {
    const int fd = open(crashLog, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd >= 0)
        (void)!write(fd, line.data(), line.size());
    if (debugEnabled)
        handlerPrint("%s", line.data());
    reportBacktrace(fd);
    if (fd >= 0)
        close(fd);
}

const Fault* faultOf(int signal) {
    const auto* found = std::ranges::find(faults, signal, &Fault::signal);
    return found != std::end(faults) ? found : nullptr;
}

void startExitTimer() {
    const itimerval limit{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = exitLimit_us}};
    setitimer(ITIMER_REAL, &limit, nullptr); // its SIGALRM is a second fatal signal
}

void requestExit(int signal) {
    ExitStage expected = ExitStage::running;
    if (!exitStage.compare_exchange_strong(expected, ExitStage::requested))
        _exit(exitStatus);
    startExitTimer();
    if (exitThreadWaits)
        sem_post(&exitRequest);
    else
        exit_TV();
    while (faultOf(signal) != nullptr)
        pause();
}

void* exitThread(void*) {
    while (sem_wait(&exitRequest) != 0) {
    }
    exit_TV();
}

void startExitThread() {
    pthread_t thread{};
    if (sem_init(&exitRequest, 0, 0) != 0)
        return;
    if (tvstuffPthreadCreate(&thread, exitThread, nullptr, exitThreadStack) == 0 && thread != pthread_t{})
        exitThreadWaits = true;
}

} // namespace

void signals_useFaultStack(std::span<char> stack) {
    const stack_t alternative{
        .ss_sp = stack.data(), .ss_flags = stack.empty() ? SS_DISABLE : 0, .ss_size = stack.size()};
    sigaltstack(&alternative, nullptr);
}

void installSignalHandlers() {
    // The first back-trace loads a library; a handler must not be the one to do that.
    void* address;
    backtrace(&address, 1);
    if (!exitThreadWaits)
        startExitThread();
    static std::array<char, faultStackBytes> faultStack;
    signals_useFaultStack(faultStack);
    for (int number = 0; number < signalsEnd; ++number) {
        if (std::ranges::find(leftToTheSystem, number) != std::end(leftToTheSystem))
            continue;
        struct sigaction action {};
        action.sa_handler = signal_handler;
        action.sa_flags = SA_RESTART | SA_ONSTACK;
        if (sigaction(number, &action, nullptr) != 0)
            printd("signal( %d, ... ) failed\n", number);
    }
    signal(SIGCHLD, SIG_DFL); // a parent may have left it ignored, and then no shell line has a result
}

void signal_handler(int signal) {
    if (exitStage == ExitStage::gone && signal == SIGTERM)
        return; // the one that exit_TV sends itself
    const int interruptedErrno = errno;
    handlerPrint("Got signal %d\n", signal);
    const char* debugText = "";
    switch (signal) {
    case SIGPIPE: debugText = "Signal 13: broken pipe (ignored)\n"; break;
    case SIGIO: debugText = "Signal 27 or 29: profiling timer expired (ignored)\n"; break;
    case SIGVTALRM: debugText = "Signal 26 or 28: virtual alarm clock (ignored)\n"; break;
    case SIGXCPU:
        debugText = "SIGXCPU: real time task has been switched to secondary mode!\n";
        reportBacktrace(-1);
        break;
    default:
        if (const Fault* const fault = faultOf(signal); fault != nullptr) {
            exitStatus = signalStatusBase + signal;
            logCrash(fault->line);
        }
        requestExit(signal);
    }
    if (debugEnabled)
        handlerPrint("%s", debugText);
    errno = interruptedErrno;
}

std::atomic<void (*)()> exit_closeHardware{nullptr};
std::atomic<void (*)(void*)> rt_thread_exit{nullptr};
std::atomic<void*> rt_thread_exit_cookie{nullptr};

void exit_TV() {
    if (exitStage.exchange(ExitStage::leaving) >= ExitStage::leaving)
        _exit(exitStatus);
    startExitTimer();
    printf("exit_TV()\n");
    fflush(stdout);
    if (Device_abort)
        slot_carryOn(Device_abort(debug_device)); // the process ends in any case
    if (Device_abort_local)
        slot_carryOn(Device_abort_local(debug_device));
    if (void (*const closeHardware)() = exit_closeHardware; closeHardware != nullptr)
        closeHardware();
    exitStage = ExitStage::gone;
    kill(pid, SIGTERM);
    // The task may end meanwhile: it takes both back, the function first.
    void (*const endTask)(void*) = rt_thread_exit;
    void* const cookie = rt_thread_exit_cookie;
    if (endTask != nullptr && cookie != nullptr)
        endTask(cookie);
    exit(exitStatus);
}
