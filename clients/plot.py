"""Draws a trace the way phase noise is read: offset in decades, dBc/Hz, the figures in the corner."""

import math

import matplotlib

matplotlib.use("Agg")

from matplotlib import pyplot, ticker

from clients.text import engineering_hz

TRACE_COLOUR = "#0b5cad"
TABLE_COLOUR = "#d9480f"
TEXT_COLOUR = "#333333"
MINOR_GRID = {"which": "minor", "color": "#f0f0f0", "linewidth": 0.6}
MAJOR_GRID = {"which": "major", "color": "#d4d4d4", "linewidth": 0.8}
DIVISION_DB = 10.0  # of the level axis
TABLE_POINTS_PER_DECADE = 50
LONGEST_FIGURES = 12  # lines of spot values that fit the corner


def _level_range(levels):
    """Whole divisions around the levels, with one of air above."""
    lowest = DIVISION_DB * math.floor(min(levels) / DIVISION_DB)
    highest = DIVISION_DB * (math.ceil(max(levels) / DIVISION_DB) + 1.0)
    return lowest, max(highest, lowest + 4 * DIVISION_DB)


def _table_line(table, start_hz, stop_hz):
    """The table's law between two offsets, its corners included."""
    steps = max(2, round(TABLE_POINTS_PER_DECADE * math.log10(stop_hz / start_hz)))
    offsets = {start_hz * (stop_hz / start_hz) ** (i / steps) for i in range(steps + 1)}
    offsets |= {offset for offset, _ in table.points if start_hz < offset < stop_hz}
    ordered = sorted(offsets)
    return ordered, [table.level_dbc_hz(offset) for offset in ordered]


def _figures(trace):
    rows = [
        ("Carrier", f"{trace.carrier_hz / 1e6:,.6f}".replace(",", " "), "MHz"),
        ("Level", f"{trace.power_dbm:.2f}", "dBm"),
        ("", "", ""),
        *((engineering_hz(offset), f"{level:.1f}", "dBc/Hz") for offset, level in trace.spots[:LONGEST_FIGURES]),
    ]
    names, values, units = (max(len(row[i]) for row in rows) for i in range(3))
    return "\n".join(f"{name:<{names}}  {value:>{values}} {unit:<{units}}" for name, value, unit in rows)


def _settings(trace):
    setup = trace.setup
    words = [f"{setup.correlations} correlations", f"{setup.averages} average{'s' if setup.averages != 1 else ''}"]
    if setup.reference:
        words.append(f"reference {setup.reference}")
    if setup.smoothing_percent is not None:
        words.append(f"smoothing {setup.smoothing_percent:g} %" if setup.smoothing_percent > 0 else "no smoothing")
    return ", ".join(words)


def draw(trace, path, table=None):
    """Writes a PNG. `table` is the DUT's true noise (DutTable), drawn as a thin line, or None."""
    start, stop = trace.offsets_hz[0], trace.offsets_hz[-1]
    figure, axes = pyplot.subplots(figsize=(11.0, 6.6), dpi=120)
    axes.set_axisbelow(True)
    axes.grid(**MINOR_GRID)
    axes.grid(**MAJOR_GRID)

    axes.plot(trace.offsets_hz, trace.noise_dbc_hz, color=TRACE_COLOUR, linewidth=1.1, label="measured", zorder=3)
    if table is not None:
        axes.plot(
            *_table_line(table, start, stop),
            color=TABLE_COLOUR,
            linewidth=1.0,
            dashes=(5, 3),
            label="DUT, true noise",
            zorder=4,
        )
    if trace.spots:
        axes.plot(*zip(*trace.spots), "o", color=TRACE_COLOUR, markersize=5, markeredgecolor="white", zorder=5)

    axes.set_xscale("log")
    axes.set_xlim(start, stop)
    axes.set_ylim(*_level_range(trace.noise_dbc_hz))
    axes.xaxis.set_major_locator(ticker.LogLocator(base=10.0, numticks=20))
    axes.xaxis.set_minor_locator(ticker.LogLocator(base=10.0, subs=range(2, 10), numticks=200))
    axes.xaxis.set_major_formatter(ticker.FuncFormatter(lambda hz, _: engineering_hz(hz)))
    axes.xaxis.set_minor_formatter(ticker.NullFormatter())
    axes.yaxis.set_major_locator(ticker.MultipleLocator(DIVISION_DB))
    axes.yaxis.set_minor_locator(ticker.MultipleLocator(DIVISION_DB / 2))
    axes.set_xlabel("Offset from the carrier")
    axes.set_ylabel("Phase noise L(f), dBc/Hz")
    axes.tick_params(which="both", color="#999999", labelcolor=TEXT_COLOUR)
    for spine in axes.spines.values():
        spine.set_color("#999999")

    axes.set_title(
        f"Phase noise at {engineering_hz(trace.carrier_hz, 6)}", loc="left", fontweight="bold", color=TEXT_COLOUR
    )
    axes.set_title(_settings(trace), loc="right", fontsize=9, color=TEXT_COLOUR)
    axes.text(
        0.985,
        0.97,
        _figures(trace),
        transform=axes.transAxes,
        ha="right",
        va="top",
        family="monospace",
        fontsize=9,
        color=TEXT_COLOUR,
        zorder=6,
        bbox={"facecolor": "white", "edgecolor": "#cccccc", "boxstyle": "round,pad=0.6"},
    )
    axes.legend(loc="lower left", frameon=True, framealpha=1.0, edgecolor="#cccccc", fontsize=9)
    figure.text(
        0.995, 0.008, f"{trace.identity}   {trace.taken:%Y-%m-%d %H:%M}", ha="right", fontsize=7.5, color="#888888"
    )
    figure.tight_layout(rect=(0, 0.02, 1, 1))
    figure.savefig(path)
    pyplot.close(figure)
