#include "scpi/tree/measure.h"

#include "scpi/block.h"

namespace scpi {

void measure_noise(Unit& unit) {
    if (!Device_phaseNoiseSampling_startHMode || !Device_phaseNoiseSampling_getHBytes ||
        !Device_phaseNoiseSampling_handler || !Device_phaseNoiseSampling_endHMode || !noParameters(unit))
        return;
    unit.errorCode = Device_phaseNoiseSampling_startHMode(unit.device);
    if (unit.errorCode != 0)
        return;
    ++hardware_blocksOut;
    scpi_exec_startBdSend_handler(
        unit.link, Device_phaseNoiseSampling_getHBytes(unit.device),
        [](void* device, int count, uint32_t offset, char* buffer) {
            return Device_phaseNoiseSampling_handler(static_cast<Device*>(device), count, offset, buffer);
        },
        unit.device,
        [](void* device, const char*) {
            --hardware_blocksOut;
            slot_carryOn(Device_phaseNoiseSampling_endHMode(static_cast<Device*>(device))); // the block is over
        },
        unit.device);
    scpi_exec_bdSend_interruptWith(unit.link, [](void* device) {
        if (Device_phaseNoiseSampling_cancel)
            slot_carryOn(Device_phaseNoiseSampling_cancel(static_cast<Device*>(device))); // one that is over stays so
    });
}

void measure_captureSpectra(Unit& unit) {
    uint32_t number = 0;
    if (!Device_capturePhaseNoiseFdSamples)
        return;
    if (char* const text = onlyParameter(unit); text != nullptr)
        if (unit.errorCode = scpi_str2uint(text, &number); unit.errorCode == 0)
            unit.errorCode = Device_capturePhaseNoiseFdSamples(unit.device);
}

} // namespace scpi
