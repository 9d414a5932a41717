#include "scpi/parser.h"

#include "base/tvdebug.h"
#include "core/tv_event.h"
#include "device_table/device_fptrs.h"
#include "scpi/link.h"
#include "scpi/parameters.h"

#include <cstring>

scpi_parser_context* parser;

namespace {

/// True for a unit that starts at the root.
bool scpi_checkForAbsolutePath(char** cursor) {
    char* text = *cursor;
    while (*text == ' ')
        ++text;
    if (*text != ':')
        return false;
    *cursor = text + 1;
    return true;
}

/// Sets for the time of a unit what happens to errors: ignored for one nested in a unit whose errors are.
class ErrorScope {
public:
    explicit ErrorScope(bool ignore) : outer_(parser->ignoreErrors) { parser->ignoreErrors = outer_ || ignore; }
    ~ErrorScope() { parser->ignoreErrors = outer_; }
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

private:
    bool outer_;
};

/// What follows the handler of every unit.
void conclude(scpi::Unit& unit, bool echo) {
    if (hardware_refusedCalls != 0) { // the hardware belongs to a run
        unit.answerLength = 0;
        unit.errorCode = scpi::settingsConflict;
    }
    if (echo && unit.answerLength == 0 && !scpi_exec_sendingBlockData(unit.link)) {
        unit.answer[0] = 0;
        unit.answerLength = 1;
    }
    if (unit.errorCode == 0 && Device_lastDeviceError)
        unit.errorCode = Device_lastDeviceError(parser->device);
    if (unit.errorCode != 0)
        scpi_parser_error(unit.errorCode);
}

} // namespace

void scpi_parser_init(scpi_parser_context* context) {
    scpi_initErrorQueue(&context->errors);
    parser = context;
}

void scpi_parser_error(int32_t code) {
    if (!parser->ignoreErrors)
        scpi_pushErrorQueue(code, &parser->errors);
    else if (code != 0)
        printd("scpi_parser(): ignoring errors\n");
}

void scpi_parser_execute() {
    if (Device_execute)
        scpi_parser_error(Device_execute(parser->device));
}

int scpi_parser(scpi_link* link, char* unitText, char* answer, int answerRoom, int cbufFull, int ignoreErrors) {
    return scpi_parser(link, unitText, unitText + strlen(unitText), answer, answerRoom, cbufFull, ignoreErrors);
}

int scpi_parser(scpi_link* link, char* unitText, const char* unitEnd, char* answer, int answerRoom, int cbufFull,
                int ignoreErrors) {
    const ErrorScope errors(ignoreErrors != 0);
    if (link->listParser != nullptr)
        return link->listParser(link, unitText, answer, answerRoom, cbufFull);

    scpi_analyse_setCbufFull(cbufFull);
    Device_unregisteredFunctionCalls = 0;
    hardware_refusedCalls = 0;
    answer[0] = 0;
    scpi::Unit unit{.link = link,
                    .device = parser->device,
                    .cursor = unitText,
                    .textEnd = unitEnd,
                    .answer = answer,
                    .answerRoom = answerRoom};

    const bool absolute = scpi_checkForAbsolutePath(&unit.cursor);
    const bool empty = !absolute && scpi_isEmptyCommand(unit.cursor);
    if (absolute || empty)
        link->storedPath[0] = 0;
    link->storedPathPos = link->storedPath.data();

    if (empty)
        unit.errorCode = 0;
    else if (!scpi::commandTree_walk(parser->tree, unit))
        scpi::commandTree_runOldForm(parser->tree, unit, unitText);

    const bool echo = scpi_link_isQueryEchoEnabled(link) && scpi_isQuery(unitText);
    if (unit.errorCode == waiting_result) {
        link->message.waits = true;
        link->message.echo = echo;
    } else {
        conclude(unit, echo);
    }
    if (Device_unregisteredFunctionCalls > 0) {
        printd("scpi_parser(): %d unregistered device function calls on command <%s>\n",
               Device_unregisteredFunctionCalls, unitText);
        Device_unregisteredFunctionCalls = 0;
    }
    if (!empty && !unit.quiet)
        tv_event_indicateLinkActivity(link);
    return unit.answerLength;
}

int scpi_parser_resume(scpi_link* link, char* answer, int answerRoom, bool inTime) {
    waiting_leave();
    link->message.waits = false;
    hardware_refusedCalls = 0;
    answer[0] = 0;
    scpi::Unit unit{.link = link,
                    .device = parser->device,
                    .cursor = answer,
                    .textEnd = answer,
                    .answer = answer,
                    .answerRoom = answerRoom};
    const Waiting waiting = link->waiting; // the operation may leave its next record there
    unit.errorCode = waiting.finish(parser->device, waiting, inTime);
    if (unit.errorCode == waiting_result)
        link->message.waits = true;
    else
        conclude(unit, link->message.echo);
    return unit.answerLength;
}
