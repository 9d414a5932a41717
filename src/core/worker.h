#pragma once
/// A thread that stays: it sleeps between pieces of work, so that starting one costs a wake-up and not a thread; and a
/// piece that its starter waits for anyway costs not even that. One piece at a time; who starts and who joins must not
/// do so at the same moment as another thread.

#include "base/sync.h"

#include <cstddef>

class Worker {
public:
    using Body = void* (*)(void* argument);

    /// Has `body(argument)` run, after the end of the piece before it: by the thread as soon as it is hurried, or else
    /// by whoever joins. The thread is made by the first call, with `stackBytes` of stack, and lasts as long as the
    /// process. False if there is none to be had.
    [[nodiscard]] bool post(Body body, void* argument, size_t stackBytes);
    /// Lets the thread begin the piece that was posted, if nobody has. Callable at any moment from any thread.
    void hurry();
    /// Waits until the body has returned; without one it comes back at once.
    void join();

private:
    static void* run(void* worker);
    void work();

    enum : uint32_t { idle, posted, working };
    WakeWord state_{idle}; // of the piece
    WakeWord called_{0};   // 1: the thread is to look for one
    bool exists_ = false;
    Body body_ = nullptr;
    void* argument_ = nullptr;
};
