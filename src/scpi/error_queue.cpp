#include "scpi/error_queue.h"

#include "base/error_codes.h"

#include <cstdio>
#include <span>

namespace {

using scpi::CodeText;

constexpr CodeText scpierr_strings[] = {
    {0, "No error"},
    {scpi::commandError, "Command error"},
    {scpi::parameterNotAllowed, "Parameter not allowed"},
    {scpi::missingParameter, "Missing parameter"},
    {scpi::undefinedHeader, "Undefined header"},
    {scpi::invalidSuffix, "Invalid suffix"},
    {scpi::commandNotYetImplemented, "Command not yet implemented"},
    {scpi::notInThisMode, "Command not available in this measurement mode"},
    {scpi::executionError, "Execution error"},
    {scpi::settingsConflict, "Settings conflict"},
    {scpi::dataOutOfRange, "Data out of range"},
    {scpi::tooMuchData, "Too much data"},
    {scpi::illegalParameterValue, "Illegal parameter value"},
    {scpi::listsNotSameLength, "Lists not same length"},
    {scpi::hardwareError, "Hardware error"},
    {scpi::hardwareMissing, "Hardware missing"},
    {scpi::outOfMemory, "Out of memory"},
    {scpi::queueOverflow, "Queue overflow"},
    {scpi::timeOutError, "Time out error"},
    {scpi::queryError, "Query error"},
};

constexpr uint32_t extensionMask = 0x0FFF0000; // of the magnitude of a code

const char* textOf(std::span<const CodeText> table, int32_t code) {
    for (const CodeText& row : table)
        if (row.code == code)
            return row.text;
    return nullptr;
}

constexpr int32_t after(int32_t index) {
    return index + 1 == errorQueueSize ? 0 : index + 1;
}

int32_t oldest(const scpi_error_queue& queue) {
    return queue.entries[queue.readIndex];
}

void dropOldest(scpi_error_queue& queue) {
    if (queue.readIndex != queue.writeIndex)
        queue.readIndex = after(queue.readIndex);
    else
        queue.entries[queue.readIndex] = 0;
}

int format(char* answer, int room, int32_t code) {
    const uint32_t magnitude = 0u - static_cast<uint32_t>(code);
    const auto base = static_cast<int32_t>(0u - (magnitude & ~extensionMask));
    const char* text = textOf(scpierr_strings, base);
    if ((magnitude & extensionMask) == 0)
        return snprintf(answer, static_cast<size_t>(room), "%d,\"%s\"", base, text ? text : "");
    const char* detail = scpi::runFailureText(code);
    if (text && detail)
        return snprintf(answer, static_cast<size_t>(room), "%d,\"%s;%s\"", code, text, detail);
    return snprintf(answer, static_cast<size_t>(room), "%d,\"\"", code);
}

} // namespace

void scpi_initErrorQueue(scpi_error_queue* queue) {
    *queue = {};
}

void scpi_clearErrorQueue(scpi_error_queue* queue) {
    scpi_initErrorQueue(queue);
}

bool scpi_isErrorQueueEmpty(const scpi_error_queue* queue) {
    return queue->readIndex == queue->writeIndex && oldest(*queue) == 0;
}

void scpi_pushErrorQueue(int32_t code, scpi_error_queue* queue) {
    if (code == 0)
        return;
    int32_t span = queue->writeIndex - queue->readIndex;
    if (span < 0)
        span += errorQueueSize;
    if (span == errorQueueSize - 1) {
        queue->entries[queue->writeIndex] = scpi::queueOverflow;
        return;
    }
    if (queue->entries[queue->writeIndex] != 0)
        queue->writeIndex = after(queue->writeIndex);
    queue->entries[queue->writeIndex] = code;
}

int scpi_popErrorQueue(scpi_error_queue* queue, int32_t* code, char* answer, int room, int32_t* length) {
    *code = oldest(*queue);
    const int error = scpi_errorCode2Str(answer, *code, room, length);
    if (error == 0)
        dropOldest(*queue);
    return error;
}

int scpi_getAndClearWholeErrorQueue(scpi_error_queue* queue, char* answer, int room, int32_t* length) {
    if (const int error = scpi_errorCode2Str(answer, oldest(*queue), room, length); error != 0)
        return error;
    dropOldest(*queue);
    while (!scpi_isErrorQueueEmpty(queue)) {
        const int32_t comma = *length;
        int32_t more;
        if (scpi_errorCode2Str(answer + comma + 1, oldest(*queue), room - comma - 1, &more) != 0)
            break;
        answer[comma] = ',';
        *length = comma + 1 + more;
        dropOldest(*queue);
    }
    return 0;
}

int scpi_errorCode2Str(char* answer, int32_t code, int room, int32_t* length) {
    *length = 0;
    const int count = room > 0 ? format(answer, room, code) : 0;
    if (count < 0 || count >= room)
        return scpi::queryError;
    *length = count;
    return 0;
}
