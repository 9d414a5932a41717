// Bytes as a host sends them that has attached the unit over USB/IP, and behind them the USBTMC device. The first byte
// says how many come at once; a stand-in for the firmware answers each of its reads.

#include "platform/bus_nodes.h"
#include "virtual/usb/usbip_port.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace {

constexpr size_t answersMax = vi::UsbtmcNode::answerRoom / 2; // so that no write waits

/// Answers with what it has read; an odd first byte leaves the answer open.
void answer(vi::UsbtmcNode* node, size_t* answered) {
    std::array<uint8_t, 1024> text;
    while (node->waitInput(0) != 0) {
        const long count = node->read(text);
        if (count <= 0 || *answered + text.size() > answersMax)
            continue;
        *answered += static_cast<size_t>(count);
        const size_t request = static_cast<size_t>(count) | ((text[0] & 1) != 0 ? usbtmc_writeGoesOn : 0);
        (void)node->write({text.data(), request});
    }
}

/// Whatever a host has done, the next one finds the device as new.
void requireService(vi::UsbDevice* device, vi::UsbtmcNode* node) {
    constexpr uint8_t message[] = {1, 7, 0xF8, 0, 4, 0, 0, 0, 1, 0, 0, 0, 'b', 'c', 'd', '\n'};
    constexpr uint8_t request[] = {2, 8, 0xF7, 0, 99, 0, 0, 0, 0, 0, 0, 0};
    constexpr uint8_t expected[] = {2, 8, 0xF7, 0, 4, 0, 0, 0, 1, 0, 0, 0, 'b', 'c', 'd', '\n'};
    size_t answered = 0, count = 0;
    vi::Bytes reply;
    vi::UsbPacket packet;
    device->unplug();
    answer(node, &answered);
    device->reset();
    const bool configured = device->control({.request = 9, .value = 1}, {}, &reply);
    const bool taken = device->bulkOut(message) == vi::Handshake::ack;
    answer(node, &answered);
    const bool asked = device->bulkOut(request) == vi::Handshake::ack;
    const bool given = device->bulkIn(&packet, &count) == vi::Handshake::ack;
    if (!configured || !taken || !asked || !given || !std::ranges::equal(std::span(packet).first(count), expected))
        abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    vi::UsbtmcNode node;
    vi::UsbDevice device(&node, "220-336306910-0001");
    vi::UsbipPort port(&device);
    vi::Bytes fromHost, toHost;
    size_t answered = 0;
    node.clear(); // its first read does not wait
    answer(&node, &answered);
    const size_t piece = 4 * size_t{data[0]} + 1;
    for (size_t at = 1; at < size && !port.isNonsense(); at += piece) {
        fromHost.insert(fromHost.end(), data + at, data + std::min(at + piece, size));
        bool taken;
        do {
            taken = port.take(&fromHost, &toHost);
            answer(&node, &answered);
            port.work(&toHost);
            toHost.clear();
        } while (taken);
    }
    requireService(&device, &node);
    return 0;
}
