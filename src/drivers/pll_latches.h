#pragma once
/// What ADF4002 and ADF4106 share: three latches, each a 24-bit word that carries its number in the low two bits.

#include "drivers/chip.h"
#include "drivers/register_fields.h"

struct PllLatches {
    ChipBus bus;
    uint32_t r; // reference counter
    uint32_t n; // feedback counter
    uint32_t function;
};

namespace pll {

enum Latch : uint16_t { rLatch = 0, nLatch = 1, functionLatch = 2 };
inline constexpr Field number{rLatch, 0, 2}; // in each latch
inline constexpr Field rCounter{rLatch, 2, 14};
inline constexpr Field counterReset{functionLatch, 2, 1};
inline constexpr Field powerDown{functionLatch, 3, 1};
inline constexpr Field muxOut{functionLatch, 4, 3};
inline constexpr Field pumpThreeState{functionLatch, 8, 1};
inline constexpr unsigned latchBits = 24;
static_assert(fieldsFit({number, rCounter}, latchBits));
static_assert(fieldsFit({counterReset, powerDown, muxOut, pumpThreeState}, latchBits));

inline constexpr uint32_t rStart = 4;               // R = 1
inline constexpr uint32_t functionStart = 0x1F8006; // full pump current, counters held in reset
static_assert(field_get(rStart, number) == rLatch && field_get(functionStart, number) == functionLatch);

[[nodiscard]] int send(const PllLatches* latches, const char* chipName, uint32_t word);
/// Sends all three with the counters held in reset, and then lets them run.
void start(PllLatches* latches, const char* chipName);
/// Changes a field of the function latch and sends it; -224 for a value that does not fit.
[[nodiscard]] int setFunction(PllLatches* latches, const char* chipName, const Field& field, uint32_t value);

void printInfo(const PllLatches* latches, const char* chipName);

} // namespace pll
