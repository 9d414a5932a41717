#include "measure/run/pn_report.h"

#include "measure/preparation/adc_scale.h"
#include "measure/preparation/both_boards.h"
#include "measure/run/measure.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace {

/// Tuning sensitivities of both channels, Hz/V, as read last while no run was on.
struct Sensitivities {
    double a;
    double b;
};

Sensitivities readSensitivities(Device* device) {
    static Sensitivities last{};
    if (measure_runInProgress() == 0) {
        selectBoardA(device);
        last.a = Device_getFmSensitivity(device);
        selectBoardB(device);
        last.b = Device_getFmSensitivity(device);
        selectBoardA(device);
    }
    return last;
}

/// A report, line by line, in a caller's buffer.
class Report {
public:
    explicit Report(char* text) : text_(text) { text_[0] = '\0'; }
    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...) {
        const size_t room = reportTextSize - length_;
        va_list arguments;
        va_start(arguments, format);
        const int written = vsnprintf(text_ + length_, room, format, arguments);
        va_end(arguments);
        length_ += std::min(static_cast<size_t>(std::max(written, 0)), room - 1);
    }

private:
    char* text_;
    size_t length_ = 0;
};

double milliseconds(const Shared<double>& seconds) {
    return seconds * 1000;
}

int wholeMilliseconds(const Shared<double>& seconds) {
    return static_cast<int>(std::fmin(milliseconds(seconds), INT_MAX)); // a run may last for weeks
}

constexpr double shownCircle = 6.28; // of the bandwidths in reports

} // namespace

int pn_measure_getMeasStatus(Device* device) {
    if (measureFullPnWithEverything == 0)
        return Device_getPreparePnMeasStatus(device);
    return meas_data.locked != 0 ? 0 : -1;
}

int pn_measure_getLastTimeMs(Device*) {
    return wholeMilliseconds(meas_data.lastTimeSec);
}

int pn_measure_getLockTimeMs(Device*) {
    return wholeMilliseconds(meas_data.lockTimeSec);
}

int pn_measure_printPnTimes(Device*, char* text) {
    snprintf(text, reportTextSize, "%.1f,%.1f,%.1f,%.1f,%.1f", milliseconds(meas_data.tFsearch),
             milliseconds(meas_data.tKphi), milliseconds(meas_data.tLock), milliseconds(meas_data.tGain),
             milliseconds(meas_data.tMeas));
    return 0;
}

int pn_measure_printPnMeasInfo(Device* device, char* text) {
    const MeasConfig* config = configPNPtr;
    const Sensitivities sensitivity = readSensitivities(device);
    Report report(text);
    report.line(" fC:%.0f\n", config->frequency.get());
    report.line(" fO:%.0f-%.0f\n", config->offsetMin.get(), config->offsetMax.get());
    report.line(" g:%.0f\n", config->ifGain.get());
    report.line(" k:%.3f/%.3f\n", std::trunc(config->kphiA) * adcVoltsPerCount,
                std::trunc(config->kphiB) * adcVoltsPerCount);
    report.line(" l:%d/%d\n", 0, static_cast<int>(meas_data.locked.get()));
    report.line("  A:s=%.1f,r=%.1f/%.1f,BW=%.1f,z=%.1f\n", sensitivity.a, meas_data.loopR1A.get(),
                meas_data.loopR2A.get(), meas_data.loopWnA / shownCircle, meas_data.loopZetaA.get());
    report.line("  B:s=%.1f,r=%.1f/%.1f,BW=%.1f,z=%.1f\n", sensitivity.b, meas_data.loopR1B.get(),
                meas_data.loopR2B.get(), meas_data.loopWnB / shownCircle, meas_data.loopZetaB.get());
    report.line(" t(f,k,l,g,m):%.1f/%.1f/%.1f/%.1f/%.1f\n", milliseconds(meas_data.tFsearch),
                milliseconds(meas_data.tKphi), milliseconds(meas_data.tLock), milliseconds(meas_data.tGain),
                milliseconds(meas_data.tMeas));
    return 0;
}
