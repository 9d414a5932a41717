/// The driver of the acquisition board against the virtual one, both generations.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_link.h"
#include "drivers/tvspi.h"
#include "tests/virtual/known_source.h"
#include "virtual/acquisition/acquisition_board.h"
#include "virtual/platform/clock.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

using namespace vi;

namespace {

constexpr int executionError = -200, timedOut = -365;

/// Many, so that a draw is nearly its expectation.
constexpr uint32_t records = 1'000'000;
constexpr uint32_t stages = 3;

/// A unit's board and its driver, which take their memory once.
struct Rig {
    explicit Rig(FpgaGeneration generation)
        : second(generation == FpgaGeneration::second), board(bus, {generation, true}, source, 1) {
        connect();
        TVPN_ADFPGA_init(&driver, second ? 3 : 2);
        tvspiClose();
    }
    void connect() {
        rtdm_register("tvko", &bus);
        rtdm_register(sampleStream_deviceName, &board.stream());
        ASSERT_EQ(tvspiOpen(), 0);
    }

    const bool second;
    SpiBus bus;
    KnownSource source;
    AcquisitionBoard board;
    TVPN_ADFPGA driver;
};

class AdfpgaTest : public ::testing::TestWithParam<FpgaGeneration> {
protected:
    AdfpgaTest() {
        unit.connect();
        unit.source.frequency_Hz = 10e6;
        TVPN_ADFPGA_setFdStages(driver, stages);
        TVPN_ADFPGA_setFdChannelCrosscorrelation(driver);
        for (uint32_t stage = 0; stage < stages; ++stage)
            TVPN_ADFPGA_setFdCorrelations(driver, int(stage), records);
        TVPN_ADFPGA_setTdSamplesCount(driver, 5000);
        TVPN_ADFPGA_setTdDivider(driver, 1);
        TVPN_ADFPGA_setTdChannelBoth(driver);
        TVPN_ADFPGA_setCounterTimeout(driver, 0.01);
    }
    ~AdfpgaTest() override {
        clock_setMode(TimeMode::fast);
        unit.bus.intercept({});
        unit.board.stream().spoil({.blocks = 0});
        unit.board.core().spoil({});
        tvspiClose();
    }

    static Rig& rigOf(FpgaGeneration generation) {
        static Rig first(FpgaGeneration::first), second(FpgaGeneration::second);
        return generation == FpgaGeneration::first ? first : second;
    }

    /// Counts what bus, core and stream refuse meanwhile.
    [[nodiscard]] uint64_t refusals() const { return unit.bus.faults() + unit.board.refusals(); }
    [[nodiscard]] std::string refusalTexts() const { return unit.bus.faultTexts() + unit.board.refusalTexts(); }

    int captureFd() {
        TVPN_ADFPGA_captureFdSamples(driver);
        int status = 1;
        TVPN_ADFPGA_joinTransferTask(driver, &status);
        return status;
    }
    std::span<const SpectrumPoint> stageBuffer(uint32_t stage) {
        const void* data = nullptr;
        const auto bytes = static_cast<size_t>(TVPN_ADFPGA_getFdBuffer(driver, stage, &data));
        return {static_cast<const SpectrumPoint*>(data), bytes / sizeof(SpectrumPoint)};
    }
    /// Points of a stage that are what the board measures.
    size_t goodPoints(uint32_t stage) {
        const double tolerance = 6 / std::sqrt(records);
        size_t good = 0;
        const auto points = stageBuffer(stage);
        for (uint32_t i = 0; i < points.size(); ++i) {
            const double expected = KnownSource::density(stage, i);
            good += std::abs(points[i].re - expected) < tolerance * expected && points[i].im == 0;
        }
        return good;
    }
    void clearStages() {
        for (uint32_t stage = 0; stage < stages; ++stage)
            for (const SpectrumPoint& point : stageBuffer(stage))
                const_cast<SpectrumPoint&>(point) = {};
    }
    void expectGoodFd() {
        EXPECT_EQ(captureFd(), 0);
        for (uint32_t stage = 0; stage < stages; ++stage)
            EXPECT_EQ(goodPoints(stage), TVPN_ADFPGA_getFdSamplesCount(driver, int(stage))) << stage;
    }
    void expectGoodTd() {
        const uint32_t count = TVPN_ADFPGA_getTdSamplesCount(driver), divider = TVPN_ADFPGA_getTdDivider(driver);
        EXPECT_EQ(TVPN_ADFPGA_captureTdSamples(driver), 0);
        uint16_t *a = nullptr, *b = nullptr;
        ASSERT_EQ(TVPN_ADFPGA_getTdBuffer(driver, 0, &a), int(2 * count));
        ASSERT_EQ(TVPN_ADFPGA_getTdBuffer(driver, 1, &b), int(2 * count));
        for (uint64_t i = 0; i < count; ++i) {
            ASSERT_EQ(a[i], KnownSource::sampleA(i * divider)) << i;
            ASSERT_EQ(b[i], KnownSource::sampleB(i * divider)) << i;
        }
    }
    int countAdc() {
        tvfreq a{}, b{};
        return TVPN_ADFPGA_countFrequencyAdc(driver, &a, &b);
    }

