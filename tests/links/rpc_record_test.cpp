// Records of RPC connections, however they are cut, and the calls in them.

#include "links/vxi11/rpc_record.h"
#include "links/vxi11/vxi_calls.h"

#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::string mark(size_t count, bool last) {
    const uint32_t value = htonl(static_cast<uint32_t>(count) | (last ? rpcLastFragment : 0));
    std::string bytes(sizeof value, '\0');
    memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::string record(const std::string& message, size_t fragment) {
    std::string bytes;
    for (size_t at = 0; at < message.size(); at += fragment) {
        const std::string piece = message.substr(at, fragment);
        bytes += mark(piece.size(), at + fragment >= message.size()) + piece;
    }
    return bytes;
}

std::string messageOf(size_t length, char first) {
    std::string text(length, '\0');
    for (size_t i = 0; i < length; ++i)
        text[i] = static_cast<char>(first + static_cast<char>(i % 61));
    return text;
}

/// What comes out when at most `piece` bytes come at once.
std::vector<std::string> messagesIn(const std::string& bytes, size_t piece) {
    std::vector<std::string> messages;
    RpcRecord record;
    for (size_t at = 0; at < bytes.size();) {
        const std::span<char> room = rpcRecord_room(&record);
        const size_t count = std::min({piece, room.size(), bytes.size() - at});
        EXPECT_GT(count, 0u);
        memcpy(room.data(), bytes.data() + at, count);
        at += count;
        for (RpcRecordState state = rpcRecord_add(&record, count); state != RpcRecordState::partial;
             state = rpcRecord_next(&record)) {
            if (state == RpcRecordState::refused)
                return messages;
            const std::span<char> message = rpcRecord_message(&record);
            messages.emplace_back(message.begin(), message.end());
        }
    }
    return messages;
}

TEST(RpcRecord, MessagesAreTheSameHoweverTheyAreCutAndHoweverTheyCome) {
    const std::vector<std::string> messages{messageOf(40, 'a'), messageOf(1, 'b'), messageOf(rpcMessageMax, 'c'),
                                            messageOf(44, 'd')};
    for (const size_t fragment : {7u, 1024u, 100'000u}) {
        std::string bytes;
        for (const std::string& message : messages)
            bytes += mark(0, false) + record(message, fragment);
        for (const size_t piece : {1u, 3u, 41u, 1000u, 100'000u})
            EXPECT_EQ(messagesIn(bytes, piece), messages) << "fragments of " << fragment << ", pieces of " << piece;
    }
}

TEST(RpcRecord, AMessageThatIsTooLongIsRefusedAsSoonAsThatIsKnown) {
    const std::string good = messageOf(40, 'a');
    for (const std::string& tooLong :
         {mark(rpcMessageMax + 1, true), mark(rpcLastFragment - 1, false),
          record(good, 40).replace(0, 4, mark(40, false)) + mark(rpcMessageMax - 39, true)})
        for (const size_t piece : {1u, 100'000u})
            EXPECT_EQ(messagesIn(record(good, 40) + tooLong + record(good, 40), piece), std::vector{good});
}

const LinkRow rowA{.transport = &vxiTransport, .medium = &vxiLinks.channels[0]};
const LinkRow rowB{.transport = &vxiTransport, .medium = &vxiLinks.channels[1]};

TEST(VxiLinks, IdsBeginAgainBehindTheLastAndAnIdInUseIsSkipped) {
    tv_vxi_link_init(&rowA, &rowB);
    uint32_t kept, lid, more;
    ASSERT_EQ(tv_vxi_link_open(1, &kept), 1);
    EXPECT_EQ(kept, 1u);
    {
        MutexLock lock(vxiLinks.mutex);
        vxiLinks.nextLid = vxiLidMax;
    }
    ASSERT_EQ(tv_vxi_link_open(1, &lid), 1);
    EXPECT_EQ(lid, vxiLidMax);
    EXPECT_EQ(tv_vxi_link_open(1, &more), 0);
    {
        MutexLock lock(vxiLinks.mutex);
        EXPECT_EQ(vxiLinks.nextLid, 2u);
    }
}

} // namespace
