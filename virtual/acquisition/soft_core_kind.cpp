#include "virtual/acquisition/soft_core_kind.h"

namespace vi {
namespace {

constexpr CoreKind firstKind{.clock_Hz = 125e6,
                             .answerMode = 9,
                             .stagesTogether = false,
                             .firstLength = 6,
                             .pointsAtStart = {512, 512, 512, 512, 512, 512, 512, 512},
                             .hasThermometer = false};
constexpr CoreKind secondKind{.clock_Hz = 250e6,
                              .answerMode = 0,
                              .stagesTogether = true,
                              .firstLength = 0,
                              .pointsAtStart = {4096, 512, 512, 512, 512, 512, 64, 64},
                              .hasThermometer = true};

constexpr std::array<double, coreStages> stageRates_Hz{0, 12.5e6, 1.25e6, 125e3, 12.5e3, 1250, 125, 12.5}; // 0: clock

constexpr double year_s = 365.0 * 86400;

} // namespace

const CoreKind& coreKind_of(FpgaGeneration generation) {
    return generation == FpgaGeneration::first ? firstKind : secondKind;
}

double coreKind_stageRate_Hz(const CoreKind& kind, double clock_Hz, uint32_t stage) {
    return stage == 0 ? clock_Hz : stageRates_Hz.at(stage) * (clock_Hz / kind.clock_Hz);
}

uint64_t core_after(uint64_t start_ns, double seconds) {
    return seconds < year_s ? start_ns + static_cast<uint64_t>(seconds * 1e9) : coreNever_ns;
}

} // namespace vi
