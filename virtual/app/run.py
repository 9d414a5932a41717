"""The program behind ./run: starts the virtual instrument and measures the device under test, or serves clients."""

import signal
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

from clients import options as client_options
from clients.command_line import Parser, existing_file, ip_address, port_number, whole_number
from virtual.app import private
from virtual.app.rig import DEFAULT_DUT, HOST, Rig, RigError

LARGEST_SEED = 2**64 - 1
ENDED_BY = {signal.SIGTERM, signal.SIGINT}


class RunParser(Parser):
    """Knows where options of the measurement belong."""

    def error(self, message):
        if message.startswith("unrecognized arguments: "):
            words = message.partition(": ")[2]
            message += f" (options of the measurement follow --, as in ./run -- {words})"
        super().error(message)


def published_ports(text):
    host, _, unit = text.partition(":")
    return (0 if host == "0" else port_number(host)), port_number(unit)


def measurement_options(words, dut):
    results = {"csv": "trace.csv", "png": "trace.png", "allan_csv": "allan.csv", "allan_png": "allan.png"}
    ready = {name: Path(path) for name, path in results.items()}
    return client_options.parse(words, prog="./run --", ready={**ready, "dut": Path(dut)})


def arguments(words):
    """What ./run and the measurement are told; what follows the first -- is the measurement's."""
    own, *rest = [words[: words.index("--")], words[words.index("--") + 1 :]] if "--" in words else [words]
    parser = RunParser(
        prog="./run",
        usage="./run [OPTION ...] [-- OPTION OF THE MEASUREMENT ...]",
        description="Runs the analyzer's firmware on virtual hardware. Without --serve it measures the device under "
        "test, prints the figures and spurs, writes trace.csv, trace.png, allan.csv and allan.png in the current "
        "directory, and stops.",
        epilog="Options of the measurement follow --, for instance ./run -- --start 1 --correlations 100; "
        "./run -- --help lists them.",
    )
    parser.add_argument("--serve", action="store_true", help="stay up for clients until Ctrl-C")
    parser.add_argument(
        "--service",
        metavar="OPERATION",
        help="carry out an operation of the workshop instead; \"help\" lists them, --state names the unit",
    )
    for name, metavar, reader, default, purpose in (
        ("--dut", "FILE", existing_file, DEFAULT_DUT, "the device under test (TOML); re-read when the file changes"),
        ("--serial", "SN", str, None, "the unit's serial number, which decides its boards (docs/serial-numbers.md)"),
        ("--state", "DIR", str, None, "where the unit keeps its file tree between runs (default: a fresh one)"),
        ("--seed", "N", whole_number("seed", 0, LARGEST_SEED), 1, "seed of all noise (default: 1)"),
        ("--port", "N", port_number, None, "where TCP listens (default: 18, or 2018 where that is not to be had)"),
        (
            "--listen",
            "ADDRESS",
            ip_address,
            HOST,
            f"where clients find it; 0.0.0.0 opens it to every network of this machine (default: {HOST})",
        ),
    ):
        parser.add_argument(name, metavar=metavar, type=reader, default=default, help=purpose)
    parser.add_argument(
        "--realtime",
        action="store_true",
        help="captures and waits take the hardware's time (default: waits cost nothing)",
    )
    parser.add_argument("--verbose", action="store_true", help="show the firmware's own debug channel")
    parser.add_argument(
        "--private",
        action="store_true",
        help="a network of its own: all ports at their real numbers, any number of units side by side",
    )
    parser.add_argument(
        "--publish",
        metavar="HOST:UNIT",
        type=published_ports,
        action="append",
        default=[],
        help="with --private --serve: a TCP port of this machine (0: any) that leads to one of the unit; may be repeated",
    )
    parser.add_argument(
        "--in",
        metavar="DIR COMMAND ...",
        dest="inside",
        help="runs a client in the network of the unit with --private whose state directory is DIR; it is the only option",
    )
    options = parser.parse_args(own)
    if options.inside:
        parser.error("--in comes first, and a command follows DIR")
    if options.publish and not (options.private and options.serve):
        parser.error("--publish goes with --private --serve")
    if options.serve and rest:
        parser.error("options of the measurement do not go with --serve")
    if options.service is not None and (options.serve or rest):
        parser.error("--service goes with neither --serve nor a measurement")
    options.measurement = None if options.serve or options.service is not None else measurement_options(rest[0] if rest else [], options.dut)
    return options


def serve(rig, published):
    """Waits for Ctrl-C. Returns the exit status."""
    # Signals are waited for, not handled: one that a handler takes just before a wait begins would not end that wait.
    signal.pthread_sigmask(signal.SIG_BLOCK, {*ENDED_BY, signal.SIGCHLD})
    try:
        published.open()
        print("ready", *(f"{name}={place}" for name, place in [*rig.places(), *published.places()]), flush=True)
        for line in rig.what_is_off():
            print(f"run: {line}", file=sys.stderr)
        while rig.process.poll() is None:
            if signal.sigwait({*ENDED_BY, signal.SIGCHLD}) in ENDED_BY:
                return 0
    finally:
        signal.pthread_sigmask(signal.SIG_UNBLOCK, {*ENDED_BY, signal.SIGCHLD})
    if rig.process.returncode == 0:
        return 0  # switched off by a command
    raise rig.died()


def measure(rig, options):
    from clients import measure as client

    options.measurement.address = (rig.host, rig.port)
    return client.perform(options.measurement)


def main():
    if sys.argv[1:2] == ["--in"] and len(sys.argv) > 3:
        private.run_in(sys.argv[2], sys.argv[3:])
    options = arguments(sys.argv[1:])
    listen = options.listen
    published = private.Published(listen, options.publish)
    if options.private:
        private.enter_new()
        listen = "0.0.0.0"  # loopback is all that there is
    # Both ways to be ended take the same orderly path; a shell's background job starts with SIGINT ignored.
    for number in ENDED_BY:
        signal.signal(number, signal.default_int_handler)
    rig = Rig(
        dut=options.dut,
        state=options.state,
        serial=options.serial,
        tell_boards=options.serial is not None,
        seed=options.seed,
        port=options.port,
        listen=listen,
        realtime=options.realtime,
        verbose=options.verbose,
    )
    try:
        if options.service is not None:
            return rig.service(options.service)
        with rig:
            if options.private:
                private.record(rig.state_directory)
            status = serve(rig, published) if options.serve else measure(rig, options)
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
    try:
        sys.exit(main())
    except private.PrivateError as failure:
        sys.exit(f"run: {failure}")
