"""Draws a trace the way phase noise is read, offset in decades and dBc/Hz, and the Allan deviation, log over log. The
figures stand in a panel beside the axes."""

import io
import math

import matplotlib
import numpy

matplotlib.use("Agg")

from matplotlib import pyplot, ticker

from clients import labels, report
from clients.dut_table import DutTable
from clients.results import SMALL_ANGLE_RAD2, AllanDeviation, Trace
from clients.text import DASH, carrier, engineering, engineering_hz, level

TRACE_COLOUR = "#0b5cad"
RAW_COLOUR = "#a9c6e3"
TABLE_COLOUR = "#d9480f"
SPUR_COLOUR = "#a61e4d"
TEXT_COLOUR = "#333333"
FRAME_COLOUR = "#999999"
BOX = {"facecolor": "white", "edgecolor": "#cccccc", "boxstyle": "round,pad=0.6"}
LEGEND = {"frameon": True, "framealpha": 1.0, "edgecolor": "#cccccc", "fontsize": 9}
SIZE_INCH = (13.0, 6.6)
DPI = 120
AXES = (0.066, 0.1, 0.69, 0.84)  # left, bottom, width, height as shares of the picture
PANEL_X = 0.771  # of the panel, and of the trace's legend below it, where both hide nothing
LEGEND_Y = 0.04
DIVISION_DB = 10.0  # of the level axis
FEWEST_DIVISIONS = 5
CLEAR_DB = 2.0  # between the trace and the lower end of the axis
EMPTY_LEVEL = -150.0  # around which the axis lies when there is nothing to show
TABLE_POINTS_PER_DECADE = 50
MOST_SPOTS = 10  # in the panel
MOST_LABELS = 12  # of the strongest spurs
POINTS_OF_A_STEM = 100  # that labels keep clear of
MINOR = range(2, 10)  # between decades
ROOM_FOR_A_REMARK = 0.33  # of the axes' width
BESIDE_SPURS = {"facecolor": "#f3dbe4", "edgecolor": "none", "alpha": 0.7, "zorder": 1.1}
FEWEST_PIXELS = 3  # of a region's width
SHADE = {"facecolor": "#f1ede6", "edgecolor": "none", "alpha": 0.8, "zorder": 1}


def _level_range(trace: Trace) -> tuple[float, float]:
    """Whole divisions around the levels, with room above for labels."""
    known = [noise for noise in trace.noise_dbc_hz if not math.isnan(noise)] or [EMPTY_LEVEL]
    levels = [*known, *(spur.level_dbc for spur in trace.spurs or [])]
    lowest = DIVISION_DB * math.floor((min(levels) - CLEAR_DB) / DIVISION_DB)
    highest = DIVISION_DB * (math.ceil(max(levels) / DIVISION_DB) + 1.0)
    return lowest, max(highest, lowest + FEWEST_DIVISIONS * DIVISION_DB)


def _table_line(table: DutTable, start_hz: float, stop_hz: float) -> tuple[list[float], list[float]]:
    """The table's law between two offsets, its corners included."""
    steps = max(2, round(TABLE_POINTS_PER_DECADE * math.log10(stop_hz / start_hz)))
    offsets = {start_hz * (stop_hz / start_hz) ** (i / steps) for i in range(steps + 1)}
    offsets |= {offset for offset, _ in table.points if start_hz < offset < stop_hz}
    ordered = sorted(offsets)
    return ordered, [table.level_dbc_hz(offset) for offset in ordered]


def _carrier_rows(trace: Trace) -> list[tuple[str, ...]]:
    loop = engineering(trace.run.channels[0].bandwidth_hz, "Hz")
    return [("Carrier", carrier(trace.carrier_hz)), ("Level", level(trace.power_dbm, "dBm")), ("Loop bandwidth", loop)]


def _trace_panel(trace: Trace) -> str:
    lines = report.columns_of(_carrier_rows(trace))
    if trace.spots:
        spots = trace.spots[:MOST_SPOTS]
        lines += ["", "Spot noise", *report.columns_of(report.spot_rows(spots, 1))]
        if not all(spot.is_mean for spot in spots):
            lines += [report.NO_MEAN_NOTE]
    lines += ["", f"Integrated, {report.range_text(trace.range_hz)}"]
    heads = [("", "alone", "with spurs")] if trace.with_spurs is not None else []
    lines += report.columns_of(heads + report.integral_rows(trace))
    if trace.spurs is not None:
        more = len(trace.spurs) > MOST_LABELS
        lines += ["", f"Spurs found: {len(trace.spurs)}{', the strongest labelled' if more else ''}"]
        if trace.spurs:
            lines += [f"Their offsets: in steps of {trace.step_percent:.1f} %"]
    return "\n".join(lines)


