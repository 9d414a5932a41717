#include "links/link_thread.h"

#include "base/tvdebug.h"
#include "core/signals.h"
#include "core/thread.h"
#include "links/bus_activity.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"

#include <array>
#include <pthread.h>

namespace {

constexpr int lookForClear_ms = 50; // while a command waits

void serve(const LinkRow& row) {
    if (row.alone) {
        scpi_link_serveAlone(row.link);
        return;
    }
    scpi_link_doHandle(row.link);
    if (row.transport->isCleared == nullptr) {
        scpi_link_waitHandled(row.link);
        return;
    }
    while (!scpi_link_waitHandledFor(row.link, lookForClear_ms))
        if (row.transport->isCleared(row.medium)) { // which the next receive tells again
            tvcommClear(row.link);
            return;
        }
}

void raise(const LinkRow& row, int32_t event) {
    if (event == 0)
        return;
    row.link->eventRequest = event;
    serve(row);
}

void clear(const LinkRow& row) {
    if (row.transport->clear != nullptr)
        row.transport->clear(row.medium);
    if (!row.alone) {
        tvcommClear(row.link);
        return;
    }
    row.link->clearRequest = 1;
    serve(row);
}

/// The receive itself waits for the client: this thread alone uses the link meanwhile, so nobody else needs the buffer.
Received takeIn(const LinkRow& row) {
    char* where;
    const int room = tvcommOpenCmd(row.link, &where);
    const Received received = row.transport->receive(row.medium, where, room);
    if (received.said == Said::endOfMessage)
        tvcommEndCmd(row.link, received.count);
    tvcommCloseCmd(row.link, received.count);
    return received;
}

void* body(void* argument) {
    const auto& row = *static_cast<const LinkRow*>(argument);
    // At the near end of the stack, where its overflow does not reach.
    std::array<char, faultStackBytes> faultStack;
    signals_useFaultStack(faultStack);
    link_run(row);
    printd("link <%s> has ended\n", row.name);
    signals_useFaultStack({});
    pthread_detach(pthread_self()); // nobody waits for it
    return nullptr;
}

} // namespace

void link_start(const LinkRow& row) {
    pthread_t thread;
    tvstuffPthreadCreate(&thread, body, const_cast<LinkRow*>(&row), row.stack + faultStackBytes);
}

void link_run(const LinkRow& row) {
    while (link_visit(row)) {
    }
}

bool link_visit(const LinkRow& row) {
    if (!row.transport->open(row.medium, row.path))
        return false;
    raise(row, row.connected);
    while (link_step(row)) {
    }
    row.transport->close(row.medium);
    tvcommFlush(row.link);
    raise(row, row.gone);
    return true;
}

bool link_step(const LinkRow& row) {
    const auto [count, said] = takeIn(row);
    if (count > 0 && row.activity != nullptr)
        busActivity_note(row.activity);
    if (said == Said::gone)
        return false;
    if (said == Said::deviceClear)
        clear(row);
    while (link_answer(row)) {
    }
    return true;
}

bool link_answer(const LinkRow& row) {
    serve(row);
    char* where;
    int more;
    const int count = tvcommPeekAns(row.link, &where, &more);
    const Sent sent = row.transport->send(row.medium, where, count, more != 0);
    tvcommClearAns(row.link, sent.taken, nullptr);
    if (sent.said != Said::deviceClear)
        return sent.goesOn;
    clear(row);
    return false;
}
