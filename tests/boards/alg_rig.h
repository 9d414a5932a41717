#pragma once
/// An analog board on the virtual bus: chip models where each revision has its chips.

#include "boards/tvpnx_alg.h"
#include "tests/boards/debug_text.h"
#include "tests/boards/wire_rig.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"
#include "virtual/platform/clock.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

enum Version : uint32_t { v1B, v1C, v2A, v2B, v2C, v2D };

inline constexpr int refused = -224, missing = -241;

inline tvfreq hz(int64_t hertz) {
    return {hertz, 0};
}

/// A board, its chips and the wire.
class AlgRig : public WireRig {
public:
    AlgRig(Version version, uint32_t boardIndex = 0, const char* unit = "")
        : WireRig(unit, boardIndex == 0 ? 160 : 176), base(boardIndex == 0 ? 160 : 176), first(version <= v1C) {
        threshold_freq_high = 9900;
        const uint32_t segment = boardIndex;
        outputs = std::make_unique<vi::OutputRegister>(first ? 5 : 6);
        bus.attach(base, outputs.get());
        bus.attach(base + (first ? 2 : 1), &powerAdc, segment);
        const uint32_t loop = first ? 8 : 3;
        bus.attach(base + loop, &r1r2);
        bus.attach(base + loop + 1, &r3aid);
        bus.attach(base + loop + 2, &calibration);
        bus.attach(base + loop + 3, &supply);
        if (first) {
            bus.attach(base + 1, &dutAttenuator);
            bus.attach(base + 12, &refAttenuator);
            bus.attach(base + 4, &pll);
        } else {
            bus.attach(base + 2, &tuneAdc, segment);
            bus.attach(base + 7, &dac);
        }
        if (version == v2D)
            bus.attach(base + 8, &wideDac);
        TVPNX_ALG_init(&board, boardIndex, version);
        initWire = taken();
    }

    void setLines(uint64_t lines) { SRI_setValue(&board.sri, lines); }
    [[nodiscard]] uint64_t lines() const { return outputs->lines(); }
    [[nodiscard]] bool line(unsigned n) const { return outputs->line(n); }

    double power_V = 0, tune_V = 0;
    std::function<double()> powerSource = [this] { return power_V; };
    std::function<double()> tuneSource = [this] { return tune_V; };

    uint32_t base;
    bool first;
    std::unique_ptr<vi::OutputRegister> outputs;
    vi::Ad7940Model powerAdc{5, [this] { return powerSource(); }}, tuneAdc{5, [this] { return tuneSource(); }};
    vi::Ad5293Chain r1r2{100e3, 100e3}, r3aid{100e3, 100e3}, calibration{100e3}, supply{100e3};
    vi::Hmc624Model dutAttenuator, refAttenuator;
    vi::Adf4xxxModel pll{vi::Adf4xxxModel::Kind::adf4106, vi::spiPlain};
    vi::Ad5640Model dac{14};
    vi::Ad5760Model wideDac;
    TVPNX_ALG board{};
    std::string initWire;
};

/// An operation with its arguments, as the rows of a table name it.
template <auto operation, auto... arguments> int with(TVPNX_ALG* board) {
    return operation(board, arguments...);
}

/// Virtual microseconds that `action` takes without its transfers.
template <class Action> double waited_us(AlgRig* rig, Action action) {
    const uint64_t transfers = rig->bus.transfers(), start = vi::clock_now();
    action();
    const uint64_t spent = (rig->bus.transfers() - transfers) * vi::spiTransfer_ns;
    return static_cast<double>(vi::clock_now() - start - spent) / 1000;
}
