#pragma once
/// Source boards on the virtual bus: chip models where each generation has its chips, and what a board sends, as text.

#include "boards/tvpn_is.h"
#include "boards/tvpn_is6g.h"
#include "tests/boards/debug_text.h"
#include "tests/boards/wire_rig.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"
#include "virtual/platform/clock.h"

inline constexpr int failed = -200, refused = -224, missing = -241;
inline constexpr double clock_Hz = 1e9;

inline tvfreq hz(int64_t hertz) {
    return {hertz, 0};
}

/// The wire: "+chip:frame as it lies in memory", "+chip" for a read, "!" for an I/O update. Of the ADF5355 the register
/// alone, and "R4-" when it is powered down.
class SourceRig : public WireRig {
public:
    explicit SourceRig(uint32_t pll) : WireRig("200-000000000-0000"), pll_(pll) {
        bus.attach(unusedAddress, &line);
        record();
    }
    std::string sent() { return std::exchange(text_, {}); }
    /// Ends what failTransfers began.
    void record() {
        bus.intercept([this](const vi::SpiTransfer& transfer) {
            append(transfer);
            return true;
        });
    }
    /// Virtual microseconds without the transfers since the last call.
    double waited_us() {
        const uint64_t now = vi::clock_now() - bus.transfers() * vi::spiTransfer_ns;
        return static_cast<double>(now - std::exchange(since_, now)) / 1000;
    }

private:
    static constexpr uint32_t unusedAddress = 200;
    struct IoUpdateLine final : vi::SpiChip {
        explicit IoUpdateLine(std::string* wire) : text(wire) {}
        void ioUpdate(uint32_t /*trigger*/) override { *text += text->empty() ? "!" : " !"; }
        std::string* text;
    };

    void append(const vi::SpiTransfer& transfer) {
        char part[16];
        snprintf(part, sizeof part, "%s+%u", text_.empty() ? "" : " ", transfer.address % 16);
        text_ += part;
        if (transfer.address % 16 == pll_ && !transfer.read) {
            const unsigned number = transfer.frame[0] & 15;
            snprintf(part, sizeof part, ":R%u%s", number, number == 4 && (transfer.frame[0] & 0x40) != 0 ? "-" : "");
            text_ += part;
            return;
        }
        text_ += transfer.read ? "" : ":";
        for (const uint8_t byte : transfer.frame) {
            snprintf(part, sizeof part, "%02X", byte);
            text_ += part;
        }
    }

    uint32_t pll_;
    std::string text_;
    uint64_t since_ = 0;
    IoUpdateLine line{&text_};
};

enum Generation : uint32_t { is1B, is2A, is2B };

class IsRig : public SourceRig {
public:
    explicit IsRig(Generation generation, uint32_t index = 0) : SourceRig(generation == is1B ? 99 : 2) {
        const uint32_t base = index == 0 ? 96 : 112;
        bus.attach(base, &outputs, index);
        bus.attach(base + 1, &referenceAdc, index);
        if (generation == is1B) {
            bus.attach(base + 2, &dds1B, index);
            bus.attach(base + 3, &divider, index);
        } else {
            bus.attach(base + 2, &pll, index);
            bus.attach(base + 3, &referenceTuneAdc, index);
            bus.attach(base + 4, &referenceDac, index);
            bus.attach(base + 5, &vcoTuneAdc, index);
            bus.attach(base + 6, &dds, index);
            bus.attach(base + 7, &vcoDac, index);
        }
        waited_us();
        TVPN_IS_init(&board, index, generation);
        startWire = sent();
        startTime_us = waited_us();
    }
    int set(int64_t hertz, int lowPath = 0) {
        const tvfreq frequency = hz(hertz);
        return TVPN_IS_setFrequency(&board, &frequency, lowPath);
    }
    /// Lines of the shift register that are set, in ascending order.
    [[nodiscard]] std::string lines() const {
        std::string text;
        for (unsigned n = 0; n < 24; ++n)
            if (outputs.line(n))
                text += (text.empty() ? "" : " ") + std::to_string(n);
        return text;
    }

    // Words of the ADCs, of 16384.
    std::function<double()> tune = [] { return 4000; }, referenceTune = [] { return 8000; };
    vi::OutputRegister outputs{3};
    vi::Ad7940Model referenceAdc{16384, [] { return 5000; }};
    vi::Ad7940Model referenceTuneAdc{16384, [this] { return referenceTune(); }};
    vi::Ad7940Model vcoTuneAdc{16384, [this] { return tune(); }};
    vi::Ad5640Model referenceDac{14}, vcoDac{14};
    vi::Adf5355Model pll;
    vi::Ad9912Model dds;
    vi::Ad9914Model dds1B;
    vi::Hmc988Model divider{0};
    TVPN_IS board{};
    std::string startWire;
    double startTime_us = 0;
};
