#include "scpi/program_message.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/parser.h"
#include "scpi/text/ascii.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

/// A byte of text that the scan passes by.
constexpr bool isPlain(char c) {
    return static_cast<unsigned char>(c) >= ' ' && c != ',' && c != '#';
}

// Eight bytes at once, each in its own eight bits.
constexpr uint64_t inEachByte = 0x0101010101010101;

/// Whether any of them is below `least`, which is at most 128.
constexpr bool anyBelow(uint64_t bytes, uint64_t least) {
    return ((bytes - least * inEachByte) & ~bytes & 128 * inEachByte) != 0;
}
constexpr bool anyIs(uint64_t bytes, char c) {
    return anyBelow(bytes ^ static_cast<unsigned char>(c) * inEachByte, 1);
}

/// The first byte of [from, end) that the scan has to look at.
char* passPlain(char* from, const char* end) {
    for (uint64_t bytes; end - from >= ptrdiff_t{sizeof bytes}; from += sizeof bytes) {
        memcpy(&bytes, from, sizeof bytes);
        if (anyBelow(bytes, ' ') || anyIs(bytes, ',') || anyIs(bytes, '#'))
            break;
    }
    while (from < end && scpi::ofChar<isPlain>(*from))
        ++from;
    return from;
}

/// An event that tells that nobody is left at the other end.
bool isGone(int event) {
    return event == linkEventTcpGone || event == linkEventClientGone;
}

void cancelTransfers(scpi_link* link) REQUIRES(deviceAccessMutex) {
    if (scpi_exec_receivingBlockData(link))
        scpi_exec_cancelBlockDataReceive(link);
    if (scpi_exec_sendingBlockData(link))
        scpi_exec_cancelBlockDataSend(link);
    link->listParser = nullptr;
    link->message.skip = false;
}

/// A block that nobody reads: its source need not finish.
void dropBlock(scpi_link* link) REQUIRES(deviceAccessMutex) {
    scpi_exec_interruptBlockDataSend(link);
    scpi_exec_cancelBlockDataSend(link);
}

void dropWait(scpi_link* link) REQUIRES(deviceAccessMutex) {
    waiting_leave();
    link->message.waits = false;
}

/// One pass over one link. Positions are kept here and written back where a transport or the parser looks at them.
class ServicePass {
public:
    ServicePass(scpi_link* link, bool park) : link_(*link), park_(park) {}

    /// Returns the deadline of what the link is left to wait for.
    int64_t run() REQUIRES(deviceAccessMutex) {
        const int64_t deadline = passOver();
        if (deadline == noDeadline) // the buffers are free again before the transport goes on
            link_.handleRequest.setAndWake(0);
        return deadline == noDeadline ? waiting_forEver : deadline;
    }

private:
    static constexpr int64_t noDeadline = -1; // the pass has ended

    int64_t passOver() REQUIRES(deviceAccessMutex) {
        MutexLock buffers(link_.bufMutex);
        if (isToBeCleared())
            return deviceClear();
        if (isGone(link_.eventRequest)) { // what a client that died left is nobody else's
            link_.clientGone = linkClientGone;
            scpi_exec_interruptBlockDataSend(&link_);
            cancelTransfers(&link_);
        }
        moveUnreadAnswersDown();
        len_ = link_.cmdLen;
        exec_ = link_.cmdExec;
        scan_ = link_.cmdScan;
        hash_ = link_.hashPos;
        comma_ = link_.lastComma;
        while (iterate())
            if (isToBeCleared())
                return deviceClear();
        if (link_.message.waits)
            return link_.waiting.deadline_ns;
        end();
        return noDeadline;
    }

    /// What takes a moment only ends before a device clear.
    [[nodiscard]] bool isToBeCleared() const REQUIRES(deviceAccessMutex) {
        return link_.clearRequest != 0 && !(link_.message.waits && link_.waiting.outlivesClient);
    }

