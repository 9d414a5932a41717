#pragma once
/// The engine on one link in memory, with a handful of commands of its own. Verbs: receive bytes, read replies.

#include "core/tv_event.h"
#include "links/command_file.h"
#include "scpi/command_tree.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parameters.h"
#include "scpi/parser.h"
#include "scpi/text/text_format.h"
#include "scpi/text/text_parse.h"
#include "tests/memory_client.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

using namespace scpi;

inline std::vector<std::string> ran;       // what the handlers saw: header and parameter text
inline std::string blockSource(3000, 'x'); // sent by BLOCk?
inline std::string handlerAnswer = "Tolvane AG,TEST";

inline void answer(Unit& unit, std::string_view text) {
    const auto most = static_cast<size_t>(std::max(unit.answerRoom, 0)) + linkAnswerMargin - 2;
    unit.answerLength = static_cast<int32_t>(text.copy(unit.answer, most));
    unit.errorCode = 0;
}

inline void idn(Unit& unit) {
    unit.errorCode = _scpi_getParameters(unit.cursor);
    if (unit.errorCode == 0)
        answer(unit, handlerAnswer);
}
template <char const* name> void record(Unit& unit) {
    ran.push_back(std::string(name) + (unit.mode == modeQuery ? "?" : "") + "(" + unit.cursor + ")" +
                  (unit.index == noIndex ? "" : std::to_string(unit.index)));
    unit.errorCode = 0;
    if (unit.mode == modeQuery)
        answer(unit, "1");
}
inline void two(Unit& unit) {
    char* first = nullptr;
    char* second = nullptr;
    unit.errorCode = _scpi_getParameters(unit.cursor, &first, &second);
    if (unit.errorCode == 0)
        ran.push_back(std::string("two ") + first + "/" + second);
}
inline void sendBlock(Unit& unit) {
    scpi_exec_startBdSend_memory(unit.link, static_cast<int32_t>(blockSource.size()), blockSource.data(), nullptr,
                                 nullptr);
    unit.errorCode = scpi_exec_bdSend_asciiHeader(unit.link);
}
inline void receiveBlock(Unit& unit) {
    scpi_exec_startBdReceive_file(unit.link, "/tmp/engine-test-block", nullptr, nullptr, unit.cursor);
    unit.errorCode = 0;
}
inline void emptyAnswer(Unit& unit) {
    unit.answer[0] = 0;
    unit.answerLength = 1;
    unit.errorCode = 0;
}
inline int listChunk(scpi_link* link, char* text, char*, int, int cbufFull) {
    deviceAccessMutex.assertHeld();
    link->listParser = listChunk;
    ran.push_back(std::string("list ") + text + (cbufFull ? " ..." : ""));
    if (!cbufFull)
        link->listParser = nullptr;
    return std::string_view(text).find("nonsense") == std::string_view::npos ? 0 : illegalParameterValue;
}
inline void list(Unit& unit) {
    unit.errorCode = listChunk(unit.link, unit.cursor, unit.answer, unit.answerRoom, scpi_analyse_cbufFull());
}

inline constexpr char aver[] = "aver", corr[] = "corr", outp[] = "outp", opc[] = "opc";

inline constexpr Row rows[] = {
    {"*IDN", Q, idn, "", ""},
    {"*OPC", QS, record<opc>, "", ""},
    {"BLOCk", QS, [](Unit& unit) { unit.mode == modeQuery ? sendBlock(unit) : receiveBlock(unit); }, "", ""},
    {"EMPTy", Q, emptyAnswer, "", ""},
    {"LIST", S, list, "", ""},
    {"OUTPut<n>[:STATe]", QS, record<outp>, "", ""},
    {"SENSe:PN:AVERage", QS, record<aver>, "", ""},
    {"SENSe:PN:CORRelation", QS, record<corr>, "", ""},
    {"SENSe:TWO", S, two, "", ""},
};
inline constexpr CommandTreeStorage<64> storage{rows};
static_assert(storage.error() == nullptr);

class Engine : public testing::Test {
protected:
    static constexpr int size = 128; // of both buffers

    Engine() {
        ran.clear();
        handlerAnswer = "Tolvane AG,TEST";
        context_.device = nullptr;
        context_.tree = storage.view({});
        scpi_parser_init(&context_);
        scpi_link_initAll(&link_list);
        scpi_link_init(&link_list, &link_, size, size, "memory");
    }
    ~Engine() override { scpi_link_destroy(&link_); }

    /// Hands bytes in as a transport does, as much at a time as there is room.
    void receive(std::string_view bytes) { replies_ += client_.ask(bytes); }
    /// One service of what the buffer holds.
    void serve() { replies_ += client_.askForAll(); }
    /// False if there is no such file.
    static bool runCommandFile(scpi_link* link, const std::string& path) {
        CommandFile file;
        return link_visit(
            {.link = link, .transport = &commandFileTransport, .medium = &file, .path = path.c_str(), .alone = true});
    }
    bool sendsBlock() {
        MutexLock access(deviceAccessMutex);
        return scpi_exec_sendingBlockData(&link_);
    }
    bool receivesBlock() {
        MutexLock access(deviceAccessMutex);
        return scpi_exec_receivingBlockData(&link_);
    }
    std::string replies() { return std::exchange(replies_, {}); }
    std::string asked(std::string_view line) {
        receive(line);
        return replies();
    }
    /// The codes in the error queue, which is empty afterwards.
    std::vector<int32_t> errors() {
        std::vector<int32_t> codes;
        while (!scpi_isErrorQueueEmpty(&context_.errors)) {
            int32_t code = 0, length = 0;
            char text[128];
            EXPECT_EQ(0, scpi_popErrorQueue(&context_.errors, &code, text, sizeof text, &length));
            codes.push_back(code);
        }
        return codes;
    }
    std::vector<std::string> commands() { return std::exchange(ran, {}); }

    scpi_parser_context context_{};
    scpi_link link_{};
    MemoryClient client_{&link_};
    std::string replies_;
};

using Codes = std::vector<int32_t>;
using Texts = std::vector<std::string>;

} // namespace engine
