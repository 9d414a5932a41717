/// Several links of one instrument at work at once, each with a client of its own that asks without a pause, against
/// one of them alone. Turns of both alternate.
///
///   links_benchmark [SECONDS]
///
/// Prints the commands per second of one link, those of four together, and the median of their ratio.

#include "links/link_thread.h"
#include "links/tvsocket.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"
#include "tcp_peer.h"

#include <atomic>
#include <chrono>
#include <sys/mman.h>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int links = 4, firstPort = 4100;
constexpr auto turn = 50ms;

/// What the clients, processes of their own, share with this one.
struct Board {
    std::atomic<int> active;                // clients 0 to active - 1 ask
    std::atomic<int> listening;             // the ports are open
    std::atomic<uint64_t> trips[links * 8]; // every eighth
};

[[noreturn]] void beClient(Board* board, int number) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (board->listening == 0)
        usleep(1000);
    Peer peer(firstPort + number);
    for (;;) {
        if (board->active <= number) {
            usleep(1000);
            continue;
        }
        peer.send("*OPC?\n");
        peer.readLine();
        board->trips[number * 8].fetch_add(1, std::memory_order_relaxed);
    }
}

/// Commands per second while `count` clients ask.
double rateOf(Board* board, int count) {
    const auto all = [&] {
        uint64_t sum = 0;
        for (int i = 0; i < links; ++i)
            sum += board->trips[i * 8];
        return sum;
    };
    board->active = count;
    std::this_thread::sleep_for(5ms); // until all have noticed
    const uint64_t before = all();
    const auto start = Clock::now();
    std::this_thread::sleep_for(turn);
    const double rate =
        static_cast<double>(all() - before) / std::chrono::duration<double>(Clock::now() - start).count();
    board->active = 0;
    std::this_thread::sleep_for(5ms);
    return rate;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

scpi_link link[links];
Tvsocket port[links];
LinkRow rows[links];
scpi_parser_context context;

void startServer() {
    context.tree = scpi::commandTree();
    scpi_parser_init(&context);
    scpi_link_initAll(&link_list);
    for (int i = 0; i < links; ++i) {
        scpi_link_init(&link_list, &link[i], 1024, 1024, "benchmark");
        Tvsocket_open(&port[i], &link[i], firstPort + i, htonl(INADDR_LOOPBACK));
        rows[i] = {
            .name = "benchmark", .link = &link[i], .transport = &tcpTransport, .medium = &port[i], .stack = 65536};
        std::thread([i] {
            for (;;)
                Tvsocket_listen(&port[i]);
        }).detach();
        link_start(rows[i]);
    }
    std::thread([] {
        for (;;)
            scpi_execute(link_list, nullptr, 250);
    }).detach();
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? atof(argv[1]) : 2.0;
    void* const shared = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        fail("mmap");
    auto* const board = new (shared) Board{};
    for (int i = 0; i < links; ++i)
        if (fork() == 0)
            beClient(board, i);
    startServer();
    board->listening = 1;
    rateOf(board, links); // all are connected
    std::vector<double> alone, together, ratios;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        alone.push_back(rateOf(board, 1));
        together.push_back(rateOf(board, links));
        ratios.push_back(together.back() / alone.back());
    }
    printf("one link %.0f /s, four links together %.0f /s, %.3f of the one\n", median(alone), median(together),
           median(ratios));
    return 0;
}
