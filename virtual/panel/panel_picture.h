#pragma once
/// What the front panel's display shows, by the lines that the instrument sends it.

#include <map>
#include <string>
#include <string_view>

namespace vi {

/// Items by name. That of a value is the header of its line (FREQ, LFO:STAT). LAN, USB, GPIB and LOCK are 1 or 0,
/// QUES:POW 1 while the level is out of range, *OPC counts recalls of settings. What no line has told is not there.
using PanelPicture = std::map<std::string, std::string>;

/// Takes a line without its newline in. False for one that the panel does not know, which changes nothing.
[[nodiscard]] bool panelPicture_take(PanelPicture* picture, std::string_view line);

} // namespace vi
