#pragma once
/// What an RPC message begins with: of a call who is asked for what, of a reply how that went.

#include "links/vxi11/rpc_record.h"

#include <cstddef>
#include <cstdint>
#include <rpc/rpc.h>

struct RpcCall {
    uint32_t xid = 0; // the client's number of the call
    uint32_t program = 0, version = 0, procedure = 0;
};

/// Reads the call's head from the begin of `in`; its arguments follow. Credentials are taken and not looked at. False
/// for what is no call of this protocol.
[[nodiscard]] bool rpcMessage_readCall(XDR* in, RpcCall* call);

inline constexpr size_t rpcReplyHeadBytes = 24; // of a reply that was accepted, without its mark

/// Writes the head of a reply to the begin of `out`. With SUCCESS the results follow; PROG_MISMATCH names `version` as
/// the only one that there is.
void rpcMessage_writeReply(XDR* out, uint32_t xid, accept_stat status, uint32_t version = 0);

/// The mark of a message of one fragment of `count` bytes.
void rpcMessage_writeMark(char* where, size_t count);
