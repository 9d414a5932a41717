// The soft core's links: texts in, answers out, reset, and what a test may spoil.

#include "virtual/acquisition/soft_core.h"

#include "virtual/chips/word_chip.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <utility>

namespace vi {
namespace {

constexpr size_t frameMax = 104; // bytes of either slave

} // namespace

SoftCore::SoftCore(FpgaGeneration generation, Links links, uint64_t seed)
    : kind_(coreKind_of(generation)), links_(std::move(links)), source_{.mutex = {}, .source = links_.source},
      spectra_(kind_, source_, seed), counters_(source_) {}

/// In memory the byte that comes first on the wire lies last: the NUL, which ends a text, lies first.
bool SoftCore::CommandSlave::send(std::span<const uint8_t> frame, uint32_t mode) {
    const bool text =
        mode == spiPlain && frame.size() <= frameMax && frame[0] == 0 && std::count(frame.begin(), frame.end(), 0) == 1;
    if (text)
        core_.take(std::string(frame.rbegin(), frame.rend() - 1));
    return text;
}

bool SoftCore::AnswerSlave::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    return mode == core_.kind_.answerMode && frame.size() <= frameMax && core_.readAnswer(frame);
}

void SoftCore::take(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (inReset_ || clock_now() < listensFrom_ns_ || faults_.silent || source_.source.faults().coreSilent)
        return;
    answer_.clear();
    if (!execute(text))
        refusals_.add("command '" + std::string(text) + "'");
}

/// An answer can be read once. Without one the slave shifts out zeros.
bool SoftCore::readAnswer(std::span<uint8_t> frame) {
    const std::lock_guard lock(mutex_);
    std::fill(frame.begin(), frame.end(), uint8_t{0});
    if (clock_now() < answerReady_ns_)
        return true;
    const std::string text = std::exchange(answer_, {}).substr(0, frame.size());
    std::copy(text.begin(), text.end(), frame.rbegin());
    return true;
}

bool SoftCore::answer(const std::string& text) {
    answer_ = spoilt(text);
    answerReady_ns_ = clock_now() + coreReaction_ns;
    return true;
}

bool SoftCore::sendText(std::function<std::string()> text) {
    return links_.stream.send(
        {coreTextBytes, clock_now() + coreReaction_ns, 0,
         [this, make = std::move(text), sent = std::string()](uint32_t offset, std::span<uint8_t> out) mutable {
             const std::lock_guard lock(mutex_);
             if (offset == 0)
                 (sent = spoilt(make())).resize(coreTextBytes);
             std::copy_n(sent.begin() + offset, out.size(), out.begin());
         }});
}

std::string SoftCore::spoilt(std::string text) const {
    if (faults_.corruptAnswers)
        std::fill(text.begin(), text.end(), '?');
    return text;
}

void SoftCore::setReset(bool active) {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(inReset_, active) && active)
        forget();
    else if (!active)
        listensFrom_ns_ = clock_now() + faults_.load_ns;
}

void SoftCore::forget() {
    spectra_.abort();
    counters_.reset();
    sequence_ = Sequence::none;
    step_ = Step::closed;
    tapped_ = false;
    answer_.clear();
    links_.stream.breakOff();
}

void SoftCore::spoil(const SoftCoreFaults& faults) {
    const std::lock_guard lock(mutex_);
    faults_ = faults;
}

void SoftCore::reseed(uint64_t seed) {
    spectra_.reseed(seed);
}

uint64_t SoftCore::refusals() const {
    const std::lock_guard lock(mutex_);
    return refusals_.count();
}

std::string SoftCore::refusalTexts() const {
    const std::lock_guard lock(mutex_);
    return refusals_.texts();
}

} // namespace vi
