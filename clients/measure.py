#!/usr/bin/python3
"""Measures the phase noise of the device under test and shows the result: figures, CSV files and pictures."""

import argparse
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from clients import measurement, report
from clients.dut_table import DutTable
from clients.instrument import DEFAULT_PORT, Instrument, InstrumentError

FAILED_RUN = 2  # the instrument ran and reported an error
NOT_REACHED = 3  # no connection, or it was lost
BAR_CELLS = 30
MOST_SPURS = 20  # listed on the terminal; the CSV file has them all


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


def arguments(words=None):
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
    group.add_argument(
        "--no-spurs", action="store_true", help="leave discrete lines in the noise instead of listing them"
    )
    group.add_argument(
        "--range",
        metavar=("FROM", "TO"),
        type=float,
        nargs=2,
        help="offsets, Hz, between which noise is integrated and the Allan deviation computed (the whole trace)",
    )
    group = options.add_argument_group("results")
    group.add_argument("--csv", metavar="FILE", help="write trace, spurs and figures as comma-separated values")
    group.add_argument("--png", metavar="FILE", help="draw trace and spurs, with the figures")
    group.add_argument("--allan-csv", metavar="FILE", help="write the Allan deviation as comma-separated values")
    group.add_argument("--allan-png", metavar="FILE", help="draw the Allan deviation")
    group.add_argument("--dut", metavar="FILE", help="draw this DUT file's true noise as a thin line")
    group.add_argument(
        "--spots",
        metavar="HZ",
        type=float,
        nargs="+",
        default=[10.0**n for n in range(8)],
        help="offsets of the spot values (decades)",
    )
    given = options.parse_args(words)
    if given.range and not 0 < given.range[0] < given.range[1]:
        options.error("--range: FROM must be positive and below TO")
    return given


def write_trace(trace, table, options):
    if options.csv:
        trace.write_csv(options.csv)
        print(f"wrote {options.csv}")
    if options.png:
        from clients import plot  # takes a moment to load, and not every use draws

        plot.draw_trace(trace, options.png, table)
        print(f"wrote {options.png}")


def write_allan_deviation(allan, trace, options):
    if not allan.taus_s:
        print("no Allan deviation: its range of offsets holds less than two points of the trace")
        return
    if options.allan_csv:
        allan.write_csv(options.allan_csv, trace)
        print(f"wrote {options.allan_csv}")
    if options.allan_png:
        from clients import plot

        plot.draw_allan_deviation(allan, trace, options.allan_png)
        print(f"wrote {options.allan_png}")


def measure(options):
    setup = measurement.Setup(
        start_hz=options.start,
        stop_hz=options.stop,
        averages=options.averages,
        correlations=options.correlations,
        points_per_decade=options.ppd,
        reference=options.reference,
        smoothing_percent=options.smoothing,
        list_spurs=not options.no_spurs,
        function_range_hz=tuple(options.range) if options.range else None,
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
        for line in report.text_lines(trace, MOST_SPURS):
            print(line)
        write_trace(trace, table, options)  # before more is asked of the instrument
        if options.allan_csv or options.allan_png:
            write_allan_deviation(measurement.fetch_allan_deviation(instrument, trace), trace, options)


def main(words=None):
    options = arguments(words)
    for stream in (sys.stdout, sys.stderr):
        stream.reconfigure(errors="replace")  # where there is no µ
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
