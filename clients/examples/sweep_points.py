#!/usr/bin/python3
"""Sweeps an oscillator with PyVISA alone and prints each point as it comes."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

import pyvisa

from clients.command_line import host_of_example

POINTS = 20


def fetch(analyzer, query):
    """A column is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it."""
    analyzer.write(query)
    digits = int(analyzer.read_bytes(2)[1:])
    return memoryview(analyzer.read_bytes(int(analyzer.read_bytes(digits)))).cast("f").tolist()


def main(host, port):
    analyzer = pyvisa.ResourceManager("@py").open_resource(
        f"TCPIP::{host}::{port}::SOCKET", read_termination="\n", write_termination="\n", timeout=60_000
    )

    analyzer.write("*RST;*CLS")
    analyzer.write("SOUR:SUPP1:VOLT 12;:SOUR:SUPP1:STAT ON")
    analyzer.write("SENS:MODE VCO")
    analyzer.write(f"SENS:VCO:VOLT:STAR 1;STOP 16;POIN {POINTS}")
    analyzer.write("SENS:VCO:TEST:PN:OFFS 1e4,1e5,1e6,0")
    analyzer.write("SENS:FREQ:EXEC")
    analyzer.write("INIT")
    print("  tune V         MHz   dBm    mA  dBc/Hz at 100 kHz")
    shown = 0
    while shown < POINTS:
        analyzer.write("CALC:VCO:WAIT NEXT,30000")  # milliseconds; the first time it is the third point
        error = analyzer.query("SYST:ERR?")
        if not error.startswith("0,"):
            sys.exit(f"sweep_points: {error}")
        columns = [fetch(analyzer, f"CALC:VCO:TRAC:{name}") for name in ("VOLT?", "FREQ?", "POW?", "ISUP?", "PN? 2")]
        for volts, hertz, dbm, amperes, noise in list(zip(*columns))[shown:]:
            print(f"{volts:8.3f} {hertz / 1e6:11.4f} {dbm:5.2f} {1e3 * amperes:5.2f} {noise:8.1f}", flush=True)
        shown = len(columns[0])
    analyzer.write("SOUR:SUPP1:STAT OFF")
    analyzer.query("*OPC?")


host, port = host_of_example(__doc__)
try:
    main(host, port)
except Exception as error:  # what is wrong on the way comes in many classes
    sys.exit(f"sweep_points: {host}:{port}: {error}")
