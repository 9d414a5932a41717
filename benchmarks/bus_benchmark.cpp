/// The bus beneath the boards: a register written from the driver down to the chip's model, and tuning words. And the
/// acquisition board behind it: spectra that its soft core draws, and its sample stream.

#include "acquisition/adfpga_capture.h"
#include "acquisition/adfpga_flash.h"
#include "drivers/FTW.h"
#include "drivers/tvspi.h"
#include "platform/rt.h"
#include "tests/virtual/straight_wiring.h"
#include "virtual/acquisition/acquisition_board.h"
#include "virtual/acquisition/sample_stream.h"
#include "virtual/acquisition/soft_core_spectra.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/physics/bench.h"
#include "virtual/physics/bench_source.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t address = 248;
constexpr uint32_t bytes = 3;

/// A register of three bytes that any frame of that length sets.
struct Register final : vi::SpiChip {
    uint32_t value = 0;

    bool send(std::span<const uint8_t> frame, uint32_t) override {
        if (frame.size() != bytes)
            return false;
        value = frame[0] | uint32_t{frame[1]} << 8 | uint32_t{frame[2]} << 16;
        return true;
    }
};

void registerWrite(benchmark::State& state) {
    vi::SpiBus bus;
    Register chip;
    bus.attach(address, &chip);
    vi::rtdm_register("tvko", &bus);
    if (tvspiOpen() != 0)
        abort();
    uint32_t value = 0;
    for (auto _ : state) {
        value = (value + 1) & 0xFFFFFF;
        const std::array<uint8_t, bytes> frame{static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8),
                                               static_cast<uint8_t>(value >> 16)};
        if (tvspiSend(address, bytes, 0, frame.data()) != 0 || chip.value != value)
            abort();
    }
    state.SetItemsProcessed(state.iterations());
    tvspiClose();
    vi::rtdm_unregister(&bus);
}