def _picture(trace: Trace, title: str, panel: str):
    figure = pyplot.figure(figsize=SIZE_INCH, dpi=DPI)
    axes = figure.add_axes(AXES)
    axes.set_axisbelow(True)
    axes.grid(which="minor", color="#f0f0f0", linewidth=0.6)
    axes.grid(which="major", color="#d4d4d4", linewidth=0.8)
    axes.tick_params(which="both", color=FRAME_COLOUR, labelcolor=TEXT_COLOUR)
    for spine in axes.spines.values():
        spine.set_color(FRAME_COLOUR)
    axes.set_title(title, loc="left", fontweight="bold", color=TEXT_COLOUR)
    figure.text(
        PANEL_X,
        AXES[1] + AXES[3] - 0.015,
        panel,
        ha="left",
        va="top",
        family="monospace",
        fontsize=8.5,
        linespacing=1.35,
        color=TEXT_COLOUR,
        bbox=BOX,
    )
    stamp = f"{trace.identity}   {trace.taken:%Y-%m-%d %H:%M}"
    figure.text(0.995, 0.012, stamp, ha="right", fontsize=7.5, color="#888888")
    return figure, axes


def _decades(axis, text) -> None:
    axis.set_major_locator(ticker.LogLocator(base=10.0, numticks=30))
    axis.set_minor_locator(ticker.LogLocator(base=10.0, subs=MINOR, numticks=300))
    axis.set_major_formatter(ticker.FuncFormatter(lambda value, _: text(value)))
    axis.set_minor_formatter(ticker.NullFormatter())


def _settings(trace: Trace) -> str:
    setup = trace.setup
    counts = ((setup.correlations, "correlation"), (setup.averages, "average"))
    words = [f"{count} {name}{'s' if count != 1 else ''}" for count, name in counts]
    if setup.reference:
        words.append(f"reference {setup.reference}")
    if setup.smoothing_percent is not None:
        words.append(f"smoothing {setup.smoothing_percent:g} %" if setup.smoothing_percent > 0 else "no smoothing")
    return ", ".join(words)


def _draw_spurs(axes, trace: Trace) -> None:
    spurs = sorted(trace.spurs, key=lambda spur: -spur.level_dbc)
    offsets, levels = [spur.offset_hz for spur in spurs], [spur.level_dbc for spur in spurs]
    feet = [trace.noise_dbc_hz[trace.nearest_point(offset)] for offset in offsets]
    axes.vlines(offsets, feet, levels, color=SPUR_COLOUR, linewidth=0.9, zorder=2.5)
    axes.plot(
        offsets, levels, "v", color=SPUR_COLOUR, markersize=6, markeredgecolor="white", label="spurs, dBc", zorder=6
    )
    texts = [
        labels.Label(
            spur.offset_hz,
            spur.level_dbc,
            f"{engineering(spur.offset_hz, 'Hz', report.SPUR_OFFSET_DIGITS)}\n{level(spur.level_dbc, 'dBc', 1)}",
        )
        for spur in spurs[:MOST_LABELS]
    ]
    stems = [numpy.linspace((x, foot), (x, top), POINTS_OF_A_STEM) for x, foot, top in zip(offsets, feet, levels)]
    curves = numpy.vstack([numpy.column_stack((trace.offsets_hz, trace.noise_dbc_hz)), *stems])
    labels.place(axes, texts, curves, fontsize=8, color=SPUR_COLOUR, linespacing=1.1, zorder=7)


def _mark_spur_regions(axes, trace: Trace) -> None:
    """Shades where taking spurs out has touched the noise, narrow regions wide enough to be seen."""
    label = "beside spurs, may read high"
    least = (trace.offsets_hz[-1] / trace.offsets_hz[0]) ** (FEWEST_PIXELS / 2 / (SIZE_INCH[0] * DPI * AXES[2]))
    for left, right in trace.spur_regions_hz:
        middle = math.sqrt(left * right)
        axes.axvspan(min(left, middle / least), max(right, middle * least), label=label, **BESIDE_SPURS)
        label = None