    Rig& unit = rigOf(GetParam());
    TVPN_ADFPGA* driver = &unit.driver;
    const uint64_t before = refusals();
    /// Streams samples to a client until the handler has no more; its last result. `got`: bytes.
    int streamToClient(
        uint32_t* got, const std::function<void()>& afterPiece = [] {}) {
        std::array<char, 1000> piece;
        int count = 0;
        *got = 0;
        TVPN_ADFPGA_startHMode(driver);
        EXPECT_EQ(TVPN_ADFPGA_getValidSscBytes(driver), 0u);
        for (; (count = TVPN_ADFPGA_handler(driver, piece.size(), 0, piece.data())) > 0; afterPiece())
            *got += uint32_t(count);
        TVPN_ADFPGA_endHMode(driver);
        return count;
    }
};

INSTANTIATE_TEST_SUITE_P(Generations, AdfpgaTest, ::testing::Values(FpgaGeneration::first, FpgaGeneration::second),
                         [](const auto& kind) { return kind.index == 0 ? "First" : "Second"; });

/// Runs `capture` with something happening at its n-th transfer and the one after it, for each n in turn: the driver
/// tries a transfer that failed again once. `act` returns whether they get through.
template <class Capture> void atEachTransfer(SpiBus& bus, const std::function<bool()>& act, Capture capture) {
    for (uint64_t n = 0, seen = 1; seen > n; ++n) {
        seen = 0;
        bus.intercept([&](const SpiTransfer&) {
            const uint64_t now = seen++;
            return now < n || now > n + 1 || act();
        });
        capture(n);
        bus.intercept({});
    }
}

} // namespace

TEST_P(AdfpgaTest, TheBoardComesUpLockedAndPassesItsSelfTest) {
    EXPECT_EQ(TVPN_ADFPGA_isRefExternalLocked(driver), 1);
    EXPECT_EQ(TVPN_ADFPGA_selftest(driver), 0);
    TVPN_ADFPGA_setRefInternal(driver, 0);
    clock_spend(100'000'000);
    EXPECT_EQ(TVPN_ADFPGA_isRefExternalLocked(driver), 0) << "no reference there";
    TVPN_ADFPGA_setRefInternal(driver, 1);
    clock_spend(100'000'000);
    EXPECT_EQ(TVPN_ADFPGA_isRefExternalLocked(driver), 1);
    unit.board.core().spoil({.corruptAnswers = true});
    EXPECT_LT(TVPN_ADFPGA_selftest(driver), 0);
    for (const uint8_t dead : {1, 2, 3}) {
        unit.board.core().spoil({.deadDecimators = dead});
        EXPECT_LT(TVPN_ADFPGA_selftest(driver), 0) << int(dead);
    }
    EXPECT_EQ(refusals(), before) << refusalTexts();
}

TEST_P(AdfpgaTest, AfterAnyTransferThatFailedTheNextCaptureIsGood) {
    struct Kind {
        const char* name;
        std::function<int()> capture;
        std::function<void()> expectGood;
    };
    const Kind captures[] = {
        {"spectra", [&] { return captureFd(); }, [&] { expectGoodFd(); }},
        {"samples", [&] { return TVPN_ADFPGA_captureTdSamples(driver); }, [&] { expectGoodTd(); }},
        {"input counter", [&] { return TVPN_ADFPGA_countFrequency(driver, nullptr); },
         [&] {
             tvfreq input{};
             EXPECT_EQ(TVPN_ADFPGA_countFrequency(driver, &input), 0);
             EXPECT_NEAR(tvfreq2double(&input, nullptr), 10e6, 10);
             EXPECT_NEAR(TVPN_ADFPGA_getCounterMinimum(driver), 0.01 * 10e6 / 2, 2) << "periods, not ticks";
         }},
        {"ADC counters", [&] { return countAdc(); }, [&] { EXPECT_EQ(countAdc(), 0); }},
    };
    for (const Kind& kind : captures) {
        int failed = 0;
        atEachTransfer(
            unit.bus, [] { return false; },
            [&](uint64_t n) {
                ::testing::internal::CaptureStderr(); // the chips' complaints
                failed += kind.capture() == executionError;
                ::testing::internal::GetCapturedStderr();
                unit.bus.intercept({});
                kind.expectGood();
                ASSERT_FALSE(HasFailure()) << kind.name << ", transfer " << n;
            });
        EXPECT_GE(failed, 3) << kind.name << ": commands that were lost are told";
    }
}

