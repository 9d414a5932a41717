#pragma once
/// What the chip drivers share.
///
/// Every driver NAME has one shape. The board owns the record, whose first member says where the chip hangs.
///
///   NAME_init(chip, address, board, ...)   enters the chip in the slave list and fills the record. It also sends the
///                                          start values, unless its header says otherwise, so that chip and record
///                                          agree.
///   NAME_set..., NAME_enable... and so on  change the record's shadow of the chip and send it.
///   NAME_printErrMsg(chip, what)           tells of a failure on the error output.
///   NAME_printInfo(chip)                   prints the record on standard output.
///
/// An operation with a result gives 0; scpi::illegalParameterValue for a value that it refuses, and then nothing is
/// changed or sent; or scpi::executionError when the bus has failed. The failure has then been told on the error
/// output, and the shadow keeps the new value, which the next transfer takes along. A board that carries on says so
/// with chip_carryOn. Nothing here is locked; the records of a board belong to whoever may use the board.

#include <cstddef>
#include <cstdint>
#include <initializer_list>

struct ChipBus {
    uint32_t address; // on the bus, see tvspi.h
    uint32_t board;   // bus segment for reads
    uint32_t mode;    // SPI mode word
};

/// Fills the record's first member and enters the chip in the slave list.
void chip_attach(ChipBus* bus, const char* slaveName, uint32_t address, uint32_t board, uint32_t mode);

/// The four lines of a failure; `bus` is the first member of the chip's record.
void chip_printErrMsg(const ChipBus* bus, const char* chipName, const char* what);
/// From now on nobody is told of failures: the process leaves, and its bus before its threads.
void chip_keepQuiet();
/// Heading of NAME_printInfo.
void chip_printInfo(const ChipBus* bus, const char* chipName);

/// Bit of the mode word for chips that take data on the falling edge.
inline constexpr uint32_t chip_clockPhase = 1;

/// A frame of up to 8 bytes, its last bit in bit 0 of `frame`. `modeBits` are ORed into the chip's mode word. Returns 0
/// or -200, told on the error output.
[[nodiscard]] int chip_send(const ChipBus* bus, const char* chipName, uint64_t frame, size_t length,
                            uint32_t modeBits = 0);
/// The same with the bytes as they lie in memory, any number of them.
[[nodiscard]] int chip_sendBytes(const ChipBus* bus, const char* chipName, const uint8_t* bytes, size_t length,
                                 uint32_t modeBits = 0);
/// Reads a frame of up to 8 bytes; its last bit comes in bit 0. Returns 0, or -200 with a frame of 0.
[[nodiscard]] int chip_read(const ChipBus* bus, const char* chipName, size_t length, uint64_t* frame);
/// The same for who carries on with 0.
[[nodiscard]] uint64_t chip_receive(const ChipBus* bus, const char* chipName, size_t length);

/// Result of an operation that takes several steps, each of which was done: the first that is not 0.
constexpr int chip_firstFailure(std::initializer_list<int> results) {
    for (const int result : results)
        if (result != 0)
            return result;
    return 0;
}

/// Takes the result of an operation that nobody waits for: its driver has told a failed transfer on the error output,
/// the shadow keeps what was asked for, and the caller carries on.
constexpr void chip_carryOn(int) {}

/// The first `length` bytes of `frame` as they lie in memory: least significant byte first.
void chip_toMemory(uint64_t frame, uint8_t* bytes, size_t length);
[[nodiscard]] uint64_t chip_fromMemory(const uint8_t* bytes, size_t length);
