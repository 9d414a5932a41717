#pragma once
/// The command tree of the instrument: every branch's rows, laid out.

#include "scpi/command_tree.h"

#include <span>

namespace scpi {

/// The tree for scpi_parser_context; it lies in constant memory.
[[nodiscard]] CommandTree commandTree();

/// The rows as the manual groups them.
struct CommandBranch {
    const char* title;
    std::span<const Row> rows;
};
[[nodiscard]] std::span<const CommandBranch> commandBranches();
[[nodiscard]] std::span<const OldRow> commandOldRows();

} // namespace scpi