def _draw_spots(axes, trace: Trace) -> None:
    """Full where they are a mean of the points around, hollow at the ends of the trace, which have points on one side
    only."""
    style = {"linestyle": "", "marker": "o", "markersize": 5, "clip_on": False, "zorder": 5}
    for is_mean, face, edge, label in (
        (True, TRACE_COLOUR, "white", "spot, mean of 7 points"),
        (False, "white", TRACE_COLOUR, "spot at an end, trace's value"),
    ):
        spots = [
            (spot.offset_hz, spot.level_dbc_hz)
            for spot in trace.spots
            if spot.level_dbc_hz is not None and spot.is_mean == is_mean
        ]
        if spots:
            axes.plot(*zip(*spots), markerfacecolor=face, markeredgecolor=edge, label=label, **style)


def png(figure) -> bytes:
    picture = io.BytesIO()
    figure.savefig(picture, format="png")
    pyplot.close(figure)
    return picture.getvalue()


def _mark_large_angles(axes, trace: Trace) -> None:
    """Shades the offsets where the small-angle picture fails."""
    limit_hz = trace.small_angle_from_hz
    if limit_hz is None:
        return
    axes.axvspan(trace.offsets_hz[0], limit_hz, **SHADE)
    axes.axvline(limit_hz, color=FRAME_COLOUR, linewidth=0.9, zorder=2)
    share = math.log(limit_hz / trace.offsets_hz[0]) / math.log(trace.offsets_hz[-1] / trace.offsets_hz[0])
    has_room = share > ROOM_FOR_A_REMARK
    axes.annotate(
        f"left of the line the phase exceeds {SMALL_ANGLE_RAD2:g} rad²:\nL(f) is half its density, no sideband power",
        (limit_hz, 1.0),
        (-6 if has_room else 6, -8),
        xycoords=axes.get_xaxis_transform(),
        textcoords="offset points",
        ha="right" if has_room else "left",
        va="top",
        fontsize=8.5,
        color=TEXT_COLOUR,
    )


def draw_trace(trace: Trace, table: DutTable | None = None) -> bytes:
    """A PNG. `table` is the DUT's true noise, drawn as a thin line, or None."""
    start, stop = trace.offsets_hz[0], trace.offsets_hz[-1]
    figure, axes = _picture(trace, f"Phase noise at {carrier(trace.carrier_hz)}", _trace_panel(trace))
    axes.set_title(_settings(trace), loc="right", fontsize=9, color=TEXT_COLOUR)
    axes.set_xscale("log")
    axes.set_xlim(start, stop)
    axes.set_ylim(*_level_range(trace))
    _decades(axes.xaxis, engineering_hz)
    axes.yaxis.set_major_locator(ticker.MultipleLocator(DIVISION_DB))
    axes.yaxis.set_minor_locator(ticker.MultipleLocator(DIVISION_DB / 2))
    axes.set_xlabel("Offset from the carrier")
    axes.set_ylabel("Phase noise L(f), dBc/Hz" + ("; spurs, dBc" if trace.spurs else ""))

    _mark_large_angles(axes, trace)
    _mark_spur_regions(axes, trace)
    if trace.spurs:
        raw = {"color": RAW_COLOUR, "linewidth": 1.0, "label": "before spurs were taken out"}
        axes.plot(trace.offsets_hz, trace.with_spurs_dbc_hz, zorder=2.2, **raw)
    axes.plot(trace.offsets_hz, trace.noise_dbc_hz, color=TRACE_COLOUR, linewidth=1.1, label="measured", zorder=3)
    if table is not None:
        line = _table_line(table, start, stop)
        axes.plot(*line, color=TABLE_COLOUR, linewidth=1.0, dashes=(5, 3), label="DUT, true noise", zorder=4)
    _draw_spots(axes, trace)
    if trace.spurs:
        _draw_spurs(axes, trace)
    figure.legend(loc="lower left", bbox_to_anchor=(PANEL_X, LEGEND_Y), borderaxespad=0, **LEGEND)
    return png(figure)


def decade_times(allan: AllanDeviation) -> list[tuple[float, float]]:
    """Averaging times of whole decades within the valid ones and the deviation there, on a straight line between its
    neighbours."""
    points = list(zip(map(math.log10, allan.taus_s), map(math.log10, allan.sigmas)))
    found = []
    for (t0, s0), (t1, s1) in zip(points, points[1:]):
        decade = math.ceil(t0 - 1e-6)
        if t0 - 1e-6 <= decade < t1 - 1e-6 and allan.is_valid(10.0**decade):
            found.append((10.0**decade, 10 ** (s0 + (s1 - s0) * (decade - t0) / (t1 - t0))))
    return found


