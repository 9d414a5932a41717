#include "links/vxi11/rpc_message.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>

namespace {

/// The results follow by themselves.
bool_t writeNothing(XDR*, ...) {
    return TRUE;
}

} // namespace

bool rpcMessage_readCall(XDR* in, RpcCall* call) {
    std::array<char, MAX_AUTH_BYTES> credentials, verifier; // given, the library takes no memory for them
    rpc_msg message{};
    message.rm_call.cb_cred.oa_base = credentials.data();
    message.rm_call.cb_verf.oa_base = verifier.data();
    if (!xdr_callmsg(in, &message) || message.rm_direction != CALL || message.rm_call.cb_rpcvers != RPC_MSG_VERSION)
        return false;
    *call = {message.rm_xid, static_cast<uint32_t>(message.rm_call.cb_prog),
             static_cast<uint32_t>(message.rm_call.cb_vers), static_cast<uint32_t>(message.rm_call.cb_proc)};
    return true;
}

void rpcMessage_writeReply(XDR* out, uint32_t xid, accept_stat status, uint32_t version) {
    rpc_msg message{};
    message.rm_xid = xid;
    message.rm_direction = REPLY;
    message.rm_reply.rp_stat = MSG_ACCEPTED;
    message.acpted_rply.ar_verf = _null_auth;
    message.acpted_rply.ar_stat = status;
    if (status == PROG_MISMATCH)
        message.acpted_rply.ar_vers = {version, version};
    else
        message.acpted_rply.ar_results.proc = writeNothing;
    xdr_setpos(out, 0);
    xdr_replymsg(out, &message);
}

void rpcMessage_writeMark(char* where, size_t count) {
    const uint32_t mark = htonl(static_cast<uint32_t>(count) | rpcLastFragment);
    memcpy(where, &mark, sizeof mark);
}
