#pragma once
/// Sample streams without a board behind them.

#include "virtual/platform/rtdm.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <thread>

/// A stream on which the words come that were asked for, each one more than the one before.
class CountingStream final : public vi::RtDevice {
public:
    CountingStream() { rtdm_register("tv_ssc_adc_driver", this); }
    ~CountingStream() override { rtdm_unregister(this); }
    long write(std::span<const uint8_t> text) override {
        return sscanf(reinterpret_cast<const char*>(text.data()), "%u", &left_) == 1 ? long(text.size()) : -1;
    }
    int ioctl(uint32_t, uintptr_t) override { return 0; }
    int open(int) override { return ++users, 0; }
    void close() override { --users; }
    long read(std::span<uint8_t> data) override {
        const size_t bytes = std::min({data.size(), size_t{left_}, size_t{40'000}});
        for (size_t at = 0; at < bytes; at += 4, ++next_)
            memcpy(&data[at], &next_, 4);
        left_ -= static_cast<uint32_t>(bytes);
        return static_cast<long>(bytes);
    }

    std::atomic<int> users = 0;

private:
    uint32_t left_ = 0; // bytes
    uint32_t next_ = 0;
};

/// A stream on which nothing comes until it is asked to stop.
class SilentStream final : public vi::RtDevice {
public:
    SilentStream() { rtdm_register("tv_ssc_adc_driver", this); }
    ~SilentStream() override { rtdm_unregister(this); }
    long write(std::span<const uint8_t> text) override { return static_cast<long>(text.size()); }
    int ioctl(uint32_t request, uintptr_t) override {
        stopped_ = stopped_ || request == 0xE004;
        return 0;
    }
    long read(std::span<uint8_t> data) override {
        while (!data.empty() && !stopped_)
            std::this_thread::yield();
        return 0;
    }

private:
    std::atomic<bool> stopped_{false};
};
