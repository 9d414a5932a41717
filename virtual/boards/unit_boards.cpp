#include "virtual/boards/unit_boards.h"

#include <span>

namespace vi {
namespace {

struct GainState {
    int requestBelow_dB, gain_dB;
};
constexpr int noLimit = INT32_MAX;
constexpr GainState gains1B[] = {{5, 0}, {39, 26}, {noLimit, 52}};
constexpr GainState gains1C[] = {{5, 0}, {24, 20}, {30, 26}, {noLimit, 46}};
constexpr GainState gains2[] = {{6, 0}, {16, 12}, {26, 20}, {38, 32}, {50, 44}, {noLimit, 56}};

std::span<const GainState> gainStates(AnalogRevision revision) {
    switch (revision) {
    case AnalogRevision::r1B: return gains1B;
    case AnalogRevision::r1C: return gains1C;
    default: return gains2;
    }
}

AnalogRevision analogRevision(char code) {
    switch (code) {
    case '2': return AnalogRevision::r1C;
    case '3': return AnalogRevision::r2A;
    case '4': return AnalogRevision::r2B;
    case '5': return AnalogRevision::r2C;
    case '6': return AnalogRevision::r2D;
    default: return AnalogRevision::r1B;
    }
}

SourceBoards sourceBoards(bool gate, char code) {
    if (code == '5')
        return SourceBoards::doubleChannel;
    if (gate && (code == '8' || code == '9'))
        return SourceBoards::secondPair;
    return gate && code == '7' ? SourceBoards::firstPair : SourceBoards::none;
}

ControllerBoards controllerBoards(char code) {
    if (code == '4')
        return ControllerBoards::fs;
    if (code > '2')
        return ControllerBoards::from1F;
    return code > '1' ? ControllerBoards::from1E : ControllerBoards::before1E;
}

PanelKind panelKind(char code) {
    if (code == '2')
        return PanelKind::older;
    return code == '3' || code == '4' ? PanelKind::newer : PanelKind::none;
}

SupplyBoards supplyBoards(char code) {
    if (code <= '1')
        return SupplyBoards::none;
    if (code == '5')
        return SupplyBoards::relayOnly;
    return code == '3' ? SupplyBoards::high12V : SupplyBoards::low5V;
}

/// FNV-1a.
uint64_t hash(std::string_view text) {
    uint64_t value = 0xcbf29ce484222325;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return value;
}

/// The source boards want no more than this at the mixer.
double prescalerThreshold_Hz(SourceBoards sources, AnalogRevision analog) {
    if (sources == SourceBoards::secondPair)
        return 2500e6;
    if (sources == SourceBoards::doubleChannel && (analog == AnalogRevision::r1B || analog == AnalogRevision::r1C))
        return 990e6;
    return 1990e6;
}

struct DrivePoint {
    double below_Hz, level_dBm;
};
constexpr double fullDrive_dBm = 5; // where the tables end
constexpr DrivePoint drive2A[] = {{200e6, 4}};
constexpr DrivePoint drive2B[] = {{300e6, -1}, {1e9, 1}, {1.5e9, 4}};
constexpr DrivePoint drive2CD[] = {{300e6, 1}, {1.5e9, 4}, {2e9, 5}, {5e9, 4}};

std::span<const DrivePoint> drivePoints(AnalogRevision revision) {
    switch (revision) {
    case AnalogRevision::r2A: return drive2A;
    case AnalogRevision::r2B: return drive2B;
    case AnalogRevision::r2C:
    case AnalogRevision::r2D: return drive2CD;
    default: return {};
    }
}

} // namespace

UnitBoards unitBoards_of(std::string_view serialNumber) {
    const auto at = [serialNumber](size_t position) {
        return position < serialNumber.size() ? serialNumber[position] : '0';
    };
    const bool gate = at(0) == '2' || at(0) == '5';
    UnitBoards boards{};
    boards.analog = analogRevision(at(6));
    boards.fpga = at(9) == '6' ? FpgaGeneration::second : FpgaGeneration::first;
    boards.acquisitionPll = at(9) == '4' || at(9) == '5';
    boards.sources = sourceBoards(gate, at(10));
    boards.controller = controllerBoards(at(5));
    boards.panel = panelKind(at(4));
    boards.supply = supplyBoards(at(7));
    boards.individual = hash(serialNumber);
    boards.carrierMin_Hz = 1e6;
    boards.carrierMax_Hz = at(1) == '4' ? 7e9 : 29.5e9;
    boards.prescalerThreshold_Hz = prescalerThreshold_Hz(boards.sources, boards.analog);
    const bool first = boards.analog == AnalogRevision::r1B || boards.analog == AnalogRevision::r1C;
    boards.tuneMiddle_V = first ? 6.5 : boards.analog == AnalogRevision::r2A ? 7.0 : 7.2;
    boards.hasHighInput = !first && boards.analog != AnalogRevision::r2A;
    boards.modifiedLoop = boards.hasHighInput && gate && at(12) == '1';
    return boards;
}

double unitBoards_fullDrive_dBm(const UnitBoards& boards, double carrier_Hz) {
    for (const DrivePoint& point : drivePoints(boards.analog))
        if (carrier_Hz < point.below_Hz)
            return point.level_dBm;
    return fullDrive_dBm;
}

Passband unitBoards_passband(const UnitBoards& boards, DutPath path) {
    if (!boards.hasHighInput) {
        constexpr Passband passbands[] = {{0.9e6, 30e9}, {0.9e6, 3.2e9}, {0.8e9, 30e9}}; // by path
        return passbands[static_cast<size_t>(path)];
    }
    switch (path) {
    case DutPath::direct: return {0.9e6, 2.6e9};
    case DutPath::amplifier: return {1.5e9, 14e9};
    default: return {4e9, 30e9};
    }
}

int unitBoards_ifGain_dB(const UnitBoards& boards, int request_dB) {
    const std::span<const GainState> states = gainStates(boards.analog);
    for (const GainState& state : states)
        if (request_dB < state.requestBelow_dB)
            return state.gain_dB;
    return states.back().gain_dB;
}

} // namespace vi
