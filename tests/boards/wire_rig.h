#pragma once
/// The bus of a board's tests: what a board sends, as text. Every test ends with no frame refused.

#include "drivers/tvspi.h"
#include "identity/device_config_sn.h"
#include "virtual/bus/spi_bus.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>

class WireRig {
public:
    /// `unit` is the serial number that the boards ask. With a `base` addresses are told as what is added to it.
    explicit WireRig(const char* unit, uint32_t base = 0) {
        strcpy(device_config_sn, unit);
        vi::rtdm_register("tvko", &bus);
        EXPECT_EQ(tvspiOpen(), 0);
        bus.intercept([this, base](const vi::SpiTransfer& transfer) {
            char text[16];
            snprintf(text, sizeof text, "%s%s%u:", wire_.empty() ? "" : " ", base != 0 ? "+" : "",
                     transfer.address - base);
            wire_ += text;
            for (const uint8_t byte : transfer.frame) {
                snprintf(text, sizeof text, "%02X", byte);
                wire_ += text;
            }
            if (transfersLeft_ == 0)
                return false;
            --transfersLeft_;
            if (watch)
                watch(transfer);
            return true;
        });
    }
    ~WireRig() {
        EXPECT_EQ(bus.faults(), 0U) << bus.faultTexts();
        tvspiClose();
        vi::rtdm_unregister(&bus);
        device_config_sn[0] = 0;
    }

    /// The transfers since the last call, "address:frame as it lies in memory"; a read has no frame.
    std::string taken() { return std::exchange(wire_, {}); }

    /// From now on the bus takes `transfers` more.
    void breakAfter(uint64_t transfers) { transfersLeft_ = transfers; }
    void mend() { transfersLeft_ = UINT64_MAX; }

    vi::SpiBus bus;
    std::function<void(const vi::SpiTransfer&)> watch; // sees each transfer that the bus takes

private:
    std::string wire_;
    uint64_t transfersLeft_ = UINT64_MAX;
};
