/// Round trips over loopback TCP: the instrument beside a bare line-echo server of one blocking thread, in the same
/// run.
///
///   tcp_bench PORT [SECONDS]     the instrument listens on 127.0.0.1:PORT; each figure is measured for SECONDS
///   (default 2)
///
/// Prints one line a figure: name, rate per second, p50 and p99 of a round trip in microseconds, and the ratio to the
/// echo.

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/tcp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char* what) {
    perror(what);
    exit(1);
}

void noDelay(int fd) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int connectTo(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("connect");
    noDelay(fd);
    return fd;
}

/// The yardstick: reads what there is and writes it back. Returns its port; the process ends with this one.
int startEcho() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        fail("echo server");
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int fd = accept(listener, nullptr, nullptr);
        noDelay(fd);
        char bytes[4096];
        for (ssize_t n; (n = read(fd, bytes, sizeof bytes)) > 0;)
            if (write(fd, bytes, static_cast<size_t>(n)) != n)
                break;
        _exit(0);
    }
    close(listener);
    return ntohs(address.sin_port);
}

class Peer {
public:
    explicit Peer(int port) : fd_(connectTo(port)) {}
    ~Peer() { close(fd_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const std::string& text) {
        if (write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            fail("write");
    }
    /// Reads until a newline ends what has come; returns the bytes of the line.
    size_t readLine() {
        size_t got = 0;
        do
            got += receive();
        while (bytes_[lastCount_ - 1] != '\n');
        return got;
    }
    /// Reads one block "#<n><digits><bytes>"; returns its data bytes.
    size_t readBlock() {
        size_t got = receive();
        while (got < 2 || got < 2 + static_cast<size_t>(bytes_[1] - '0'))
            fail("a block header in pieces");
        const auto digits = static_cast<size_t>(bytes_[1] - '0');
        const size_t data = std::stoul(std::string(bytes_ + 2, digits));
        while (got < 2 + digits + data)
            got += receive();
        return data;
    }

    /// Reads one block "<0><length><bytes>", both numbers 32 bits; returns its data bytes.
    size_t readBinaryBlock() {
        std::array<uint32_t, 2> head{};
        size_t got = 0;
        while (got < sizeof head) {
            const size_t count = receive();
            if (got < sizeof head)
                memcpy(reinterpret_cast<char*>(head.data()) + got, bytes_, std::min(count, sizeof head - got));
            got += count;
        }
        while (got < sizeof head + head[1])
            got += receive();
        return head[1];
    }

private:
    size_t receive() {
        const ssize_t n = read(fd_, bytes_, sizeof bytes_);
        if (n <= 0)
            fail("read");
        lastCount_ = static_cast<size_t>(n);
        return lastCount_;
    }
    int fd_;
    char bytes_[65536];
    size_t lastCount_ = 0;
};

struct Figure {
    double rate;     // round trips per second
    double p50, p99; // microseconds
};

template <class RoundTrip> Figure measure(double seconds, RoundTrip roundTrip) {
    for (int i = 0; i < 1000; ++i)
        roundTrip();
    std::vector<double> times;
    times.reserve(1 << 20);
    const auto start = Clock::now();
    auto last = start;
    while (last - start < std::chrono::duration<double>(seconds)) {
        roundTrip();
        const auto now = Clock::now();
        times.push_back(std::chrono::duration<double, std::micro>(now - last).count());
        last = now;
    }
    const double rate = static_cast<double>(times.size()) / std::chrono::duration<double>(last - start).count();
    const auto quantile = [&](double q) {
        const auto at = times.begin() + static_cast<ptrdiff_t>(q * static_cast<double>(times.size() - 1));
        std::nth_element(times.begin(), at, times.end());
        return *at;
    };
    return {rate, quantile(0.5), quantile(0.99)};
}

void print(const char* name, const Figure& figure, double perTrip, const Figure& echo) {
    printf("%-34s %12.0f /s   p50 %6.1f us  p99 %6.1f us   %.3f of the echo, p99 %.2f times\n", name,
           figure.rate * perTrip, figure.p50, figure.p99, figure.rate / echo.rate, figure.p99 / echo.p99);
    fflush(stdout);
}

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
        fprintf(stderr, "usage: tcp_bench PORT [SECONDS]\n");
        return 2;
    }
    const int port = atoi(argv[1]);
    const double seconds = argc > 2 ? atof(argv[2]) : 2.0;
    Peer instrument(port);
    Peer echo(startEcho());

    const auto trips = [&](Peer& peer, const std::string& line) {
        return measure(seconds, [&] {
            peer.send(line);
            peer.readLine();
        });
    };
    const Figure idnEcho = trips(echo, "*IDN?\n");
    print("echo of *IDN?", idnEcho, 1, idnEcho);
    print("*IDN?", trips(instrument, "*IDN?\n"), 1, idnEcho);

    const std::string idns = joined("*IDN?", 20, "");
    const Figure idnsEcho = trips(echo, idns);
    print("echo of 20 *IDN? (commands)", idnsEcho, 20, idnsEcho);
    print("20 *IDN? in a line (commands)", trips(instrument, idns), 20, idnsEcho);

    const std::string sets = joined(":SENS:PN:AVER 5", 20, ";:*OPC?");
    const Figure setsEcho = trips(echo, sets);
    print("echo of 20 SENS:PN:AVER 5 (sets)", setsEcho, 20, setsEcho);
    print("20 SENS:PN:AVER 5 in a line (sets)", trips(instrument, sets), 20, setsEcho);

    instrument.send("*RST;*OPC?\n");
    instrument.readLine();
    instrument.send("INIT;:CALC:WAIT:AVER ALL;:*OPC?\n");
    instrument.readLine();
    size_t bytes = 0;
    const Figure fetch = measure(seconds, [&] {
        instrument.send("CALC:PN:TRAC:NOIS?\n");
        bytes = instrument.readBlock();
    });
    printf("%zu bytes a trace\n", bytes);
    print("trace fetched as a block", fetch, 1, idnEcho);
    const bool fetched = bytes == 481 * sizeof(float);
    instrument.send("*RST;CONF:NOIS:SAMP 1048576;CHAN 2;DIV 1;:*OPC?\n");
    instrument.readLine();
    return fetched && printSamples(instrument) ? 0 : 1;
}
