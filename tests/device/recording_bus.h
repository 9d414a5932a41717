#pragma once
/// The instrument's record on a bus without chips that takes down who is spoken to.

#include "device/device.h"
#include "device_table/device_fptrs.h"
#include "drivers/tvspi.h"
#include "identity/device_config_sn.h"
#include "platform/tvko.h"
#include "virtual/platform/rtdm.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

/// One letter a board for as long as it is spoken to without another between: A, B analog boards; a, b source boards;
/// 6 the double one; S supply; C controller; F acquisition; u an I/O update. Reads count as well. All ADCs read `word`.
class RecordingBus final : public vi::RtDevice {
public:
    RecordingBus() {
        vi::rtdm_register(tvko_deviceName, this);
        EXPECT_EQ(tvspiOpen(), 0);
    }
    ~RecordingBus() override {
        tvspiClose();
        vi::rtdm_unregister(this);
    }

    std::string taken() { return std::exchange(letters_, {}); }
    [[nodiscard]] size_t transfers() const { return transfers_; }
    /// The last frame to an address, as it lies in memory.
    [[nodiscard]] std::vector<uint8_t> frame(uint32_t address) const { return frames_[address]; }
    /// Line of the shift register at an address.
    [[nodiscard]] bool line(uint32_t address, unsigned n) const {
        return (frames_[address].at(n / 8) >> n % 8 & 1) != 0;
    }

    int ioctl(uint32_t request, uintptr_t argument) override {
        if (request == tvko_ioUpdate)
            note('u');
        if (request != tvko_send && request != tvko_receive)
            return 0;
        const auto* const transfer = reinterpret_cast<const tvko_transfer*>(argument);
        ++transfers_;
        note(boardOf(transfer->address));
        auto* const bytes = static_cast<uint8_t*>(transfer->data);
        if (request == tvko_send)
            frames_[transfer->address].assign(bytes, bytes + transfer->length);
        else
            for (uint32_t i = 0; i < transfer->length; ++i)
                bytes[i] = i < sizeof word ? static_cast<uint8_t>(word >> 8 * i) : 0;
        return 0;
    }

    uint16_t word = 1000; // as a VCO that has locked

private:
    static char boardOf(uint32_t address) {
        constexpr struct {
            uint32_t end;
            char letter;
        } ranges[] = {{16, '6'},  {96, '?'},  {112, 'a'}, {128, 'b'}, {160, '?'}, {176, 'A'},
                      {192, 'B'}, {232, '?'}, {240, 'S'}, {248, 'C'}, {256, 'F'}};
        for (const auto& [end, letter] : ranges)
            if (address < end)
                return letter;
        return '?';
    }
    void note(char letter) {
        if (letters_.empty() || letters_.back() != letter)
            letters_ += letter;
    }

    std::string letters_;
    size_t transfers_ = 0;
    std::vector<uint8_t> frames_[256];
};

/// Starts the instrument of a serial number; the acquisition board does not answer its self test.
inline Device* start(
    const char* serial, DeviceMeasurementStart measurement = [](Device*) { return 0; }) {
    Device* const device = Device_create();
    strcpy(device_config_sn, serial);
    EXPECT_EQ(Device_init(device, measurement), -1);
    return device;
}
