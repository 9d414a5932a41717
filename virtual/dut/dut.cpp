#include "virtual/dut/dut.h"

#include "virtual/dut/toml_values.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <string_view>
#include <sys/stat.h>
#include <toml++/toml.h>
#include <unistd.h>
#include <utility>

namespace vi {
namespace {

constexpr size_t fileSizeMax = 1 << 20; // bytes

constexpr Range carrierRange_Hz{1e-3, 1e12}, powerRange_dBm{-200, 40};
constexpr Range offsetRange_Hz{1e-6, 1e12}, noiseRange_dBcHz{-300, 100}, spurRange_dBc{-300, 0};
constexpr Range driftRange_HzPerS{-1e9, 1e9}, pulseRange_s{1e-9, 1e3};
constexpr Range stageRange{0, 7};
constexpr Range sensitivityRange_HzPerV{1e-3, 1e9}, tuneRange_V{0, 20};
constexpr double tuneMiddle_V = 7.2;
constexpr Range vcoTuneRange_V{-30, 30}, supplyRange_V{0.1, 20}, supplyRange_A{0, 10};
constexpr Range pushingRange_HzPerV{-1e9, 1e9}, jumpRange_Hz{-1e12, 1e12};
constexpr Range settleRange_s{0, 1e3}, shareRange{0, 1}, driftRange_s{0, 1e6};

/// A list of [offset, level] with ascending offsets.
std::vector<NoisePoint> readCurve(const toml::node& node, const std::string& name, const Range& levels) {
    std::vector<NoisePoint> points;
    for (const auto& [offset_Hz, level] : readPairs(node, name, {"offset", "level"}, offsetRange_Hz, levels))
        points.push_back({offset_Hz, level});
    return points;
}

/// Bit n for each stage n of a list.
uint32_t readStages(const toml::node& node, const std::string& name) {
    const toml::array* list = node.as_array();
    if (list == nullptr)
        refuseKind(node, name, "a list of stages");
    uint32_t bits = 0;
    for (const toml::node& entry : *list) {
        if (!entry.is_integer())
            refuseKind(entry, "a stage of " + name, "a whole number");
        bits |= 1U << static_cast<uint32_t>(readNumber(entry, "a stage of " + name, stageRange));
    }
    return bits;
}

std::vector<std::string> readNames(const toml::node& node, const std::string& name) {
    const toml::array* list = node.as_array();
    if (list == nullptr)
        refuseKind(node, name, "a list of names");
    if (list->size() > rowsMax)
        refuse(node.source(), name + " has more than " + std::to_string(rowsMax) + " names");
    std::vector<std::string> names;
    for (const toml::node& entry : *list) {
        const auto text = entry.value_exact<std::string>();
        if (!text)
            refuseKind(entry, "an entry of " + name, "a name");
        names.push_back(*text);
    }
    return names;
}

std::array<bool, 2> readChannels(const toml::node& node, const std::string& name) {
    std::array<bool, 2> found{};
    for (const std::string& channel : readNames(node, name)) {
        if (channel != "A" && channel != "B")
            refuse(node.source(), "an entry of " + name + " must be \"A\" or \"B\"");
        found[channel == "B"] = true;
    }
    return found;
}

Faults readFaults(const toml::table& table) {
    Faults faults;
    const std::pair<std::string_view, bool*> flags[] = {
        {"no_signal", &faults.noSignal},
        {"unlockable", &faults.unlockable},
        {"tune_rail", &faults.tuneRail},
        {"clip", &faults.clip},
        {"channel_b_dead", &faults.channelBDead},
        {"unlike_detectors", &faults.unlikeDetectors},
        {"counter_disagrees", &faults.counterDisagrees},
        {"samples_missing", &faults.samplesMissing},
        {"fpga_silent", &faults.fpgaSilent},
        {"supply_overload", &faults.supplyOverload},
    };
    const std::pair<std::string_view, std::vector<std::string>*> chips[] = {
        {"spi_fails", &faults.spiFails},
        {"stuck_adc", &faults.stuckAdc},
    };
    const std::pair<std::string_view, std::array<bool, 2>*> boards[] = {
        {"pll_unlocked", &faults.pllUnlocked},
        {"no_source_board", &faults.noSourceBoard},
    };
    const auto rowOf = [](const auto& rows, std::string_view key) {
        return std::find_if(std::begin(rows), std::end(rows), [key](const auto& row) { return row.first == key; });
    };
    constexpr std::string_view drift = "drift_hz_per_s", stages = "stage_timeout";
    for (const auto& [key, value] : table) {
        const std::string_view given = key.str();
        const std::string name = "faults." + std::string(given);
        const auto* flag = rowOf(flags, given);
        if (given == drift)
            faults.drift_HzPerS = readNumber(value, name, driftRange_HzPerS);
        else if (given == stages)
            faults.stageTimeout = readStages(value, name);
        else if (const auto* list = rowOf(chips, given); list != std::end(chips))
            *list->second = readNames(value, name);
        else if (const auto* channels = rowOf(boards, given); channels != std::end(boards))
            *channels->second = readChannels(value, name);
        else if (flag == std::end(flags))
            refuse(key.source(), "unknown key " + name);
        else if (!value.is_boolean())
            refuseKind(value, name, "true or false");
        else
            *flag->second = value.value<bool>().value_or(false);
    }
    return faults;
}

NoiseCurve readNoise(const toml::table& table, const std::string& prefix) {
    const toml::node& node = wanted(table, prefix, "noise");
    NoiseCurve noise{readCurve(node, prefix + "noise", noiseRange_dBcHz)};
    if (noise.points.empty())
        refuse(node.source(), prefix + "noise has no points");
    return noise;
}

Pulses readPulses(const toml::table& signal) {
    const toml::node* given = signal.get("pulse_width_s");
    if (given == nullptr && signal.get("pulse_period_s") == nullptr)
        return {};
    const toml::node& width = wanted(signal, "signal.", "pulse_width_s");
    const toml::node& period = wanted(signal, "signal.", "pulse_period_s");
    const Pulses pulses{readNumber(width, "signal.pulse_width_s", pulseRange_s),
                        readNumber(period, "signal.pulse_period_s", pulseRange_s)};
    if (pulses.width_s >= pulses.period_s)
        refuse(width.source(), "signal.pulse_width_s must be below signal.pulse_period_s");
    return pulses;
}

ExternalReference readReference(const toml::table& table, const std::string& prefix) {
    refuseUnknownKeys(table, prefix, {"frequency_hz", "sensitivity_hz_per_v", "tune_v", "power_dbm", "noise"});
    const auto number = [&](const char* key, const Range& range) {
        return readNumber(wanted(table, prefix, key), prefix + key, range);
    };
    return {number("frequency_hz", carrierRange_Hz), number("sensitivity_hz_per_v", sensitivityRange_HzPerV),
            table.contains("tune_v") ? number("tune_v", tuneRange_V) : tuneMiddle_V,
            number("power_dbm", powerRange_dBm), readNoise(table, prefix)};
}

/// A figure over the tune voltage, or a number for all of them.
TuneCurve readTuneCurve(const toml::node& node, const std::string& name, std::string_view figure, const Range& range) {
    if (node.is_number())
        return {{0, readNumber(node, name, range)}};
    TuneCurve curve;
    for (const auto& [tune_V, value] : readPairs(node, name, {"voltage", figure}, vcoTuneRange_V, range))
        curve.push_back({tune_V, value});
    if (curve.empty())
        refuse(node.source(), name + " has no points");
    return curve;
}

TuneCurve readTuning(const toml::node& node) {
    TuneCurve curve = readTuneCurve(node, "vco.tuning", "frequency", carrierRange_Hz);
    if (curve.size() < 2)
        refuse(node.source(), "vco.tuning must have two points at least");
    const bool rises = curve[1].value > curve[0].value;
    for (size_t i = 1; i < curve.size(); ++i)
        if (curve[i].value == curve[i - 1].value || (curve[i].value > curve[i - 1].value) != rises)
            refuse((*node.as_array())[i].source(), "vco.tuning must rise or fall throughout");
    return curve;
}

/// The two numbers of a key that may be left out.
std::array<double, 2> readTwo(const toml::table& table, const char* key, const Range& second,
                              std::array<double, 2> otherwise) {
    const toml::node* node = table.get(key);
    if (node == nullptr)
        return otherwise;
    const std::string name = std::string("vco.") + key;
    const toml::array* row = node->as_array();
    if (row == nullptr || row->size() != 2)
        refuse(node->source(), name + " must be a list of two numbers");
    return {readNumber((*row)[0], name, vcoTuneRange_V), readNumber((*row)[1], name, second)};
}

Oscillator readOscillator(const toml::table& vco, double power_dBm) {
    refuseUnknownKeys(
        vco, "vco.",
        {"tuning", "supply_v", "pushing", "supply_a", "settle_s", "drift_share", "drift_s", "level", "gap", "jump"});
    const auto number = [&vco](const char* key, const Range& range) {
        const toml::node* node = vco.get(key);
        return node != nullptr ? readNumber(*node, std::string("vco.") + key, range) : 0;
    };
    const auto curve = [&vco](const char* key, std::string_view figure, const Range& range, double otherwise) {
        const toml::node* node = vco.get(key);
        return node != nullptr ? readTuneCurve(*node, std::string("vco.") + key, figure, range)
                               : TuneCurve{{0, otherwise}};
    };
    const auto gap = readTwo(vco, "gap", vcoTuneRange_V, {0, 0});
    const auto jump = readTwo(vco, "jump", jumpRange_Hz, {INFINITY, 0});
    return {readTuning(wanted(vco, "vco.", "tuning")),
            number("pushing", pushingRange_HzPerV),
            readNumber(wanted(vco, "vco.", "supply_v"), "vco.supply_v", supplyRange_V),
            curve("supply_a", "current", supplyRange_A, 0),
            curve("level", "level", powerRange_dBm, power_dBm),
            number("settle_s", settleRange_s),
            number("drift_share", shareRange),
            number("drift_s", driftRange_s),
            gap[0],
            gap[1],
            jump[0],
            jump[1]};
}

Dut readDut(const toml::table& root) {
    refuseUnknownKeys(root, "", {"signal", "vco", "reference_a", "reference_b", "faults"});

    const toml::table& signal = tableOf(wanted(root, "", "signal"), "signal");
    refuseUnknownKeys(signal, "signal.",
                      {"frequency_hz", "power_dbm", "noise", "spurs", "pulse_width_s", "pulse_period_s"});
    Dut dut{};
    dut.power_dBm = readNumber(wanted(signal, "signal.", "power_dbm"), "signal.power_dbm", powerRange_dBm);
    if (const toml::node* vco = root.get("vco"))
        dut.oscillator = readOscillator(tableOf(*vco, "vco"), dut.power_dBm);
    if (!dut.oscillator || signal.contains("frequency_hz"))
        dut.frequency_Hz =
            readNumber(wanted(signal, "signal.", "frequency_hz"), "signal.frequency_hz", carrierRange_Hz);
    dut.noise = readNoise(signal, "signal.");
    if (const toml::node* spurs = signal.get("spurs"))
        for (const NoisePoint& line : readCurve(*spurs, "signal.spurs", spurRange_dBc))
            dut.spurs.push_back({line.offset_Hz, line.level_dBcHz});
    dut.pulses = readPulses(signal);

    const std::string references[] = {"reference_a", "reference_b"};
    for (size_t i = 0; i < dut.references.size(); ++i)
        if (const toml::node* reference = root.get(references[i]))
            dut.references[i] = readReference(tableOf(*reference, references[i]), references[i] + ".");
    if (const toml::node* faults = root.get("faults"))
        dut.faults = readFaults(tableOf(*faults, "faults"));
    return dut;
}

struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
};

std::array<int64_t, 5> stampOf(const struct stat& status) {
    return {int64_t(status.st_ino), int64_t(status.st_size), int64_t(status.st_mtim.tv_sec), status.st_mtim.tv_nsec,
            int64_t(status.st_mode)};
}

std::string readText(const std::string& path) {
    // Non-blocking, so that a pipe without a writer is refused and not waited for.
    const Descriptor descriptor{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (descriptor.number < 0 || fstat(descriptor.number, &status) != 0)
        throw Refusal{0, strerror(errno)};
    if (!S_ISREG(status.st_mode))
        throw Refusal{0, "not a plain file"};
    std::string text(fileSizeMax + 1, '\0');
    size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = read(descriptor.number, text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw Refusal{0, strerror(errno)};
        if (count == 0)
            break;
        length += size_t(count);
    }
    if (length > fileSizeMax)
        throw Refusal{0, "larger than 1 MiB"};
    text.resize(length);
    return text;
}

std::string firstLine(std::string_view text) {
    return std::string(text.substr(0, text.find('\n')));
}

bool load(const std::string& path, const std::string& name, Dut* dut, std::string* reason) {
    try {
        try {
            *dut = readDut(toml::parse(readText(path), path));
            return true;
        } catch (const toml::parse_error& error) {
            throw Refusal{error.source().begin.line, firstLine(error.description())};
        }
    } catch (const Refusal& refusal) {
        *reason = name + (refusal.line != 0 ? ":" + std::to_string(refusal.line) : "") + ": " + refusal.reason;
        return false;
    }
}

/// All 0 for a file that is not there.
std::array<int64_t, 5> presentStamp(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? stampOf(status) : std::array<int64_t, 5>{};
}

} // namespace

bool dutFile_open(DutFile* file, const std::string& path, std::string* reason, const std::string& name) {
    // The stamp is older than the text: a change in between is seen at the next refresh.
    const std::array<int64_t, 5> stamp = presentStamp(path);
    Dut dut;
    const std::string& called = name.empty() ? path : name;
    if (!load(path, called, &dut, reason))
        return false;
    *file = {path, std::move(dut), stamp, called};
    return true;
}

bool dutFile_refresh(DutFile* file) {
    const std::array<int64_t, 5> stamp = presentStamp(file->path);
    if (stamp == file->stamp)
        return false;
    file->stamp = stamp;
    Dut dut;
    std::string reason;
    if (!load(file->path, file->name, &dut, &reason)) {
        fprintf(stderr, "%s; the device under test stays as it was\n", reason.c_str());
        return false;
    }
    file->dut = std::move(dut);
    return true;
}

} // namespace vi
