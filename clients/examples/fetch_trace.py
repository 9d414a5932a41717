#!/usr/bin/python3
"""The shortest way to a phase noise trace, its spurs and its jitter, with PyVISA alone."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

import pyvisa

from clients.command_line import host_of_example


def fetch(analyzer, query):
    """A trace is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it."""
    analyzer.write(query)
    digits = int(analyzer.read_bytes(2)[1:])
    length = int(analyzer.read_bytes(digits))
    return memoryview(analyzer.read_bytes(length)).cast("f").tolist() if length else []


def main(host, port):
    analyzer = pyvisa.ResourceManager("@py").open_resource(
        f"TCPIP::{host}::{port}::SOCKET", read_termination="\n", write_termination="\n", timeout=310_000
    )
    print(analyzer.query("*IDN?"))
    analyzer.write("*RST;*CLS")
    analyzer.write("SENS:PN:FREQ:STAR 100;STOP 10e6")
    analyzer.write("SENS:PN:CORR 1000")  # each tenfold takes 5 dB off the instrument's own noise
    analyzer.write("SENS:PN:SPUR:OMIS ON")  # take spurs out of the noise and list them
    analyzer.write("SENS:PN:FUNC:RANG 12e3,10e6")  # offsets that count in the jitter
    analyzer.write("SENS:FREQ:EXEC")  # find the carrier
    analyzer.write("INIT")
    analyzer.write("CALC:WAIT:AVER ALL,300000")  # milliseconds; this connection is answered when it is over
    error = analyzer.query("SYST:ERR?")
    if not error.startswith("0,"):
        sys.exit(f"fetch_trace: {error}")

    for offset, level in zip(fetch(analyzer, "CALC:PN:TRAC:FREQ?"), fetch(analyzer, "CALC:PN:TRAC:NOIS?")):
        print(f"{offset:14.2f} Hz {level:9.2f} dBc/Hz")
    for offset, level in zip(fetch(analyzer, "CALC:PN:TRAC:SPUR:FREQ?"), fetch(analyzer, "CALC:PN:TRAC:SPUR:POW?")):
        print(f"{offset:14.2f} Hz {level:9.2f} dBc")
    print("RMS jitter", analyzer.query("CALC:PN:TRAC:FUNC:JITT?"), "s")


host, port = host_of_example(__doc__)
try:
    main(host, port)
except Exception as error:  # what is wrong on the way comes in many classes
    sys.exit(f"fetch_trace: {host}:{port}: {error}")
