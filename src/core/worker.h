#pragma once
/// A thread that stays: it sleeps between pieces of work, so that starting one costs a wake-up and not a thread. One
/// piece at a time; who starts and who joins must not do so at the same moment as another thread.

#include "base/sync.h"

#include <cstddef>

class Worker {
public:
    using Body = void* (*)(void* argument);

    /// Lets the thread run `body(argument)`, after the end of the piece before it. The thread is made by the first
    /// call, with `stackBytes` of stack, and lasts as long as the process. False if there is none to be had.
    [[nodiscard]] bool start(Body body, void* argument, size_t stackBytes);
    /// Waits until the body has returned; without one it comes back at once.
    void join();

private:
    static void* run(void* worker);

    enum : uint32_t { idle, working };
    WakeWord state_{idle};
    bool exists_ = false;
    Body body_ = nullptr;
    void* argument_ = nullptr;
};
