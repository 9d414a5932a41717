#pragma once
/// The soft core of the acquisition board's FPGA. It takes commands as ASCII texts through one SPI slave, answers
/// through another, and sends blocks over the sample stream. What it knows, '@' a digit and '*' a decimal number:
///
///   ping                                  answers "*pong"
///   dbg0 muxr muxaa muxba dmad* muxe      set-up of a sample capture: divider 1 to 2000000
///   dmas*                                 sends so many sample pairs, up to 0x100000
///   muxd muxaa muxba muxax@ muxbx@        set-up of spectra: the input of A and B, 0 or 1
///   stage#n or stage#b, stage#x           then for each stage
///   stage@l* stage@*                      record length, records; then muxe, from where the stages run
///   stage@f stagea                        sends the result of a stage; ends the capture
///   freq0* freq0g freq0r                  arms the input's counter; answers whether its gate has ended; its counts
///   freqae freqag freqad                  ADC counters on, their counts as a text over the stream, off
///   xadcp                                 sends the temperature as a text over the stream (second generation)
///   test0x55555555                        sends a test pattern
///
/// Stages that run are ended by fetching each or by stagea, ADC counters by freqad, before anything else takes the
/// ADCs. Anything else, and anything out of order or range, it passes over; that is refused and counted.

#include "virtual/acquisition/soft_core_counters.h"
#include "virtual/acquisition/soft_core_samples.h"
#include "virtual/acquisition/soft_core_spectra.h"
#include "virtual/bus/spi_chip.h"
#include "virtual/platform/refusals.h"

#include <functional>
#include <string>
#include <string_view>

namespace vi {

inline constexpr uint32_t coreTextBytes = 64; // of a text on the stream, filled up with NUL

/// What a test may spoil.
struct SoftCoreFaults {
    bool silent = false;         // takes commands and does nothing
    bool corruptAnswers = false; // texts are full of question marks
    uint8_t deadDecimators = 0;  // channels whose decimated samples are 0, bit by bit: A, B
    uint64_t load_ns = 0;        // after a reset, before it listens
};

/// All calls are thread-safe.
class SoftCore {
public:
    struct Links {
        SampleStream& stream;
        SampleSource& source;
        /// The ADCs as they are now; asked while a command comes in, with the SPI bus held.
        std::function<ConverterState()> converters;
    };

    SoftCore(FpgaGeneration generation, Links links, uint64_t seed);

    [[nodiscard]] SpiChip& commandSlave() { return commandSlave_; }
    [[nodiscard]] SpiChip& answerSlave() { return answerSlave_; }
    /// While the line is active the core forgets everything and hears nothing.
    void setReset(bool active);

    void spoil(const SoftCoreFaults& faults);
    /// Starts the noise of the spectra anew.
    void reseed(uint64_t seed);
    [[nodiscard]] uint64_t refusals() const;
    [[nodiscard]] std::string refusalTexts() const;

private:
    enum class Sequence { none, samples, spectra };
    enum class Step { closed, open, routedA, routed, running };
    struct Arguments {
        uint32_t digit = 0;
        uint32_t number = 0;
    };
    struct Command {
        std::string_view pattern;
        bool (SoftCore::*run)(const Arguments&);
    };
    static const Command commands[];

    class CommandSlave final : public SpiChip {
    public:
        explicit CommandSlave(SoftCore& core) : core_(core) {}
        bool send(std::span<const uint8_t> frame, uint32_t mode) override;

    private:
        SoftCore& core_;
    };
    class AnswerSlave final : public SpiChip {
    public:
        explicit AnswerSlave(SoftCore& core) : core_(core) {}
        bool receive(std::span<uint8_t> frame, uint32_t mode, uint32_t board) override;

    private:
        SoftCore& core_;
    };

    void take(std::string_view text);
    bool execute(std::string_view text);
    static bool matches(std::string_view pattern, std::string_view text, Arguments* arguments);
    bool readAnswer(std::span<uint8_t> frame);
    void forget();

    bool ping(const Arguments& arguments);
    bool tapSamples(const Arguments& arguments);
    bool openSamples(const Arguments& arguments);
    bool openSpectra(const Arguments& arguments);
    bool routeA(const Arguments& arguments);
    bool routeB(const Arguments& arguments);
    bool selectA(const Arguments& arguments);
    bool selectB(const Arguments& arguments);
    bool endSetup(const Arguments& arguments);
    bool setDivider(const Arguments& arguments);
    bool sendSamples(const Arguments& arguments);
    bool setStageMode(const Arguments& arguments);
    bool clearStages(const Arguments& arguments);
    bool setStageLength(const Arguments& arguments);
    bool setStageRecords(const Arguments& arguments);
    bool sendStage(const Arguments& arguments);
    bool abortStages(const Arguments& arguments);
    bool armCounter(const Arguments& arguments);
    bool answerGate(const Arguments& arguments);
    bool answerCount(const Arguments& arguments);
    bool startAdcCounters(const Arguments& arguments);
    bool stopAdcCounters(const Arguments& arguments);
    bool sendAdcCounts(const Arguments& arguments);
    bool sendTemperature(const Arguments& arguments);
    bool sendPattern(const Arguments& arguments);

    bool freeAdcs();
    [[nodiscard]] bool routedFor(Sequence sequence) const;
    bool advance(Step from, Step to);
    bool answer(const std::string& text);
    bool sendText(std::function<std::string()> text);
    [[nodiscard]] std::string spoilt(std::string text) const;

    const CoreKind& kind_;
    const Links links_;
    SourceAccess source_;
    CommandSlave commandSlave_{*this};
    AnswerSlave answerSlave_{*this};

    mutable std::mutex mutex_; // guards all below; taken before the source's and the stream's
    SpectrumPipeline spectra_;
    CoreCounters counters_;
    Sequence sequence_ = Sequence::none;
    Step step_ = Step::closed;
    bool tapped_ = false;  // samples come from the ADCs
    uint32_t divider_ = 0; // of samples; 0: not set
    std::string answer_;
    uint64_t answerReady_ns_ = 0;
    bool inReset_ = false;
    uint64_t listensFrom_ns_ = 0;
    SoftCoreFaults faults_;
    Refusals refusals_;
};

} // namespace vi
