/// libFuzzer target: one link in memory, the whole command tree, a measurement thread on captures of a few points. Any
/// bytes, in any pieces, must leave a link that answers. Runs in the sandbox: commands write files.
///
/// The first byte of an input chooses the size of the pieces in which the rest arrives.

#include "core/process.h"
#include "device/device.h"
#include "identity/device_config.h"
#include "measure/run/measure.h"
#include "scpi/execution_cycle.h"
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
            Device_abort(device);
        return 0;
    });
}

/// Serves the link as a transport would until no more answer is announced. Returns the bytes of the answers.
size_t serve(char* last, size_t room) {
    size_t total = 0;
    int more = 1;
    for (int passes = 0; more != 0; ++passes) {
        if (passes > 100000) {
            fprintf(stderr, "the link announces answers for ever\n");
            abort();
        }
        scpi_link_doHandle(&memoryLink);
        openSynchronousDeviceAccess();
        scpi_execute_link(&memoryLink);
        closeSynchronousDeviceAccess();
        scpi_link_waitHandled(&memoryLink);
        char* bytes = nullptr;
        const int count = tvcommPeekAns(&memoryLink, &bytes, nullptr);
        const size_t kept = std::min(room, static_cast<size_t>(count));
        memcpy(last, bytes + count - kept, kept);
        total += static_cast<size_t>(count);
        tvcommClearAns(&memoryLink, count, &more);
    }
    return total;
}

void feed(const char* data, size_t size) {
    std::array<char, 16> sink;
    while (size > 0) {
        const int taken = tvcommWriteCmd(&memoryLink, data, static_cast<int>(std::min<size_t>(size, bufferSize)));
        if (taken == 0) {
            fprintf(stderr, "the command buffer stays full\n");
            abort();
        }
        data += taken;
        size -= static_cast<size_t>(taken);
        serve(sink.data(), sink.size());
    }
}

void clear() {
    memoryLink.clearRequest = 1;
    scpi_link_doHandle(&memoryLink);
    scpi_execute_link(&memoryLink);
    std::array<char, 16> sink;
    serve(sink.data(), sink.size());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    signal(SIGTERM, SIG_IGN); // "EXIT" is a command
    Device* const device = Device_create();
    debug_device = device;
    device_config_init();
    Device_init(device);
    fillSlots(); // in place of the boards
    if (measure_init(device) != 0)
        abort();
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
    const char* data = reinterpret_cast<const char*>(bytes + 1);
    for (size_t left = size - 1; left > 0;) {
        const size_t count = std::min(piece, left);
        feed(data, count);
        data += count;
        left -= count;
    }
    clear();
    feed("*RST\n", 5);
    std::array<char, 2> answer{};
    constexpr char question[] = "\n:*OPC?\n";
    tvcommWriteCmd(&memoryLink, question, sizeof question - 1);
    serve(answer.data(), answer.size());
    if (memcmp(answer.data(), "1\n", 2) != 0) {
        fprintf(stderr, "the link no longer answers\n");
        abort();
    }
    return 0;
}
