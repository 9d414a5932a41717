#pragma once
/// The whole command tree over device slots that only take notes. A slot that reads answers a number of its own; a slot
/// that acts is noted with its arguments. Verbs: tell the instrument a line, look at its answer, its errors, its notes.

#include "device/device_fptrs.h"
#include "device/status_registers.h"
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

inline Notes notes; // "Device_setPath(3)" for every slot that acts
inline std::map<std::string, double>
    results;                         // by slot: the number that it answers, or the code that an action ends with
inline std::vector<float> traceData; // what every slot of a trace hands out, traceBytes of it
inline int traceBytes;
inline std::string text; // what the slots of texts hand out
inline DeviceStatusRegisters registers;

inline double resultOf(const char* slot) {
    return results.at(slot);
}

/// Fills all slots that the tree knows, each with a result of its own; a maximum is above 1000, all else below.
void fillSlots();
void emptySlots();

class Tree : public testing::Test {
protected:
    static constexpr int size = 1024; // of both buffers

    Tree();
    ~Tree() override;

    /// Hands a line in on a link and collects the answer.
    std::string tell(scpi_link* link, std::string_view line);
    std::string tell(std::string_view line) { return tell(&link_, line); }
    /// The codes in the error queue, which is empty afterwards.
    Codes errors();
    /// What the slots noted since the last look.
    static Notes done() { return std::exchange(notes, {}); }

    scpi_parser_context context_{};
    scpi_link link_{};
};

/// A line that is to change nothing and end in an error.
struct Refusal {
    const char* line;
    int32_t code;
};

} // namespace tree
