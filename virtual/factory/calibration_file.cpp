#include "virtual/factory/calibration_file.h"

#include "virtual/boards/unit_truth.h"
#include "virtual/physics/signal_chain.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <span>
#include <vector>

namespace vi {
namespace {

constexpr std::string_view heading = "factory data of unit;";
constexpr double preamplifierGain_dB = 15;

[[gnu::format(printf, 2, 3)]] void append(std::string* text, const char* format, ...) {
    char piece[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    *text += piece;
}

void appendCells(std::string* text, std::span<const double> values) {
    for (const double value : values)
        append(text, ";%.9g", value);
    *text += '\n';
}

void appendScalars(std::string* text, const UnitBoards& boards) {
    constexpr double million = 1e6;
    constexpr Reference used[] = {Reference::ocxo10MHzTimes100, Reference::crystal100MHz, Reference::resonator1GHz};
    append(text, "33001;0;0;0;0;0;0;0;%.6f", unitTruth_timeBase(boards) * million);
    for (const Channel channel : {channelA, channelB})
        append(text, ";%.3f", chain_sensitivity_HzPerV(Reference::crystal100MHz, channel));
    *text += "\n33008";
    for (const Reference reference : used)
        for (const Channel channel : {channelA, channelB})
            append(text, ";%.3f", chain_sensitivity_HzPerV(reference, channel));
    *text += '\n';
}

/// The detector that is read at a carrier while a table is in use, and whether it lies behind the preamplifier.
struct Read {
    Detector detector;
    bool amplified;
};

/// From here on 2B and 2C read the high detector, whatever the way. The cells are read in single precision: the last
/// place below is a kilohertz away.
constexpr double highDetectorFrom_Hz = 9.90002e9, lastBelow_Hz = 9.900019e9;

Read detectorOf(const UnitBoards& boards, size_t table, double carrier_Hz) {
    if (!boards.hasHighInput)
        return {Detector::dut, false};
    if (table == 0)
        return {Detector::low, true};
    if (boards.analog == AnalogRevision::r2D || carrier_Hz >= highDetectorFrom_Hz)
        return {Detector::high, false};
    return {Detector::middle, table != 3};
}

void appendDetectors(std::string* text, const UnitBoards& boards) {
    constexpr const char* ways[] = {"direct", "amplifier below", "amplifier above", "divider"};
    constexpr struct {
        const char* label;
        double level_dBm;
        bool preamplifier;
    } rows[] = {
        {"zero", 0, false}, {"ten", 10, false}, {"zero, preamplifier", 0, true}, {"ten, preamplifier", 10, true}};
    const DetectorTruth any = unitTruth_detector(boards, Detector::dut); // all have the same points
    std::vector<double> carriers_Hz(any.frequency_Hz.begin(), any.frequency_Hz.end());
    carriers_Hz.insert(std::lower_bound(carriers_Hz.begin(), carriers_Hz.end(), lastBelow_Hz),
                       {lastBelow_Hz, highDetectorFrom_Hz});
    append(text, "33100;%zu\n", std::size(ways));
    for (size_t table = 0; table < std::size(ways); ++table)
        append(text, "%s;%zu;0;10;dBm;counts\n", ways[table], carriers_Hz.size());
    for (size_t table = 0; table < std::size(ways); ++table) {
        append(text, "331%zu0", table + 1);
        appendCells(text, carriers_Hz);
        for (const auto& row : rows) {
            std::vector<double> counts;
            for (const double carrier_Hz : carriers_Hz) {
                const Read read = detectorOf(boards, table, carrier_Hz);
                const double gain_dB = row.preamplifier && read.amplified ? preamplifierGain_dB : 0;
                counts.push_back(
                    detector_count(unitTruth_detector(boards, read.detector), carrier_Hz, row.level_dBm + gain_dB));
            }
            *text += row.label;
            appendCells(text, counts);
        }
    }
}

/// The spectra are those of both channels: their gain is the mean. Behind the other paths' filters it is another.
void appendGains(std::string* text, const UnitBoards& boards) {
    constexpr double paths_dB[] = {0.5, -0.5, 0};
    const size_t stages = if_stages(boards);
    for (size_t group = 0; group < ifGroups; ++group) {
        const IfTruth a = unitTruth_if(boards, channelA, group), b = unitTruth_if(boards, channelB, group);
        append(text, "3320%zu;%zu;%zu;1", group + 1, stages, std::size(paths_dB));
        appendCells(text, a.offset_Hz);
        for (size_t stage = 0; stage < stages; ++stage)
            for (const double path_dB : paths_dB) {
                std::array<double, IfTruth::points> gains{};
                for (size_t i = 0; i < gains.size(); ++i)
                    gains[i] = (a.excess_dB[stage][i] + b.excess_dB[stage][i]) / 2 + path_dB;
                append(text, "gain;%zu;0;0", stage);
                appendCells(text, gains);
            }
    }
}

void appendSupply(std::string* text, const UnitBoards& boards) {
    constexpr double ampere = 1, lowTag_V = 1, dacMax = 16383, currentDac_A = 0.5, reserve_V = 5;
    const bool high = boards.supply == SupplyBoards::high12V;
    const double first_V = high ? 0.5 : 0.25, last_V = high ? 15 : 5, highTag_V = high ? 12 : 5;
    for (size_t output = 0; output < supplyOutputs; ++output) {
        const SupplyTruth truth = unitTruth_supply(boards, output);
        const auto dac = [&](double volts) { return truth.dacAtZero + truth.dacPerVolt * volts; };
        const double records[][5] = {
            {0, first_V, dac(first_V), last_V, dac(last_V)},
            {0, 0, 0, currentDac_A, dacMax},
            {1, 0, 0, currentDac_A, dacMax},
            {0, 0, 0, reserve_V, dacMax},
            {lowTag_V, 0, supply_adcCount(truth, lowTag_V, 0), ampere, supply_adcCount(truth, lowTag_V, ampere)},
            {highTag_V, 0, supply_adcCount(truth, highTag_V, 0), ampere, supply_adcCount(truth, highTag_V, ampere)},
        };
        constexpr const char* labels[] = {"volts", "amperes", "reserve", "reserve", "current-low", "current-high"};
        for (size_t i = 0; i < std::size(records); ++i) {
            append(text, "%s;%zu", output == 0 && i == 0 ? "33004" : labels[i], output + 1);
            appendCells(text, records[i]);
        }
    }
}

} // namespace

std::string factory_calibrationFile(std::string_view serialNumber) {
    const UnitBoards boards = unitBoards_of(serialNumber);
    std::string text = std::string(heading) + std::string(serialNumber) + '\n';
    appendScalars(&text, boards);
    appendDetectors(&text, boards);
    appendGains(&text, boards);
    appendSupply(&text, boards);
    return text;
}

bool factory_isOfAnother(std::string_view text, std::string_view serialNumber) {
    const std::string_view first = text.substr(0, text.find('\n'));
    return first.starts_with(heading) && first.substr(heading.size()) != serialNumber;
}

} // namespace vi
