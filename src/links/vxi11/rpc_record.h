#pragma once
/// The records of one RPC connection (RFC 5531, record marking): bytes as they come, messages as they are complete. A
/// message may be cut into any number of fragments; it is joined in place.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr size_t rpcMarkBytes = 4;             // in front of each fragment: its length, top bit at the last one
inline constexpr uint32_t rpcLastFragment = 1u << 31; // of a mark
inline constexpr size_t rpcMessageMax = 32 * 1024;    // bytes of a call, joined

enum class RpcRecordState {
    partial,  // more bytes have to come
    complete, // a message is there
    refused,  // it grows longer than rpcMessageMax: of this connection nothing more can be understood
};

struct RpcRecord {
    std::array<char, rpcMessageMax + 2 * rpcMarkBytes> bytes;
    size_t messageBegin = 0, messageEnd = 0; // what is joined so far
    size_t rawBegin = 0, rawEnd = 0;         // what has come behind it
    uint32_t fragmentLeft = 0;               // bytes that the fragment under way still has
    bool lastFragment = false;               // it is the message's last
    RpcRecordState state = RpcRecordState::partial;
};

void rpcRecord_reset(RpcRecord* record);
/// Where the next bytes go. Not empty while the state is partial.
[[nodiscard]] std::span<char> rpcRecord_room(RpcRecord* record);
/// `count` bytes have come there. Returns the state.
RpcRecordState rpcRecord_add(RpcRecord* record, size_t count);
/// The complete message; its bytes stay until rpcRecord_next.
[[nodiscard]] std::span<char> rpcRecord_message(RpcRecord* record);
/// Goes on behind the complete message. Returns the state.
RpcRecordState rpcRecord_next(RpcRecord* record);
