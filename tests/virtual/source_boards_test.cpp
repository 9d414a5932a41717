#include "tests/virtual/board_bus.h"
#include "virtual/boards/source_double.h"
#include "virtual/boards/source_first.h"
#include "virtual/boards/source_pair.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace vi;

namespace {

constexpr uint32_t bit(unsigned n) {
    return 1U << n;
}

template <class Board> struct Source {
    explicit Source(uint32_t firstAddress)
        : first(firstAddress), board(bus, firstAddress, {[this] { return tune_V; }, [this] { return vcoBroken; }}) {}
    bool send(uint32_t offset, uint64_t word, uint32_t bytes, uint32_t mode = 0) {
        return bus.send(first + offset, word, bytes, mode);
    }
    void dac(uint32_t offset, uint32_t code) { EXPECT_TRUE(send(offset, code, 2, 1)); }
    const SourceCircuit& circuit() { return board.circuit(); }

    uint32_t first;
    double tune_V = 7.2;
    bool vcoBroken = false;
    BoardBus bus;
    Board board;
};

/// AD9912: word of so many hertz on a clock of 1 GHz.
uint64_t ddsFrame(double frequency_Hz) {
    return uint64_t{0x61AB} << 48 | uint64_t(std::floor(std::ldexp(frequency_Hz / 1e9, 48)));
}

constexpr uint32_t crystal = 1 << 11 | 1 << 18 | 1 << 21;
constexpr uint32_t released = 3 << 14;

struct Pair : Source<PairSource> {
    explicit Pair(uint32_t firstAddress = sourceBoardA) : Source(firstAddress) {
        for (uint32_t number = 13; number-- > 0;)
            EXPECT_TRUE(send(2, start[number], 4));
    }
    void lines(uint32_t word) {
        EXPECT_TRUE(send(0, word, 3));
        EXPECT_TRUE(bus.ioUpdate());
    }
    /// The VCO's band, in steps of 10 MHz: its frequency is the output's times the divider.
    void band(double vco_Hz, uint32_t dividerCode) {
        const double ratio = vco_Hz / 10e6;
        EXPECT_TRUE(send(2, (start[6] & ~(7U << 21)) | dividerCode << 21 | 3 << 4, 4));
        EXPECT_TRUE(send(2, uint32_t(std::ldexp(ratio - std::floor(ratio), 24)) << 4 | 1, 4));
        EXPECT_TRUE(send(2, bit(21) | uint32_t(ratio) << 4, 4));
    }
    /// All steps to an output of `carrier_Hz` that stands at `ratio` times the DDS.
    void tune(double carrier_Hz, uint32_t path, uint32_t ratio, double bandOver = 1.023, uint32_t dividerCode = 0) {
        constexpr uint32_t supplies = bit(7) | bit(13) | bit(16), open = bit(10);
        lines(crystal | supplies | path | open);
        EXPECT_TRUE(send(6, ddsFrame(carrier_Hz / ratio), 8) && send(6, 0x0010D0, 3) && bus.ioUpdate());
        dac(7, 0);
        band(std::ldexp(carrier_Hz, int(dividerCode)) * bandOver, dividerCode);
        lines(crystal | supplies | path);
        for (const uint32_t code : {7400U, 9000U, released})
            dac(7, code);
    }

    static constexpr uint32_t start[13] = {
        0x200000 | 400 << 4, 1,         2,         3,        32772 | 1 << 5, 0x800025,  0x15000046,
        0x10000007,          271385640, 0x5191529, 0xC0037A, 6369291,        0xFFFF041C};
};

} // namespace

TEST(PairSource, UpTo400MHzTheDdsIsTheSourceAndItsWordWaitsForTheIoUpdate) {
    Pair pair;
    pair.lines(crystal | bit(16) | bit(6)); // the last is the VCO's
    EXPECT_TRUE(pair.send(6, ddsFrame(100.000123e6), 8));
    EXPECT_EQ(pair.circuit().output_Hz, 0);
    EXPECT_TRUE(pair.bus.ioUpdate());
    EXPECT_NEAR(pair.circuit().output_Hz, 100.000123e6, 4e-6);
    EXPECT_LT(pair.circuit().output_Hz, 100.000123e6) << "the word is cut";
    EXPECT_EQ(pair.circuit().port, SourcePort::low);
    EXPECT_TRUE(pair.send(0, crystal, 3));
    EXPECT_GT(pair.circuit().output_Hz, 0) << "lines wait as well";
    EXPECT_TRUE(pair.bus.ioUpdate());
    EXPECT_EQ(pair.circuit().output_Hz, 0) << "RF off";
    pair.lines(bit(16) | bit(18) | bit(21));
    EXPECT_EQ(pair.circuit().output_Hz, 0) << "a multiplier without its switch";
    pair.lines(bit(20) | bit(16));
    EXPECT_NEAR(pair.circuit().output_Hz, 100.000123e6, 4e-6);
    EXPECT_EQ(pair.circuit().reference, SourceReference::resonator1GHz);
    EXPECT_TRUE(pair.send(6, 0x0010D2, 3));
    EXPECT_EQ(pair.circuit().output_Hz, 0) << "DDS powered down";
    EXPECT_EQ(pair.bus.faults(), 0u) << pair.bus.faultTexts();
}

