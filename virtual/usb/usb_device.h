#pragma once
/// The unit as a device on the USB: its descriptors, the standard requests, and its endpoints. All calls come from one
/// thread.

#include "virtual/usb/usbtmc_function.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vi {

inline constexpr uint16_t usbVendor = 0x1209, usbProduct = 0x0001, usbRelease = 0x0100; // numbers for tests, nobody's
inline constexpr uint8_t usbConfiguration = 1;
inline constexpr uint8_t usbtmcClass = 0xFE, usbtmcSubclass = 0x03, usb488Protocol = 0x01;

class UsbDevice {
public:
    UsbDevice(UsbtmcNode* node, std::string serialNumber);

    /// As when it is plugged in: not configured.
    void reset();
    /// As when the cable is pulled: the firmware is told to drop what the host has begun.
    void unplug();

    /// A request on the control endpoint with the bytes that it brings. False for a stall; else `*reply` is what goes
    /// back, at most `setup.length` bytes.
    [[nodiscard]] bool control(const UsbSetup& setup, std::span<const uint8_t> data, std::vector<uint8_t>* reply);
    [[nodiscard]] Handshake bulkOut(std::span<const uint8_t> packet);
    [[nodiscard]] Handshake bulkIn(UsbPacket* packet, size_t* count);

private:
    bool standard(const UsbSetup& setup, std::vector<uint8_t>* reply);
    bool descriptor(const UsbSetup& setup, std::vector<uint8_t>* reply) const;
    bool* haltOf(uint16_t endpoint);
    bool setHalt(const UsbSetup& setup, bool halted);

    UsbtmcFunction function_;
    std::string serialNumber_;
    uint8_t configuration_ = 0;
};

} // namespace vi
