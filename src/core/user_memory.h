#pragma once
/// The user's part of the persistent tree, /tolvane/cust.

#include <cstdint>

/// Bytes free for the user's files and bytes in use, each 2147483647 at most. Returns 0, or -200 if a figure could not
/// be had; then the outputs are untouched.
[[nodiscard]] int tvstuff_getUserMemoryStats(uint32_t* free, uint32_t* used);

/// Removes all files of the user and makes the empty folders again. Returns 0, or -200 if a folder could not be made.
int tvstuff_deleteUserMemory();

/// Size of the process and amount of locked memory, on the debug channel.
void tvstuff_printMemoryUsage();
