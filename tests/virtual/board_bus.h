#pragma once
/// A bus with the two transfers that tests of boards make.

#include "platform/tvko.h"
#include "virtual/bus/spi_bus.h"

struct BoardBus {
    operator vi::SpiBus&() { return spi; }
    [[nodiscard]] uint64_t faults() const { return spi.faults(); }
    [[nodiscard]] std::string faultTexts() const { return spi.faultTexts(); }

    /// A frame of so many bytes; what comes last on the wire lies first.
    bool send(uint32_t address, uint64_t word, uint32_t bytes, uint32_t mode = 0) {
        tvko_transfer record{address, bytes, mode, 0, &word};
        return spi.ioctl(tvko_send, reinterpret_cast<uintptr_t>(&record)) == 0;
    }
    /// The second of two readings.
    uint32_t read(uint32_t address, uint32_t bytes, uint32_t mode) {
        uint64_t word = 0;
        tvko_transfer record{address, bytes, mode, 0, &word};
        for (int reading = 0; reading < 2; ++reading)
            spi.ioctl(tvko_receive, reinterpret_cast<uintptr_t>(&record));
        return static_cast<uint32_t>(word);
    }
    uint32_t adc(uint32_t address) { return read(address, 2, 1) >> 1 & 0x3FFF; }
    bool ioUpdate() { return spi.ioctl(tvko_ioUpdate, 0) == 0; }
    uint32_t pin(uint32_t request) {
        uint32_t level = 7;
        spi.ioctl(request, reinterpret_cast<uintptr_t>(&level));
        return level;
    }

    vi::SpiBus spi;
};
