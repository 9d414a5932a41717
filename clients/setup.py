"""The settings of a phase noise measurement."""

import math
from collections.abc import Callable, Iterator
from dataclasses import dataclass, replace

from clients.text import engineering_hz

RESIDUAL_FM = "M"  # its letter in the test set, the one way to it
TRUSTED_CORRELATIONS = 1000  # with fewer the instrument's own noise hides that of a good oscillator
EXTERNAL = "EXT"
EXTERNAL_MIN_V, EXTERNAL_MAX_V = 3.0, 20.0  # there is no query of these limits
ROUGH_SENSITIVITY_HZ_V = 10e3  # of external references, from which on their beat is recorded in fine steps
GAIN_FOR_THE_BEAT_DB = 12  # brings a beat above the 0.4 V from which on it counts


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
    correlations: int = TRUSTED_CORRELATIONS  # of the lowest stage; more lower the instrument's own noise
    points_per_decade: int | None = None
    reference: str | None = None  # NORM, LN (low noise), HIGH, EXT
    external_v: tuple[float, float] = (5.0, 12.0)  # of external references: to measure their sensitivities, and to run
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
        if self.reference not in (None, EXTERNAL):
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

    def external_commands(self) -> Iterator[str]:
        """For external references, once the internal ones have set the input path for the carrier: measures the
        sensitivities from their beat with it, then lets the loops reach their middle."""
        beat_v, _ = self.external_v
        yield f"SENS:PN:REF {EXTERNAL}"
        yield from (f"SENS:PN:REF{n}:VOLT {beat_v!r}" for n in (1, 2))
        yield from (f"SENS:PN:REF{n}:SENS {ROUGH_SENSITIVITY_HZ_V!r}" for n in (1, 2))
        yield f"SENS:PN:IFG {GAIN_FOR_THE_BEAT_DB}"
        yield "SENS:PN:REF1:SENS:EXEC"
        yield from (f"SENS:PN:REF{n}:VOLT {self.external_v[1]!r}" for n in (1, 2))
        yield "SENS:PN:IFG:AUTO ON"

    def check(self, limits: Callable[[Setting], tuple[float, float]]) -> None:
        """Raises SettingError for the first setting outside of its limits, and for offsets that hold nothing."""
        for volts in self.external_v:
            if not EXTERNAL_MIN_V <= volts <= EXTERNAL_MAX_V:
                span = f"{EXTERNAL_MIN_V:g} to {EXTERNAL_MAX_V:g} V"
                raise SettingError("external_v", f"{volts:g} V is outside of {span}")
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
        values["reference"] = EXTERNAL if external else INTERNAL_REFERENCES.get(int(query("SENS:ROSC:INT?")))
        return replace(self, **values, list_spurs=bool(int(query("SENS:PN:SPUR:OMIS?"))))

    def description(self) -> dict[str, str]:
        """Names and values for the head of a table."""
        default = "instrument's default"
        numbers = {setting.name: getattr(self, setting.name) for setting in SETTINGS if setting.name != "frequency_hz"}
        words = {name: default if value is None else f"{value:.9g}" for name, value in numbers.items()}
        loop_hz = words.pop("loop_hz")
        return {
            "carrier_is": "searched for" if self.frequency_hz is None else "given",
            **words,
            "reference": self.reference or default,
            "loop_setting_hz": "automatic" if self.loop_hz is None else loop_hz,
        }
