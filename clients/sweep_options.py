"""The options of measure.py --vco."""

import argparse
import tomllib
from dataclasses import replace
from pathlib import Path

from clients.command_line import Parser, add_address
from clients.options import count, number, option
from clients.setup import SettingError
from clients.sweep_setup import MOST_SPOTS, SweepSetup

OF_SETTINGS = {"start_v": "--start", "stop_v": "--stop", "points": "--points", "supply_v": "--supply"}


def _seconds(text: str) -> float:
    for suffix, scale in (("us", 1e-6), ("µs", 1e-6), ("ms", 1e-3), ("s", 1.0)):
        if text.endswith(suffix):
            return scale * number(text.removesuffix(suffix))
    return number(text)


def _setup_for(dut: Path | None) -> SweepSetup:
    """The defaults; of a DUT file that describes an oscillator its whole range and its supply. What is wrong with a file
    the instrument tells."""
    setup = SweepSetup()
    try:
        vco = tomllib.loads(dut.read_text())["vco"] if dut else None
        volts = [float(volt) for volt, _ in vco["tuning"]] if vco else []
        return replace(setup, start_v=volts[0], stop_v=volts[-1], supply_v=float(vco["supply_v"])) if vco else setup
    except (OSError, ValueError, KeyError, TypeError, IndexError):
        return setup


def parse(words: list[str] | None, prog: str, files: dict[str, Path] | None) -> argparse.Namespace:
    """The options of a sweep. `files` is of a program that brings its own instrument and wants all results; "dut" among
    them describes the oscillator. Wrong options end the program with WRONG_USAGE."""
    ready = files is not None
    setup = _setup_for(files.get("dut") if ready else None)
    options = Parser(
        prog=prog,
        usage=f"{prog}{'' if ready else ' HOST[:PORT]'} --vco [OPTION ...]",
        description="Sweeps the tune voltage of an oscillator that the instrument supplies and tunes, and shows "
        "frequency, tuning sensitivity, pushing, supply current, level and noise.",
        epilog="At the end the supply and the tune output are as they were before. After Ctrl-C, or where the oscillator "
        "stops, the points up to there are shown. Exit status: 0 done, 1 a file is amiss, 2 an option is, 3 the "
        "instrument was not reached, 4 it reported an error.",
    )
    if not ready:
        add_address(options)
    group = options.add_argument_group("sweep")
    group.add_argument("--vco", action="store_true", required=True, help="sweep an oscillator")
    option(group, "--start", "V", number, "first tune voltage (%(default)g)", default=setup.start_v)
    option(group, "--stop", "V", number, "last tune voltage (%(default)g)", default=setup.stop_v)
    option(group, "--points", "N", count, "tune voltages (%(default)s)", default=setup.points)
    supply = "what is set" if setup.supply_v is None else f"{setup.supply_v:g}"
    option(
        group, "--supply", "V", number, f"of the oscillator, from supply output 1 ({supply})", default=setup.supply_v
    )
    group.add_argument(
        "--type", type=str.upper, choices=("VCO", "VCXO"), default="VCO", help="which references the noise takes"
    )
    option(
        group,
        "--delay",
        "TIME",
        _seconds,
        "from a tune step to the count, such as 5ms, up to 10 s: longer than the oscillator needs (as the unit's own "
        "output needs)",
    )
    group.add_argument(
        "--spots",
        metavar="HZ",
        type=number,
        nargs="+",
        default=list(setup.spots_hz),
        help=f"offsets of the noise, up to {MOST_SPOTS} (10k 100k 1M 10M)",
    )
    group.add_argument("--no-noise", action="store_true", help="measure no noise, which takes most of the time")
    group.add_argument("--no-pushing", action="store_true", help="leave the supply voltage alone during the sweep")
    group = options.add_argument_group("results")
    for name, purpose in (("csv", "write a table, SI units"), ("png", "draw everything over the tune voltage")):
        default = Path(f"vco.{name}") if ready else None
        option(group, f"--{name}", "FILE", Path, f"{purpose} ({default or 'not'})", default=default)
    given = options.parse_args(words)
    if len(given.spots) > MOST_SPOTS:
        options.error(f"--spots: {len(given.spots)} offsets, {MOST_SPOTS} at most")
    if given.delay is not None and not 0 < given.delay <= 10:
        options.error(f"--delay: {given.delay:g} s is outside of 1 us to 10 s")
    return given


def explain(error: SettingError) -> str:
    """The error in the words of the command line."""
    return f"{OF_SETTINGS[error.setting]}: {error.reason}"


def setup_of(given: argparse.Namespace) -> SweepSetup:
    return SweepSetup(
        start_v=given.start,
        stop_v=given.stop,
        points=given.points,
        supply_v=given.supply,
        crystal=given.type == "VCXO",
        spots_hz=() if given.no_noise else tuple(given.spots),
        pushing=not given.no_pushing,
        delay_s=given.delay,
    )
