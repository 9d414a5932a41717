#include "virtual/acquisition/soft_core_samples.h"

#include "virtual/draw/large_vector.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace vi {
namespace {

constexpr uint32_t pairBytes = 4;
constexpr size_t pairsAtOnce = 1024;
constexpr uint8_t patternByte = 0x55;

struct Record {
    ConverterState converters;
    RecordRequest request;
    uint32_t pairs;
    LargeVector<uint16_t> a, b; // guarded by the source's mutex; empty: not taken yet
};

void take(SampleSource& source, Record* record) {
    record->a.resize(record->pairs);
    record->b.resize(record->pairs);
    source.record(record->request, record->a, record->b);
    record->converters.words[channelA].encode(record->a, 0, record->request.divider);
    record->converters.words[channelB].encode(record->b, 0, record->request.divider);
}

/// Bytes of the words from `offset` on; it may lie inside a word.
void copyWords(const Record& record, uint32_t offset, std::span<uint8_t> out) {
    std::array<uint32_t, pairsAtOnce> words;
    while (!out.empty()) {
        const size_t first = offset / pairBytes, skipped = offset % pairBytes;
        const size_t bytes = std::min(out.size(), sizeof words - skipped);
        const size_t count = (skipped + bytes + pairBytes - 1) / pairBytes;
        const uint16_t *const a = &record.a[first], *const b = &record.b[first];
        for (size_t i = 0; i < count; ++i)
            words[i] = a[i] | static_cast<uint32_t>(b[i]) << 16;
        memcpy(out.data(), reinterpret_cast<const uint8_t*>(words.data()) + skipped, bytes);
        out = out.subspan(bytes);
        offset += static_cast<uint32_t>(bytes);
    }
}

} // namespace

StreamBlock coreSamples_block(SourceAccess& source, ConverterState converters, uint32_t divider, uint32_t pairs) {
    const uint64_t start = clock_now() + coreReaction_ns;
    const double clock_Hz = converters.clock_Hz;
    auto record = std::make_shared<Record>(Record{std::move(converters), {start, clock_Hz, divider}, pairs, {}, {}});
    const bool come = clock_Hz > 0 && !source.source.faults().samplesMissing;
    return {pairs * pairBytes, come ? start : coreNever_ns,
            come ? std::min(clock_Hz / divider * pairBytes, sampleStream_portRate) : 0,
            [&source, record](uint32_t offset, std::span<uint8_t> out) {
                const std::lock_guard lock(source.mutex);
                if (record->a.empty())
                    take(source.source, record.get());
                copyWords(*record, offset, out);
            }};
}

StreamBlock corePattern_block(uint32_t bytes) {
    return {bytes, clock_now(), 0,
            [](uint32_t, std::span<uint8_t> out) { memset(out.data(), patternByte, out.size()); }};
}

} // namespace vi
