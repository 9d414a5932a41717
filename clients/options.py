"""The options of measure.py."""

import argparse
import sys
from collections.abc import Callable
from pathlib import Path

from clients.command_line import Parser, add_address, existing_file
from clients.setup import EXTERNAL, SettingError, Setup
from clients.text import engineering_hz, typed_number

DECADES_HZ = tuple(10.0**n for n in range(-2, 8))
OF_SETTINGS = {
    "frequency_hz": "--frequency",
    "start_hz": "--start",
    "stop_hz": "--stop",
    "averages": "--averages",
    "correlations": "--correlations",
    "points_per_decade": "--ppd",
    "loop_hz": "--loop",
    "external_v": "--external-volts",
    "smoothing_percent": "--smoothing",
    "function_range_hz": "--range",
    "spots": "--spots",
}


class OptionError(Exception):
    """An option that is well written and cannot be, in one line."""


def explain(error: SettingError) -> str:
    """The error in the words of the command line."""
    return f"{OF_SETTINGS[error.setting]}: {error.reason}"


def number(text: str) -> float:
    """A reader for argparse, as the following ones."""
    try:
        return typed_number(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(str(error)) from None


def count(text: str) -> int:
    value = number(text)
    if abs(value) >= 2**63 or value != int(value):
        raise argparse.ArgumentTypeError(f"{text!r} is no count")
    return int(value)


def _percent(text: str) -> float:
    return number(text.removesuffix("%"))


def option(group, name: str, metavar: str | None, reader: Callable, purpose: str, **rest) -> None:
    group.add_argument(name, metavar=metavar, type=reader, help=purpose, **rest)


def parse(
    words: list[str] | None = None, prog: str = "measure.py", ready: dict[str, Path] | None = None
) -> argparse.Namespace:
    """The options of a measurement. `ready` is for a program that brings its own instrument: the address is not among
    the options then, and FILE options have these defaults. Wrong ones end the program with WRONG_USAGE."""
    from clients import sweep_options  # it reads numbers as they are read here

    if "--vco" in (sys.argv[1:] if words is None else words):
        return sweep_options.parse(words, prog, ready)
    setup, files = Setup(), ready or {}
    options = Parser(
        prog=prog,
        description="Measures the phase noise of the device under test and shows the result: figures, CSV files and "
        "pictures.",
        epilog="HZ and N take k, M and G in either case: 1k, 10m, 2.4 GHz. What the instrument does not take is "
        "refused before the run. Exit status: 0 done, 1 a file is amiss, 2 an option is, 3 the instrument was not "
        "reached, 4 it reported an error.",
    )
    if ready is None:
        add_address(options)
    group = options.add_argument_group("measurement")
    group.add_argument("--vco", action="store_true", help="sweep an oscillator instead; --vco --help tells its options")
    option(group, "--frequency", "HZ", number, "of the carrier (searched for)")
    option(group, "--start", "HZ", number, "lowest offset (%(default)g)", default=setup.start_hz)
    option(group, "--stop", "HZ", number, f"highest offset ({setup.stop_hz / 1e6:g}M)", default=setup.stop_hz)
    option(
        group,
        "--correlations",
        "N",
        count,
        "of the lowest stage; the lower the start, the more the higher stages get; ten times as many take 5 dB off the "
        "instrument's own noise (%(default)s, which take the hardware a quarter of an hour from 10 Hz on and 83 s from "
        "100 Hz on)",
        default=setup.correlations,
    )
    option(group, "--averages", "N", count, "traces averaged in dB (%(default)s)", default=setup.averages)
    option(group, "--ppd", "N", count, "points per decade (the instrument's default)")
    option(
        group,
        "--reference",
        None,
        str.upper,
        "which internal references (the instrument's default), or external ones, whose sensitivities are measured "
        "first",
        choices=("NORM", "LN", "HIGH", "EXT"),
    )
    beat_v, run_v = setup.external_v
    option(
        group,
        "--external-volts",
        ("BEAT", "RUN"),
        number,
        "of external references: where their sensitivities are measured, short of the carrier, and then for the run "
        f"({beat_v:g} {run_v:g})",
        nargs=2,
    )
    option(
        group,
        "--loop",
        "HZ",
        number,
        "bandwidth of the loops; wider ones hold noisier oscillators (automatic; if those do not lock, narrower or "
        "wider ones are tried). The design may have to raise it; the results say to what",
    )
    option(
        group,
        "--smoothing",
        "PERCENT",
        _percent,
        "aperture as a share of the trace; 0 is off (the instrument's default)",
    )
    group.add_argument(
        "--no-spurs", action="store_true", help="leave discrete lines in the noise instead of listing them"
    )
    option(
        group,
        "--range",
        ("FROM", "TO"),
        number,
        "offsets between which noise is integrated and the Allan deviation computed (the whole trace)",
        nargs=2,
    )
    group = options.add_argument_group("results")
    for name, purpose in (
        ("csv", "write trace, spurs and figures as comma-separated values"),
        ("png", "draw trace and spurs, with the figures"),
        ("allan_csv", "write the Allan deviation as comma-separated values"),
        ("allan_png", "draw the Allan deviation"),
        ("dut", "draw this DUT file's true noise as a thin line"),
    ):
        reader, default = existing_file if name == "dut" else Path, files.get(name)
        flag = f"--{name.replace('_', '-')}"
        option(group, flag, "FILE", reader, f"{purpose} ({default or 'not'})", default=default)
    group.add_argument("--spots", metavar="HZ", type=number, nargs="+", help="offsets of the spot values (decades)")
    given = options.parse_args(words)
    if given.external_volts and given.reference != EXTERNAL:
        options.error(f"--external-volts goes with --reference {EXTERNAL}")
    return given


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
        external_v=tuple(options.external_volts) if options.external_volts else Setup.external_v,
    )


def spots_of(options: argparse.Namespace, setup: Setup) -> list[float]:
    """The spot offsets for a set-up. Raises SettingError for one that was asked for and is not in the trace."""
    asked = options.spots or [offset for offset in DECADES_HZ if setup.holds(offset)]
    for offset in asked:
        if not setup.holds(offset):
            ends = f"{engineering_hz(setup.start_hz)} to {engineering_hz(setup.stop_hz)}"
            raise SettingError("spots", f"{engineering_hz(offset)} is not in the trace, {ends}")
    return asked
