#include "virtual/acquisition/soft_core_spectra.h"

#include "virtual/platform/clock.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vi {
namespace {

constexpr uint32_t purpose = 1; // of the random streams; part of what a seed means
constexpr uint32_t lengthMin = 128, lengthMax = 16384;
constexpr double halfScale_V = 0.8; // of the ADCs

using Signed = AdcWords::Signed;

/// The densities of channel `x` or `y` as they are read in a wrong format: a sample near 0 turns into one near either
/// end of the range, at random.
void spoil(StageExpectation* stage, std::vector<double>* density, Signed reading, double clock_Hz) {
    if (reading == Signed::right || reading == Signed::inverted)
        return;
    const double flat = reading == Signed::scrambled ? halfScale_V * halfScale_V / clock_Hz : 0;
    std::fill(density->begin(), density->end(), flat);
    std::fill(stage->sxyRe.begin(), stage->sxyRe.end(), 0.0);
    std::fill(stage->sxyIm.begin(), stage->sxyIm.end(), 0.0);
    for (size_t i = 0; i < stage->spread.size(); ++i)
        stage->spread[i] = std::sqrt(stage->sxx[i] * stage->syy[i]);
    stage->lines.clear();
}

/// The memory as points, if it lies so that it can hold any.
std::span<SpectrumPoint> pointsIn(std::span<uint8_t> memory) {
    const bool fits = memory.size() % sizeof(SpectrumPoint) == 0 &&
                      reinterpret_cast<uintptr_t>(memory.data()) % alignof(SpectrumPoint) == 0;
    return fits ? std::span(reinterpret_cast<SpectrumPoint*>(memory.data()), memory.size() / sizeof(SpectrumPoint))
                : std::span<SpectrumPoint>();
}

bool readsTrue(const AdcWords& words) {
    return words.asSigned() == Signed::right || words.asSigned() == Signed::inverted;
}

} // namespace

SpectrumPipeline::SpectrumPipeline(const CoreKind& kind, SourceAccess& source, uint64_t seed)
    : kind_(kind), source_(source) {
    reseed(seed);
}

void SpectrumPipeline::reseed(uint64_t seed) {
    const std::lock_guard lock(source_.mutex);
    for (uint32_t stage = 0; stage < coreStages; ++stage)
        noise_[stage] = random_stream(seed, purpose, stage);
}

bool SpectrumPipeline::advance(Step from, Step to) {
    if (step_ != from)
        return false;
    step_ = to;
    return true;
}

void SpectrumPipeline::open() {
    abort();
    step_ = Step::open;
    setup_ = {};
    for (uint32_t stage = 0; stage < coreStages; ++stage)
        setup_.stages[stage] = {kind_.pointsAtStart[stage], 0};
}

bool SpectrumPipeline::select(Channel channel, uint32_t input) {
    const bool a = channel == channelA;
    if (input > 1 || !advance(a ? Step::open : Step::selectedA, a ? Step::selectedA : Step::selectedB))
        return false;
    setup_.input[channel] = input;
    return true;
}

bool SpectrumPipeline::setMode() {
    return advance(Step::selectedB, Step::moded);
}

bool SpectrumPipeline::clear() {
    return advance(Step::moded, Step::cleared);
}

bool SpectrumPipeline::setLength(uint32_t stage, uint32_t samples) {
    if (step_ != Step::cleared || stage < kind_.firstLength || stage >= coreStages || samples < lengthMin ||
        samples > lengthMax || !std::has_single_bit(samples))
        return false;
    setup_.stages[stage].points = samples / 2;
    return true;
}

bool SpectrumPipeline::setRecords(uint32_t stage, uint32_t records) {
    if (step_ != Step::cleared || stage >= coreStages)
        return false;
    setup_.stages[stage].records = std::max(records, 1U);
    return true;
}

bool SpectrumPipeline::start(ConverterState converters) {
    const bool selectsNone = setup_.input[channelA] == 1 && setup_.input[channelB] == 1;
    if (selectsNone || !advance(Step::cleared, Step::closed))
        return false;
    running_ = std::make_shared<Capture>();
    running_->setup = setup_;
    running_->converters = std::move(converters);
    for (uint32_t stage = 0; stage < coreStages; ++stage)
        unfetched_ |= (setup_.stages[stage].records != 0 ? 1U : 0U) << stage;
    const uint64_t now = clock_now();
    const double sampling_s = schedule(running_.get(), now);
    const std::lock_guard lock(source_.mutex);
    source_.source.beginSpectra(core_after(0, sampling_s));
    return true;
}

