/// After start-up neither commands nor a measurement take memory from the heap: every allocation of the process is
/// counted while a session of commands and whole runs goes over a link in memory.

#include "core/process.h"
#include "device/device.h"
#include "identity/device_config.h"
#include "links/memory_transport.h"
#include "measure/run/measure.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"
#include "tests/firmware/fake_captures.h"

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* old, size_t size);

namespace {
std::atomic<long> allocations;
std::atomic<bool> counting;
void count() {
    if (counting)
        ++allocations;
}
} // namespace

extern "C" void* malloc(size_t size) {
    count();
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t number, size_t size) {
    count();
    return __libc_calloc(number, size);
}
extern "C" void* realloc(void* old, size_t size) {
    count();
    return __libc_realloc(old, size);
}

namespace {

scpi_link memoryLink;
scpi_parser_context context;

void boot() {
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    const int started = Device_init(device, [](Device* measuring) {
        fillCaptureSlots(); // in place of the boards
        EXPECT_EQ(measure_init(measuring), 0);
        return 0;
    });
    EXPECT_NE(started, 0) << "a self test without hardware";
    context.device = device;
    context.tree = scpi::commandTree();
    scpi_parser_init(&context);
    scpi_link_initAll(&link_list);
    scpi_link_init(&link_list, &memoryLink, 1024, 1024, "memory");
}

/// Runs a line and returns the number of bytes of its answers.
size_t run(const char* line) {
    size_t bytes = 0;
    MemoryMedium client{.unsent = line};
    client.take = [](void* sum, std::string_view answer) { *static_cast<size_t*>(sum) += answer.size(); };
    client.context = &bytes;
    memory_converse({.link = &memoryLink, .transport = &memoryTransport, .medium = &client, .alone = true});
    return bytes;
}

} // namespace

TEST(Allocation, NoneAfterStartOnTheCommandAndMeasurementPaths) {
    boot();
    counting = true;
    free(malloc(1));
    counting = false;
    EXPECT_EQ(allocations.exchange(0), 1) << "the counter does not count";

    const char* lines[] = {
        "*IDN?;*OPT?;*OPC?;*ESE 5;*ESE?;*CLS\n",
        ":SENS:PN:FREQ:STAR 10;STOP 5e7;SPOT 1.5e3;:SENS:PN:AVER 3;CORR 4;PPD 120;SMO:APER 2.5;STAT ON\n",
        ":SENS:PN:FREQ:STAR?;STOP? MAX;:SENS:PN:SPUR:THR?;:SENS:MODE?\n",
        ":SENS:PN:TEST O1000,O2.5e5,F,P,J;:SENS:PN:TEST?\n",
        "FREQ 1.234567890123 GHZ;FREQ?;POW?;UNIT:POW W;UNIT:POW?;UNIT:POW DBM\n",
        "NONSENSE;:SENS:PN:AVER x;:SENS:PN:AVER 1,2\n",
        "SYST:ERR?;:SYST:ERR:ALL?;:STAT:OPER?;:SYST:VERS?\n",
        "INIT\n",
        "CALC:PN:PREL:AVER?;CORR?\n",
        "CALC:WAIT:AVER 1,1000\n",
        "CALC:WAIT:AVER ALL\n",
        "CALC:PN:TRAC:FREQ?\n",
        "CALC:PN:TRAC:NOIS?\n",
        "CALC:PN:TRAC:FUNC:INT?;JITT?;AVAR;:SYST:ERR?\n",
        "CALC:PN:TRAC:FUNC:AVAR:SIGM?\n",
        "CALC:PN:TRAC:SPUR:FREQ?\n",
        "DIAG:PN:MEAS:INFO?;FTIM?\n",
        "CALC:PN:TRAC:SPOT?;SPOT? 5000;:CALC:PN:TEST?;:CALC:FREQ?;:CALC:POW?\n",
        "INIT;:ABOR;:CALC:WAIT:AVER ALL;:*RST\n",
        "MEM:RAM:TEST:DATA?\n",
    };
    for (const char* line : lines) {
        counting = true;
        const size_t bytes = run(line);
        counting = false;
        const long taken = allocations.exchange(0);
        EXPECT_EQ(taken, 0) << line;
        if (std::string_view(line) == "CALC:PN:TRAC:NOIS?\n") {
            EXPECT_GT(bytes, 481 * sizeof(float)) << "the run left no trace";
        }
        EXPECT_EQ(bytes > 0, std::string_view(line).find('?') != std::string_view::npos) << line;
    }
}
