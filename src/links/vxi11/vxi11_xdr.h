#pragma once
/// The records of the VXI-11 standard, as they go over the wire: parameters are read, results written. Names are the
/// standard's. Texts and data that are read are not copied: they stay in the message.

#include <cstdint>
#include <rpc/rpc.h>
#include <span>
#include <string_view>

inline constexpr uint32_t deviceCore = 395183, deviceAsync = 395184, deviceIntr = 395185, vxi11Version = 1;

enum DeviceCoreProcedure : uint32_t {
    createLink = 10,
    deviceWrite = 11,
    deviceRead = 12,
    deviceReadStb = 13,
    deviceTrigger = 14,
    deviceClear = 15,
    deviceRemote = 16,
    deviceLocal = 17,
    deviceLock = 18,
    deviceUnlock = 19,
    deviceEnableSrq = 20,
    deviceDocmd = 22,
    destroyLink = 23,
    createIntrChan = 25,
    destroyIntrChan = 26,
};
inline constexpr uint32_t deviceAbort = 1;

enum DeviceErrorCode : int32_t {
    deviceNoError = 0,
    deviceNotAccessible = 3,
    deviceInvalidLink = 4,
    deviceChannelNotEstablished = 6,
    deviceNotSupported = 8,
    deviceOutOfResources = 9,
    deviceTimeOut = 15,
    deviceChannelExists = 29,
};

/// Why a read has ended.
enum DeviceReadReason : int32_t { readRequestCount = 1, readEnd = 4 };

struct Create_LinkParms {
    int32_t clientId;
    bool_t lockDevice;
    uint32_t lock_timeout; // ms
    std::string_view device;
};
struct Create_LinkResp {
    int32_t error;
    int32_t lid;
    uint16_t abortPort;
    uint32_t maxRecvSize; // bytes
};
struct Device_WriteParms {
    int32_t lid;
    uint32_t io_timeout, lock_timeout; // ms
    int32_t flags;
    std::string_view data;
};
struct Device_ReadParms {
    int32_t lid;
    uint32_t requestSize;              // bytes
    uint32_t io_timeout, lock_timeout; // ms
    int32_t flags;
    int32_t termChar;
};
struct Device_GenericParms {
    int32_t lid;
    int32_t flags;
    uint32_t lock_timeout, io_timeout; // ms
};
struct Device_LockParms {
    int32_t lid;
    int32_t flags;
    uint32_t lock_timeout; // ms
};
struct Device_EnableSrqParms {
    int32_t lid;
    bool_t enable;
    std::string_view handle; // 40 bytes at most
};
struct Device_RemoteFunc {
    uint32_t hostAddr; // IPv4, host byte order
    uint16_t hostPort;
    uint32_t progNum, progVers;
    int32_t progFamily; // 0 TCP, 1 UDP
};

// False for a message that does not hold such a record.
[[nodiscard]] bool xdr_Device_Link(XDR* in, int32_t* lid);
[[nodiscard]] bool xdr_Create_LinkParms(XDR* in, Create_LinkParms* parms);
[[nodiscard]] bool xdr_Device_WriteParms(XDR* in, Device_WriteParms* parms);
[[nodiscard]] bool xdr_Device_ReadParms(XDR* in, Device_ReadParms* parms);
[[nodiscard]] bool xdr_Device_GenericParms(XDR* in, Device_GenericParms* parms);
[[nodiscard]] bool xdr_Device_LockParms(XDR* in, Device_LockParms* parms);
[[nodiscard]] bool xdr_Device_EnableSrqParms(XDR* in, Device_EnableSrqParms* parms);
[[nodiscard]] bool xdr_Device_RemoteFunc(XDR* in, Device_RemoteFunc* parms);

// False without room.
bool xdr_Device_Error(XDR* out, int32_t error);
bool xdr_Create_LinkResp(XDR* out, const Create_LinkResp& results);
bool xdr_Device_WriteResp(XDR* out, int32_t error, uint32_t size);
bool xdr_Device_ReadStbResp(XDR* out, int32_t error, uint8_t stb);

/// The record of a read whose `count` bytes of data stand already where they belong, xdr_readHeadBytes behind the begin
/// of the record: writes what stands before them and what fills them up.
inline constexpr uint32_t xdr_readHeadBytes = 12;
bool xdr_Device_ReadResp(XDR* out, int32_t error, int32_t reason, uint32_t count);
