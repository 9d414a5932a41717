#pragma once
/// Running one message unit: stored path, the walk through the command tree, the error queue.

#include "scpi/command_tree.h"
#include "scpi/error_queue.h"
#include "scpi/link.h"

struct Device;

/// What the parser works on. It lives as long as the process; whoever serves a link touches it.
struct scpi_parser_context {
    Device* device;
    scpi_error_queue errors;
    scpi::CommandTree tree;
    bool ignoreErrors = false; // errors of the unit at hand go to the debug channel
};

/// The context in force; null before scpi_parser_init.
extern scpi_parser_context* parser;

/// Publishes the context and empties its error queue.
void scpi_parser_init(scpi_parser_context* context);

/// Where a full command buffer cuts a unit whose text goes on; 0 for one that is whole.
enum UnitCut : int { unitCutAtComma = 1, unitCutAnywhere = 2 };

/// Runs one unit, which is cut in place. `answer` has `answerRoom` bytes and the link's margin behind them. Returns the
/// answer's length, 0 for none; 1 with answer[0] == 0 is an empty answer. Errors go to the queue, or with
/// `ignoreErrors` to the debug channel. An operation that has left its record in link->waiting leaves the unit open:
/// link->message.waits is set, and scpi_parser_resume ends it.
int scpi_parser(scpi_link* link, char* unitText, char* answer, int answerRoom, int cbufFull, int ignoreErrors)
    REQUIRES(deviceAccessMutex);
/// The same for a unit whose end is known: a NUL stands there.
int scpi_parser(scpi_link* link, char* unitText, const char* unitEnd, char* answer, int answerRoom, int cbufFull,
                int ignoreErrors) REQUIRES(deviceAccessMutex);

/// Ends the unit that waits, or goes on with it, in which case it waits again. `inTime` is false if its deadline came
/// first. Returns like scpi_parser.
int scpi_parser_resume(scpi_link* link, char* answer, int answerRoom, bool inTime) REQUIRES(deviceAccessMutex);

/// Puts a code into the context's error queue, or on the debug channel while errors are ignored.
void scpi_parser_error(int32_t code);

/// Called at the end of each program message: Device_execute, where a device has it.
void scpi_parser_execute();
