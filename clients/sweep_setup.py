"""The settings of a sweep of an oscillator over its tune voltage."""

from collections.abc import Callable, Iterator
from dataclasses import dataclass

from clients.setup import SettingError

MOST_SPOTS = 4
SUPPLY = "SOUR:SUPP1:STAT"
TUNE = "SOUR:TUNE:DUT:STAT"


@dataclass(frozen=True)
class SweepSetup:
    """What to measure."""

    start_v: float = 0.0  # tune voltage
    stop_v: float = 5.0
    points: int = 20
    supply_v: float | None = None  # None: as it is set, and on or off as it is
    crystal: bool = False
    spots_hz: tuple[float, ...] = (1e4, 1e5, 1e6, 1e7)  # offsets of the noise; none: no noise
    pushing: bool = True
    delay_s: float | None = None  # after a tune step; None: as the analog board needs

    def limited(self) -> Iterator[tuple[str, str, float]]:
        """Field, the command that knows its limits, value."""
        yield "start_v", "SENS:VCO:VOLT:STAR", self.start_v
        yield "stop_v", "SENS:VCO:VOLT:STOP", self.stop_v
        yield "points", "SENS:VCO:VOLT:POIN", self.points
        if self.supply_v is not None:
            yield "supply_v", "SOUR:SUPP1:VOLT", self.supply_v

    def check(self, number: Callable[[str], float]) -> None:
        """Raises SettingError for the first setting outside of its limits, which `number` asks for."""
        for name, header, value in self.limited():
            low, high = (number(f"{header}? {end}") for end in ("MIN", "MAX"))
            if not low <= value <= high:
                raise SettingError(name, f"{value:g} is outside of {low:g} to {high:g}")
        if not self.start_v < self.stop_v and self.points > 1:
            raise SettingError("stop_v", f"the sweep would go from {self.start_v:g} to {self.stop_v:g} V")

    def commands(self) -> Iterator[str]:
        """To an instrument that has just been reset."""
        yield "SENS:MODE VCO"
        yield from (f"{header} {value!r}" for name, header, value in self.limited() if name != "supply_v")
        yield f"SENS:VCO:TYPE {'VCXO' if self.crystal else 'VCO'}"
        spots = [*self.spots_hz, *[0.0] * (MOST_SPOTS - len(self.spots_hz))]
        yield f"SENS:VCO:TEST:PN:OFFS {','.join(map(repr, spots))}"
        for name, wanted in (("PN", bool(self.spots_hz)), ("KPUS", self.pushing)):
            yield f"SENS:VCO:TEST:{name} {'ON' if wanted else 'OFF'}"
        yield from (f"SENS:VCO:TEST:{name} ON" for name in ("FREQ", "KVCO", "POW", "ISUP"))
        yield f"DIAG:VCO:TUNE:DEL {round(1e6 * (self.delay_s or 0))}"

    def power_up(self) -> Iterator[str]:
        """Brings the oscillator to the first point, where it can be searched over the whole range."""
        if self.supply_v is not None:
            yield f"SOUR:SUPP1:VOLT {self.supply_v!r}"
            yield f"{SUPPLY} ON"
        yield f"SOUR:TUNE:DUT:VOLT {self.start_v!r}"
        yield f"{TUNE} ON"
