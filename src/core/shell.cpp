#include "core/shell.h"

#include "base/error_codes.h"
#include "base/sync.h"
#include "base/tvdebug.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

/// The C library's own name for clone(). A race detector takes clone() for a fork, and in a process with threads it
/// stops watching after one.
extern "C" int __clone(int (*function)(void*), void* stackEnd, int flags, void* argument, ...) noexcept;

// Code of the child leaves by execl and never returns: what a sanitizer notes on its frames would stay for the next
// command.
#define IN_CHILD __attribute__((no_sanitize("address"), no_sanitize("thread")))

namespace {

// 4800 bytes carry execl on the target. Here the first call through the dynamic linker alone saves the vector
// registers, some 3 KiB, under its own frames, and a sanitizer's interceptors want several times that.
constexpr size_t childStackBytes = 64 * 1024;
constexpr unsigned char stackFill = 170;
constexpr int execFailed = 127; // exit status of a child that could not start the shell

Mutex shellMutex; // one command buffer, one stack: one command at a time
std::array<char, shellCommandMax + 2> command_s;
alignas(64) std::array<unsigned char, childStackBytes> stack_s;
size_t stackUsedMax = 0;
sigset_t callersMask;

/// What the kernel keeps of a handler.
struct KernelHandler {
    void (*handler)(int);
    unsigned long flags;
    void (*restorer)();
    uint64_t mask;
};

/// The child still has the firmware's handlers and memory: a signal that arrives now must not run them. The handlers
/// are changed in the kernel alone, since what a library remembers of them lies in the firmware's memory.
void resetSignals() {
    for (int number = 1; number < NSIG; ++number) {
        KernelHandler present{};
        if (syscall(SYS_rt_sigaction, number, nullptr, &present, sizeof present.mask) != 0 ||
            present.handler == SIG_IGN || present.handler == SIG_DFL)
            continue;
        const KernelHandler standard{};
        syscall(SYS_rt_sigaction, number, &standard, nullptr, sizeof standard.mask);
    }
    sigprocmask(SIG_SETMASK, &callersMask, nullptr);
}

/// Runs in the parent's memory, on stack_s, while the parent's thread stands still.
IN_CHILD int tvstuffSystemChild(void*) {
    resetSignals();
    execl("/bin/sh", "sh", "-c", command_s.data(), static_cast<char*>(nullptr));
    _exit(execFailed);
}

int runShell() {
    // All signals wait until the child has left the parent's memory.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &callersMask);
    const pid_t child =
        __clone(tvstuffSystemChild, stack_s.data() + stack_s.size(), CLONE_VM | CLONE_VFORK | SIGCHLD, nullptr);
    pthread_sigmask(SIG_SETMASK, &callersMask, nullptr);
    if (child < 0)
        return scpi::executionError;

    int status = 0;
    pid_t ended;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended < 0 ? -1 : status;
}

} // namespace

int tvstuffSystem(const char* command) {
    const size_t length = strnlen(command, shellCommandMax + 1);
    if (length > shellCommandMax) {
        printd("tvstuffSystem() error: command too long\n");
        return scpi::executionError;
    }

    MutexLock lock(shellMutex);
    memcpy(command_s.data(), command, length + 1);
    stack_s.fill(stackFill);
    printd("%s\n", command_s.data());
    const int result = runShell();

    const auto firstUsed = std::find_if(stack_s.begin(), stack_s.end(), [](auto byte) { return byte != stackFill; });
    const auto free = static_cast<size_t>(firstUsed - stack_s.begin());
    const size_t used = stack_s.size() - free;
    stackUsedMax = std::max(stackUsedMax, used);
    printd("tvstuffSystem(): stack free %d, used %d (max %d)\n", static_cast<int>(free), static_cast<int>(used),
           static_cast<int>(stackUsedMax));
    return result;
}

int tvstuffTTYMessage(const char* text) {
    std::array<char, shellCommandMax + 2> command;
    const int length = snprintf(command.data(), command.size(), "echo %s > /dev/ttyS0", text);
    if (length < 0 || static_cast<size_t>(length) > shellCommandMax)
        return scpi::executionError;
    return tvstuffSystem(command.data());
}
