#pragma once
/// A byte stream from one writing to one reading thread over two halves of memory that the sides take in turn. The
/// writer appends records to the open half; a flip hands the half to the reader as one block.
///
/// A half is free (nothing in it), filling (`pending` bytes) or published (`usage` bytes); only a flip publishes and
/// only DOUBLE_BUFFER_closeRead frees. No lock is taken but that of an event; several writers need one of their own. No
/// operation fails; all sizes are bytes.
///
/// Writing: open, fill up to the free bytes told, close with the bytes used. Reading: wait or poll, open, consume,
/// close.

#include "core/tv_event.h"

#include <array>
#include <atomic>
#include <cstdint>

struct DoubleBufferHalf {
    uint8_t* data; // the owner's memory
    uint32_t size;
    std::atomic<uint32_t> usage; // published; 0: the reader has nothing here
    uint32_t pending;            // written, not yet published; the writer's
};

inline constexpr uint32_t doubleBuffer_flipAlways = 0; // every close that commits data publishes it
inline constexpr uint32_t doubleBuffer_flipNever = 1;  // only a flip publishes, or a blocking open out of room

struct DoubleBuffer {
    std::array<DoubleBufferHalf, 2> buffer;
    std::atomic<uint32_t> readBuffer;  // blocks finished; the lowest bit selects the reader's half
    std::atomic<uint32_t> writeBuffer; // flips; the same for the writer's half
    tv_event readEvent;                // a half has become free
    tv_event writeEvent;               // a half has been published
    uint32_t flipMode;                 // the writer's
    std::atomic<uint32_t> writeOpen;   // between open and close; tells about wrong use only
};

/// Two empty halves of `size` bytes, flip mode always.
void DOUBLE_BUFFER_init(DoubleBuffer* buffer, uint32_t size, void* data0, void* data1);
/// Ends the use; nobody may be inside. The record needs DOUBLE_BUFFER_init before it is used again.
void DOUBLE_BUFFER_release(DoubleBuffer* buffer);

/// Returns the free bytes at `position`: 0 while the reader still has the writer's half.
uint32_t DOUBLE_BUFFER_openWrite(DoubleBuffer* buffer, uint8_t** position);
/// The same with at least `needed` bytes: what is pending is handed over if the rest of the half is too small, so a
/// record never straddles the halves. Waits for the reader as long as it takes; `needed` above the size of a half waits
/// for ever. Returns 0.
int DOUBLE_BUFFER_openWrite_blocking(DoubleBuffer* buffer, uint32_t needed, uint8_t** position);
/// Commits the `count` bytes written since the open. More than there was room for: nothing is committed and the bytes
/// are lost.
void DOUBLE_BUFFER_closeWrite(DoubleBuffer* buffer, uint32_t count);
/// Publishes what is pending; without any, does nothing.
void DOUBLE_BUFFER_flip(DoubleBuffer* buffer);
/// A change to flip mode always publishes at once what is pending.
void DOUBLE_BUFFER_setFlipMode(DoubleBuffer* buffer, uint32_t mode);

/// Returns the bytes of the block at `data`, which stays the reader's until the close; 0 if there is none.
uint32_t DOUBLE_BUFFER_openRead(DoubleBuffer* buffer, uint8_t** data);
/// Frees the half of the block that is there, so only for a block that an open has told: one that was published since
/// is lost. Without a block, does nothing.
void DOUBLE_BUFFER_closeRead(DoubleBuffer* buffer);

/// Waits until a block has been published since the last wait; both halves may have been by then. Returns 0.
int DOUBLE_BUFFER_waitWriteEvent(DoubleBuffer* buffer);
/// Waits until a half has been freed since the last wait. Returns 0.
int DOUBLE_BUFFER_waitReadEvent(DoubleBuffer* buffer);

/// Counters and usage on the debug channel.
void DOUBLE_BUFFER_printInfo(const DoubleBuffer* buffer);
