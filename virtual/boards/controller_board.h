#pragma once
/// The controller board as the SPI bus sees it: lamps, fan, temperature, reset input, RF enable, attenuator lines, the
/// low-frequency generator and the function output. No chip of it hangs on the I/O update line.
///
///   240  shift register, 3 bytes
///   241  MCP4131: fan speed, with option FS; 1 from its wiper down to B is the fan's full speed
///   243  AD5640: user DAC, from 1E on; before, AD7680: user input
///   244  AD5932, 245 AD5432: generator and its amplitude; 246 TC77
///   254  with option FS: control register of the FS FPGA, 1 byte. Only its sends: what is read at this address comes
///   from
///        the acquisition board
///
/// The FS FPGA is told the rest of its settings by a way that no transfer goes; it starts with RF enabled and its
/// function output low. The configuration flash of that FPGA (253) is not modelled.

#include "virtual/boards/unit_boards.h"
#include "virtual/boards/watched_board.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

#include <array>
#include <atomic>

namespace vi {

enum class GeneratorWave { off, sine, triangle };

struct LowFrequencyGenerator {
    GeneratorWave wave = GeneratorWave::off;
    bool square = false; // at its digital pin
    double frequency_Hz = 0;
    double amplitude_V = 0;

    bool operator==(const LowFrequencyGenerator&) const = default;
};

enum class FunctionOutput {
    low,       // also what it shows of an idle trigger or pulse modulator
    pulse,     // the pulse modulator's line
    generator, // sine or triangle
    square,    // the generator's digital pin
    dac,
    open // the switches lead it to nothing
};

struct ControllerCircuit {
    bool readyLamp = false, remoteLamp = false, errorLamp = false; // from 1E on
    std::array<bool, 4> outputLeds{};                              // with option FS: those behind lines 21, 22, 23, 13
    double fan = 1;                                                // share of its full speed
    bool rfEnabled = false;
    bool converterOn = false;
    uint32_t attenuator = 0; // lines A (lowest) to D
    bool modulationFromGenerator = false;
    LowFrequencyGenerator generator;
    FunctionOutput output = FunctionOutput::low;
    double outputAmplitude_V = 0; // of the wave, or the level of the DAC
    double outputFrequency_Hz = 0;

    bool operator==(const ControllerCircuit&) const = default;
};

class ControllerBoard final : public WatchedBoard<ControllerCircuit> {
public:
    ControllerBoard(SpiBus& bus, ControllerBoards kind);
    ~ControllerBoard() override;

    // The bench's side; thread-safe.
    void setTemperature_degC(double temperature) { temperature_degC_ = temperature; }
    [[nodiscard]] double temperature_degC() const { return temperature_degC_; }
    void setUserInput_V(double volts) { userInput_V_ = volts; } // of boards before 1E
    void setResetInput(bool active) { resetInput_ = active; }
    void setPhaseStatus(bool high) { phaseStatus_ = high; }

private:
    [[nodiscard]] ControllerCircuit decode() const override;
    void settle() override;
    void decodeOutput(ControllerCircuit* circuit) const;

    ControllerBoards kind_;
    std::atomic<double> temperature_degC_{34.5}, userInput_V_{0};
    std::atomic<bool> resetInput_{false}, phaseStatus_{false};
    OutputRegister lines_, fsControl_;
    Mcp4131Model fan_;
    Ad5640Model userDac_;
    Ad7680Model userAdc_;
    Ad5932Model generator_;
    Ad5432Model amplitude_;
    Tc77Model temperature_;
    bool controlHigh_ = false; // the generator's control line
};

} // namespace vi
