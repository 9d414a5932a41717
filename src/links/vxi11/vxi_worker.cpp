// The threads that serve connections with links.

#include "core/signals.h"
#include "core/thread.h"
#include "links/vxi11/vxi_calls.h"
#include "links/vxi11/vxi_connections.h"

#include <cerrno>
#include <ctime>
#include <sys/socket.h>

namespace {

constexpr size_t readMax = 1 << 20; // bytes of answers that one read gives, at most

using Reply = std::array<char, readMax + vxiReplyMin>;
std::array<Reply, 2> replies; // of a worker for each link

/// False if the client has gone.
bool receive(VxiConnection* connection) {
    const std::span<char> room = rpcRecord_room(&connection->record);
    ssize_t count;
    do {
        count = recv(connection->fd, room.data(), room.size(), 0);
    } while (count < 0 && errno == EINTR);
    if (count <= 0)
        return false;
    rpcRecord_add(&connection->record, static_cast<size_t>(count));
    return true;
}

void serve(VxiConnection* connection, std::span<char> reply) {
    while (connection->links > 0) {
        bool waits = false;
        if ((connection->record.state == RpcRecordState::partial && !receive(connection)) ||
            !vxiConnections_serve(connection, reply, true, &waits)) {
            vxiConnections_end(connection);
            return;
        }
        if (waits) {
            const timespec pause{.tv_sec = 0, .tv_nsec = vxiLookAgain_ms * 1'000'000};
            nanosleep(&pause, nullptr);
        }
    }
    vxiConnections_toDoor(connection);
}

void* run(void* reply) {
    // At the near end of the stack, where its overflow does not reach.
    std::array<char, faultStackBytes> faultStack;
    signals_useFaultStack(faultStack);
    for (;;)
        serve(vxiConnections_next(), *static_cast<Reply*>(reply));
}

} // namespace

void vxiWorkers_start(size_t stackBytes) {
    for (Reply& reply : replies) {
        pthread_t thread;
        tvstuffPthreadCreate(&thread, run, &reply, stackBytes + faultStackBytes);
    }
}
