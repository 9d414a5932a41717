/// libFuzzer target: any bytes as a calibration file. The reader gives one of its documented results, a refused file
/// leaves the record as it was, and what is in force gives levels and gains without a fault.

#include "calibration/calibration_tvpn.h"
#include "calibration/csvtables.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static CalibrationTVPN record, before;
    static const int file = memfd_create("calibration.csv", 0);
    char path[40];
    snprintf(path, sizeof path, "/proc/self/fd/%d", file);
    if (ftruncate(file, 0) != 0 || pwrite(file, bytes, size, 0) != static_cast<ssize_t>(size))
        abort();
    memcpy(&before, &record, sizeof record);
    const CalibrationDevice device{nullptr, nullptr, 6};
    const int result = Csvtables_TVPNX_Csv2Cal(&device, &record, path);
    if (result != 0 && (result != 1 || memcmp(&before, &record, sizeof record) != 0))
        abort();
    for (int where = 0; where < 4; ++where) {
        const tvfreq frequency{where * 1'500'000'000LL, 0};
        tvpow power;
        calibration_tvpn_getDutPower(&record, &frequency, where & 1, where, 3000, &power, nullptr);
        const float offsets[] = {1.0f, 1e3f, 1e6f};
        float values[] = {0.0f, 0.0f, 0.0f};
        calibration_tvpn_calibrateGain(&record, tvfreq2double(&frequency, nullptr), where & 1, where,
                                       static_cast<uint32_t>(where), 3, offsets, values);
    }
    return 0;
}
