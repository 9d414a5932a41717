/// What a started unit's operations cost: a frequency change of both channels on the bus, a default run in time. Needs
/// a sandbox.
///
/// Prints the transfers of a small step, of a step into another band of the paths, and of the same frequency once more;
/// then the milliseconds of the waits and captures of a default run, and what it takes in real time.

#include "device_table/device_fptrs.h"
#include "measure/run/pn_run.h"
#include "measure/settings/config_mode.h"
#include "measure/settings/measurement_configuration.h"
#include "tests/virtual/started_unit.h"
#include "virtual/bus/spi_bus.h"
#include "virtual/platform/clock.h"

#include <algorithm>
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

struct RunCost {
    double clock_ms;    // by the instrument's clock
    uint64_t transfers; // of which each takes its time in fast mode only
};

/// The quickest of a few default runs: what else the machine does is not the instrument's.
RunCost defaultRun(vi::Hardware& unit, Device* device) {
    RunCost best{1e9, 0};
    for (int run = 0; run < 6; ++run) {
        config_reset(device);
        const uint64_t begin_ns = vi::clock_now(), transfers = unit.bus.transfers();
        if (const int code = pnMeasureFull(device, configPNPtr); code != 0) {
            fprintf(stderr, "the run failed: %d\n", code);
            exit(1);
        }
        const double clock_ms = static_cast<double>(vi::clock_now() - begin_ns) / 1e6;
        if (clock_ms < best.clock_ms)
            best = {clock_ms, unit.bus.transfers() - transfers};
    }
    return best;
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

    transfersOf(unit, device, first_Hz); // where the search begins, and the DUT is
    const RunCost demanded = defaultRun(unit, device);
    vi::clock_setMode(vi::TimeMode::realTime);
    printf("%.1f %.1f\n", demanded.clock_ms - static_cast<double>(demanded.transfers * vi::spiTransfer_ns) / 1e6,
           defaultRun(unit, device).clock_ms);
    return 0;
}
