#include "links/panel/panel_transport.h"

#include "base/tvdebug.h"
#include "links/panel/tvhc.h"

namespace {

Tvhc* of(void* medium) {
    return static_cast<Tvhc*>(medium);
}

bool open(void* medium, const char*) {
    if (!Tvhc_connected(of(medium))) // it has failed before the first byte, or was none that is known
        Tvhc_close(of(medium));
    return Tvhc_connected(of(medium));
}

Received receive(void* medium, char* where, int room) {
    if (room <= 0)
        return {};
    const int count = Tvhc_read(of(medium), room, where);
    return {count, count == 0 ? Said::gone : Said::bytes};
}

/// What a panel that has gone does not take is lost; the next receive tells of it.
Sent send(void* medium, const char* data, int count, bool more) {
    if (count > 0 && Tvhc_write(of(medium), panelAnswers, count, data) != 0)
        printd("Tvhc: %d bytes of an answer lost\n", count);
    return {count, more};
}

void close(void* medium) {
    printd("Error in HC link, closing link\n");
    Tvhc_close(of(medium));
}

} // namespace

const Transport panelTransport{open, receive, send, close, nullptr};
