// Frequency versus time: settings of the acquisition board, its captures, and their words for a client.

#include "acquisition/adfpga_fvst.h"
#include "base/error_codes.h"
#include "device/device_acquisition.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"

namespace {

constexpr SlotRegistrar fill{"acquisition"};
constexpr auto board = &Device::adfpga;

template <AdfpgaTriggerSource source> void registerSource(Slot<int(Device*)>& set, Slot<int(Device*)>& is) {
    fill(set, [](Device* device) {
        device->adfpga->trigger.source = source;
        return 0;
    });
    fill(is, [](Device* device) -> int { return device->adfpga->trigger.source == source; });
}

template <AdfpgaTriggerMode mode> void registerMode(Slot<int(Device*)>& set, Slot<int(Device*)>& is) {
    fill(set, [](Device* device) {
        device->adfpga->trigger.mode = mode;
        return 0;
    });
    fill(is, [](Device* device) -> int { return device->adfpga->trigger.mode == mode; });
}

/// A number of a channel that is stored for the next capture.
template <uint32_t channel, auto member>
void registerNumber(Slot<uint32_t(Device*)>& get, Slot<int(Device*, uint32_t)>& set) {
    fill(get, [](Device* device) -> uint32_t { return device->adfpga->fvstRing[channel].*member; });
    fill(set, [](Device* device, uint32_t value) {
        device->adfpga->fvstRing[channel].*member = value;
        return 0;
    });
}

template <auto read> void registerLevel(Slot<const tvfreq*(Device*)>& get) {
    fill(get, [](Device* device) -> const tvfreq* {
        static tvfreq level; // commands come one at a time
        level = read(device->adfpga);
        return &level;
    });
}

template <uint32_t channel> void registerOffset(Slot<uint32_t(Device*)>& get, Slot<int(Device*, uint32_t)>& set) {
    fill(get, [](Device* device) { return device->adfpga->fvstRing[channel].triggerOffset; });
    fill(set,
         [](Device* device, uint32_t offset) { return TVPN_ADFPGA_setTriggerOffset(device->adfpga, channel, offset); });
}

template <uint32_t channel>
void registerTransfer(Slot<int(Device*)>& bytes, Slot<int(Device*, int, uint32_t, char*)>& handler) {
    fill(bytes, [](Device* device) { return TVPN_ADFPGA_fvstGetHBytes(device->adfpga, channel); });
    fill(handler, [](Device* device, int maxBytes, uint32_t, char* buffer) {
        return TVPN_ADFPGA_fvstHandler(device->adfpga, channel, maxBytes, buffer);
    });
}

int capture(Device* device) {
    return device_acquisitionIsBusy(device) ? scpi::settingsConflict : TVPN_ADFPGA_captureFvstSamples(device->adfpga);
}

void registerTrigger() {
    registerSource<adfpga_immediate>(Device_setTriggerSourceImmediate, Device_isTriggerSourceImmediate);
    registerSource<adfpga_atA>(Device_setTriggerSourceA, Device_isTriggerSourceA);
    registerSource<adfpga_atB>(Device_setTriggerSourceB, Device_isTriggerSourceB);
    registerSource<adfpga_external>(Device_setTriggerSourceExternal, Device_isTriggerSourceExternal);
    registerMode<adfpga_negative>(Device_setTriggerModeNegative, Device_isTriggerModeNegative);
    registerMode<adfpga_positive>(Device_setTriggerModePositive, Device_isTriggerModePositive);
    registerMode<adfpga_out>(Device_setTriggerModeOut, Device_isTriggerModeOut);
    registerMode<adfpga_in>(Device_setTriggerModeIn, Device_isTriggerModeIn);
    registerLevel<TVPN_ADFPGA_getTriggerLevel>(Device_getTriggerLevel);
    registerLevel<TVPN_ADFPGA_getTriggerLevelHigh>(Device_getTriggerLevelHigh);
    registerLevel<TVPN_ADFPGA_getTriggerLevelLow>(Device_getTriggerLevelLow);
    registerLevel<TVPN_ADFPGA_getTriggerHysteresis>(Device_getTriggerHysteresis);
    forward<board, TVPN_ADFPGA_setTriggerLevel>(fill, Device_setTriggerLevel);
    forward<board, TVPN_ADFPGA_setTriggerLevelHigh>(fill, Device_setTriggerLevelHigh);
    forward<board, TVPN_ADFPGA_setTriggerLevelLow>(fill, Device_setTriggerLevelLow);
    forward<board, TVPN_ADFPGA_setTriggerHysteresis>(fill, Device_setTriggerHysteresis);
    registerOffset<adfpga_channelA>(Device_getTriggerOffsetA, Device_setTriggerOffsetA);
    registerOffset<adfpga_channelB>(Device_getTriggerOffsetB, Device_setTriggerOffsetB);
    forward<board, TVPN_ADFPGA_enableContinousCapture>(fill, Device_enableContinousCapture);
    forward<board, TVPN_ADFPGA_disableContinousCapture>(fill, Device_disableContinousCapture);
    fill(Device_isContinousCaptureEnabled,
         [](Device* device) { return static_cast<int>(device->adfpga->trigger.continuous); });
}

} // namespace

void device_registerFvst() {
    registerTrigger();
    registerNumber<adfpga_channelA, &FvstRing::samplesCount>(Device_getFvstASamplesCount, Device_setFvstASamplesCount);
    registerNumber<adfpga_channelB, &FvstRing::samplesCount>(Device_getFvstBSamplesCount, Device_setFvstBSamplesCount);
    registerNumber<adfpga_channelA, &FvstRing::divider>(Device_getFvstADivider, Device_setFvstADivider);
    registerNumber<adfpga_channelB, &FvstRing::divider>(Device_getFvstBDivider, Device_setFvstBDivider);
    fill(Device_captureFvstSamples, capture);
    registerTransfer<adfpga_channelA>(Device_fvstAGetHBytes, Device_fvstAHandler);
    registerTransfer<adfpga_channelB>(Device_fvstBGetHBytes, Device_fvstBHandler);
}
