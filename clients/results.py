"""What a phase noise measurement yields, and the tables that it is kept in."""

import csv
import io
import math
from bisect import bisect_left
from dataclasses import dataclass, field
from datetime import datetime
from typing import NamedTuple

from clients.run_info import RunInfo
from clients.setup import Setup
from clients.text import carrier

SMALL_ANGLE_RAD2 = 0.1  # of phase, up to which a sideband's share of the power is half the phase noise density

HALF_WINDOW = 0.0175  # of the points of a trace, which the detector of spurs looks over to either side
SKIRT_BINS = 4  # to either side of a strong line, beyond which its skirts are gone
TOP_STAGE_HZ, TOP_BIN_HZ = 5e6, 245e3  # from there on; of the second board generation, the first has half
HALF_A_MHZ, BIN_OF_HALF_A_MHZ = 0.5e6, 12.2e3  # and a tenth each decade below
LOW_BINS_HZ = ((5.0, 0.10), (50.0, 0.49))  # below these offsets


@dataclass(frozen=True)
class Spur:
    """A discrete line. The instrument gives its offset as a point of the trace."""

    offset_hz: float
    level_dbc: float


class Spot(NamedTuple):
    offset_hz: float
    level_dbc_hz: float | None  # None: no data there
    is_mean: bool = True  # over the points around it; else the trace's own value, where those stand on one side only


@dataclass(frozen=True)
class Integrals:
    """The noise between two offsets in single numbers; None is what there is no value of."""

    noise_dbc: float | None = None
    jitter_s: float | None = None  # RMS

    @classmethod
    def of_answers(cls, noise_dbc: float, jitter_s: float) -> "Integrals":
        """From what the instrument answers: -1 for both without a trace, minus infinity and 0 for an empty range."""
        return cls(noise_dbc, jitter_s) if math.isfinite(noise_dbc) and jitter_s > 0 else cls()

    @property
    def phase_rad(self) -> float | None:
        """RMS. A phase density is twice the single-sideband noise L(f)."""
        return None if self.noise_dbc is None else math.sqrt(2 * 10 ** (self.noise_dbc / 10))

    @property
    def phase_deg(self) -> float | None:
        return None if self.phase_rad is None else math.degrees(self.phase_rad)


