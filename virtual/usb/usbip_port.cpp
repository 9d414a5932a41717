#include "virtual/usb/usbip_port.h"

#include <algorithm>
#include <cerrno>

namespace vi {
namespace {

constexpr uint32_t controlEndpoint = 0, outEndpoint = bulkOutAddress, inEndpoint = bulkInAddress & 0xF;
constexpr uint32_t noPackets = 0xFFFFFFFF; // or 0: not isochronous

} // namespace

bool UsbipPort::take(Bytes* bytes, Bytes* toHost) {
    if (nonsense_ || bytes->size() < usbipHeaderBytes)
        return false;
    const UsbipCommand command = usbip_command(std::span(*bytes).first<usbipHeaderBytes>());
    const bool submits = command.kind == UsbipCommand::submit;
    nonsense_ = (!submits && command.kind != UsbipCommand::unlink) ||
                (submits && (command.length > transferMax || (command.packets != 0 && command.packets != noPackets)));
    const size_t size = usbipHeaderBytes + (submits && !command.toHost ? command.length : 0);
    if (nonsense_ || bytes->size() < size)
        return false;
    if (submits)
        submit(command, std::span(*bytes).subspan(usbipHeaderBytes, size - usbipHeaderBytes), toHost);
    else
        unlink(command, toHost);
    bytes->erase(bytes->begin(), bytes->begin() + static_cast<ptrdiff_t>(size));
    return true;
}

void UsbipPort::submit(const UsbipCommand& command, std::span<const uint8_t> data, Bytes* toHost) {
    if (command.endpoint == controlEndpoint) {
        Bytes reply;
        const bool done = device_->control(command.setup, data, &reply);
        reply.resize(std::min<size_t>(reply.size(), command.length));
        usbip_addSubmitted(toHost, command.sequence, done ? 0 : -EPIPE, command.toHost ? reply.size() : data.size(),
                           reply);
    } else if (command.endpoint == outEndpoint && !command.toHost) {
        out_.push_back({command, {data.begin(), data.end()}});
    } else if (command.endpoint == inEndpoint && command.toHost) {
        in_.push_back({command, {}});
    } else {
        usbip_addSubmitted(toHost, command.sequence, -ENOENT, 0);
    }
    nonsense_ = holdsTooMuch();
}

bool UsbipPort::holdsTooMuch() const {
    size_t bytes = 0;
    for (const Request& request : out_)
        bytes += request.data.size();
    return out_.size() + in_.size() > pendingMax || bytes > 4 * transferMax;
}

/// One that has ended already has had its reply.
void UsbipPort::unlink(const UsbipCommand& command, Bytes* toHost) {
    const auto isVictim = [&](const Request& request) { return request.command.sequence == command.victim; };
    const size_t found = std::erase_if(out_, isVictim) + std::erase_if(in_, isVictim);
    usbip_addUnlinked(toHost, command.sequence, found > 0 ? -ECONNRESET : 0);
}

void UsbipPort::work(Bytes* toHost) {
    while (!out_.empty() && moveOut(&out_.front(), toHost))
        out_.pop_front();
    while (!in_.empty() && toHost->size() < unsentMax && moveIn(&in_.front(), toHost))
        in_.pop_front();
}

/// True when it has ended.
bool UsbipPort::moveOut(Request* request, Bytes* toHost) {
    const std::span<const uint8_t> data(request->data);
    const bool endsEmpty =
        data.empty() || ((request->command.flags & UsbipCommand::zeroPacket) != 0 && data.size() % bulkPacketMax == 0);
    Handshake said = Handshake::ack;
    while (request->moved < data.size() && said == Handshake::ack) {
        const size_t count = std::min(bulkPacketMax, data.size() - request->moved);
        said = device_->bulkOut(data.subspan(request->moved, count));
        request->moved += said == Handshake::ack ? count : 0;
    }
    if (said == Handshake::ack && endsEmpty)
        said = device_->bulkOut({});
    if (said == Handshake::nak)
        return false;
    usbip_addSubmitted(toHost, request->command.sequence, said == Handshake::ack ? 0 : -EPIPE, request->moved);
    return true;
}

bool UsbipPort::moveIn(Request* request, Bytes* toHost) {
    UsbPacket packet;
    size_t count = 0;
    int status = 0;
    do {
        const Handshake said = device_->bulkIn(&packet, &count);
        if (said == Handshake::nak)
            return false;
        const size_t room = request->command.length - request->data.size();
        status = said == Handshake::stall ? -EPIPE : count > room ? -EOVERFLOW : 0;
        request->data.insert(request->data.end(), packet.data(), packet.data() + std::min(count, room));
    } while (status == 0 && count == packet.size() && request->data.size() < request->command.length);
    usbip_addSubmitted(toHost, request->command.sequence, status, request->data.size(), request->data);
    return true;
}

} // namespace vi
