#include "links/vxi11/vxi_calls.h"

#include "base/tvdebug.h"
#include "links/vxi11/rpc_message.h"
#include "links/vxi11/vxi11_xdr.h"
#include "links/vxi11/vxi_interrupt.h"

#include <algorithm>
#include <cstring>

namespace {

enum class Served { answered, unanswered, later, badArguments };

struct Call {
    VxiCaller& caller;
    XDR* in;
    XDR* out;
};

Served answered(bool written) {
    return written ? Served::answered : Served::badArguments;
}

Served nothing(Call&) {
    return Served::answered;
}

Served serveCreateLink(Call& call) {
    Create_LinkParms parms;
    if (!xdr_Create_LinkParms(call.in, &parms))
        return Served::badArguments;
    Create_LinkResp results{.error = deviceNoError, .lid = 0, .abortPort = vxiAbortPort, .maxRecvSize = vxiReceiveMax};
    uint32_t lid = 0;
    if (parms.device != "inst0") {
        results.error = deviceNotAccessible;
    } else if (tv_vxi_link_open(call.caller.client, &lid) != 0) {
        results.lid = static_cast<int32_t>(lid);
        ++call.caller.links;
    } else if (call.caller.mayWait && tv_vxi_link_isLeft(vxiCalls_isThere)) {
        return Served::later;
    } else {
        printd("create_link_1_svc() (VXI-11): failed as no link is available\n");
        results.error = deviceOutOfResources;
    }
    return answered(xdr_Create_LinkResp(call.out, results));
}

vxilink_channel* channelOf(const Call& call, int32_t lid) {
    return tv_vxi_link_get(call.caller.client, static_cast<uint32_t>(lid));
}

/// What finds no room would wait for answers to be read, and who reads them waits for the end of this call.
Served serveWrite(Call& call) {
    Device_WriteParms parms;
    if (!xdr_Device_WriteParms(call.in, &parms))
        return Served::badArguments;
    vxilink_channel* const channel = channelOf(call, parms.lid);
    if (channel == nullptr)
        return answered(xdr_Device_WriteResp(call.out, deviceInvalidLink, 0));
    const size_t size = tv_vxi_link_write(channel, parms.data);
    return answered(xdr_Device_WriteResp(call.out, size < parms.data.size() ? deviceTimeOut : deviceNoError,
                                         static_cast<uint32_t>(size)));
}

Served serveRead(Call& call) {
    Device_ReadParms parms;
    if (!xdr_Device_ReadParms(call.in, &parms))
        return Served::badArguments;
    vxilink_channel* const channel = channelOf(call, parms.lid);
    if (channel == nullptr)
        return answered(xdr_Device_ReadResp(call.out, deviceInvalidLink, 0, 0));
    constexpr size_t before = rpcMarkBytes + rpcReplyHeadBytes + xdr_readHeadBytes;
    const std::span<char> room = call.caller.reply.subspan(before, call.caller.reply.size() - before);
    const size_t wanted = std::min<size_t>(parms.requestSize, room.size() / BYTES_PER_XDR_UNIT * BYTES_PER_XDR_UNIT);
    bool more;
    const auto count = static_cast<uint32_t>(tv_vxi_link_read(channel, room.first(wanted), &more));
    int32_t reason = 0;
    if (count == parms.requestSize)
        reason = readRequestCount;
    else if (!more)
        reason = readEnd;
    return answered(xdr_Device_ReadResp(call.out, deviceNoError, reason, count));
}

Served serveReadStb(Call& call) {
    Device_GenericParms parms;
    return answered(xdr_Device_GenericParms(call.in, &parms) && xdr_Device_ReadStbResp(call.out, deviceNoError, 0));
}

/// Calls that are taken and do nothing.
template <class Parms, bool (*read)(XDR*, Parms*)> Served serveIdle(Call& call) {
    Parms parms;
    return answered(read(call.in, &parms) && xdr_Device_Error(call.out, deviceNoError));
}
constexpr auto idleGeneric = serveIdle<Device_GenericParms, xdr_Device_GenericParms>;
constexpr auto idleLink = serveIdle<int32_t, xdr_Device_Link>;

Served serveUnanswered(Call&) {
    return Served::unanswered;
}

Served serveDestroyLink(Call& call) {
    int32_t lid;
    if (!xdr_Device_Link(call.in, &lid))
        return Served::badArguments;
    vxilink_channel* const channel = channelOf(call, lid);
    if (channel == nullptr)
        return answered(xdr_Device_Error(call.out, deviceInvalidLink));
    tv_vxi_link_close(channel);
    --call.caller.links;
    return answered(xdr_Device_Error(call.out, deviceNoError));
}

Served serveCreateIntrChan(Call& call) {
    Device_RemoteFunc parms;
    if (!xdr_Device_RemoteFunc(call.in, &parms))
        return Served::badArguments;
    const int error = tv_device_intr_clnt_create(call.caller.client, parms.hostAddr, parms.hostPort, parms.progNum,
                                                 parms.progVers, parms.progFamily);
    return answered(xdr_Device_Error(call.out, error));
}

Served serveDestroyIntrChan(Call& call) {
    return answered(xdr_Device_Error(call.out, tv_device_intr_clnt_destroy()));
}

struct Procedure {
    uint32_t program, number;
    Served (*serve)(Call& call);
};

constexpr Procedure procedures[] = {
    {deviceCore, NULLPROC, nothing},
    {deviceCore, createLink, serveCreateLink},
    {deviceCore, deviceWrite, serveWrite},
    {deviceCore, deviceRead, serveRead},
    {deviceCore, deviceReadStb, serveReadStb},
    {deviceCore, deviceTrigger, idleGeneric},
    {deviceCore, deviceClear, idleGeneric},
    {deviceCore, deviceRemote, idleGeneric},
    {deviceCore, deviceLocal, idleGeneric},
    {deviceCore, deviceLock, serveIdle<Device_LockParms, xdr_Device_LockParms>},
    {deviceCore, deviceUnlock, idleLink},
    {deviceCore, deviceEnableSrq, serveIdle<Device_EnableSrqParms, xdr_Device_EnableSrqParms>},
    {deviceCore, deviceDocmd, serveUnanswered},
    {deviceCore, destroyLink, serveDestroyLink},
    {deviceCore, createIntrChan, serveCreateIntrChan},
    {deviceCore, destroyIntrChan, serveDestroyIntrChan},
    {deviceAsync, NULLPROC, nothing},
    {deviceAsync, deviceAbort, idleLink},
};

const Procedure* find(const RpcCall& asked) {
    const auto* const found = std::find_if(std::begin(procedures), std::end(procedures), [&](const Procedure& p) {
        return p.program == asked.program && p.number == asked.procedure;
    });
    return found == std::end(procedures) ? nullptr : found;
}

/// Why a call cannot be carried out; SUCCESS if it can.
accept_stat refusal(const RpcCall& asked, const Procedure* procedure) {
    if (asked.program != deviceCore && asked.program != deviceAsync)
        return PROG_UNAVAIL;
    if (asked.version != vxi11Version)
        return PROG_MISMATCH;
    return procedure == nullptr ? PROC_UNAVAIL : SUCCESS;
}

} // namespace