/// When the stages are ready, one after the other or side by side; transforms keep up with the samples, whatever their
/// length. Returns for how long the stages sample.
double SpectrumPipeline::schedule(Capture* capture, uint64_t start_ns) const {
    double sampling_s = 0, longest_s = 0;
    for (uint32_t number = 0; number < coreStages; ++number) {
        const Stage& stage = capture->setup.stages[number];
        const double samples = 2.0 * stage.records * stage.points;
        const double rate = coreKind_stageRate_Hz(kind_, capture->converters.clock_Hz, number);
        const double stage_s = samples == 0 ? 0 : rate > 0 ? samples / rate : 1e99;
        sampling_s = kind_.stagesTogether ? stage_s : sampling_s + stage_s;
        longest_s = std::max(longest_s, sampling_s);
        capture->ready_ns[number] = core_after(start_ns, sampling_s);
    }
    return longest_s;
}

std::optional<StreamBlock> SpectrumPipeline::fetch(uint32_t stage) {
    if (running_ == nullptr || stage >= coreStages || running_->setup.stages[stage].records == 0)
        return std::nullopt;
    unfetched_ &= ~(1U << stage);
    const uint32_t bytes = running_->setup.stages[stage].points * sizeof(SpectrumPoint);
    const auto fill = [this, capture = running_, stage](uint32_t offset, std::span<uint8_t> out) {
        const std::lock_guard lock(source_.mutex);
        if (const auto whole = pointsIn(out); offset == 0 && whole.size() == capture->setup.stages[stage].points)
            return draw(*capture, stage, whole);
        if (capture->results[stage].empty()) {
            capture->results[stage].resize(capture->setup.stages[stage].points);
            draw(*capture, stage, capture->results[stage]);
        }
        memcpy(out.data(), reinterpret_cast<const uint8_t*>(capture->results[stage].data()) + offset, out.size());
    };
    const bool comes = (source_.source.faults().stagesMissing >> stage & 1) == 0;
    return StreamBlock{bytes, comes ? std::max(running_->ready_ns[stage], clock_now() + coreReaction_ns) : coreNever_ns,
                       sampleStream_portRate, fill};
}

void SpectrumPipeline::abort() {
    running_.reset();
    unfetched_ = 0;
    step_ = Step::closed;
}

void SpectrumPipeline::draw(const Capture& capture, uint32_t stage, std::span<SpectrumPoint> out) {
    const double rate = coreKind_stageRate_Hz(kind_, capture.converters.clock_Hz, stage);
    const StageExpectation& expected = source_.source.expectation(stage, rate, static_cast<uint32_t>(out.size()));
    const auto& input = capture.setup.input;
    if (input[channelA] == 0 && input[channelB] == 0)
        drawCross(capture, expected, stage, out);
    else
        drawOwn(capture, expected, stage, input[channelA] == 0 ? channelA : channelB, out);
}

void SpectrumPipeline::drawCross(const Capture& capture, const StageExpectation& expected, uint32_t stage,
                                 std::span<SpectrumPoint> out) {
    const auto& words = capture.converters.words;
    const uint32_t records = capture.setup.stages[stage].records;
    if (readsTrue(words[channelA]) && readsTrue(words[channelB])) {
        spectrum_drawCross(noise_[stage], expected, records, out);
    } else {
        StageExpectation seen = expected;
        spoil(&seen, &seen.sxx, words[channelA].asSigned(), capture.converters.clock_Hz);
        spoil(&seen, &seen.syy, words[channelB].asSigned(), capture.converters.clock_Hz);
        spectrum_drawCross(noise_[stage], seen, records, out);
    }
    if ((words[channelA].asSigned() == Signed::inverted) != (words[channelB].asSigned() == Signed::inverted))
        for (SpectrumPoint& point : out)
            point = {-point.re, -point.im};
}

void SpectrumPipeline::drawOwn(const Capture& capture, const StageExpectation& expected, uint32_t stage,
                               Channel channel, std::span<SpectrumPoint> out) {
    const AdcWords& words = capture.converters.words[channel];
    const uint32_t records = capture.setup.stages[stage].records;
    const DrawChannel which = channel == channelA ? DrawChannel::x : DrawChannel::y;
    if (readsTrue(words)) {
        spectrum_drawOwn(noise_[stage], expected, which, records, out);
        return;
    }
    StageExpectation seen = expected;
    spoil(&seen, channel == channelA ? &seen.sxx : &seen.syy, words.asSigned(), capture.converters.clock_Hz);
    spectrum_drawOwn(noise_[stage], seen, which, records, out);
}

} // namespace vi
