#include "virtual/chips/analog.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

#include <gtest/gtest.h>
#include <vector>

using namespace vi;

namespace {

using Bytes = std::vector<uint8_t>; // as in memory: what comes first on the wire is last

bool send(SpiChip* chip, const Bytes& frame, uint32_t mode) {
    return chip->send(frame, mode);
}

/// All words of a number of bytes that a chip takes.
template <class Model> std::vector<uint32_t> acceptedTopNibbles(uint32_t mode, size_t bytes, uint32_t rest) {
    std::vector<uint32_t> accepted;
    for (uint32_t nibble = 0; nibble < 16; ++nibble) {
        Model chip;
        Bytes frame(bytes);
        frame_fill(frame, uint64_t{nibble} << (8 * bytes - 4) | rest);
        if (send(&chip, frame, mode))
            accepted.push_back(nibble);
    }
    return accepted;
}

} // namespace

TEST(ChipModels, RefuseWhatTheirDataSheetsDoNotKnow) {
    Ad5640Model dac14(14);
    Ad5640Model dac16(16);
    Ad5760Model dac;
    Ad5293Chain chain({20e3, 20e3});
    Mcp4131Model potentiometer;
    Hmc624Model attenuator(spiInvertedLatch);
    Ad5932Model sweep;
    FastAdcModel adc(FastAdcModel::Kind::ad9467);
    Ad9512Model clocks;
    Ad9912Model dds;
    Ad9914Model dds32;
    Adf4xxxModel pll(Adf4xxxModel::Kind::adf4106, spiPlain);
    Adf5355Model vco;
    Hmc988Model divider(5);
    Ltc6950Model distribution;
    OutputRegister outputs(3);
    Ad7940Model slowAdc(3.3, [] { return 1.0; });
    const struct {
        SpiChip* chip;
        uint32_t mode;
        Bytes frame;
        const char* why;
    } rows[] = {
        {&dac14, 0, {1, 0}, "clock phase"},
        {&dac14, 1, {1, 0, 0}, "length of the AD5660"},
        {&dac16, 1, {1, 0}, "length of the AD5640"},
        {&dac, 1, {1, 0, 0x10}, "data beside the field"},
        {&dac, 1, {0x00, 0x01, 0x20}, "reserved control bits"},
        {&dac, 1, {0, 0, 0x90}, "read"},
        {&chain, 1, {0, 4}, "one word for two chips"},
        {&chain, 1, {0, 4, 0, 0x0C}, "command 3 of the far chip"},
        {&chain, 1, {0, 0x44, 0, 0}, "bits above the command"},
        {&potentiometer, 0, {1, 0x40}, "another register"},
        {&potentiometer, 0, {1, 0x0C}, "read"},
        {&attenuator, 0, {0xFF}, "latch enable the wrong way round"},
        {&sweep, 1, {0x00, 0x0E}, "reserved bits of the control word"},
        {&sweep, 1, {0x00, 0xC0, 0x00, 0xD0}, "high half first"},
        {&sweep, 1, {0x00, 0x80}, "unknown register"},
        {&adc, 0, {0x20, 0x00, 0x00}, "port settings that do not mirror"},
        {&adc, 0, {0x01, 0x03, 0x00}, "unknown register"},
        {&adc, 0, {0x01, 0x14, 0x80}, "read"},
        {&clocks, 0, {0x00, 0x4B, 0x20}, "two bytes told, one sent"},
        {&clocks, 0, {0x00, 0x00, 0x3D, 0x20}, "runs into an unknown register"},
        {&dds, 0, {0, 0, 0, 0, 0, 0, 0, 0xA6, 0x61}, "word from its low end"},
        {&dds32, 0, {0, 0, 0, 0, 0x1C}, "unknown register"},
        {&dds32, 0, {0, 0, 0, 0, 0x80}, "read"},
        {&pll, 0, {0, 0, 0}, "reference divider 0"},
        {&vco, 0, {0x0D, 0, 0, 0}, "register 13"},
        {&divider, 0, {0x8C, 0x07}, "another chip's id"},
        {&divider, 0, {0x15, 0x03}, "divider code 6"},
        {&divider, 0, {0x05, 0x00}, "register 0"},
        {&distribution, 0, Bytes(25, 0), "beyond the last register"},
        {&distribution, 0, {0, 1}, "read"},
        {&outputs, 0, {0, 0}, "length"},
        {&slowAdc, 1, {0, 0}, "write to a chip without input"},
    };
    for (const auto& row : rows)
        EXPECT_FALSE(send(row.chip, row.frame, row.mode)) << row.why;
    EXPECT_DOUBLE_EQ(chain.wiperToB_ohm(0), 10e3) << "nothing of a refused frame is done";
    EXPECT_EQ(dds32.output_Hz(1e9), 0);

    Bytes wrong(3);
    EXPECT_FALSE(slowAdc.receive(wrong, spiClockPhase, 0));
    EXPECT_FALSE(slowAdc.receive(std::span(wrong).first(2), spiPlain, 0));

    EXPECT_EQ(acceptedTopNibbles<Ad5432Model>(1, 2, 0), (std::vector<uint32_t>{0x0, 0x1, 0x9, 0xB, 0xC}));
    EXPECT_EQ(acceptedTopNibbles<Ad5760Model>(1, 3, 1 << 4), (std::vector<uint32_t>{0x1, 0x2}));
}

TEST(ChipModels, TheVcoWaitsForAllRegistersAndActsOnTheLast) {
    Adf5355Model vco;
    const auto write = [&vco](uint32_t word) {
        Bytes frame(4);
        frame_fill(frame, word);
        return send(&vco, frame, spiPlain);
    };
    for (const uint32_t other : {12U, 11U, 10U, 9U, 8U, 7U, 6U, 5U, 3U, 2U, 1U})
        EXPECT_TRUE(write(other));
    constexpr uint32_t search = 1U << 21;
    EXPECT_TRUE(write(search | 400 << 4));
    EXPECT_EQ(vco.vco_Hz(10e6), 0) << "R4 was never written";
    EXPECT_TRUE(write(2U << 15 | 1U << 26 | 4)); // reference doubled and divided by 2
    EXPECT_TRUE(write(search | 400 << 4));
    EXPECT_DOUBLE_EQ(vco.vco_Hz(10e6), 4e9);
    EXPECT_TRUE(write(1U << 26 | 1)); // a quarter, 2^22 of 2^24
    EXPECT_DOUBLE_EQ(vco.vco_Hz(10e6), 4e9) << "not before R0";
    EXPECT_TRUE(write(2U << 18 | 4U << 4 | 2)); // and 2/4 of the last place
    EXPECT_TRUE(write(search | 400 << 4));
    EXPECT_DOUBLE_EQ(vco.vco_Hz(10e6), 4.0025e9 + 0.5 * 10e6 / (1 << 24));
    EXPECT_TRUE(write(search | 339 << 4));
    EXPECT_EQ(vco.vco_Hz(10e6), 0) << "below the bands";
}
