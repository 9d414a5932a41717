#pragma once
/// One message unit on its way through the command tree, and the row of the tree that it ends in.

#include "base/error_codes.h"

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
    char* cursor; // at the parameters once a handler runs; text is cut in place with NULs
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

/// One command. The header is written as in the manual: short form in upper case, [:NODE] for a node that may be left
/// out (last in its path), <n> behind a node that may carry a number. `parameters` and `meaning` are for the manual.
struct Row {
    const char* header;
    Forms forms;
    Handler handler;
    const char* parameters;
    const char* meaning;
};

} // namespace scpi
