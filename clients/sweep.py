"""The sweep of an oscillator over its tune voltage, from set-up to result, on a connected Instrument."""

import math
from collections.abc import Callable
from dataclasses import dataclass, field
from datetime import datetime, timezone

from clients.instrument import NO_ERROR, Instrument, InstrumentError
from clients.measurement import NO_LEVEL, SEARCH, SEARCH_FAILED, TIMEOUT, clear_errors, send
from clients.results import cell, table
from clients.sweep_setup import SUPPLY, TUNE, SweepSetup

POLL_MS = 50
NO_VOLTAGE = -10.0  # of a point that has not been measured


@dataclass
class Sweep:
    """What was measured, a number a point; nan: not measured. `whole` is False for one that ended early."""

    identity: str
    taken: datetime
    setup: SweepSetup
    whole: bool
    tune_v: list[float]
    frequency_hz: list[float]
    kvco_hz_v: list[float]
    kpush_hz_v: list[float]
    supply_a: list[float]
    power_dbm: list[float]
    noise_dbc_hz: list[list[float]] = field(default_factory=list)  # by spot, each by point

    def points_without_noise(self) -> int:
        """Points whose noise was asked for and failed. The error of one that passed between two waits is heard by nobody."""
        return sum(all(map(math.isnan, levels)) for levels in zip(*self.noise_dbc_hz))

    def csv_table(self) -> bytes:
        """The settings as lines that start with "# ", then a row a point, in SI units."""
        setup = self.setup
        head = {
            "instrument": self.identity,
            "date": self.taken.isoformat(timespec="seconds"),
            "type": "VCXO" if setup.crystal else "VCO",
            "supply_v": "as set" if setup.supply_v is None else f"{setup.supply_v:g}",
            "tune_delay_s": "as the board needs" if setup.delay_s is None else f"{setup.delay_s:g}",
            "points_asked_for": f"{setup.points}",
            "points": f"{len(self.tune_v)}",
            "ended": "at the last point" if self.whole else "early",
        }
        columns = ["tune_v", "frequency_hz", "kvco_hz_per_v", "kpush_hz_per_v", "supply_a", "power_dbm"]
        columns += [f"noise_dbc_hz_at_{offset:.9g}_hz" for offset in setup.spots_hz]
        forms = [".6g", ".10g", ".6g", ".6g", ".6g", ".2f", *[".2f"] * len(setup.spots_hz)]
        series = (self.tune_v, self.frequency_hz, self.kvco_hz_v, self.kpush_hz_v, self.supply_a, self.power_dbm)
        rows = zip(*series, *self.noise_dbc_hz)
        return table(head, columns, ([cell(value, form) for value, form in zip(row, forms)] for row in rows))


def configure(instrument: Instrument, setup: SweepSetup) -> None:
    """Resets the instrument, sends the set-up, brings the oscillator to its first point and lets the instrument look for
    it. Raises SettingError if the instrument does not take a number, and InstrumentError at the first command that it
    refuses."""
    clear_errors(instrument)
    setup.check(instrument.number)
    send(instrument, "*RST")
    for command in (*setup.commands(), *setup.power_up()):
        send(instrument, command)
    try:
        send(instrument, SEARCH)
    except InstrumentError as error:
        if error.code != SEARCH_FAILED:  # the sweep repeats the search, and says better what is amiss
            raise


def _wait(instrument: Instrument, what: str) -> InstrumentError | None:
    """Waits and returns the error that came of it, with the code TIMEOUT where what was waited for has not come."""
    instrument.write(f"CALC:VCO:WAIT {what}")
    code, text = instrument.next_error()
    return None if code == NO_ERROR else InstrumentError(f'{code},"{text}"', code)


def _is_timeout(error: InstrumentError | None) -> bool:
    return error is not None and error.code == TIMEOUT


def run(instrument: Instrument, progress: Callable[[int], None]) -> None:
    """Starts a sweep and returns when it has ended. `progress` is called with the points that are done. Raises
    InstrumentError if the sweep fails, and, once it has ended, if points are without noise: that costs them nothing else."""
    failure = None
    instrument.write("INIT")
    while _is_timeout(ended := _wait(instrument, "ALL,1")):
        error = _wait(instrument, f"NEXT,{POLL_MS}")  # with a point comes the error of its noise
        if not _is_timeout(error):
            failure = error or failure
        progress(int(instrument.query("CALC:VCO:ITER?")))
    if failure := ended or failure:
        raise failure


def stop(instrument: Instrument) -> None:
    """Ends a sweep, if there is one; what it has measured stays."""
    instrument.write("ABOR")
    while _is_timeout(_wait(instrument, "ALL,1")):
        pass
    clear_errors(instrument)


def _levels(values: list[float]) -> list[float]:
    return [value if value > NO_LEVEL else math.nan for value in values]


def fetch(instrument: Instrument, setup: SweepSetup) -> Sweep:
    """Reads what there is."""
    tune_v = instrument.floats("CALC:VCO:TRAC:VOLT?")
    measured = sum(volts > NO_VOLTAGE for volts in tune_v)
    whole = measured == setup.points

    def column(query: str) -> list[float]:
        return instrument.floats(f"CALC:VCO:TRAC:{query}")[:measured]

    kvco = column("KVCO?")
    if (not whole or measured == 1) and kvco:
        kvco[-1] = math.nan  # comes with the point behind it
    return Sweep(
        identity=instrument.identity,
        taken=datetime.now(timezone.utc).astimezone(),
        setup=setup,
        whole=whole,
        tune_v=tune_v[:measured],
        frequency_hz=column("FREQ?"),
        kvco_hz_v=kvco,
        kpush_hz_v=column("KPUS?") if setup.pushing else [math.nan] * measured,
        supply_a=column("ISUP?"),
        power_dbm=_levels(column("POW?")),
        noise_dbc_hz=[_levels(column(f"PN? {n + 1}")) for n in range(len(setup.spots_hz))],
    )


def states(instrument: Instrument) -> list[str]:
    """Commands that put the outputs of the oscillator back to how they are now."""
    return [f"{output} {'ON' if int(instrument.number(f'{output}?')) else 'OFF'}" for output in (TUNE, SUPPLY)]
