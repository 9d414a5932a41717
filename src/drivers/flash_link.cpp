#include "drivers/flash_link.h"

#include "base/error_codes.h"
#include "base/error_handler.h"
#include "core/abstime.h"
#include "drivers/tvspi.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr uint32_t busSegment = 0;
constexpr uint64_t pageLimit_us = 100'000;

int resultOf(int busResult) {
    return busResult == 0 ? 0 : scpi::executionError;
}

int readPieces(const FlashLink& link, std::span<uint8_t> answer) {
    while (!answer.empty()) {
        const auto piece = answer.first(std::min(answer.size(), flash_dataMax));
        if (tvspiRecv(link.readSlave, busSegment, static_cast<uint32_t>(piece.size()), flash_mode, piece.data()) != 0)
            return scpi::executionError;
        std::reverse(piece.begin(), piece.end());
        answer = answer.subspan(piece.size());
    }
    return 0;
}

} // namespace

FlashHead::FlashHead(uint8_t command, uint32_t address, size_t addressBytes) : data{command}, length(1 + addressBytes) {
    for (size_t i = 1; i < length; ++i)
        data[i] = static_cast<uint8_t>(address >> 8 * (addressBytes - i));
}

int flash_send(const FlashLink& link, const FlashHead& head, std::span<const uint8_t> data, uint32_t mode) {
    std::array<uint8_t, flash_headMax + flash_dataMax> frame;
    if (data.size() > flash_dataMax)
        return scpi::executionError;
    const size_t length = head.length + data.size();
    std::reverse_copy(data.begin(), data.end(), frame.begin());
    std::reverse_copy(head.data, head.data + head.length, frame.begin() + static_cast<ptrdiff_t>(data.size()));
    return resultOf(tvspiSend(link.writeSlave, static_cast<uint32_t>(length), mode, frame.data()));
}

/// The select line stays with the chip from its command to the last byte of its answer, as it passes from the one
/// address to the other.
int flash_read(const FlashLink& link, const FlashHead& head, std::span<uint8_t> answer) {
    int result = resultOf(tvspiSelectChip(link.writeSlave));
    if (result == 0)
        result = flash_send(link, head);
    if (result == 0)
        result = resultOf(tvspiSelectChip(link.readSlave));
    if (result == 0)
        result = readPieces(link, answer);
    const int released = resultOf(tvspiDeselectChip());
    return result != 0 ? result : released;
}

int flash_awaitEnd(const FlashLink& link, const FlashPatience& patience, uint8_t* status) {
    tv_abstime end;
    tv_abstime_setnew(&end, patience.limit_us);
    for (;;) {
        if (const int result = flash_read(link, flash_readStatus, {status, 1}); result != 0)
            return result;
        if ((*status >> flash_busyBit & 1) == 0)
            return 0;
        if (tv_abstime_now() > end) {
            globalErrorHandler(scpi::executionError, patience.timeoutText);
            if (patience.errorOutput != nullptr)
                fputs(patience.errorOutput, stderr);
            return scpi::executionError;
        }
        if (patience.interval_us != 0)
            tvstuff_delay_us(patience.interval_us);
    }
}

int flash_erase(const FlashLink& link, const FlashHead& head, const FlashPatience& patience, uint8_t* status) {
    if (const int result = flash_send(link, flash_writeEnable); result != 0)
        return result;
    if (const int result = flash_send(link, head); result != 0)
        return result;
    return flash_awaitEnd(link, patience, status);
}

int flash_writePage(const FlashLink& link, const FlashKind& kind, uint32_t pageSize, uint32_t address,
                    std::span<const uint8_t> data, uint8_t* status) {
    if (data.empty() || data.size() > pageSize) {
        fprintf(stderr, "%s_writePage() error: bytes: %zu (%s: %u)\n", kind.name, data.size(), kind.pageSizeName,
                pageSize);
        return scpi::executionError;
    }
    if (const int result = flash_send(link, flash_writeEnable); result != 0)
        return result;
    if (const int result = flash_send(link, {kind.program, address, kind.addressBytes}, data); result != 0)
        return result;
    return flash_awaitEnd(link, {0, pageLimit_us, kind.pageTimeoutText, kind.pageErrorText}, status);
}

int flash_writePages(const FlashLink& link, const FlashKind& kind, uint32_t pageSize, uint32_t address,
                     std::span<const uint8_t> data, uint8_t* status) {
    for (; !data.empty(); address += pageSize) {
        const auto page = data.first(std::min<size_t>(data.size(), pageSize));
        if (const int result = flash_writePage(link, kind, pageSize, address, page, status); result != 0)
            return result;
        data = data.subspan(page.size());
    }
    return 0;
}
