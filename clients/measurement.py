"""A phase noise measurement from set-up to trace, on a connected Instrument."""

import math
import time
from collections.abc import Callable
from datetime import datetime, timezone

from clients.instrument import NO_ERROR, Instrument, InstrumentError
from clients.results import AllanDeviation, Integrals, Spur, Trace
from clients.setup import Setup

TIMEOUT = -393416  # what a wait leaves in the error queue when the run has not ended in time
POLL_S = 0.05
NO_LEVEL = -1000.0  # dBc/Hz, for an offset outside of the trace or without data


def configure(instrument: Instrument, setup: Setup) -> None:
    """Sends the set-up. Raises InstrumentError, naming the command, at the first that the instrument refuses."""
    instrument.write("*CLS")
    while instrument.next_error()[0] != NO_ERROR:
        pass  # what earlier clients left behind is not ours
    for command in setup.commands():
        try:
            instrument.command(command)
        except InstrumentError as error:
            raise InstrumentError(f"{command}: {error}", error.code) from error


def _wait(instrument: Instrument, what: str) -> bool:
    """Waits for a millisecond. Returns whether what was waited for has come. Raises InstrumentError if the run failed.

    While a wait command waits the instrument answers nobody, so it is never asked for longer.
    """
    instrument.write(f"CALC:WAIT:AVER {what},1")
    code, text = instrument.next_error()
    if code not in (NO_ERROR, TIMEOUT):
        raise InstrumentError(f'{code},"{text}"', code)
    return code == NO_ERROR


def run(instrument: Instrument, progress: Callable[[int, int], None] = lambda averages, correlations: None) -> None:
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


def _spot(instrument: Instrument, offset_hz: float) -> float | None:
    level = instrument.number(f"CALC:PN:TRAC:SPOT? {offset_hz!r}")
    return level if level > NO_LEVEL else None


def _levels(instrument: Instrument, query: str) -> list[float]:
    levels = instrument.floats(query)
    return [level if math.isfinite(level) and level > NO_LEVEL else math.nan for level in levels]


def _spurs(instrument: Instrument) -> list[Spur]:
    offsets = instrument.floats("CALC:PN:TRAC:SPUR:FREQ?")
    levels = instrument.floats("CALC:PN:TRAC:SPUR:POW?")
    if len(offsets) != len(levels):
        raise InstrumentError(f"{len(offsets)} offsets and {len(levels)} levels of spurs")
    return [Spur(*pair) for pair in zip(offsets, levels)]


def _integrals(instrument: Instrument) -> Integrals:
    return Integrals.of_answers(
        instrument.number("CALC:PN:TRAC:FUNC:INT?"), instrument.number("CALC:PN:TRAC:FUNC:JITT?")
    )


def _integrals_with_spurs(instrument: Instrument) -> Integrals:
    """The figures go by the switch as it stands when they are asked for; the run that filled the list is over."""
    instrument.command("SENS:PN:SPUR:OMIS OFF")
    try:
        return _integrals(instrument)
    finally:
        instrument.command("SENS:PN:SPUR:OMIS ON")


def _residual_fm(instrument: Instrument, integrals: Integrals) -> float | None:
    return None if integrals.noise_dbc is None else float(instrument.query("CALC:PN:TEST?"))


def fetch(instrument: Instrument, setup: Setup, spot_offsets_hz: list[float]) -> Trace:
    """Reads the finished run's trace, spurs and figures. Spot offsets outside of the trace are left out."""
    offsets = instrument.floats("CALC:PN:TRAC:FREQ?")
    noise = _levels(instrument, "CALC:PN:TRAC:NOIS?")
    with_spurs = _levels(instrument, "CALC:PN:TRAC:POW?")
    if not offsets or not len(offsets) == len(noise) == len(with_spurs):
        raise InstrumentError(f"the trace has {len(offsets)} offsets, {len(noise)} and {len(with_spurs)} levels")
    spurs = _spurs(instrument) if setup.list_spurs else None
    start, stop = setup.integrated_hz
    integrals = _integrals(instrument)
    return Trace(
        identity=instrument.identity,
        taken=datetime.now(timezone.utc).astimezone(),
        setup=setup,
        carrier_hz=instrument.number("CALC:FREQ?"),
        power_dbm=instrument.number("CALC:POW?"),
        offsets_hz=offsets,
        noise_dbc_hz=noise,
        with_spurs_dbc_hz=with_spurs,
        spurs=spurs,
        spots=[(f, _spot(instrument, f)) for f in spot_offsets_hz if offsets[0] <= f <= offsets[-1]],
        range_hz=(max(start, offsets[0]), min(stop, offsets[-1])),
        integrals=integrals,
        with_spurs=_integrals_with_spurs(instrument) if spurs else None,
        residual_fm_hz=_residual_fm(instrument, integrals),
    )


def fetch_allan_deviation(instrument: Instrument, trace: Trace) -> AllanDeviation:
    """Lets the instrument convert the finished run's trace, which takes it a while, and reads the result. It is empty
    if the function range holds no two offsets."""
    instrument.command("CALC:PN:TRAC:FUNC:AVAR")
    taus = instrument.floats("CALC:PN:TRAC:FUNC:AVAR:TAU?")
    sigmas = instrument.floats("CALC:PN:TRAC:FUNC:AVAR:SIGM?")
    if len(taus) != len(sigmas):
        raise InstrumentError(f"the Allan deviation has {len(taus)} averaging times and {len(sigmas)} values")
    points = [(tau, sigma) for tau, sigma in zip(taus, sigmas) if 0 < sigma < math.inf]
    return AllanDeviation([tau for tau, _ in points], [sigma for _, sigma in points], trace.range_hz)
