#include "scpi/tree/command_tree.h"

#include "scpi/tree/calculate.h"
#include "scpi/tree/common.h"
#include "scpi/tree/configure.h"
#include "scpi/tree/diagnostic.h"
#include "scpi/tree/measure.h"
#include "scpi/tree/memory.h"
#include "scpi/tree/old_forms.h"
#include "scpi/tree/run.h"
#include "scpi/tree/sense.h"
#include "scpi/tree/sense_pn.h"
#include "scpi/tree/sense_vco.h"
#include "scpi/tree/source.h"
#include "scpi/tree/status.h"
#include "scpi/tree/system.h"

#include <algorithm>

namespace scpi {
namespace {

/// In the order in which headers are tried.
constexpr CommandBranch branches[] = {
    {"Common commands", commonRows},
    {"CALCulate: results", calculateRows},
    {"CONFigure: older spelling of the settings, raw sampling", configureRows},
    {"MEASure: raw sampling", measureRows},
    {"DIAGnostic: service access", diagnosticRows},
    {"MEMory: files and captured data", memoryRows},
    {"OUTPut", outputRows},
    {"SENSe: what to measure", senseRows},
    {"SENSe:PN: phase noise", sensePnRows},
    {"SENSe:VCO: sweep of an oscillator", senseVcoRows},
    {"[SOURce]: references, levels, outputs", sourceRows},
    {"STATus: status registers", statusRows},
    {"SYSTem", systemRows},
    {"UNIT", unitRows},
    {"ABORt, INIT, TRIGger: running a measurement", runRows},
};

constexpr size_t rowCount = [] {
    size_t count = 0;
    for (const CommandBranch& branch : branches)
        count += branch.rows.size();
    return count;
}();

constexpr std::array<Row, rowCount> allRows = [] {
    std::array<Row, rowCount> rows{};
    auto at = rows.begin();
    for (const CommandBranch& branch : branches)
        at = std::ranges::copy(branch.rows, at).out;
    return rows;
}();

constexpr size_t nodeCapacity = 384;
constexpr CommandTreeStorage<nodeCapacity> storage{allRows};
static_assert(storage.error() == nullptr);

} // namespace

CommandTree commandTree() {
    return storage.view(oldRows);
}
std::span<const CommandBranch> commandBranches() {
    return branches;
}
std::span<const OldRow> commandOldRows() {
    return oldRows;
}

} // namespace scpi
