#include "virtual/hardware/panel_record.h"

#include <iomanip>
#include <sstream>

namespace vi {
namespace {

const char* onOff(bool on) {
    return on ? "on" : "off";
}

const char* nameOf(GeneratorWave wave) {
    constexpr const char* names[] = {"off", "sine", "triangle"};
    return names[static_cast<size_t>(wave)];
}

const char* nameOf(FunctionOutput output) {
    constexpr const char* names[] = {"low", "pulse", "generator", "square", "DAC", "open"};
    return names[static_cast<size_t>(output)];
}

} // namespace

std::string panelRecord_text(const ControllerCircuit& controller, double temperature_degC, const SupplyCircuit& supply,
                             const std::string& oscillator) {
    constexpr double percent = 100;
    std::ostringstream text;
    text << std::fixed << std::setprecision(1);
    text << "ready lamp       " << onOff(controller.readyLamp) << '\n';
    text << "remote lamp      " << onOff(controller.remoteLamp) << '\n';
    text << "error lamp       " << onOff(controller.errorLamp) << '\n';
    text << "fan              " << controller.fan * percent << " %\n";
    text << "temperature      " << temperature_degC << " degC\n";
    text << "RF               " << onOff(controller.rfEnabled) << '\n';
    text << "generator        " << nameOf(controller.generator.wave) << ", " << controller.generator.frequency_Hz
         << " Hz, " << std::setprecision(3) << controller.generator.amplitude_V << " V\n";
    text << "function output  " << nameOf(controller.output) << ", " << controller.outputAmplitude_V << " V\n";
    text << "input relay      " << (supply.inputHigh ? "high" : "low") << '\n';
    for (size_t i = 0; i < supply.outputs.size(); ++i)
        text << "supply " << i + 1 << "         " << onOff(supply.outputs[i].enabled) << ", " << supply.outputs[i].set_V
             << " V\n";
    if (!oscillator.empty())
        text << "oscillator       " << oscillator << '\n';
    return text.str();
}

} // namespace vi