bool (*vxiCalls_isThere)(VxiClientId client) = [](VxiClientId) { return true; };

VxiCallEnd vxiCalls_serve(VxiCaller* caller, std::span<char> message, size_t* size) {
    XDR in, out;
    xdrmem_create(&in, message.data(), static_cast<u_int>(message.size()), XDR_DECODE);
    RpcCall asked;
    if (!rpcMessage_readCall(&in, &asked))
        return VxiCallEnd::nonsense;
    const std::span<char> body = caller->reply.subspan(rpcMarkBytes);
    xdrmem_create(&out, body.data(), static_cast<u_int>(body.size()), XDR_ENCODE);
    const Procedure* const procedure = find(asked);
    const accept_stat status = refusal(asked, procedure);
    rpcMessage_writeReply(&out, asked.xid, status, vxi11Version);
    if (status == SUCCESS) {
        Call call{*caller, &in, &out};
        switch (procedure->serve(call)) {
        case Served::answered: break;
        case Served::unanswered: return VxiCallEnd::unanswered;
        case Served::later: return VxiCallEnd::later;
        case Served::badArguments: rpcMessage_writeReply(&out, asked.xid, GARBAGE_ARGS); break;
        }
    }
    *size = rpcMarkBytes + xdr_getpos(&out);
    rpcMessage_writeMark(caller->reply.data(), *size - rpcMarkBytes);
    return VxiCallEnd::answered;
}
