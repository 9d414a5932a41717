#pragma once
/// The process as the firmware's own services see it.

#include <sys/types.h>

struct Device;

/// The instrument, where no device argument is at hand. Null until start-up has made it.
extern Device* debug_device;

/// Process id, taken at start-up.
extern pid_t pid;
