// Self test, reports and service.

#include "acquisition/adfpga_capture.h"
#include "base/error_codes.h"
#include "boards/tvcont.h"
#include "core/abstime.h"
#include "device/device.h"
#include "device/device_operations.h"
#include "device_table/device_fptrs.h"
#include "identity/device_config.h"
#include "identity/device_config_lan.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr SlotRegistrar fill{"device"};

void lamp(Device* device, const Slot<int(Device*)>& slot) {
    if (slot)
        slot_carryOn(slot(device)); // the test does not stand or fall with a lamp
}

int selftest(Device* device) {
    device->selftestResult = static_cast<int16_t>(TVPN_ADFPGA_selftest(device->adfpga));
    if (device->selftestResult == 0 && device->is6g != nullptr)
        device->selftestResult = static_cast<int16_t>(TVPN_IS6G_selftest(device->is6g));
    lamp(device, device->selftestResult != 0 ? Device_disableLedReady : Device_enableLedReady);
    return device->selftestResult;
}

int resetFull(Device* device) {
    lamp(device, Device_disableLedReady);
    slot_carryOn({TVPN_ADFPGA_resetFpga(device->adfpga, 0), device_initialSelftest(device)}); // the lamp tells
    return 0;
}

/// Appends to a text of reportTextSize bytes, of which `used` are taken.
[[gnu::format(printf, 3, 4)]] void append(char* text, size_t* used, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(text + *used, reportTextSize - *used, format, values);
    va_end(values);
    if (length > 0)
        *used = std::min<size_t>(*used + static_cast<size_t>(length), reportTextSize - 1);
}

int getDeviceStatus(Device* device, char* text) {
    const int result = Device_selftest(device);
    size_t used = 0;
    append(text, &used,
           " > device: %s (%s)\n     FW: %s\n     IP: %s\n     Controller Temperature: %.1fdegC\n > Internal Self "
           "Test: %d (0:ok)\n",
           Device_getName(device), device_config_getSN(), device_config_getFWVersion(), device_config_getIP(),
           TVCONT_getTemperature(device->tvcont), result);
    device_selectA(device);
    append(text, &used, "     ALG Board A: %d (0:ok)\n", TVPNX_ALG_getDeviceStatus(device->selectedAlg));
    device_selectB(device);
    append(text, &used, "     ALG Board B: %d (0:ok)\n", TVPNX_ALG_getDeviceStatus(device->selectedAlg));
    device_selectA(device);
    append(text, &used, "     FPGA Board: %d (0:ok)\n", TVPN_ADFPGA_getDeviceStatus(device->adfpga));
    char measurement[reportTextSize] = "";
    slot_carryOn(Automeasure_printPnMeasInfo(device, measurement)); // an empty text is shown as such
    append(text, &used, "%s", measurement);
    return 0;
}

int printInfo(Device* device) {
    printf("Device %p\n\tcontroller %p, acquisition %p\n\tanalog boards %p, %p\n\tsources %p, %p, double %p\n",
           static_cast<void*>(device), static_cast<void*>(device->tvcont), static_cast<void*>(device->adfpga),
           static_cast<void*>(&device->algA), static_cast<void*>(&device->algB), static_cast<void*>(device->isA),
           static_cast<void*>(device->isB), static_cast<void*>(device->is6g));
    TVPNX_ALG_printInfo(&device->algA);
    TVPNX_ALG_printInfo(&device->algB);
    for (const TVPN_IS* source : {device->isA, device->isB})
        if (source != nullptr)
            TVPN_IS_printInfo(source);
    if (device->is6g != nullptr)
        TVPN_IS6G_printInfo(device->is6g);
    TVPN_DUT_SUPPLY_printInfo(&device->dutSupply);
    TVCONT_printInfo(device->tvcont);
    return 0;
}

int testIS(Device* device) {
    if (device->is6g != nullptr)
        return TVPN_IS6G_test(device->is6g);
    return device->selectedIs != nullptr ? TVPN_IS_test(device->selectedIs) : scpi::hardwareMissing;
}

int testAcquisition(Device* device) {
    const int result = TVPN_ADFPGA_selftest(device->adfpga);
    printf("TVPN_ADFPGA: %d (0:ok)\n", result);
    return result;
}

int test(Device* device) {
    const int acquisition = testAcquisition(device);
    const int sources = testIS(device);
    return acquisition != 0 ? acquisition : sources;
}

int diagAlgAdc1(Device* device) {
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        printf("tune %d, offset %d\n", TVPNX_ALG_getTuneAdcValue(board), TVPNX_ALG_getOffsetAdcValue(board));
    return 0;
}

} // namespace

int device_initialSelftest(Device* device) {
    constexpr int repetitions = 40;
    constexpr uint64_t pause_us = 500'000;
    int result = selftest(device);
    for (int i = 0; result != 0 && i < repetitions; ++i) {
        lamp(device, Device_enableLedReady);
        tvstuff_delay_us(pause_us);
        lamp(device, Device_disableLedReady);
        result = selftest(device);
    }
    return result;
}

void device_registerSelftest() {
    fill(Device_selftest, selftest);
    fill(Device_resetFull, resetFull);
    fill(Device_getDeviceStatus, getDeviceStatus);
    fill(Device_printInfo, printInfo);
    fill(Device_test, test);
    fill(Device_testIS, testIS);
    fill(Device_testTVPN_ADFPGA, testAcquisition);
    fill(Device_diagAlgAdc1, diagAlgAdc1);
}
