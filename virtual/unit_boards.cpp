#include "virtual/unit_boards.h"

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

/// The source boards want no more than this at the mixer.
double prescalerThreshold_Hz(bool secondGenerationSource, char sourceCode, AnalogRevision analog) {
    if (secondGenerationSource)
        return 2500e6;
    if (sourceCode == '5' && (analog == AnalogRevision::r1B || analog == AnalogRevision::r1C))
        return 990e6;
    return 1990e6;
}

} // namespace

UnitBoards unitBoards_of(std::string_view serialNumber) {
    const auto at = [serialNumber](size_t position) {
        return position < serialNumber.size() ? serialNumber[position] : '0';
    };
    const bool gate = at(0) == '2' || at(0) == '5';
    const bool secondGenerationSource = gate && (at(10) == '8' || at(10) == '9');
    UnitBoards boards{};
    boards.analog = analogRevision(at(6));
    boards.fpga = at(9) == '6' ? FpgaGeneration::second : FpgaGeneration::first;
    boards.hasSourcePair = secondGenerationSource || (gate && at(10) == '7');
    boards.carrierMin_Hz = 1e6;
    boards.carrierMax_Hz = at(1) == '4' ? 7e9 : 29.5e9;
    boards.prescalerThreshold_Hz = prescalerThreshold_Hz(secondGenerationSource, at(10), boards.analog);
    return boards;
}

uint32_t unitBoards_prescaler(const UnitBoards& boards, double carrier_Hz) {
    switch (boards.analog) {
    case AnalogRevision::r2D: return carrier_Hz < 13.1e9 ? 1 : carrier_Hz < 25e9 ? 2 : 4;
    case AnalogRevision::r2B:
    case AnalogRevision::r2C: return carrier_Hz < 9.9e9 ? 1 : carrier_Hz < 18e9 ? 2 : 4;
    default: {
        uint32_t ratio = 1;
        while (ratio < 8 && carrier_Hz / ratio > boards.prescalerThreshold_Hz)
            ratio *= 2;
        return ratio;
    }
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
