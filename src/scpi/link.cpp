#include "scpi/link.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "scpi/execution_cycle.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

scpi_link link_hc, link_file, link_console, link_socket, link_vxiA, link_vxiB, link_usb, link_gpib;
scpi_link* link_list;
Mutex deviceAccessMutex;
WakeWord tvcommDo;

void scpi_link_initAll(scpi_link** head) {
    *head = nullptr;
    tvcommDo.set(1); // whoever comes before the main loop waits for it
    waiting_wakeKeeper = [] { tvcommDo.setAndWake(1); };
}

void scpi_link_init(scpi_link** head, scpi_link* link, int cmdSize, int ansSize, const char* name) {
    link->cmdBuf = static_cast<char*>(calloc(static_cast<size_t>(cmdSize) + 1, 1));
    link->ansBuf = static_cast<char*>(calloc(2 * static_cast<size_t>(ansSize) + linkAnswerMargin, 1));
    if (link->cmdBuf == nullptr || link->ansBuf == nullptr)
        abort(); // start-up on a machine without 3 kB: nothing can be served
    link->cmdSize = cmdSize;
    link->ansSize = ansSize;
    MutexLock access(deviceAccessMutex);
    MutexLock lock(link->bufMutex);
    link->message = {};
    scpi_link_flush(link);
    link->ansMore = 0;
    link->name.fill(0);
    strncpy(link->name.data(), name, link->name.size() - 1);
    scpi_link_resetSettings(link);
    link->queryInterruptOff = 1;
    link->handleRequest.set(0);
    link->clearRequest = 0;
    link->eventRequest = 0;
    link->clientGone = linkClientStays;
    scpi_exec_initBlockDataConfig(&link->bdReceive);
    scpi_exec_initBlockDataConfig(&link->bdSend);
    scpi_exec_bdSend_interruptWith(link, nullptr);
    scpi_exec_bd_clearFragments(link);
    link->next = nullptr;

    scpi_link** tail = head;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = link;
}

void scpi_link_destroy(scpi_link* link) {
    free(link->cmdBuf);
    free(link->ansBuf);
    link->cmdBuf = link->ansBuf = nullptr;
}

void scpi_link_checkLinkList(scpi_link** head) {
    for (scpi_link* link = *head; link != nullptr; link = link->next)
        printd("    at %p link name: <%s>\n", static_cast<void*>(link), link->name.data());
}

int tvcommOpenCmd(scpi_link* link, char** where) {
    link->bufMutex.lock();
    *where = link->cmdBuf + link->cmdLen;
    return link->endMark >= 0 ? 0 : link->cmdSize - link->cmdLen;
}

void tvcommEndCmd(scpi_link* link, int count) {
    if (count > 0)
        link->endMark = link->cmdLen - 1 + count;
}

void tvcommCloseCmd(scpi_link* link, int count) {
    if (count > 0)
        link->cmdLen += std::min(count, link->cmdSize - link->cmdLen);
    link->bufMutex.unlock();
}

int tvcommWriteCmd(scpi_link* link, const char* data, int count) {
    MutexLock lock(link->bufMutex);
    const int taken = std::clamp(count, 0, link->cmdSize - link->cmdLen);
    memcpy(link->cmdBuf + link->cmdLen, data, static_cast<size_t>(taken));
    link->cmdLen += taken;
    return taken;
}

int tvcommPeekAns(scpi_link* link, char** where, int* more) {
    link->bufMutex.lock();
    *where = link->ansBuf + link->ansRead;
    if (more != nullptr)
        *more = link->ansMore;
    return link->ansLen - link->ansRead;
}

int tvcommClearAns(scpi_link* link, int count, int* more) {
    const int cleared = std::clamp(count, 0, link->ansLen - link->ansRead);
    link->ansRead += cleared;
    if (more != nullptr)
        *more = link->ansMore;
    link->bufMutex.unlock();
    return cleared;
}

void scpi_link_doHandle(scpi_link* link) {
    if (link != nullptr)
        link->handleRequest.set(1);
    else
        tvcommDo.setAndWake(1);
}

bool scpi_link_waitHandledFor(scpi_link* link, int milliseconds) {
    if (!scpi_serveLinkHere(link))
        tvcommDo.setAndWake(1);
    return link->handleRequest.waitWhileUntil(1, waiting_moment(waiting_deadline(milliseconds)));
}

void scpi_link_waitHandled(scpi_link* link) {
    if (!scpi_serveLinkHere(link))
        tvcommDo.setAndWake(1);
    link->handleRequest.waitWhile(1);
}

void tvcommEvent(scpi_link* link, int code) {
    if (link == nullptr) {
        scpi_executeNullLinkEvent(code);
        return;
    }
    link->eventRequest = code;
    scpi_link_doHandle(link);
    scpi_link_waitHandled(link);
}

void tvcommFlush(scpi_link* link) {
    openSynchronousDeviceAccess();
    {
        MutexLock lock(link->bufMutex);
        scpi_link_flush(link);
    }
    closeSynchronousDeviceAccess();
}

void tvcommClear(scpi_link* link) {
    printd("tvcommClear()\n");
    link->clearRequest = 1;
    scpi_link_doHandle(link);
    scpi_link_waitHandled(link);
    printd("tvcommClear(): done\n");
}

void scpi_link_clientGone(scpi_link* link) {
    link->clientGone = linkClientGone;
    scpi_exec_interruptBlockDataSend(link);
    tvcommDo.setAndWake(1);
}

void scpi_link_clientMakesRoom(scpi_link* link) {
    if (link->clientGone != linkClientStays)
        return;
    link->clientGone = linkClientMakesRoom;
    tvcommDo.setAndWake(1);
}

void scpi_link_clientStays(scpi_link* link) {
    if (link->clientGone == linkClientMakesRoom)
        link->clientGone = linkClientStays;
}

int scpi_link_flush(scpi_link* link) {
    link->ansRead = link->ansLen = 0;
    link->cmdLen = link->cmdExec = link->cmdScan = 0;
    link->lastComma = link->hashPos = link->endMark = -1;
    if (link->message.waits)
        waiting_leave();
    link->message = {};
    return 1;
}

void scpi_link_resetSettings(scpi_link* link) {
    link->linkFlags = 0;
    link->listParser = nullptr;
    link->listError = 0;
    link->listIndex = 0;
    link->knownHeaders = {};
    link->latestHeader = 0;
    link->storedPath.fill(0);
    link->storedPathPos = link->storedPath.data();
}

namespace {
constexpr uint32_t flagQueryEcho = 1;
}

bool scpi_link_isQueryEchoEnabled(const scpi_link* link) {
    deviceAccessMutex.assertHeld();
    return (link->linkFlags & flagQueryEcho) != 0;
}
void scpi_link_enableQueryEcho(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    link->linkFlags |= flagQueryEcho;
}
void scpi_link_disableQueryEcho(scpi_link* link) {
    deviceAccessMutex.assertHeld();
    link->linkFlags &= ~flagQueryEcho;
}
