#include "links/panel/panel_mirror.h"

#include "core/process.h"
#include "device_table/device_fptrs.h"
#include "identity/device_config_files.h"
#include "identity/device_variants.h"
#include "links/own_address.h"
#include "links/panel/hcupdate.h"

#include <array>
#include <cstdio>
#include <span>

namespace {

constexpr SlotRegistrar fill{"links_panel"};
constexpr size_t gpibTextSize = 64, lineSize = 128; // bytes

/// A word of a setting and who tells whether it is the one in force.
struct Member {
    const char* line;
    const Slot<int(Device*)>* predicate;
};
constexpr Member lfoShapes[] = {{"LFO:SHAP SINE", &Device_isLfgShapeSine},
                                {"LFO:SHAP TRI", &Device_isLfgShapeTriangle},
                                {"LFO:SHAP SQU", &Device_isLfgShapeSquare}};
constexpr Member lfoSources[] = {{"LFO:SOUR LFG", &Device_isFuncoutSourceLfg},
                                 {"LFO:SOUR PULM", &Device_isFuncoutSourcePulm},
                                 {"LFO:SOUR TRIG", &Device_isFuncoutSourceTrigger}};

int sendMember(std::span<const Member> members) {
    int result = 0;
    for (const Member& member : members)
        if (const int error = hcupdate_tEnumMember(member.line, *member.predicate, debug_device); error != 0)
            result = error;
    return result;
}

/// One of two lines.
int sendEither(const Slot<int(Device*)>& predicate, const char* yes, const char* no) {
    if (!predicate || hardware_isTaken())
        return -1;
    return Tvhcupdate_line(predicate(debug_device) != 0 ? yes : no);
}

int sendGpibAddress() {
    std::array<char, gpibTextSize> address{};
    if (!device_config_usesGPIB() || device_config_getGPIBaddr(address.data(), address.size()) != 0)
        return -1;
    std::array<char, lineSize> line;
    snprintf(line.data(), line.size(), "SYST:COMM:GPIB:ADDR %s", address.data());
    return Tvhcupdate_line(line.data());
}

int sendIpAddress() {
    std::array<char, addressTextSize> address{};
    TvsocketGetMyAddr(address.data());
    std::array<char, lineSize> line;
    snprintf(line.data(), line.size(), "SYST:COMM:SOCK:ADDR \"%s\"", address.data());
    return Tvhcupdate_line(line.data());
}

int sendBatteryState(int level) {
    std::array<char, lineSize> line;
    snprintf(line.data(), line.size(), "BATT %d", level);
    return Tvhcupdate_line(line.data());
}

/// What of the device each line shows.
struct Line {
    Slot<int()>* slot;
    int (*send)();
};
/// The picture at the start, in its order.
constexpr Line picture[] = {
    {&hcupdate_frequencyFixed, [] { return hcupdate_tFreq("FREQ", Device_getFrequency, debug_device); }},
    {&hcupdate_powerFixed, [] { return hcupdate_tPow("POW", Device_getPower, debug_device); }},
    {&hcupdate_rfOutputState, [] { return hcupdate_tState("OUTP:STAT", Device_isRfEnabled, debug_device); }},
    {&hcupdate_lfoState, [] { return hcupdate_tState("LFO:STAT", Device_isFuncoutEnabled, debug_device); }},
    {&hcupdate_lfoSource, [] { return sendMember(lfoSources); }},
    {&hcupdate_lfoFrequency, [] { return hcupdate_tFreq("LFO:FREQ", Device_getLfgFrequency, debug_device); }},
    {&hcupdate_lfoAmplitude, [] { return hcupdate_tDouble("LFO:AMPL", Device_getLfgAmplitude, debug_device); }},
    {&hcupdate_lfoShape, [] { return sendMember(lfoShapes); }},
    {&hcupdate_ipAddress, sendIpAddress},
    {&hcupdate_gpibAddress, sendGpibAddress},
    {&hcupdate_clearQuesPow, [] { return Tvhcupdate_line("NTR:POW"); }},
};
constexpr Line laterLines[] = {
    {&hcupdate_setQuesPow, [] { return Tvhcupdate_line("PTR:POW"); }},
    {&hcupdate_roscSour, [] { return sendEither(Device_isReferenceSourceInternal, "ROSC:SOUR INT", "ROSC:SOUR EXT"); }},
    {&hcupdate_roscLock, [] { return sendEither(Device_isReferenceSource10MLocked, "ROSC:LOCK 1", "ROSC:LOCK 0"); }},
    {&hcupdate_connectLan, [] { return Tvhcupdate_line("SYST:COMM:CONN LAN"); }},
    {&hcupdate_disconnectLan, [] { return Tvhcupdate_line("SYST:COMM:DISC LAN"); }},
    {&hcupdate_connectUsb, [] { return Tvhcupdate_line("SYST:COMM:CONN USB"); }},
    {&hcupdate_disconnectUsb, [] { return Tvhcupdate_line("SYST:COMM:DISC USB"); }},
    {&hcupdate_connectGpib, [] { return Tvhcupdate_line("SYST:COMM:CONN GPIB"); }},
    {&hcupdate_disconnectGpib, [] { return Tvhcupdate_line("SYST:COMM:DISC GPIB"); }},
    {&hcupdate_lock, [] { return Tvhcupdate_line("SYST:LOCK"); }},
    {&hcupdate_release, [] { return Tvhcupdate_line("SYST:LOCK:REL"); }},
    {&hcupdate_remoteOPC, [] { return Tvhcupdate_line("*OPC"); }},
};

} // namespace

void panelMirror_register() {
    for (const std::span<const Line> lines : {std::span<const Line>(picture), std::span<const Line>(laterLines)})
        for (const Line& line : lines)
            fill(*line.slot, line.send);
    fill(hcupdate, Tvhcupdate_line);
    fill(hcupdate_batteryState, sendBatteryState);
}

void hcupdate_everything() {
    for (const Line& line : picture)
        slot_carryOn(line.send()); // what the unit has not, the panel does not show
}
