#include "virtual/usb/usb_device.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vi {
namespace {

enum Standard : uint8_t {
    getStatus = 0,
    clearFeature = 1,
    setFeature = 3,
    setAddress = 5,
    getDescriptor = 6,
    getConfiguration = 8,
    setConfiguration = 9,
    getInterface = 10,
    setInterface = 11,
};
enum Recipient : uint8_t { ofDevice = 0, ofInterface = 1, ofEndpoint = 2 };
constexpr uint8_t toHost = 0x80, kindMask = 0x60, classKind = 0x20, recipientMask = 0x1F;
constexpr uint16_t endpointHalt = 0;

enum DescriptorType : uint8_t {
    deviceType = 1,
    configurationType = 2,
    stringType = 3,
    interfaceType = 4,
    endpointType = 5
};
constexpr uint8_t controlPacketMax = 64, bulk = 2, selfPowered = 0xC0;
constexpr uint8_t low(size_t number) {
    return static_cast<uint8_t>(number);
}
constexpr uint8_t high(size_t number) {
    return static_cast<uint8_t>(number >> 8);
}

constexpr uint8_t deviceDescriptor[] = {
    18,
    deviceType,
    0x00,
    0x02,
    0,
    0,
    0,
    controlPacketMax,
    low(usbVendor),
    high(usbVendor),
    low(usbProduct),
    high(usbProduct),
    low(usbRelease),
    high(usbRelease),
    1,
    2,
    3,
    1, // strings, configurations
};
constexpr uint8_t configurationDescriptor[] = {
    9,
    configurationType,
    32,
    0,
    1,
    usbConfiguration,
    0,
    selfPowered,
    0,
    9,
    interfaceType,
    0,
    0,
    2,
    usbtmcClass,
    usbtmcSubclass,
    usb488Protocol,
    0,
    7,
    endpointType,
    bulkOutAddress,
    bulk,
    low(bulkPacketMax),
    high(bulkPacketMax),
    0,
    7,
    endpointType,
    bulkInAddress,
    bulk,
    low(bulkPacketMax),
    high(bulkPacketMax),
    0,
};
static_assert(sizeof deviceDescriptor == 18 && sizeof configurationDescriptor == 32);

std::vector<uint8_t> stringDescriptor(const std::string& text) {
    std::vector<uint8_t> descriptor{low(2 + 2 * text.size()), stringType};
    for (const char letter : text)
        descriptor.insert(descriptor.end(), {static_cast<uint8_t>(letter), 0});
    return descriptor;
}

} // namespace

UsbDevice::UsbDevice(UsbtmcNode* node, std::string serialNumber)
    : function_(node), serialNumber_(std::move(serialNumber)) {}

void UsbDevice::reset() {
    configuration_ = 0;
    usbtmc_reset(&function_);
}

void UsbDevice::unplug() {
    reset();
    function_.node->clear();
}

bool UsbDevice::control(const UsbSetup& setup, std::span<const uint8_t> data, std::vector<uint8_t>* reply) {
    reply->clear();
    if (data.size() != ((setup.type & toHost) != 0 ? 0 : setup.length))
        return false;
    if ((setup.type & kindMask) == classKind && configuration_ != 0) {
        std::array<uint8_t, 24> answer{};
        const std::optional<size_t> size = usbtmc_control(&function_, setup, answer);
        if (size)
            reply->assign(answer.begin(), answer.begin() + static_cast<ptrdiff_t>(*size));
        else
            return false;
    } else if ((setup.type & kindMask) != 0 || !standard(setup, reply)) {
        return false;
    }
    if (reply->size() > setup.length)
        reply->resize(setup.length);
    return true;
}

bool UsbDevice::standard(const UsbSetup& setup, std::vector<uint8_t>* reply) {
    const auto recipient = static_cast<Recipient>(setup.type & recipientMask);
    const bool asks = (setup.type & toHost) != 0;
    const bool* const halt = recipient == ofEndpoint ? haltOf(setup.index) : nullptr;
    if (asks)
        switch (setup.request) {
        case getDescriptor: return recipient == ofDevice && descriptor(setup, reply);
        case getConfiguration: *reply = {configuration_}; return recipient == ofDevice;
        case getInterface: *reply = {0}; return recipient == ofInterface && configuration_ != 0 && setup.index == 0;
        case getStatus: // self-powered, or halted
            *reply = {static_cast<uint8_t>(recipient == ofDevice ? 1 : halt != nullptr && *halt), 0};
            return recipient == ofDevice || halt != nullptr || (recipient == ofInterface && setup.index == 0);
        default: return false;
        }
    switch (setup.request) {
    case setAddress: return recipient == ofDevice; // on this bus there is one device
    case setConfiguration:
        if (recipient != ofDevice || setup.value > usbConfiguration)
            return false;
        usbtmc_reset(&function_);
        configuration_ = static_cast<uint8_t>(setup.value);
        return true;
    case setInterface:
        if (recipient != ofInterface || configuration_ == 0 || setup.index != 0 || setup.value != 0)
            return false;
        usbtmc_reset(&function_);
        return true;
    case clearFeature:
    case setFeature: return halt != nullptr && setHalt(setup, setup.request == setFeature);
    default: return false;
    }
}

bool UsbDevice::descriptor(const UsbSetup& setup, std::vector<uint8_t>* reply) const {
    const uint8_t type = high(setup.value), index = low(setup.value);
    if (type == stringType && index == 0) {
        *reply = {4, stringType, 0x09, 0x04}; // the strings are in English
        return true;
    }
    if (type == stringType) {
        const std::array<std::string, 3> texts{"Tolvane AG", "Signal source analyzer", serialNumber_};
        if (index > texts.size())
            return false;
        *reply = stringDescriptor(texts[index - 1u]);
        return true;
    }
    if (index != 0)
        return false;
    if (type == deviceType)
        reply->assign(std::begin(deviceDescriptor), std::end(deviceDescriptor));
    else if (type == configurationType)
        reply->assign(std::begin(configurationDescriptor), std::end(configurationDescriptor));
    return !reply->empty();
}

bool* UsbDevice::haltOf(uint16_t endpoint) {
    if (configuration_ == 0)
        return nullptr;
    return endpoint == bulkOutAddress  ? &function_.outHalted
           : endpoint == bulkInAddress ? &function_.inHalted
                                       : nullptr;
}

bool UsbDevice::setHalt(const UsbSetup& setup, bool halted) {
    if (setup.value != endpointHalt)
        return false;
    if (halted)
        *haltOf(setup.index) = true;
    else if (setup.index == bulkOutAddress)
        usbtmc_clearOutHalt(&function_);
    else
        usbtmc_clearInHalt(&function_);
    return true;
}

Handshake UsbDevice::bulkOut(std::span<const uint8_t> packet) {
    return configuration_ == 0 ? Handshake::stall : usbtmc_bulkOut(&function_, packet);
}

Handshake UsbDevice::bulkIn(UsbPacket* packet, size_t* count) {
    *count = 0;
    return configuration_ == 0 ? Handshake::stall : usbtmc_bulkIn(&function_, packet, count);
}

} // namespace vi
