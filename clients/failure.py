"""What to say of a run that failed: how far it came, and the likely cause."""

from collections.abc import Iterator

from clients import report
from clients.instrument import Instrument, InstrumentError
from clients.run_info import RunInfo
from clients.setup import EXTERNAL, Setup
from clients.text import carrier, engineering_hz, level

NO_SIGNAL = -131272
NO_BEAT = -196808
LOCK_FAILED = -262344
EXECUTION_ERROR = -200
LOWEST_DBM = -25  # at which a carrier is found
WEAK_DBM = -20  # at which a beat is good on most boards

NO_BEAT_HINT = (
    f"the carrier has no usable beat with the sources: below {WEAK_DBM} dBm it is too weak, and a unit whose serial "
    "number names no sources or analog boards has none (docs/serial-numbers.md); docs/limits.md tells the rest"
)
NO_EXTERNAL_HINT = (
    "two tunable oscillators near the carrier must stand at the reference inputs (of a virtual instrument "
    "[reference_a] and [reference_b] of its DUT file), and --external-volts suit them: docs/virtual-instrument.md"
)
LOCK_HINT = "noisy carriers want a wider --loop or --reference HIGH, quiet low ones a narrower loop: docs/limits.md"

NOISE_HINT = "where no noise is shown the loops did not lock; carriers below 40 MHz want --type VCXO: docs/limits.md"


def _no_signal_hint(instrument: Instrument) -> str:
    lowest, highest = (engineering_hz(instrument.number(f"SENS:FREQ? {end}")) for end in ("MIN", "MAX"))
    return (
        f"no carrier was found: is the device on and connected, above {LOWEST_DBM} dBm and between {lowest} and "
        f"{highest}? docs/limits.md"
    )


def hint(instrument: Instrument, setup: Setup, code: int | None) -> str | None:
    """The likely cause, in a line. None where the error says it all."""
    if code == NO_SIGNAL:
        return _no_signal_hint(instrument)
    if code == NO_BEAT:
        return NO_EXTERNAL_HINT if setup.reference == EXTERNAL else NO_BEAT_HINT
    return LOCK_HINT if code == LOCK_FAILED else None


def sweep_hint(code: int) -> str | None:
    """Of a sweep."""
    if code == NO_SIGNAL:
        return (
            "no oscillator was found at that tune voltage: does it have the --supply that it needs, and does it run there? "
            f"It wants {LOWEST_DBM} dBm"
        )
    return NOISE_HINT if code in (NO_BEAT, LOCK_FAILED) else None


def noise_missing(points: int, of: int) -> InstrumentError:
    """Of a sweep that has ended without an error that was heard."""
    error = InstrumentError(f"no noise at {points} of {of} points", EXECUTION_ERROR)
    error.hint = NOISE_HINT
    return error


def lines(instrument: Instrument, code: int | None) -> Iterator[str]:
    """What the run found before it failed. Nothing for one that did not start."""
    if code not in (NO_SIGNAL, NO_BEAT, LOCK_FAILED):
        return
    if code != NO_SIGNAL:
        yield f"carrier  {carrier(instrument.number('CALC:FREQ?'))}"
        yield f"level    {level(instrument.number('CALC:POW?'), 'dBm')}"
    yield from report.run_lines(RunInfo.read(instrument))
