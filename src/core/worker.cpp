#include "core/worker.h"

#include "core/thread.h"

void* Worker::run(void* argument) {
    auto* const worker = static_cast<Worker*>(argument);
    for (;;) {
        worker->called_.waitWhile(0);
        worker->called_.set(0);
        worker->work();
    }
}

/// Runs the piece unless somebody else has begun it.
void Worker::work() {
    if (!state_.replace(posted, working))
        return;
    body_(argument_);
    state_.setAndWake(idle);
}

bool Worker::post(Body body, void* argument, size_t stackBytes) {
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
    state_.set(posted);
    return true;
}

void Worker::hurry() {
    if (state_.get() == posted)
        called_.setAndWake(1);
}

void Worker::join() {
    work();
    state_.waitWhile(working);
}
