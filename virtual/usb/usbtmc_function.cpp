#include "virtual/usb/usbtmc_function.h"

#include "virtual/usb/little_endian.h"

#include <algorithm>

namespace vi {
namespace {

constexpr size_t headerBytes = 12, alignment = 4;
constexpr uint8_t devDepMsgOut = 1, requestDevDepMsgIn = 2, devDepMsgIn = 2;
constexpr uint8_t termCharEnabled = 2;      // attribute of a request for an answer
constexpr uint8_t ends = 1, atTermChar = 2; // attributes of an answer

Handshake haltOut(UsbtmcFunction* function) {
    function->outHalted = true;
    function->out.active = false;
    return Handshake::stall;
}

/// Message bytes of a packet, whose transfer ends with it if it is short or all that it has announced is there.
Handshake takeData(UsbtmcFunction* function, UsbtmcFunction::Out out, std::span<const uint8_t> data, bool isShort) {
    const size_t useful = std::min<size_t>(data.size(), out.left);
    const bool tooShort = isShort && useful < out.left;
    const bool tooLong = data.size() - useful >= alignment;
    if (useful > 0 && !function->node->offerCommand(data.first(useful)))
        return Handshake::nak;
    out.left -= static_cast<uint32_t>(useful);
    out.received += static_cast<uint32_t>(useful);
    out.active = out.left > 0;
    function->out = out;
    return tooShort || tooLong ? haltOut(function) : Handshake::ack;
}

/// A host whose last read has run out of time asks again, with another tag.
Handshake takeRequest(UsbtmcFunction* function, std::span<const uint8_t> header) {
    const uint32_t most = littleEndian_get(header.subspan(4, 4));
    if (most == 0 || header.size() != headerBytes || (function->in.asked && function->in.begun))
        return haltOut(function);
    const bool endsAtByte = (header[8] & termCharEnabled) != 0;
    function->in = {.tag = header[1], .asked = true, .most = most, .lastByte = endsAtByte ? header[9] : -1};
    return Handshake::ack;
}

} // namespace

void usbtmc_reset(UsbtmcFunction* function) {
    function->outHalted = function->inHalted = false;
    function->out = {};
    function->in = {};
}

void usbtmc_clearOutHalt(UsbtmcFunction* function) {
    function->outHalted = false;
    function->out.active = false;
}

void usbtmc_clearInHalt(UsbtmcFunction* function) {
    function->inHalted = false;
    function->in = {.tag = function->in.tag};
}

Handshake usbtmc_bulkOut(UsbtmcFunction* function, std::span<const uint8_t> packet) {
    if (function->outHalted)
        return Handshake::stall;
    const bool isShort = packet.size() < bulkPacketMax;
    if (function->out.active)
        return takeData(function, function->out, packet, isShort);
    if (packet.empty()) // ends a transfer that filled its last packet
        return Handshake::ack;
    if (packet.size() < headerBytes || packet[1] == 0 || packet[2] != static_cast<uint8_t>(~packet[1]))
        return haltOut(function);
    const auto header = packet.first(headerBytes);
    if (packet[0] == requestDevDepMsgIn)
        return packet.size() == headerBytes ? takeRequest(function, header) : haltOut(function);
    const uint32_t size = littleEndian_get(header.subspan(4, 4));
    if (packet[0] != devDepMsgOut || size == 0)
        return haltOut(function);
    return takeData(function, {.tag = packet[1], .left = size}, packet.subspan(headerBytes), isShort);
}

namespace {

/// The header, once it is known how much the transfer will carry. Returns its size; 0 if that is not known yet.
size_t begin(UsbtmcFunction* function, UsbPacket* packet) {
    UsbtmcFunction::In& in = function->in;
    const UsbtmcNode::Portion portion = function->node->portion(in.most, in.lastByte);
    if (portion.bytes == 0)
        return 0;
    in.begun = true;
    in.left = static_cast<uint32_t>(portion.bytes);
    const std::span<uint8_t> header(packet->data(), headerBytes);
    std::fill(header.begin(), header.end(), uint8_t{0});
    header[0] = devDepMsgIn;
    header[1] = in.tag;
    header[2] = static_cast<uint8_t>(~in.tag);
    littleEndian_put(header.subspan(4, 4), in.left);
    header[8] = static_cast<uint8_t>((portion.ends ? ends : 0) | (portion.atLastByte ? atTermChar : 0));
    return headerBytes;
}

} // namespace

Handshake usbtmc_bulkIn(UsbtmcFunction* function, UsbPacket* packet, size_t* count) {
    UsbtmcFunction::In& in = function->in;
    *count = 0;
    if (function->inHalted)
        return Handshake::stall;
    if (in.cut) {
        in = {.tag = in.tag, .sent = in.sent};
        return Handshake::ack;
    }
    if (!in.asked)
        return Handshake::nak;
    if (!in.begun) {
        *count = begin(function, packet);
        if (*count == 0)
            return Handshake::nak;
    }
    const size_t data = std::min<size_t>(in.left, packet->size() - *count);
    function->node->takeAnswer(std::span(*packet).subspan(*count, data));
    *count += data;
    in.left -= static_cast<uint32_t>(data);
    in.sent += static_cast<uint32_t>(data);
    if (*count < packet->size()) // a full one is followed by an empty one, if by nothing else
        in.asked = in.begun = false;
    return Handshake::ack;
}

} // namespace vi
