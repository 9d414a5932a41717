#!/usr/bin/python3
"""Measures a device with the model L's path on its bench, and draws the trace. Options that are not named here go to the
program model-l, whose --help tells them."""

import csv
import subprocess
import sys
import tempfile
from datetime import datetime
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(PROJECT))

from clients import outputs, plot
from clients.command_line import Parser, existing_file
from clients.dut_table import DutTable
from clients.results import Trace
from clients.run_info import PHASES, Channel, RunInfo
from clients.setup import Setup

PROGRAM = PROJECT / "build/release/virtual/model_l/app/model-l"
NOT_MEASURED = -1.0  # as an instrument tells it


def read_table(path: Path) -> tuple[dict[str, str], list[dict[str, str]]]:
    """Head and rows of the program's table."""
    lines = path.read_text().splitlines()
    head = dict(line[2:].split(": ", 1) for line in lines if line.startswith("# "))
    return head, list(csv.DictReader(line for line in lines if not line.startswith("#")))


def trace_of(head: dict[str, str], rows: list[dict[str, str]]) -> Trace:
    """Each level at the offset that it was read at; offsets that share a bin are one point."""
    levels = {float(row["read_at_hz"]): float(row["noise_dbc_hz"]) for row in rows if row["noise_dbc_hz"]}
    offsets = sorted(levels)
    noise = [levels[offset] for offset in offsets]
    loops, detectors = ([float(word) for word in head[name].split()] for name in ("loops_hz", "detectors_v_rad"))
    channels = tuple(Channel(k, NOT_MEASURED, loop, NOT_MEASURED) for k, loop in zip(detectors, loops))
    return Trace(
        identity=head["instrument"],
        taken=datetime.now(),
        setup=Setup(start_hz=offsets[0], stop_hz=offsets[-1], correlations=int(head["iterations"])),
        run=RunInfo(True, float(head["gain_db"]), channels, (0.0,) * len(PHASES)),
        carrier_hz=float(head["carrier_hz"]),
        power_dbm=float(head["power_dbm"]),
        offsets_hz=offsets,
        noise_dbc_hz=noise,
        with_spurs_dbc_hz=noise,
        range_hz=(offsets[0], offsets[-1]),
    )


def main() -> int:
    parser = Parser(description=__doc__)
    parser.add_argument("--dut", required=True, type=existing_file, metavar="FILE", help="the device under test (TOML)")
    parser.add_argument("--png", type=Path, metavar="FILE", default=Path("model-l.png"), help="default: model-l.png")
    parser.add_argument("--csv", type=Path, metavar="FILE", help="the trace as a table")
    parser.add_argument("--program", type=Path, default=PROGRAM, help=f"default: {PROGRAM.relative_to(PROJECT)}")
    options, words = parser.parse_known_args()
    if not options.program.exists():
        sys.exit(f"model_l: no {options.program}; cmake --build --preset release --target model-l builds it")
    with tempfile.TemporaryDirectory() as directory:
        table = Path(directory) / "trace.csv"
        command = [options.program, "--dut", options.dut, "--csv", table, *words]
        status = subprocess.run(command, check=False).returncode
        if not table.exists():
            return status
        trace, content = trace_of(*read_table(table)), table.read_bytes()
    law = DutTable.read(options.dut)
    written, failure = outputs.write([(options.csv, lambda: content), (options.png, lambda: plot.draw_trace(trace, law))])
    for path in written:
        print(f"wrote {path}")
    if failure:
        print(f"model_l: {failure}", file=sys.stderr)
    return 1 if failure else status


if __name__ == "__main__":
    sys.exit(main())
