/// libFuzzer target: one link in memory, the whole command tree, a measurement thread on captures of a few points. Any
/// bytes, in any pieces, must leave a link that answers. Runs in the sandbox: commands write files.
///
/// The first byte of an input chooses the size of the pieces in which the rest arrives.

#include "core/process.h"
#include "device/device.h"
#include "drivers/chip.h"
#include "identity/device_config.h"
#include "links/memory_transport.h"
#include "measure/run/measure.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"
#include "tests/firmware/fake_captures.h"
#include "tests/slots.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

/// In place of the shell: an input may not cost the seconds of a network restart.
int tvstuffSystem(const char* command) {
    return strlen(command) > 510 ? scpi::executionError : 0;
}
int tvstuffTTYMessage(const char*) {
    return 0;
}

namespace {

constexpr int bufferSize = 1024;
constexpr int capturesPerRun = 30; // a run of a million captures is legal, and would be called a hang

scpi_link memoryLink;
scpi_parser_context context;
std::atomic<int> captures;

void fillSlots() {
    fillCaptureSlots();
    fill(Device_capturePhaseNoiseFdSamples, [](Device* device) {
        if (++captures % capturesPerRun == 0)
            slot_carryOn(Device_abort(device)); // an answer nobody waits for
        return 0;
    });
}

std::array<char, 2> lastBytes; // of the answers
int pieces;                    // of the answers to one piece of an input

[[noreturn]] void fail(const char* why) {
    fprintf(stderr, "%s\n", why);
    abort();
}

void keepEnd(void*, std::string_view answer) {
    if (++pieces > 100000)
        fail("the link announces answers for ever");
    answer.substr(answer.size() - std::min(answer.size(), lastBytes.size())).copy(lastBytes.data(), lastBytes.size());
}

/// Sends bytes as a client does and takes all answers.
void feed(std::string_view bytes, size_t piece, bool clears = false) {
    MemoryMedium client{.unsent = bytes, .piece = piece, .clears = clears, .take = keepEnd};
    const LinkRow row{.link = &memoryLink, .transport = &memoryTransport, .medium = &client, .alone = true};
    while (client.clears || !client.unsent.empty()) {
        const size_t before = client.unsent.size();
        const bool cleared = client.clears;
        pieces = 0;
        (void)link_step(row);
        if (!cleared && client.unsent.size() == before)
            fail("the command buffer stays full");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    signal(SIGTERM, SIG_IGN); // "EXIT" is a command
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    chip_keepQuiet(); // nothing is on the bus
    slot_carryOn(Device_init(device, [](Device* started) {
        fillSlots(); // in place of the boards
        if (measure_init(started) != 0)
            abort();
        return 0;
    }));
    context.device = device;
    context.tree = scpi::commandTree();
    scpi_parser_init(&context);
    Device_registerMandatoryFunctions();
    scpi_link_initAll(&link_list);
    scpi_link_init(&link_list, &link_file, 128, 128, "File");
    scpi_link_init(&link_list, &memoryLink, bufferSize, bufferSize, "fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (size == 0)
        return 0;
    const size_t piece = bytes[0] == 0 ? size : bytes[0];
    feed({reinterpret_cast<const char*>(bytes + 1), size - 1}, piece);
    feed("*RST\n", bufferSize, true);
    lastBytes = {};
    feed("\n:*OPC?\n", bufferSize);
    if (lastBytes != std::array{'1', '\n'})
        fail("the link no longer answers");
    return 0;
}
