#pragma once
#include "numeric/tvtypes.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

/// A text in memory that ends right behind its NUL, so that the sanitizers see every step beyond it.
struct ExactText {
    std::unique_ptr<char[]> bytes;

    explicit ExactText(const std::string& text) : bytes(new char[text.size() + 1]) {
        std::memcpy(bytes.get(), text.c_str(), text.size() + 1);
    }
    operator char*() const { return bytes.get(); }
};

/// What a parser returns and what it leaves in a value that was `before`.
template <class Value>
std::pair<int, Value> parsed(int (*parser)(char*, Value*), const std::string& text,
                             std::type_identity_t<Value> before = {}) {
    const int error = parser(ExactText(text), &before);
    return {error, before};
}

inline void PrintTo(const tvfreq& f, std::ostream* out) {
    *out << f.intPart << " + " << f.fracPart << "/2^64 Hz";
}
