// Runs the model L's measurement path on its bench: searches, locks, measures, tells the levels.

#include "device_table/device_fptrs.h"
#include "measure/model_l/pn_measure_tvpnl.h"
#include "measure/model_l/tvpnl_stages.h"
#include "virtual/model_l/model_l_bench.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <string>

namespace {

constexpr int exitFile = 1, exitUsage = 2, exitFailed = 4;

constexpr const char* usage = "usage: model-l --dut FILE [options]\n"
                              "  --dut FILE       the device under test, as for ./run\n"
                              "  --csv FILE       writes the trace as a table\n"
                              "  --from HZ        lowest offset, 0.1 to 1e6; default 1\n"
                              "  --to HZ          highest offset, above the lowest, up to 2e6; default 1e6\n"
                              "  --points N       points of a decade, 1 to 1000; default 10\n"
                              "  --iterations N   segments that are averaged in each stage, 1 to 1000000; default 100\n"
                              "  --loop HZ        bandwidth of the loops, 0.001 to 1000; default: automatic\n"
                              "  --gain DB        of the IF while the trace is taken, 0 to 60; default 20\n"
                              "  --spot HZ        measures the level there as well, 1 to 1e6\n"
                              "  --seed N         of all noise, 0 to 4294967295; default 1\n"
                              "  --help           this text\n";

struct Options {
    std::string dut, csv;
    double from = 1, to = 1e6, points = 10, iterations = 100, loop = 0, gain = 20, spot = 0, seed = 1;
};

/// An option that takes a number.
struct NumberOption {
    const char* name;
    double Options::*place;
    double lowest, highest;
    bool whole;
};
constexpr NumberOption numberOptions[] = {
    {"from", &Options::from, 0.1, 1e6, false},   {"to", &Options::to, 0.1, 2e6, false},
    {"points", &Options::points, 1, 1000, true}, {"iterations", &Options::iterations, 1, 1e6, true},
    {"loop", &Options::loop, 1e-3, 1000, false}, {"gain", &Options::gain, 0, 60, true},
    {"spot", &Options::spot, 1, 1e6, false},     {"seed", &Options::seed, 0, 4294967295.0, true},
};

[[noreturn]] void refuse(const std::string& reason) {
    fprintf(stderr, "model-l: %s; model-l --help tells the options\n", reason.c_str());
    exit(exitUsage);
}

void readNumber(const NumberOption& option, const char* text, Options* options) {
    char* end = nullptr;
    const double value = strtod(text, &end);
    if (end == text || *end != 0 || !(value >= option.lowest && value <= option.highest) ||
        (option.whole && value != std::trunc(value)))
        refuse(std::string("--") + option.name + " takes no " + text);
    options->*option.place = value;
}

Options optionsOf(int argc, char** argv) {
    constexpr int firstNumber = 256;
    std::vector<option> known{{"dut", required_argument, nullptr, 'd'},
                              {"csv", required_argument, nullptr, 'c'},
                              {"help", no_argument, nullptr, 'h'}};
    for (size_t i = 0; i < std::size(numberOptions); ++i)
        known.push_back({numberOptions[i].name, required_argument, nullptr, firstNumber + int(i)});
    known.push_back({});
    Options options;
    opterr = 0;
    for (int found; (found = getopt_long(argc, argv, "", known.data(), nullptr)) != -1;) {
        if (found == 'h') {
            fputs(usage, stdout);
            exit(0);
        }
        if (found == 'd')
            options.dut = optarg;
        else if (found == 'c')
            options.csv = optarg;
        else if (found >= firstNumber)
            readNumber(numberOptions[found - firstNumber], optarg, &options);
        else
            refuse(std::string("wrong option ") + argv[optind - 1]);
    }
    if (optind != argc || options.dut.empty())
        refuse(optind != argc ? std::string("no place for ") + argv[optind] : "no --dut FILE");
    if (options.to <= options.from)
        refuse("--to lies not above --from");
    return options;
}

/// Search to gain. Returns whether the loops hold.
bool bringUp(Device* device, const Options& options) {
    std::array<TvpnlKphi, 2> kphi;
    MeasTvpnlData& data = meas_tvpnl_data;
    double& frequency = meas_tvpnl_config.frequency;
    if (pn_measure_tvpnl_measureDutFrequency(device, &frequency, &kphi) != 0) {
        fputs("model-l: no carrier was found that both detectors see\n", stderr);
        return false;
    }
    data.kphiA = kphi[0].slope;
    data.kphiB = kphi[1].slope;
    tvfreq carrier;
    double2tvfreq(&frequency, &carrier);
    int error = Device_setFrequency(device, &carrier);
    pn_measure_tvpnl_lock(device);
    if (!data.quadLocked)
        fputs("model-l: the loops do not hold the carrier\n", stderr);
    const int gain = int(options.gain);
    error = error != 0 ? error : Device_setLnaGain(device, gain);
    data.gainDb = pn_measure_tvpnl_gainDb(gain);
    return error == 0 && data.quadLocked;
}

/// Offset that a point's level belongs to: that of the bin it was read from.
double readAt(double offset_Hz, double rate_Hz) {
    double found = NAN;
    for (size_t s = 0; s < tvpnlStages.size(); ++s)
        if (offset_Hz >= tvpnlStages[s].lowest && offset_Hz <= tvpnlStages[s].highest) {
            const int32_t size = pn_measure_tvpnl_getFFTSize();
            const double width = tvpnl_stageRate(rate_Hz, int32_t(s)) / size;
            found = tvpnl_binOf(offset_Hz, width, size / 2 + 1) * width;
        }
    return found;
}

/// A table as clients/results.py writes them: head lines, then a row a point; an empty field where there is no level.
bool writeTable(const std::string& path, const vi::ModelLBench& bench) {
    FILE* const file = fopen(path.c_str(), "w");
    if (file == nullptr)
        return false;
    const MeasTvpnlConfig& config = meas_tvpnl_config;
    const MeasTvpnlData& data = meas_tvpnl_data;
    fprintf(file, "# instrument: model L on the bench\n# carrier_hz: %.3f\n# power_dbm: %g\n# iterations: %d\n",
            config.frequency, bench.dut.power_dBm, config.iterations);
    fprintf(file, "# gain_db: %d\n# detectors_v_rad: %.6g %.6g\n# loops_hz: %.6g %.6g\n", bench.ifGain_dB, data.kphiA,
            data.kphiB, data.quad[0].wn / (2 * M_PI), data.quad[1].wn / (2 * M_PI));
    fputs("offset_hz,read_at_hz,noise_dbc_hz,dut_dbc_hz\n", file);
    for (int32_t i = 0; i < data.tracePoints; ++i) {
        const double offset = double(data.traceFreq[i]), at = readAt(offset, bench.rate_Hz);
        fprintf(file, "%.9g,%.9g,", offset, at);
        if (!std::isnan(data.trace[i]))
            fprintf(file, "%.3f", double(data.trace[i]));
        fprintf(file, ",%.3f\n", noiseCurve_level_dBcHz(bench.dut.noise, offset));
    }
    const bool written = fflush(file) == 0 && ferror(file) == 0;
    return fclose(file) == 0 && written;
}

void printTrace(const vi::ModelLBench& bench) {
    const MeasTvpnlData& data = meas_tvpnl_data;
    printf("\n   offset, Hz   read at, Hz     dBc/Hz   DUT, dBc/Hz\n");
    for (int32_t i = 0; i < data.tracePoints; ++i) {
        const double offset = double(data.traceFreq[i]);
        printf("%13.6g %13.6g %10.2f %13.2f\n", offset, readAt(offset, bench.rate_Hz), double(data.trace[i]),
               noiseCurve_level_dBcHz(bench.dut.noise, offset));
    }
}

/// The spot offset lies in the stage whose tables turn as fast; see pn_measure_tvpnl_SDmeasureSpotPhaseNoise.
int measureSpot(Device* device, double offset_Hz) {
    int32_t stage = 0;
    while (tvpnlStages[size_t(stage)].lowest > offset_Hz)
        ++stage;
    meas_tvpnl_config.spotFrequency = offset_Hz * std::pow(8, stage);
    const double lowest = meas_tvpnl_config.offsetMin;
    meas_tvpnl_config.offsetMin = std::min(tvpnlStages[size_t(stage)].lowest, lowest);
    const int error = pn_measure_tvpnl_SDmeasureSpotPhaseNoise(device);
    meas_tvpnl_config.offsetMin = lowest;
    if (stage < meas_tvpnl_data.spotStages)
        printf("\nspot level at %g Hz: %.2f dBc/Hz\n", offset_Hz, double(meas_tvpnl_data.spotLevel[stage]));
    return error;
}

int run(const Options& options, const vi::Dut& dut) {
    vi::ModelLBench bench = vi::modelL_bench(dut, uint64_t(options.seed));
    Device* const device = vi::modelL_device(&bench);
    vi::modelL_registerSlots();
    meas_tvpnl_config = {.iterations = int32_t(options.iterations),
                         .pointsPerDecade = int32_t(options.points),
                         .offsetMin = options.from,
                         .offsetMax = options.to,
                         .loopBandwidth = options.loop,
                         .autoLoopBW = options.loop == 0};
    if (pn_measure_tvpnl_init(device, nullptr) != 0 || !bringUp(device, options))
        return exitFailed;
    int error = pn_measure_tvpnl_measurePhaseNoise(device);
    printTrace(bench);
    if (bench.clipped > 0)
        fprintf(stderr, "model-l: %llu samples were clipped; a lower --gain helps\n",
                (unsigned long long)bench.clipped);
    if (!options.csv.empty() && !writeTable(options.csv, bench)) {
        fprintf(stderr, "model-l: cannot write %s\n", options.csv.c_str());
        return exitFile;
    }
    if (options.spot > 0 && measureSpot(device, options.spot) != 0)
        error = -1;
    return error == 0 ? 0 : exitFailed;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = optionsOf(argc, argv);
    vi::DutFile file;
    std::string reason;
    if (!vi::dutFile_open(&file, options.dut, &reason)) {
        fprintf(stderr, "model-l: %s\n", reason.c_str());
        return exitUsage;
    }
    const int status = run(options, file.dut);
    slot_carryOn(pn_measure_tvpnl_init(nullptr, nullptr)); // gives the memory back
    return status;
}
