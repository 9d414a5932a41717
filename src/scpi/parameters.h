#pragma once
/// Taking the parameters of a message unit apart, in place: fields are cut with NULs in the command buffer and nothing
/// is copied. No quoting is honoured at this level: a comma separates wherever it stands.

#include <cstdint>
#include <span>

/// 1 while the unit at hand was cut off by a full command buffer: fixed parameter lists then answer -350.
void scpi_analyse_setCbufFull(int flag);
[[nodiscard]] int scpi_analyse_cbufFull();

/// True if the text has nothing but bytes of 32 or lower, other than newline.
[[nodiscard]] bool scpi_isEmptyCommand(const char* text);
/// True if the text holds a '?' anywhere.
[[nodiscard]] bool scpi_isQuery(const char* text);

/// Takes exactly `fields.size()` comma-separated fields. Returns 0; -109 for a missing or empty one, -108 for one too
/// many, -350 for text cut by a full buffer. A null text has no fields.
[[nodiscard]] int32_t scpi_getParameters(char* text, std::span<char*> fields);

/// The same for a few fields by name: _scpi_getParameters(text, &first, &second).
template <class... Field> [[nodiscard]] int32_t _scpi_getParameters(char* text, Field... field) {
    char* fields[sizeof...(Field) + 1] = {};
    const int32_t error = scpi_getParameters(text, std::span<char*>(fields, sizeof...(Field)));
    unsigned i = 0;
    ((*field = fields[i++]), ...);
    return error;
}

/// Walks a list: gives the start of the field at `text`, cut behind its last character, and in `next` the text behind
/// its comma. Returns 2 if a comma followed, 1 for the last field, 0 if nothing but blanks is left. `next` may be null.
[[nodiscard]] int scpi_getNextParameter(char* text, char** start, char** next);

/// Does a definite-length block header ("#15", "#3100") begin at `text`, of which `length` bytes are known?
/// 1 yes; 0 no, which is said with the first byte that fits none; -1 more bytes are needed.
[[nodiscard]] int tvscpi_isArbitraryBlock(const char* text, int length);

/// Bytes of data that a complete header announces.
[[nodiscard]] int32_t scpi_blockSize(const char* header);

/// Can the '#' at `hash`, which no quotes enclose, open a block? A block is a parameter of its own or, with its header
/// forgotten, a whole unit: "5#12" and "NAME#12" are text. `message` is the start of the program message. Looks back at
/// the word before it at most, so that all of a message's take as long as the message.
[[nodiscard]] bool scpi_mayOpenBlock(const char* message, const char* hash);

/// Compares `prefix` with the start of the text, ignoring case. Returns the prefix's length and the text behind it, or
/// 0 if it differs or a ':' follows.
[[nodiscard]] int scpi_isOldStyleCommand(const char* prefix, char* text, char** rest);