TEST(PairSource, TheLoopTakesOverWhereTheDacLetsGoAndLosesWhatItLoses) {
    constexpr uint32_t path = bit(15) | bit(5) | bit(8) | bit(9), locked = crystal | bit(7) | bit(13) | bit(16) | path;
    Pair pair;
    pair.tune(1.6e9, path, 4, 1.023, 2);
    const uint32_t word = 3'500'000'000; // a step beside the carrier, about 12.4 kHz at the DDS
    EXPECT_TRUE(pair.send(6, ddsFrame(400e6) + word, 8) && pair.bus.ioUpdate());
    EXPECT_NEAR(pair.circuit().output_Hz, 1.6e9 + 4 * std::ldexp(word * 1e9, -48), 1e-4) << "follows";
    EXPECT_TRUE(pair.circuit().locked);
    pair.lines(locked | bit(10));
    EXPECT_FALSE(pair.circuit().locked);
    pair.lines(locked);
    EXPECT_FALSE(pair.circuit().locked) << "wants help";
    EXPECT_GT(std::abs(pair.circuit().output_Hz / 1.6e9 - 1), 0.005) << "the VCO by itself";
    pair.dac(7, 9000);
    EXPECT_FALSE(pair.circuit().locked) << "while the DAC holds it";
    pair.dac(7, 1 << 14);
    EXPECT_FALSE(pair.circuit().locked) << "a kilohm holds it";
    pair.dac(7, 9000);
    pair.dac(7, released);
    EXPECT_TRUE(pair.circuit().locked);
    pair.vcoBroken = true;
    pair.lines(locked | bit(6));
    EXPECT_EQ(pair.bus.adc(sourceBoardA + 5), 16383u) << "the rail";
    EXPECT_TRUE(pair.send(2, 32772 | 1 << 5 | 1 << 6, 4));
    EXPECT_EQ(pair.circuit().output_Hz, 0) << "VCO powered down";
}

TEST(PairSource, TheLowNoiseReferenceHasALoopOfItsOwn) {
    constexpr uint32_t lowNoise = bit(2) | bit(3) | bit(12) | bit(18) | bit(19) | bit(21);
    Pair pair;
    pair.lines(lowNoise | bit(16));
    EXPECT_TRUE(pair.send(6, ddsFrame(250e6), 8) && pair.bus.ioUpdate());
    EXPECT_NEAR(pair.circuit().output_Hz - 250e6, 5e3, 1) << "20 ppm off";
    for (const uint32_t code : {7400U, 9000U, released})
        pair.dac(4, code);
    EXPECT_NEAR(pair.circuit().output_Hz, 250e6, 1e-3);
    const uint32_t tuned = pair.bus.adc(sourceBoardA + 3);
    EXPECT_TRUE(tuned > 6001 && tuned < 9499) << tuned;
    EXPECT_EQ(pair.circuit().reference, SourceReference::lowNoisePll);
    EXPECT_NEAR(pair.bus.adc(sourceBoardA + 1) * 4.545 * 3.3 / 16384, 7.2, 0.002) << "tune line";
}