void tuningWord(benchmark::State& state) {
    FTW word;
    FTW_init(&word, 48);
    FTW_setIn(&word, {1'000'000'000, 0});
    tvfreq frequency{10'000'000, 12345};
    for (auto _ : state) {
        frequency.fracPart += 0x9E3779B97F4A7C15;
        frequency.intPart = (frequency.intPart + 7919) % 400'000'000;
        FTW_setOut(&word, frequency);
        benchmark::DoNotOptimize(word.ftw);
    }
    state.SetItemsProcessed(state.iterations());
}

// ---- acquisition board ----------------------------------------------------------------------------------------------

/// A stream and its reader.
class Listener {
public:
    vi::SampleStream stream;

    Listener() {
        vi::rtdm_register(vi::sampleStream_deviceName, &stream);
        rt_task_shadow(nullptr, nullptr, 0, rt_taskJoinable);
        rt_task_set_mode(0, rt_modePrimary, nullptr);
    }
    ~Listener() { vi::rtdm_unregister(&stream); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Takes a block as the firmware does, into `room`, as long as the block.
    void receive(vi::StreamBlock block, std::span<uint8_t> room, size_t pieceBytes) {
        const int fd = rt_dev_open(vi::sampleStream_deviceName, O_RDWR);
        const std::string text = std::to_string(room.size()) + ",0,2,1\n";
        rt_dev_write(fd, text.data(), text.size());
        rt_dev_read(fd, nullptr, 0);
        if (!stream.send(std::move(block)))
            abort();
        size_t done = 0;
        for (long got; (got = rt_dev_read(fd, room.data() + done, std::min(pieceBytes, room.size() - done))) > 0;)
            done += static_cast<size_t>(got);
        if (done != room.size())
            abort();
        rt_dev_close(fd);
    }
};

/// Channels that have half of their noise in common.
struct CorrelatedNoise final : vi::SampleSource {
    vi::StageExpectation stage;

    explicit CorrelatedNoise(size_t points)
        : stage{.sxx = std::vector(points, 2.0),
                .syy = std::vector(points, 2.0),
                .sxyRe = std::vector(points, 1.0),
                .sxyIm = std::vector(points, 0.0),
                .spread = std::vector(points, std::sqrt(3.0)),
                .lines = {}} {}
    const vi::StageExpectation& expectation(uint32_t, double, uint32_t) override { return stage; }
};

void spectra(benchmark::State& state) {
    constexpr uint32_t points = 8192, stages = 8;
    Listener listener;
    CorrelatedNoise source(points);
    vi::SourceAccess access{{}, source};
    vi::SpectrumPipeline pipeline(vi::coreKind_of(vi::FpgaGeneration::second), access, 1);
    vi::FastAdcModel adc(vi::FastAdcModel::Kind::ad9467);
    constexpr std::array<uint8_t, 3> twosComplement{0x09, 0x14, 0x00}, transfer{0x01, 0xFF, 0x00};
    adc.send(twosComplement, 0);
    adc.send(transfer, 0);
    std::vector<uint8_t> room(points * sizeof(vi::SpectrumPoint));
    for (auto _ : state) {
        pipeline.open();
        pipeline.select(vi::channelA, 0);
        pipeline.select(vi::channelB, 0);
        pipeline.setMode();
        pipeline.clear();
        for (uint32_t stage = 0; stage < stages; ++stage) {
            pipeline.setLength(stage, 2 * points);
            pipeline.setRecords(stage, 1000);
        }
        pipeline.start({250e6, {vi::AdcWords(adc), vi::AdcWords(adc)}});
        for (uint32_t stage = 0; stage < stages; ++stage)
            listener.receive(pipeline.fetch(stage).value(), room, room.size());
        benchmark::DoNotOptimize(room.data());
    }
    state.SetItemsProcessed(state.iterations() * points * stages);
}

void stream(benchmark::State& state) {
    constexpr uint32_t blockBytes = 4 << 20;
    constexpr size_t piece = 4096; // as the firmware reads samples
    Listener listener;
    const std::vector<uint8_t> samples(blockBytes, 0x55);
    std::vector<uint8_t> room(blockBytes);
    for (auto _ : state) {
        listener.receive(
            {blockBytes, vi::clock_now(), 500e6,
             [&](uint32_t offset, std::span<uint8_t> out) { memcpy(out.data(), samples.data() + offset, out.size()); }},
            room, piece);
        benchmark::DoNotOptimize(room.data());
    }
    state.SetBytesProcessed(state.iterations() * blockBytes);
}

// ---- samples from the firmware down to the bench --------------------------------------------------------------------

/// The bench of a beat, or the same sample again and again, which costs nothing to make.
struct Samples final : vi::SampleSource {
    vi::BenchSource beat;
    bool silent = false;

    explicit Samples(vi::Bench& bench) : beat(bench) {}
    void record(const vi::RecordRequest& request, std::span<uint16_t> a, std::span<uint16_t> b) override {
        if (silent)
            vi::SampleSource::record(request, a, b);
        else
            beat.record(request, a, b);
    }
};

/// The firmware's driver down to the bench. Its memory is taken once.
struct Capturer {
    vi::Bench bench;
    Samples samples{bench};
    vi::SpiBus bus;
    vi::AcquisitionBoard board;
    TVPN_ADFPGA driver;

    explicit Capturer(const vi::UnitBoards& boards) : board(bus, {boards.fpga, boards.acquisitionPll}, samples, 1) {
        bench_init(&bench, boards, {"", {100e6, 8, {{{10, -95}, {1e3, -122}, {1e5, -133}, {1e7, -156}}}, {}, {}}, {}},
                   1);
        for (const vi::Channel c : {vi::channelA, vi::channelB})
            bench_setWiring(&bench, c, vi::straightWiring(boards, 99e6));
        open();
        TVPN_ADFPGA_init(&driver, boards.fpga == vi::FpgaGeneration::second ? adfpga_firstSecondGeneration : 2);
        (void)TVPN_ADFPGA_setTdSamplesCount(&driver, adfpga_tdSamplesMax);
    }
    void open() {
        vi::rtdm_register("tvko", &bus);
        vi::rtdm_register(vi::sampleStream_deviceName, &board.stream());
        if (tvspiOpen() != 0)
            abort();
    }
};

/// One of each generation, as the pool of memory takes nothing back.
Capturer& capturerOf(const char* serial) {
    static std::map<std::string, Capturer> capturers;
    Capturer& capturer = capturers.try_emplace(serial, vi::unitBoards_of(serial)).first->second;
    capturer.open();
    return capturer;
}

/// A capture of 2^20 pairs into the buffers.
void capture(benchmark::State& state, const char* serial, bool silent) {
    Capturer& capturer = capturerOf(serial);
    capturer.samples.silent = silent;
    for (auto _ : state)
        if (TVPN_ADFPGA_captureTdSamples(&capturer.driver) != 0)
            abort();
    state.SetBytesProcessed(state.iterations() * adfpga_tdSamplesMax * 4);
    tvspiClose();
    vi::rtdm_unregister(&capturer.bus);
}

/// An update of the FPGA's flash with two images of 4 MiB each.
void flashUpdate(benchmark::State& state, const char* serial) {
    Capturer& capturer = capturerOf(serial);
    const std::string config = std::filesystem::temp_directory_path() / ("config" + std::to_string(getpid()));
    std::ofstream(config, std::ios::binary) << std::string(4 << 20, 'x');
    const int out = dup(STDOUT_FILENO), nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO); // what it tells is not of interest here
    for (auto _ : state)
        if (TVPN_ADFPGA_updateFpgaConfig(&capturer.driver, config.c_str(), config.c_str()) != 0)
            abort();
    fflush(stdout);
    dup2(out, STDOUT_FILENO);
    close(out);
    close(nowhere);
    std::filesystem::remove(config);
    state.SetItemsProcessed(state.iterations());
    tvspiClose();
    vi::rtdm_unregister(&capturer.bus);
}

constexpr const char* firstGeneration = "220-336305910-0001";
constexpr const char* secondGeneration = "220-336306910-0001";

} // namespace

BENCHMARK(registerWrite);
BENCHMARK(tuningWord);
BENCHMARK(spectra);
BENCHMARK(stream);
BENCHMARK_CAPTURE(capture, streamFirst, firstGeneration, true);
BENCHMARK_CAPTURE(capture, streamSecond, secondGeneration, true);
BENCHMARK_CAPTURE(capture, wholeFirst, firstGeneration, false);
BENCHMARK_CAPTURE(capture, wholeSecond, secondGeneration, false);
BENCHMARK_CAPTURE(flashUpdate, second, secondGeneration); // the last: the FPGA does not boot from these images
BENCHMARK_MAIN();
