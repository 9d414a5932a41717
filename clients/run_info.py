"""What the instrument tells of its last run: what it found on its way to the captures, and the time that took."""

import re
from dataclasses import dataclass

from clients.instrument import Instrument, InstrumentError

PHASES = ("search", "Kphi", "lock", "gain", "correlation")
NUMBER = r"(-?\d+(?:\.\d+)?)"
LOOP = rf"s={NUMBER},r={NUMBER}/{NUMBER},BW={NUMBER},z={NUMBER}"
REPORT = re.compile(
    rf"fC:{NUMBER}\s+fO:{NUMBER}-{NUMBER}\s+g:{NUMBER}\s+k:{NUMBER}/{NUMBER}\s+l:\d+/(\d)\s+A:{LOOP}\s+B:{LOOP}\s"
)


@dataclass(frozen=True)
class Channel:
    """A measurement channel. What was not designed yet is below 0."""

    detector_v_rad: float
    sensitivity_hz_v: float  # of its source
    bandwidth_hz: float  # of its loop
    damping: float


@dataclass(frozen=True)
class RunInfo:
    locked: bool
    gain_db: float  # of the IF
    channels: tuple[Channel, Channel]
    times_ms: tuple[float, ...]  # of PHASES; 0 for one that was not reached

    @property
    def has_no_filter(self) -> bool:
        """The detectors were measured, but no values of a loop's filter give its bandwidth."""
        return any(channel.detector_v_rad > 0 > channel.bandwidth_hz for channel in self.channels)

    @classmethod
    def of_answers(cls, info: str, times: str) -> "RunInfo":
        found = REPORT.search(info)
        times_ms = tuple(float(time) for time in times.split(","))
        if found is None or len(times_ms) != len(PHASES):
            raise InstrumentError(f"no report of a run: {info!r}, {times!r}")
        _, _, _, gain, k_a, k_b, locked, *loops = (float(number) for number in found.groups())
        channels = tuple(
            Channel(detector, sensitivity, bandwidth, damping)
            for detector, (sensitivity, _, _, bandwidth, damping) in ((k_a, loops[:5]), (k_b, loops[5:]))
        )
        return cls(locked == 1, gain, channels, times_ms)

    @classmethod
    def read(cls, instrument: Instrument) -> "RunInfo":
        return cls.of_answers(instrument.text("DIAG:PN:MEAS:INFO?"), instrument.query("DIAG:PN:MEAS:FTIM?"))
