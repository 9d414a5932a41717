#pragma once
/// One source board of the first generation, as the SPI bus sees it: a DDS on a clock of 3 GHz or 500 MHz, a multiplier
/// by 1, 2 or 4 and an output divider behind it.
///
///   96  shift register, 3 bytes  waits for the I/O update, its lines change together
///   97  AD7940: the tune line
///   98  AD9914                   all of it waits for the I/O update
///   99  HMC988, id 0             acts at once
///
/// 16 higher for channel B. After a change of its clock the DDS wants its DAC calibrated; until then nothing useful
/// comes out.

#include "virtual/boards/source_circuit.h"
#include "virtual/boards/source_inputs.h"
#include "virtual/boards/watched_board.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

namespace vi {

class FirstSource final : public WatchedBoard<SourceCircuit> {
public:
    FirstSource(SpiBus& bus, uint32_t firstAddress, SourceInputs inputs, const std::string& name = "is");

private:
    void settle() override;
    [[nodiscard]] SourceCircuit decode() const override;
    [[nodiscard]] SourceReference reference() const;
    [[nodiscard]] double clock_Hz() const;

    SourceInputs inputs_;
    LatchedRegister lines_;
    Ad7940Model tuneAdc_;
    Ad9914Model dds_;
    Hmc988Model divider_;
    double calibratedFor_Hz_ = 0; // clock that the DDS has last been calibrated on
    int calibrations_ = 0;
};

} // namespace vi
