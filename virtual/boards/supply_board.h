#pragma once
/// The DUT supply as the SPI bus sees it: two outputs with a voltage DAC and a current ADC each, and the relay that
/// leads the input to the analog boards' low or high input. Nothing of it hangs on the I/O update line.
///
///   232  shift register, 1 byte: line 1 output 1 on, line 0 output 2 on, line 7 relay low
///   235, 236  DAC and ADC of output 1; 233, 234 of output 2. Where the relay is all there is, sends
///        to the converters' places are lost, and reads find a line that nobody drives
///
/// What a DAC's count gives and how an ADC counts is of the unit: SupplyTruth.

#include "virtual/boards/unit_boards.h"
#include "virtual/boards/unit_truth.h"
#include "virtual/boards/watched_board.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"

#include <array>

namespace vi {

struct SupplyOutput {
    bool enabled = false;
    double set_V = 0; // what its DAC asks for

    bool operator==(const SupplyOutput&) const = default;
};

struct SupplyCircuit {
    bool inputHigh = true; // the relay, which a unit without a supply has all the same
    std::array<SupplyOutput, supplyOutputs> outputs;

    bool operator==(const SupplyCircuit&) const = default;
};

/// Current that would flow out of an output, 0 or 1, at so many volts. An output that cannot give it gives what it can,
/// and its voltage breaks down.
using SupplyLoad = std::function<double(size_t output, double volts)>;

class SupplyBoard final : public WatchedBoard<SupplyCircuit> {
public:
    /// `load_A` is asked at each conversion.
    SupplyBoard(SpiBus& bus, const UnitBoards& boards, SupplyLoad load_A);

    /// What an output gives into its load, V.
    [[nodiscard]] double delivered_V(size_t output) const { return deliver(output).volts; }

private:
    /// A place where no chip is fitted.
    struct EmptyPlace final : SpiChip {
        bool send(std::span<const uint8_t> frame, uint32_t mode) override;
        bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;
    };

    [[nodiscard]] SupplyCircuit decode() const override;
    struct Delivered {
        double volts, amperes;
    };
    [[nodiscard]] Delivered deliver(size_t output) const;
    [[nodiscard]] double adcInput_V(size_t output) const;

    std::array<SupplyTruth, supplyOutputs> truth_;
    SupplyLoad load_A_;
    OutputRegister lines_;
    std::array<Ad5640Model, supplyOutputs> dacs_;
    std::array<Ad7940Model, supplyOutputs> adcs_;
    EmptyPlace empty_;
};

} // namespace vi
