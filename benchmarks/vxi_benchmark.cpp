/// Queries and blocks over VXI-11: the instrument beside an echo server on the same RPC library, which gives back with
/// a read what was written. A query is a call of each.
///
///   vxi_benchmark [SECONDS]     the instrument's core channel is on 127.0.0.1:1024; the query is measured for SECONDS
///   (default 2)
///
/// Prints the lines of tcp_benchmark, and the megabytes per second of a block of samples read at 1 MiB.
///
///   vxi_benchmark --hand-out FILE     only the echo server, which gives FILE as the answer to each write; prints its
///   port

#include "rpc_peer.h"
#include "turns.h"

#include <cstdarg>
#include <rpc/rpc.h>

namespace {

constexpr uint32_t readMax = 1 << 20;

// The echo.

constexpr size_t storedMax = 8 << 20;
std::vector<char> stored(storedMax);
u_int storedCount, readCount; // of them so many have been read
bool handsOut;                // what was stored first, again and again

struct Written {
    int32_t lid, ioTimeout, lockTimeout, flags;
    char* data;
    u_int count;
};
struct Asked {
    int32_t words[6];
};
struct Answer {
    int32_t error, reason;
    u_int count; // of a read
};

bool_t xdrWritten(XDR* x, Written* w) {
    return xdr_int32_t(x, &w->lid) && xdr_int32_t(x, &w->ioTimeout) && xdr_int32_t(x, &w->lockTimeout) &&
           xdr_int32_t(x, &w->flags) && xdr_bytes(x, &w->data, &w->count, storedMax);
}
bool_t xdrAsked(XDR* x, Asked* a) {
    return std::all_of(std::begin(a->words), std::end(a->words), [x](int32_t& word) { return xdr_int32_t(x, &word); });
}
bool_t xdrWriteAnswer(XDR* x, Answer* a) {
    return xdr_int32_t(x, &a->error) && xdr_int32_t(x, &a->reason);
}
bool_t xdrReadAnswer(XDR* x, Answer* a) {
    char* data = stored.data() + readCount;
    return xdrWriteAnswer(x, a) && xdr_bytes(x, &data, &a->count, storedMax);
}

/// As the library calls it.
template <class T, bool_t (*function)(XDR*, T*)> bool_t erased(XDR* x, ...) {
    va_list arguments;
    va_start(arguments, x);
    T* const record = va_arg(arguments, T*);
    va_end(arguments);
    return function(x, record);
}
constexpr xdrproc_t writtenProc = erased<Written, xdrWritten>, askedProc = erased<Asked, xdrAsked>;
constexpr xdrproc_t writeAnswerProc = erased<Answer, xdrWriteAnswer>, readAnswerProc = erased<Answer, xdrReadAnswer>;

void serve(svc_req* request, SVCXPRT* transport) {
    if (request->rq_proc == RpcPeer::writeCall) {
        Written written{};
        svc_getargs(transport, writtenProc, reinterpret_cast<char*>(&written));
        if (!handsOut)
            memcpy(stored.data(), written.data, storedCount = written.count);
        readCount = 0;
        Answer answer{0, static_cast<int32_t>(written.count), 0};
        svc_freeargs(transport, writtenProc, reinterpret_cast<char*>(&written));
        svc_sendreply(transport, writeAnswerProc, reinterpret_cast<char*>(&answer));
    } else {
        Asked asked{};
        svc_getargs(transport, askedProc, reinterpret_cast<char*>(&asked));
        const u_int left = storedCount - readCount, count = std::min(left, static_cast<u_int>(asked.words[1]));
        Answer answer{0, count < left ? 0 : static_cast<int32_t>(RpcPeer::endOfAnswer), count};
        svc_sendreply(transport, readAnswerProc, reinterpret_cast<char*>(&answer));
        readCount += count;
    }
}

/// Returns its port; the process ends with this one.
int startRpcEcho() {
    int port = 0;
    const int listener = listenAtAnyPort(&port);
    noDelay(listener);
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        SVCXPRT* const transport = svctcp_create(listener, 0, 0);
        if (transport == nullptr || !svc_register(transport, RpcPeer::core, 1, serve, 0))
            fail("svctcp_create");
        svc_run();
        _exit(1);
    }
    close(listener);
    return port;
}

/// Blocks of samples at 1 MiB a read. False if one came short.
bool printBlocks(RpcPeer& instrument, uint32_t lid) {
    constexpr size_t repeats = 21, wanted = (4 << 20) + 8;
    instrument.write(lid, "*RST;CONF:NOIS:SAMP 1048576;CHAN 2;DIV 1\n");
    std::vector<double> seconds;
    for (size_t i = 0; i < repeats; ++i) {
        const auto start = Clock::now();
        instrument.write(lid, "MEAS:NOIS?\n");
        size_t got = 0;
        for (bool end = false; !end;)
            got += instrument.read(lid, readMax, &end);
        if (got != wanted)
            return false;
        seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    }
    const double median = quantile(seconds, 0.5);
    printf("%-34s %12.1f MB/s  p50 %6.1f ms\n", "VXI-11 block at 1 MiB", wanted / median / 1e6, median * 1e3);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--hand-out") {
        FILE* const file = fopen(argv[2], "rb");
        if (file == nullptr)
            fail(argv[2]);
        storedCount = static_cast<u_int>(fread(stored.data(), 1, stored.size(), file));
        handsOut = true;
        printf("%d\n", startRpcEcho());
        fflush(stdout);
        pause(); // the echo ends with this process
    }
    const double seconds = argc > 1 ? atof(argv[1]) : 2.0;
    RpcPeer echo(startRpcEcho()), instrument(RpcPeer::instrumentPort);
    const uint32_t lid = instrument.open();
    const auto query = [](RpcPeer& peer, uint32_t link) {
        return [&peer, link] {
            bool end;
            peer.write(link, "*IDN?\n");
            peer.read(link, 1024, &end);
        };
    };
    measure(seconds, "VXI-11 *IDN?, a write and a read", 1, query(echo, 0), query(instrument, lid));
    return printBlocks(instrument, lid) ? 0 : 1;
}
