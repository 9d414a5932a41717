// Start, power and service of the double-channel source board.

#include "boards/is6g_lines.h"
#include "identity/device_config_files.h"

#include <cstdio>

namespace {

constexpr uint32_t addressesPerChannel = 8;
/// Where a chip hangs, counted from the channel's first address.
namespace at {
constexpr uint32_t controlRegister = 0, pathRegister = 1, vcoTuneAdc = 2, vcoDac = 3, dds = 4, ocxoTuneAdc = 5,
                   outputRegisters = 6;
}
constexpr uint32_t outputRegisterBytes = 1;
constexpr uint8_t linesAtStart[] = {0};

constexpr double sensitivityDefault = 250, sensitivityMin = 10; // Hz/V
constexpr double sensitivityPer_Hz = 100e6;

constexpr Is6gPattern ocxoOn = is6g_control({IS6G_OCXO_BIT}, "1"), ocxoOff = is6g_control({IS6G_OCXO_BIT}, "0");
constexpr Is6gPattern supplied = is6g_control({IS6G_OCXO_BIT, IS6G_POWER_BIT}, "11");
constexpr Is6gPattern allOff = is6g_control({IS6G_OCXO_BIT, IS6G_POWER_BIT, IS6G_RF_BIT}, "000");
constexpr Is6gPattern rfOn = is6g_control({IS6G_POWER_BIT, IS6G_RF_BIT}, "11");
constexpr Is6gPattern rfOff = is6g_control({IS6G_POWER_BIT, IS6G_RF_BIT}, "00");
constexpr Is6gPattern pathOff = is6g_path({IS6G_PLL_ON_BIT, IS6G_RF_OUT_BIT}, "00");
constexpr Is6gPattern pllOn = is6g_path({IS6G_PLL_ON_BIT}, "1"), pllOff = is6g_path({IS6G_PLL_ON_BIT}, "0");
constexpr Is6gPattern outputOn = is6g_path({IS6G_RF_OUT_BIT}, "1");

constexpr tvfreq selftestFrequency{1'000'000'000, 0};
constexpr int unlockedA = -3, unlockedB = -4; // results of the self test

uint32_t indexOf(const TVPN_IS6G* board, const TVPN_IS6G_channel* channel) {
    return static_cast<uint32_t>(channel - board->channel.data());
}

int loadSensitivity(TVPN_IS6G_channel* channel, uint32_t index) {
    double stored = 0;
    const bool found = device_config_getVcoSensitivity(&stored, static_cast<int>(index)) == 0;
    channel->vcoSensitivity = found && stored >= sensitivityMin ? stored : sensitivityDefault;
    return 0;
}

/// Reads name the channel as their bus segment.
int start(TVPN_IS6G_channel* channel, uint32_t index) {
    const uint32_t base = index * addressesPerChannel;
    *channel = {};
    loadSensitivity(channel, index);
    SRI_init(&channel->controlRegister, base + at::controlRegister, index, linesAtStart, sizeof linesAtStart);
    SRI_init(&channel->pathRegister, base + at::pathRegister, index, linesAtStart, sizeof linesAtStart);
    for (uint32_t i = 0; i < channel->outputRegisters.size(); ++i)
        SRO_init(&channel->outputRegisters[i], base + at::outputRegisters + i, index, outputRegisterBytes);
    AD9912_init(&channel->dds, base + at::dds, index);
    AD7940_init(&channel->ocxoTuneAdc, base + at::ocxoTuneAdc, index);
    AD7940_init(&channel->vcoTuneAdc, base + at::vcoTuneAdc, index);
    AD5640_init(&channel->vcoDac, base + at::vcoDac, index);
    return AD9912_powerDown(&channel->dds);
}

int switchOn(TVPN_IS6G_channel* channel) {
    const int dds = chip_firstFailure({AD9912_powerUp(&channel->dds), is6g_apply(&channel->controlRegister, rfOn),
                                       is6g_setDds(channel, channel->ddsFrequency)});
    channel->rfEnabled = true;
    SRI* path = &channel->pathRegister;
    const int output =
        tvfreqAboveInt(channel->targetFrequency, is6gDirectMax_Hz)
            ? chip_firstFailure({is6g_apply(path, pllOn), is6g_lock(channel), is6g_apply(path, outputOn)})
            : is6g_apply(path, pllOff);
    return chip_firstFailure({dds, output, is6g_apply(&channel->controlRegister, ocxoOn)});
}

int switchOff(TVPN_IS6G_channel* channel, const Is6gPattern& control) {
    return chip_firstFailure({AD9912_powerDown(&channel->dds), is6g_apply(&channel->controlRegister, control),
                              is6g_apply(&channel->pathRegister, pathOff)});
}

} // namespace

TVPN_IS6G_channel* TVPN_IS6G_each(TVPN_IS6G* board, uint32_t* cursor, uint32_t selector) {
    while (*cursor < board->channel.size()) {
        const uint32_t index = (*cursor)++;
        if (selector == TVPN_IS6G_both || selector == index)
            return &board->channel[index];
    }
    return nullptr;
}

void TVPN_IS6G_init(TVPN_IS6G* board, uint32_t selector) {
    is6g_forEach(board, selector, [&](TVPN_IS6G_channel* channel) { return start(channel, indexOf(board, channel)); });
}

int TVPN_IS6G_powerUp(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [](TVPN_IS6G_channel* channel) {
        return chip_firstFailure({AD9912_powerUp(&channel->dds), is6g_apply(&channel->controlRegister, supplied)});
    });
}

