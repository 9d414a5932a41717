#pragma once
/// The nodes of the instrument's buses: node_read and node_write (platform/nodes.h), with bits beside the number of
/// bytes that are asked for and moved. A read waits for bytes; a write may take fewer than it is given.
///
/// A device clear from the bus ends a read or a write, the one under way or else the next, with -ECANCELED; what the
/// driver still held of before is gone then. While one is to come node_waitInput returns -ECANCELED too, as often as it
/// is asked. -EFAULT: the driver has failed.

#include <cstddef>

inline constexpr const char* usbtmc_nodePath = "/dev/usbtmc";
inline constexpr size_t usbtmc_writeGoesOn = 0x40000000; // of a write: the answer goes on with the next one

/// What has been written when the next read begins is an answer, and its last byte goes out with END.
inline constexpr const char* gpib_nodePath = "/dev/gpib";
inline constexpr size_t gpib_readTellsEnd = 0x20000000; // of a read: END is asked for, and came with the last byte
