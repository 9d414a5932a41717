#pragma once
/// The kernel module that shifts the frames of the SPI bus, pulses the I/O update line and reads pins: the real-time
/// device "tvko". All commands are rt_dev_ioctl requests.
///
/// A frame lies in memory with the least significant byte at the lowest address; the module shifts it from the last
/// byte to the first, and stores what it reads the same way.

#include <cstdint>

inline constexpr const char* tvko_deviceName = "tvko";

enum tvko_request : uint32_t {
    tvko_selectChip = 57352,        // bus address
    tvko_deselectChip = 57353,      // no argument
    tvko_send = 57354,              // tvko_transfer*
    tvko_receive = 57355,           // tvko_transfer*
    tvko_sendList = 57356,          // captured list
    tvko_module0Receive = 57357,    // tvko_module0Transfer*
    tvko_ioUpdate = 57358,          // 0, or the trigger argument
    tvko_triggerPulse = 57361,      // at I/O update: 0 off, 1 or 3 on
    tvko_setBitrateDivider = 57384, // 1 to 255
    tvko_setSelectDelay = 57385,    // 0 to 255
    tvko_timerInit = 57386,         // no argument
    tvko_timerRelease = 57387,      // no argument
    tvko_timerStart = 57388,        // timer record
    tvko_timerStop = 57389,         // no argument
    tvko_timerAllocate = 57390,     // bytes
    tvko_timerFree = 57391,         // no argument
    tvko_timerWrite = 57392,        // tvko_timerData*
};

/// Requests that read a pin into the uint32_t at the argument.
enum tvko_pin : uint32_t {
    tvko_pinStatus = 57363,
    tvko_pinReset = 57365, // or the phase status, as the controller board switches it
    tvko_pinReferenceLock = 57366,
    tvko_pinReferenceLockFiltered = 57367,
};

struct tvko_transfer {
    uint32_t address; // of the chip, 0 to 255
    uint32_t length;  // bytes
    uint32_t mode;    // SPI mode word
    uint32_t board;   // segment of the bus that a read comes from; 0 for a send
    void* data;
};

struct tvko_module0Transfer {
    uintptr_t word0;
    uintptr_t first;
    uintptr_t word2;
    uintptr_t second;
};

struct tvko_timerData {
    uint32_t offset; // bytes
    uint32_t length; // bytes
    const void* data;
};

/// One record of a captured list, followed by `length` bytes of data and padded to a multiple of four bytes.
struct tvko_listRecord {
    uint32_t address; // of a chip, or one of tvko_listOperation
    uint32_t length;
    uint32_t mode;
};

enum tvko_listOperation : uint32_t {
    tvko_listEnd = 256, // this word alone
    tvko_listIoUpdate = 257,
    tvko_listIoUpdateTriggered = 258,
    tvko_listDelay = 259, // data: one word, microseconds
};
