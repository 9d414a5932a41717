#pragma once
/// Blocks of sample pairs and of the test pattern, as the soft core sends them.

#include "virtual/acquisition/sample_stream.h"
#include "virtual/acquisition/soft_core_kind.h"

namespace vi {

inline constexpr uint32_t corePairsMax = 0x100000;
inline constexpr uint32_t coreDividerMax = 2'000'000;

/// Pairs that are taken from now on, every `divider`th: words of 32 bits with channel A in the low half, as the ADCs
/// put them out. They come while they are taken; without a clock, or where the source does not deliver, never.
[[nodiscard]] StreamBlock coreSamples_block(SourceAccess& source, ConverterState converters, uint32_t divider,
                                            uint32_t pairs);

/// The word 0x55555555 over and over.
[[nodiscard]] StreamBlock corePattern_block(uint32_t bytes);

} // namespace vi
