/// Round trips over loopback TCP: the instrument beside a bare line-echo server of one blocking thread. Both take turns
/// of some milliseconds, so that what else the machine does meets both alike; each figure is the median over the turns.
///
///   tcp_benchmark PORT [SECONDS]     the instrument listens on 127.0.0.1:PORT; each figure is measured for SECONDS
///   (default 2)
///
/// Prints one line a figure: name, rate per second, p50 and p99 of a round trip in microseconds, and the ratio to the
/// echo.

#include "tcp_peer.h"
#include "turns.h"

namespace {

std::string joined(const char* unit, int count, const char* last) {
    std::string line;
    for (int i = 0; i < count; ++i)
        line += std::string(i ? ";" : "") + unit;
    return line + last + "\n";
}

/// Captures of samples as they come to a client. False if one came short.
bool printSamples(Peer& instrument) {
    constexpr size_t repeats = 21, wanted = 4 << 20;
    std::vector<double> seconds;
    for (size_t i = 0; i < repeats; ++i) {
        const auto start = Clock::now();
        instrument.send("MEAS:NOIS?\n");
        if (instrument.readBinaryBlock() != wanted)
            return false;
        seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    }
    std::sort(seconds.begin(), seconds.end());
    printf("%-34s %12.1f MB/s  p50 %6.1f ms  best %6.1f ms\n", "samples to a client",
           wanted / seconds[repeats / 2] / 1e6, seconds[repeats / 2] * 1e3, seconds[0] * 1e3);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: tcp_benchmark PORT [SECONDS]\n");
        return 2;
    }
    const int port = atoi(argv[1]);
    const double seconds = argc > 2 ? atof(argv[2]) : 2.0;
    Peer instrument(port);
    Peer echo(startEcho());

    const auto trip = [](Peer& peer, const std::string& line) {
        return [&peer, &line] {
            peer.send(line);
            peer.readLine();
        };
    };
    const std::string idn = "*IDN?\n", idns = joined("*IDN?", 20, ""), sets = joined(":SENS:PN:AVER 5", 20, ";:*OPC?");
    measure(seconds, "*IDN?", 1, trip(echo, idn), trip(instrument, idn));
    measure(seconds, "20 *IDN? in a line (commands)", 20, trip(echo, idns), trip(instrument, idns));
    measure(seconds, "20 SENS:PN:AVER 5 in a line (sets)", 20, trip(echo, sets), trip(instrument, sets));

    instrument.send("*RST;*OPC?\n");
    instrument.readLine();
    instrument.send("INIT;:CALC:WAIT:AVER ALL;:*OPC?\n");
    instrument.readLine();
    size_t bytes = 0;
    measure(seconds, "trace fetched as a block", 1, trip(echo, idn), [&] {
        instrument.send("CALC:PN:TRAC:NOIS?\n");
        bytes = instrument.readBlock();
    });
    printf("%zu bytes a trace\n", bytes);
    const bool fetched = bytes == 481 * sizeof(float);
    instrument.send("*RST;CONF:NOIS:SAMP 1048576;CHAN 2;DIV 1;:*OPC?\n");
    instrument.readLine();
    return fetched && printSamples(instrument) ? 0 : 1;
}
