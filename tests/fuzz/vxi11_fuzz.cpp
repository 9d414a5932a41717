// Bytes as a VXI-11 client sends them: records, heads of calls, XDR, and the two links behind them. The first byte says
// how many come at once.

#include "links/vxi11/rpc_record.h"
#include "links/vxi11/vxi_calls.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr scpi::Row rows[] = {
    {"*OPC", scpi::Q,
     [](scpi::Unit& unit) {
         unit.answerLength = 1;
         *unit.answer = '1';
         unit.errorCode = 0;
     },
     "", ""},
};
constexpr scpi::CommandTreeStorage<16> storage{rows};

const LinkRow rowA{.link = &link_vxiA, .transport = &vxiTransport, .medium = &vxiLinks.channels[0], .alone = true};
const LinkRow rowB{.link = &link_vxiB, .transport = &vxiTransport, .medium = &vxiLinks.channels[1], .alone = true};

void start() {
    static scpi_parser_context context{};
    context.tree = storage.view({});
    scpi_parser_init(&context);
    scpi_link_initAll(&link_list);
    for (scpi_link* link : {&link_vxiA, &link_vxiB})
        scpi_link_init(&link_list, link, 1024, 1024, "VXI-11");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool started = (start(), true);
    static std::array<char, 8192> reply;
    static VxiClientId client = 0;
    if (!started || size == 0)
        return 0;
    tv_vxi_link_init(&rowA, &rowB); // ids begin at 1 with each input
    tvcommDo.set(0);                // there is no main loop: passes run here
    const size_t piece = size_t{data[0]} + 1;
    RpcRecord record;
    VxiCaller caller{.client = ++client, .reply = reply};
    for (size_t at = 1; at < size && record.state == RpcRecordState::partial;) {
        const std::span<char> room = rpcRecord_room(&record);
        const size_t count = std::min({piece, room.size(), size - at});
        memcpy(room.data(), data + at, count);
        at += count;
        for (RpcRecordState state = rpcRecord_add(&record, count); state == RpcRecordState::complete;
             state = rpcRecord_next(&record)) {
            size_t answered = 0;
            const std::span<char> message = rpcRecord_message(&record);
            if (message.size() > 24 && message[23] == 25) // it would connect to wherever the bytes say
                continue;
            if (vxiCalls_serve(&caller, message, &answered) == VxiCallEnd::nonsense || answered > reply.size())
                break;
        }
        if (record.state == RpcRecordState::complete)
            break;
    }
    tv_vxi_link_closeAll(caller.client);
    return 0;
}
