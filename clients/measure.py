#!/usr/bin/python3
"""Measures the phase noise of the device under test, or sweeps an oscillator, and shows the result: figures, CSV files and
pictures."""

import os
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

try:
    from clients import failure, measurement, options, outputs, report, sweep, sweep_options, sweep_report
    from clients.command_line import WRONG_USAGE
    from clients.dut_table import DutTable
    from clients.instrument import Instrument, InstrumentError
    from clients.progress import PointsBar, ProgressBar
    from clients.setup import SettingError
except ModuleNotFoundError as missing:
    sys.exit(f"measure: this Python has no {missing.name}; tools/setup installs it for /usr/bin/python3")

FILE_AMISS = 1
NOT_REACHED = 3  # no connection, or it was lost
FAILED_RUN = 4  # the instrument ran and reported an error
PIPE_CLOSED = 141  # as of a program that the signal of a closed pipe has ended
MOST_SPURS = 20  # listed on the terminal; the CSV file has them all


def take_trace(instrument, setup, spots):
    bar = ProgressBar(setup.averages, setup.correlations)

    def tell(text):
        bar.end()
        print(text, file=sys.stderr)

    try:
        return measurement.measure(instrument, setup, spots, bar, tell)
    except KeyboardInterrupt:
        instrument.write("ABOR")
        raise
    finally:
        bar.end()


def trace_files(given, trace, table):
    """Paths, and what makes the contents of the files."""

    def picture():
        from clients import plot  # takes a moment to load, and not every use draws

        return plot.draw_trace(trace, table)

    return [(given.csv, trace.csv_table), (given.png, picture)]


def allan_files(given, trace, instrument):
    if not (given.allan_csv or given.allan_png):
        return []
    allan = measurement.fetch_allan_deviation(instrument, trace)
    if not allan.taus_s:
        print("no Allan deviation: its range of offsets holds less than two points of the trace", file=sys.stderr)
        return []

    def picture():
        from clients import plot

        return plot.draw_allan_deviation(allan, trace)

    return [(given.allan_csv, lambda: allan.csv_table(trace)), (given.allan_png, picture)]


def read_table(path):
    try:
        return DutTable.read(path)
    except OSError as error:
        raise options.OptionError(f"{path}: {error.strerror}") from error
    except ValueError as error:
        raise options.OptionError(f"{path}: {error}") from error


def run(instrument, given):
    """Returns the trace. A run that failed tells what it found."""
    asked = options.setup_of(given)
    try:
        setup = measurement.configure(instrument, asked)
        return take_trace(instrument, setup, options.spots_of(given, setup))
    except InstrumentError as error:
        if error.code is not None:
            print(*failure.lines(instrument, error.code), sep="\n", flush=True)
            error.hint = error.hint or failure.hint(instrument, asked, error.code)
        raise


def measure(given):
    table = read_table(given.dut) if given.dut else None
    outputs.check([given.csv, given.png, given.allan_csv, given.allan_png])
    with Instrument(*given.address) as instrument:
        trace = run(instrument, given)
        files, trouble = trace_files(given, trace, table), None
        try:
            files += allan_files(given, trace, instrument)
        except InstrumentError as error:  # what there is gets its files, and is shown
            trouble = error
    written, unwritten = outputs.write(files)
    print(*report.text_lines(trace, MOST_SPURS), *(f"wrote {path}" for path in written), sep="\n", flush=True)
    for error in (trouble, unwritten):
        if error is not None:
            raise error


def show_sweep(given, taken):
    """Returns what there is to say of files that were not written."""

    def picture():
        from clients import sweep_plot

        return sweep_plot.draw(taken)

    files = [(given.csv, taken.csv_table), (given.png, picture)] if taken.tune_v else []
    written, unwritten = outputs.write(files)
    print(*sweep_report.text_lines(taken), *(f"wrote {path}" for path in written), sep="\n", flush=True)
    return unwritten


def run_sweep(given, setup, before):
    """Leaves in `before` what puts the outputs back. Returns what ended the sweep early; None: nothing did."""
    bar = PointsBar(setup.points)
    try:
        with Instrument(*given.address) as instrument:
            before += sweep.states(instrument)
            sweep.configure(instrument, setup)
            sweep.run(instrument, bar)
    except InstrumentError as error:
        if error.code is None:
            raise
        error.hint = failure.sweep_hint(error.code)
        return error
    except KeyboardInterrupt as interrupt:
        if not before:
            raise
        return interrupt
    finally:
        bar.end()
    return None


def measure_sweep(given):
    outputs.check([given.csv, given.png])
    setup, before = sweep_options.setup_of(given), []
    trouble = run_sweep(given, setup, before)
    with Instrument(*given.address) as instrument:  # a new one: an interruption leaves an answer under way in the old
        sweep.stop(instrument)
        taken = sweep.fetch(instrument, setup)
        for command in before:
            instrument.write(command)
        instrument.query("*OPC?")
    if trouble is None and (missing := taken.points_without_noise()):
        trouble = failure.noise_missing(missing, len(taken.tune_v))
    unwritten = show_sweep(given, taken)
    if trouble or unwritten:
        raise trouble or unwritten


def give_up_output():
    """Nobody takes standard output any more; what is still in its buffer must not fail a second time."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def perform(given):
    """Measures with these options. Returns the exit status. Whatever goes wrong takes one line, and its likely cause a
    second one."""
    for stream in (sys.stdout, sys.stderr):
        stream.reconfigure(errors="replace")  # where there is no µ
    try:
        measure_sweep(given) if given.vco else measure(given)
        return 0
    except InstrumentError as error:
        reason, status = error, NOT_REACHED if error.code is None else FAILED_RUN
        if error.hint:
            reason = f"{error}\nmeasure: {error.hint}"
    except SettingError as error:
        reason, status = (sweep_options if given.vco else options).explain(error), WRONG_USAGE
    except options.OptionError as error:
        reason, status = error, WRONG_USAGE
    except outputs.FileError as error:
        reason, status = error, FILE_AMISS
    except BrokenPipeError:
        give_up_output()
        return PIPE_CLOSED
    except OSError as error:
        give_up_output()
        reason, status = f"standard output: {error.strerror}", FILE_AMISS
    print(f"measure: {reason}", file=sys.stderr)
    return status


if __name__ == "__main__":
    try:
        sys.exit(perform(options.parse()))
    except KeyboardInterrupt:
        sys.exit(130)
