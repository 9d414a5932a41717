#include "scpi/command_tree.h"

#include "base/tvdebug.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/text/ascii.h"
#include "scpi/text/short_text.h"

#include <cstring>

namespace scpi {
namespace {

using namespace tree_detail;

/// A word of a header as the walk sees it: where it stands, its hash, and the same without the digits at its end.
struct Word {
    char* start = nullptr;
    char* end = nullptr;    // its ':', '?', blank or NUL
    char* digits = nullptr; // first of the digits at its end; == end without any
    uint32_t hash = 0;
    uint32_t stemHash = 0; // hash of [start, digits)
};

constexpr bool isTerminator(char c) {
    return c == ':' || c == '?' || c == 0 || isBlank(c);
}

void readWord(char* text, Word& word) {
    while (*text == ' ')
        ++text;
    word.start = text;
    uint32_t hash = hashStart;
    uint32_t stemHash = hashStart;
    char* digits = text;
    for (; !ofChar<isTerminator>(*text); ++text) {
        hash = hashUpper(hash, ofChar<toUpper>(*text));
        if (!isDigit(*text)) {
            digits = text + 1;
            stemHash = hash;
        }
    }
    word.end = text;
    word.digits = digits;
    word.hash = hash;
    word.stemHash = stemHash;
}

/// The mode that a word's terminator gives, and the cursor behind it.
int passTerminator(char*& cursor) {
    switch (*cursor) {
    case ':': ++cursor; return modePath;
    case '?': ++cursor; return modeQuery;
    default:
        while (isBlank(*cursor))
            ++cursor;
        return modeSet;
    }
}

/// The number of a numeric suffix, or -1 if it is none that an instrument counts to.
int64_t suffixValue(const char* digits, const char* end) {
    int64_t value = 0;
    for (; digits != end; ++digits) {
        value = value * 10 + (*digits - '0');
        if (value > INT32_MAX)
            return -1;
    }
    return value;
}

class Walk {
public:
    Walk(const CommandTree& tree, Unit& unit) : tree_(tree), unit_(unit), start_(replaying() ? nullptr : unit.cursor) {}

    /// Tries the children of a node. True when a command was reached and the unit is done.
    bool children(uint16_t parent) {
        const Node& node = tree_.nodes[parent];
        int from = 0; // order of the first child that has not been tried
        while (const uint16_t found = match(parent, from, node.optionalBranch)) {
            if (found == node.optionalBranch) {
                const Branch result = branch(found);
                if (result != Branch::notMine)
                    return true; // a branch that was named keeps the unit, with or without a command
            } else if (enter(found)) {
                return true;
            }
            from = tree_.nodes[found].order + 1;
        }
        return node.optionalTail != noNode && optionalTail(node.optionalTail);
    }

private:
    enum class Branch { done, notMine };

    [[nodiscard]] char* replay() const {
        deviceAccessMutex.assertHeld();
        return unit_.link->storedPathPos;
    }
    [[nodiscard]] bool replaying() const { return *replay() != 0; }
    [[nodiscard]] char* text() const { return replaying() ? replay() : unit_.cursor; }

    /// The node below `parent` whose short or long form is `text`, or 0.
    [[nodiscard]] uint16_t lookUp(uint16_t parent, uint32_t hash, std::string_view text) const {
        const size_t size = tree_.edges.size();
        for (uint32_t place = hashPlace(hash, parent, size); tree_.edges[place] != 0;
             place = (place + 1) & (size - 1)) {
            const Node& node = tree_.nodes[tree_.edges[place]];
            if (node.parent == parent && (text.size() == node.shortLength || text.size() == node.literal.size()) &&
                sameWord(node.literal.substr(0, text.size()), text))
                return tree_.edges[place];
        }
        return 0;
    }

    /// The node below `parent` that the word at hand names, with its suffix in index_, or 0. Replayed words have no
    /// suffix.
    uint16_t namedByWord(uint16_t parent) {
        index_ = noIndex;
        if (word_.end == word_.start)
            return 0;
        const uint16_t whole = lookUp(parent, word_.hash, {word_.start, word_.end});
        if (whole != 0 || word_.digits == word_.end || word_.digits == word_.start || replaying())
            return whole;
        const uint16_t stem = lookUp(parent, word_.stemHash, {word_.start, word_.digits});
        const int64_t value = suffixValue(word_.digits, word_.end);
        if (stem == 0 || !tree_.nodes[stem].indexed || value < 0)
            return 0;
        index_ = static_cast<int32_t>(value);
        return stem;
    }

    /// The first child from order `from` on that the next word names, or `special` if that comes before it; 0 for none.
    uint16_t match(uint16_t parent, int from, uint16_t special) {
        readWord(text(), word_);
        uint16_t found = namedByWord(parent);
        if (found != 0 && (tree_.nodes[found].order < from || tree_.nodes[found].optional))
            found = 0;
        if (special != noNode && tree_.nodes[special].order >= from &&
            (found == 0 || tree_.nodes[special].order < tree_.nodes[found].order))
            return special;
        return found;
    }

    /// Moves the cursor (or the replay of the stored path) past the matched word.
    void take(const Node& node) {
        scpi_link* const link = unit_.link;
        deviceAccessMutex.assertHeld();
        if (replaying()) {
            link->storedPathPos = word_.end;
            unit_.mode = passTerminator(link->storedPathPos);
        } else {
            unit_.cursor = word_.end;
            unit_.mode = passTerminator(unit_.cursor);
            if (unit_.mode == modePath)
                expandStoredPath(node);
        }
        if (node.indexed)
            unit_.index = index_;
    }

