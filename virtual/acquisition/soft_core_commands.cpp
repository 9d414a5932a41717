// The soft core's command language.

#include "virtual/acquisition/soft_core.h"

#include <algorithm>
#include <charconv>

namespace vi {

const SoftCore::Command SoftCore::commands[] = {
    // First what comes for each stage of each capture.
    {"stage@l*", &SoftCore::setStageLength},
    {"stage@*", &SoftCore::setStageRecords},
    {"stage@f", &SoftCore::sendStage},
    {"ping", &SoftCore::ping},
    {"dbg0", &SoftCore::tapSamples},
    {"muxr", &SoftCore::openSamples},
    {"muxd", &SoftCore::openSpectra},
    {"muxaa", &SoftCore::routeA},
    {"muxba", &SoftCore::routeB},
    {"muxax@", &SoftCore::selectA},
    {"muxbx@", &SoftCore::selectB},
    {"muxe", &SoftCore::endSetup},
    {"dmad*", &SoftCore::setDivider},
    {"dmas*", &SoftCore::sendSamples},
    {"stage#n", &SoftCore::setStageMode},
    {"stage#b", &SoftCore::setStageMode},
    {"stage#x", &SoftCore::clearStages},
    {"stagea", &SoftCore::abortStages},
    {"freq@*", &SoftCore::armCounter},
    {"freq@g", &SoftCore::answerGate},
    {"freq@r", &SoftCore::answerCount},
    {"freqae", &SoftCore::startAdcCounters},
    {"freqad", &SoftCore::stopAdcCounters},
    {"freqag", &SoftCore::sendAdcCounts},
    {"xadcp", &SoftCore::sendTemperature},
    {"test0x55555555", &SoftCore::sendPattern},
};

bool SoftCore::execute(std::string_view text) {
    Arguments arguments;
    const auto command = std::find_if(std::begin(commands), std::end(commands), [&](const Command& candidate) {
        return !text.empty() && candidate.pattern[0] == text[0] && matches(candidate.pattern, text, &arguments);
    });
    return command != std::end(commands) && (this->*command->run)(arguments);
}

bool SoftCore::matches(std::string_view pattern, std::string_view text, Arguments* arguments) {
    const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };
    for (; !pattern.empty(); pattern.remove_prefix(1)) {
        if (text.empty())
            return false;
        const char* const end = text.data() + text.size();
        if (pattern[0] == '*') {
            const bool padded = text.size() > 1 && text[0] == '0';
            const auto [stop, error] = std::from_chars(text.data(), end, arguments->number);
            return !padded && error == std::errc() && stop == end;
        }
        if (pattern[0] == '@' ? !isDigit(text[0]) : pattern[0] != text[0])
            return false;
        if (pattern[0] == '@')
            arguments->digit = static_cast<uint32_t>(text[0] - '0');
        text.remove_prefix(1);
    }
    return text.empty();
}

bool SoftCore::advance(Step from, Step to) {
    if (step_ != from)
        return false;
    step_ = to;
    return true;
}

bool SoftCore::routedFor(Sequence sequence) const {
    return sequence_ == sequence && step_ == Step::routed;
}

bool SoftCore::ping(const Arguments&) {
    return answer("*pong");
}

// ---- set-up of a sequence -------------------------------------------------------------------------------------------

/// For who takes the ADCs' words. What still has them is broken off, which its owner should have done.
bool SoftCore::freeAdcs() {
    const bool free = !counters_.adcRuns() && !spectra_.busy();
    counters_.stopAdc();
    spectra_.abort();
    return free;
}

bool SoftCore::tapSamples(const Arguments&) {
    const bool free = freeAdcs();
    sequence_ = Sequence::none;
    step_ = Step::closed;
    tapped_ = true;
    return free;
}

bool SoftCore::openSamples(const Arguments&) {
    if (!tapped_)
        return false;
    sequence_ = Sequence::samples;
    step_ = Step::open;
    tapped_ = false;
    divider_ = 0;
    return true;
}

bool SoftCore::openSpectra(const Arguments&) {
    const bool free = freeAdcs();
    spectra_.open();
    sequence_ = Sequence::spectra;
    step_ = Step::open;
    tapped_ = false;
    return free;
}

