// The carrier: frequency of both channels, of one, and of the sources alone.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/tvcont.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device/input_relay.h"
#include "device_table/device_fptrs.h"
#include "identity/device_variants.h"

#include <algorithm>

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr int lockAttempts = 5;

/// The latched settings take effect. 0, also within a captured list, or -200.
int takeEffect() {
    return std::min(TVCONT_ioupdate(), 0);
}

/// A later source board tells whether it has locked, and is asked again if not.
int setSecondGeneration(TVPN_IS* source, const tvfreq& mixer, int32_t lowPath, const char* failure) {
    for (int i = 0; i < lockAttempts; ++i) {
        if (TVPN_IS_setFrequency(source, &mixer, lowPath) != scpi::executionError)
            return 0;
        printd("%s", failure);
    }
    return scpi::executionError;
}

/// Boards of the second generation wait for the RF; of the first, board B does not.
int setPair(Device* device, const tvfreq& mixer) {
    if (device_config_usesTVPN_IS_2()) {
        if (device->rfEnabled == 0)
            return 0;
        const int error = setSecondGeneration(device->isA, mixer, device->lowPath, "ERROR in setISFreq board A\n");
        return error != 0 ? error
                          : setSecondGeneration(device->isB, mixer, device->lowPath, "ERROR in setISFreq board B\n");
    }
    if (device->rfEnabled != 0)
        static_cast<void>(TVPN_IS_setFrequency(device->isA, &mixer, device->lowPath));
    static_cast<void>(TVPN_IS_setFrequency(device->isB, &mixer, device->lowPath)); // it has no lock that could fail
    return 0;
}

int setSources(Device* device, const tvfreq& mixer) {
    if (device->is6g != nullptr) { // it changes the frequency that it is given
        onBothChannels(device, [=] {
            tvfreq frequency = mixer;
            return TVPN_IS6G_setFrequency(device->is6g, device->selectedChannel, &frequency);
        });
        return 0;
    }
    return device->isA != nullptr && device->isB != nullptr ? setPair(device, mixer) : 0;
}

/// -200, without the I/O update, if a source board of the second generation does not lock.
int setFrequency(Device* device, const tvfreq* frequency) {
    device->frequency = *frequency;
    device_planBoth(device, device->frequency);
    tvfreq mixer;
    TVPNX_ALG_getFrequencyMixer(device->selectedAlg, &mixer);
    if (device->selectedAlg->algVersion > TVPNX_ALG_2A)
        inputRelay_follow(device, TVPNX_ALG_getDUTPath(device->selectedAlg) != 0);
    if (const int error = setSources(device, mixer); error != 0)
        return error;
    return takeEffect();
}

int setFrequencyOneChannel(Device* device, const tvfreq* frequency) {
    TVPNX_ALG* const board = device->selectedAlg;
    alg_carryOn(TVPNX_ALG_setFrequency(board, frequency)); // a refusal leaves the board as it is
    tvfreq mixer;
    TVPNX_ALG_getFrequencyMixer(board, &mixer);
    if (board->algVersion > TVPNX_ALG_1C)
        inputRelay_followOne(device, TVPNX_ALG_getDUTPath(board) != 0);
    if (device->selectedIs != nullptr && device->rfEnabled != 0 &&
        TVPN_IS_setFrequency(device->selectedIs, &mixer, device->lowPath) == scpi::executionError &&
        device_config_usesTVPN_IS_2())
        printd("ERROR in setISFreq board \n");
    return takeEffect();
}

int setOffsettedFrequency(Device* device, const tvfreq* frequency, int up) {
    if (device->selectedIs == nullptr || !device_config_usesTVPN_IS_2())
        return Device_setFrequency(device, frequency);
    // Here A comes first. A source that did not follow stays where it was, and the next carrier moves it.
    device_selectA(device);
    static_cast<void>(TVPN_IS_offsetDdsOutputFrequency(device->selectedIs, up));
    device_selectB(device);
    static_cast<void>(TVPN_IS_offsetDdsOutputFrequency(device->selectedIs, up));
    device_selectA(device);
    return 0;
}

int setFreqVariable(Device* device, const tvfreq* frequency) {
    device->frequency = *frequency;
    device_planBoth(device, device->frequency);
    return 0;
}

uint32_t getDivThresFreq(Device* device) {
    return device->divThresFrequency;
}
int setDivThresFreq(Device* device, uint32_t megahertz) {
    device->divThresFrequency = megahertz;
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        alg_carryOn(TVPNX_ALG_setPrescalerThresholdFrequency(board, megahertz)); // takes each value
    return 0;
}

template <auto of6g, auto ofPair> int rounding(Device* device) {
    if (device->is6g != nullptr)
        return of6g(device->is6g, device->selectedChannel);
    return device->selectedIs != nullptr ? ofPair(device->selectedIs) : 0;
}

uint64_t getFtw(Device* device) {
    return device->selectedIs != nullptr ? TVPN_IS_getFtw(device->selectedIs) : 0;
}
int setFtw(Device* device, int, uint64_t word) {
    return device->selectedIs != nullptr ? TVPN_IS_setFtw(device->selectedIs, word) : scpi::undefinedHeader;
}
int setFtwStep(Device* device, int dummy, int64_t step) {
    return setFtw(device, dummy, getFtw(device) + static_cast<uint64_t>(step));
}

} // namespace

void device_registerFrequency() {
    fill(Device_setFrequency, setFrequency);
    fill(Device_setFrequencyFixed, setFrequency);
    fill(Device_setFrequencyOneChannel, setFrequencyOneChannel);
    fill(Device_setOffsettedFrequency, setOffsettedFrequency);
    fill(Device_setFreqVariable, setFreqVariable);
    fill(Device_getDivThresFrequency, getDivThresFreq);
    fill(Device_setDivThresFrequency, setDivThresFreq);
    fill(Device_enableFrequencyRounding, rounding<TVPN_IS6G_enableFrequencyRounding, TVPN_IS_enableFrequencyRounding>);
    fill(Device_disableFrequencyRounding,
         rounding<TVPN_IS6G_disableFrequencyRounding, TVPN_IS_disableFrequencyRounding>);
    fill(Device_isFrequencyRoundingEnabled,
         rounding<TVPN_IS6G_isFrequencyRoundingEnabled, TVPN_IS_isFrequencyRoundingEnabled>);
    fill(Device_getFtw, getFtw);
    fill(Device_setFtw, setFtw);
    fill(Device_setFtwStep, setFtwStep);
    forwardIfThere<&Device::selectedIs, TVPN_IS_getpdFrequency>(fill, Device_getPdFrequency);
}
