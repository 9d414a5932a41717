#pragma once
/// The spectrum pipeline of the soft core: its set-up, the time that its stages take, and what they deliver.
///
/// A call that is out of order or out of range changes nothing and returns false.

#include "virtual/acquisition/sample_stream.h"
#include "virtual/acquisition/soft_core_kind.h"
#include "virtual/draw/large_vector.h"
#include "virtual/draw/random.h"

#include <memory>
#include <optional>

namespace vi {

/// Set-up in the order in which it has to come: selection of A, of B, mode, clear, stages, start.
class SpectrumPipeline {
public:
    SpectrumPipeline(const CoreKind& kind, SourceAccess& source, uint64_t seed);
    /// Starts the noise anew.
    void reseed(uint64_t seed);

    /// Ends what runs and starts from the set-up after power-on.
    void open();
    /// `input` 0 passes the channel on, 1 gives its place to the other one.
    bool select(Channel channel, uint32_t input);
    bool setMode();
    bool clear();
    /// Samples of a record, two a point.
    bool setLength(uint32_t stage, uint32_t samples);
    /// Records that are averaged; 0 counts as 1. Puts the stage in use.
    bool setRecords(uint32_t stage, uint32_t records);
    /// Captures from now on.
    bool start(ConverterState converters);
    /// The result of a stage, which sets out when the stage is ready.
    [[nodiscard]] std::optional<StreamBlock> fetch(uint32_t stage);
    void abort();
    /// Stages run that nobody has fetched.
    [[nodiscard]] bool busy() const { return unfetched_ != 0; }

private:
    enum class Step { closed, open, selectedA, selectedB, moded, cleared };
    struct Stage {
        uint32_t points;
        uint32_t records; // 0: not in use
    };
    struct Setup {
        std::array<uint32_t, channels> input{};
        std::array<Stage, coreStages> stages{};
    };
    struct Capture {
        Setup setup;
        ConverterState converters;
        std::array<uint64_t, coreStages> ready_ns;
        std::array<LargeVector<SpectrumPoint>, coreStages> results; // of blocks that are read piece by piece;
                                                                    // guarded by the source's mutex; empty: not drawn
    };

    bool advance(Step from, Step to);
    double schedule(Capture* capture, uint64_t start_ns) const;
    void draw(const Capture& capture, uint32_t stage, std::span<SpectrumPoint> out);
    void drawCross(const Capture& capture, const StageExpectation& expected, uint32_t stage,
                   std::span<SpectrumPoint> out);
    void drawOwn(const Capture& capture, const StageExpectation& expected, uint32_t stage, Channel channel,
                 std::span<SpectrumPoint> out);

    const CoreKind& kind_;
    SourceAccess& source_;
    std::array<RandomStream, coreStages> noise_; // guarded by the source's mutex
    Step step_ = Step::closed;
    Setup setup_;
    std::shared_ptr<Capture> running_;
    uint32_t unfetched_ = 0; // stages of it, a bit each
};

} // namespace vi
