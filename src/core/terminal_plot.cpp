#include "core/terminal_plot.h"

#include "base/tvdebug.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int defaultColumns = 80; // standard output is no terminal
constexpr int columnsMin = 8;
constexpr int columnsMax = 256;
constexpr int plotRows = 20;

int terminalColumns() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return defaultColumns;
    return std::clamp(int{size.ws_col}, columnsMin, columnsMax);
}

using Line = std::array<char, columnsMax + 1>;

/// One line with `edge` at both ends.
void printEdged(char edge, char fill) {
    const int columns = terminalColumns();
    Line line;
    memset(line.data(), fill, static_cast<size_t>(columns));
    line[0] = line[static_cast<size_t>(columns) - 1] = edge;
    line[static_cast<size_t>(columns)] = '\0';
    printd("%s\n", line.data());
}

/// A data set as the plot sees it, whatever its element type.
struct Series {
    double (*at)(const void* data, int index);
    const void* data;
    char mark;
};

double doubleAt(const void* data, int index) {
    return static_cast<const double*>(data)[index];
}
double sampleAt(const void* data, int index) {
    return static_cast<const uint16_t*>(data)[index];
}

template <size_t count> void plot(const std::array<Series, count>& allSeries, int values) {
    if (!debugEnabled || values <= 0)
        return;
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const Series& series : allSeries)
        for (int i = 0; i < values; ++i)
            if (const double value = series.at(series.data, i); std::isfinite(value)) {
                low = std::min(low, value);
                high = std::max(high, value);
            }
    if (low > high)
        return; // nothing finite to draw

    const int columns = terminalColumns() - 2; // inside the frame
    std::array<Line, plotRows> canvas;
    for (Line& line : canvas) {
        line.fill(' ');
        line[static_cast<size_t>(columns)] = '\0';
    }
    // Halves keep the span of the greatest doubles finite.
    const double halfSpan = high / 2 - low / 2;
    for (const Series& series : allSeries)
        for (int i = 0; i < values; ++i) {
            const double value = series.at(series.data, i);
            if (!std::isfinite(value))
                continue;
            const auto column = static_cast<size_t>(int64_t{i} * columns / values);
            const double height = halfSpan > 0 ? (value / 2 - low / 2) / halfSpan : 0.5;
            canvas[static_cast<size_t>(std::lround((1 - height) * (plotRows - 1)))][column] = series.mark;
        }

    tvstuff_printBoxStart();
    for (const Line& line : canvas)
        tvstuff_printBoxMiddle(line.data());
    tvstuff_printBoxStop();
    printd("%d values from %g to %g\n", values, low, high);
}

} // namespace

void tvstuff_printLine(char character) {
    printEdged(character, character);
}
void tvstuff_printBoxStart() {
    printEdged('+', '-');
}
void tvstuff_printBoxStop() {
    printEdged('+', '-');
}

void tvstuff_printBoxMiddle(const char* text) {
    const int inner = terminalColumns() - 2;
    printd("|%-*.*s|\n", inner, inner, text);
}

void tvstuff_plotDouble(const double* values, int count) {
    plot(std::array{Series{doubleAt, values, '*'}}, count);
}

void tvstuff_plotDouble2(const double* first, const double* second, int count) {
    plot(std::array{Series{doubleAt, first, '*'}, Series{doubleAt, second, 'o'}}, count);
}

void tvstuff_plotADC(const uint16_t* samples, int count) {
    plot(std::array{Series{sampleAt, samples, '*'}}, count);
}

void tvstuff_plotADC2(const uint16_t* first, const uint16_t* second, int count) {
    plot(std::array{Series{sampleAt, first, '*'}, Series{sampleAt, second, 'o'}}, count);
}
