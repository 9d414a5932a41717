/// Queries and blocks over the virtual unit's USB and GPIB, and queries over TCP while another link pulls blocks.
///
///   buses_benchmark PORT [SECONDS]     of the instrument's TCP; its USB, adapter and VXI-11 are at their usual ports.
///   Each query is measured for SECONDS (default 2)
///
/// Prints the lines of tcp_benchmark, the megabytes per second of blocks, and the p99 of the disturbed queries beside
/// that of the undisturbed.

#include "bus_peers.h"
#include "rpc_peer.h"
#include "turns.h"

#include <atomic>
#include <sys/mman.h>

namespace {

constexpr size_t pairs = 1 << 20, blockBytes = 4 * pairs + 8, readMax = 1 << 20;
constexpr int rounds = 10; // of both kinds
constexpr auto round_s = std::chrono::milliseconds(250);

template <class Fetch> void printBlocks(const char* name, Fetch fetch) {
    std::vector<double> seconds;
    for (int i = 0; i < 5; ++i) {
        const auto start = Clock::now();
        fetch();
        seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    }
    const double median = quantile(seconds, 0.5);
    printf("%-34s %12.1f MB/s  p50 %6.1f ms\n", name, blockBytes / median / 1e6, median * 1e3);
    fflush(stdout);
}

/// Pulls blocks over VXI-11 whenever it is told to.
[[noreturn]] void pull(std::atomic<int>* pulls) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    RpcPeer peer(RpcPeer::instrumentPort);
    const uint32_t lid = peer.open();
    for (;;) {
        if (*pulls == 0) {
            usleep(1000);
            continue;
        }
        peer.write(lid, "MEAS:NOIS?\n");
        for (bool end = false; !end;)
            peer.read(lid, readMax, &end);
    }
}

/// Microseconds of the slowest hundredth of queries, without and with somebody who pulls blocks.
template <class Query> void printDisturbed(std::atomic<int>* pulls, Query query) {
    std::vector<double> times[2];
    for (int turn = 0; turn < 2 * rounds; ++turn) {
        *pulls = turn % 2;
        usleep(100'000); // a block that is under way ends, or one begins
        const auto end = Clock::now() + round_s;
        for (auto last = Clock::now(); last < end;) {
            query();
            const auto now = Clock::now();
            times[turn % 2].push_back(std::chrono::duration<double, std::micro>(now - last).count());
            last = now;
        }
    }
    *pulls = 0;
    const double alone = quantile(times[0], 0.99), disturbed = quantile(times[1], 0.99);
    printf("p99 alone %.1f us, while blocks are pulled %.1f us, %.2f times; the slowest %.0f us\n", alone, disturbed,
           disturbed / alone, quantile(times[1], 1));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return 2;
    const int port = atoi(argv[1]);
    const double seconds = argc > 2 ? atof(argv[2]) : 2.0;
    auto* const pulls = static_cast<std::atomic<int>*>(
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (fork() == 0)
        pull(pulls);
    Peer tcp(port), echo(startEcho());
    const auto ask = [](Peer& peer, const char* line) {
        peer.send(line);
        return peer.readLine();
    };
    const size_t identityBytes = ask(tcp, "*IDN?\n");
    ask(tcp, "*RST;CONF:NOIS:SAMP 1048576;CHAN 2;DIV 1;:*OPC?\n");
    const auto echoTrip = [&] { ask(echo, "*IDN?\n"); };

    UsbPeer usb;
    bool end;
    measure(seconds, "USB *IDN?", 1, echoTrip, [&] { usb.query("*IDN?\n", 1024, &end); });
    printBlocks("USB block", [&] {
        usb.write("MEAS:NOIS?\n");
        do
            usb.read(readMax / 2, &end);
        while (!end);
    });
    GpibPeer gpib;
    std::vector<char> answer(blockBytes);
    const auto gpibQuery = [&](const char* line, size_t bytes) {
        gpib.send(std::string(line).append(GpibPeer::readLine));
        gpib.receive(answer.data(), bytes);
    };
    measure(seconds, "GPIB *IDN?", 1, echoTrip, [&] { gpibQuery("*IDN?\n", identityBytes); });
    printBlocks("GPIB block", [&] { gpibQuery("MEAS:NOIS?\n", blockBytes); });
    printDisturbed(pulls, [&] { ask(tcp, "*IDN?\n"); });
    return 0;
}
