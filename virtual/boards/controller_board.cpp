#include "virtual/boards/controller_board.h"

#include "platform/tvko.h"

namespace vi {
namespace {

enum Address : uint32_t {
    linesAddress = 240,
    fanAddress = 241,
    userAddress = 243,
    generatorAddress = 244,
    amplitudeAddress = 245,
    temperatureAddress = 246,
    fsControlAddress = 254,
};

/// A line's name says what it does while it is high.
enum Line : unsigned {
    squareOrPulse = 0, // of the generator, or of what is digital
    analogOut = 1,
    generatorOff = 4,
    generatorControl = 6,
    rfEnable = 7,
    attenuatorD = 8,
    attenuatorA = 9,
    attenuatorB = 10,
    attenuatorC = 11,
    converter = 12,
    modulationGenerator = 14,
    dacOut = 15,
    readyLamp = 16,
    remoteLamp = 17,
    errorLamp = 18,
    resetToPin = 19,
    fanOn = 20,
};
constexpr unsigned furtherLeds[] = {21, 22, 23, 13};
constexpr unsigned attenuatorLines[] = {attenuatorA, attenuatorB, attenuatorC, attenuatorD};

constexpr size_t lineBytes = 3, fsControlBytes = 1;
constexpr double generatorClock_Hz = 10e6;
constexpr double amplitudeSpan_V = 2.25 * 1024 / 1023; // full scale reaches 2.25 V
constexpr double userSpan_V = 5;

} // namespace

ControllerBoard::ControllerBoard(SpiBus& bus, ControllerBoards kind)
    : WatchedBoard(bus), kind_(kind), lines_(lineBytes), fsControl_(fsControlBytes), userDac_(14),
      userAdc_(userSpan_V, [this] { return userInput_V_.load(); }),
      temperature_([this] { return temperature_degC_.load(); }) {
    const bool fs = kind == ControllerBoards::fs;
    attach(linesAddress, lines_, "cont.lines");
    if (fs)
        attach(fanAddress, fan_, "cont.fan");
    if (kind == ControllerBoards::before1E)
        attach(userAddress, userAdc_, "cont.user_adc");
    else
        attach(userAddress, userDac_, "cont.user_dac");
    attach(generatorAddress, generator_, "cont.lfg");
    attach(amplitudeAddress, amplitude_, "cont.lfg_amplitude");
    attach(temperatureAddress, temperature_, "cont.temperature");
    if (fs)
        bus.attachSends(fsControlAddress, &fsControl_);
    bus.setPinSource(tvko_pinReset,
                     [this] { return uint32_t{lines_.line(resetToPin) ? resetInput_.load() : phaseStatus_.load()}; });
    update();
}

ControllerBoard::~ControllerBoard() {
    bus().detach(&fsControl_);
    bus().setPin(tvko_pinReset, 0);
}

void ControllerBoard::settle() {
    const bool high = lines_.line(generatorControl);
    if (high && !controlHigh_)
        generator_.pulseControl();
    controlHigh_ = high;
}

ControllerCircuit ControllerBoard::decode() const {
    ControllerCircuit circuit;
    if (kind_ != ControllerBoards::before1E) {
        circuit.readyLamp = lines_.line(readyLamp);
        circuit.remoteLamp = lines_.line(remoteLamp);
        circuit.errorLamp = lines_.line(errorLamp);
    }
    const bool fs = kind_ == ControllerBoards::fs;
    if (fs)
        for (size_t i = 0; i < circuit.outputLeds.size(); ++i)
            circuit.outputLeds[i] = lines_.line(furtherLeds[i]);
    const bool switched = kind_ == ControllerBoards::from1F || fs; // others' fans run as long as the unit does
    circuit.fan = switched && !lines_.line(fanOn) ? 0 : fs ? 1 - fan_.ratio() : 1;
    circuit.rfEnabled = fs || lines_.line(rfEnable);
    circuit.converterOn = lines_.line(converter);
    for (size_t i = 0; i < std::size(attenuatorLines); ++i)
        circuit.attenuator |= uint32_t{lines_.line(attenuatorLines[i])} << i;
    circuit.modulationFromGenerator = lines_.line(modulationGenerator);
    if (!lines_.line(generatorOff)) {
        constexpr GeneratorWave waves[] = {GeneratorWave::off, GeneratorWave::sine, GeneratorWave::triangle};
        circuit.generator = {waves[static_cast<size_t>(generator_.wave())], generator_.square(),
                             generator_.output_Hz(generatorClock_Hz), amplitudeSpan_V * amplitude_.ratio()};
    }
    decodeOutput(&circuit);
    return circuit;
}

/// Line 1 leads the output to what is analog, the generator or the DAC, else to what is digital.
void ControllerBoard::decodeOutput(ControllerCircuit* circuit) const {
    const LowFrequencyGenerator& generator = circuit->generator;
    const bool first = lines_.line(squareOrPulse);
    if (!lines_.line(analogOut)) {
        circuit->output = lines_.line(dacOut) ? FunctionOutput::open
                          : first             ? FunctionOutput::pulse
                                              : FunctionOutput::low;
        return;
    }
    if (lines_.line(dacOut)) {
        const bool fitted = kind_ != ControllerBoards::before1E && userDac_.output() == DacOutput::driven;
        circuit->output = FunctionOutput::dac;
        circuit->outputAmplitude_V = fitted ? userSpan_V * userDac_.ratio() : 0;
        return;
    }
    const bool runs = first ? generator.square : generator.wave != GeneratorWave::off;
    circuit->output = !runs ? FunctionOutput::low : first ? FunctionOutput::square : FunctionOutput::generator;
    circuit->outputAmplitude_V = runs ? generator.amplitude_V : 0;
    circuit->outputFrequency_Hz = runs ? generator.frequency_Hz : 0;
}

} // namespace vi
