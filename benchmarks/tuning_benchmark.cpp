/// What a frequency change of both channels costs on the bus, counted on a started unit. Needs a sandbox.
///
/// Prints the transfers of a small step, of a step into another band of the paths, and of the same frequency once more.

#include "device_table/device_fptrs.h"
#include "tests/virtual/started_unit.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr tvfreq first_Hz{1'000'000'000, 0}, near_Hz{1'000'100'000, 0}, far_Hz{6'000'000'000, 0};

uint64_t transfersOf(vi::Hardware& unit, Device* device, const tvfreq& frequency) {
    const uint64_t before = unit.bus.transfers();
    if (Device_setFrequency(device, &frequency) != 0)
        abort();
    return unit.bus.transfers() - before;
}

} // namespace

int main() {
    const vi::NoiseCurve quiet{{{1, -60}, {1e3, -120}, {1e6, -160}}};
    Device* device = nullptr;
    vi::Hardware& unit = startUnit(&device, vi::defaultSerialNumber.data(), {1e9, 5, quiet, {}, {}});
    transfersOf(unit, device, first_Hz);
    const uint64_t step = transfersOf(unit, device, near_Hz), band = transfersOf(unit, device, far_Hz),
                   again = transfersOf(unit, device, far_Hz);
    printf("%llu %llu %llu\n", static_cast<unsigned long long>(step), static_cast<unsigned long long>(band),
           static_cast<unsigned long long>(again));
    return 0;
}
