#pragma once
/// The instrument's links, a row each.

#include "links/link_thread.h"

#include <span>

/// In the order in which they are served; a unit may not have all. One that is alone is served once, at the start;
/// those with a stack have a thread of their own, the others a server whose threads they share.
extern const std::span<const LinkRow> linkRows;

/// Whether this unit has the link.
[[nodiscard]] bool linkRow_exists(const LinkRow& row);

/// The row of a link; null if it has none.
[[nodiscard]] const LinkRow* linkRow_of(const scpi_link* link);
