#pragma once
/// The VXI-11 server: ONC RPC over TCP with the core channel on port 1024 and the abort channel on 1025, made known to
/// the machine's port mapper, for two links at most.

#include <cstddef>
#include <cstdint>

inline constexpr size_t vxiStackBytes = 32768; // of each of its threads

/// The threads that serve links. Once, after tv_vxi_link_init.
void vxiServer_startWorkers();
/// Opens the service at `address` (IPv4, network byte order; 0: all interfaces) and runs it. Comes back only if it
/// cannot be had, and then says in a line why VXI-11 is off.
void tv_vxi_link_run(uint32_t address);
/// Waits until the service is there or off, for a second at most: a port mapper may take its time.
void vxiServer_waitUntilSettled();
