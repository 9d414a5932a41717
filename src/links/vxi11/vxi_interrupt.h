#pragma once
/// The interrupt channel: a connection to an RPC server of the client, made and ended as it asks. Nothing is ever sent
/// on it, as this instrument has no service requests.

#include "links/vxi11/vxi_links.h"

#include <rpc/rpc.h>

/// Returns the standard's error number: 0; 8 for another program, version or family; 29 if there is a channel; 6 if
/// there is nobody within half a second. `hostAddress` in host byte order.
int tv_device_intr_clnt_create(VxiClientId client, uint32_t hostAddress, uint16_t hostPort, uint32_t program,
                               uint32_t version, int32_t family);
/// 0, or 6 if there is none.
int tv_device_intr_clnt_destroy();
/// The client has gone: ends its channel, if it has one.
void tv_device_intr_clnt_leave(VxiClientId client);
