#pragma once
/// Which boards a unit has, as its serial number tells ("220-336306910-0001"; positions count from 0, hyphens
/// included), and what they can do.

#include <cstdint>
#include <string_view>

namespace vi {

inline constexpr std::string_view defaultSerialNumber = "220-336306910-0001";

enum class AnalogRevision { r1B, r1C, r2A, r2B, r2C, r2D };
enum class FpgaGeneration { first, second };
enum class SourceBoards { none, doubleChannel, firstPair, secondPair };

/// Controller boards: what a later one has, it has too; `fs` is one of 1F or newer with an FPGA of its own.
enum class ControllerBoards { before1E, from1E, from1F, fs };
enum class PanelKind { none, older, newer };
enum class SupplyBoards { none, low5V, high12V, relayOnly };

/// Ways from the input to the mixer.
enum class DutPath { direct, amplifier, divider };

struct Passband {
    double min_Hz, max_Hz; // of the carrier at the input

    bool operator==(const Passband&) const = default;
};

struct UnitBoards {
    AnalogRevision analog;       // position 6: '2' 1C, '3' 2A, '4' 2B, '5' 2C, '6' 2D, else 1B
    FpgaGeneration fpga;         // position 9: '6' second, else first
    bool acquisitionPll;         // position 9: '4' and '5', of the first generation
    SourceBoards sources;        // positions 0 and 10; the reference of a pair can be selected
    ControllerBoards controller; // position 5: '2' from 1E, '3' from 1F on, '4' with the option FS
    PanelKind panel;             // position 4: '2' older, '3' and '4' newer
    SupplyBoards supply;         // position 7: '3' 12 V, '5' relay only, others above '1' 5 V
    double carrierMin_Hz, carrierMax_Hz;
    double prescalerThreshold_Hz; // analog boards up to 2A divide until the carrier is at most this
    double tuneMiddle_V;          // tune voltage at which a source stands where it was set; not of the 1 GHz reference
    bool hasHighInput;            // a relay leads the input to the direct path or past it to the two others
    bool modifiedLoop;            // position 12: '1' from 2B on, of generations 2 and 5
    uint64_t individual;          // of the whole number: seed of what makes this unit unlike its sisters
};
inline constexpr double tuneMiddle1GHz_V = 1.4;
inline constexpr double counterInputMax_Hz = 240e6; // behind the counter's dividers

/// Level at the input, with the preamplifier off, from which up a carrier switches the mixer.
[[nodiscard]] double unitBoards_fullDrive_dBm(const UnitBoards& boards, double carrier_Hz);

[[nodiscard]] Passband unitBoards_passband(const UnitBoards& boards, DutPath path);

/// A text that is too short counts as filled up with '0'.
[[nodiscard]] UnitBoards unitBoards_of(std::string_view serialNumber);

/// The IF gain in dB that the analog boards set for a request in dB.
[[nodiscard]] int unitBoards_ifGain_dB(const UnitBoards& boards, int request_dB);

} // namespace vi
