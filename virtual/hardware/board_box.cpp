#include "virtual/hardware/board_box.h"

#include "virtual/boards/source_double.h"
#include "virtual/boards/source_first.h"
#include "virtual/boards/source_pair.h"
#include "virtual/hardware/panel_record.h"

#include <algorithm>
#include <utility>

namespace vi {
namespace {

constexpr double detectorPerCount_V = 5 / 16384.0, detectorMax_V = 5, middleOfStep = 0.5;

Reference referenceOf(SourceReference reference) {
    switch (reference) {
    case SourceReference::ocxo10MHzTimes100: return Reference::ocxo10MHzTimes100;
    case SourceReference::resonator1GHz: return Reference::resonator1GHz;
    case SourceReference::lowNoisePll: return Reference::lowNoisePll;
    default: return Reference::crystal100MHz;
    }
}

/// The source's output lies at the mixer's port.
bool meets(MixerReference wanted, SourcePort port) {
    switch (wanted) {
    case MixerReference::source: return true;
    case MixerReference::sourceLow: return port != SourcePort::high;
    case MixerReference::sourceHigh: return port != SourcePort::low;
    default: return false;
    }
}

} // namespace

BoardBox::BoardBox(SpiBus& bus, Bench& bench, const UnitBoards& boards)
    : bus_(bus), bench_(bench), boards_(boards), controller_(bus, boards.controller),
      supply_(bus, boards, [&bench](size_t output, double volts) { return bench_supplyLoad_A(&bench, output, volts); }),
      analogA_(bus, boards, analogBoardA, inputsOf(channelA), "A.alg"),
      analogB_(bus, boards, analogBoardB, inputsOf(channelB), "B.alg"), sources_{makeSource(bus, channelA),
                                                                                 makeSource(bus, channelB)} {
    for (size_t i = 0; i < detectors_.size(); ++i)
        detectors_[i] = unitTruth_detector(boards, static_cast<Detector>(i));
    bus.setChipFaults([&bench](const std::string& name) { return bench_chipFault(&bench, name); });
    controller_.onChange([this](const auto&) { tell(); });
    supply_.onChange([this](const auto&) { tell(); });
    for (const Channel channel : {channelA, channelB}) {
        analog(channel).onChange([this, channel](const auto&) { tell(channel); });
        if (sources_[channel] != nullptr)
            sources_[channel]->onChange([this, channel](const auto&) { tell(channel); });
    }
    tell();
}

BoardBox::~BoardBox() {
    bus_.setChipFaults({});
}

void BoardBox::onPanel(std::function<void(const std::string& text)> changed) {
    panelChanged_ = std::move(changed);
    tellPanel();
}

void BoardBox::tellPanel() const {
    if (panelChanged_)
        panelChanged_(panelRecord_text(controller_.circuit(), controller_.temperature_degC(), supply_.circuit(),
                                       bench_oscillatorRecord(&bench_)));
}

SourceCircuit BoardBox::source(Channel channel) const {
    return sources_[channel] != nullptr ? sources_[channel]->circuit() : SourceCircuit{};
}

std::unique_ptr<BoardBox::Source> BoardBox::makeSource(SpiBus& bus, Channel channel) {
    const bool a = channel == channelA;
    const std::string name = a ? "A.is" : "B.is";
    const uint32_t pair = a ? sourceBoardA : sourceBoardB;
    const SourceInputs inputs{[this, channel] { return bench_readTune_V(&bench_, channel); },
                              [this, channel] { return bench_vcoBroken(&bench_, channel); }};
    switch (boards_.sources) {
    case SourceBoards::firstPair: return std::make_unique<FirstSource>(bus, pair, inputs, name);
    case SourceBoards::secondPair: return std::make_unique<PairSource>(bus, pair, inputs, name);
    case SourceBoards::doubleChannel:
        return std::make_unique<DoubleSource>(bus, a ? doubleSourceA : doubleSourceB, inputs, name);
    default: return nullptr;
    }
}

AnalogInputs BoardBox::inputsOf(Channel channel) {
    return {[this, channel](Detector detector) {
                const SignalPath& path = analog(channel).circuit().power.path;
                const auto [carrier_Hz, level_dBm] = bench_detectorInput(&bench_, channel, path);
                const double count =
                    detector_count(detectors_.at(static_cast<size_t>(detector)), carrier_Hz, level_dBm);
                return std::clamp((count + middleOfStep) * detectorPerCount_V, 0.0, detectorMax_V);
            },
            [this, channel] { return bench_readTune_V(&bench_, channel); }};
}

ChannelWiring BoardBox::wiring(Channel channel) const {
    const AnalogCircuit& analog = (channel == channelA ? analogA_ : analogB_).circuit();
    const SourceCircuit from = source(channel);
    ChannelWiring wiring;
    wiring.dut = analog.dut;
    wiring.inputHigh = supply_.circuit().inputHigh;
    wiring.ifChain = analog.ifChain;
    wiring.loop = analog.loop;
    wiring.counter = analog.counter;
    const bool external =
        analog.reference == MixerReference::external || analog.reference == MixerReference::externalAmplified;
    if (external) {
        wiring.reference = Reference::external;
        wiring.driven = true;
        wiring.drive_dB = analog.referenceGain_dB;
        wiring.loop.source = analog.loop.external;
        return wiring;
    }
    wiring.reference = referenceOf(from.reference);
    wiring.source_Hz = from.output_Hz;
    wiring.driven = from.output_Hz > 0 && meets(analog.reference, from.port) && controller_.circuit().rfEnabled;
    wiring.drive_dB = from.level_dB;
    return wiring;
}

void BoardBox::feedDut() {
    const DutTune& tune = analogA_.circuit().dutTune;
    bench_feedDut(&bench_, tune.driven ? tune.volts : 0, supply_.delivered_V(0));
}

void BoardBox::tell() {
    feedDut();
    tellPanel();
    tell(channelA);
    tell(channelB);
}

void BoardBox::tell(Channel channel) {
    if (channel == channelA && analogA_.circuit().dutTune != tuneFed_) {
        tuneFed_ = analogA_.circuit().dutTune;
        feedDut();
    }
    bench_setWiring(&bench_, channel, wiring(channel));
}

} // namespace vi
