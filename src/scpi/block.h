#pragma once
/// Block data: traces, captures and files that move through a link's buffers piece by piece, one piece an iteration of
/// the link's service pass. A command handler only starts a transfer; the execution cycle drives it to its end.
///
/// Two framings go over the wire, neither with a terminator:
///   ASCII   "#", one digit that counts the length digits, the length digits, the data
///   binary  header size (uint32, little-endian), the header, data size (uint32, little-endian), the data

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

struct scpi_link;

/// Produces (send) or takes (receive) `count` bytes at `offset` of the data. Returns the bytes handled; negative marks
/// a failure, after which the rest of a block on its way out is zeros.
using BdDataFunction = int (*)(void* argument, int count, uint32_t offset, char* buffer);
using BdEndFunction = void (*)(void* argument, const char* fileName);
/// Makes a data function that waits for its source come back at once and fail from then on. Called from any thread.
using BdInterruptFunction = void (*)(void* argument);

enum BdFlags : uint32_t { bdActive = 1u, bdRootFile = 2u, bdTvFile = 4u, bdSourceFailed = 8u };

/// One transfer of one link in one direction.
struct scpi_block {
    uint32_t bdFlags;                   // BdFlags; 0 while idle
    uint32_t bdPosition;                // bytes handled so far, framing included
    uint32_t bdHeaderSize;              // optional header of the binary framing
    int32_t bdDataSize;                 // bytes
    std::array<char, 12> bdAsciiHeader; // "#<n><digits>"; a first byte '#' selects the ASCII framing
    FILE* bdFile;
    BdEndFunction bdEndFunction;
    void* bdEndArgument;
    BdDataFunction bdDataFunction;
    void* bdDataArgument;
    std::array<char, 232> bdFileName;
};

inline constexpr int bdFragmentMax = 8;

struct bd_fragment {
    const void* data;
    int32_t length; // bytes
};

void scpi_exec_initBlockDataConfig(scpi_block* record);
[[nodiscard]] bool scpi_exec_receivingBlockData(const scpi_link* link);
[[nodiscard]] bool scpi_exec_sendingBlockData(const scpi_link* link);

/// The starts below send `dataSize` bytes in binary framing; scpi_exec_bdSend_asciiHeader right after one selects the
/// ASCII framing instead. `endFunction` may be null; it is called when the transfer ends, also by a device clear.
void scpi_exec_startBdSend_handler(scpi_link* link, int32_t dataSize, BdDataFunction dataFunction, void* dataArgument,
                                   BdEndFunction endFunction, void* endArgument);
/// `data` must stay where it is until the transfer has ended.
void scpi_exec_startBdSend_memory(scpi_link* link, int32_t dataSize, const void* data, BdEndFunction endFunction,
                                  void* endArgument);
void scpi_exec_bd_clearFragments(scpi_link* link);
/// Returns 0, or -200 when all bdFragmentMax entries are in use.
[[nodiscard]] int scpi_exec_bd_appendFragment(scpi_link* link, int32_t length, const void* data);
/// Sends the fragments as one block whose binary header holds 1 and each fragment's length.
void scpi_exec_startBdSend_fragmentedMemory(scpi_link* link, BdEndFunction endFunction, void* endArgument);
/// A file that cannot be opened gives a transfer of size 0.
void scpi_exec_startBdSend_file(scpi_link* link, const char* path, BdEndFunction endFunction, void* endArgument);
/// Returns 0, or -200 if a binary header is in use (fragmented transfer).
int scpi_exec_bdSend_asciiHeader(scpi_link* link);
/// Right after a start, for a source that may let its reader wait: what ends that when nobody wants the block any more.
/// It is given the data function's argument.
void scpi_exec_bdSend_interruptWith(scpi_link* link, BdInterruptFunction interrupt);
/// Receives a block into a file. `headerText` is the "#<n><digits>" that the execution cycle found, or empty for the
/// binary framing. Data for a file that cannot be opened is consumed and dropped.
void scpi_exec_startBdReceive_file(scpi_link* link, const char* path, BdEndFunction endFunction, void* endArgument,
                                   const char* headerText);
/// Receives the `dataSize` bytes of a block that nobody wants and drops them.
void scpi_exec_startBdReceive_nowhere(scpi_link* link, int32_t dataSize);

/// One piece. Both return the number of bytes handled.
int scpi_exec_handleBlockDataSend(scpi_link* link, char* buffer, int room);
int scpi_exec_handleBlockDataReceive(scpi_link* link, const char* data, int count);

void scpi_exec_stopBlockDataSend(scpi_link* link);
void scpi_exec_stopBlockDataReceive(scpi_link* link);
/// Interrupts the source of a block on its way out. Callable from any thread; ends nothing by itself.
void scpi_exec_interruptBlockDataSend(scpi_link* link);
/// Reads off the rest of the source, so that a streaming producer finishes, then stops. Of a source that was
/// interrupted nothing more is awaited.
void scpi_exec_cancelBlockDataSend(scpi_link* link);
void scpi_exec_cancelBlockDataReceive(scpi_link* link);
