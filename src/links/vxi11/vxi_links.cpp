#include "links/vxi11/vxi_links.h"

#include "core/tv_event.h"
#include "scpi/link.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

vxilink_channel& of(void* medium) {
    return *static_cast<vxilink_channel*>(medium);
}

bool open(void*, const char*) {
    return false;
}

Received receive(void* medium, char* where, int room) {
    std::string_view& unsent = of(medium).unsent;
    const size_t count = unsent.copy(where, static_cast<size_t>(std::max(room, 0)));
    unsent.remove_prefix(count);
    return {static_cast<int>(count)};
}

Sent send(void* medium, const char* data, int count, bool more) {
    vxilink_channel& channel = of(medium);
    const size_t taken = std::min(static_cast<size_t>(count), channel.wanted.size() - channel.fetched);
    if (taken > 0)
        memcpy(channel.wanted.data() + channel.fetched, data, taken);
    channel.fetched += taken;
    channel.more = more || taken < static_cast<size_t>(count);
    return {static_cast<int>(taken), more && channel.fetched < channel.wanted.size()};
}

void close(void*) {}

uint32_t afterLid(uint32_t lid) {
    return lid >= vxiLidMax ? 1 : lid + 1;
}

void empty(const vxilink_channel* channel) {
    scpi_link* const link = channel->row->link;
    tvcommFlush(link);
    tvcommEvent(link, linkEventClientGone);
}

/// In two steps, as between them passes are run. Nobody opens the link in between, and nobody tells it that its client
/// has gone.
void release(vxilink_channel* channel, bool andEmpty) {
    {
        MutexLock lock(vxiLinks.mutex);
        channel->last = andEmpty ? 0 : channel->client;
        channel->client = 0;
    }
    if (andEmpty)
        empty(channel);
    else
        tvcommEvent(channel->row->link, linkEventClientGone);
    MutexLock lock(vxiLinks.mutex);
    channel->lid = vxiLidFree;
}

} // namespace

vxilink vxiLinks;
const Transport vxiTransport{open, receive, send, close, nullptr};

void tv_vxi_link_init(const LinkRow* rowA, const LinkRow* rowB) {
    MutexLock lock(vxiLinks.mutex);
    for (const LinkRow* row : {rowA, rowB}) {
        of(row->medium) = {};
        of(row->medium).row = row;
    }
    vxiLinks.nextLid = 1;
    tv_event_setVxiLinks(rowA->link, rowB->link);
}

int tv_vxi_link_open(VxiClientId client, uint32_t* lid) {
    MutexLock lock(vxiLinks.mutex);
    auto& channels = vxiLinks.channels;
    const auto isUsed = [](uint32_t id) { return [id](const vxilink_channel& channel) { return channel.lid == id; }; };
    const auto channel = std::find_if(channels.begin(), channels.end(), isUsed(vxiLidFree));
    if (channel == channels.end())
        return 0;
    channel->lid = *lid = vxiLinks.nextLid;
    channel->client = client;
    channel->gone = false;
    do {
        vxiLinks.nextLid = afterLid(vxiLinks.nextLid);
    } while (std::any_of(channels.begin(), channels.end(), isUsed(vxiLinks.nextLid)));
    return 1;
}

bool tv_vxi_link_isLeft(bool (*isThere)(VxiClientId client)) {
    MutexLock lock(vxiLinks.mutex);
    return std::any_of(vxiLinks.channels.begin(), vxiLinks.channels.end(),
                       [isThere](const vxilink_channel& channel) { return !isThere(channel.client); });
}

vxilink_channel* tv_vxi_link_get(VxiClientId client, uint32_t lid) {
    vxilink_channel* found = nullptr;
    {
        MutexLock lock(vxiLinks.mutex);
        for (vxilink_channel& channel : vxiLinks.channels)
            if (channel.lid == lid && channel.client == client)
                found = &channel;
    }
    if (found == nullptr || found->last == client)
        return found;
    empty(found);
    MutexLock lock(vxiLinks.mutex);
    found->last = client;
    if (found->gone) // which the event has just taken back
        scpi_link_clientGone(found->row->link);
    return found;
}

void tv_vxi_link_close(vxilink_channel* channel) {
    release(channel, false);
}

void tv_vxi_link_closeAll(VxiClientId client) {
    for (;;) {
        vxilink_channel* owned = nullptr;
        {
            MutexLock lock(vxiLinks.mutex);
            for (vxilink_channel& channel : vxiLinks.channels)
                if (channel.client == client)
                    owned = &channel;
        }
        if (owned == nullptr)
            return;
        release(owned, true);
    }
}

void tv_vxi_link_clientGone(VxiClientId client) {
    MutexLock lock(vxiLinks.mutex);
    for (vxilink_channel& channel : vxiLinks.channels)
        if (channel.client == client) {
            channel.gone = true;
            scpi_link_clientGone(channel.row->link);
        }
}

size_t tv_vxi_link_write(vxilink_channel* channel, std::string_view data) {
    channel->unsent = data;
    channel->wanted = {};
    channel->fetched = 0;
    size_t left;
    do {
        left = channel->unsent.size();
        link_step(*channel->row);
    } while (!channel->unsent.empty() && channel->unsent.size() < left);
    return data.size() - std::exchange(channel->unsent, {}).size();
}

size_t tv_vxi_link_read(vxilink_channel* channel, std::span<char> where, bool* more) {
    channel->wanted = where;
    channel->fetched = 0;
    link_step(*channel->row);
    channel->wanted = {};
    *more = channel->more;
    return std::exchange(channel->fetched, 0);
}
