#pragma once
/// A short text of words and numbers, put together without a format: a capture sends dozens of them.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>

class AdfpgaText {
public:
    /// What finds no room is left out: 47 characters do for what is sent.
    AdfpgaText& add(std::string_view part) {
        const size_t count = std::min(part.size(), room());
        std::copy_n(part.begin(), count, text_.begin() + length_);
        length_ += count;
        return *this;
    }
    AdfpgaText& add(uint32_t number) {
        char* const end = text_.data() + length_;
        length_ += static_cast<size_t>(std::to_chars(end, end + room(), number).ptr - end);
        return *this;
    }
    [[nodiscard]] const char* text() {
        text_[length_] = '\0';
        return text_.data();
    }
    [[nodiscard]] size_t length() const { return length_; }

private:
    [[nodiscard]] size_t room() const { return text_.size() - 1 - length_; }

    std::array<char, 48> text_;
    size_t length_ = 0;
};
