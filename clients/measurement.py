"""A phase noise measurement from set-up to trace, on a connected Instrument."""

import math
import time
from bisect import bisect_left
from collections.abc import Callable
from dataclasses import replace
from datetime import datetime, timezone

from clients.failure import LOCK_FAILED
from clients.instrument import NO_ERROR, Instrument, InstrumentError
from clients.results import AllanDeviation, Integrals, Spot, Spur, Trace
from clients.run_info import RunInfo
from clients.setup import EXTERNAL, Setting, Setup
from clients.text import engineering_hz

TIMEOUT = -393416  # what a wait leaves in the error queue when the run has not ended in time
SEARCH_FAILED = -200
SEARCH = "SENS:FREQ:EXEC"
WIDER_LOOPS_HZ = (1000.0,)  # the widest that can be set, for oscillators that slip the automatic one
NARROWER_LOOPS_HZ = (50.0, 20.0, 10.0)  # where no filter gives the automatic one: low carriers, the low-noise reference
LOUD_V = 0.005  # RMS at the detector; at the lowest gain there are tens of mV
JUDGED_UP_TO = 10.0  # times the loop bandwidth; offsets from there on may hold little of what the detectors carry
POLL_S = 0.05
NO_LEVEL = -1000.0  # dBc/Hz, for an offset outside of the trace or without data
POINTS_BESIDE_SPOT = 3  # on either side go into the instrument's mean; at the ends of the trace it takes one side's


def send(instrument: Instrument, command: str) -> None:
    try:
        instrument.command(command)
    except InstrumentError as error:
        raise InstrumentError(f"{command}: {error}", error.code) from error


def clear_errors(instrument: Instrument) -> None:
    """What earlier clients left behind is not ours."""
    instrument.write("*CLS")
    while instrument.next_error()[0] != NO_ERROR:
        pass


def _limits(instrument: Instrument, setting: Setting) -> tuple[float, float]:
    return instrument.number(f"{setting.header}? MIN"), instrument.number(f"{setting.header}? MAX")


def configure(instrument: Instrument, setup: Setup) -> Setup:
    """Resets the instrument, sends the set-up and, unless that names a carrier, lets the instrument look for one over
    its whole range: after a reset a run alone looks near the last carrier only. Returns the set-up that is in force.
    Raises SettingError if the instrument does not take a number, and InstrumentError, naming the command, at the first
    that it refuses."""
    clear_errors(instrument)
    setup.check(lambda setting: _limits(instrument, setting))
    send(instrument, "*RST")
    for command in setup.commands():
        send(instrument, command)
    if setup.frequency_hz is None:
        try:
            send(instrument, SEARCH)
        except InstrumentError as error:
            if error.code != SEARCH_FAILED:  # the run repeats the search, and says better what is amiss
                raise
    if setup.reference == EXTERNAL:
        for command in setup.external_commands():
            send(instrument, command)
    return setup.in_force(instrument.query)


def _wait(instrument: Instrument, what: str) -> bool:
    """Waits for a millisecond. Returns whether what was waited for has come. Raises InstrumentError if the run failed.

    While a wait command waits this connection gets no other answer, so it is never asked for longer.
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


def _spot(instrument: Instrument, trace: Trace, offset_hz: float) -> Spot:
    """The instrument's mean where it has points on both sides, at the ends of the trace the trace's own value: a mean
    of one side's points is 3 dB off where the noise falls steeply."""
    above = bisect_left(trace.offsets_hz, offset_hz, 1)
    is_mean = POINTS_BESIDE_SPOT <= above < len(trace.offsets_hz) - POINTS_BESIDE_SPOT
    value = instrument.number(f"CALC:PN:TRAC:SPOT? {offset_hz!r}") if is_mean else trace.level_at(offset_hz)
    return Spot(offset_hz, value if value > NO_LEVEL else None, is_mean)


