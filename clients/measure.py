#!/usr/bin/python3
"""Measures the phase noise of the device under test and shows the result: figures, a CSV file and a picture."""

import argparse
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from clients import measurement
from clients.dut_table import DutTable
from clients.instrument import DEFAULT_PORT, Instrument, InstrumentError
from clients.text import engineering_hz

FAILED_RUN = 2  # the instrument ran and reported an error
NOT_REACHED = 3  # no connection, or it was lost
BAR_CELLS = 30


class ProgressBar:
    """One line on a terminal, silent elsewhere."""

    def __init__(self, setup, stream=sys.stderr):
        self.setup = setup
        self.stream = stream if stream.isatty() else None
        self.started = time.monotonic()

    def __call__(self, averages, correlations):
        if self.stream is None:
            return
        setup = self.setup
        total = setup.averages * setup.correlations
        done = min(averages * setup.correlations + correlations, total)
        filled = BAR_CELLS * done // total
        state = (
            f"average {min(averages + 1, setup.averages)}/{setup.averages}, "
            f"correlation {correlations}/{setup.correlations}"
            if done
            else "searching, locking, first capture"
        )
        elapsed = time.monotonic() - self.started
        bar = "█" * filled + "░" * (BAR_CELLS - filled)
        self.stream.write(f"\r[{bar}] {100 * done // total:3d} %  {elapsed:5.1f} s  {state}\033[K")
        self.stream.flush()

    def end(self):
        if self.stream is not None:
            self.stream.write("\r\033[K")
            self.stream.flush()


def host_and_port(text):
    host, _, port = text.partition(":")
    return host, int(port) if port else DEFAULT_PORT


def parser():
    setup = measurement.Setup()
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument(
        "address", metavar="HOST[:PORT]", type=host_and_port, help=f"the instrument (port {DEFAULT_PORT} unless told)"
    )
    group = options.add_argument_group("measurement")
    group.add_argument("--start", metavar="HZ", type=float, default=setup.start_hz, help="lowest offset (%(default)g)")
    group.add_argument("--stop", metavar="HZ", type=float, default=setup.stop_hz, help="highest offset (%(default)g)")
    group.add_argument(
        "--correlations",
        metavar="N",
        type=int,
        default=setup.correlations,
        help="more lower the instrument's own noise (%(default)s)",
    )
    group.add_argument(
        "--averages", metavar="N", type=int, default=setup.averages, help="traces averaged in dB (%(default)s)"
    )
    group.add_argument("--ppd", metavar="N", type=int, help="points per decade")
    group.add_argument(
        "--reference", choices=("NORM", "LN", "HIGH", "EXT"), help="which internal references, or external ones"
    )
    group.add_argument("--smoothing", metavar="PERCENT", type=float, help="aperture as a share of the trace; 0 is off")
    group = options.add_argument_group("results")
    group.add_argument("--csv", metavar="FILE", help="write the trace as comma-separated values")
    group.add_argument("--png", metavar="FILE", help="draw the trace")
    group.add_argument("--dut", metavar="FILE", help="draw this DUT file's true noise as a thin line")
    group.add_argument(
        "--spots",
        metavar="HZ",
        type=float,
        nargs="+",
        default=[10.0**n for n in range(8)],
        help="offsets of the spot values (decades)",
    )
    return options


def print_figures(trace):
    print(trace.identity)
    print(f"carrier  {trace.carrier_hz / 1e6:.6f} MHz")
    print(f"level    {trace.power_dbm:.2f} dBm")
    for offset, level in trace.spots:
        print(f"{engineering_hz(offset):>8} {level:8.2f} dBc/Hz")


def measure(options):
    setup = measurement.Setup(
        start_hz=options.start,
        stop_hz=options.stop,
        averages=options.averages,
        correlations=options.correlations,
        points_per_decade=options.ppd,
        reference=options.reference,
        smoothing_percent=options.smoothing,
    )
    table = DutTable.read(options.dut) if options.dut else None
    with Instrument(*options.address) as instrument:
        measurement.configure(instrument, setup)
        bar = ProgressBar(setup)
        try:
            measurement.run(instrument, bar)
        except KeyboardInterrupt:
            instrument.write("ABOR")
            raise
        finally:
            bar.end()
        trace = measurement.fetch(instrument, setup, options.spots)
    print_figures(trace)
    if options.csv:
        trace.write_csv(options.csv)
        print(f"wrote {options.csv}")
    if options.png:
        from clients import plot  # takes a moment to load, and not every use draws

        plot.draw(trace, options.png, table)
        print(f"wrote {options.png}")


def main(words=None):
    options = parser().parse_args(words)
    try:
        measure(options)
    except InstrumentError as error:
        print(f"measure: {error}", file=sys.stderr)
        return NOT_REACHED if error.code is None else FAILED_RUN
    except OSError as error:
        print(f"measure: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
