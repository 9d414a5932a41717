#pragma once
/// The two logical links of VXI-11, A and B, each with one of the instrument's links behind it.
///
/// A link is its connection's: whoever opened it uses it, on the thread that serves the connection, and it is free
/// again when it is destroyed or the connection has gone. The text that a destroyed link has left stays for the same
/// client; another one finds the link empty.

#include "base/sync.h"
#include "links/link_thread.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

inline constexpr uint32_t vxiLidFree = 0xFFFFFFFF, vxiLidMax = 100'000;

/// The connection of a client, told from all earlier ones; 0 for none.
using VxiClientId = uint64_t;

struct vxilink_channel {
    const LinkRow* row = nullptr;
    uint32_t lid = vxiLidFree;
    VxiClientId client = 0; // who may use it; 0 also while it is emptied
    VxiClientId last = 0;   // whose text it may hold
    bool gone = false;      // the client has gone
    // Of the call under way; the connection's thread alone uses them.
    std::string_view unsent; // of a write
    std::span<char> wanted;  // of a read: where its data go
    size_t fetched = 0;      // of these bytes are there
    bool more = false;       // the link has more for it
};

struct vxilink {
    Mutex mutex; // before VxiConnections::mutex and bdInterruptMutex; under it no pass is run
    std::array<vxilink_channel, 2> channels GUARDED_BY(mutex);
    uint32_t nextLid GUARDED_BY(mutex) = 1;
};

extern vxilink vxiLinks;

/// The transport of both. Clients come to the server (links/vxi11/vxi_server.h): it has no thread, and nobody opens it.
extern const Transport vxiTransport;

/// `rowA` and `rowB` have to stay; their media are the channels.
void tv_vxi_link_init(const LinkRow* rowA, const LinkRow* rowB);

/// 1 with a new id for `client`, from 1 to vxiLidMax; 0 if both are in use.
int tv_vxi_link_open(VxiClientId client, uint32_t* lid);
/// True if a link is on its way to be free, because its client has gone.
[[nodiscard]] bool tv_vxi_link_isLeft(bool (*isThere)(VxiClientId client));
/// The channel of `lid`, empty of what an earlier client has left; null if it is not `client`'s.
vxilink_channel* tv_vxi_link_get(VxiClientId client, uint32_t lid);
/// Makes it free. What the link sends or sets for its client ends; its text stays.
void tv_vxi_link_close(vxilink_channel* channel);
/// Makes all links of a client that has gone free, and empty.
void tv_vxi_link_closeAll(VxiClientId client);
/// The client has gone, and the thread that serves it may be in a write: see scpi_link_clientGone. From any thread.
void tv_vxi_link_clientGone(VxiClientId client);

/// Hands `data` in and returns when its commands have run. Returns the bytes that had room; the others have none as
/// long as answers are not read.
size_t tv_vxi_link_write(vxilink_channel* channel, std::string_view data);
/// Fetches answers into `where` until it is full or there is no more for now. Returns the bytes; `*more` tells whether
/// more of the same answer follows.
size_t tv_vxi_link_read(vxilink_channel* channel, std::span<char> where, bool* more);
