#include "core/worker.h"

#include "core/thread.h"

void* Worker::run(void* argument) {
    auto* const worker = static_cast<Worker*>(argument);
    for (;;) {
        worker->state_.linger(idle); // the next piece often follows at once
        worker->state_.waitWhile(idle);
        worker->body_(worker->argument_);
        worker->state_.setAndWake(idle);
    }
}

bool Worker::start(Body body, void* argument, size_t stackBytes) {
    join();
    if (!exists_) {
        pthread_t thread{};
        tvstuffPthreadCreate(&thread, run, this, stackBytes); // its result does not tell of the thread
        if (thread == pthread_t{})
            return false;
        pthread_detach(thread);
        exists_ = true;
    }
    body_ = body;
    argument_ = argument;
    state_.setAndWake(working);
    return true;
}

void Worker::join() {
    state_.linger(working); // short pieces have ended before a sleep would have begun
    state_.waitWhile(working);
}
