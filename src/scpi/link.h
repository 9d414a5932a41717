#pragma once
/// A link is the meeting point of a transport and the engine. A transport owns a thread that moves bytes between its
/// medium and the link's two buffers, through the tvcomm functions alone; a service pass scans the command buffer, runs
/// the parser and fills the answer buffer. A transport goes on when the pass that it has asked for has ended: a
/// rendezvous, not a queue. links/link_thread.cpp is the loop.
///
/// The pass runs on the transport's own thread if the device is free and nobody else waits for it; else the main thread
/// runs it, when it serves all links in their order. So commands run one at a time, and a client that has always more
/// to say lets the others in after each pass.
///
/// A client that leaves while its transport is blocked in scpi_link_waitHandled: whoever notices calls
/// scpi_link_clientGone, on any thread. The transport comes back soon, and then raises its event as always.
///
/// Locks: a transport takes bufMutex alone, and holds it while it reads or writes its medium. Whoever serves takes
/// deviceAccessMutex, then the link's bufMutex for the whole pass.

#include "base/shared.h"
#include "base/sync.h"
#include "base/waiting.h"
#include "device_table/test_set.h"
#include "scpi/block.h"

#include <array>
#include <cstdint>

struct scpi_link;
namespace scpi {
struct Unit;
}

/// Whoever serves links or runs device functions holds it. Outermost lock.
extern Mutex deviceAccessMutex;

/// A continuation that takes the text of the link's next units instead of the command tree: lists longer than a buffer.
/// Returns the length of the answer.
using ListParser = int (*)(scpi_link* link, char* text, char* answer, int answerRoom, int cbufFull);

/// Link event codes, for tv_event_handle.
enum LinkEvent : int32_t {
    linkEventTcpConnected = 1,
    linkEventTcpGone = 2,
    linkEventUsbConnected = 3,
    linkEventUsbGone = 4,
    linkEventGpibInUse = 5,
    linkEventGpibGone = 6,
    linkEventVxiAActive = 7,
    linkEventVxiAIdle = 8,
    linkEventVxiBActive = 9,
    linkEventVxiBIdle = 10,
    linkEventDeviceClear = 11,
    linkEventClientGone = 12, // of a link whose lamp goes by its activity
};

/// How far the client of a link is on its way out.
enum LinkClient : uint32_t {
    linkClientStays = 0,
    linkClientMakesRoom = 1, // it reads its answers and waits for nothing more
    linkClientGone = 2,      // nobody reads any more
};

inline constexpr int storedPathSize = 32;
inline constexpr int linkAnswerMargin = 64; // a formatter may write that far beyond its room; it is never delivered

/// A header that one of the link's last units began with, from the root, and where it led: who polls asks the same
/// again.
struct scpi_knownHeader {
    const void* tree = nullptr;  // whose walk it was; null when none is known
    std::array<char, 48> text{}; // up to the parameters
    uint8_t length = 0;          // of the text, with the NUL that ends a unit without parameters
    uint8_t headerLength = 0;    // the same without that NUL
    uint8_t pathLength = 0;      // of `path`
    int mode = 0;                // scpi::Mode
    int32_t index = 0;           // of the unit
    void (*handler)(scpi::Unit& unit) = nullptr;
    std::array<char, storedPathSize> path{}; // what it leaves as the link's stored path
};

/// The program message that a pass has begun and not ended: it wants room for answers, sends a block, or waits.
struct scpi_message {
    bool begun = false;        // units from cmdExec up to cmdScan have not run yet
    bool block = false;        // it ends at the header of a block, whose data begins at cmdScan
    int32_t blockSize = 0;     // of that block
    bool cut = false;          // a full buffer ends it before its own end: more of it follows
    bool skip = false;         // its first unit is the rest of one that did not fit and has failed
    bool continuation = false; // a list has more to give and there is no text
    bool lineOpen = false;     // its last answer has no newline yet: another one may follow on the line
    bool waits = false;        // its last unit that ran waits, as `waiting` says
    bool echo = false;         // and is a query that gives a line in any case
};

struct scpi_link {
    char* cmdBuf;                         // cmdSize + 1 bytes
    int32_t cmdSize;                      // fixed, like all that has no lock and is no single shared value
    int32_t cmdLen GUARDED_BY(bufMutex);  // bytes now in cmdBuf
    int32_t endMark GUARDED_BY(bufMutex); // last byte of a message that came with an end indicator; -1 when none
    char* ansBuf;                        // 2 * ansSize + linkAnswerMargin bytes: a unit runs only with room for ansSize
    int32_t ansSize;                     // most bytes of one unit's answer, with the newline and an end
    int32_t ansLen GUARDED_BY(bufMutex); // end of the valid answer bytes
    int32_t ansRead GUARDED_BY(bufMutex); // of them taken by the transport
    int32_t ansMore GUARDED_BY(bufMutex); // non-zero: ask for service again, more answer will come
    Mutex bufMutex;                       // of the transport's side of the buffers
    WakeWord handleRequest;               // 1: the transport waits for a service pass
    Shared<int32_t> clearRequest;         // 1: a device clear
    Shared<int32_t> eventRequest;         // LinkEvent, 0 for none; a second event overwrites the first
    Shared<uint32_t> clientGone;          // LinkClient; until the event of a client that has gone
    std::array<char, 33> name;

