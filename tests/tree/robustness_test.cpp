/// Every row of the tree, whatever comes: absent slots, senseless parameters, no room for the answer.

#include "fake_instrument.h"
#include "scpi/tree/leaves.h"

#include <cstring>

namespace tree {
namespace {

using namespace scpi;

constexpr unsigned char guardByte = 0xA5;

/// Rows that do something to the machine when they run without parameters.
bool actsOnMachine(const Row& row) {
    const std::string_view header = row.header;
    return header == "SYSTem:RESTart" || header.starts_with("SYSTem:COMMunicate:LAN") ||
           header.starts_with("MEMory:FILE");
}

class Robustness : public Tree {
protected:
    /// Runs the handler of every row in both its forms on its own.
    template <class Check> void forEachForm(Check check) {
        for (const CommandBranch& branch : commandBranches())
            for (const Row& row : branch.rows)
                for (const int mode : {modeQuery, modeSet})
                    if ((row.forms & mode) != 0 && !actsOnMachine(row)) {
                        SCOPED_TRACE(std::string(row.header) + (mode == modeQuery ? "?" : ""));
                        check(row, mode);
                        scpi_exec_cancelBlockDataSend(&link_);
                        link_.listParser = nullptr;
                        notes.clear();
                    }
    }
};
static_assert(static_cast<int>(modeQuery) == static_cast<int>(Q) && static_cast<int>(modeSet) == static_cast<int>(S));

TEST_F(Robustness, AbsentSlotsAreNeverCalled) {
    emptySlots();
    forEachForm([this](const Row& row, int mode) {
        for (const char* parameter : {"", "1", "INT", "ON"}) {
            char cursor[8];
            strcpy(cursor, parameter);
            char answer[256 + linkAnswerMargin] = {};
            Unit unit{.link = &link_, .device = nullptr, .cursor = cursor, .answer = answer, .answerRoom = 256};
            unit.mode = mode;
            Device_unregisteredFunctionCalls = 0;
            row.handler(unit);
            EXPECT_EQ(Device_unregisteredFunctionCalls, 0) << parameter;
        }
    });
}

TEST_F(Robustness, AnswersStayInTheirRoom) {
    text = std::string(listTextSize - 1, '9');
    traceData.assign(4, 1.0F);
    traceBytes = 16;
    forEachForm([this](const Row& row, int mode) {
        for (int room = -2; room < 48; ++room) {
            char cursor[] = "";
            char answer[256];
            memset(answer, guardByte, sizeof answer);
            Unit unit{.link = &link_, .device = nullptr, .cursor = cursor, .answer = answer, .answerRoom = room};
            unit.mode = mode;
            unit.index = 1;
            row.handler(unit);
            EXPECT_LE(unit.answerLength, std::max(room, 0)) << room;
            EXPECT_TRUE(unit.errorCode == 0 || unit.answerLength == 0) << room;
            const size_t written = static_cast<size_t>(std::max(room, 0)) + linkAnswerMargin;
            for (size_t i = written; i < sizeof answer; ++i)
                ASSERT_EQ(static_cast<unsigned char>(answer[i]), guardByte) << room << " at " << i;
        }
    });
}

TEST_F(Robustness, SenselessParametersLeaveTheLinkAlive) {
    const std::string parameters[] = {
        ",",
        ",,",
        "\"",
        "\"\"",
        "\"a",
        "#",
        "#9",
        "1,2,3,4,5,6,7,8,9",
        "-",
        "+.e",
        "1e",
        "nan",
        "-inf",
        "0x10",
        "99999999999999999999999999",
        "\x01\x7f\xff",
        "%s%n",
        "MIN,MAX",
        "?",
        "?1",
        std::string(900, '9'),
        std::string(900, ','),
        std::string(900, '"'),
    };
    for (const CommandBranch& branch : commandBranches())
        for (const Row& row : branch.rows) {
            if (actsOnMachine(row))
                continue;
            std::string header = row.header;
            std::erase_if(header, [](char c) { return c == '[' || c == ']'; });
            for (size_t at; (at = header.find("<n>")) != header.npos;)
                header.replace(at, 3, "2");
            for (const std::string& parameter : parameters) {
                tell(header + " " + parameter);
                tell(header + "? " + parameter);
            }
            errors();
            ASSERT_EQ(tell("*OPC?"), "1\n") << row.header;
        }
}

} // namespace
} // namespace tree
