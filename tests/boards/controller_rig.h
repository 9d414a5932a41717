#pragma once
/// A controller board on the virtual bus, behind the slots of the device table.

#include "boards/funcout.h"
#include "boards/tvcont.h"
#include "device_table/device_fptrs.h"
#include "tests/boards/wire_rig.h"
#include "virtual/chips/analog.h"
#include "virtual/chips/sensors.h"
#include "virtual/chips/shift_register.h"
#include "virtual/chips/synthesizers.h"
#include "virtual/platform/clock.h"

inline constexpr int missing = -241, refused = -224, failed = -200, noBoard = -113;

inline constexpr const char* unitOlder = "200-010000000-0000";
inline constexpr const char* unit1E = "200-020000000-0000";
inline constexpr const char* unit1F = "200-030000000-0000";
inline constexpr const char* unitFS = "200-040000000-0000";

class ControllerRig : public WireRig {
public:
    explicit ControllerRig(const char* unit) : WireRig(unit) {
        constexpr uint32_t segment = 1;
        const char revision = unit[5];
        bus.attach(240, &lines);
        bus.attach(244, &sweep);
        bus.attach(245, &amplitude);
        bus.attach(246, &sensor, segment);
        if (revision > '1')
            bus.attach(243, &userDac);
        else
            bus.attach(243, &userAdc, segment);
        if (revision == '4')
            bus.attach(241, &fan);
        watch = [this](const vi::SpiTransfer& transfer) {
            constexpr uint8_t control = 1 << 6;
            if (transfer.address == 240 && (transfer.frame[0] & control) != 0 && !lines.line(6))
                sweep.pulseControl();
        };
        Device_openSlots();
        present = &board;
        fill(Device_getTvcontPtr, [](Device*) { return present; });
        fill(Device_getFuncoutBoardPtr, [](Device*) { return present; });
        TVCONT_init(&board, 1);
        startWire = taken();
    }

    [[nodiscard]] double lfg_Hz() const { return lines.line(4) ? 0 : sweep.output_Hz(10e6); }

    vi::OutputRegister lines{3};
    vi::Ad5932Model sweep;
    vi::Ad5432Model amplitude;
    vi::Ad5640Model userDac{14};
    vi::Ad7680Model userAdc{3.3, [] { return 0.0; }};
    vi::Mcp4131Model fan;
    double temperature_degC = 0;
    vi::Tc77Model sensor{[this] { return temperature_degC; }};
    TVCONT board{};
    std::string startWire;
    static inline TVCONT* present = nullptr;

private:
    static constexpr SlotRegistrar fill{"test"};
};
