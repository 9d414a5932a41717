#include "virtual/soft_core_samples.h"

#include "virtual/clock.h"
#include "virtual/large_vector.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace vi {
namespace {

constexpr uint32_t pairBytes = 4;
constexpr uint8_t patternByte = 0x55;

struct Record {
    ConverterState converters;
    RecordRequest request;
    uint32_t pairs;
    LargeVector<uint32_t> words; // guarded by the source's mutex; empty: not taken yet
};

void take(SampleSource& source, Record* record) {
    LargeVector<uint16_t> a(record->pairs), b(record->pairs);
    source.record(record->request, a, b);
    record->converters.words[channelA].encode(a, 0, record->request.divider);
    record->converters.words[channelB].encode(b, 0, record->request.divider);
    record->words.resize(record->pairs);
    for (size_t i = 0; i < a.size(); ++i)
        record->words[i] = a[i] | static_cast<uint32_t>(b[i]) << 16;
}

} // namespace

StreamBlock coreSamples_block(SourceAccess& source, ConverterState converters, uint32_t divider, uint32_t pairs) {
    const uint64_t start = clock_now() + coreReaction_ns;
    const double clock_Hz = converters.clock_Hz;
    auto record = std::make_shared<Record>(Record{std::move(converters), {start, clock_Hz, divider}, pairs, {}});
    const bool come = clock_Hz > 0 && !sourceFaults(source).samplesMissing;
    return {pairs * pairBytes, come ? start : coreNever_ns,
            come ? std::min(clock_Hz / divider * pairBytes, sampleStream_portRate) : 0,
            [&source, record](uint32_t offset, std::span<uint8_t> out) {
                const std::lock_guard lock(source.mutex);
                if (record->words.empty())
                    take(source.source, record.get());
                memcpy(out.data(), reinterpret_cast<const uint8_t*>(record->words.data()) + offset, out.size());
            }};
}

StreamBlock corePattern_block(uint32_t bytes) {
    return {bytes, clock_now(), 0,
            [](uint32_t, std::span<uint8_t> out) { memset(out.data(), patternByte, out.size()); }};
}

} // namespace vi
