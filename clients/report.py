"""The figures of a measurement as rows of text, for the terminal and for the pictures."""

from clients.results import Integrals, Trace
from clients.text import DASH, engineering, engineering_hz, level

RESIDUAL_FM_STEP_HZ = 1e-4  # the instrument tells it no finer
SPUR_OFFSET_DIGITS = 3  # the points of the trace stand a per cent or two apart


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
    yield f"carrier  {trace.carrier_hz / 1e6:.6f} MHz"
    yield f"level    {trace.power_dbm:.2f} dBm"
    for offset, noise in trace.spots:
        yield f"{engineering_hz(offset):>8} {level(noise, 'dBc/Hz'):>15}"
    yield f"integrated from {range_text(trace.range_hz)}"
    heads = [("", "noise alone", "with spurs")] if trace.with_spurs is not None else []
    for line in columns_of(heads + integral_rows(trace)):
        yield f"  {line}"
    if trace.spurs is None:
        yield "spurs    left in the noise"
    elif not trace.spurs:
        yield "spurs    none found"
    else:
        shown = sorted(trace.strongest_spurs(most_spurs), key=lambda spur: spur.offset_hz)
        yield "spurs" if len(shown) == len(trace.spurs) else f"spurs, the strongest {len(shown)} of {len(trace.spurs)}"
        for spur in shown:
            offset = engineering(spur.offset_hz, "Hz", SPUR_OFFSET_DIGITS)
            yield f"{offset:>12} {level(spur.level_dbc, 'dBc'):>12}"
