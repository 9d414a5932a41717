#include "scpi/text/keyword.h"

#include "scpi/text/ascii.h"

namespace {

bool onlyBlanksFrom(const char* text) {
    while (scpi::isBlank(*text))
        ++text;
    return *text == '\0';
}

} // namespace

int scpi_isParam(const char* literal, const char* text) {
    if (text == nullptr)
        return 0;
    for (; *literal != '\0' && !scpi::isLower(*literal); ++literal, ++text)
        if (!scpi::equalIgnoringCase(*literal, *text))
            return 0;
    if (onlyBlanksFrom(text))
        return 1;
    for (; *literal != '\0'; ++literal, ++text)
        if (!scpi::equalIgnoringCase(*literal, *text))
            return 0;
    return onlyBlanksFrom(text) ? 1 : 0;
}
