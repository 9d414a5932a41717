#pragma once
/// One source board of the pair of 2A and 2B, as the SPI bus sees it: a DDS on a clock of 1 GHz, up to 400 MHz straight
/// to the output, above as the reference of a loop around the VCO of an ADF5355. That chip's own loop only chooses the
/// band; with its pump off, divider A and B and a phase detector of the board pull it onto the DDS.
///
///   96   shift register, 3 bytes       waits for the I/O update, its lines change together
///   97   AD7940: the tune line         99   AD7940: tune node of the reference's own loop
///   98   ADF5355                       100  AD5640: the same node
///   101  AD7940: tune node of the VCO  103  AD5640: the same node
///   102  AD9912                        its word waits for the I/O update, power and full scale do not
///
/// 16 higher for channel B.

#include "virtual/boards/source_circuit.h"
#include "virtual/boards/source_inputs.h"
#include "virtual/boards/vco_loop.h"
#include "virtual/boards/watched_board.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

namespace vi {

inline constexpr uint32_t sourceBoardA = 96, sourceBoardB = 112; // first SPI address of a channel's board

class PairSource final : public WatchedBoard<SourceCircuit> {
public:
    PairSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name = "is");

private:
    void settle() override;
    [[nodiscard]] SourceCircuit decode() const override;
    [[nodiscard]] SourceReference reference() const;
    [[nodiscard]] bool ddsToLoop() const;
    [[nodiscard]] double dds_Hz() const;
    [[nodiscard]] double vcoAt_Hz(double tune_V) const; // behind the chip's divider

    SourceInputs inputs_;
    LatchedRegister lines_;
    Ad7940Model tuneAdc_, referenceTuneAdc_, vcoTuneAdc_;
    Ad5640Model referenceDac_, vcoDac_;
    Adf5355Model pll_;
    Ad9912Model dds_;
    VcoLoop vco_, referenceLoop_;
    double wanted_Hz_ = 0; // what DDS and dividers ask of the VCO
};

} // namespace vi
