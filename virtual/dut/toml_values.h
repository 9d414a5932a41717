#pragma once
/// Values out of a TOML file, with what is wrong with one in words. Whatever refuses throws a Refusal.

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

namespace vi {

inline constexpr size_t rowsMax = 1000; // of a list

struct Range {
    double min, max;
};

struct Refusal {
    uint32_t line; // 0: none in particular
    std::string reason;
};
[[noreturn]] void refuse(const toml::source_region& where, const std::string& reason);
/// "NAME must be WANTED, not ..."
[[noreturn]] void refuseKind(const toml::node& node, const std::string& name, const char* wanted);
void refuseUnknownKeys(const toml::table& table, const std::string& prefix,
                       std::initializer_list<std::string_view> known);

[[nodiscard]] std::string shortNumber(double value);
[[nodiscard]] double readNumber(const toml::node& node, const std::string& name, const Range& range);
/// The value of a key that must be there.
[[nodiscard]] const toml::node& wanted(const toml::table& table, const std::string& prefix, std::string_view key);
[[nodiscard]] const toml::table& tableOf(const toml::node& node, const std::string& name);

/// What a list of pairs is called: [offset, level], the offsets of ...
struct PairNames {
    std::string_view first, second;
};
/// A list of pairs whose first numbers ascend.
[[nodiscard]] std::vector<std::array<double, 2>> readPairs(const toml::node& node, const std::string& name,
                                                           const PairNames& pair, const Range& first,
                                                           const Range& second);

} // namespace vi
