#include "scpi/program_message.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/parser.h"
#include "scpi/text/ascii.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int answerReserve = 2; // bytes of the answer buffer kept for a message's newline and terminator

void endProgramMessage(scpi_link* link) {
    scpi_parser_execute();
    link->storedPath[0] = 0;
    link->storedPathPos = link->storedPath.data();
}

/// An event that tells that nobody is left at the other end.
bool isGone(int event) {
    return event == linkEventTcpGone || event == linkEventUsbGone || event == linkEventGpibGone;
}
bool isArrival(int event) {
    return event == linkEventTcpConnected || event == linkEventUsbConnected || event == linkEventGpibInUse;
}

void cancelTransfers(scpi_link* link) {
    if (scpi_exec_receivingBlockData(link))
        scpi_exec_cancelBlockDataReceive(link);
    if (scpi_exec_sendingBlockData(link))
        scpi_exec_cancelBlockDataSend(link);
    link->listParser = nullptr;
}

/// One pass over one link. Positions are kept here and written back where a transport or the parser looks at them.
class ServicePass {
public:
    explicit ServicePass(scpi_link* link) : link_(*link) {}

    void run() {
        link_.bufMutex.lock();
        if (link_.clearRequest != 0) {
            deviceClear();
            return;
        }
        if (isGone(link_.eventRequest)) { // a block of a client that died is nobody else's
            scpi_exec_interruptBlockDataSend(&link_);
            cancelTransfers(&link_);
            scpi_link_resetSettings(&link_);
        }
        if (isGone(link_.eventRequest) || isArrival(link_.eventRequest))
            link_.clientGone = linkClientStays;
        moveUnreadAnswersDown();
        len_ = link_.cmdLen;
        exec_ = link_.cmdExec;
        scan_ = link_.cmdScan;
        hash_ = link_.hashPos;
        comma_ = link_.lastComma;
        while (iterate()) {
            link_.bufMutex.lock();
            if (link_.clearRequest != 0) {
                deviceClear();
                return;
            }
        }
        end();
    }

private:
    /// One step with bufMutex held on entry and given back. False ends the pass.
    bool iterate() RELEASE(link_.bufMutex) {
        link_.cmdExec = exec_;
        link_.ansLen += added_;
        added_ = 0;
        if (scpi_exec_receivingBlockData(&link_))
            return receiveBlock();
        if (scpi_exec_sendingBlockData(&link_) && link_.clientGone == linkClientGone) {
            scpi_exec_interruptBlockDataSend(&link_);
            scpi_exec_cancelBlockDataSend(&link_);
        }
        if (scpi_exec_sendingBlockData(&link_)) {
            link_.bufMutex.unlock();
            return sendBlock();
        }
        const bool block = scanMessage();
        const bool cbufFull = cutFullBuffer(block);
        link_.cmdScan = scan_;
        link_.cmdLen = len_;
        const int event = link_.eventRequest;
        link_.eventRequest = 0;
        link_.bufMutex.unlock();
        if (event != 0)
            tv_event_handle(&link_, event);
        const bool continuation = link_.listParser != nullptr && more_ == 0 && len_ == 0;
        if (!cbufFull && scan_ >= len_ && !continuation)
            return false;
        runMessage(block, cbufFull, continuation);
        return true;
    }

    bool receiveBlock() RELEASE(link_.bufMutex) {
        link_.cmdLen = len_;
        link_.cmdScan = scan_;
        link_.bufMutex.unlock();
        if (len_ <= scan_)
            return false;
        scan_ += scpi_exec_handleBlockDataReceive(&link_, link_.cmdBuf + exec_, len_ - scan_);
        exec_ = scan_;
        return true;
    }

    bool sendBlock() {
        const int room = link_.ansSize - link_.ansLen;
        if (room <= 0) {
            more_ = 1;
            return false;
        }
        added_ = scpi_exec_handleBlockDataSend(&link_, link_.ansBuf + link_.ansLen, room);
        if (added_ == 0) {
            printd("scpi_execute_link(): chunk is too small, returning to comm layer\n");
            more_ = 1;
            return false;
        }
        return true;
    }

    /// Moves scan_ to the end of the next program message, or to len_. True if it ends at a block header, with scan_ on
    /// the first data byte.
    bool scanMessage() {
        char* const text = link_.cmdBuf;
        for (; scan_ < len_; ++scan_) {
            char& c = text[scan_];
            if (hash_ >= 0) {
                const int length = scan_ - hash_;
                if (tvscpi_isArbitraryBlock(text + hash_, length) == 1 && scan_ != link_.endMark) {
                    blockSize_ = scpi_blockSize(text + hash_);
                    hash_ = -1;
                    return true; // the byte here is data and stays as it is
                }
                if (tvscpi_isArbitraryBlock(text + hash_, length + 1) == 0)
                    hash_ = -1;
            }
            if (c == 0 || scpi::isBlank(c))
                c = ' ';
            if (scan_ == link_.endMark || c == '\n')
                return false;
            if (c == ',')
                comma_ = scan_;
            else if (c == '#' && scpi_mayOpenBlock(text + exec_, text + scan_))
                hash_ = scan_;
        }
        return false;
    }

