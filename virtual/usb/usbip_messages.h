#pragma once
/// USB/IP, version 1.1.1, as bytes. All numbers are big-endian but those inside a setup packet.

#include "virtual/usb/usbtmc_function.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vi {

inline constexpr uint16_t usbipPort = 3240;
inline constexpr std::string_view usbipBusId = "1-1";

using Bytes = std::vector<uint8_t>;

// Before a device is attached.

inline constexpr size_t usbipRequestBytes = 8, usbipImportBytes = 32; // the latter behind the request
enum class UsbipRequest : uint16_t { deviceList = 0x8005, import = 0x8003 };
enum class UsbipStatus : uint32_t { ok = 0, busy = 2, noDevice = 4 };

/// Nothing for other versions and requests.
[[nodiscard]] std::optional<UsbipRequest> usbip_request(std::span<const uint8_t, usbipRequestBytes> bytes);
/// Whether `bytes`, the rest of an import, name the unit.
[[nodiscard]] bool usbip_isOurBusId(std::span<const uint8_t, usbipImportBytes> bytes);
void usbip_addDeviceList(Bytes* to);
/// With the unit's data if the status is ok.
void usbip_addImport(Bytes* to, UsbipStatus status);

// Then.

inline constexpr size_t usbipHeaderBytes = 48;

struct UsbipCommand {
    enum Kind : uint32_t { submit = 1, unlink = 2 };
    uint32_t kind = 0, sequence = 0, endpoint = 0;
    bool toHost = false;
    uint32_t flags = 0;  // of a submit
    uint32_t length = 0; // of its data, which follow here if they are not to the host
    uint32_t packets = 0;
    UsbSetup setup;
    uint32_t victim = 0; // sequence number that an unlink means

    static constexpr uint32_t zeroPacket = 0x40; // flag: an empty packet follows a full last one
};

[[nodiscard]] UsbipCommand usbip_command(std::span<const uint8_t, usbipHeaderBytes> bytes);
/// `actual` bytes have been moved; `data` are those to the host. `status` is 0 or a negative error number.
void usbip_addSubmitted(Bytes* to, uint32_t sequence, int status, size_t actual, std::span<const uint8_t> data = {});
void usbip_addUnlinked(Bytes* to, uint32_t sequence, int status);

} // namespace vi