TEST_P(AdfpgaTest, AStageThatDoesNotArriveWholeTimesOutAndLeavesTheOthersGood) {
    constexpr uint32_t cutPoints = 12;
    const struct {
        const char* name;
        StreamFaults faults;
        size_t arrives;
    } cases[] = {{"lost", {.lost = true}, 0},
                 {"cut", {.cutAfter_bytes = cutPoints * 8}, cutPoints},
                 {"late", {.delay_ns = 10'000'000'000'000}, 0}};
    for (const auto& [name, faults, arrives] : cases)
        for (uint32_t broken = 0; broken < stages; ++broken) {
            clearStages();
            StreamFaults one = faults;
            one.pass = broken;
            one.blocks = 1;
            unit.board.stream().spoil(one);
            EXPECT_EQ(captureFd(), broken == stages - 1 ? timedOut : 0) << name << ": the last stage tells";
            for (uint32_t stage = 0; stage < stages; ++stage)
                EXPECT_EQ(goodPoints(stage), stage == broken ? arrives : stageBuffer(stage).size()) << name << stage;
        }
    expectGoodFd();
    EXPECT_EQ(refusals(), before) << refusalTexts();
}

TEST_P(AdfpgaTest, ASilentCoreEndsEveryCaptureWithATimeOut) {
    unit.source.frequency_Hz = 0;
    EXPECT_EQ(countAdc(), timedOut) << "nothing to count";
    unit.board.core().spoil({.silent = true});
    TVPN_ADFPGA_setFdStages(driver, 1);
    TVPN_ADFPGA_setFdCorrelations(driver, 0, 1000);
    const auto expectTimeOut = [&](const std::function<int()>& capture, double expected_s) {
        const uint64_t start_ns = clock_now();
        EXPECT_EQ(capture(), timedOut);
        EXPECT_NEAR(double(clock_now() - start_ns) / 1e9, expected_s, 0.003);
    };
    expectTimeOut([&] { return captureFd(); }, unit.second ? 2.0786 : 2.0147);
    if (unit.second) { // a length for which the core is given time to transform in software
        TVPN_ADFPGA_setFdSamplesCount(driver, 0, 512);
        expectTimeOut([&] { return captureFd(); }, 2 + 1.2 * 2 * 1000 * 512 / 100e3);
        TVPN_ADFPGA_setFdSamplesCount(driver, 0, 4096);
    }
    TVPN_ADFPGA_setFdStages(driver,
                            2); // of one after the other each has its time, side by side they share that of the longer
    TVPN_ADFPGA_setFdCorrelations(driver, 1, 30'000);
    const double points = TVPN_ADFPGA_getFdSamplesCount(driver, 1);
    expectTimeOut([&] { return captureFd(); }, unit.second ? 2.1 + 1.2 * 2 * 30'000 * points / 12.5e6
                                                           : 2.0147 + 2 + 1.2 * 3 * 30'000 * points / 12.5e6);
    TVPN_ADFPGA_setFdStages(driver, 1);
    const auto filesOpen = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto files = filesOpen();
    expectTimeOut([&] { return TVPN_ADFPGA_captureTdSamples(driver); }, 2);
    tvfreq input{1, 1};
    EXPECT_EQ(TVPN_ADFPGA_countFrequency(driver, &input), timedOut);
    EXPECT_EQ(tvfreq2double(&input, nullptr), 0);
    EXPECT_EQ(countAdc(), timedOut);
    EXPECT_LT(TVPN_ADFPGA_selftest(driver), 0);
    EXPECT_EQ(filesOpen(), files) << "each time-out is logged";
}

TEST_P(AdfpgaTest, AnAbortAtAnyPointOfACaptureEndsItAndTheNextOneIsGood) {
    std::thread aborter;
    const auto abortOnce = [&] {
        if (!aborter.joinable())
            aborter = std::thread([&] { TVPN_ADFPGA_abort(driver); });
        return true;
    };
    uint32_t streamed = 0;
    const std::function<void()> captures[] = {[&] { captureFd(); }, [&] { TVPN_ADFPGA_captureTdSamples(driver); },
                                              [&] { streamToClient(&streamed); }};
    for (const auto& capture : captures)
        atEachTransfer(unit.bus, abortOnce, [&](uint64_t n) {
            capture();
            if (aborter.joinable())
                aborter.join();
            unit.bus.intercept({});
            expectGoodFd();
            expectGoodTd();
            ASSERT_FALSE(HasFailure()) << "transfer " << n;
        });
    EXPECT_EQ(refusals(), before) << refusalTexts();
}

TEST_P(AdfpgaTest, AnAbortEndsAReadThatWaits) {
    clock_setMode(TimeMode::realTime);
    TVPN_ADFPGA_setFdCorrelations(driver, 0, 5'000'000); // a minute or so
    TVPN_ADFPGA_setTdDivider(driver, 2'000'000);
    for (const bool samples : {false, true}) {
        const uint64_t blocks = unit.board.stream().blocks();
        std::thread capture([&] { samples ? TVPN_ADFPGA_captureTdSamples(driver) : captureFd(); });
        while (unit.board.stream().blocks() == blocks)
            std::this_thread::yield();
        const auto start = std::chrono::steady_clock::now();
        TVPN_ADFPGA_abort(driver);
        capture.join();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
}

TEST_P(AdfpgaTest, AResetWarmsBothDomainsUpAndLeavesTheSettings) {
    const uint32_t resets = TVPN_ADFPGA_getResetCount(driver);
    unit.board.core().spoil({.load_ns = 29'000'000'000});
    const uint64_t blocks = unit.board.stream().blocks(), start_ns = clock_now();
    EXPECT_EQ(TVPN_ADFPGA_resetFpga(driver, 1), 0);
    int status = 1;
    TVPN_ADFPGA_joinTransferTask(driver, &status);
    EXPECT_EQ(status, 0);
    EXPECT_GT(clock_now() - start_ns, 30'100'000'000u);
    EXPECT_EQ(unit.board.stream().blocks() - blocks, 2u) << "one of samples, one of a spectrum";
    EXPECT_EQ(TVPN_ADFPGA_getTdBufferSize(driver, 1), 2u);
    EXPECT_EQ(TVPN_ADFPGA_getResetCount(driver), resets + 1);
    expectGoodFd();
    expectGoodTd();
    EXPECT_EQ(refusals(), before) << refusalTexts();

    EXPECT_EQ(TVPN_ADFPGA_resetFpga(driver, 0), 0) << "nobody hears the warm-up";
    clock_spend(30'000'000'000);
    expectGoodTd();
}

TEST_P(AdfpgaTest, WithoutItsStreamTheBoardSaysSo) {
    uint32_t none = 0;
    const auto expectAll = [&](int expected) {
        EXPECT_EQ(captureFd(), expected);
        EXPECT_EQ(TVPN_ADFPGA_captureTdSamples(driver), expected);
        EXPECT_EQ(countAdc(), expected);
        EXPECT_EQ(streamToClient(&none), expected != 0 ? -1 : 0);
    };
    rtdm_unregister(&unit.board.stream());
    expectAll(executionError);
    EXPECT_EQ(none, 0u);
    rtdm_register(sampleStream_deviceName, &unit.board.stream());
    expectAll(0);
    EXPECT_EQ(refusals(), before) << refusalTexts();
}

TEST_P(AdfpgaTest, AStreamToAClientEndsWhereItsSamplesDo) {
    for (const auto select : {TVPN_ADFPGA_setTdChannelBoth, TVPN_ADFPGA_setTdChannelBOnly}) {
        select(driver);
        const bool both = TVPN_ADFPGA_isTdChannelBoth(driver) != 0;
        uint32_t got = 0;
        unit.board.stream().spoil({.blocks = 1, .cutAfter_bytes = 4400});
        EXPECT_EQ(streamToClient(&got), -1);
        EXPECT_EQ(got, both ? 4400u : 2200u);
        EXPECT_EQ(TVPN_ADFPGA_getValidSscBytes(driver), 4400u);
        EXPECT_EQ(streamToClient(&got, [&] { TVPN_ADFPGA_abort(driver); }), -1);
        EXPECT_LE(got, 1000u);
        EXPECT_EQ(TVPN_ADFPGA_handler(driver, 4, 0, nullptr), -1) << "not started";
        EXPECT_EQ(streamToClient(&got), 0);
        EXPECT_EQ(got, both ? 20'000u : 10'000u);
    }
}

TEST_P(AdfpgaTest, TheTemperatureIsATextOfTheSecondGeneration) {
    std::array<char, 64> text;
    EXPECT_EQ(TVPN_ADFPGA_2_getFPGATempString(driver, text.data()), unit.second ? 0 : timedOut);
    EXPECT_STREQ(text.data(), unit.second ? "FPGA temperature 48.5 C" : "");
}
