#pragma once
/// From the command line to the running instrument.

#include <cstdint>

struct Device;

/// Where clients find the instrument. Set before firmware_start, if at all.
struct NetworkPlace {
    uint32_t address = 0; // IPv4, network byte order, for TCP and discovery; 0: all interfaces
    int port = 18;        // TCP
};
inline NetworkPlace firmware_place;

/// Turns the process into the instrument. One option is taken, if it is the only argument: "-d" detaches from the
/// terminal (unless an init process is the parent), "-v" turns the debug channel on. Returns an exit status only if the
/// process is not to become the instrument: 0 in the parent of a detached one, 1 if detaching failed.
int firmware_start(int argc, char** argv);

/// Brings up the device record, the signal handlers and every link with its thread, and becomes the main loop. Nothing
/// that fails on the way stops it: the part concerned stays silent.
[[noreturn]] void initialize();

/// Makes the folders of the persistent tree that are missing.
void preparePaths();

/// Runs the user's power-on settings on link_file.
void loadDefaultSettings();
