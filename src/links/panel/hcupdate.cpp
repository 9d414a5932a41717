#include "links/panel/hcupdate.h"

#include "links/panel/tvhc.h"
#include "scpi/text/text_format.h"

#include <array>
#include <cstring>

namespace {

constexpr size_t lineSize = 128; // bytes of a line with its newline and an end

std::atomic<Tvhc*> tvhcs{nullptr};

bool panelHears() {
    const Tvhc* const panel = tvhcs;
    return panel != nullptr && Tvhc_connected(panel);
}

template <class Get> bool isAskable(const Get& get) {
    return panelHears() && get && !hardware_isTaken();
}

/// `format` writes the value behind the prefix, as the formatters of answers do.
template <class Format> int sendValue(const char* prefix, Format format) {
    std::array<char, lineSize> line;
    const size_t start = strlen(prefix) + 1;
    if (start >= line.size())
        return scpi::tooMuchData;
    memcpy(line.data(), prefix, start - 1);
    line[start - 1] = ' ';
    int32_t length = 0;
    if (format(&line[start], static_cast<int>(line.size() - start), &length) != 0)
        return -1;
    return Tvhcupdate_line(line.data());
}

} // namespace

void Tvhcupdate_init(Tvhc* panel) {
    tvhcs = panel;
}

Tvhc* Tvhcupdate_getLink() {
    return tvhcs;
}

int Tvhcupdate_n(int length, const char* text) {
    return panelHears() ? Tvhc_writeAsync(tvhcs, length, text) : -1;
}

int Tvhcupdate_line(const char* text) {
    std::array<char, lineSize> line;
    const size_t length = strlen(text);
    if (length + 1 >= line.size())
        return scpi::tooMuchData;
    memcpy(line.data(), text, length);
    line[length] = '\n';
    return Tvhcupdate_n(static_cast<int>(length + 1), line.data());
}

int hcupdate_tEnumMember(const char* text, const Slot<int(Device*)>& predicate, Device* device) {
    if (!isAskable(predicate))
        return -1;
    return predicate(device) != 0 ? Tvhcupdate_line(text) : 0;
}

int hcupdate_tState(const char* prefix, const Slot<int(Device*)>& get, Device* device) {
    return !isAskable(get) ? -1 : sendValue(prefix, [&](char* dst, int room, int32_t* length) {
        return scpi_bool2str(get(device) != 0, dst, room, length);
    });
}

int hcupdate_tDouble(const char* prefix, const Slot<double(Device*)>& get, Device* device) {
    return !isAskable(get) ? -1 : sendValue(prefix, [&](char* dst, int room, int32_t* length) {
        return scpi_double2strf(get(device), dst, room, length, textFixed);
    });
}

int hcupdate_tPow(const char* prefix, const Slot<const tvpow*(Device*)>& get, Device* device) {
    return !isAskable(get) ? -1 : sendValue(prefix, [&](char* dst, int room, int32_t* length) {
        return scpi_tv_pow2strf(get(device), dst, room, length, textFixed | textTwoDecimals | textDeviceUnit);
    });
}

int hcupdate_tFreq(const char* prefix, const Slot<const tvfreq*(Device*)>& get, Device* device) {
    return !isAskable(get) ? -1 : sendValue(prefix, [&](char* dst, int room, int32_t* length) {
        return scpi_tv_freq2str(get(device), dst, room, length);
    });
}
