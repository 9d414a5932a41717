"""A phase noise measurement from set-up to trace, on a connected Instrument."""

import csv
import time
from dataclasses import dataclass, field
from datetime import datetime, timezone

from clients.instrument import NO_ERROR, InstrumentError

TIMEOUT = -393416  # what a wait leaves in the error queue when the run has not ended in time
POLL_S = 0.05


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

    def commands(self):
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


@dataclass
class Trace:
    """A finished measurement."""

    identity: str
    taken: datetime
    setup: Setup
    carrier_hz: float
    power_dbm: float
    offsets_hz: list[float]
    noise_dbc_hz: list[float]  # smoothed, as the instrument shows it
    spots: list[tuple[float, float]] = field(default_factory=list)  # offset Hz, dBc/Hz

    def write_csv(self, path):
        """Writes the figures as lines that start with "# " and the trace as comma-separated columns."""
        smoothing = self.setup.smoothing_percent
        header = {
            "instrument": self.identity,
            "date": self.taken.isoformat(timespec="seconds"),
            "carrier_hz": f"{self.carrier_hz:.6f}",
            "power_dbm": f"{self.power_dbm:.2f}",
            "start_hz": f"{self.setup.start_hz:g}",
            "stop_hz": f"{self.setup.stop_hz:g}",
            "correlations": self.setup.correlations,
            "averages": self.setup.averages,
            "reference": self.setup.reference or "instrument's default",
            "smoothing_percent": "instrument's default" if smoothing is None else f"{smoothing:g}",
        }
        with open(path, "w", newline="", encoding="utf-8") as file:
            file.writelines(f"# {name}: {value}\n" for name, value in header.items())
            rows = csv.writer(file, lineterminator="\n")
            rows.writerow(["offset_hz", "noise_dbc_per_hz"])
            rows.writerows(
                (f"{offset:.9g}", f"{noise:.3f}") for offset, noise in zip(self.offsets_hz, self.noise_dbc_hz)
            )


def configure(instrument, setup):
    """Sends the set-up. Raises InstrumentError, naming the command, at the first that the instrument refuses."""
    instrument.write("*CLS")
    while instrument.next_error()[0] != NO_ERROR:
        pass  # what earlier clients left behind is not ours
    for command in setup.commands():
        try:
            instrument.command(command)
        except InstrumentError as error:
            raise InstrumentError(f"{command}: {error}", error.code) from error


def _wait(instrument, what):
    """Waits for a millisecond. Returns whether what was waited for has come. Raises InstrumentError if the run failed.

    While a wait command waits the instrument answers nobody, so it is never asked for longer.
    """
    instrument.write(f"CALC:WAIT:AVER {what},1")
    code, text = instrument.next_error()
    if code not in (NO_ERROR, TIMEOUT):
        raise InstrumentError(f'{code},"{text}"', code)
    return code == NO_ERROR


def run(instrument, progress=lambda averages, correlations: None):
    """Starts a run and returns when it has ended. `progress` is called about 20 times a second with the averages done
    and the correlations done towards the next one. Raises InstrumentError if the run fails.

    The instrument counts correlations when it prepares a preliminary result, which it does when asked. Its count reads
    -1 from then until the result stands.
    """
    instrument.write("INIT")
    correlations = 0
    while not _wait(instrument, "ALL"):
        counted = int(instrument.query("CALC:PN:PREL:CORR?"))
        if counted >= 0:
            correlations = counted
            _wait(instrument, "NEXT")
        progress(int(instrument.query("CALC:PN:PREL:AVER?")), correlations)
        time.sleep(POLL_S)


def fetch(instrument, setup, spot_offsets_hz):
    """Reads the finished run's trace and figures. Spot offsets outside of the trace are left out."""
    offsets = instrument.floats("CALC:PN:TRAC:FREQ?")
    noise = instrument.floats("CALC:PN:TRAC:NOIS?")
    if not offsets or len(offsets) != len(noise):
        raise InstrumentError(f"the trace has {len(offsets)} offsets and {len(noise)} levels")
    spots = [
        (f, instrument.number(f"CALC:PN:TRAC:SPOT? {f!r}")) for f in spot_offsets_hz if offsets[0] <= f <= offsets[-1]
    ]
    return Trace(
        identity=instrument.identity,
        taken=datetime.now(timezone.utc).astimezone(),
        setup=setup,
        carrier_hz=instrument.number("CALC:FREQ?"),
        power_dbm=instrument.number("CALC:POW?"),
        offsets_hz=offsets,
        noise_dbc_hz=noise,
        spots=spots,
    )
