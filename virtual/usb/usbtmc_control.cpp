#include "virtual/usb/little_endian.h"
#include "virtual/usb/usbtmc_function.h"

#include <algorithm>

namespace vi {
namespace {

constexpr uint8_t success = 0x01, pending = 0x02, failed = 0x80, notInProgress = 0x81;
constexpr uint8_t bulkInHasData = 1;
constexpr uint8_t toInterface = 0xA1, toEndpoint = 0xA2; // class requests that are answered
constexpr uint16_t interfaceIndex = 0;
constexpr uint8_t statusTagMin = 2, statusTagMax = 127;

using Reply = std::span<uint8_t, 24>;

uint8_t tagOf(const UsbSetup& setup) {
    return static_cast<uint8_t>(setup.value);
}

/// The command bytes that the driver has already are the firmware's.
void initiateAbortOut(UsbtmcFunction* function, const UsbSetup& setup, Reply reply) {
    UsbtmcFunction::Out& out = function->out;
    reply[0] = !out.active ? failed : out.tag == tagOf(setup) ? success : notInProgress;
    reply[1] = out.tag;
    if (reply[0] != success)
        return;
    out.active = false;
    function->outHalted = true;
}

void checkAbortOut(UsbtmcFunction* function, const UsbSetup&, Reply reply) {
    reply[0] = success;
    littleEndian_put(reply.subspan(4, 4), function->out.received);
}

/// The rest of the answer stays for the next transfer.
void initiateAbortIn(UsbtmcFunction* function, const UsbSetup& setup, Reply reply) {
    UsbtmcFunction::In& in = function->in;
    reply[0] = !in.asked ? failed : in.tag == tagOf(setup) ? success : notInProgress;
    reply[1] = in.tag;
    if (reply[0] == success)
        in = {.tag = in.tag, .cut = true, .sent = in.sent};
}

void checkAbortIn(UsbtmcFunction* function, const UsbSetup&, Reply reply) {
    reply[0] = function->in.cut ? pending : success;
    reply[1] = function->in.cut ? bulkInHasData : 0;
    littleEndian_put(reply.subspan(4, 4), function->in.sent);
}

void initiateClear(UsbtmcFunction* function, const UsbSetup&, Reply reply) {
    reply[0] = success;
    const bool hostIsReading = function->in.asked && function->in.begun;
    function->node->clear();
    function->out = {.tag = function->out.tag};
    function->in = {.tag = function->in.tag, .cut = hostIsReading || function->in.cut};
    function->outHalted = true;
}

void checkClear(UsbtmcFunction* function, const UsbSetup&, Reply reply) {
    reply[0] = function->in.cut ? pending : success;
    reply[1] = function->in.cut ? bulkInHasData : 0;
}

void capabilities(UsbtmcFunction*, const UsbSetup&, Reply reply) {
    constexpr uint8_t version[] = {0x00, 0x01};
    constexpr uint8_t pulsesIndicator = 4, endsAtTermChar = 1;
    reply[0] = success;
    std::copy(std::begin(version), std::end(version), reply.begin() + 2);
    reply[4] = pulsesIndicator;
    reply[5] = endsAtTermChar;
    // USB488: no service requests, trigger or remote-local states, so not all of IEEE 488.2.
    std::copy(std::begin(version), std::end(version), reply.begin() + 12);
}

void indicatorPulse(UsbtmcFunction*, const UsbSetup&, Reply reply) {
    reply[0] = success;
}

/// The status byte is 0, as on the other links.
void readStatusByte(UsbtmcFunction*, const UsbSetup& setup, Reply reply) {
    reply[0] = tagOf(setup) >= statusTagMin && tagOf(setup) <= statusTagMax ? success : failed;
    reply[1] = tagOf(setup);
}

struct Request {
    uint8_t type, request;
    uint16_t index;
    size_t replyBytes;
    void (*answer)(UsbtmcFunction* function, const UsbSetup& setup, Reply reply);
};

constexpr Request requests[] = {
    {toEndpoint, 1, bulkOutAddress, 2, initiateAbortOut},  {toEndpoint, 2, bulkOutAddress, 8, checkAbortOut},
    {toEndpoint, 3, bulkInAddress, 2, initiateAbortIn},    {toEndpoint, 4, bulkInAddress, 8, checkAbortIn},
    {toInterface, 5, interfaceIndex, 1, initiateClear},    {toInterface, 6, interfaceIndex, 2, checkClear},
    {toInterface, 7, interfaceIndex, 24, capabilities},    {toInterface, 64, interfaceIndex, 1, indicatorPulse},
    {toInterface, 128, interfaceIndex, 3, readStatusByte},
};

} // namespace

std::optional<size_t> usbtmc_control(UsbtmcFunction* function, const UsbSetup& setup, Reply reply) {
    const auto* const found = std::find_if(std::begin(requests), std::end(requests), [&](const Request& request) {
        return request.type == setup.type && request.request == setup.request && request.index == setup.index;
    });
    if (found == std::end(requests))
        return std::nullopt;
    std::fill(reply.begin(), reply.end(), uint8_t{0});
    found->answer(function, setup, reply);
    return found->replyBytes;
}

} // namespace vi