TEST(FirstSource, ADdsOnOneOfTwoClocksIsMultiplied) {
    constexpr uint32_t crystalOn = bit(5) | bit(10) | bit(11), ocxoOn = bit(3) | bit(5) | bit(6) | bit(10);
    constexpr uint32_t clock05 = bit(4) | bit(8); // else 3 GHz
    Source<FirstSource> source(sourceBoardA);
    const auto lines = [&](uint32_t word) {
        EXPECT_TRUE(source.send(0, word, 3) && source.bus.ioUpdate());
        return source.circuit().output_Hz;
    };
    const auto write = [&](uint64_t number, uint32_t value) { EXPECT_TRUE(source.send(2, number << 32 | value, 5)); };
    const auto calibrate = [&] {
        for (const uint32_t value : {336160U | bit(24), 336160U}) {
            write(3, value);
            EXPECT_TRUE(source.bus.ioUpdate());
        }
    };
    write(0, 65736 & ~0xC0U);
    write(1, 256 | bit(23));
    write(11, uint32_t(std::ldexp(100e6 / 3e9, 32)));
    EXPECT_EQ(lines(crystalOn), 0) << "not calibrated";
    calibrate();
    EXPECT_NEAR(source.circuit().output_Hz, 100e6, 1);
    EXPECT_NEAR(lines(crystalOn | bit(1)), 200e6, 2);
    EXPECT_NEAR(lines(crystalOn | bit(1) | bit(9)), 400e6, 4);
    EXPECT_EQ(lines(crystalOn | clock05), 0) << "calibrated on the other clock";
    calibrate();
    EXPECT_NEAR(source.circuit().output_Hz, 100e6 / 6, 1);
    EXPECT_EQ(lines(crystalOn | bit(4)), 0) << "a divider that nothing leads to the DDS";
    for (const uint32_t lacking : {5U, 10U, 11U})
        EXPECT_EQ(lines((crystalOn ^ bit(lacking)) | clock05), 0) << "a reference without line " << lacking;
    EXPECT_NEAR(lines(ocxoOn | clock05), 100e6 / 6, 1);
    EXPECT_EQ(source.circuit().reference, SourceReference::ocxo10MHzTimes100);
    EXPECT_EQ(lines(ocxoOn | bit(0)), 10e6) << "the OCXO itself";
    EXPECT_EQ(lines((ocxoOn ^ bit(3)) | clock05), 0);
    EXPECT_TRUE(source.send(3, 2 << 3 | 2 << 7, 2) && source.send(3, 1 << 3 | 15 << 7, 2));
    EXPECT_NEAR(lines(crystalOn | clock05 | bit(7)), 100e6 / 24, 1);
    write(0, 65736 | 0xC0);
    EXPECT_TRUE(source.bus.ioUpdate());
    EXPECT_EQ(source.circuit().output_Hz, 0) << "powered down";
    EXPECT_EQ(source.bus.faults(), 0u) << source.bus.faultTexts();
}

TEST(DoubleSource, TheVcoIsMultipliedFromTheDdsAndDivided) {
    constexpr uint32_t on = bit(5) | bit(6) | bit(7), loop = bit(6) | bit(7);
    const struct {
        double output_Hz, dds_Hz;
        uint32_t path;
        bool locks;
    } rows[] = {
        {500e6, 500e6 * 8 / 16, bit(3) | bit(4) | bit(5) | bit(1), true},
        {900e6, 900e6 * 4 / 12, bit(3) | bit(4), true},
        {2.65e9, 2.65e9 * 2 / 24, bit(3) | bit(2), true},
        {5.9e9, 5.9e9 / 16, bit(1), true},
        {2e9, 2e9 / 12, 0, false}, // a VCO of 2 GHz
        {6.8e9, 400e6, bit(1), false},
    };
    for (const auto& row : rows) {
        Source<DoubleSource> source(doubleSourceB);
        EXPECT_TRUE(source.send(0, on, 1) && source.send(1, row.path | loop, 1));
        EXPECT_TRUE(source.send(4, ddsFrame(row.dds_Hz), 8) && source.bus.ioUpdate());
        for (const uint32_t code : {6553U, 9830U, released})
            source.dac(3, code);
        const double tune_V = source.bus.adc(doubleSourceB + 2) * 4.7 * 3.3 / 16384;
        EXPECT_EQ(tune_V > 0.5 && tune_V < 13.5, row.locks) << row.output_Hz << ' ' << tune_V;
        const double output_Hz = source.circuit().output_Hz;
        EXPECT_EQ(std::abs(output_Hz - row.output_Hz) < 1e-3, row.locks) << output_Hz;
        EXPECT_TRUE(source.send(1, row.path | bit(6), 1));
        EXPECT_EQ(source.circuit().output_Hz, 0) << "RF off";
        EXPECT_TRUE(source.send(1, 0, 1));
        EXPECT_NEAR(source.circuit().output_Hz, row.dds_Hz, 1e-4) << "straight from the DDS";
        EXPECT_TRUE(source.send(0, on & ~bit(5), 1));
        EXPECT_EQ(source.circuit().output_Hz, 0) << "OCXO off";
        EXPECT_EQ(source.bus.faults(), 0u) << source.bus.faultTexts();
    }
}
