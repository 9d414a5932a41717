#!/usr/bin/python3
"""Watches a long run without blocking the instrument."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

from clients import measurement
from clients.command_line import host_of_example
from clients.instrument import Instrument, InstrumentError

host, port = host_of_example(__doc__)
wanted = measurement.Setup(start_hz=100.0, stop_hz=10e6, averages=4)


def show(averages, correlations):
    print(f"average {averages} of {wanted.averages}, correlation {correlations} of {wanted.correlations}")


try:
    with Instrument(host, port) as analyzer:
        setup = measurement.configure(analyzer, wanted)  # what is in force
        measurement.run(analyzer, progress=show)
        trace = measurement.fetch(analyzer, setup, spot_offsets_hz=[1e3, 1e4, 1e5])
except InstrumentError as error:
    sys.exit(f"wait_with_progress: {error}")
for spot in trace.spots:
    print(f"{spot.offset_hz:10.0f} Hz {spot.level_dbc_hz:8.2f} dBc/Hz")
