#pragma once
/// The instrument's links, a row each.

#include "links/link_thread.h"

#include <span>

/// In the order in which they are served. One that is alone is served once, at the start; the others have a thread.
extern const std::span<const LinkRow> linkRows;
