#pragma once
/// The serial bus that every chip of every board hangs on, and the pins beside it: the user side of the kernel module
/// "tvko".
///
/// A bus address has 9 bits, and bits above them are ignored; 0 to 255 are chips. A frame lies in memory with the least
/// significant byte at the lowest address and reaches the chip highest byte first. The mode word goes to the module
/// unchanged.
///
/// One mutex serialises all threads, transfer by transfer. A thread may take it for a whole sequence
/// (tvspiLockForThread); the transfers of the others then fail at once. Between tvspi_startCapture and
/// tvspi_stopCapture, sends are gathered in a list for a single pass through the kernel.
///
/// Unless told otherwise an operation returns 0, or -1 when the module refused or is not open. All texts go to the
/// debug channel.

#include <array>
#include <atomic>
#include <cstdint>

/// Handle of the module; negative while it is closed.
extern std::atomic<int> tvkono;

/// Opens the module for this process alone, and sets the start values: bit-rate divider 40, no chips in the slave list,
/// bus not locked, no replacement functions. Returns 0 or the negative value with which it failed; the bus is then
/// closed.
int tvspiOpen();
void tvspiClose();
int tvspiReset();

/// Sends `length` bytes at `data` to a chip, or appends them to the running capture. A request that fails is repeated
/// once.
int tvspiSend(uint32_t address, uint32_t length, uint32_t mode, const void* data);
/// Reads `length` bytes from a chip on the bus segment of `board`; the same retry. Never captured.
int tvspiRecv(uint32_t address, uint32_t board, uint32_t length, uint32_t mode, void* data);
int tvspiSend_async(uint32_t address, uint32_t length, uint32_t mode, const void* data);
int tvspiRecv_async(uint32_t address, uint32_t board, uint32_t length, uint32_t mode, void* data);

/// Replacements for the transfers; null restores the module. They get the address in its 9 bits.
using tvspi_sendFunction = int (*)(uint32_t address, uint32_t length, uint32_t mode, const void* data);
using tvspi_recvFunction = int (*)(uint32_t address, uint32_t board, uint32_t length, uint32_t mode, void* data);
void tvspiRegisterSendFunction(tvspi_sendFunction function);
void tvspiRegisterRecvFunction(tvspi_recvFunction function);

/// Holds a chip's select line over the transfers that follow, until it is let go.
int tvspiSelectChip(uint32_t address);
int tvspiDeselectChip();

/// Value of a pin (platform/tvko.h); the handle itself, which is negative, when the module is not open; -1 when the
/// module refused.
int tvspiReadPinState(uint32_t pin);

/// Out of range, the nearest of 1 to 255 and 0 to 255.
int tvspiSetBitrateDivider(uint32_t value);
int tvspiSetChipSelectDelay(uint32_t value);

/// Receives straight from module 0; the two values go to the module as they are.
int tvspiModule0Recv(uintptr_t first, uintptr_t second);

// Locks.

/// Closes the bus for everybody until tvspiUnlock: transfers give -1.
void tvspiLock();
void tvspiUnlock();

/// Takes the bus for the calling thread until tvspiUnlockForThread. Does not nest: a second call changes nothing, and a
/// release by a thread that does not own the bus does nothing.
void tvspiLockForThread();
void tvspiUnlockForThread();
/// Lets other threads in while a thread owns the bus, and keeps them out again.
void tvspiPauseLockForThread();
void tvspiResumeLockForThread();

/// 1 if a transfer of the calling thread would be let through at this moment, else 0.
int tvspiAccessibleByThread();
/// 1 if a transfer has failed since the last call because another thread owned the bus, else 0.
int tvspiMutexLockFailed();

// Names of chips, by address, for service texts. To be filled at start-up, by one thread.

inline constexpr int tvspi_slaveListSize = 32;
inline constexpr int tvspi_slaveNameSize = 32; // with its NUL
inline constexpr uint32_t tvspi_slaveFree = 0xFFFFFFFF;

struct tvspi_slave {
    uint32_t address; // tvspi_slaveFree: entry not taken
    char name[tvspi_slaveNameSize];
};
extern std::array<tvspi_slave, tvspi_slaveListSize> tvspi_slave_list;

/// Enters a chip with the first 31 characters of its name. A full list stays as it is.
void tvspi_addSlave(uint32_t address, const char* name);
/// The name, or "(unknown)".
const char* tvspi_getSlaveName(uint32_t address);

// Routes. This bus has one, so a chip's shadow registers never become invalid.

uint32_t tvspi_getCurrentAddressRoute();
void tvspi_setCurrentAddressRoute(uint32_t route);
void tvspi_addInvalidationListener(void (*listener)(void*), void* argument);
void tvspi_notifyInvalidationListener();

// Capture.

inline constexpr uint32_t tvspi_captureOverflow = 0xFFFFFFFF;

/// Gathers sends in `buffer` of `size` bytes, which stays the caller's; `mode` 0 gathers only, 1 also sends each at
/// once. Calls nest: inner ones only count. Does nothing during a break.
void tvspi_startCapture(void* buffer, uint32_t size, uint32_t mode);
/// The outermost call ends the capture; the list is then ready for tvspi_sendCapture. Returns 0; -200 during a break or
/// beyond the starts, and nothing changes; -223 if the buffer was too small for any record.
int tvspi_stopCapture();
/// Sends what was gathered and lets transfers through to the bus until tvspi_resumeCapture. Calls nest: inner ones only
/// count. Returns 0; -223 if the buffer was too small for any record; -1 if the bus failed, and the list is lost.
int tvspi_breakCapture();
/// The outermost call goes on with the capture, whose list is empty then. Returns 0, or -200 beyond the breaks.
int tvspi_resumeCapture();
/// Sends a list and empties it, whatever comes of it; the same retry as a transfer. While a capture is running the list
/// is left alone: 0.
int tvspi_sendCapture(void* buffer);
/// Bytes of the list with its end, or tvspi_captureOverflow.
uint32_t tvspi_getCaptureSize();
/// Largest list so far, in bytes.
uint32_t tvspi_getCaptureSizeMax();

/// Appends a transfer, or a list operation (platform/tvko.h), to the running capture. A full list is sent first; a
/// record too large for any list goes straight to the bus. Returns 1 if nothing is left to do, 0 if the caller has to
/// act on the bus himself.
int tvspi_doCapture(uint32_t address, uint32_t length, uint32_t mode, const void* data);

/// Waits, or appends the delay to the running capture. Returns 0 after the wait, 1 without one.
int tvstuff_delay_us_spi(uint32_t microseconds);

// The module's timer. Each gives 0, or -200 on failure.

int tvspi_spiTimerInit();
int tvspi_spiTimerRelease();
/// `record` goes to the module as it is: nine words.
int tvspi_spiTimerStart(const uint32_t* record);
int tvspi_spiTimerStop();
int tvspi_spiTimerAllocmem(uint32_t bytes);
int tvspi_spiTimerFreemem();
/// `nx8` is the transfer mode, of which there is only 0.
int tvspi_spiTimerWritemem(uint32_t offset, uint32_t length, const void* data, uint32_t nx8);