@dataclass
class Trace:
    """A finished measurement. Its offsets ascend."""

    identity: str
    taken: datetime
    setup: Setup
    run: RunInfo
    carrier_hz: float
    power_dbm: float
    offsets_hz: list[float]
    noise_dbc_hz: list[float]  # smoothed and without the spurs, as the instrument shows it; nan: no data
    with_spurs_dbc_hz: list[float]  # before smoothing, the spurs still in it
    spurs: list[Spur] | None = None  # None: not looked for, and left in the noise
    spots: list[Spot] = field(default_factory=list)
    range_hz: tuple[float, float] = (0.0, 0.0)  # what the figures below and the Allan deviation cover
    integrals: Integrals = Integrals()  # of noise_dbc_hz
    with_spurs: Integrals | None = None  # the same with the spurs; None if there are none
    residual_fm_hz: float | None = None  # RMS, of noise_dbc_hz

    def strongest_spurs(self, count: int) -> list[Spur]:
        return sorted(self.spurs or [], key=lambda spur: -spur.level_dbc)[:count]

    @property
    def step_percent(self) -> float:
        """Between neighbouring points, by which the offsets of spurs are told."""
        steps = (right / left for left, right in zip(self.offsets_hz, self.offsets_hz[1:]))
        return 100 * (max(steps, default=1.0) - 1)

    def level_at(self, offset_hz: float) -> float:
        """Of the noise, on a straight line over log offset between the points beside it."""
        right = min(max(bisect_left(self.offsets_hz, offset_hz), 1), len(self.offsets_hz) - 1)
        f0, f1 = self.offsets_hz[right - 1], self.offsets_hz[right]
        share = min(max(math.log(offset_hz / f0) / math.log(f1 / f0), 0.0), 1.0) if f0 < f1 else 0.0
        low, high = self.noise_dbc_hz[right - 1], self.noise_dbc_hz[right]
        return low if share == 0 else high if share == 1 else low + share * (high - low)

    @property
    def spur_regions_hz(self) -> list[tuple[float, float]]:
        """Where the noise is not as it was read, or may stand too high: around each spur the points that its removal
        has changed, and the bins that its skirts reach."""
        reach = math.ceil(HALF_WINDOW * len(self.offsets_hz))
        regions: list[tuple[float, float]] = []
        for spur in sorted(self.spurs or [], key=lambda spur: spur.offset_hz):
            at = self.nearest_point(spur.offset_hz)
            around = range(max(at - reach, 0), min(at + reach + 1, len(self.offsets_hz)))
            changed = [i for i in around if self.noise_dbc_hz[i] != self.with_spurs_dbc_hz[i]] or [at]
            skirt_hz = SKIRT_BINS * bin_hz(spur.offset_hz)
            left = min(self.offsets_hz[changed[0]], spur.offset_hz - skirt_hz)
            right = max(self.offsets_hz[changed[-1]], spur.offset_hz + skirt_hz)
            if regions and left <= regions[-1][1]:
                left, right = regions[-1][0], max(regions.pop()[1], right)
            regions.append((max(left, self.offsets_hz[0]), min(right, self.offsets_hz[-1])))
        return regions

    @property
    def small_angle_from_hz(self) -> float | None:
        """The phase from this offset to the trace's upper end has SMALL_ANGLE_RAD2, so that the trace below it is half
        the phase noise density and no longer a sideband's share of the power. None: nowhere."""
        phase_rad2 = 0.0
        spurs = sorted(self.spurs or [], key=lambda spur: spur.offset_hz)
        for i in range(len(self.offsets_hz) - 2, -1, -1):
            left, right = self.offsets_hz[i : i + 2]
            powers = [10 ** (noise / 10) for noise in self.noise_dbc_hz[i : i + 2] if not math.isnan(noise)]
            while spurs and spurs[-1].offset_hz >= left:
                phase_rad2 += 2 * 10 ** (spurs.pop().level_dbc / 10)
            phase_rad2 += (right - left) * sum(powers)  # twice the mean of both
            if phase_rad2 > SMALL_ANGLE_RAD2:
                return left
        return None

    @property
    def carrier_text(self) -> str:
        """In Hz: whole ones of a carrier that was counted, all of one that was given."""
        return f"{self.carrier_hz:.0f}" if self.setup.frequency_hz is None else f"{self.carrier_hz:.12g}"

    def csv_table(self) -> bytes:
        """The figures as lines that start with "# " and the trace as columns. The last column holds the level of each
        spur in the row of its offset and is empty elsewhere."""
        limit_hz = self.small_angle_from_hz
        totals = self.with_spurs or self.integrals
        head = {
            "instrument": self.identity,
            "date": self.taken.isoformat(timespec="seconds"),
            "carrier": carrier(self.carrier_hz),
            "carrier_hz": self.carrier_text,
            "power_dbm": f"{self.power_dbm:.2f}",
            **self.setup.description(),
            "points": str(len(self.offsets_hz)),
            **{
                f"channel_{name}": f"{channel.detector_v_rad:.3f} V/rad, loop {channel.bandwidth_hz:g} Hz, damping "
                f"{channel.damping:g}"
                for name, channel in zip("ab", self.run.channels)
            },
            "loop_hz": f"{self.run.channels[0].bandwidth_hz:g}",
            "if_gain_db": f"{self.run.gain_db:g}",
            "integrated_from_hz": f"{self.range_hz[0]:.9g}",
            "integrated_to_hz": f"{self.range_hz[1]:.9g}",
            "integrated_noise_dbc": cell(self.integrals.noise_dbc, ".3f"),
            "rms_phase_rad": cell(self.integrals.phase_rad, ".6g"),
            "rms_jitter_s": cell(self.integrals.jitter_s, ".6g"),
            "residual_fm_hz": cell(self.residual_fm_hz, ".6g"),
            "integrated_noise_with_spurs_dbc": cell(totals.noise_dbc, ".3f"),
            "rms_phase_with_spurs_rad": cell(totals.phase_rad, ".6g"),
            "rms_jitter_with_spurs_s": cell(totals.jitter_s, ".6g"),
            "small_angle_fails_below_hz": "nowhere" if limit_hz is None else f"{float(f'{limit_hz:.4g}'):.9g}",
            "spur_offset_step_percent": f"{self.step_percent:.2f}",
            "spurs": "left in the noise" if self.spurs is None else str(len(self.spurs)),
        }
        spurs = {self.nearest_point(spur.offset_hz): f"{spur.level_dbc:.2f}" for spur in self.spurs or []}
        columns = ("offset_hz", "noise_dbc_hz", "with_spurs_dbc_hz", "spur_dbc")
        rows = enumerate(zip(self.offsets_hz, self.noise_dbc_hz, self.with_spurs_dbc_hz))
        return table(
            head,
            columns,
            (
                (f"{offset:.9g}", cell(noise, ".3f"), cell(both, ".3f"), spurs.get(i, ""))
                for i, (offset, noise, both) in rows
            ),
        )

    def nearest_point(self, offset_hz: float) -> int:
        right = bisect_left(self.offsets_hz, offset_hz)
        near = range(max(right - 1, 0), min(right + 1, len(self.offsets_hz)))
        return min(near, key=lambda i: abs(self.offsets_hz[i] - offset_hz))


