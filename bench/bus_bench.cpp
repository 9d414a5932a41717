/// The bus beneath the boards: a register written from the driver down to the chip's model, and tuning words.

#include "drivers/FTW.h"
#include "drivers/tvspi.h"
#include "virtual/spi_bus.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdlib>

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

} // namespace

BENCHMARK(registerWrite);
BENCHMARK(tuningWord);
BENCHMARK_MAIN();
