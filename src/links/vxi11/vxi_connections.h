#pragma once
/// The connections of VXI-11 clients. One without a link is the door's, which looks after all of those at once and
/// waits for none. One that has opened a link is handed to a worker, which serves it alone, as its calls may take as
/// long as commands do, and comes back when its links are destroyed. There are as many workers as links.

#include "base/sync.h"
#include "links/vxi11/rpc_record.h"
#include "links/vxi11/vxi_links.h"

#include <array>
#include <cstdint>

enum class VxiPlace { unused, door, forWorker, worker, forDoor };

/// Of whoever serves it, all but what is said to be the mutex's.
struct VxiConnection {
    VxiPlace place = VxiPlace::unused; // the mutex's
    int fd = -1;                       // changes with the place from and to unused, under the mutex
    VxiClientId client = 0;            // likewise
    RpcRecord record;
    int links = 0;             // that it has open
    int64_t heard_ns = 0;      // when bytes came last
    int64_t waitsUntil_ns = 0; // for a link that its client has left; 0: it does not
};

struct VxiConnections {
    Mutex mutex;
    Condition handedOver;
    int watchFd = -1; // the door's epoll; its numbers of connections are indices of `all`
    int wakeFd = -1;  // tells the door of connections that come back
    VxiClientId lastClient GUARDED_BY(mutex) = 0;
    std::array<VxiConnection, 12> all;
};

extern VxiConnections vxiConnections;

/// A place for `fd`, at the door. When there is none left, the one at the door that has been silent for longest makes
/// room.
VxiConnection* vxiConnections_add(int fd);
/// Ends it: its links and its interrupt channel are free. Not by the door while it has links.
void vxiConnections_end(VxiConnection* connection);
void vxiConnections_toWorker(VxiConnection* connection);
void vxiConnections_toDoor(VxiConnection* connection);
/// The door has it back.
void vxiConnections_atDoor(VxiConnection* connection);
/// What the door is told of (epoll's events).
void vxiConnections_watch(VxiConnection* connection, uint32_t events);
/// Waits for one that is handed to a worker.
VxiConnection* vxiConnections_next();
/// The place of a connection at this moment.
[[nodiscard]] VxiPlace vxiConnections_place(const VxiConnection& connection);
/// A worker's connection has ended: tells its links, as the worker may be in a call of it.
void vxiConnections_noticeEnd(VxiConnection* connection);
/// True while this client's connection stands.
[[nodiscard]] bool vxiConnections_isThere(VxiClientId client);

/// Serves the calls that have come whole. False if nothing more can come of this connection; `*waits` tells that the
/// call at hand is to be looked at again soon. `reply` as in VxiCaller; with `patient` a client that does not read is
/// waited for. Stops behind the call that has opened the first link or destroyed the last.
[[nodiscard]] bool vxiConnections_serve(VxiConnection* connection, std::span<char> reply, bool patient, bool* waits);

inline constexpr int vxiLookAgain_ms = 10; // at a call that waits

/// The door's thread; never returns.
[[noreturn]] void vxiDoor_run(int coreFd, int abortFd);
/// Starts the workers; each needs a stack of `stackBytes`.
void vxiWorkers_start(size_t stackBytes);