    /// A buffer that is full of text with no end of message, of which nothing has been executed, is cut at its last
    /// comma, or at its end without one.
    bool cutFullBuffer(bool block) {
        if (block || scan_ < len_ || link_.cmdExec != 0 || len_ != link_.cmdSize)
            return false;
        printd("cbufFull\n");
        if (comma_ >= 0)
            scan_ = comma_;
        link_.hashPos = hash_ = -1;
        return true;
    }

    void runMessage(bool block, bool cbufFull, bool continuation) {
        int overflow = 0;
        if (block) {
            char& firstData = link_.cmdBuf[scan_];
            const char saved = firstData;
            firstData = 0;
            added_ = scpi_execute_linkProgramMessage(&link_, 0, &overflow);
            firstData = saved;
            if (!scpi_exec_receivingBlockData(&link_)) // a block that no command takes is data all the same
                scpi_exec_startBdReceive_nowhere(&link_, blockSize_);
        } else {
            added_ = scpi_execute_linkProgramMessage(&link_, cbufFull ? 1 : 0, &overflow);
            if (!continuation)
                scan_ = std::min(scan_ + 1, len_); // past the terminator
        }
        more_ = continuation && added_ == 0 ? 1 : (overflow > 0 ? 1 : 0);
        comma_ = hash_ = -1;
        exec_ = scan_;
    }

    void moveUnreadAnswersDown() {
        if (link_.ansRead == 0)
            return;
        const int unread = link_.ansLen - link_.ansRead;
        memmove(link_.ansBuf, link_.ansBuf + link_.ansRead, static_cast<size_t>(unread));
        link_.ansLen = unread;
        link_.ansRead = 0;
    }

    /// An index into the text, after the executed text has gone.
    [[nodiscard]] int moved(int index) const { return index >= exec_ ? index - exec_ : -1; }

    void end() {
        {
            MutexLock lock(link_.bufMutex);
            const int left = link_.cmdLen - exec_;
            if (exec_ > 0 && left > 0)
                memmove(link_.cmdBuf, link_.cmdBuf + exec_, static_cast<size_t>(left));
            link_.cmdLen = left;
            link_.cmdScan = scan_ - exec_;
            if (link_.endMark >= 0)
                link_.endMark = moved(link_.endMark);
            link_.lastComma = comma_ >= 0 ? moved(comma_) : -1;
            link_.hashPos = hash_ >= 0 ? moved(hash_) : -1;
            link_.ansMore = more_;
            link_.cmdExec = 0;
        }
        link_.handleRequest.setAndWake(0);
    }

    /// The waiting transport is released by the ordinary pass of the next cycle.
    void deviceClear() RELEASE(link_.bufMutex) {
        tv_event_handle(&link_, linkEventDeviceClear);
        cancelTransfers(&link_);
        scpi_link_flush(&link_);
        link_.clearRequest = 0;
        link_.bufMutex.unlock();
        tvcommDo.set(1);
    }

    scpi_link& link_;
    int len_ = 0;
    int exec_ = 0;
    int scan_ = 0;
    int hash_ = -1;
    int comma_ = -1;
    int32_t blockSize_ = 0; // of the block whose header ended the scan
    int added_ = 0;         // answer bytes of the last iteration
    int more_ = 0;
};

} // namespace

void scpi_execute_link(scpi_link* link) {
    if (link->handleRequest.get() != 0)
        ServicePass(link).run();
}

int scpi_execute_linkProgramMessage(scpi_link* link, int cbufFull, int* overflow) {
    *overflow = 0;
    int pos = link->ansLen;
    bool answered = false;
    int start = link->cmdExec;
    for (int i = start; i <= link->cmdScan; ++i) {
        char* const byte = link->cmdBuf + i;
        const bool last = i == link->cmdScan;
        const bool terminator = *byte == '\n' || *byte == ';' || *byte == 0 || (cbufFull != 0 && last) ||
                                (link->listParser != nullptr && last);
        const bool marked = !terminator && i == link->endMark;
        if (!terminator && !marked)
            continue;

        char* const cut = marked ? byte + 1 : byte; // the byte at the end mark belongs to the unit
        const char saved = *cut;
        *cut = 0;
        const int room = std::max(link->ansSize - answerReserve - pos, 0);
        char* const answer = link->ansBuf + pos;
        const int unitCut = last ? cbufFull : 0; // those before it are whole
        const int result = scpi_parser(link, link->cmdBuf + start, answer, room, unitCut, 0);
        if (marked)
            *cut = saved;

        if (result != 0) {
            const int length = result == 1 && answer[0] == 0 ? 0 : result;
            const int total = length + 1;
            if (answered)
                answer[-1] = ';';
            if (room > total) {
                pos += total;
                link->ansBuf[pos - 1] = '\n';
            } else {
                *overflow = total - room;
                pos += room;
            }
            link->ansBuf[pos] = 0;
            answered = true;
        }
        start = i + 1;
    }
    if (cbufFull != 0)
        scpi_parser_execute(); // what follows still belongs to the message, and starts from its path
    else
        endProgramMessage(link);
    return pos - link->ansLen;
}

int tvexecCheckQueryInterrupted(const scpi_link*) {
    return 0;
}
