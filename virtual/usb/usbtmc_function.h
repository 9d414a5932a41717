#pragma once
/// The USBTMC function of the unit, with the USB488 subclass: what the packets on its two bulk endpoints and the class
/// requests on the control endpoint mean. All calls come from one thread.

#include "virtual/usb/usbtmc_node.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vi {

inline constexpr size_t bulkPacketMax = 512; // bytes, at high speed
inline constexpr uint8_t bulkOutAddress = 0x01, bulkInAddress = 0x82;

/// A request on the control endpoint.
struct UsbSetup {
    uint8_t type = 0, request = 0;
    uint16_t value = 0, index = 0, length = 0;
};

/// What a device says to a packet.
enum class Handshake { ack, nak, stall };

struct UsbtmcFunction {
    explicit UsbtmcFunction(UsbtmcNode* behind) : node(behind) {}

    UsbtmcNode* const node;

    bool outHalted = false, inHalted = false;

    /// Of the transfer on Bulk-OUT.
    struct Out {
        uint8_t tag = 0;     // of it, or of the last one
        bool active = false; // it goes on with the next packet
        uint32_t left = 0;   // message bytes
        uint32_t received = 0;
    } out;

    /// Of the answer that is asked for on Bulk-IN.
    struct In {
        uint8_t tag = 0;
        bool asked = false, begun = false; // and packets of it have gone out
        bool cut = false;                  // it has been aborted: an empty packet ends it
        uint32_t most = 0;                 // bytes that the host takes
        int lastByte = -1;                 // behind which it is to end; -1: none
        uint32_t left = 0;                 // message bytes, once it has begun
        uint32_t sent = 0;
    } in;
};

using UsbPacket = std::array<uint8_t, bulkPacketMax>;

/// As after a reset of the bus: nothing is under way or halted. What waits in the driver stays.
void usbtmc_reset(UsbtmcFunction* function);
/// One packet from the host, at most bulkPacketMax bytes; with nak nothing of it has been taken.
[[nodiscard]] Handshake usbtmc_bulkOut(UsbtmcFunction* function, std::span<const uint8_t> packet);
/// One packet to the host; `*count` receives its size.
[[nodiscard]] Handshake usbtmc_bulkIn(UsbtmcFunction* function, UsbPacket* packet, size_t* count);
/// The host takes the halt of an endpoint back, and whatever had led to it is forgotten.
void usbtmc_clearOutHalt(UsbtmcFunction* function);
void usbtmc_clearInHalt(UsbtmcFunction* function);

/// A class request. Writes the reply, which is not longer than `reply`, and returns its size; nothing for a request
/// that the function does not know.
[[nodiscard]] std::optional<size_t> usbtmc_control(UsbtmcFunction* function, const UsbSetup& setup,
                                                   std::span<uint8_t, 24> reply);

} // namespace vi