def bin_hz(offset_hz: float) -> float:
    """Between the points of the spectrum that a trace reads at an offset; docs/spurs.md has the list."""
    if offset_hz >= TOP_STAGE_HZ:
        return TOP_BIN_HZ
    for below_hz, width_hz in LOW_BINS_HZ:
        if offset_hz < below_hz:
            return width_hz
    return BIN_OF_HALF_A_MHZ * 10.0 ** math.floor(math.log10(offset_hz / HALF_A_MHZ))


@dataclass
class AllanDeviation:
    """Frequency stability in the time domain, converted from a trace between two offsets."""

    taus_s: list[float]
    sigmas: list[float]
    range_hz: tuple[float, float]

    # Around 1/(2 tau) the noise counts most. The instrument's averaging times end where the trace ends, and near there
    # noise is missing that lies below the lowest offset: from a tenth of its period on the deviation reads low.
    LONGEST_SHARE = 0.1

    @property
    def valid_s(self) -> tuple[float, float]:
        """The averaging times that the offsets support: below, the bandwidth decides, above, the lowest offset."""
        lowest, highest = self.range_hz
        return 1 / highest, self.LONGEST_SHARE / lowest

    def is_valid(self, tau_s: float) -> bool:
        shortest, longest = self.valid_s
        return shortest * (1 - 1e-6) <= tau_s <= longest  # the first is 1/highest, in single precision

    def csv_table(self, trace: Trace) -> bytes:
        """Averaging time tau, sigma and 1 where the trace supports them, 0 elsewhere."""
        shortest, longest = self.valid_s
        head = {
            "instrument": trace.identity,
            "date": trace.taken.isoformat(timespec="seconds"),
            "carrier": carrier(trace.carrier_hz),
            "carrier_hz": trace.carrier_text,
            "from_hz": f"{self.range_hz[0]:.9g}",
            "to_hz": f"{self.range_hz[1]:.9g}",
            "valid_from_s": f"{shortest:g}",
            "valid_to_s": f"{longest:g}",
        }
        rows = ((f"{tau:.6g}", f"{sigma:.6g}", int(self.is_valid(tau))) for tau, sigma in zip(self.taus_s, self.sigmas))
        return table(head, ("tau_s", "sigma_y", "valid"), rows)


def cell(value: float | None, form: str) -> str:
    return "" if value is None or math.isnan(value) else format(value, form)


def table(head: dict[str, str], columns, rows) -> bytes:
    text = io.StringIO(newline="")
    text.writelines(f"# {name}: {value}".rstrip() + "\n" for name, value in head.items())
    writer = csv.writer(text, lineterminator="\n")
    writer.writerow(columns)
    writer.writerows(rows)
    return text.getvalue().encode()
