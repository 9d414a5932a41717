#pragma once
/// The co-kernel's tasks as the models see them.

namespace vi {

/// Whether the calling thread is a real-time task in primary mode, where reads of a real-time device belong.
[[nodiscard]] bool rtTask_inPrimaryMode();

} // namespace vi
