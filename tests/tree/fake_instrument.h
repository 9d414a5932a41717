#pragma once
/// The whole command tree over device slots that only take notes. A slot that reads answers a number of its own; a slot
/// that acts is noted with its arguments. Verbs: tell the instrument a line, look at its answer, its errors, its notes.

#include "device_table/device_fptrs.h"
#include "device_table/status_registers.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tree {

using Codes = std::vector<int32_t>;
using Notes = std::vector<std::string>;

/// What the slots did since the last line began: "Device_setPath(3)" for each that acts, and for each that reads.
inline Notes notes, reads;
/// By slot: the number that it answers, or the code that an action ends with.
inline std::map<std::string, double> results;
inline std::vector<float> traceData; // what every slot of a trace hands out, traceBytes of it
inline int traceBytes;
inline std::string text; // what the slots of texts hand out
inline DeviceStatusRegisters registers;

/// The items of a list "word=meaning word=meaning:answer"; the answer is the word where the list gives none.
struct Item {
    std::string word, meaning, answer;
};
std::vector<Item> itemsOf(const char* list);

/// A row's header with 2 for <n> and without what the regular expression drops.
inline constexpr char brackets[] = "\\[|\\]", allButShortest[] = "\\[[^\\]]*\\]:?|[a-z]";
std::string headerOf(const scpi::Row& row, const char* dropped = brackets);

void emptySlots();

/// The notes of a command that first selects the configuration of its mode, where its header has one.
Notes inModeOf(std::string_view header, Notes others = {});

/// Fills all slots that the tree knows, each with a result of its own; a maximum is above 1000, all else below 500.
class Tree : public testing::Test {
protected:
    static constexpr int size = 1024; // of both buffers

    Tree();
    ~Tree() override;

    /// Hands a line in on a link, `piece` bytes at a time, and collects the answer.
    std::string tell(scpi_link* link, std::string_view line, size_t piece = size);
    std::string tell(std::string_view line) { return tell(&link_, line); }
    /// The codes in the error queue, which is empty afterwards.
    Codes errors();
    /// Lines, each with its answer and the errors that it leaves.
    struct Exchange {
        std::string line, answer;
        Codes codes = {};
    };
    void converse(std::initializer_list<Exchange> exchanges);
    /// Lines that are to end in their error, without an answer and with nothing done. All begin with `start`.
    void refuses(std::initializer_list<std::pair<const char*, int32_t>> lines, std::string_view start = "");

    scpi_parser_context context_{};
    scpi_link link_{};
};

} // namespace tree
