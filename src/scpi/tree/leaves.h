#pragma once
/// What makes a row of the command tree one line: handlers of the common kinds as templates over device slots, and the
/// few operations on a message unit that all handlers share.
///
/// A handler runs only what its slots offer. A slot that is not there leaves the unit's error as it came, -113, so the
/// command answers as absent. Slots are tested first, then parameters are taken, then the device is asked: what is
/// wrong with a parameter changes nothing.

#include "device_table/device_fptrs.h"
#include "scpi/nodes.h"
#include "scpi/text/short_text.h"
#include "scpi/unit.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>
#include <type_traits>

namespace scpi {

// Parameters. Each tells in the unit's error what is wrong (-108, -109, -350).

/// True if the unit has no parameters.
[[nodiscard]] bool noParameters(Unit& unit);
/// The only parameter of the unit, or null.
[[nodiscard]] char* onlyParameter(Unit& unit);
/// Takes up to `fields.size()` parameters. Returns their number, or -1.
[[nodiscard]] int upToParameters(Unit& unit, std::span<char*> fields);

// Answers. They set the unit's error to 0, or to -400 with no answer at all if the room is too small.

/// True if a text of that length fits; else there is no answer, and that is the unit's error.
[[nodiscard]] bool answerHasRoom(Unit& unit, size_t length);
/// Joins the pieces. Nothing at all is still an answer: an empty line.
template <std::same_as<std::string_view>... Pieces> void answerTexts(Unit& unit, Pieces... pieces) {
    const size_t length = (pieces.size() + ...);
    if (!answerHasRoom(unit, length))
        return;
    char* at = unit.answer;
    ((at = putText(at, pieces)), ...);
    *at = 0;
    unit.answerLength = length == 0 ? 1 : static_cast<int32_t>(length);
}
inline void answerText(Unit& unit, std::string_view text) {
    answerTexts(unit, text);
}
/// In double quotes.
void answerQuoted(Unit& unit, const char* text);
void answerInt(Unit& unit, int32_t value);
void answerUint(Unit& unit, uint32_t value);
/// Starts a definite-length block "#<digits><length><bytes>" over memory that stays where it is. A negative number of
/// bytes is an error code instead.
void answerBlock(Unit& unit, int bytes, const void* data);
/// The same with the binary framing.
void answerBinaryBlock(Unit& unit, int bytes, const void* data);

// Keywords.

/// A word of a setting that the device knows by a number. `literal` is written like a node of a header; `reply` is what
/// a query answers.
struct Word {
    const char* literal;
    const char* reply;
    int32_t code;
};

/// A word of a setting that has device functions of its own. Without `is` the word is what remains when no other one is
/// true; without `set` it is known and cannot be set.
struct Choice {
    const char* literal;
    const char* reply;
    const Slot<int(Device*)>* is;
    const Slot<int(Device*)>* set;
};

/// The word that the only parameter names, or null: what is wrong with the parameter, or -113 for another word.
[[nodiscard]] const Word* wordParameter(Unit& unit, std::span<const Word> words);
/// Answers the word of a code. False for a code without a word, which leaves the unit alone.
bool answerWord(Unit& unit, std::span<const Word> words, int32_t code);
/// Sets the choice that the only parameter names. Returns it, or null if that failed.
const Choice* setChoice(Unit& unit, std::span<const Choice> choices);
/// Query and set of a setting made of choices.
void chooseOrAnswer(Unit& unit, std::span<const Choice> choices);

/// "INTernal|EXTernal": one member of all rows of a table of words or choices, for the reference.
template <auto& table, auto member> class Joined {
    static constexpr size_t length() {
        size_t sum = 0;
        for (const auto& row : table)
            sum += std::string_view(row.*member).size() + 1;
        return sum;
    }
    static constexpr std::array<char, length()> join() {
        std::array<char, length()> text{};
        auto at = text.begin();
        for (const auto& row : table) {
            for (const char c : std::string_view(row.*member))
                *at++ = c;
            *at++ = '|';
        }
        text.back() = 0;
        return text;
    }

public:
    static constexpr std::array<char, length()> joined = join();
};
template <auto& table> using RowOf = std::remove_cvref_t<decltype(table[0])>;
template <auto& table> inline constexpr const char* wordsOf = Joined<table, &RowOf<table>::literal>::joined.data();
template <auto& table> inline constexpr const char* repliesOf = Joined<table, &RowOf<table>::reply>::joined.data();

// Leaves. Slots are named in the order of the typed nodes: get, set, min, max for numbers; get, enable, disable for
// switches. `absent` stands for a slot that the row does not have.

struct Absent {};
inline constexpr Absent absent{};

template <auto& slot> inline constexpr bool isAbsent = std::is_same_v<std::remove_cvref_t<decltype(slot)>, Absent>;

template <auto& slot> constexpr auto slotOrNull() {
    if constexpr (isAbsent<slot>)
        return nullptr;
    else
        return &slot;
}

template <auto node, auto&... slots> void leaf(Unit& unit) {
    node(unit, {slotOrNull<slots>()...});
}
/// Numbers that name slots for their limits.
template <auto&... slots> inline constexpr bool hasLimits = sizeof...(slots) == 4;

template <auto&... slots>
inline constexpr Command node_freq{leaf<scpi_node_freq, slots...>, Kind::frequency, hasLimits<slots...>};
template <auto&... slots>
inline constexpr Command node_double{leaf<scpi_node_double, slots...>, Kind::number, hasLimits<slots...>};
template <auto&... slots>
inline constexpr Command node_int32{leaf<scpi_node_int32, slots...>, Kind::integer, hasLimits<slots...>};
template <auto&... slots>
inline constexpr Command node_uint32{leaf<scpi_node_uint32, slots...>, Kind::natural, hasLimits<slots...>};
template <auto&... slots> inline constexpr Command node_bool{leaf<scpi_node_bool, slots...>, Kind::onOff};
template <auto&... slots>
inline constexpr Command node_index_double{leaf<scpi_node_index_double, slots...>, Kind::number, hasLimits<slots...>};
template <auto&... slots> inline constexpr Command node_index_bool{leaf<scpi_node_index_bool, slots...>, Kind::onOff};

/// A measured level. No row of the tree sets one, so the unit of a number without a suffix does not matter.
template <auto& get> void runPower(Unit& unit) {
    scpi_node_pow(unit, 0, {.get = &get});
}
template <auto& get> inline constexpr Command node_pow{runPower<get>, Kind::power};

/// A measured time, answered in exponential form.
template <auto& get> void runSeconds(Unit& unit) {
    scpi_node_dblunit(unit, &unitTime, {.get = &get});
}
template <auto& get> inline constexpr Command node_seconds{runSeconds<get>, Kind::seconds};

/// A setting by the name of its row (device_table/fptrs_settings.h): configPN_offsetMin. `inForce` addresses the record
/// in force.
template <const auto& slots, auto access> void runSetting(Unit& unit) {
    if constexpr (requires { (slots.*access).is; })
        scpi_node_bool(unit, {(slots.*access).is, (slots.*access).enable, (slots.*access).disable});
    else if constexpr (std::is_same_v<decltype(&slots), const NumberSetting<int32_t>*>)
        scpi_node_int32(unit, {(slots.*access).get, (slots.*access).set, slots.min, slots.max});
    else
        scpi_node_double(unit, {(slots.*access).get, (slots.*access).set, slots.min, slots.max});
}
constexpr Kind kindOf(const NumberSetting<double>&) {
    return Kind::number;
}
constexpr Kind kindOf(const NumberSetting<int32_t>&) {
    return Kind::integer;
}
constexpr Kind kindOf(const SwitchSetting&) {
    return Kind::onOff;
}
template <const auto& slots, auto access = &std::remove_cvref_t<decltype(slots)>::own>
inline constexpr Command setting{runSetting<slots, access>, kindOf(slots), kindOf(slots) != Kind::onOff};
template <const auto& slots>
inline constexpr Command settingInForce = setting<slots, &std::remove_cvref_t<decltype(slots)>::inForce>;

/// An action without parameters whose result is the error.
template <auto& act> void runAction(Unit& unit) {
    if (act && noParameters(unit))
        unit.errorCode = act(unit.device);
}
template <auto& act> inline constexpr Command action{runAction<act>, Kind::action};

/// An action that takes one unsigned number.
template <auto& act> void runUnsignedAction(Unit& unit) {
    uint32_t value = 0;
    if (!act)
        return;
    if (char* const text = onlyParameter(unit); text != nullptr)
        if (unit.errorCode = scpi_str2uint(text, &value); unit.errorCode == 0)
            unit.errorCode = act(unit.device, value);
}
template <auto& act> inline constexpr Command unsignedAction{runUnsignedAction<act>, Kind::natural};

/// "%d" of a reading.
template <auto& get> void runReading(Unit& unit) {
    if (get && noParameters(unit))
        answerInt(unit, static_cast<int32_t>(get(unit.device)));
}
template <auto& get> inline constexpr Command reading{runReading<get>, Kind::reading};

/// "%d" of a reading of the element that the node's suffix names.
template <auto& get> void runIndexReading(Unit& unit) {
    if (get && noParameters(unit))
        answerInt(unit, static_cast<int32_t>(get(unit.device, static_cast<uint32_t>(unit.index))));
}
template <auto& get> inline constexpr Command indexReading{runIndexReading<get>, Kind::reading};

/// A count that has no limits to ask for: "%d" and one unsigned number.
template <auto& get, auto& set> void runCount(Unit& unit) {
    if (unit.mode == modeQuery)
        runReading<get>(unit);
    else
        runUnsignedAction<set>(unit);
}
template <auto& get, auto& set> inline constexpr Command count{runCount<get, set>, Kind::natural};

/// An array of results.
template <auto& get> void runTrace(Unit& unit) {
    if (!get || !noParameters(unit))
        return;
    const float* data = nullptr;
    const int bytes = get(unit.device, &data);
    answerBlock(unit, bytes, data);
}
template <auto& get> inline constexpr Command trace{runTrace<get>, Kind::trace};

/// A setting that is a word for a number.
template <auto& words, auto& set, auto& get = absent> void runKeyword(Unit& unit) {
    if constexpr (!isAbsent<get>)
        if (unit.mode == modeQuery) {
            if (get && noParameters(unit))
                answerWord(unit, words, get(unit.device));
            return;
        }
    if (set)
        if (const Word* const word = wordParameter(unit, words); word != nullptr)
            unit.errorCode = set(unit.device, word->code);
}
template <auto& words, auto& set, auto& get = absent>
inline constexpr Command keyword{runKeyword<words, set, get>, Kind::word, false,
                                 isAbsent<get> ? nullptr : repliesOf<words>};

/// By its type, as compilers that look for undefined behaviour take no comparison of addresses for a constant.
template <Slot<int(Device*)>* slot> struct Query {};

/// The same for a setting by the name of its row.
template <auto& words, const ChoiceSetting& slots, auto access = &ChoiceSetting::own>
inline constexpr Command settingWord = [] {
    if constexpr (std::is_same_v<Query<(slots.*access).get>, Query<nullptr>>)
        return keyword<words, *(slots.*access).set>;
    else
        return keyword<words, *(slots.*access).set, *(slots.*access).get>;
}();
template <auto& words, const ChoiceSetting& slots>
inline constexpr Command settingWordInForce = settingWord<words, slots, &ChoiceSetting::inForce>;

/// A setting with device functions for each word.
template <auto& choices> void runChoice(Unit& unit) {
    chooseOrAnswer(unit, choices);
}
template <auto& choices> inline constexpr Command choice{runChoice<choices>, Kind::word, false, repliesOf<choices>};

/// A header of other instruments of the line, absent here. Without a row the rest of such a header would be looked for
/// further down the tree.
void runAbsent(Unit& unit);
inline constexpr Command absentHere{runAbsent, Kind::absent};
/// A header that is taken for a later use: a note for developers, and -113.
void runNotDone(Unit& unit);
inline constexpr Command noteNotDone{runNotDone, Kind::absent};

/// Tells the front panel of a setting that was made, by any link but its own: it knows what it has sent.
void tellPanel(const Unit& unit, const Slot<int()>& line);

template <auto& line, auto& command> void runMirrored(Unit& unit) {
    command(unit);
    tellPanel(unit, line);
}
/// A command whose setting the panel shows in `line`.
template <auto& line, auto& command>
inline constexpr Command mirrored = [] {
    Command same = command;
    same.run = runMirrored<line, command>;
    return same;
}();

// Measurement modes, as numbers of the device table.

inline constexpr int modePn = 0;
inline constexpr int modeApn = 1;
inline constexpr int modeBaseband = 2;
inline constexpr int modeTransient = 5;
inline constexpr int modeVco = 6;

/// Makes the functions of the configuration address the one of a mode.
void selectConfiguration(Device* device, int mode);

/// `command` is a Command or a handler.
template <int mode, auto& command> void runInMode(Unit& unit) {
    selectConfiguration(unit.device, mode);
    command(unit);
}
template <int mode, auto& command>
inline constexpr Command inMode = [] {
    Command same = command;
    same.run = runInMode<mode, command>;
    return same;
}();
template <auto& command> inline constexpr Command inPn = inMode<modePn, command>;
template <auto& command> inline constexpr Command inBaseband = inMode<modeBaseband, command>;
template <auto& command> inline constexpr Command inVco = inMode<modeVco, command>;

} // namespace scpi