    int32_t cmdExec GUARDED_BY(deviceAccessMutex);   // first byte not yet executed; 0 between service passes
    int32_t cmdScan GUARDED_BY(deviceAccessMutex);   // the text has been scanned up to here
    int32_t lastComma GUARDED_BY(deviceAccessMutex); // index of the last comma seen; -1 when none
    int32_t hashPos GUARDED_BY(deviceAccessMutex);   // index of a '#' that may open a block header; -1 when none
    scpi_block bdReceive GUARDED_BY(deviceAccessMutex);
    scpi_block bdSend GUARDED_BY(deviceAccessMutex);
    std::array<bd_fragment, bdFragmentMax> bdFragments GUARDED_BY(deviceAccessMutex);
    int32_t bdFragmentCount GUARDED_BY(deviceAccessMutex);
    /// 1, then the length of each fragment in use.
    std::array<uint32_t, 1 + bdFragmentMax> bdSendHeader GUARDED_BY(deviceAccessMutex);
    scpi_message message GUARDED_BY(deviceAccessMutex);
    Waiting waiting GUARDED_BY(deviceAccessMutex); // of message
    ListParser listParser GUARDED_BY(deviceAccessMutex);
    int32_t listError GUARDED_BY(deviceAccessMutex);
    int32_t listIndex GUARDED_BY(deviceAccessMutex); // elements of the list taken or answered so far
    std::array<TestSetDefinition, testSetSize> listEntries GUARDED_BY(deviceAccessMutex); // those of a test set
    /// Short node forms, each with ':' behind it.
    std::array<char, storedPathSize> storedPath GUARDED_BY(deviceAccessMutex);
    char* storedPathPos GUARDED_BY(deviceAccessMutex);
    std::array<scpi_knownHeader, 2> knownHeaders GUARDED_BY(deviceAccessMutex);
    uint32_t latestHeader GUARDED_BY(deviceAccessMutex); // of them
    uint32_t linkFlags GUARDED_BY(deviceAccessMutex);    // bit 0: query echo

    Mutex bdInterruptMutex;
    BdInterruptFunction bdInterrupt GUARDED_BY(bdInterruptMutex); // of bdSend; null when it has none or is idle
    void* bdInterruptArgument GUARDED_BY(bdInterruptMutex);

    int32_t queryInterruptOff; // 1 on every link
    scpi_link* next;
};

/// The links of the process; their order of service is that of scpi_link_init.
extern scpi_link link_hc, link_file, link_console, link_socket, link_vxiA, link_vxiB, link_usb, link_gpib;
extern scpi_link* link_list;

/// 1: somebody waits for the main thread, which sleeps on it; until it has come nobody else begins a pass.
extern WakeWord tvcommDo;

void scpi_link_initAll(scpi_link** head);
/// Takes the buffers from the heap, clears the record and appends the link at the tail of the list. The only time that
/// a link allocates.
void scpi_link_init(scpi_link** head, scpi_link* link, int cmdSize, int ansSize, const char* name);
void scpi_link_destroy(scpi_link* link);
void scpi_link_checkLinkList(scpi_link** head);

/// Gives the place and the room for command bytes; the room is 0 while a message with an end indicator waits. bufMutex
/// stays locked until tvcommCloseCmd.
int tvcommOpenCmd(scpi_link* link, char** where) ACQUIRE(link->bufMutex);
/// Marks the last of the `count` bytes about to be closed as the end of a message. Between open and close.
void tvcommEndCmd(scpi_link* link, int count) REQUIRES(link->bufMutex);
void tvcommCloseCmd(scpi_link* link, int count) RELEASE(link->bufMutex);
/// Copies at most the room; returns the number of bytes copied.
int tvcommWriteCmd(scpi_link* link, const char* data, int count);

/// Gives the unread answer bytes and their number; `more` may be null. bufMutex stays locked until tvcommClearAns.
int tvcommPeekAns(scpi_link* link, char** where, int* more) ACQUIRE(link->bufMutex);
/// Takes `count` bytes off, at most those unread; returns the number taken. `more` may be null.
int tvcommClearAns(scpi_link* link, int count, int* more) RELEASE(link->bufMutex);

/// Asks for a service pass; with null only wakes the main thread.
void scpi_link_doHandle(scpi_link* link);
/// Has the pass run, here or by the main thread, and returns when it has ended.
void scpi_link_waitHandled(scpi_link* link);
/// The same for a time; false if the pass has not ended then. It may be waited for again.
[[nodiscard]] bool scpi_link_waitHandledFor(scpi_link* link, int milliseconds);
/// Has an event handled in order with the text and waits for that; with a null link it is handled here.
void tvcommEvent(scpi_link* link, int code);
/// Drops what a client that has gone has left in the buffers. While no pass is asked for.
void tvcommFlush(scpi_link* link);
/// Device clear: empties the link and cancels its transfers. Waits until that is done.
void tvcommClear(scpi_link* link);
/// The client has gone: what it waits for and blocks that it reads end at once, now and until an event tells of a
/// client that has gone. What else it has sent still runs. Callable from any thread; returns at once
/// and waits for nothing. Called twice, or with nothing under way, it does no harm; it must not come later than the
/// event that tells that this client has gone.
void scpi_link_clientGone(scpi_link* link);
/// The client will send nothing more, and others stand in line behind it: what it waits for ends at once, as above, but
/// its answers and blocks still go to it. Not to be called while another thread calls scpi_link_clientGone.
void scpi_link_clientMakesRoom(scpi_link* link);
/// It stays after all: what it waits for from now on is waited for.
void scpi_link_clientStays(scpi_link* link);
/// Puts back what a client has set for its link, query echo, list and path: it does not outlive the client.
void scpi_link_resetSettings(scpi_link* link) REQUIRES(deviceAccessMutex);
/// Empties both buffers, and with them the message under way. Returns 1.
int scpi_link_flush(scpi_link* link) REQUIRES(deviceAccessMutex, link->bufMutex);

[[nodiscard]] bool scpi_link_isQueryEchoEnabled(const scpi_link* link);
void scpi_link_enableQueryEcho(scpi_link* link);
void scpi_link_disableQueryEcho(scpi_link* link);
