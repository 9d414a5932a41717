#pragma once
/// The two bus addresses that a serial flash hangs on: commands go in at one, answers are clocked out at the other.
///
/// Heads and data are in the order of the wire; the bus, which shifts a frame from its last byte, gets them reversed.
/// Results are 0, or -200: the bus failed, an argument was refused, or the chip was busy for too long, which
/// globalErrorHandler is told.

#include <cstddef>
#include <cstdint>
#include <span>

struct FlashLink {
    uint32_t writeSlave, readSlave;
};

inline constexpr size_t flash_headMax = 5;   // command and address
inline constexpr size_t flash_dataMax = 512; // of a page, and of one read of the bus
inline constexpr uint32_t flash_mode = 4;    // SPI mode word of all but one command
inline constexpr uint8_t flash_busyBit = 0;  // of the status register

/// A command with the `addressBytes` low bytes of an address, most significant first.
struct FlashHead {
    FlashHead(uint8_t command, uint32_t address = 0, size_t addressBytes = 0);
    [[nodiscard]] std::span<const uint8_t> bytes() const { return {data, length}; }

    uint8_t data[flash_headMax];
    size_t length;
};

/// Sends a head and up to flash_dataMax bytes behind it, in one transfer.
[[nodiscard]] int flash_send(const FlashLink& link, const FlashHead& head, std::span<const uint8_t> data = {},
                             uint32_t mode = flash_mode);
/// Sends a head and reads what the chip answers, any number of bytes, while it is held selected.
[[nodiscard]] int flash_read(const FlashLink& link, const FlashHead& head, std::span<uint8_t> answer);

/// What the commands of a chip have of their own.
struct FlashKind {
    const char* name;
    const char* pageSizeName;                    // in messages
    const char *pageTimeoutText, *pageErrorText; // as in FlashPatience
    uint8_t program, read;                       // commands
    size_t addressBytes;
};

/// How long an erasure, or whatever the chip is busy with, may take.
struct FlashPatience {
    uint64_t interval_us; // between two looks at the status
    uint64_t limit_us;
    const char* timeoutText; // for globalErrorHandler
    const char* errorOutput; // on standard error as well; may be null
};

// These leave the status register, as last read, in `status`.

/// Waits until the chip is no longer busy.
[[nodiscard]] int flash_awaitEnd(const FlashLink& link, const FlashPatience& patience, uint8_t* status);
[[nodiscard]] int flash_erase(const FlashLink& link, const FlashHead& head, const FlashPatience& patience,
                              uint8_t* status);
/// Clears bits of 1 byte to `pageSize` bytes within a page; other lengths are refused.
[[nodiscard]] int flash_writePage(const FlashLink& link, const FlashKind& kind, uint32_t pageSize, uint32_t address,
                                  std::span<const uint8_t> data, uint8_t* status);
/// The same with any number of bytes from the start of a page on.
[[nodiscard]] int flash_writePages(const FlashLink& link, const FlashKind& kind, uint32_t pageSize, uint32_t address,
                                   std::span<const uint8_t> data, uint8_t* status);

// Commands that both chips know.
inline constexpr uint8_t flash_writeRegister = 0x01, flash_readStatus = 0x05, flash_writeEnable = 0x06,
                         flash_eraseChip = 0xC7;
