#pragma once
/// Headers and pieces of answers are a few bytes long: too short for a call, and a loop over them is longer than they
/// are. So they are handled as words of a size, of which the last may overlap the one before.

#include <cstdint>
#include <cstring>
#include <string_view>

namespace scpi {

namespace short_text_detail {

template <class Word> bool equalWords(const char* a, const char* b) {
    Word left, right;
    memcpy(&left, a, sizeof left);
    memcpy(&right, b, sizeof right);
    return left == right;
}

/// From one to two words.
template <class Word> bool equalEnds(const char* a, const char* b, size_t size) {
    return equalWords<Word>(a, b) && equalWords<Word>(a + size - sizeof(Word), b + size - sizeof(Word));
}
template <size_t Word> void putEnds(char* at, const char* from, size_t size) {
    memcpy(at, from, Word);
    memcpy(at + size - Word, from + size - Word, Word);
}

} // namespace short_text_detail

/// Whether both have the same `size` bytes.
inline bool sameBytes(const char* a, const char* b, size_t size) {
    using namespace short_text_detail;
    constexpr size_t word = sizeof(uint64_t);
    for (; size > 2 * word; a += word, b += word, size -= word)
        if (!equalWords<uint64_t>(a, b))
            return false;
    if (size >= word)
        return equalEnds<uint64_t>(a, b, size);
    if (size >= word / 2)
        return equalEnds<uint32_t>(a, b, size);
    for (size_t i = 0; i < size; ++i)
        if (a[i] != b[i])
            return false;
    return true;
}

/// Copies `text` to `at`; returns the place behind it.
inline char* putText(char* at, std::string_view text) {
    using namespace short_text_detail;
    const size_t size = text.size();
    if (size == 1)
        *at = text[0];
    else if (size > 32)
        memcpy(at, text.data(), size);
    else if (size >= 16)
        putEnds<16>(at, text.data(), size);
    else if (size >= 8)
        putEnds<8>(at, text.data(), size);
    else if (size >= 4)
        putEnds<4>(at, text.data(), size);
    else if (size >= 2)
        putEnds<2>(at, text.data(), size);
    return at + size;
}

} // namespace scpi