def fetch(instrument: Instrument, setup: Setup, spot_offsets_hz: list[float]) -> Trace:
    """Reads the finished run's trace, spurs and figures. Spot offsets outside of the set-up are left out."""
    offsets = instrument.floats("CALC:PN:TRAC:FREQ?")
    noise = _levels(instrument, "CALC:PN:TRAC:NOIS?")
    with_spurs = _levels(instrument, "CALC:PN:TRAC:POW?")
    if not offsets or not len(offsets) == len(noise) == len(with_spurs):
        raise InstrumentError(f"the trace has {len(offsets)} offsets, {len(noise)} and {len(with_spurs)} levels")
    spurs = _spurs(instrument) if setup.list_spurs else None
    start, stop = setup.integrated_hz
    integrals = _integrals(instrument)
    trace = Trace(
        identity=instrument.identity,
        taken=datetime.now(timezone.utc).astimezone(),
        setup=setup,
        run=RunInfo.read(instrument),
        carrier_hz=instrument.number("CALC:FREQ?"),
        power_dbm=instrument.number("CALC:POW?"),
        offsets_hz=offsets,
        noise_dbc_hz=noise,
        with_spurs_dbc_hz=with_spurs,
        spurs=spurs,
        range_hz=(max(start, offsets[0]), min(stop, offsets[-1])),
        integrals=integrals,
        with_spurs=_integrals_with_spurs(instrument) if spurs else None,
        residual_fm_hz=_residual_fm(instrument, integrals),
    )
    trace.spots = [_spot(instrument, trace, offset) for offset in spot_offsets_hz if setup.holds(offset)]
    return trace


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


def _seems_to_slip(trace: Trace) -> bool:
    """Loops that go round fill the detectors, so the gain had to be the lowest; but each goes round by itself, so that
    nothing of it stays in the correlation. A trace from far above the loops' bandwidth does not tell."""
    channel = trace.run.channels[0]
    if trace.run.gain_db > 0 or trace.offsets_hz[0] > JUDGED_UP_TO * channel.bandwidth_hz:
        return False
    levels = [0.0 if math.isnan(level) else 10 ** (level / 10) for level in trace.with_spurs_dbc_hz]
    widths = [right - left for left, right in zip(trace.offsets_hz, trace.offsets_hz[1:])]
    phase_rad = math.sqrt(2 * sum(width * level for width, level in zip(widths, levels)))
    return phase_rad * channel.detector_v_rad < LOUD_V


def _use_loop(instrument: Instrument, setup: Setup, loop_hz: float) -> Setup:
    send(instrument, f"SENS:PN:LOB {loop_hz!r}")
    send(instrument, "SENS:PN:LOB:AUTO OFF")
    return replace(setup, loop_hz=instrument.number("SENS:PN:LOB?"))


def measure(
    instrument: Instrument,
    setup: Setup,
    spot_offsets_hz: list[float],
    progress: Callable[[int, int], None],
    tell: Callable[[str], None],
) -> Trace:
    """A run and its results. If the automatic loops do not hold the carrier, further runs follow, with narrower ones
    where no filter gives the automatic bandwidth and with the widest where the carrier slips, telling so; the set-up of
    the trace says what was in force. Raises InstrumentError if the last run fails."""
    others: list[float] | None = None if setup.loop_hz is None else []  # None: none failed yet
    while True:
        trace = failure = None
        try:
            run(instrument, progress)
            trace = fetch(instrument, setup, spot_offsets_hz)
        except InstrumentError as error:
            if error.code != LOCK_FAILED:
                raise
            failure = error
        if trace is not None and not _seems_to_slip(trace):
            return trace
        no_filter = failure is not None and RunInfo.read(instrument).has_no_filter
        if others is None:
            others = list(NARROWER_LOOPS_HZ if no_filter else WIDER_LOOPS_HZ)
        if not others:
            if failure is None:
                tell("the loops slip: the detectors carry far more than the trace shows")
                return trace
            if no_filter:
                failure.hint = "no filter gives this loop, try a narrower one"
            raise failure
        trouble = "the loops slip" if failure is None else "lock failed"
        loop = "the automatic loop" if setup.loop_hz is None else f"a loop of {engineering_hz(setup.loop_hz)}"
        way = "no filter gives it, trying a narrower one" if no_filter else "trying a wider one"
        tell(f"{trouble} with {loop}, {way} of {engineering_hz(others[0])}")
        setup = _use_loop(instrument, setup, others.pop(0))
