#pragma once
/// One channel of the double source board, as the SPI bus sees it: a DDS on the 1 GHz of an OCXO, up to 400 MHz
/// straight to the output, above multiplied in a loop around a VCO of 3 to 6 GHz with a divider behind it.
///
///   0  control register, 1 byte         1  path register, 1 byte
///   2  AD7940: tune node of the VCO     3  AD5640: the same node
///   4  AD9912                           its word waits for the I/O update, power and full scale do not
///   5  AD7940: the tune line            6, 7  status registers of a byte: line 0 of the first tells the lock
///
/// 8 higher for channel B. The registers act at once, unlike those of the boards that come in pairs: their lines are
/// set one by one, and the last of them has no I/O update behind it.

#include "virtual/boards/source_circuit.h"
#include "virtual/boards/source_inputs.h"
#include "virtual/boards/vco_loop.h"
#include "virtual/boards/watched_board.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

namespace vi {

inline constexpr uint32_t doubleSourceA = 0, doubleSourceB = 8; // first SPI address of a channel

class DoubleSource final : public WatchedBoard<SourceCircuit> {
public:
    DoubleSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name = "is");

private:
    void settle() override;
    [[nodiscard]] SourceCircuit decode() const override;
    [[nodiscard]] bool clocked() const;
    [[nodiscard]] double dds_Hz() const;

    SourceInputs inputs_;
    OutputRegister control_, path_;
    Ad7940Model vcoTuneAdc_, tuneAdc_;
    Ad5640Model vcoDac_;
    Ad9912Model dds_;
    InputRegister lockStatus_, furtherStatus_;
    VcoLoop vco_;
    double wanted_Hz_ = 0; // what DDS and multiplier ask of the VCO
};

} // namespace vi
