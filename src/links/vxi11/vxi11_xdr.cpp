#include "links/vxi11/vxi11_xdr.h"

namespace {

constexpr uint32_t deviceNameMax = 256; // bytes that a client may send
constexpr uint32_t srqHandleMax = 40;
constexpr uint32_t noLimit = UINT32_MAX; // but that of the message

/// A counted text or data: leaves it in the message. xdrmem keeps where it is in x_private and what is left in x_handy.
bool inPlace(XDR* in, std::string_view* text, uint32_t limit) {
    uint32_t count;
    if (!xdr_uint32_t(in, &count) || count > limit || count > in->x_handy)
        return false;
    *text = {static_cast<const char*>(in->x_private), count};
    return xdr_setpos(in, xdr_getpos(in) + RNDUP(count)) != 0;
}

} // namespace

bool xdr_Device_Link(XDR* in, int32_t* lid) {
    return xdr_int32_t(in, lid) != 0;
}

bool xdr_Create_LinkParms(XDR* in, Create_LinkParms* parms) {
    return xdr_int32_t(in, &parms->clientId) && xdr_bool(in, &parms->lockDevice) &&
           xdr_uint32_t(in, &parms->lock_timeout) && inPlace(in, &parms->device, deviceNameMax);
}

bool xdr_Device_WriteParms(XDR* in, Device_WriteParms* parms) {
    return xdr_int32_t(in, &parms->lid) && xdr_uint32_t(in, &parms->io_timeout) &&
           xdr_uint32_t(in, &parms->lock_timeout) && xdr_int32_t(in, &parms->flags) &&
           inPlace(in, &parms->data, noLimit);
}

bool xdr_Device_ReadParms(XDR* in, Device_ReadParms* parms) {
    return xdr_int32_t(in, &parms->lid) && xdr_uint32_t(in, &parms->requestSize) &&
           xdr_uint32_t(in, &parms->io_timeout) && xdr_uint32_t(in, &parms->lock_timeout) &&
           xdr_int32_t(in, &parms->flags) && xdr_int32_t(in, &parms->termChar);
}

bool xdr_Device_GenericParms(XDR* in, Device_GenericParms* parms) {
    return xdr_int32_t(in, &parms->lid) && xdr_int32_t(in, &parms->flags) && xdr_uint32_t(in, &parms->lock_timeout) &&
           xdr_uint32_t(in, &parms->io_timeout);
}

bool xdr_Device_LockParms(XDR* in, Device_LockParms* parms) {
    return xdr_int32_t(in, &parms->lid) && xdr_int32_t(in, &parms->flags) && xdr_uint32_t(in, &parms->lock_timeout);
}

bool xdr_Device_EnableSrqParms(XDR* in, Device_EnableSrqParms* parms) {
    return xdr_int32_t(in, &parms->lid) && xdr_bool(in, &parms->enable) && inPlace(in, &parms->handle, srqHandleMax);
}

bool xdr_Device_RemoteFunc(XDR* in, Device_RemoteFunc* parms) {
    return xdr_uint32_t(in, &parms->hostAddr) && xdr_u_short(in, &parms->hostPort) &&
           xdr_uint32_t(in, &parms->progNum) && xdr_uint32_t(in, &parms->progVers) &&
           xdr_int32_t(in, &parms->progFamily);
}

bool xdr_Device_Error(XDR* out, int32_t error) {
    return xdr_int32_t(out, &error) != 0;
}

bool xdr_Create_LinkResp(XDR* out, const Create_LinkResp& results) {
    Create_LinkResp written = results;
    return xdr_int32_t(out, &written.error) && xdr_int32_t(out, &written.lid) && xdr_u_short(out, &written.abortPort) &&
           xdr_uint32_t(out, &written.maxRecvSize);
}

bool xdr_Device_WriteResp(XDR* out, int32_t error, uint32_t size) {
    return xdr_int32_t(out, &error) && xdr_uint32_t(out, &size);
}

bool xdr_Device_ReadStbResp(XDR* out, int32_t error, uint8_t stb) {
    return xdr_int32_t(out, &error) && xdr_u_char(out, &stb);
}

bool xdr_Device_ReadResp(XDR* out, int32_t error, int32_t reason, uint32_t count) {
    if (!xdr_int32_t(out, &error) || !xdr_int32_t(out, &reason) || !xdr_uint32_t(out, &count) ||
        !xdr_setpos(out, xdr_getpos(out) + count))
        return false;
    char zeros[BYTES_PER_XDR_UNIT] = {};
    return XDR_PUTBYTES(out, zeros, RNDUP(count) - count) != 0;
}
