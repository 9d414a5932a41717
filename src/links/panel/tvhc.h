#pragma once
/// The front panel's device: a controller of its own with keys and a display. It sends SCPI text as a client, and gets
/// answers on one channel and lines about the instrument's state (hcupdate.h) on another.
///
/// Open until a write or a read fails, and never opened again. Whoever notices the failure lets nobody write any more;
/// the link's thread, which may be waiting for input, closes the device.

#include "base/sync.h"

#include <atomic>
#include <cstddef>

inline constexpr int panelUpdates = 1, panelAnswers = 2; // channels

struct Tvhc {
    std::atomic<bool> open = false;
    int readFd = -1;                    // of the link's thread, once it runs
    int writeFd = -1;                   // open as long as readFd is
    bool stmMode = false;               // the newer panel; settled when it is opened
    Mutex hcMutex;                      // of reads, writes and the channel
    int txPort GUARDED_BY(hcMutex) = 0; // channel set last; 0: none
};

extern Tvhc tvhc;

/// Opens the device and settles which panel it is: the newer one is told so, the older one has to say who it is within
/// two seconds. Tries again every two seconds, `retries` times. Returns 0, or -1 without a panel or with a negative
/// number of retries. Before any other thread uses the panel.
[[nodiscard]] int Tvhc_open(Tvhc* panel, const char* path, int retries);
/// The link's thread, or one before it runs, alone.
void Tvhc_close(Tvhc* panel);
[[nodiscard]] bool Tvhc_connected(const Tvhc* panel);

/// Chooses the channel of the next write, where it is not the last one's. Returns 0, or -1 if the device fails.
[[nodiscard]] int Tvhc_setTxPort(Tvhc* panel, int port) REQUIRES(panel->hcMutex);
/// Waits for input and reads it. Returns the number of bytes; 0 if the panel has gone.
[[nodiscard]] int Tvhc_read(Tvhc* panel, int length, char* buffer);
/// Writes to a channel. Returns 0; -1 if the panel has gone, which the first failure says on the debug channel.
[[nodiscard]] int Tvhc_write(Tvhc* panel, int port, int length, const char* text);
/// One line of an update, from any thread. As above.
[[nodiscard]] int Tvhc_writeAsync(Tvhc* panel, int length, const char* text);
