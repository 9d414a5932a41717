#include "links/vxi11/rpc_record.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>

namespace {

void move(RpcRecord* record, size_t from, size_t to, size_t count) {
    if (from != to && count > 0)
        memmove(record->bytes.data() + to, record->bytes.data() + from, count);
}

/// Begins the next fragment. False if its mark has not come or cannot be accepted.
bool takeMark(RpcRecord* record) {
    if (record->rawEnd - record->rawBegin < rpcMarkBytes)
        return false;
    uint32_t mark;
    memcpy(&mark, record->bytes.data() + record->rawBegin, sizeof mark);
    mark = ntohl(mark);
    record->rawBegin += rpcMarkBytes;
    record->fragmentLeft = mark & ~rpcLastFragment;
    record->lastFragment = (mark & rpcLastFragment) != 0;
    if (record->messageEnd == record->messageBegin)
        record->messageBegin = record->messageEnd = record->rawBegin; // the usual single fragment stays where it is
    if (record->fragmentLeft > rpcMessageMax - (record->messageEnd - record->messageBegin))
        record->state = RpcRecordState::refused;
    return record->state == RpcRecordState::partial;
}

RpcRecordState join(RpcRecord* record) {
    while (record->state == RpcRecordState::partial) {
        const size_t count = std::min<size_t>(record->fragmentLeft, record->rawEnd - record->rawBegin);
        move(record, record->rawBegin, record->messageEnd, count);
        record->messageEnd += count;
        record->rawBegin += count;
        record->fragmentLeft -= static_cast<uint32_t>(count);
        if (record->fragmentLeft > 0)
            break;
        if (record->lastFragment)
            record->state = RpcRecordState::complete;
        else if (!takeMark(record))
            break;
    }
    return record->state;
}

/// Moves all to the front.
void closeUp(RpcRecord* record) {
    const size_t joined = record->messageEnd - record->messageBegin, raw = record->rawEnd - record->rawBegin;
    move(record, record->messageBegin, 0, joined);
    move(record, record->rawBegin, joined, raw);
    record->messageBegin = 0;
    record->messageEnd = record->rawBegin = joined;
    record->rawEnd = joined + raw;
}

} // namespace

void rpcRecord_reset(RpcRecord* record) {
    record->messageBegin = record->messageEnd = record->rawBegin = record->rawEnd = 0;
    record->fragmentLeft = 0;
    record->lastFragment = false;
    record->state = RpcRecordState::partial;
}

std::span<char> rpcRecord_room(RpcRecord* record) {
    if (record->rawEnd == record->bytes.size())
        closeUp(record);
    return std::span(record->bytes).subspan(record->rawEnd);
}

RpcRecordState rpcRecord_add(RpcRecord* record, size_t count) {
    record->rawEnd += count;
    return join(record);
}

std::span<char> rpcRecord_message(RpcRecord* record) {
    return std::span(record->bytes).subspan(record->messageBegin, record->messageEnd - record->messageBegin);
}

RpcRecordState rpcRecord_next(RpcRecord* record) {
    record->messageBegin = record->messageEnd = record->rawBegin;
    closeUp(record);
    record->lastFragment = false;
    record->state = RpcRecordState::partial;
    return join(record);
}
