#pragma once
/// What a model refused because the hardware would not know it: their number, and the first of them in words.

#include <cstdint>
#include <string>

namespace vi {

/// Not thread-safe; its owner's lock guards it.
class Refusals {
public:
    void add(const std::string& text) {
        if (count_++ < told)
            texts_ += text + "\n";
    }
    [[nodiscard]] uint64_t count() const { return count_; }
    /// A line each.
    [[nodiscard]] const std::string& texts() const { return texts_; }

private:
    static constexpr uint64_t told = 20;
    uint64_t count_ = 0;
    std::string texts_;
};

} // namespace vi
