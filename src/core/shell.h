#pragma once
/// Shell commands without the cost of a fork: the process has all of its memory locked, and copying it would stop the
/// instrument for milliseconds.

#include <cstddef>

inline constexpr size_t shellCommandMax = 510; // characters

/// Runs `command` with /bin/sh and waits for it. Returns the wait status of the shell, -1 if the wait failed, or -200
/// if the command is too long or no process could be made. Commands of several threads run one after the other.
int tvstuffSystem(const char* command);

/// Shows `text` on the unit's service terminal.
int tvstuffTTYMessage(const char* text);
