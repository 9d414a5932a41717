/// Every row of the tree, whatever comes: absent slots, senseless parameters, no room for the answer.

#include "fake_instrument.h"
#include "scpi/block.h"
#include "scpi/unit.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace tree {
namespace {

using namespace scpi;
using Robustness = Tree;

/// Rows that may run without parameters: those left out do something to the machine.
std::vector<Row> harmlessRows() {
    std::vector<Row> rows;
    for (const CommandBranch& branch : commandBranches())
        std::ranges::copy_if(
            branch.rows, std::back_inserter(rows),
            [](std::string_view header) {
                return header != "SYSTem:RESTart" && !header.starts_with("SYSTem:COMMunicate:LAN") &&
                       !header.starts_with("MEMory:FILE");
            },
            &Row::header);
    return rows;
}

TEST_F(Robustness, HandlersStayInTheirRoomAndNeverCallAbsentSlots) {
    static constexpr char guard = '\xA5';
    text = std::string(listTextSize - 1, '9');
    traceData.assign(4, 1.0F);
    traceBytes = 16;
    Device_unregisteredFunctionCalls = 0;
    const auto run = [this](const Row& row, int mode, const char* parameter, int room) {
        SCOPED_TRACE(std::string(row.header) + (mode == modeQuery ? "? " : " ") + parameter + std::to_string(room));
        std::string cursor = parameter, answer(256, guard);
        Unit unit{&link_, nullptr, cursor.data(), answer.data(), room};
        unit.mode = mode;
        unit.index = 1;
        row.handler(unit);
        scpi_exec_cancelBlockDataSend(&link_);
        link_.listParser = nullptr;
        EXPECT_LE(unit.answerLength, std::max(room, 0));
        EXPECT_TRUE(unit.errorCode == 0 || unit.answerLength == 0);
        EXPECT_EQ(answer.find_first_not_of(guard, static_cast<size_t>(std::max(room, 0) + linkAnswerMargin)),
                  answer.npos);
        EXPECT_EQ(std::exchange(Device_unregisteredFunctionCalls, 0), 0);
    };
    for (const bool isAbsent : {false, true}) {
        if (isAbsent)
            emptySlots();
        for (const Row& row : harmlessRows())
            for (const auto& [mode, form] : {std::pair{modeQuery, Q}, {modeSet, S}})
                for (const char* parameter : {"", "1", "1,2", "1,2,3,4", "INT", "ON"})
                    for (int room = -2; room < 48 && (row.forms & form) != 0; ++room)
                        run(row, mode, parameter, room);
    }
}

TEST_F(Robustness, SenselessParametersLeaveTheLinkAlive) {
    std::istringstream list(", ,, \" \"\" \"a # #9 1,2,3,4,5,6,7,8,9 - +.e 1e nan -inf 0x10 99999999999999999999999999 "
                            "\x01\x7f\xff %s%n MIN,MAX ? ?1");
    std::vector<std::string> parameters{std::istream_iterator<std::string>(list), {}};
    for (const char repeated : {'9', ',', '"'})
        parameters.emplace_back(900, repeated);
    for (const Row& row : harmlessRows()) {
        for (const std::string& parameter : parameters)
            for (const char* form : {" ", "? "})
                tell(headerOf(row) + form + parameter);
        errors();
        ASSERT_EQ(tell("*OPC?"), "1\n") << row.header;
    }
}

} // namespace
} // namespace tree
