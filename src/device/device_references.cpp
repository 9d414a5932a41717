// References of the loops: external ones at the input, internal ones on the source boards.

#include "base/error_codes.h"
#include "device/device_operations.h"
#include "device/forward.h"
#include "device_table/device_fptrs.h"
#include "device_table/internal_reference.h"

#include <iterator>

namespace {

constexpr SlotRegistrar fill{"device"};

constexpr int loopOpen = 1; // of selectPnLoopMode
constexpr float supply_V = 15.0F, supply1GHz_V = 5.0F;

bool hasPair(const Device* device) {
    return device->isA != nullptr && device->isB != nullptr;
}

// ---- which source feeds the mixer -----------------------------------------------------------------------------------

int useReference(Device* device, int32_t internal, int32_t direct, int (*path)(TVPNX_ALG*), int (*load)(TVPNX_ALG*)) {
    device->referenceInternal = internal;
    device->referenceExternalDirect = direct;
    path(device->selectedAlg);
    load(device->selectedAlg);
    return 0;
}
int setReferenceSourceInternal(Device* device) {
    return useReference(device, 1, 0, TVPNX_ALG_setRefInternal, TVPNX_ALG_setRefTuneLoadInt);
}
int setReferenceSourceExternal(Device* device) {
    return useReference(device, 0, 1, TVPNX_ALG_setRefExternalDirect, TVPNX_ALG_setRefTuneLoadExt);
}
int setReferenceSourceExternalAmpAtt(Device* device) {
    return useReference(device, 0, 0, TVPNX_ALG_setRefExternalAttAMP, TVPNX_ALG_setRefTuneLoadExt);
}
int getReferenceSourceInternal(Device* device) {
    return device->referenceInternal == 1;
}

// ---- the internal references of the source boards -------------------------------------------------------------------

constexpr int (*selections[])(TVPN_IS*) = {
    TVPN_IS_2A_setInternalReference10MhzX100, TVPN_IS_2A_setInternalReference100MhzX10,
    TVPN_IS_2A_setInternalReference1Ghz, TVPN_IS_2A_setInternalReference100MhzPllX10};

bool isKnown(int selection) {
    return selection >= 0 && selection < static_cast<int>(std::size(selections));
}

int selectOnBoth(Device* device, int selection) {
    if (!isKnown(selection))
        return scpi::illegalParameterValue;
    const int error = selections[selection](device->isA);
    return error != 0 ? error : selections[selection](device->isB);
}

void supplyLoops(Device* device, float volts) {
    onBothChannels(device, [=] { return Device_setVoutPosVoltage(device, volts); });
}

/// The loops are open and their tune voltage is 0 while the reference changes. The 1 GHz reference takes a low supply
/// only, which must stand before it comes; the others get theirs back behind it.
int setInternalReferenceSelection(Device* device, int selection) {
    if (!hasPair(device))
        return scpi::undefinedHeader;
    const bool wasB = device->selectedBoard != 0;
    onBothChannels(device, [=] {
        slot_carryOn(Device_setTuneOutputVoltage(device, 0.0)); // nothing follows it in an open loop
        return Device_selectPnLoopMode(device, loopOpen);
    });
    if (selection == internalReference1GHz)
        supplyLoops(device, supply1GHz_V);
    const int error = selectOnBoth(device, selection);
    if (selection != internalReference1GHz)
        supplyLoops(device, supply_V);
    if (wasB)
        device_selectB(device);
    return error;
}

int getInternalReferenceSelection(Device* device) {
    if (!hasPair(device))
        return -1;
    const auto selection = static_cast<int>(device->isA->referenceSelection);
    return isKnown(selection) ? selection : -1;
}

template <auto operation> int onPair(Device* device) {
    if (hasPair(device))
        for (TVPN_IS* const source : {device->isA, device->isB})
            static_cast<void>(operation(source));
    return 0;
}

// ---- ovens ----------------------------------------------------------------------------------------------------------

template <auto of6g, auto ofPair> int onBothSources(Device* device) {
    onBothChannels(device, [=] {
        if (device->is6g != nullptr)
            return of6g(device->is6g, device->selectedChannel);
        return device->selectedIs != nullptr ? ofPair(device->selectedIs) : 0;
    });
    return 0;
}

} // namespace

void device_registerReferences() {
    fill(Device_setReferenceSourceInternal, setReferenceSourceInternal);
    fill(Device_setReferenceSourceExternal, setReferenceSourceExternal);
    fill(Device_setReferenceSourceExternalAmpAtt, setReferenceSourceExternalAmpAtt);
    fill(Device_isReferenceSourceInternal, getReferenceSourceInternal);
    fill(Device_setInternalReferenceSelection, setInternalReferenceSelection);
    fill(Device_getInternalReferenceSelection, getInternalReferenceSelection);
    forwardIfThere<&Device::selectedIs, TVPN_IS_isInternalReferenceReady>(fill, Device_isInternalReferenceReady);
    forwardIfThere<&Device::selectedIs, TVPN_IS_isInternalReference10x10MHz>(fill, Device_isReferenceLownoiseEnabled);
    fill(Device_enableReferenceLownoise, onPair<TVPN_IS_setInternalReference10x10MHz>);
    fill(Device_disableReferenceLownoise, onPair<TVPN_IS_setInternalReference100x1MHz>);
    fill(Device_enableOCXO, onBothSources<TVPN_IS6G_enableOCXO, TVPN_IS_powerUp>);
    fill(Device_disableOCXO, onBothSources<TVPN_IS6G_disableOCXO, TVPN_IS_fullPowerDown>);
}