bool SoftCore::routeA(const Arguments&) {
    return advance(Step::open, Step::routedA);
}

bool SoftCore::routeB(const Arguments&) {
    return advance(Step::routedA, Step::routed);
}

bool SoftCore::endSetup(const Arguments&) {
    const bool ready = routedFor(Sequence::samples)
                           ? divider_ != 0
                           : routedFor(Sequence::spectra) && spectra_.start(links_.converters());
    return ready && advance(Step::routed, Step::running);
}

// ---- samples --------------------------------------------------------------------------------------------------------

bool SoftCore::setDivider(const Arguments& arguments) {
    if (!routedFor(Sequence::samples) || arguments.number == 0 || arguments.number > coreDividerMax)
        return false;
    divider_ = arguments.number;
    return true;
}

bool SoftCore::sendSamples(const Arguments& arguments) {
    if (sequence_ != Sequence::samples || step_ != Step::running || arguments.number > corePairsMax)
        return false;
    StreamBlock block = coreSamples_block(source_, links_.converters(), divider_, arguments.number);
    if (faults_.deadDecimators != 0 && divider_ > 1)
        block.fill = [whole = std::move(block.fill), dead = faults_.deadDecimators](uint32_t from,
                                                                                    std::span<uint8_t> out) {
            whole(from, out);
            for (size_t at = 0; at < out.size(); ++at) // pairs of 16 bits, A first
                if ((dead >> ((from + at) / 2 % 2) & 1) != 0)
                    out[at] = 0;
        };
    return links_.stream.send(std::move(block));
}

bool SoftCore::sendPattern(const Arguments&) {
    return links_.stream.send(corePattern_block(links_.stream.wanted()));
}

// ---- spectra --------------------------------------------------------------------------------------------------------

bool SoftCore::selectA(const Arguments& arguments) {
    return routedFor(Sequence::spectra) && spectra_.select(channelA, arguments.digit);
}

bool SoftCore::selectB(const Arguments& arguments) {
    return routedFor(Sequence::spectra) && spectra_.select(channelB, arguments.digit);
}

bool SoftCore::setStageMode(const Arguments&) {
    return spectra_.setMode();
}

bool SoftCore::clearStages(const Arguments&) {
    return spectra_.clear();
}

bool SoftCore::setStageLength(const Arguments& arguments) {
    return spectra_.setLength(arguments.digit, arguments.number);
}

bool SoftCore::setStageRecords(const Arguments& arguments) {
    return spectra_.setRecords(arguments.digit, arguments.number);
}

bool SoftCore::sendStage(const Arguments& arguments) {
    std::optional<StreamBlock> block = spectra_.fetch(arguments.digit);
    return block && links_.stream.send(std::move(*block));
}

bool SoftCore::abortStages(const Arguments&) {
    spectra_.abort();
    links_.stream.breakOff();
    return true;
}

// ---- counters and texts ---------------------------------------------------------------------------------------------

bool SoftCore::armCounter(const Arguments& arguments) {
    if (arguments.digit != 0)
        return false;
    counters_.arm(links_.converters(), arguments.number);
    return true;
}

bool SoftCore::answerGate(const Arguments& arguments) {
    return arguments.digit == 0 && counters_.armed() && answer(counters_.gateEnded() ? "1" : "0");
}

bool SoftCore::answerCount(const Arguments& arguments) {
    return arguments.digit == 0 && counters_.gateEnded() && answer(counters_.gateText());
}

bool SoftCore::startAdcCounters(const Arguments&) {
    const bool free = freeAdcs();
    counters_.startAdc(links_.converters());
    return free;
}

bool SoftCore::stopAdcCounters(const Arguments&) {
    counters_.stopAdc();
    return true;
}

bool SoftCore::sendAdcCounts(const Arguments&) {
    return counters_.adcRuns() && sendText([this] { return counters_.adcRuns() ? counters_.adcText() : ""; });
}

bool SoftCore::sendTemperature(const Arguments&) {
    return kind_.hasThermometer && sendText([] { return std::string("FPGA temperature 48.5 C"); });
}

} // namespace vi
