#pragma once
/// The command tree: rows of commands, and the one walk that knows how headers match.
///
/// A level's nodes are tried in the order of their rows with one cursor that only moves forward: a node that matches
/// moves it on, and if nothing below fits, the walk falls through to the later nodes of the levels above with the
/// cursor where it is. The walk works in place and allocates nothing. It does not try the nodes one by one: each level
/// finds the only node that can match the next word through one hash table over the whole tree.
///
/// Notation of a row's header: nodes joined by ':', the short form in upper case; "<n>" behind a node that may carry a
/// number; "[:NODE]" for nodes at the end that may be left out; a first or middle node in brackets, as in
/// "[SOURce]:POWer" and "TRIGger[:SEQuence]:MODE", is an optional branch. Named nodes of a level stand before its
/// optional ones.

#include "scpi/text/ascii.h"
#include "scpi/unit.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace scpi {

/// A command from before the tree: a prefix of the whole unit. `rest` is the text behind it.
struct OldRow {
    const char* prefix;
    void (*handler)(Unit& unit, char* rest);
    const char* parameters;
    const char* meaning;
};

inline constexpr uint16_t noNode = 0xFFFF;

struct Node {
    std::string_view literal; // the long form; its upper-case start is the short form
    uint8_t shortLength = 0;
    bool indexed = false;  // may carry a numeric suffix
    bool optional = false; // may be left out; then the walk goes on at the same cursor
    uint16_t parent = noNode;
    uint16_t order = 0;               // place among its siblings
    uint16_t optionalBranch = noNode; // optional node with children of its own, among the children
    uint16_t optionalTail = noNode;   // optional node behind all other children
    uint16_t firstChild = noNode;
    uint16_t nextSibling = noNode;
    uint8_t forms = 0; // Forms that it has as a command
    Handler onQuery = nullptr;
    Handler onSet = nullptr;

    [[nodiscard]] constexpr bool isCommand() const { return forms != 0; }
    [[nodiscard]] constexpr bool hasChildren() const { return firstChild != noNode; }
};

/// What CommandTreeStorage lays out; the walk needs no template.
struct CommandTree {
    std::span<const Node> nodes;     // nodes[0] is the root
    std::span<const uint16_t> edges; // open-addressed hash table of node numbers; its size is a power of two
    std::span<const OldRow> oldRows;
};

/// Walks the unit through the tree from its cursor and runs the handler that it ends in. Returns true if the walk ended
/// in a command (whatever its result), false if nothing matched. `unit.link` holds the stored path.
bool commandTree_walk(const CommandTree& tree, Unit& unit);
/// Runs the older form that `text`, a whole unit, begins with. Returns false if there is none.
bool commandTree_runOldForm(const CommandTree& tree, Unit& unit, char* text);

namespace tree_detail {

inline constexpr uint32_t hashStart = 2166136261u;
/// Of a character that is in upper case already.
constexpr uint32_t hashUpper(uint32_t hash, char c) {
    return (hash ^ static_cast<unsigned char>(c)) * 16777619u;
}
/// The place of a word below a parent in a table of `size` (a power of two) entries.
constexpr uint32_t hashPlace(uint32_t hash, uint16_t parent, size_t size) {
    hash ^= uint32_t{parent} * 0x9E3779B1u;
    hash ^= hash >> 15;
    return static_cast<uint32_t>((hash * 0x85EBCA6Bu >> 8) & (size - 1));
}
constexpr uint32_t hashWord(std::string_view word) {
    uint32_t hash = hashStart;
    for (const char c : word)
        hash = hashUpper(hash, toUpper(c));
    return hash;
}
constexpr bool sameWord(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (ofChar<toUpper>(a[i]) != ofChar<toUpper>(b[i]))
            return false;
    return true;
}

} // namespace tree_detail

