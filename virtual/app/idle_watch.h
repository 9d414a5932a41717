#pragma once
/// In fast mode time passes on the wall while the instrument has nothing to do. Only the firmware knows when that is.

namespace vi {

/// Starts the thread that asks the firmware, for the life of the process. Once, before the firmware starts.
/// Returns 0, or -200 if there is none.
[[nodiscard]] int idleWatch_start();

} // namespace vi
