// The threads that serve connections with links.

#include "core/signals.h"
#include "links/vxi11/vxi_calls.h"
#include "links/vxi11/vxi_connections.h"

#include <cerrno>
#include <ctime>
#include <sys/socket.h>

namespace {

constexpr size_t readMax = 1 << 20; // bytes of answers that one read gives, at most

alignas(64) std::array<std::array<char, readMax + vxiReplyMin>, vxiWorkers> replies;

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

} // namespace

void* vxiWorker_run(void* number) {
    // At the near end of the stack, where its overflow does not reach.
    std::array<char, faultStackBytes> faultStack;
    signals_useFaultStack(faultStack);
    for (;;)
        serve(vxiConnections_next(), replies[reinterpret_cast<uintptr_t>(number)]);
}