def _decades_around(lowest: float, highest: float) -> tuple[float, float]:
    low, high = math.floor(math.log10(lowest) - 0.01), math.ceil(math.log10(highest) + 0.01)
    return 10.0**low, 10.0 ** max(high, low + 1)


def _shade(axes, shortest: float, longest: float) -> None:
    """Marks the averaging times that the trace does not support, and says why at the edges."""
    left, right = axes.get_xlim()
    for start, end in ((left, shortest), (longest, right)):
        axes.axvspan(start, end, **SHADE)
    edges = (
        (shortest, "right", f"1/f$_h$ = {engineering(shortest, 's', 3)}"),
        (longest, "left", f"0.1/f$_l$ = {engineering(longest, 's', 3)}"),
    )
    for edge, side, text in edges:
        axes.axvline(edge, color=FRAME_COLOUR, linewidth=0.9, zorder=2)
        axes.annotate(
            text,
            (edge, 1.0),
            (-5 if side == "right" else 5, -8),
            xycoords=axes.get_xaxis_transform(),
            textcoords="offset points",
            rotation=90,
            ha=side,
            va="top",
            fontsize=8.5,
            color=TEXT_COLOUR,
        )


def _allan_panel(allan: AllanDeviation, trace: Trace) -> str:
    lines = report.columns_of(_carrier_rows(trace))
    lines += ["", "Offsets in use", f"  {report.range_text(allan.range_hz)}"]
    shortest, longest = (engineering(edge, "s", 3) for edge in allan.valid_s)
    lines += ["", "Averaging times supported", f"  {shortest} to {longest}"]
    rows = [(engineering(tau, "s", 1), f"{sigma:.2e}") for tau, sigma in decade_times(allan)]
    lines += ["", *report.columns_of([("τ", "σy(τ)"), *(rows or [(DASH, DASH)])])]
    return "\n".join(lines)


def _waves(trace: Trace) -> str:
    """Why the curve is not smooth: a line adds a wave, and where points are sparse the sum over them is coarse."""
    if trace.spurs is None:
        return "lines left in the noise: each makes a wave"
    steps = "ripples of up to 10 % come from the trace's steps"
    return f"spurs left out; {steps}" if trace.spurs else steps


def draw_allan_deviation(allan: AllanDeviation, trace: Trace) -> bytes:
    """A PNG. Solid where the trace supports the averaging time, dashed and shaded beyond."""
    shortest, longest = allan.valid_s
    figure, axes = _picture(trace, f"Allan deviation at {carrier(trace.carrier_hz)}", _allan_panel(allan, trace))
    axes.set_title(_waves(trace), loc="right", fontsize=9, color=TEXT_COLOUR)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.set_xlim(*_decades_around(allan.taus_s[0], max(allan.taus_s[-1], longest)))
    axes.set_ylim(*_decades_around(min(allan.sigmas), max(allan.sigmas)))
    _decades(axes.xaxis, lambda tau: f"{engineering(tau, 's', 1)}")
    axes.yaxis.set_major_locator(ticker.LogLocator(base=10.0, numticks=30))
    axes.yaxis.set_minor_locator(ticker.LogLocator(base=10.0, subs=MINOR, numticks=300))
    axes.yaxis.set_minor_formatter(ticker.NullFormatter())
    axes.set_xlabel("Averaging time τ")
    axes.set_ylabel("Allan deviation σ$_y$(τ)")

    points = list(zip(allan.taus_s, allan.sigmas))
    supported = [point for point in points if allan.is_valid(point[0])]
    beyond = supported[-1:] + [point for point in points if point[0] > longest]
    if supported:
        axes.plot(*zip(*supported), color=TRACE_COLOUR, linewidth=1.4, label="from the phase noise", zorder=3)
    if len(beyond) > 1:
        axes.plot(
            *zip(*beyond), color=TRACE_COLOUR, linewidth=1.2, dashes=(4, 3), label="low offsets missing", zorder=3
        )
    times = decade_times(allan)
    if times:
        axes.plot(*zip(*times), "o", color=TRACE_COLOUR, markersize=5, markeredgecolor="white", zorder=5)
    _shade(axes, shortest, longest)
    axes.legend(loc="lower left", **LEGEND).set_zorder(8)
    return png(figure)
