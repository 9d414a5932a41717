#pragma once
/// What a serial number says of a unit's boards, in words for a user; docs/serial-numbers.md has the list.

#include <string>
#include <string_view>

namespace vi {

/// One line, such as "analog boards 2D, acquisition board 2A, internal sources 2B". A warning
/// follows on a line of its own where a unit cannot measure with what its number names.
std::string serialNumber_describe(std::string_view serialNumber);

} // namespace vi
