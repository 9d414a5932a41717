#pragma once
/// The calls of the core and the abort channel.

#include "links/vxi11/rpc_record.h"
#include "links/vxi11/vxi_links.h"

#include <cstddef>
#include <span>

inline constexpr int vxiCorePort = 1024, vxiAbortPort = 1025; // TCP
inline constexpr uint32_t vxiReceiveMax = 1024;               // bytes of a write, as clients are told

/// Bytes that each reply may have without the data of a read.
inline constexpr size_t vxiReplyMin = 64;

struct VxiCaller {
    VxiClientId client = 0;
    int links = 0;         // that are its own
    bool mayWait = false;  // a link that is about to be free is worth coming back for
    std::span<char> reply; // room for it, at least vxiReplyMin bytes; a read gets no more data than fits
};

/// Tells whether a client is still there, for one who finds both links taken.
extern bool (*vxiCalls_isThere)(VxiClientId client);

enum class VxiCallEnd {
    answered,
    unanswered, // there is no reply to this call
    later,      // to be called again with the same message: a link that its client has left is not free yet
    nonsense,   // not a call: of this connection nothing more can be understood
};

/// Carries out one call. `*size` bytes of caller->reply are the answer, with its mark.
VxiCallEnd vxiCalls_serve(VxiCaller* caller, std::span<char> message, size_t* size);
