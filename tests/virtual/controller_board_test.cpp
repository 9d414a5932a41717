#include "tests/virtual/board_bus.h"
#include "virtual/boards/controller_board.h"

#include <gtest/gtest.h>

using namespace vi;

namespace {

using enum ControllerBoards;
constexpr uint32_t lines = 240, fan = 241, user = 243, generator = 244, amplitude = 245, temperature = 246,
                   control = 254;

struct Controller {
    explicit Controller(ControllerBoards kind = from1F) : board(bus, kind) {}
    const ControllerCircuit& set(uint32_t word) {
        EXPECT_TRUE(bus.send(lines, word, 3));
        return board.circuit();
    }
    void pulse(uint32_t word) {
        set(word | 1 << 6);
        set(word);
    }

    BoardBus bus;
    ControllerBoard board;
};

} // namespace

TEST(ControllerBoard, LampsFanAndSwitchesFollowTheirLinesAsFarAsTheBoardHasThem) {
    const struct {
        ControllerBoards kind;
        unsigned line;
        bool (*shows)(const ControllerCircuit&);
        bool has;
    } rows[] = {
        {from1E, 16, [](const auto& c) { return c.readyLamp; }, true},
        {from1E, 17, [](const auto& c) { return c.remoteLamp; }, true},
        {from1E, 18, [](const auto& c) { return c.errorLamp; }, true},
        {before1E, 16, [](const auto& c) { return c.readyLamp; }, false},
        {from1F, 20, [](const auto& c) { return c.fan == 1; }, true},
        {fs, 13, [](const auto& c) { return c.outputLeds[3]; }, true},
        {fs, 21, [](const auto& c) { return c.outputLeds[0]; }, true},
        {from1F, 21, [](const auto& c) { return c.outputLeds[0]; }, false},
        {from1F, 7, [](const auto& c) { return c.rfEnabled; }, true},
        {from1F, 12, [](const auto& c) { return c.converterOn; }, true},
        {from1F, 14, [](const auto& c) { return c.modulationFromGenerator; }, true},
    };
    for (const auto& row : rows) {
        Controller controller(row.kind);
        EXPECT_FALSE(row.shows(controller.set(0))) << row.line;
        EXPECT_EQ(row.shows(controller.set(1U << row.line)), row.has) << row.line;
        EXPECT_EQ(row.shows(controller.set(0xFFFFFFU ^ 1U << row.line)), false) << row.line;
    }
    EXPECT_EQ(Controller().set(1 << 9 | 1 << 8).attenuator, 0b1001u) << "A and D";
    EXPECT_EQ(Controller().set(1 << 10 | 1 << 11).attenuator, 0b0110u) << "B and C";
    EXPECT_TRUE(Controller(fs).set(0).rfEnabled) << "by its FPGA";
    EXPECT_EQ(Controller(from1E).set(0).fan, 1) << "always on";
}

TEST(ControllerBoard, TheGeneratorStartsAtAPulseAndReachesTheOutputThatIsSwitchedToIt) {
    Controller controller;
    constexpr uint32_t word = 671;                                      // 400 Hz of 10 MHz in 24 bits
    constexpr uint32_t sine = 0xEFB, triangle = 0xCFB, digital = 0xFFB; // control words
    EXPECT_TRUE(controller.bus.send(amplitude, 0x9000, 2, 1) &&
                controller.bus.send(amplitude, 0x1000 | 454 << 2, 2, 1));
    const auto prepare = [&](uint32_t controlWord, uint32_t routing) {
        EXPECT_TRUE(controller.bus.send(generator, controlWord, 2, 1));
        EXPECT_TRUE(controller.bus.send(generator, (0xC000 | (word & 0xFFF)) << 16 | 0xD000 | word >> 12, 4, 1));
        return controller.set(routing);
    };
    EXPECT_EQ(prepare(sine, 0b10).output, FunctionOutput::low) << "not started";
    controller.pulse(0b10);
    const ControllerCircuit& circuit = controller.board.circuit();
    EXPECT_EQ(circuit.output, FunctionOutput::generator);
    EXPECT_EQ(circuit.generator.wave, GeneratorWave::sine);
    EXPECT_NEAR(circuit.outputFrequency_Hz, 400, 0.6);
    EXPECT_NEAR(circuit.outputAmplitude_V, 1, 0.003);
    EXPECT_EQ(controller.set(0b11).output, FunctionOutput::low) << "the digital pin is off";
    EXPECT_EQ(controller.set(0b10 | 1 << 4).output, FunctionOutput::low) << "without supply";

    prepare(triangle, 0b10);
    controller.pulse(0b10);
    EXPECT_EQ(circuit.generator.wave, GeneratorWave::triangle);
    prepare(digital, 0b11);
    controller.pulse(0b11);
    EXPECT_EQ(circuit.output, FunctionOutput::square);

    EXPECT_EQ(controller.set(0).output, FunctionOutput::low);
    EXPECT_EQ(controller.set(1).output, FunctionOutput::pulse);
    EXPECT_TRUE(controller.bus.send(user, 8192, 2, 1));
    EXPECT_EQ(controller.set(1 << 15 | 0b10).output, FunctionOutput::dac);
    EXPECT_DOUBLE_EQ(circuit.outputAmplitude_V, 2.5);
    EXPECT_EQ(controller.set(1 << 15).output, FunctionOutput::open);
    EXPECT_EQ(controller.bus.faults(), 0u) << controller.bus.faultTexts();
}

TEST(ControllerBoard, ItsInputsAndTheChipsOfItsKind) {
    Controller early(before1E), late, withFs(fs);
    late.board.setTemperature_degC(41.25);
    EXPECT_EQ(static_cast<int16_t>(late.bus.read(temperature, 2, 0) & 0xFFF8) * 0.0078125, 41.25);

    late.board.setResetInput(true);
    EXPECT_EQ(late.bus.pin(tvko_pinReset), 0u) << "phase status";
    late.set(1 << 19);
    EXPECT_EQ(late.bus.pin(tvko_pinReset), 1u);

    early.board.setUserInput_V(1.25);
    EXPECT_EQ(early.bus.read(user, 3, 0) >> 5, 16384u);
    EXPECT_FALSE(early.bus.send(user, 0, 2, 1)) << "an ADC";
    EXPECT_FALSE(late.bus.send(fan, 0, 2)) << "without the option";

    EXPECT_TRUE(withFs.bus.send(fan, 32, 2) && withFs.bus.send(control, 1, 1));
    EXPECT_DOUBLE_EQ(withFs.set(1 << 20).fan, 0.75);
    EXPECT_FALSE(late.bus.send(control, 1, 1));
}
