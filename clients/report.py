"""The figures of a measurement as rows of text, for the terminal and for the pictures."""

import math

from clients.results import SMALL_ANGLE_RAD2, Integrals, Spot, Trace
from clients.run_info import PHASES, RunInfo
from clients.setup import TRUSTED_CORRELATIONS
from clients.text import DASH, carrier, engineering, engineering_hz, level

RESIDUAL_FM_STEP_HZ = 1e-4  # the instrument tells it no finer
SPUR_OFFSET_DIGITS = 3  # the points of the trace stand a per cent or two apart
LOOP_TOLERANCE = 0.05  # of its bandwidth, by which resistors in steps miss it
NO_MEAN = "*"  # behind a spot value that is the trace's own
NO_MEAN_NOTE = f"{NO_MEAN} the trace's own value"


def range_text(range_hz: tuple[float, float]) -> str:
    return " to ".join(engineering_hz(float(f"{offset:.4g}")) for offset in range_hz)


def _integral_cells(integrals: Integrals) -> list[str]:
    return [
        level(integrals.noise_dbc, "dBc"),
        engineering(integrals.phase_rad, "rad"),
        engineering(integrals.phase_deg, "deg"),
        engineering(integrals.jitter_s, "s"),
    ]


def residual_fm_text(trace: Trace) -> str:
    if trace.residual_fm_hz is None or trace.residual_fm_hz >= RESIDUAL_FM_STEP_HZ:
        return engineering(trace.residual_fm_hz, "Hz")
    return f"< {engineering(RESIDUAL_FM_STEP_HZ, 'Hz', 1)}"


def run_lines(run: RunInfo):
    """How the instrument prepared, both channels one after the other, as far as it came."""
    a, b = run.channels
    if max(a.detector_v_rad, b.detector_v_rad) > 0:
        gain = f", IF gain {run.gain_db:g} dB" if run.gain_db >= 0 else ""
        yield f"detector {a.detector_v_rad:.3f} and {b.detector_v_rad:.3f} V/rad{gain}"
        state = "locked" if run.locked else "not locked"
        if min(a.bandwidth_hz, b.bandwidth_hz) > 0:  # designed
            state += f", {a.bandwidth_hz:.1f} and {b.bandwidth_hz:.1f} Hz, damping {a.damping:.1f} and {b.damping:.1f}"
        yield f"loops    {state}"
    times = [f"{name} {time:.1f}" for name, time in zip(PHASES, run.times_ms) if time > 0]
    if times:
        yield f"time     {', '.join(times)} ms"


def spot_rows(spots: list[Spot], decimals: int = 2) -> list[tuple[str, str]]:
    levels = [level(spot.level_dbc_hz, "dBc/Hz", decimals) + (" " if spot.is_mean else NO_MEAN) for spot in spots]
    return [(engineering_hz(spot.offset_hz), text) for spot, text in zip(spots, levels)]


def small_angle_lines(trace: Trace) -> list[str]:
    """What to know of levels that are no sideband's any more; nothing to know is the rule."""
    limit_hz = trace.small_angle_from_hz
    if limit_hz is None:
        return []
    return [
        f"caution: the phase above {engineering(limit_hz, 'Hz', 3)} alone has {SMALL_ANGLE_RAD2:g} rad². Below, the",
        "small-angle picture fails: L(f) is half the phase noise density, not the power",
        "in a sideband, and an integral in dBc is half the phase variance, not a power.",
    ]


def doubt_lines(trace: Trace):
    """What was not as asked for, or is too little to trust."""
    setup, loop_hz = trace.setup, trace.run.channels[0].bandwidth_hz
    if setup.loop_hz is not None and abs(loop_hz / setup.loop_hz - 1) > LOOP_TOLERANCE:
        yield f"caution: the design has no loop of {engineering_hz(setup.loop_hz)} here and took {loop_hz:.1f} Hz"
    few = setup.correlations
    if few < TRUSTED_CORRELATIONS:
        above_db = 5 * math.log10(TRUSTED_CORRELATIONS / few)
        of_them = f"{few} correlation{'s' if few > 1 else ''}"
        yield f"caution: with {of_them} the instrument's own noise stands {above_db:.0f} dB above"
        yield f"that with {TRUSTED_CORRELATIONS}; levels that fall with --correlations {10 * few} are not the device's."


def integral_rows(trace: Trace) -> list[tuple[str, ...]]:
    """Name, figure of the noise alone and, if there are spurs, the figure with them."""
    names = ("integral", "RMS phase", "", "RMS jitter", "residual FM")
    columns = [[*_integral_cells(trace.integrals), residual_fm_text(trace)]]
    if trace.with_spurs is not None:
        columns.append([*_integral_cells(trace.with_spurs), DASH])  # the instrument gives none with spurs
    return list(zip(names, *columns))


def columns_of(rows: list[tuple[str, ...]], gap: str = "  ") -> list[str]:
    """One line of text a row, the first column to the left, the others to the right. Rows may be short."""
    widths = [max((len(row[i]) for row in rows if i < len(row)), default=0) for i in range(max(map(len, rows)))]
    return [
        gap.join(f"{cell:{'<' if i == 0 else '>'}{widths[i]}}" for i, cell in enumerate(row)).rstrip() for row in rows
    ]


def text_lines(trace: Trace, most_spurs: int):
    """All figures of a trace, line by line; of the spurs the strongest `most_spurs`, by offset."""
    yield trace.identity
    yield f"carrier  {carrier(trace.carrier_hz)}"
    yield f"level    {trace.power_dbm:.2f} dBm"
    yield from run_lines(trace.run)
    yield from doubt_lines(trace)
    for offset, noise in spot_rows(trace.spots):
        yield f"{offset:>8} {noise:>16}".rstrip()
    if not all(spot.is_mean for spot in trace.spots):
        yield f"  {NO_MEAN_NOTE} at its end; the others are means of seven points"
    yield f"integrated from {range_text(trace.range_hz)}"
    heads = [("", "noise alone", "with spurs")] if trace.with_spurs is not None else []
    for line in columns_of(heads + integral_rows(trace)):
        yield f"  {line}"
    yield from small_angle_lines(trace)
    if trace.spurs is None:
        yield "spurs    left in the noise"
    elif not trace.spurs:
        yield "spurs    none found"
    else:
        shown = sorted(trace.strongest_spurs(most_spurs), key=lambda spur: spur.offset_hz)
        count = "" if len(shown) == len(trace.spurs) else f", the strongest {len(shown)} of {len(trace.spurs)}"
        yield f"spurs{count}, each at a point of the trace ({trace.step_percent:.1f} % apart)"
        yield "  a line between two points reads low, by how much tells docs/spurs.md"
        for spur in shown:
            offset = engineering(spur.offset_hz, "Hz", SPUR_OFFSET_DIGITS)
            yield f"{offset:>12} {level(spur.level_dbc, 'dBc'):>12}"
