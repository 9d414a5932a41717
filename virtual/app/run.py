"""The program behind ./run: starts the virtual instrument and measures the device under test, or serves clients."""

import argparse
import ipaddress
import os
import signal
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

from virtual.app.rig import DEFAULT_DUT, HOST, Rig, RigError


def port_number(text):
    number = int(text)
    if not 1 <= number <= 65535:
        raise ValueError
    return number


def address(text):
    return str(ipaddress.IPv4Address(text))


def arguments():
    parser = argparse.ArgumentParser(
        prog="./run",
        description="Runs the analyzer's firmware on virtual hardware. Without --serve it measures the device under "
        "test, prints the figures and spurs, writes trace.csv, trace.png, allan.csv and allan.png in the current "
        "directory, and stops.",
        epilog="In the figures run, options of the measurement may follow --, for instance "
        "./run -- --start 1 --correlations 10; clients/measure.py --help lists them.",
    )
    parser.add_argument("--serve", action="store_true", help="stay up for clients until Ctrl-C")
    parser.add_argument(
        "--dut",
        metavar="FILE",
        default=str(DEFAULT_DUT),
        help="the device under test (TOML); re-read when the file changes",
    )
    parser.add_argument("--serial", metavar="SN", help="the unit's serial number, which decides its boards")
    parser.add_argument(
        "--state", metavar="DIR", help="where the unit keeps its file tree between runs (default: a fresh one)"
    )
    parser.add_argument("--seed", metavar="N", type=int, default=1, help="seed of all noise (default: 1)")
    parser.add_argument(
        "--realtime",
        action="store_true",
        help="captures and waits take the hardware's time (default: waits cost nothing)",
    )
    parser.add_argument(
        "--port", metavar="N", type=port_number, help="where TCP listens (default: 18, or 2018 where that is not to be had)"
    )
    parser.add_argument(
        "--listen",
        metavar="ADDRESS",
        type=address,
        default=HOST,
        help=f"where clients find it; 0.0.0.0 opens it to every network of this machine (default: {HOST})",
    )
    parser.add_argument("--verbose", action="store_true", help="show the firmware's own debug channel")
    parser.add_argument("measurement", nargs="*", metavar="OPTION", help="options for the measurement")
    options = parser.parse_args()
    if not Path(options.dut).is_file():
        parser.error(f"there is no file {options.dut}")
    if options.serve and options.measurement:
        parser.error("options of the measurement do not go with --serve")
    return options


def serve(rig):
    """Waits for Ctrl-C. Returns the exit status."""
    print(f"ready tcp={rig.host}:{rig.port}", flush=True)
    try:
        os.waitid(os.P_PID, rig.process.pid, os.WEXITED | os.WNOWAIT)
    except KeyboardInterrupt:
        return 0
    if rig.process.wait() == 0:
        return 0  # switched off by a command
    raise rig.died()


def measure(rig, options):
    from clients import measure as client

    words = [f"{rig.host}:{rig.port}", "--dut", options.dut, "--csv", "trace.csv", "--png", "trace.png"]
    words += ["--allan-csv", "allan.csv", "--allan-png", "allan.png"]
    if not options.realtime:
        words += ["--start", "1", "--correlations", "1000"]  # three hours on the hardware, free of charge here
    return client.main([*words, *options.measurement])


def main():
    options = arguments()
    # Both ways to be ended take the same orderly path; a shell's background job starts with SIGINT ignored.
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, signal.default_int_handler)
    rig = Rig(
        dut=options.dut,
        state=options.state,
        serial=options.serial,
        seed=options.seed,
        port=options.port,
        listen=options.listen,
        realtime=options.realtime,
        verbose=options.verbose,
    )
    try:
        with rig:
            status = serve(rig) if options.serve else measure(rig, options)
        if rig.process.returncode != 0:
            raise rig.died()
        return status
    except RigError as error:
        if not error.told:
            print(f"run: {error}", file=sys.stderr)
        return error.status
    except KeyboardInterrupt:
        return 0 if options.serve else 128 + signal.SIGINT


if __name__ == "__main__":
    sys.exit(main())
