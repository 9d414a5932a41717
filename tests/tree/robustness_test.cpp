/// Every row of the tree, whatever comes: absent slots, senseless parameters, no room for the answer.

#include "fake_instrument.h"
#include "scpi/block.h"
#include "scpi/execution_cycle.h"
#include "scpi/unit.h"
#include "tests/memory_client.h"

#include <algorithm>
#include <iterator>
#include <random>
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
        Unit unit{&link_, nullptr, cursor.data(), cursor.data() + strlen(cursor.data()), answer.data(), room};
        unit.mode = mode;
        unit.index = 1;
        const MutexLock access(deviceAccessMutex); // as a pass does
        row.command(unit);
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

/// Messages as users and their accidents send them: rows with sense and without, texts, blocks, lists, stray bytes.
class MessageMaker {
public:
    explicit MessageMaker(unsigned seed) : random_(seed) {}

    std::string message() {
        std::string units;
        do
            units += (units.empty() ? "" : ";") + unit();
        while (below(3) == 0);
        return units;
    }
    size_t below(size_t limit) { return random_() % limit; }

private:
    template <class List> const auto& anyOf(const List& list) { return list[below(std::size(list))]; }

    std::string unit() {
        if (below(8) == 0)
            return strayBytes();
        std::string text = below(3) == 0 ? ":" : "";
        text += headerOf(anyOf(rows_), below(2) == 0 ? brackets : allButShortest);
        text += below(2) == 0 ? "?" : "";
        for (size_t count = below(4), i = 0; i < count; ++i)
            text += (i == 0 ? " " : ",") + parameter();
        return text;
    }
    std::string parameter() {
        static constexpr const char* words[] = {"1",    "-2.5e3", "1.5 GHz", "MIN",  "maximum", "ON",    "INT",
                                                "PN",   "O10",    "F",       "#1",   "\"a\"",   "#3x",   "\"#12\"",
                                                "5#12", "",       " ",       "9E99", "x?",      "\"U #2"};
        if (below(6) != 0)
            return anyOf(words);
        if (below(8) == 0)
            return longList();
        const std::string data = strayBytes();
        const std::string size = std::to_string(data.size());
        return "#" + std::to_string(size.size()) + size + data;
    }
    std::string longList() {
        std::string list = "O1";
        for (size_t i = below(100); i > 0; --i)
            list += ",O" + std::to_string(below(1000000000)) + "." + std::to_string(below(1000000000));
        return list;
    }
    std::string strayBytes() {
        static constexpr char bytes[] = "*OPC?\n*IDN?\n;:,#12\"? \t\r\0AO.e\xFF";
        std::string text;
        for (size_t count = below(24); text.size() < count;)
            text += bytes[below(sizeof bytes - 1)];
        return text;
    }

    std::mt19937 random_;
    std::vector<Row> rows_ = harmlessRows();
};

/// Conversations message by message, and the same bytes in pieces that know nothing of messages.
TEST_F(Robustness, PiecesOfAConversationChangeNothingOfIt) {
    struct Outcome {
        std::string answers;
        Notes done;
        Codes codes;
    };
    const auto run = [this](const std::vector<std::string>& lines, size_t piece) {
        Outcome outcome;
        for (const std::string& line : lines) {
            outcome.answers += tell(&link_, line, piece);
            outcome.done.insert(outcome.done.end(), notes.begin(), notes.end());
        }
        outcome.codes = errors();
        MemoryClient(&link_).clear();
        return outcome;
    };
    for (unsigned seed = 0; seed < 600; ++seed) {
        MessageMaker maker(seed);
        std::vector<std::string> lines(12);
        for (std::string& line : lines)
            line = maker.message();
        std::string all;
        for (const std::string& line : lines)
            all += (all.empty() ? "" : "\n") + line;
        run(lines, size); // sets what a conversation leaves set
        const Outcome whole = run(lines, size);
        const size_t piece = 1 + maker.below(seed % 2 == 0 ? 8 : 200);
        const Outcome cut = run({all}, piece);
        SCOPED_TRACE(all + "\nin pieces of " + std::to_string(piece));
        EXPECT_EQ(cut.answers, whole.answers);
        EXPECT_EQ(cut.done, whole.done);
        EXPECT_EQ(cut.codes, whole.codes);
    }
}

} // namespace
} // namespace tree
