"""The settings of a phase noise measurement."""

from collections.abc import Iterator
from dataclasses import dataclass

RESIDUAL_FM = "M"  # its letter in the test set, the one way to it


@dataclass
class Setup:
    """What to measure. None leaves the instrument's own value; it clamps what lies outside its limits."""

    start_hz: float = 10.0
    stop_hz: float = 50e6
    averages: int = 1  # traces averaged in dB
    correlations: int = 10  # cross-correlations of the lowest stage; more lower the instrument's own noise
    points_per_decade: int | None = None
    reference: str | None = None  # NORM, LN (low noise), HIGH, EXT
    smoothing_percent: float | None = None  # share of the trace that one point is averaged over; 0 switches it off
    list_spurs: bool = True  # take discrete lines out of the noise and list them
    function_range_hz: tuple[float, float] | None = None  # what is integrated; None: the whole trace

    @property
    def integrated_hz(self) -> tuple[float, float]:
        return self.function_range_hz or (self.start_hz, self.stop_hz)

    def commands(self) -> Iterator[str]:
        yield "SENS:MODE PN"
        if self.reference is not None:
            yield f"SENS:PN:REF {self.reference}"
        if self.points_per_decade is not None:
            yield f"SENS:PN:PPD {self.points_per_decade}"
        yield f"SENS:PN:FREQ:STAR {self.start_hz!r}"
        yield f"SENS:PN:FREQ:STOP {self.stop_hz!r}"
        yield f"SENS:PN:CORR {self.correlations}"
        yield f"SENS:PN:AVER {self.averages}"
        if self.smoothing_percent is not None:
            yield f"SENS:PN:SMO:STAT {'ON' if self.smoothing_percent > 0 else 'OFF'}"
            if self.smoothing_percent > 0:
                yield f"SENS:PN:SMO:APER {self.smoothing_percent!r}"
        yield f"SENS:PN:SPUR:OMIS {'ON' if self.list_spurs else 'OFF'}"
        start, stop = self.integrated_hz
        yield f"SENS:PN:FUNC:RANG {start!r},{stop!r}"
        yield f"SENS:PN:TEST {RESIDUAL_FM}"

    def description(self) -> dict[str, str]:
        """Names and values for the head of a table."""
        smoothing = self.smoothing_percent
        return {
            "start_hz": f"{self.start_hz:g}",
            "stop_hz": f"{self.stop_hz:g}",
            "correlations": str(self.correlations),
            "averages": str(self.averages),
            "reference": self.reference or "instrument's default",
            "smoothing_percent": "instrument's default" if smoothing is None else f"{smoothing:g}",
        }
