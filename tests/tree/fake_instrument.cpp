#include "fake_instrument.h"

#include "scpi/execution_cycle.h"
#include "scpi/text/power_unit.h"
#include "tests/memory_client.h"
#include "tests/slots.h"

#include <cstring>
#include <regex>
#include <sstream>
#include <utility>

namespace tree {
namespace {

std::vector<void (*)()> cleanUp;

template <class Argument>
constexpr bool isTrace = std::is_same_v<Argument, const float**> || std::is_same_v<Argument, const void**>;

template <class Argument>
constexpr bool isText = std::is_same_v<Argument, const char**> || std::is_same_v<Argument, char*>;

/// An argument as it stands in a note. One that the slot is to fill is filled and has no text.
template <class Argument> std::string noted(Argument argument) {
    std::ostringstream out;
    if constexpr (isTrace<Argument>)
        *argument = traceData.data();
    else if constexpr (std::is_same_v<Argument, const char**>)
        *argument = text.c_str();
    else if constexpr (std::is_same_v<Argument, char*>)
        strcpy(argument, text.c_str());
    else if constexpr (std::is_same_v<Argument, const tvfreq*>)
        out << argument->intPart;
    else if constexpr (std::is_same_v<Argument, const TestSetDefinition*>)
        for (; argument->type != testSetEnd; ++argument)
            out << argument->type << ':' << argument->value << ' ';
    else
        out << argument;
    return out.str();
}

template <class Result> Result answer(double number) {
    static std::remove_const_t<std::remove_pointer_t<Result>> value;
    if constexpr (std::is_same_v<Result, const tvfreq*>)
        value.intPart = static_cast<int64_t>(number);
    else if constexpr (std::is_arithmetic_v<decltype(value)>)
        value = static_cast<decltype(value)>(number);
    if constexpr (std::is_pointer_v<Result>)
        return &value;
    else
        return value;
}

struct Kind {
    std::string name;
    bool isReader;
};

Kind introduce(const char* name) {
    const Kind kind{name, std::regex_search(name, std::regex("_get(?!FilteredSamples)|_is|_measureSupply"))};
    const bool isMaximum = std::regex_search(name, std::regex("_getMax|^(?!.*Min).*Max$"));
    results[name] = kind.isReader ? static_cast<double>(cleanUp.size()) + (isMaximum ? 1000 : 0) : 0;
    return kind;
}

void note(const Kind& kind, std::initializer_list<std::string> arguments) {
    std::string list;
    for (const std::string& argument : arguments)
        list += (list.empty() || argument.empty() ? "" : ",") + argument;
    (kind.isReader ? reads : notes).push_back(kind.name + '(' + list + ')');
}

/// Notes its call and gives the slot's result. There are hundreds: what needs no types stands above.
template <auto& slot, class SlotType> struct Fake;
template <auto& slot, class Result, class... Arguments> struct Fake<slot, Slot<Result(Device*, Arguments...)>> {
    inline static Kind kind;

    static Result call(Device*, Arguments... arguments) {
        note(kind, {noted(arguments)...});
        if ((isText<Arguments> || ...))
            return answer<Result>(0);
        return answer<Result>((isTrace<Arguments> || ...) ? traceBytes : results[kind.name]);
    }
};

template <auto& slot> void fake(const char* name) {
    using Calls = Fake<slot, std::remove_reference_t<decltype(slot)>>;
    Calls::kind = introduce(name);
    fill(slot, Calls::call);
    cleanUp.push_back([] { fill.clear(slot); });
}

} // namespace

void emptySlots() {
    for (void (*const empty)() : std::exchange(cleanUp, {}))
        empty();
    results.clear();
    text.clear();
    traceData.clear();
    traceBytes = 0;
}

std::vector<Item> itemsOf(const char* list) {
    static const std::regex form("(\\S+)=([^\\s:]+)(?::(\\S+))?");
    std::vector<Item> items;
    for (std::cregex_iterator at(list, list + strlen(list), form), end; at != end; ++at)
        items.push_back({at->str(1), at->str(2), at->str((*at)[3].matched ? 3 : 1)});
    return items;
}

std::string headerOf(const scpi::Row& row, const char* dropped) {
    return std::regex_replace(std::regex_replace(row.header, std::regex("<n>"), "2"), std::regex(dropped), "");
}

Notes inModeOf(std::string_view header, Notes others) {
    constexpr char modes[] = "SENS:VCO=6 SENS:BB=2 SENS:FREQ=0 SENS:POW=0 CALC:FREQ=0 CALC:POW=0";
    for (const auto& [start, mode, _] : itemsOf(modes))
        if (header.starts_with(start))
            others.insert(others.begin(), "Automeasure_config_selectConfiguration(" + mode + ')');
    return others;
}

Tree::Tree() {
#define SLOT(slot) fake<slot>(#slot);
#include "slots.inc"
#undef SLOT
    fill(Device_getName, [](Device*) -> const char* { return "TVPNX"; });
    fill(Device_getStatusRegisters, [](Device*) { return &registers; });
    fill(Device_getPhaseNoiseFbuffer, [](Device*, uint32_t channel, uint32_t segment, uint16_t** data) {
        static uint16_t samples[2][2] = {{0x6141, 0x6242}, {0x6343, 0x6444}}; // "AaBb", "CcDd"
        *data = samples[channel];
        return segment == 0 ? 4 : segment == 1 ? 2 : 0;
    });
    fill(Device_phaseNoiseSampling_handler, [](Device*, int count, uint32_t offset, char* buffer) {
        for (int i = 0; i < count; ++i)
            buffer[i] = static_cast<char>('a' + (offset + static_cast<uint32_t>(i)) % 26);
        return count;
    });
    deviceStatusRegistersInit(&registers);
    char unit[] = "dBm";
    EXPECT_EQ(scpi_unit_setPowerUnit(unit), 0);
    context_.tree = scpi::commandTree();
    scpi_parser_init(&context_);
    scpi_link_initAll(&link_list);
    scpi_link_init(&link_list, &link_, size, size, "memory");
    scpi_link_init(&link_list, &link_file, size, size, "File");
    scpi_link_init(&link_list, &link_socket, size, size, "TCP");
}

Tree::~Tree() {
    for (scpi_link* link : {&link_, &link_file, &link_socket})
        scpi_link_destroy(link);
    emptySlots();
}

std::string Tree::tell(scpi_link* link, std::string_view line, size_t piece) {
    notes.clear();
    reads.clear();
    return MemoryClient(link).ask(std::string(line) + '\n', piece);
}

Codes Tree::errors() {
    Codes codes;
    char entry[128];
    for (int32_t code, length; !scpi_isErrorQueueEmpty(&context_.errors); codes.push_back(code))
        EXPECT_EQ(0, scpi_popErrorQueue(&context_.errors, &code, entry, sizeof entry, &length));
    return codes;
}

void Tree::converse(std::initializer_list<Exchange> exchanges) {
    for (const auto& [line, answer, codes] : exchanges) {
        EXPECT_EQ(tell(line), answer) << line;
        EXPECT_EQ(errors(), codes) << line;
    }
}

void Tree::refuses(std::initializer_list<std::pair<const char*, int32_t>> lines, std::string_view start) {
    for (const auto& [rest, code] : lines) {
        converse({{std::string(start) + rest, "", {code}}});
        EXPECT_EQ(notes, inModeOf(std::string(start) + rest)) << rest;
    }
}

} // namespace tree
