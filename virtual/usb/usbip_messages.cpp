#include "virtual/usb/usbip_messages.h"

#include "virtual/usb/little_endian.h"
#include "virtual/usb/usb_device.h"

#include <algorithm>

namespace vi {
namespace {

constexpr uint16_t version = 0x0111, isRequest = 0x8000;
constexpr uint32_t busNumber = 1, deviceNumber = 2, highSpeed = 3;
constexpr size_t pathBytes = 256;
constexpr std::string_view devicePath = "/sys/devices/virtual-instrument/usb1/1-1";
constexpr uint32_t submitted = 3, unlinked = 4;

uint32_t bigEndian(std::span<const uint8_t> bytes) {
    uint32_t number = 0;
    for (const uint8_t byte : bytes)
        number = number << 8 | byte;
    return number;
}

void add16(Bytes* to, uint32_t number) {
    to->insert(to->end(), {static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)});
}

void add32(Bytes* to, uint32_t number) {
    add16(to, number >> 16);
    add16(to, number);
}

void addText(Bytes* to, std::string_view text, size_t bytes) {
    to->insert(to->end(), text.begin(), text.end());
    to->resize(to->size() + bytes - text.size());
}

void addHead(Bytes* to, UsbipRequest request, UsbipStatus status) {
    add16(to, version);
    add16(to, static_cast<uint16_t>(request) & ~isRequest);
    add32(to, static_cast<uint32_t>(status));
}

void addDevice(Bytes* to) {
    addText(to, devicePath, pathBytes);
    addText(to, usbipBusId, usbipImportBytes);
    for (const uint32_t number : {busNumber, deviceNumber, highSpeed})
        add32(to, number);
    for (const uint16_t number : {usbVendor, usbProduct, usbRelease})
        add16(to, number);
    constexpr uint8_t classOfInterfaces = 0, configurations = 1, interfaces = 1;
    to->insert(to->end(), {classOfInterfaces, 0, 0, usbConfiguration, configurations, interfaces});
}

} // namespace

std::optional<UsbipRequest> usbip_request(std::span<const uint8_t, usbipRequestBytes> bytes) {
    const auto request = static_cast<UsbipRequest>(bigEndian(bytes.subspan(2, 2)));
    if (bigEndian(bytes.first(2)) != version ||
        (request != UsbipRequest::deviceList && request != UsbipRequest::import))
        return std::nullopt;
    return request;
}

bool usbip_isOurBusId(std::span<const uint8_t, usbipImportBytes> bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), uint8_t{0});
    return std::equal(bytes.begin(), end, usbipBusId.begin(), usbipBusId.end());
}

void usbip_addDeviceList(Bytes* to) {
    addHead(to, UsbipRequest::deviceList, UsbipStatus::ok);
    constexpr uint32_t devices = 1;
    add32(to, devices);
    addDevice(to);
    to->insert(to->end(), {usbtmcClass, usbtmcSubclass, usb488Protocol, 0});
}

void usbip_addImport(Bytes* to, UsbipStatus status) {
    addHead(to, UsbipRequest::import, status);
    if (status == UsbipStatus::ok)
        addDevice(to);
}

UsbipCommand usbip_command(std::span<const uint8_t, usbipHeaderBytes> bytes) {
    const auto word = [&](size_t index) { return bigEndian(bytes.subspan(4 * index, 4)); };
    const auto half = [&](size_t at) { return static_cast<uint16_t>(littleEndian_get(bytes.subspan(at, 2))); };
    return {
        .kind = word(0),
        .sequence = word(1),
        .endpoint = word(4),
        .toHost = word(3) != 0,
        .flags = word(5),
        .length = word(6),
        .packets = word(8),
        .setup = {bytes[40], bytes[41], half(42), half(44), half(46)},
        .victim = word(5),
    };
}

namespace {

/// Whatever follows the sequence number, and the padding of the header.
void addReply(Bytes* to, uint32_t kind, uint32_t sequence, uint32_t status, uint32_t actual) {
    for (const uint32_t number : {kind, sequence, 0u, 0u, 0u, status, actual})
        add32(to, number);
    to->resize(to->size() + usbipHeaderBytes - 7 * sizeof(uint32_t));
}

} // namespace

void usbip_addSubmitted(Bytes* to, uint32_t sequence, int status, size_t actual, std::span<const uint8_t> data) {
    addReply(to, submitted, sequence, static_cast<uint32_t>(status), static_cast<uint32_t>(actual));
    to->insert(to->end(), data.begin(), data.end());
}

void usbip_addUnlinked(Bytes* to, uint32_t sequence, int status) {
    addReply(to, unlinked, sequence, static_cast<uint32_t>(status), 0);
}

} // namespace vi
