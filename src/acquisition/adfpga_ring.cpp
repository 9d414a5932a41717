// The ring with which frequency-versus-time words leave the transfer task.

#include "acquisition/adfpga_link.h"

#include <algorithm>
#include <utility>

namespace {

constexpr unsigned long readerMoved = 1; // bits of the rings' event
constexpr unsigned long writerMoved = 2;

constexpr uint64_t readerStep = uint64_t{1} << 32; // one word of the reader's half of `positions`

struct Positions {
    uint32_t write;
    uint32_t read;
    [[nodiscard]] uint32_t fill() const { return write - read; }
};

Positions positionsOf(const FvstRing* ring) {
    const uint64_t both = ring->positions.load(std::memory_order_acquire);
    return {static_cast<uint32_t>(both), static_cast<uint32_t>(both >> 32)};
}

// A lost wake-up would stall the stream for good.
void signal(FvstRing* ring, unsigned long bit) {
    while (rt_event_signal(ring->event, bit) != 0) {
    }
}

using Open = int (*)(FvstRing*, uint32_t, uint32_t**, uint32_t*);

int openBlocking(Open open, unsigned long bit, FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count) {
    for (;;) {
        if (const int status = open(ring, wanted, position, count);
            status != 0 || *count != 0 || wanted == 0 || *ring->cancel != 0)
            return status;
        const PrimaryMode primary;
        if (const int status = rt_event_wait(ring->event, bit, nullptr, 0, rt_infinite); status != 0)
            return status;
        rt_event_clear(ring->event, bit, nullptr);
    }
}

} // namespace

void TVPN_ADFPGA_initializeRing(FvstRing* ring) {
    ring->positions = 0;
    ring->writeOpen = 0;
    ring->readOpen = 0;
}

int TVPN_ADFPGA_openWriteAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count) {
    if (ring->writeOpen != 0)
        TVPN_ADFPGA_closeWriteAccess(ring);
    const Positions at = positionsOf(ring);
    const uint32_t place = at.write % adfpga_ringWords;
    *position = ring->data + place;
    *count = std::min({wanted, adfpga_ringWords - at.fill(), adfpga_ringWords - place});
    ring->writeOpen = *count;
    return 0;
}

int TVPN_ADFPGA_openReadAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count) {
    if (ring->readOpen != 0)
        TVPN_TVFPGA_closeReadAccess(ring);
    const Positions at = positionsOf(ring);
    const uint32_t place = at.read % adfpga_ringWords;
    *position = ring->data + place;
    *count = std::min({wanted, at.fill(), adfpga_ringWords - place});
    ring->readOpen = *count;
    return 0;
}

int TVPN_ADFPGA_openBlockingWriteAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count) {
    return openBlocking(TVPN_ADFPGA_openWriteAccess, readerMoved, ring, wanted, position, count);
}

int TVPN_ADFPGA_openBlockingReadAccess(FvstRing* ring, uint32_t wanted, uint32_t** position, uint32_t* count) {
    return openBlocking(TVPN_ADFPGA_openReadAccess, writerMoved, ring, wanted, position, count);
}

int TVPN_ADFPGA_closeWriteAccess(FvstRing* ring) {
    ring->positions.fetch_add(std::exchange(ring->writeOpen, 0), std::memory_order_release);
    signal(ring, writerMoved);
    return 0;
}

int TVPN_TVFPGA_closeReadAccess(FvstRing* ring) {
    const uint64_t moved = std::exchange(ring->readOpen, 0) * readerStep;
    const uint64_t before = ring->positions.fetch_add(moved, std::memory_order_acq_rel);
    if ((before + moved) >> 32 >= adfpga_ringWords)
        ring->positions.fetch_sub(adfpga_ringWords * readerStep + adfpga_ringWords, std::memory_order_release);
    signal(ring, readerMoved);
    return 0;
}

void adfpga_wakeRings(TVPN_ADFPGA* board) {
    rt_event_signal(&board->txEvent, readerMoved | writerMoved);
}
