#pragma once
/// Memory pool of the large measurement buffers. It only grows: what is taken at start-up lives as long as the process.

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr int32_t tvmemBufferSize = 10'000'000; // bytes

/// Returns the address at the pool's fill mark and moves the mark up by `size` bytes; null, with the mark left alone,
/// if that does not fit or is negative. There is no alignment step: callers ask for multiples of their element size.
/// The memory is zero. Start-up thread only.
[[nodiscard]] void* tvmemAlloc(int32_t size);

/// Does nothing: the pool takes nothing back.
void tvmemFree(void* block);

/// Bytes taken so far.
[[nodiscard]] int32_t tvmemAllocated();
