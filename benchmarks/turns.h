#pragma once
/// An instrument beside a yardstick: both take turns of some milliseconds, so that what else the machine does meets
/// both alike; each figure is the median over the turns.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

inline constexpr double turn_s = 0.02;

struct Figure {
    double rate;     // round trips per second
    double p50, p99; // microseconds
};

inline double quantile(std::vector<double>& values, double q) {
    const auto at = values.begin() + static_cast<ptrdiff_t>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

template <class RoundTrip> Figure turn(RoundTrip roundTrip) {
    static std::vector<double> times;
    times.clear();
    const auto start = Clock::now();
    auto last = start;
    while (last - start < std::chrono::duration<double>(turn_s)) {
        roundTrip();
        const auto now = Clock::now();
        times.push_back(std::chrono::duration<double, std::micro>(now - last).count());
        last = now;
    }
    const double rate = static_cast<double>(times.size()) / std::chrono::duration<double>(last - start).count();
    return {rate, quantile(times, 0.5), quantile(times, 0.99)};
}

/// A figure of each turn, and their medians.
struct Turns {
    std::vector<double> rates, p50s, p99s;
    void add(const Figure& figure) {
        rates.push_back(figure.rate);
        p50s.push_back(figure.p50);
        p99s.push_back(figure.p99);
    }
    Figure median() { return {quantile(rates, 0.5), quantile(p50s, 0.5), quantile(p99s, 0.5)}; }
};

inline void print(const std::string& name, const Figure& figure, double perTrip, double ratio, double ratioOfP99) {
    printf("%-38s %12.0f /s   p50 %6.1f us  p99 %6.1f us   %.3f of the echo, p99 %.2f times\n", name.c_str(),
           figure.rate * perTrip, figure.p50, figure.p99, ratio, ratioOfP99);
    fflush(stdout);
}

/// One figure and its echo; a trip carries `perTrip` of what is counted.
template <class Echo, class Trip>
void measure(double seconds, const std::string& name, double perTrip, Echo echoTrip, Trip trip) {
    turn(echoTrip); // warms both up
    turn(trip);
    Turns echo, instrument, ratios;
    for (double spent = 0; spent < seconds; spent += 2 * turn_s) {
        const Figure yardstick = turn(echoTrip), figure = turn(trip);
        echo.add(yardstick);
        instrument.add(figure);
        ratios.add({figure.rate / yardstick.rate, 0, figure.p99 / yardstick.p99});
    }
    print("echo of " + name, echo.median(), perTrip, 1, 1);
    print(name, instrument.median(), perTrip, ratios.median().rate, ratios.median().p99);
}
