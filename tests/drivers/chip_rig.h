#pragma once
/// The chip drivers on the virtual bus, with a model of each chip at its address. Every test ends with no frame
/// refused.

#include "drivers/AD5293.h"
#include "drivers/AD5432.h"
#include "drivers/AD5640.h"
#include "drivers/AD5760.h"
#include "drivers/AD5932.h"
#include "drivers/AD7680.h"
#include "drivers/AD7940.h"
#include "drivers/AD9268.h"
#include "drivers/AD9467.h"
#include "drivers/AD9512.h"
#include "drivers/AD9912.h"
#include "drivers/AD9914.h"
#include "drivers/ADF4002.h"
#include "drivers/ADF4106.h"
#include "drivers/ADF5355.h"
#include "drivers/HMC624.h"
#include "drivers/HMC988.h"
#include "drivers/LTC6950.h"
#include "drivers/MCP4131.h"
#include "drivers/SRI.h"
#include "drivers/SRO.h"
#include "drivers/TC77.h"
#include "drivers/tvspi.h"
#include "platform/rt.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/clocks.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

/// All records, as a board would own them.
struct ChipRecords {
    AD5640 dac14, dac16;
    AD5293 r1, r2;
    AD5432 amplitude;
    AD5760 tune;
    AD5932 sweep;
    AD7680 userAdc;
    AD7940 adc;
    AD9268 adcPair;
    AD9467 adcA;
    AD9512 clocks;
    AD9912 dds;
    AD9914 dds1B;
    ADF4002 clockPll;
    ADF4106 counterPll;
    ADF5355 vco;
    HMC624 attenuator, invertedAttenuator;
    HMC988 divider;
    LTC6950 distribution;
    MCP4131 fan;
    SRI outputs;
    SRO inputs;
    TC77 temperature;
};

class Chips : public testing::Test {
protected:
    static constexpr uint32_t board = 3;
    static constexpr uint32_t dividerId = 5;

    Chips() {
        vi::rtdm_register("tvko", &bus);
        vi::SpiChip* const models[] = {
            &dac14Model,   &dac16Model,        &chainModel,   &amplitudeModel, &tuneModel,       &sweepModel,
            &userAdcModel, &adcModel,          &adcPairModel, &adcAModel,      &clocksModel,     &ddsModel,
            &dds1BModel,   &clockPllModel,     &counterModel, &vcoModel,       &attenuatorModel, &invertedModel,
            &dividerModel, &distributionModel, &fanModel,     &outputsModel,   &inputsModel,     &temperatureModel};
        uint32_t address = 0;
        for (vi::SpiChip* model : models)
            bus.attach(address++, model, board);
        EXPECT_EQ(tvspiOpen(), 0);
        initialise();
        bus.intercept([this](const vi::SpiTransfer& transfer) {
            wire += (wire.empty() ? "" : " | ") + std::to_string(transfer.mode) + (transfer.read ? ":read" : ":");
            for (size_t i = 0; !transfer.read && i < transfer.frame.size(); ++i) {
                char text[4];
                snprintf(text, sizeof text, "%s%02X", i == 0 ? "" : " ", transfer.frame[i]);
                wire += text;
            }
            return true;
        });
    }
    ~Chips() override {
        EXPECT_EQ(bus.faults(), 0U) << bus.faultTexts();
        tvspiClose();
        vi::rtdm_unregister(&bus);
    }

    void initialise() {
        AD5640_init(&chips.dac14, 0, board);
        AD5660_init(&chips.dac16, 1, board);
        AD5293_init(&chips.r1, 2, board, 2);
        AD5293_init(&chips.r2, 2, board, 1);
        EXPECT_EQ(AD5293_daisyChain(&chips.r1, &chips.r2), 0);
        AD5432_init(&chips.amplitude, 3, board);
        AD5760_init(&chips.tune, 4, board);
        AD5932_init(&chips.sweep, 5, board);
        AD7680_init(&chips.userAdc, 6, board);
        AD7940_init(&chips.adc, 7, board);
        AD9268_init(&chips.adcPair, 8, board);
        AD9467_init(&chips.adcA, 9, board);
        AD9512_init(&chips.clocks, 10, board);
        AD9912_init(&chips.dds, 11, board);
        AD9914_init(&chips.dds1B, 12, board, pulseIoUpdate);
        ADF4002_init(&chips.clockPll, 13, board, 0);
        ADF4106_init(&chips.counterPll, 14, board);
        ADF5355_init(&chips.vco, 15);
        HMC624_init(&chips.attenuator, 16, board);
        HMC624_initInvertedLE(&chips.invertedAttenuator, 17, board);
        HMC988_init(&chips.divider, 18, board, dividerId);
        LTC6950_init(&chips.distribution, 19, board);
        MCP4131_init(&chips.fan, 20, board);
        constexpr uint8_t lines[] = {0x01, 0x02, 0x03};
        SRI_init(&chips.outputs, 21, board, lines, sizeof lines);
        SRO_init(&chips.inputs, 22, board, 2);
        TC77_init(&chips.temperature, 23, board);
    }

    static int pulseIoUpdate() {
        constexpr uint32_t ioUpdate = 57358;
        return rt_dev_ioctl(tvkono, ioUpdate, 0);
    }

    /// The transfers since the last call, each as "mode:bytes in memory" or "mode:read".
    std::string taken() { return std::exchange(wire, {}); }

    std::string wire;
    vi::SpiBus bus;
    ChipRecords chips{};

    double input_V = 0;
    double temperature_degC = 0;
    uint64_t inputLines = 0;
    vi::Ad5640Model dac14Model{14};
    vi::Ad5640Model dac16Model{16};
    vi::Ad5293Chain chainModel{100e3, 50e3};
    vi::Ad5432Model amplitudeModel;
    vi::Ad5760Model tuneModel;
    vi::Ad5932Model sweepModel;
    vi::Ad7680Model userAdcModel{3.3, [this] { return input_V; }};
    vi::Ad7940Model adcModel{3.3, [this] { return input_V; }};
    vi::FastAdcModel adcPairModel{vi::FastAdcModel::Kind::ad9268};
    vi::FastAdcModel adcAModel{vi::FastAdcModel::Kind::ad9467};
    vi::Ad9512Model clocksModel;
    vi::Ad9912Model ddsModel;
    vi::Ad9914Model dds1BModel;
    vi::Adf4xxxModel clockPllModel{vi::Adf4xxxModel::Kind::adf4002, vi::spiPlain};
    vi::Adf4xxxModel counterModel{vi::Adf4xxxModel::Kind::adf4106, vi::spiPlain};
    vi::Adf5355Model vcoModel;
    vi::Hmc624Model attenuatorModel;
    vi::Hmc624Model invertedModel{vi::spiInvertedLatch};
    vi::Hmc988Model dividerModel{dividerId};
    vi::Ltc6950Model distributionModel;
    vi::Mcp4131Model fanModel;
    vi::OutputRegister outputsModel{3};
    vi::InputRegister inputsModel{2, [this] { return inputLines; }};
    vi::Tc77Model temperatureModel{[this] { return temperature_degC; }};
};
