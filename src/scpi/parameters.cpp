#include "scpi/parameters.h"

#include "base/error_codes.h"
#include "scpi/text/ascii.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace {

int cbufFull;

char* skipBlanks(char* text) {
    while (scpi::isBlank(*text))
        ++text;
    return text;
}

/// The end of the field that starts at `text`: its comma or the end of the text.
char* fieldEnd(char* text) {
    while (*text != 0 && *text != ',')
        ++text;
    return text;
}

void cutTrailingBlanks(char* start, char* end) {
    *const_cast<char*>(scpi::trimEnd(start, end)) = 0;
}

} // namespace

void scpi_analyse_setCbufFull(int flag) {
    cbufFull = flag;
}
int scpi_analyse_cbufFull() {
    return cbufFull;
}

bool scpi_isEmptyCommand(const char* text) {
    while (scpi::isBlank(*text))
        ++text;
    return *text == 0;
}

bool scpi_isQuery(const char* text) {
    return strchr(text, '?') != nullptr;
}

int32_t scpi_getParameters(char* text, std::span<char*> fields) {
    if (text == nullptr)
        return fields.empty() ? 0 : scpi::missingParameter;
    if (cbufFull != 0)
        return scpi::queueOverflow;
    bool commaBefore = false;
    for (char*& field : fields) {
        if (&field != fields.data() && !commaBefore)
            return scpi::missingParameter;
        field = skipBlanks(text);
        char* const end = fieldEnd(field);
        commaBefore = *end == ',';
        cutTrailingBlanks(field, end);
        if (*field == 0)
            return scpi::missingParameter;
        text = commaBefore ? end + 1 : end;
    }
    text = skipBlanks(text); // an empty field behind the last comma is no parameter
    return *text == 0 || *text == ',' ? 0 : scpi::parameterNotAllowed;
}

int scpi_getNextParameter(char* text, char** start, char** next) {
    if (text == nullptr)
        return 0;
    char* const first = skipBlanks(text);
    if (*first == 0)
        return 0;
    char* const end = fieldEnd(first);
    const bool comma = *end == ',';
    *start = first;
    cutTrailingBlanks(first, end);
    if (!comma)
        return 1;
    if (next != nullptr)
        *next = end + 1;
    return 2;
}

int tvscpi_isArbitraryBlock(const char* text, int length) {
    if (length < 1)
        return -1;
    if (text[0] != '#')
        return 0;
    if (length == 1)
        return -1;
    if (text[1] < '1' || text[1] > '9')
        return 0;
    const int headerLength = text[1] - '0' + 2;
    for (int i = 2; i < headerLength && i < length; ++i)
        if (!scpi::isDigit(text[i]))
            return 0;
    return length < headerLength ? -1 : 1;
}

int32_t scpi_blockSize(const char* header) {
    int32_t size = 0; // nine digits at most
    for (int digit = 0; digit < header[1] - '0'; ++digit)
        size = size * 10 + (header[2 + digit] - '0');
    return size;
}

bool scpi_mayOpenBlock(const char* message, const char* hash) {
    const char* const before = scpi::trimEnd(message, hash);
    if (before == message || before[-1] == ',' || before[-1] == ';')
        return true;
    // Else it is the first parameter: a blank before it, and nothing but the header before that.
    if (before == hash)
        return false;
    const char* word = before;
    while (word != message && !scpi::isBlank(word[-1]) && word[-1] != ';')
        --word;
    const char* const unit = scpi::trimEnd(message, word);
    return unit == message || unit[-1] == ';';
}

int scpi_isOldStyleCommand(const char* prefix, char* text, char** rest) {
    const size_t length = strlen(prefix);
    if (strncasecmp(prefix, text, length) != 0 || text[length] == ':')
        return 0;
    *rest = text + length;
    return static_cast<int>(length);
}
