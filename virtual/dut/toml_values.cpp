#include "virtual/dut/toml_values.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vi {

void refuse(const toml::source_region& where, const std::string& reason) {
    throw Refusal{where.begin.line, reason};
}

namespace {

const char* kindOf(const toml::node& node) {
    switch (node.type()) {
    case toml::node_type::table: return "a table";
    case toml::node_type::array: return "a list";
    case toml::node_type::string: return "a text";
    case toml::node_type::boolean: return "true or false";
    case toml::node_type::integer:
    case toml::node_type::floating_point: return "a number";
    default: return "a date or time";
    }
}

} // namespace

void refuseKind(const toml::node& node, const std::string& name, const char* wanted) {
    refuse(node.source(), name + " must be " + wanted + ", not " + kindOf(node));
}

std::string shortNumber(double value) {
    char text[32];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

double readNumber(const toml::node& node, const std::string& name, const Range& range) {
    if (!node.is_number())
        refuseKind(node, name, "a number");
    const double value = node.value<double>().value_or(NAN);
    if (!(value >= range.min && value <= range.max)) // also not-a-number
        refuse(node.source(), name + " is " + shortNumber(value) + ", outside " + shortNumber(range.min) + " to " +
                                  shortNumber(range.max));
    return value;
}

std::vector<std::array<double, 2>> readPairs(const toml::node& node, const std::string& name, const PairNames& pair,
                                             const Range& first, const Range& second) {
    const std::string form = "[" + std::string(pair.first) + ", " + std::string(pair.second) + "]";
    const auto article = [](std::string_view word) {
        return std::string(word.find_first_of("aeiouAEIOU") == 0 ? "an " : "a ") + std::string(word);
    };
    const toml::array* rows = node.as_array();
    if (rows == nullptr)
        refuseKind(node, name, ("a list of " + form).c_str());
    if (rows->size() > rowsMax)
        refuse(node.source(), name + " has more than " + std::to_string(rowsMax) + " rows");
    std::vector<std::array<double, 2>> points;
    for (const toml::node& entry : *rows) {
        const toml::array* row = entry.as_array();
        if (row == nullptr)
            refuseKind(entry, "a point of " + name, form.c_str());
        if (row->size() != 2) {
            std::string reason = "a point of " + name;
            reason.append(" must be ").append(form).append(", not a list of ").append(std::to_string(row->size()));
            refuse(entry.source(), reason);
        }
        const std::array<double, 2> point{readNumber((*row)[0], article(pair.first) + " of " + name, first),
                                          readNumber((*row)[1], article(pair.second) + " of " + name, second)};
        if (!points.empty() && point[0] <= points.back()[0])
            refuse(entry.source(), "the " + std::string(pair.first) + "s of " + name + " must ascend: " +
                                       shortNumber(point[0]) + " follows " + shortNumber(points.back()[0]));
        points.push_back(point);
    }
    return points;
}

void refuseUnknownKeys(const toml::table& table, const std::string& prefix,
                       std::initializer_list<std::string_view> known) {
    for (const auto& [key, value] : table)
        if (std::find(known.begin(), known.end(), key.str()) == known.end())
            refuse(key.source(), "unknown key " + prefix + std::string(key.str()));
}

const toml::node& wanted(const toml::table& table, const std::string& prefix, std::string_view key) {
    const toml::node* node = table.get(key);
    if (node == nullptr)
        refuse(table.source(), prefix + std::string(key) + " is missing");
    return *node;
}

const toml::table& tableOf(const toml::node& node, const std::string& name) {
    const toml::table* table = node.as_table();
    if (table == nullptr)
        refuseKind(node, name, "a table");
    return *table;
}

} // namespace vi