    void expandStoredPath(const Node& node) {
        scpi_link* const link = unit_.link;
        deviceAccessMutex.assertHeld();
        char* const end = link->storedPathPos;
        if (end + node.shortLength + 2 > link->storedPath.data() + storedPathSize) {
            printd("scpi_expandStoredPath(): Path too long!");
            return;
        }
        memcpy(end, node.literal.data(), node.shortLength);
        end[node.shortLength] = ':';
        end[node.shortLength + 1] = 0;
        link->storedPathPos = end + node.shortLength + 1;
    }

    bool enter(uint16_t number) {
        const Node& node = tree_.nodes[number];
        take(node);
        const bool complete = unit_.mode == modeQuery || unit_.mode == modeSet;
        if (node.isCommand() && (complete || !node.hasChildren())) {
            run(node);
            return true;
        }
        return node.hasChildren() && children(number);
    }

    /// Runs the command's handler for the form at hand; a form that it does not have leaves the unit's error as it is.
    void run(const Node& node) {
        if (unit_.mode == modeQuery && (node.forms & Q))
            run(node.onQuery);
        else if (unit_.mode == modeSet && (node.forms & S))
            run(node.onSet);
    }

    void run(Handler handler) {
        keep(handler);
        handler(unit_);
    }

    /// Notes where the header has led, if it began at the root and is short. The handler may cut what stands behind it.
    void keep(Handler handler) {
        deviceAccessMutex.assertHeld();
        auto length = static_cast<size_t>(unit_.cursor - start_);
        if (unit_.mode == modeSet && length > 0 && *unit_.cursor == 0)
            ++length;
        scpi_link* const link = unit_.link;
        scpi_knownHeader& known = link->knownHeaders[link->latestHeader];
        if (start_ == nullptr || length > known.text.size())
            return;
        memcpy(known.text.data(), start_, length);
        known.path = link->storedPath;
        known.length = static_cast<uint8_t>(length);
        known.headerLength = static_cast<uint8_t>(unit_.cursor - start_);
        known.pathLength = static_cast<uint8_t>(strlen(known.path.data()));
        known.mode = unit_.mode;
        known.index = unit_.index;
        known.handler = handler;
        known.tree = tree_.nodes.data();
    }

    /// Nodes at the end of a header that may be left out, each in its turn. They keep the unit: with text left that
    /// fits none of them there is no command.
    bool optionalTail(uint16_t number) {
        const Node* node = nullptr;
        for (; number != noNode; number = node->optionalTail) {
            node = &tree_.nodes[number];
            if (unit_.mode != modePath && unit_.mode != modeOptional)
                continue;
            readWord(text(), word_);
            const auto length = static_cast<size_t>(word_.end - word_.start);
            if (length == 0 || lookUp(node->parent, word_.hash, {word_.start, length}) != number)
                continue;
            take(*node);
            if (unit_.mode == modePath)
                unit_.mode = modeOptional;
        }
        run(*node);
        return true;
    }

    Branch branch(uint16_t number) {
        const Node& node = tree_.nodes[number];
        unit_.index = noIndex;
        const bool named = unit_.mode == modePath && namedByWord(node.parent) == number;
        if (named)
            take(node);
        if (children(number) || named)
            return Branch::done;
        return Branch::notMine;
    }

    const CommandTree& tree_;
    Unit& unit_;
    const char* const start_; // of the header; null for one that goes on from a stored path
    Word word_;
    int32_t index_ = noIndex;
};

bool beginsWith(const Unit& unit, const scpi_knownHeader& known) {
    return unit.textEnd - unit.cursor >= known.length - 1 && sameBytes(unit.cursor, known.text.data(), known.length);
}

/// The header that the unit begins with, if it is known; else null.
const scpi_knownHeader* knownHeader(const CommandTree& tree, const Unit& unit) {
    deviceAccessMutex.assertHeld();
    scpi_link* const link = unit.link;
    if (*link->storedPathPos != 0)
        return nullptr;
    const scpi_knownHeader* known = &link->knownHeaders[link->latestHeader];
    if (!beginsWith(unit, *known)) {
        link->latestHeader ^= 1; // if it is not this one either, the next one takes its place
        known = &link->knownHeaders[link->latestHeader];
        if (!beginsWith(unit, *known))
            return nullptr;
    }
    return known->tree == tree.nodes.data() ? known : nullptr;
}

/// What the walk would do.
void runLike(const scpi_knownHeader& known, Unit& unit) {
    deviceAccessMutex.assertHeld();
    scpi_link* const link = unit.link;
    unit.cursor += known.headerLength;
    if (known.mode == modeSet)
        while (isBlank(*unit.cursor))
            ++unit.cursor;
    unit.mode = known.mode;
    unit.index = known.index;
    link->storedPath = known.path;
    link->storedPathPos = link->storedPath.data() + known.pathLength;
    known.handler(unit);
}

[[gnu::noinline]] bool walk(const CommandTree& tree, Unit& unit) {
    return Walk(tree, unit).children(0);
}

} // namespace

bool commandTree_walk(const CommandTree& tree, Unit& unit) {
    const scpi_knownHeader* const known = knownHeader(tree, unit);
    if (known == nullptr)
        return walk(tree, unit);
    runLike(*known, unit);
    return true;
}

bool commandTree_runOldForm(const CommandTree& tree, Unit& unit, char* text) {
    for (const OldRow& row : tree.oldRows) {
        char* rest = nullptr;
        if (scpi_isOldStyleCommand(row.prefix, text, &rest) != 0) {
            row.handler(unit, rest);
            return true;
        }
    }
    return false;
}

} // namespace scpi
