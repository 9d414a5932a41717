/// The command path without a network: one link in memory, served on the calling thread.

#include "device_table/device_fptrs.h"
#include "links/memory_transport.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"

#include <benchmark/benchmark.h>
#include <string>

namespace {

constexpr SlotRegistrar fill{"benchmark"};

constexpr int bufferSize = 1024;

scpi_link link;
scpi_parser_context context;

void setUp() {
    static const bool done = [] {
        fill(Device_getName, [](Device*) { return "TVPNX"; });
        fill(Automeasure_configPN_setIterations, [](Device*, int32_t) { return 0; });
        fill(Automeasure_config_getMinIterations, [](Device*) { return 1; });
        fill(Automeasure_config_getMaxIterations, [](Device*) { return 10000; });
        context.tree = scpi::commandTree();
        scpi_parser_init(&context);
        scpi_link_initAll(&link_list);
        scpi_link_init(&link_list, &link, bufferSize, bufferSize, "benchmark");
        return true;
    }();
    benchmark::DoNotOptimize(done);
}

std::string joined(const char* unit, int count) {
    std::string line;
    for (int i = 0; i < count; ++i)
        line += std::string(i != 0 ? ";" : "") + unit;
    return line + "\n";
}

/// One line through the link, its answer thrown away.
void serve(const std::string& line) {
    MemoryMedium client{.unsent = line};
    memory_converse({.link = &link, .transport = &memoryTransport, .medium = &client, .alone = true});
}

void lineOf(benchmark::State& state, const char* unit, int count) {
    setUp();
    const std::string line = joined(unit, count);
    for (auto _ : state)
        serve(line);
    state.SetItemsProcessed(state.iterations() * count);
}

} // namespace

BENCHMARK_CAPTURE(lineOf, idn, "*IDN?", 20);
BENCHMARK_CAPTURE(lineOf, opc, "*OPC?", 20);
BENCHMARK_CAPTURE(lineOf, deepSet, ":SENS:PN:AVER 5", 20);
BENCHMARK_CAPTURE(lineOf, undefined, ":CALC:PN:TRAC:NONSense", 20);
BENCHMARK_CAPTURE(lineOf, carrier, "FREQ 1.5GHZ", 20);

BENCHMARK_MAIN();
