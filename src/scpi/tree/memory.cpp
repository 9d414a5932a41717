#include "scpi/tree/memory.h"

#include "core/user_memory.h"
#include "scpi/block.h"

#include <algorithm>
#include <cstdio>

namespace scpi {
namespace {

constexpr uint32_t sampleSegments = 6;
static_assert(sampleSegments <= bdFragmentMax);

constexpr size_t patternColumns = 11;
constexpr size_t patternRows = 5;

/// Column + row / 10, columns 1 to 11 running fastest: every byte of a reader's layout shows.
constexpr auto testPattern = [] {
    std::array<float, patternColumns * patternRows> pattern{};
    for (size_t row = 0; row < patternRows; ++row)
        for (size_t column = 0; column < patternColumns; ++column)
            pattern[row * patternColumns + column] =
                static_cast<float>(static_cast<double>(column + 1) + 0.1 * static_cast<double>(row));
    return pattern;
}();

void endReading(void*, const char*) {
    --hardware_blocksOut;
}

/// A binary block out of the capture buffers, which stay as they are until it has gone.
void answerFromBuffers(Unit& unit, int bytes, const void* data) {
    unit.errorCode = bytes < 0 ? bytes : 0;
    if (bytes < 0)
        return;
    ++hardware_blocksOut;
    scpi_exec_startBdSend_memory(unit.link, bytes, data, endReading, nullptr);
}

/// All segments of a channel as fragments of one block.
void sendAllSegments(Unit& unit, uint32_t channel) {
    scpi_exec_bd_clearFragments(unit.link);
    for (uint32_t segment = 0; segment < sampleSegments; ++segment) {
        uint16_t* samples = nullptr;
        const int bytes = Device_getPhaseNoiseFbuffer(unit.device, channel, segment, &samples);
        unit.errorCode = bytes < 0 ? bytes : scpi_exec_bd_appendFragment(unit.link, bytes, samples);
        if (unit.errorCode != 0)
            return;
    }
    ++hardware_blocksOut;
    scpi_exec_startBdSend_fragmentedMemory(unit.link, endReading, nullptr);
}

} // namespace

void memory_deleteAll(Unit& unit) {
    if (noParameters(unit))
        unit.errorCode = tvstuff_deleteUserMemory();
}

void memory_free(Unit& unit) {
    if (!noParameters(unit))
        return;
    uint32_t free = 0;
    uint32_t used = 0;
    unit.errorCode = tvstuff_getUserMemoryStats(&free, &used);
    if (unit.errorCode != 0)
        return;
    std::array<char, 24> text{};
    snprintf(text.data(), text.size(), "%u,%u", free, used);
    answerText(unit, {text.data()});
}

void memory_readSpectrum(Unit& unit) {
    if (!Device_getPhaseNoiseFdBuffer || !noParameters(unit))
        return;
    const void* points = nullptr;
    const int bytes = Device_getPhaseNoiseFdBuffer(unit.device, static_cast<uint32_t>(unit.index), &points);
    answerFromBuffers(unit, bytes, points);
}

void memory_readSamples(Unit& unit, uint32_t channel) {
    if (!Device_getPhaseNoiseFbuffer || !noParameters(unit))
        return;
    if (unit.index == noIndex)
        return sendAllSegments(unit, channel);
    uint16_t* samples = nullptr;
    const int bytes = Device_getPhaseNoiseFbuffer(unit.device, channel, static_cast<uint32_t>(unit.index), &samples);
    answerFromBuffers(unit, bytes, samples);
}

void memory_testPattern(Unit& unit) {
    if (noParameters(unit))
        answerBinaryBlock(unit, sizeof testPattern, testPattern.data());
}

void memory_testPatternAscii(Unit& unit) {
    if (noParameters(unit))
        answerBlock(unit, sizeof testPattern, testPattern.data());
}

} // namespace scpi
