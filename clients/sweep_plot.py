"""Draws a sweep: all figures over one voltage axis."""

import math

from matplotlib import pyplot

from clients.plot import DPI, FRAME_COLOUR, TEXT_COLOUR, TRACE_COLOUR, png
from clients.sweep import Sweep
from clients.sweep_report import scaled, spot_name

SIZE_INCH = (13.0, 9.0)
LEAST_LEVEL_DB, LEAST_NOISE_DB = 1.0, 10.0  # that an axis covers
ABOVE = {"loc": "lower right", "bbox_to_anchor": (1.0, 0.98), "ncols": 4, "fontsize": 9, "frameon": False}  # no curve there
COLOURS = (TRACE_COLOUR, "#d9480f", "#2b8a3e", "#a61e4d")


def _panel(axes, sweep: Sweep, name: str, unit: str, curves: list[list[float]], least: float = 0.0) -> None:
    """Curves in one unit, the first in the colour of all panels. The axis covers `least` at least, so that the last digit
    of what hardly changes looks like what it is."""
    for values, colour in zip(curves, COLOURS):
        axes.plot(sweep.tune_v, values, marker=".", color=colour, linewidth=1.2)
    axes.set_ylabel(f"{name}, {unit}")
    axes.ticklabel_format(axis="y", useOffset=False, style="plain")
    low, high = axes.get_ylim()
    if high - low < least:
        axes.set_ylim((low + high - least) / 2, (low + high + least) / 2)
    if all(math.isnan(value) for values in curves for value in values):
        axes.text(0.5, 0.5, "not measured", transform=axes.transAxes, ha="center", color=FRAME_COLOUR)
        axes.set_yticks([])


def _scaled_panel(axes, sweep: Sweep, name: str, unit: str, values: list[float], least_share: float = 0.0) -> None:
    shown, prefixed = scaled(values, unit)
    largest = max((abs(value) for value in shown if not math.isnan(value)), default=0.0)
    _panel(axes, sweep, name, prefixed, [shown], least_share * largest)


def draw(sweep: Sweep) -> bytes:
    """A PNG with six panels: frequency, sensitivity, pushing, current, level, noise at the spots."""
    figure, panels = pyplot.subplots(3, 2, sharex=True, figsize=SIZE_INCH, dpi=DPI, layout="constrained")
    (frequency, kvco), (kpush, current), (level, noise) = panels
    _scaled_panel(frequency, sweep, "Frequency", "Hz", sweep.frequency_hz)
    _scaled_panel(kvco, sweep, "Sensitivity", "Hz/V", sweep.kvco_hz_v, 0.1)
    _scaled_panel(kpush, sweep, "Pushing", "Hz/V", sweep.kpush_hz_v, 0.2)
    _scaled_panel(current, sweep, "Supply current", "A", sweep.supply_a, 0.1)
    _panel(level, sweep, "Level", "dBm", [sweep.power_dbm], LEAST_LEVEL_DB)
    _panel(noise, sweep, "Noise", "dBc/Hz", sweep.noise_dbc_hz, LEAST_NOISE_DB)
    if sweep.noise_dbc_hz:
        names = [f"at {spot_name(offset)}" for offset in sweep.setup.spots_hz]
        noise.legend(noise.get_lines(), names, **ABOVE)
    span = (sweep.setup.start_v, sweep.setup.stop_v)
    for axes in panels.flat:
        axes.grid(color="#d4d4d4", linewidth=0.8)
        axes.set_axisbelow(True)
        axes.tick_params(color=FRAME_COLOUR, labelcolor=TEXT_COLOUR)
        if span[0] < span[1]:
            axes.set_xlim(*span)
    for axes in panels[-1]:
        axes.set_xlabel("Tune voltage, V")
    figure.align_ylabels(panels)
    ended = "" if sweep.whole else f", ended after {len(sweep.tune_v)} of {sweep.setup.points} points"
    figure.suptitle(f"Sweep of an oscillator{ended}", x=0.01, ha="left", fontweight="bold", color=TEXT_COLOUR)
    stamp = f"{sweep.identity}   {sweep.taken:%Y-%m-%d %H:%M}"
    figure.supxlabel(stamp, x=0.99, ha="right", fontsize=7.5, color="#888888")
    return png(figure)
