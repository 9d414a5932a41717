#pragma once
/// One message unit on its way through the command tree, and the row of the tree that it ends in.

#include "base/error_codes.h"

#include <concepts>
#include <cstdint>

struct Device;
struct scpi_link;

namespace scpi {

/// What followed the last matched node.
enum Mode : int {
    modeQuery = 1,    // "?"
    modeSet = 2,      // a blank or the end of the unit
    modePath = 3,     // ":"
    modeOptional = 4, // an optional node, then ":"
};

inline constexpr int32_t noIndex = 0x7FFFFFFF; // the node carries no numeric suffix

struct Unit {
    scpi_link* link;
    Device* device;
    char* cursor;        // at the parameters once a handler runs; text is cut in place with NULs
    const char* textEnd; // the NUL behind the whole
    char* answer;
    int32_t answerRoom;
    int32_t answerLength = 0;            // what the handler stored; 1 with answer[0] == 0 is an empty answer
    int32_t errorCode = undefinedHeader; // a handler that runs overwrites it; left alone, the command is absent
    int mode = modePath;
    int32_t index = noIndex; // numeric suffix of the last node that may carry one
    bool quiet = false;      // the unit does not count as activity of its link
};

using Handler = void (*)(Unit& unit);

/// Which headers a row answers: a query ends in '?'. For a form that the row does not have, the command is absent.
enum Forms : uint8_t { Q = 1, S = 2, QS = 3 };

/// What a command takes and what its query answers. `special` is for handlers that are not of a common kind: the
/// reference of the commands describes them in words.
enum class Kind : uint8_t {
    special,
    action,    // nothing; no answer
    number,    // a plain number; nine decimals
    integer,   // a plain number, rounded
    natural,   // the same, from 0 on
    frequency, // a number with a suffix of frequencies; 20 decimals
    power,     // measured; in the unit of powers
    seconds,   // measured; exponential form
    onOff,     // a truth value; 1 or 0
    text,      // in double quotes, both ways
    word,      // one of `words`; one of `replies`
    reading,   // nothing; an integer
    trace,     // nothing; a block of floats
    report,    // nothing; text
    absent,    // a header that this line of instruments does not have
};

/// What a row runs, and what its kind is known to be.
struct Command {
    Handler run = nullptr;
    Kind kind = Kind::special;
    bool hasLimits = false;        // takes MINimum and MAXimum
    const char* replies = nullptr; // of a word, joined by '|'

    constexpr Command() = default;
    constexpr Command(std::convertible_to<Handler> auto handler) : run(handler) {} // a row may name a handler alone
    constexpr Command(Handler handler, Kind what, bool limits = false, const char* answers = nullptr)
        : run(handler), kind(what), hasLimits(limits), replies(answers) {}
    void operator()(Unit& unit) const { run(unit); }
};

/// One command. The header is written as in the manual: short form in upper case, [:NODE] for a node that may be left
/// out (last in its path), <n> behind a node that may carry a number. `parameters` and `meaning` are for the reference:
/// what stands behind the header, and one line that says what the command does.
struct Row {
    const char* header;
    Forms forms;
    Command command;
    const char* parameters;
    const char* meaning;
};

} // namespace scpi