/// Lays the rows out as nodes and edges. Meant for a constexpr object: a malformed, doubled or unreachable row then
/// stops the build (see `error`).
template <size_t NodeCapacity> class CommandTreeStorage {
    static_assert(NodeCapacity < noNode);

public:
    consteval explicit CommandTreeStorage(std::span<const Row> rows) {
        nodes_[0] = Node{};
        for (const Row& row : rows)
            add(row);
        for (uint16_t i = 1; i < count_; ++i)
            if (error_ == nullptr)
                link(i);
    }

    /// Null for a sound tree, else what is wrong with its rows.
    [[nodiscard]] constexpr const char* error() const { return error_; }
    [[nodiscard]] constexpr size_t size() const { return count_; }
    [[nodiscard]] constexpr CommandTree view(std::span<const OldRow> oldRows) const {
        return {std::span(nodes_).first(count_), edges_, oldRows};
    }

private:
    static constexpr size_t edgeCapacity() {
        size_t size = 1;
        while (size < NodeCapacity * 4)
            size *= 2;
        return size;
    }

    struct Step {
        std::string_view literal;
        bool indexed = false;
        bool optional = false;
    };

    constexpr void fail(const char* why) {
        if (error_ == nullptr)
            error_ = why;
    }

    /// Takes the next node off a header such as "SOURce]:SUPPly<n>:VOLTage" or "[:STATe]".
    constexpr Step nextStep(std::string_view& header) {
        Step step;
        if (header.starts_with('[')) {
            step.optional = true;
            header.remove_prefix(1);
        }
        if (header.starts_with(':'))
            header.remove_prefix(1);
        size_t length = 0;
        while (length < header.size() && header[length] != ':' && header[length] != '[' && header[length] != ']' &&
               header[length] != '<')
            ++length;
        step.literal = header.substr(0, length);
        header.remove_prefix(length);
        if (header.starts_with("<n>")) {
            step.indexed = true;
            header.remove_prefix(3);
        }
        if (step.optional) {
            if (!header.starts_with(']'))
                fail("a bracket is not closed");
            else
                header.remove_prefix(1);
        }
        if (step.literal.empty())
            fail("a header has an empty node");
        return step;
    }

    constexpr void add(const Row& row) {
        std::string_view header = row.header;
        uint16_t at = 0;
        std::array<uint16_t, 8> command{}; // the nodes that the header may end at
        size_t ends = 0;
        while (!header.empty()) {
            const Step step = nextStep(header);
            if (error_ != nullptr)
                return;
            // Brackets at the end of a header: it may end before each of them as well.
            if (step.optional && at != 0 && onlyOptionalLeft(header))
                command[ends++] = at;
            at = child(at, step);
        }
        command[ends++] = at;
        for (size_t i = 0; i < ends; ++i)
            give(nodes_[command[i]], row);
    }

    static constexpr bool onlyOptionalLeft(std::string_view header) {
        bool inside = false;
        for (const char c : header) {
            if (c == '[')
                inside = true;
            else if (!inside)
                return false;
            if (c == ']')
                inside = false;
        }
        return true;
    }

    constexpr void give(Node& node, const Row& row) {
        if (node.forms & row.forms)
            fail("two rows answer the same header in the same form");
        node.forms |= row.forms;
        if (row.forms & Q)
            node.onQuery = row.command.run;
        if (row.forms & S)
            node.onSet = row.command.run;
    }

    constexpr uint16_t child(uint16_t parent, const Step& step) {
        uint16_t last = noNode;
        for (uint16_t i = nodes_[parent].firstChild; i != noNode; i = nodes_[i].nextSibling) {
            const Node& node = nodes_[i];
            if (node.literal == step.literal) {
                if (node.indexed != step.indexed || node.optional != step.optional)
                    fail("a node is written in two ways");
                return i;
            }
            last = i;
        }
        if (count_ == NodeCapacity) {
            fail("more nodes than the tree holds");
            return 0;
        }
        Node& node = nodes_[count_];
        node.literal = step.literal;
        while (node.shortLength < step.literal.size() && !isLower(step.literal[node.shortLength]))
            ++node.shortLength;
        node.indexed = step.indexed;
        node.optional = step.optional;
        node.parent = parent;
        node.order = last == noNode ? uint16_t{0} : static_cast<uint16_t>(nodes_[last].order + 1);
        (last == noNode ? nodes_[parent].firstChild : nodes_[last].nextSibling) = count_;
        return count_++;
    }

    constexpr void link(uint16_t number) {
        const Node& node = nodes_[number];
        Node& parent = nodes_[node.parent];
        if (node.optional) {
            // An optional node with children of its own that are not optional is a branch.
            const bool branch = isBranch(number);
            uint16_t& place = branch ? parent.optionalBranch : parent.optionalTail;
            if (place != noNode)
                fail("two optional nodes on one level");
            place = number;
            if (!branch && node.nextSibling != noNode)
                fail("a row stands behind an optional node and is never reached");
        }
        insertEdge(number, node.literal.substr(0, node.shortLength));
        if (node.shortLength != node.literal.size())
            insertEdge(number, node.literal);
    }

    constexpr bool isBranch(uint16_t number) const {
        for (uint16_t i = nodes_[number].firstChild; i != noNode; i = nodes_[i].nextSibling)
            if (!nodes_[i].optional)
                return true;
        return false;
    }

    constexpr void insertEdge(uint16_t number, std::string_view word) {
        const uint16_t parent = nodes_[number].parent;
        uint32_t place = tree_detail::hashPlace(tree_detail::hashWord(word), parent, edges_.size());
        while (edges_[place] != 0) {
            const Node& other = nodes_[edges_[place]];
            if (other.parent == parent && (tree_detail::sameWord(other.literal, word) ||
                                           tree_detail::sameWord(other.literal.substr(0, other.shortLength), word)))
                fail("two nodes of one level answer to the same word");
            place = (place + 1) & (edges_.size() - 1);
        }
        edges_[place] = number;
    }

    std::array<Node, NodeCapacity> nodes_{};
    std::array<uint16_t, edgeCapacity()> edges_{};
    uint16_t count_ = 1;
    const char* error_ = nullptr;
};

} // namespace scpi