int TVPN_IS6G_powerDown(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [](TVPN_IS6G_channel* channel) { return switchOff(channel, allOff); });
}

int TVPN_IS6G_enableOCXO(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector,
                        [](TVPN_IS6G_channel* channel) { return is6g_apply(&channel->controlRegister, ocxoOn); });
}

int TVPN_IS6G_disableOCXO(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector,
                        [](TVPN_IS6G_channel* channel) { return is6g_apply(&channel->controlRegister, ocxoOff); });
}

int TVPN_IS6G_RFOn(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, switchOn);
}

int TVPN_IS6G_RFOff(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [](TVPN_IS6G_channel* channel) {
        channel->rfEnabled = false;
        return switchOff(channel, rfOff);
    });
}

double TVPN_IS6G_getFmSensitivity(TVPN_IS6G* board, uint32_t selector) {
    return is6g_ofFirst(board, selector, [](TVPN_IS6G_channel* channel) {
        channel->fmSensitivity =
            channel->vcoSensitivity * tvfreq2double(&channel->targetFrequency, nullptr) / sensitivityPer_Hz;
        return channel->fmSensitivity;
    });
}

double TVPN_IS6G_getVcoSensitivity(TVPN_IS6G* board, uint32_t selector) {
    return is6g_ofFirst(board, selector, [](const TVPN_IS6G_channel* channel) { return channel->vcoSensitivity; });
}

int TVPN_IS6G_setVcoSensitivity(TVPN_IS6G* board, uint32_t selector, double value) {
    return is6g_forEach(board, selector, [&](TVPN_IS6G_channel* channel) {
        channel->vcoSensitivity = value;
        return 0;
    });
}

int TVPN_IS6G_loadVcoSensitivity(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector,
                        [&](TVPN_IS6G_channel* channel) { return loadSensitivity(channel, indexOf(board, channel)); });
}

int TVPN_IS6G_storeVcoSensitivity(TVPN_IS6G* board, uint32_t selector) {
    return is6g_forEach(board, selector, [&](const TVPN_IS6G_channel* channel) {
        return device_config_setVcoSensitivity(channel->vcoSensitivity, static_cast<int>(indexOf(board, channel)));
    });
}

int TVPN_IS6G_selftest(TVPN_IS6G* board) {
    const bool wasOn = board->channel[TVPN_IS6G_channelA].rfEnabled;
    const auto setEach = [&](auto frequencyOf) {
        int result = 0;
        for (uint32_t index = 0; index < board->channel.size(); ++index) {
            tvfreq frequency = frequencyOf(index);
            result = chip_firstFailure({result, TVPN_IS6G_setFrequency(board, index, &frequency)});
        }
        return result;
    };
    const tvfreq before[] = {board->channel[TVPN_IS6G_channelA].frequency,
                             board->channel[TVPN_IS6G_channelB].frequency};
    const int prepared =
        chip_firstFailure({setEach([](uint32_t) { return selftestFrequency; }), TVPN_IS6G_RFOn(board, TVPN_IS6G_both)});
    const int unlocked = TVPN_IS6G_vcoLockCheck(board, TVPN_IS6G_channelA) != 0   ? unlockedA
                         : TVPN_IS6G_vcoLockCheck(board, TVPN_IS6G_channelB) != 0 ? unlockedB
                                                                                  : 0;
    const int restored = setEach([&](uint32_t index) { return before[index]; });
    const int off = wasOn ? 0 : TVPN_IS6G_RFOff(board, TVPN_IS6G_both);
    return chip_firstFailure({unlocked, prepared, restored, off});
}

int TVPN_IS6G_test(TVPN_IS6G* board) {
    const int result = TVPN_IS6G_selftest(board);
    printf("TVPN_IS6G self test: %d\n", result);
    return result;
}

void TVPN_IS6G_printInfo(const TVPN_IS6G* board) {
    for (const TVPN_IS6G_channel& channel : board->channel) {
        printf("TVPN_IS6G %c\n\tfrequency: %.6f Hz\n\tRF: %s\n", indexOf(board, &channel) == 0 ? 'A' : 'B',
               tvfreq2double(&channel.targetFrequency, nullptr), channel.rfEnabled ? "on" : "off");
        SRI_printInfo(&channel.controlRegister);
        SRI_printInfo(&channel.pathRegister);
        for (const SRO& outputs : channel.outputRegisters)
            SRO_printInfo(&outputs);
        AD9912_printInfo(&channel.dds);
        AD7940_printInfo(&channel.ocxoTuneAdc);
        AD7940_printInfo(&channel.vcoTuneAdc);
        AD5640_printInfo(&channel.vcoDac);
    }
}
