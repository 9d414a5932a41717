#pragma once
/// Which boards a unit has, as its serial number tells ("220-336306910-0001"; positions count from 0, hyphens
/// included), and what they can do.

#include <cstdint>
#include <string_view>

namespace vi {

inline constexpr std::string_view defaultSerialNumber = "220-336306910-0001";

enum class AnalogRevision { r1B, r1C, r2A, r2B, r2C, r2D };
enum class FpgaGeneration { first, second };

struct UnitBoards {
    AnalogRevision analog; // position 6: '2' 1C, '3' 2A, '4' 2B, '5' 2C, '6' 2D, else 1B
    FpgaGeneration fpga;   // position 9: '6' second, else first
    bool hasSourcePair;    // positions 0 and 10: two source boards, whose reference can be selected
    double carrierMin_Hz, carrierMax_Hz;
    double prescalerThreshold_Hz; // analog boards up to 2A divide until the carrier is at most this
};

/// A text that is too short counts as filled up with '0'.
[[nodiscard]] UnitBoards unitBoards_of(std::string_view serialNumber);

/// Division in front of the mixer that the analog boards choose for a carrier: 1, 2, 4 or 8.
[[nodiscard]] uint32_t unitBoards_prescaler(const UnitBoards& boards, double carrier_Hz);

/// The IF gain in dB that the analog boards set for a request in dB.
[[nodiscard]] int unitBoards_ifGain_dB(const UnitBoards& boards, int request_dB);

} // namespace vi