    /// One step. False ends the pass.
    bool iterate() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        link_.cmdExec = exec_;
        if (scpi_exec_receivingBlockData(&link_))
            return receiveBlock();
        if (scpi_exec_sendingBlockData(&link_) && link_.clientGone == linkClientGone)
            dropBlock(&link_);
        if (scpi_exec_sendingBlockData(&link_))
            return sendBlock();
        if (link_.message.begun)
            return runMessage();
        const bool block = scanMessage();
        const bool cbufFull = cutFullBuffer(block);
        link_.cmdScan = scan_;
        link_.cmdLen = len_;
        handleEvent(link_.eventRequest.exchange(0));
        const bool continuation = link_.listParser != nullptr && more_ == 0 && len_ == 0;
        if (!cbufFull && scan_ >= len_ && !continuation)
            return false;
        const scpi_message before = link_.message; // the part of this message before a cut
        link_.message = {.begun = true,
                         .block = block,
                         .blockSize = blockSize_,
                         .cut = cbufFull,
                         .skip = before.skip,
                         .continuation = continuation,
                         .lineOpen = before.lineOpen};
        link_.lastComma = comma_ = -1;
        link_.hashPos = hash_ = -1;
        return runMessage();
    }

    void handleEvent(int event) REQUIRES(deviceAccessMutex) {
        if (event == 0)
            return;
        tv_event_handle(&link_, event);
        if (!isGone(event))
            return;
        scpi_link_resetSettings(&link_);
        link_.clientGone = linkClientStays;
    }

    bool receiveBlock() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        link_.cmdLen = len_;
        link_.cmdScan = scan_;
        if (len_ <= scan_)
            return false;
        scan_ += scpi_exec_handleBlockDataReceive(&link_, link_.cmdBuf + exec_, len_ - scan_);
        exec_ = scan_;
        return true;
    }

    bool sendBlock() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        const int room = link_.ansSize - link_.ansLen;
        if (room <= 0) {
            more_ = 1;
            return false;
        }
        const int added = scpi_exec_handleBlockDataSend(&link_, link_.ansBuf + link_.ansLen, room);
        link_.ansLen += added;
        if (added == 0) {
            printd("scpi_execute_link(): chunk is too small, returning to comm layer\n");
            more_ = 1;
            return false;
        }
        return true;
    }

    /// Moves scan_ to the end of the next program message, or to len_. True if it ends at a block header, with scan_ on
    /// the first data byte.
    bool scanMessage() REQUIRES(link_.bufMutex) {
        char* const text = link_.cmdBuf;
        const int plainEnd = link_.endMark >= 0 ? link_.endMark : len_;
        for (; scan_ < len_; ++scan_) {
            if (hash_ < 0) {
                scan_ = static_cast<int>(passPlain(text + scan_, text + plainEnd) - text);
                if (scan_ == len_)
                    break;
            }
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
            else if (c == '#' && !insideQuotes() && scpi_mayOpenBlock(text + exec_, text + scan_))
                hash_ = scan_;
        }
        return false;
    }

    /// Whether a text in quotes, begun in this message, goes on at scan_. Looks at no byte twice.
    bool insideQuotes() {
        if (quotesFrom_ != exec_) {
            quotesFrom_ = quotesUpTo_ = exec_;
            quotes_ = 0;
        }
        quotes_ += std::count(link_.cmdBuf + quotesUpTo_, link_.cmdBuf + scan_, '"');
        quotesUpTo_ = scan_;
        return quotes_ % 2 != 0;
    }

    /// A buffer that is full of text with no end of message, of which nothing has been executed, is cut behind its last
    /// unit that is complete; one that is full of a single unit at its last comma, or at its end without one.
    bool cutFullBuffer(bool block) REQUIRES(deviceAccessMutex, link_.bufMutex) {
        if (block || scan_ < len_ || link_.cmdExec != 0 || len_ != link_.cmdSize)
            return false;
        printd("cbufFull\n");
        const std::string_view text(link_.cmdBuf, static_cast<size_t>(len_));
        if (const size_t separator = text.rfind(';'); separator != std::string_view::npos)
            scan_ = static_cast<int>(separator);
        else if (comma_ >= 0)
            scan_ = comma_;
        link_.hashPos = hash_ = -1;
        return true;
    }

    /// Goes on with the message at hand. False ends the pass, or leaves it waiting.
    bool runMessage() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        const scpi_message message = link_.message;
        const int before = link_.ansLen;
        int overflow = 0;
        if (!settle())
            return false;
        const MessageRun run = message.block ? runUpToBlock(&overflow) : runUnits(&overflow);
        exec_ = link_.cmdExec;
        if (run == MessageRun::waits)
            return true; // it may be over by now
        if (run == MessageRun::paused) {
            more_ = 1;
            return scpi_exec_sendingBlockData(&link_);
        }
        if (message.block &&
            !scpi_exec_receivingBlockData(&link_)) // a block that no command takes is data all the same
            scpi_exec_startBdReceive_nowhere(&link_, message.blockSize);
        if (!message.block && !message.continuation)
            scan_ = std::min(scan_ + 1, len_); // past the terminator
        more_ = (message.continuation && link_.ansLen == before) || overflow > 0 ? 1 : 0;
        exec_ = scan_;
        return true;
    }

    MessageRun runUnits(int* overflow) REQUIRES(deviceAccessMutex, link_.bufMutex) {
        return scpi_execute_linkProgramMessage(&link_, park_, overflow);
    }

    /// The parser sees the header as the text of its last parameter.
    MessageRun runUpToBlock(int* overflow) REQUIRES(deviceAccessMutex, link_.bufMutex) {
        char& firstData = link_.cmdBuf[scan_];
        const char saved = firstData;
        firstData = 0;
        const MessageRun run = runUnits(overflow);
        firstData = saved;
        return run;
    }

    /// Ends the unit that waits if it can. False if it waits on.
    bool settle() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        while (link_.message.waits) {
            if (link_.clientGone != linkClientStays && !link_.waiting.outlivesClient) {
                if (link_.clientGone == linkClientMakesRoom) // it reads on: what follows comes before its time
                    scpi_parser_error(scpi::waitTimedOut);
                dropWait(&link_);
                break;
            }
            const bool over = link_.waiting.isOver(link_.waiting);
            if (!over && (link_.waiting.deadline_ns == waiting_forEver || waiting_now() < link_.waiting.deadline_ns))
                return false;
            scpi_execute_resume(&link_, over);
        }
        return true;
    }

    void moveUnreadAnswersDown() REQUIRES(link_.bufMutex) {
        if (link_.ansRead == 0)
            return;
        const int unread = link_.ansLen - link_.ansRead;
        memmove(link_.ansBuf, link_.ansBuf + link_.ansRead, static_cast<size_t>(unread));
        link_.ansLen = unread;
        link_.ansRead = 0;
    }

    /// An index into the text, after the executed text has gone.
    [[nodiscard]] int moved(int index) const { return index >= exec_ ? index - exec_ : -1; }

    void end() REQUIRES(deviceAccessMutex, link_.bufMutex) {
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

    /// The waiting transport is released by the ordinary pass of the next cycle.
    int64_t deviceClear() REQUIRES(deviceAccessMutex, link_.bufMutex) {
        tv_event_handle(&link_, linkEventDeviceClear);
        cancelTransfers(&link_);
        scpi_link_flush(&link_);
        link_.clearRequest = 0;
        tvcommDo.setAndWake(1);
        return waiting_forEver;
    }

    scpi_link& link_;
    const bool park_;
    int len_ = 0;
    int exec_ = 0;
    int scan_ = 0;
    int hash_ = -1;
    int comma_ = -1;
    int32_t blockSize_ = 0; // of the block whose header ended the scan
    int more_ = 0;
    int quotesFrom_ = -1, quotesUpTo_ = 0; // in this message quotes were counted up to there
    ptrdiff_t quotes_ = 0;
};

} // namespace

void scpi_execute_link(scpi_link* link) {
    if (link->handleRequest.get() != 0)
        ServicePass(link, false).run();
}

int64_t scpi_serveLink(scpi_link* link) {
    return link->handleRequest.get() != 0 ? ServicePass(link, true).run() : waiting_forEver;
}

int tvexecCheckQueryInterrupted(const scpi_link*) {
    return 0;
}
