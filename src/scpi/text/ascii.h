#pragma once
/// Character classes of the command language: plain ASCII, whatever the locale. Bytes above 127 are in none of them.

#include <array>

namespace scpi {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
constexpr bool isLetter(char c) {
    return isLower(c) || (c >= 'A' && c <= 'Z');
}
constexpr char toUpper(char c) {
    return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr bool equalIgnoringCase(char a, char b) {
    return toUpper(a) == toUpper(b);
}

/// What separates words and is trimmed around parameters: bytes of 32 or lower. A newline ends a message instead, and
/// NUL ends the text.
constexpr bool isBlank(char c) {
    return static_cast<unsigned char>(c) <= ' ' && c != '\n' && c != '\0';
}

/// A question about a character, answered once for all of them: for loops over text.
template <auto Answer>
inline constexpr auto charTable = [] {
    std::array<decltype(Answer('a')), 256> table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<unsigned char>(i)] = Answer(static_cast<char>(i));
    return table;
}();
template <auto Answer> constexpr auto ofChar(char c) {
    return charTable<Answer>[static_cast<unsigned char>(c)];
}

/// The end of [begin, end) without its trailing blanks.
constexpr const char* trimEnd(const char* begin, const char* end) {
    while (end != begin && isBlank(end[-1]))
        --end;
    return end;
}

} // namespace scpi
