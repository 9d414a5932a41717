"""A sweep as a table for the terminal."""

import math
from collections.abc import Iterator

from clients.report import columns_of
from clients.sweep import Sweep
from clients.text import DASH, PREFIXES, engineering_hz

DIGITS = 6  # of a column's largest value


def spot_name(offset_hz: float) -> str:
    return engineering_hz(offset_hz)


def scaled(values: list[float], unit: str) -> tuple[list[float], str]:
    """The values in the unit with the prefix that suits the largest of them."""
    largest = max((abs(value) for value in values if not math.isnan(value)), default=0.0)
    scale, prefix = next(((s, p) for s, p in PREFIXES if largest >= s), (1.0, ""))
    return [value / scale for value in values], prefix + unit


def _column(name: str, unit: str, values: list[float], digits: int = DIGITS) -> list[str]:
    shown, prefixed = scaled(values, unit)
    largest = max((abs(value) for value in shown if not math.isnan(value)), default=0.0)
    decimals = max(digits - len(str(int(largest))), 0)
    return [name, prefixed, *(DASH if math.isnan(value) else f"{value:.{decimals}f}" for value in shown)]


def _levels(name: str, unit: str, values: list[float], decimals: int) -> list[str]:
    return [name, unit, *(DASH if math.isnan(value) else f"{value:.{decimals}f}" for value in values)]


def text_lines(sweep: Sweep) -> Iterator[str]:
    yield sweep.identity
    if not sweep.tune_v:
        yield "no point was measured"
        return
    columns = [
        ["tune", "V", *(f"{volts:.3f}" for volts in sweep.tune_v)],
        _column("frequency", "Hz", sweep.frequency_hz, 9),
        _column("sensitivity", "Hz/V", sweep.kvco_hz_v),
        _column("pushing", "Hz/V", sweep.kpush_hz_v, 4),
        _column("current", "A", sweep.supply_a, 4),
        _levels("level", "dBm", sweep.power_dbm, 2),
        *(
            _levels(f"at {spot_name(offset)}", "dBc/Hz", levels, 1)
            for offset, levels in zip(sweep.setup.spots_hz, sweep.noise_dbc_hz)
        ),
    ]
    yield from columns_of(list(zip(*columns)))
    if not sweep.whole:
        yield f"ended after {len(sweep.tune_v)} of {sweep.setup.points} points"
