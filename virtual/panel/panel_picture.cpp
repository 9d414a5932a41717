#include "virtual/panel/panel_picture.h"

#include <algorithm>
#include <charconv>
#include <span>

namespace vi {
namespace {

bool isNumber(std::string_view text) {
    double value;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}
bool isState(std::string_view text) {
    return text == "0" || text == "1";
}
bool isQuoted(std::string_view text) {
    return text.size() >= 2 && text.front() == '"' && text.back() == '"' &&
           std::count(text.begin(), text.end(), '"') == 2;
}
bool isAddress(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789,. ") == std::string_view::npos;
}

/// A header that is followed by a value.
struct ValueLine {
    std::string_view header;
    bool (*isGood)(std::string_view);
};
constexpr ValueLine valueLines[] = {
    {"FREQ", isNumber},
    {"POW", isNumber},
    {"OUTP:STAT", isState},
    {"LFO:STAT", isState},
    {"LFO:AMPL", isNumber},
    {"LFO:FREQ", isNumber},
    {"ROSC:LOCK", isState},
    {"BATT", isNumber},
    {"SYST:COMM:SOCK:ADDR", isQuoted},
    {"SYST:COMM:GPIB:ADDR", isAddress},
};

/// A whole line, and the item that it sets.
struct FixedLine {
    std::string_view line, item, value;
};
constexpr FixedLine fixedLines[] = {
    {"LFO:SHAP SINE", "LFO:SHAP", "SINE"}, {"LFO:SHAP TRI", "LFO:SHAP", "TRI"},   {"LFO:SHAP SQU", "LFO:SHAP", "SQU"},
    {"LFO:SOUR LFG", "LFO:SOUR", "LFG"},   {"LFO:SOUR PULM", "LFO:SOUR", "PULM"}, {"LFO:SOUR TRIG", "LFO:SOUR", "TRIG"},
    {"ROSC:SOUR INT", "ROSC:SOUR", "INT"}, {"ROSC:SOUR EXT", "ROSC:SOUR", "EXT"}, {"SYST:COMM:CONN LAN", "LAN", "1"},
    {"SYST:COMM:DISC LAN", "LAN", "0"},    {"SYST:COMM:CONN USB", "USB", "1"},    {"SYST:COMM:DISC USB", "USB", "0"},
    {"SYST:COMM:CONN GPIB", "GPIB", "1"},  {"SYST:COMM:DISC GPIB", "GPIB", "0"},  {"SYST:LOCK", "LOCK", "1"},
    {"SYST:LOCK:REL", "LOCK", "0"},        {"NTR:POW", "QUES:POW", "0"},          {"PTR:POW", "QUES:POW", "1"},
};

} // namespace

bool panelPicture_take(PanelPicture* picture, std::string_view line) {
    const auto set = [picture](std::string_view item, std::string_view value) {
        (*picture)[std::string(item)] = value;
        return true;
    };
    for (const FixedLine& known : fixedLines)
        if (line == known.line)
            return set(known.item, known.value);
    if (line == "*OPC")
        return set(line, std::to_string(std::atoi((*picture)[std::string(line)].c_str()) + 1));
    const std::string_view header = line.substr(0, line.find(' '));
    for (const ValueLine& known : valueLines)
        if (header == known.header && header.size() < line.size())
            return known.isGood(line.substr(header.size() + 1)) && set(header, line.substr(header.size() + 1));
    return false;
}

} // namespace vi
