#include "scpi/parameters.h"

#include "base/error_codes.h"
#include "scpi/text/ascii.h"

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
    const int digits = text[1] - '0';
    if (length <= digits + 1)
        return -1;
    for (int i = 0; i < digits; ++i)
        if (!scpi::isDigit(text[2 + i]))
            return 0;
    return 1;
}

int scpi_isOldStyleCommand(const char* prefix, char* text, char** rest) {
    const size_t length = strlen(prefix);
    if (strncasecmp(prefix, text, length) != 0 || text[length] == ':')
        return 0;
    *rest = text + length;
    return static_cast<int>(length);
}
