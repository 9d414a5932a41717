"""The settings of a phase noise measurement."""

import math
from collections.abc import Callable, Iterator
from dataclasses import dataclass, replace

from clients.text import engineering_hz

RESIDUAL_FM = "M"  # its letter in the test set, the one way to it


class SettingError(ValueError):
    """A setting that cannot be measured with, found before a run. `setting` is its field of Setup."""

    def __init__(self, setting: str, reason: str):
        super().__init__(f"{setting}: {reason}")
        self.setting = setting
        self.reason = reason


@dataclass(frozen=True)
class Setting:
    """A number among the settings."""

    name: str  # its field of Setup
    header: str  # its command; "?" behind it asks for the value in force, "? MIN" and "? MAX" for the limits
    text: Callable[[float], str] = "{:.12g}".format
    read: Callable[[str], float] = float
    off: float | None = None  # a value that switches it off and is within no limits


SETTINGS = (
    Setting("frequency_hz", "SENS:FREQ", engineering_hz),
    Setting("points_per_decade", "SENS:PN:PPD", read=int),
    Setting("start_hz", "SENS:PN:FREQ:STAR", engineering_hz),
    Setting("stop_hz", "SENS:PN:FREQ:STOP", engineering_hz),
    Setting("correlations", "SENS:PN:CORR", read=int),
    Setting("averages", "SENS:PN:AVER", read=int),
    Setting("smoothing_percent", "SENS:PN:SMO:APER", "{:g} %".format, off=0),
    Setting("loop_hz", "SENS:PN:LOB", engineering_hz),
)
INTERNAL_REFERENCES = {1: "NORM", 2: "HIGH", 3: "LN"}  # by the answer to SENS:ROSC:INT?


@dataclass
class Setup:
    """What to measure. None leaves the instrument's default."""

    frequency_hz: float | None = None  # of the carrier; None: search for it
    start_hz: float = 10.0
    stop_hz: float = 50e6
    averages: int = 1  # traces averaged in dB
    correlations: int = 10  # cross-correlations of the lowest stage; more lower the instrument's own noise
    points_per_decade: int | None = None
    reference: str | None = None  # NORM, LN (low noise), HIGH, EXT
    loop_hz: float | None = None  # bandwidth of the loops that hold the sources on the carrier; None: automatic
    smoothing_percent: float | None = None  # share of the trace that one point is averaged over; 0 switches it off
    list_spurs: bool = True  # take discrete lines out of the noise and list them
    function_range_hz: tuple[float, float] | None = None  # what is integrated; None: the whole trace

    @property
    def integrated_hz(self) -> tuple[float, float]:
        return self.function_range_hz or (self.start_hz, self.stop_hz)

    def holds(self, offset_hz: float) -> bool:
        """Whether the trace will hold the offset."""
        return self.start_hz <= offset_hz <= self.stop_hz

    def commands(self) -> Iterator[str]:
        """To an instrument that has just been reset."""
        yield "SENS:MODE PN"
        if self.reference is not None:
            yield f"SENS:PN:REF {self.reference}"
        for setting in SETTINGS:
            value = getattr(self, setting.name)
            if value is not None and value != setting.off:
                yield f"{setting.header} {value!r}"
        if self.smoothing_percent is not None:
            yield f"SENS:PN:SMO:STAT {'ON' if self.smoothing_percent > 0 else 'OFF'}"
        yield f"SENS:PN:SPUR:OMIS {'ON' if self.list_spurs else 'OFF'}"
        start, stop = self.integrated_hz
        yield f"SENS:PN:FUNC:RANG {start!r},{stop!r}"
        yield f"SENS:PN:TEST {RESIDUAL_FM}"
        yield f"SENS:PN:LOB:AUTO {'ON' if self.loop_hz is None else 'OFF'}"
        if self.frequency_hz is not None:
            yield "SENS:FREQ:AUTO OFF"

    def check(self, limits: Callable[[Setting], tuple[float, float]]) -> None:
        """Raises SettingError for the first setting outside of its limits, and for offsets that hold nothing."""
        for setting in SETTINGS:
            value = getattr(self, setting.name)
            if value is None or value == setting.off:
                continue
            low, high = limits(setting)
            if not low <= value <= high:
                span = f"{setting.text(low)} to {setting.text(high)}"
                raise SettingError(setting.name, f"{setting.text(value)} is outside of {span}")
        trace = f"{engineering_hz(self.start_hz)} to {engineering_hz(self.stop_hz)}"
        if not self.start_hz < self.stop_hz:
            raise SettingError("stop_hz", f"the trace would go from {trace}")
        start, stop = self.integrated_hz
        if not (start < stop and start < self.stop_hz and stop > self.start_hz):
            raise SettingError(
                "function_range_hz",
                f"{engineering_hz(start)} to {engineering_hz(stop)} holds nothing of the trace, {trace}",
            )

    def in_force(self, query: Callable[[str], str]) -> "Setup":
        """This set-up with what the instrument answers to have understood."""
        values = {setting.name: setting.read(query(f"{setting.header}?")) for setting in SETTINGS}
        if self.frequency_hz is None:
            values["frequency_hz"] = None
        if int(query("SENS:PN:LOB:AUTO?")):
            values["loop_hz"] = None
        if not int(query("SENS:PN:SMO:STAT?")):
            values["smoothing_percent"] = 0.0
        external = query("SOUR:ROSC:SOUR?").startswith("EXT")
        values["reference"] = "EXT" if external else INTERNAL_REFERENCES.get(int(query("SENS:ROSC:INT?")))
        return replace(self, **values, list_spurs=bool(int(query("SENS:PN:SPUR:OMIS?"))))

    def description(self) -> dict[str, str]:
        """Names and values for the head of a table."""
        default = "instrument's default"
        numbers = {setting.name: getattr(self, setting.name) for setting in SETTINGS if setting.name != "frequency_hz"}
        words = {name: default if value is None else f"{value:.9g}" for name, value in numbers.items()}
        if self.loop_hz is None:
            words["loop_hz"] = "automatic"
        return {**words, "reference": self.reference or default}
