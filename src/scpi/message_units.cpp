// The units of one program message: cutting them, running them, joining their answers.
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/program_message.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr bool endsUnit(char c) {
    return c == '\n' || c == ';' || c == 0;
}

/// The first place from `i` on that may end a unit, `limit` at the latest. A newline stands at the end of a message
/// only, and the scan has left no NUL before it.
int passInside(const char* text, int i, int limit) {
    if (i >= limit)
        return i;
    const void* const end = memchr(text + i, ';', static_cast<size_t>(limit - i));
    return end != nullptr ? static_cast<int>(static_cast<const char*>(end) - text) : limit;
}

constexpr int answerReserve = 2; // bytes of a unit's room kept for a newline and an end

void putAnswerByte(scpi_link* link, char byte) REQUIRES(link->bufMutex) {
    link->ansBuf[link->ansLen++] = byte;
}

/// Where the next answer of the line begins: one byte is left for the ';' in front of it.
char* answerPlace(scpi_link* link) REQUIRES(deviceAccessMutex, link->bufMutex) {
    return link->ansBuf + link->ansLen + (link->message.lineOpen ? 1 : 0);
}

int answerRoom(const scpi_link* link) {
    return link->ansSize - answerReserve;
}

/// Joins the answer that the parser has left at answerPlace. Returns how many bytes found no room.
int joinAnswer(scpi_link* link, int result) REQUIRES(deviceAccessMutex, link->bufMutex) {
    if (result == 0)
        return 0;
    const int length = result == 1 && *answerPlace(link) == 0 ? 0 : result;
    const int room = answerRoom(link);
    if (link->message.lineOpen)
        putAnswerByte(link, ';');
    link->ansLen += std::min(length, room);
    link->message.lineOpen = length < room; // else it is cut, and the line with it
    return std::max(length + 1 - room, 0);
}

void endLine(scpi_link* link) REQUIRES(deviceAccessMutex, link->bufMutex) {
    if (link->message.lineOpen)
        putAnswerByte(link, '\n');
    link->message.lineOpen = false;
}

void endProgramMessage(scpi_link* link) REQUIRES(deviceAccessMutex, link->bufMutex) {
    scpi_parser_execute();
    if (link->message.cut) { // what follows goes on with its line, from its path
        link->message = {.skip = link->message.skip, .lineOpen = link->message.lineOpen};
        return;
    }
    endLine(link);
    link->storedPath[0] = 0;
    link->storedPathPos = link->storedPath.data();
    link->message = {};
}

int cutOf(const scpi_link* link) REQUIRES(deviceAccessMutex, link->bufMutex) {
    return link->cmdScan >= link->cmdLen ? unitCutAnywhere : unitCutAtComma;
}

/// Runs the unit that ends at `end`; at the end mark the byte there belongs to the unit. `cut` is the parser's.
int runUnit(scpi_link* link, char* end, bool marked, int cut) REQUIRES(deviceAccessMutex, link->bufMutex) {
    char* const place = marked ? end + 1 : end;
    const char saved = *place;
    *place = 0;
    const int result =
        scpi_parser(link, link->cmdBuf + link->cmdExec, place, answerPlace(link), answerRoom(link), cut, 0);
    if (marked)
        *place = saved;
    return joinAnswer(link, result);
}

/// All of the message that can run now, without what follows its last unit.
MessageRun runUnits(scpi_link* link, int* overflow) REQUIRES(deviceAccessMutex, link->bufMutex) {
    const int mark = link->endMark >= 0 ? link->endMark : link->cmdScan;
    for (int i = link->cmdExec; i <= link->cmdScan; ++i) {
        i = passInside(link->cmdBuf, i, std::min(mark, link->cmdScan));
        const char byte = link->cmdBuf[i];
        const bool last = i == link->cmdScan;
        const bool terminator = endsUnit(byte) || (last && (link->message.cut || link->listParser != nullptr));
        const bool marked = !terminator && i == link->endMark;
        if (!terminator && !marked)
            continue;
        if (link->ansLen > link->ansSize)
            return MessageRun::paused;
        const bool cut = last && link->message.cut && byte != ';';
        if (!link->message.skip)
            *overflow = std::max(*overflow, runUnit(link, link->cmdBuf + i, marked, cut ? cutOf(link) : 0));
        link->message.skip = cut && link->listParser == nullptr; // a list alone takes the rest
        link->cmdExec = i + 1;
        if (link->message.waits)
            return MessageRun::waits;
        if (scpi_exec_sendingBlockData(link)) {
            endLine(link);
            if (!last)
                return MessageRun::paused;
        }
    }
    return MessageRun::done;
}

} // namespace

MessageRun scpi_execute_linkProgramMessage(scpi_link* link, bool park, int* overflow) {
    *overflow = 0;
    MessageRun run;
    {
        const WaitingPlace waiting(park ? &link->waiting : nullptr);
        run = runUnits(link, overflow);
    }
    if (run == MessageRun::done)
        endProgramMessage(link);
    return run;
}

void scpi_execute_resume(scpi_link* link, bool inTime) {
    const WaitingPlace place(&link->waiting);
    joinAnswer(link, scpi_parser_resume(link, answerPlace(link), answerRoom(link), inTime));
}
