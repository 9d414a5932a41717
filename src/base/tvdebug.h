#pragma once
/// Debug channel: text for developers on standard output, on only with the option "-v".

#include <atomic>

inline std::atomic<bool> debugEnabled{false};

void tvdebug_enable();
void tvdebug_disable();

[[gnu::format(printf, 1, 2)]] void tvdebug_print(const char* format, ...);

/// Prints on the debug channel; costs one load while the channel is off.
#define printd(...)                                                                                                    \
    do {                                                                                                               \
        if (debugEnabled.load(std::memory_order_relaxed)) [[unlikely]]                                                 \
            tvdebug_print(__VA_ARGS__);                                                                                \
    } while (false)
