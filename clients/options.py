"""The options of measure.py."""

import argparse
from pathlib import Path
from typing import NoReturn

from clients.instrument import DEFAULT_PORT
from clients.setup import SettingError, Setup
from clients.text import engineering_hz, typed_number

NOTHING_DONE = 1  # exit status: an option or a file is amiss
HIGHEST_PORT = 65535
DECADES_HZ = tuple(10.0**n for n in range(-2, 8))
OF_SETTINGS = {
    "frequency_hz": "--frequency",
    "start_hz": "--start",
    "stop_hz": "--stop",
    "averages": "--averages",
    "correlations": "--correlations",
    "points_per_decade": "--ppd",
    "loop_hz": "--loop",
    "smoothing_percent": "--smoothing",
    "function_range_hz": "--range",
    "spots": "--spots",
}


class Parser(argparse.ArgumentParser):
    """Says in one line what is wrong."""

    def error(self, message: str) -> NoReturn:
        self.exit(NOTHING_DONE, f"measure: {message}; --help tells the options\n")


def explain(error: SettingError) -> str:
    """The error in the words of the command line."""
    return f"{OF_SETTINGS[error.setting]}: {error.reason}"


def _number(text: str) -> float:
    try:
        return typed_number(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(str(error)) from None


def _count(text: str) -> int:
    number = _number(text)
    if abs(number) >= 2**63 or number != int(number):
        raise argparse.ArgumentTypeError(f"{text!r} is no count")
    return int(number)


def _percent(text: str) -> float:
    return _number(text.removesuffix("%"))


def host_and_port(text: str) -> tuple[str, int]:
    host, colon, port = text.rpartition(":")
    if not colon:
        return text, DEFAULT_PORT
    if not host or not port.isdecimal() or not 0 < int(port) <= HIGHEST_PORT:
        raise argparse.ArgumentTypeError(f"{text!r} is no HOST:PORT")
    return host, int(port)


def parse(words: list[str] | None = None) -> argparse.Namespace:
    setup = Setup()
    options = Parser(
        description="Measures the phase noise of the device under test and shows the result: figures, CSV files and "
        "pictures.",
        epilog="HZ and N take k, M and G in either case: 1k, 10m, 2.4 GHz. What the instrument does not take is "
        "refused before the run. Exit status: 0 done, 1 an option or a file is amiss, 2 the instrument reported an "
        "error, 3 it was not reached.",
    )
    options.add_argument(
        "address", metavar="HOST[:PORT]", type=host_and_port, help=f"the instrument (port {DEFAULT_PORT} unless told)"
    )
    group = options.add_argument_group("measurement")
    group.add_argument("--frequency", metavar="HZ", type=_number, help="of the carrier (searched for)")
    group.add_argument(
        "--start", metavar="HZ", type=_number, default=setup.start_hz, help="lowest offset (%(default)g)"
    )
    group.add_argument(
        "--stop", metavar="HZ", type=_number, default=setup.stop_hz, help=f"highest offset ({setup.stop_hz / 1e6:g}M)"
    )
    group.add_argument(
        "--correlations",
        metavar="N",
        type=_count,
        default=setup.correlations,
        help="more lower the instrument's own noise (%(default)s)",
    )
    group.add_argument(
        "--averages", metavar="N", type=_count, default=setup.averages, help="traces averaged in dB (%(default)s)"
    )
    group.add_argument("--ppd", metavar="N", type=_count, help="points per decade")
    group.add_argument(
        "--reference",
        type=str.upper,
        choices=("NORM", "LN", "HIGH", "EXT"),
        help="which internal references, or external ones, as they stand after a reset: 5 V and no sensitivities set",
    )
    group.add_argument(
        "--loop",
        metavar="HZ",
        type=_number,
        help="bandwidth of the loops; wider ones hold noisier oscillators (automatic; if those do not lock, narrower "
        "or wider ones are tried)",
    )
    group.add_argument(
        "--smoothing", metavar="PERCENT", type=_percent, help="aperture as a share of the trace; 0 is off"
    )
    group.add_argument(
        "--no-spurs", action="store_true", help="leave discrete lines in the noise instead of listing them"
    )
    group.add_argument(
        "--range",
        metavar=("FROM", "TO"),
        type=_number,
        nargs=2,
        help="offsets between which noise is integrated and the Allan deviation computed (the whole trace)",
    )
    group = options.add_argument_group("results")
    for option, purpose in (
        ("--csv", "write trace, spurs and figures as comma-separated values"),
        ("--png", "draw trace and spurs, with the figures"),
        ("--allan-csv", "write the Allan deviation as comma-separated values"),
        ("--allan-png", "draw the Allan deviation"),
        ("--dut", "draw this DUT file's true noise as a thin line"),
    ):
        group.add_argument(option, metavar="FILE", type=Path, help=purpose)
    group.add_argument("--spots", metavar="HZ", type=_number, nargs="+", help="offsets of the spot values (decades)")
    return options.parse_args(words)


def setup_of(options: argparse.Namespace) -> Setup:
    return Setup(
        frequency_hz=options.frequency,
        start_hz=options.start,
        stop_hz=options.stop,
        averages=options.averages,
        correlations=options.correlations,
        points_per_decade=options.ppd,
        reference=options.reference,
        loop_hz=options.loop,
        smoothing_percent=options.smoothing,
        list_spurs=not options.no_spurs,
        function_range_hz=tuple(options.range) if options.range else None,
    )


def spots_of(options: argparse.Namespace, setup: Setup) -> list[float]:
    """The spot offsets for a set-up. Raises SettingError for one that was asked for and is not in the trace."""
    asked = options.spots or [offset for offset in DECADES_HZ if setup.holds(offset)]
    for offset in asked:
        if not setup.holds(offset):
            ends = f"{engineering_hz(setup.start_hz)} to {engineering_hz(setup.stop_hz)}"
            raise SettingError("spots", f"{engineering_hz(offset)} is not in the trace, {ends}")
    return asked
