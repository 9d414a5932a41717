#include "links/command_file.h"

namespace {

FILE*& fileOf(void* medium) {
    return static_cast<CommandFile*>(medium)->file;
}

bool open(void* medium, const char* path) {
    fileOf(medium) = fopen(path, "r");
    return fileOf(medium) != nullptr;
}

Received receive(void* medium, char* where, int room) {
    // One byte of the room stays free, as in any read of a line, unless that would stand still.
    const int limit = room > 1 ? room - 1 : room;
    int length = 0;
    for (int c = 0; length < limit && c != '\n' && (c = getc(fileOf(medium))) != EOF;)
        where[length++] = static_cast<char>(c);
    return {length, length == 0 && room > 0 ? Said::gone : Said::bytes};
}

Sent send(void*, const char* data, int count, bool more) {
    fwrite(data, 1, static_cast<size_t>(count), stdout);
    return {count, more};
}

void close(void* medium) {
    fclose(fileOf(medium));
    fileOf(medium) = nullptr;
}

} // namespace

const Transport commandFileTransport{open, receive, send, close, nullptr};
