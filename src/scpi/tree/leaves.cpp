#include "scpi/tree/leaves.h"

#include "base/tvdebug.h"
#include "scpi/block.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/text/keyword.h"
#include "scpi/text/text_format.h"

#include <algorithm>
#include <cstring>

namespace scpi {

bool noParameters(Unit& unit) {
    if (unit.cursor == unit.textEnd && scpi_analyse_cbufFull() == 0) // as nearly always
        return true;
    const int32_t error = scpi_getParameters(unit.cursor, {});
    if (error != 0)
        unit.errorCode = error;
    return error == 0;
}

char* onlyParameter(Unit& unit) {
    char* text = nullptr;
    if (const int32_t error = _scpi_getParameters(unit.cursor, &text); error != 0) {
        unit.errorCode = error;
        return nullptr;
    }
    return text;
}

int upToParameters(Unit& unit, std::span<char*> fields) {
    if (scpi_analyse_cbufFull() != 0) {
        unit.errorCode = queueOverflow;
        return -1;
    }
    size_t taken = 0;
    char* rest = unit.cursor;
    for (int found = 2; found == 2;) {
        char* field = nullptr;
        found = scpi_getNextParameter(rest, &field, &rest);
        if (found == 0 && taken == 0)
            return 0;
        if (found == 0 || *field == 0) {
            unit.errorCode = missingParameter;
            return -1;
        }
        if (taken == fields.size()) {
            unit.errorCode = parameterNotAllowed;
            return -1;
        }
        fields[taken++] = field;
    }
    return static_cast<int>(taken);
}

bool answerHasRoom(Unit& unit, size_t length) {
    const bool fits = unit.answerRoom > 0 && length < static_cast<size_t>(unit.answerRoom);
    unit.answerLength = 0;
    unit.errorCode = fits ? 0 : queryError;
    return fits;
}

void answerQuoted(Unit& unit, const char* text) {
    unit.errorCode = scpi_chararray2str(text, unit.answer, unit.answerRoom, &unit.answerLength);
}

void answerInt(Unit& unit, int32_t value) {
    unit.errorCode = scpi_int2str(value, unit.answer, unit.answerRoom, &unit.answerLength);
}

void answerUint(Unit& unit, uint32_t value) {
    unit.errorCode = scpi_uint2str(value, unit.answer, unit.answerRoom, &unit.answerLength);
}

void answerBinaryBlock(Unit& unit, int bytes, const void* data) {
    unit.errorCode = bytes < 0 ? bytes : 0;
    if (bytes >= 0)
        scpi_exec_startBdSend_memory(unit.link, bytes, data, nullptr, nullptr);
}

void answerBlock(Unit& unit, int bytes, const void* data) {
    answerBinaryBlock(unit, bytes, data);
    if (unit.errorCode == 0)
        unit.errorCode = scpi_exec_bdSend_asciiHeader(unit.link);
}

const Word* wordParameter(Unit& unit, std::span<const Word> words) {
    const char* const text = onlyParameter(unit);
    if (text != nullptr)
        for (const Word& word : words)
            if (scpi_isParam(word.literal, text))
                return &word;
    return nullptr;
}

bool answerWord(Unit& unit, std::span<const Word> words, int32_t code) {
    const auto word = std::ranges::find(words, code, &Word::code);
    if (word == words.end())
        return false;
    answerText(unit, {word->reply});
    return true;
}

namespace {

void answerChoice(Unit& unit, std::span<const Choice> choices) {
    const Choice* remaining = nullptr;
    bool asked = false;
    for (const Choice& choice : choices) {
        if (choice.is != nullptr) {
            asked = asked || isPresent(choice.is);
            if (scpi_isEnumElement(*choice.is, unit.device) != 0)
                return answerText(unit, {choice.reply});
        } else if (remaining == nullptr && choice.set != nullptr) {
            remaining = &choice;
        }
    }
    if (asked && remaining != nullptr)
        answerText(unit, {remaining->reply});
}

} // namespace

const Choice* setChoice(Unit& unit, std::span<const Choice> choices) {
    if (std::ranges::none_of(choices, isPresent<Slot<int(Device*)>>, &Choice::set))
        return nullptr;
    const char* const text = onlyParameter(unit);
    if (text == nullptr)
        return nullptr;
    for (const Choice& choice : choices)
        if (choice.set != nullptr && scpi_isParam(choice.literal, text)) {
            unit.errorCode = scpi_setEnumElement(*choice.set, unit.device);
            return unit.errorCode == 0 ? &choice : nullptr;
        }
    return nullptr;
}

void chooseOrAnswer(Unit& unit, std::span<const Choice> choices) {
    if (unit.mode != modeQuery)
        setChoice(unit, choices);
    else if (noParameters(unit))
        answerChoice(unit, choices);
}

void tellPanel(const Unit& unit, const Slot<int()>& line) {
    if (unit.mode == modeSet && unit.errorCode == 0 && unit.link != &link_hc && line)
        slot_carryOn(line()); // the setting holds whether or not the panel hears of it
}

void runAbsent(Unit&) {}
void runNotDone(Unit&) {
    printd("not yet done!\n");
}

void selectConfiguration(Device* device, int mode) {
    if (Automeasure_config_selectConfiguration)
        slot_carryOn(Automeasure_config_selectConfiguration(device, mode)); // every row names a mode that exists
}

} // namespace scpi
