#!/usr/bin/python3
"""The shortest way to a phase noise trace with PyVISA alone: fetch_trace.py [HOST [PORT]]"""

import sys

import pyvisa

host = sys.argv[1] if len(sys.argv) > 1 else "127.0.0.1"
port = sys.argv[2] if len(sys.argv) > 2 else "18"

analyzer = pyvisa.ResourceManager("@py").open_resource(
    f"TCPIP::{host}::{port}::SOCKET", read_termination="\n", write_termination="\n", timeout=60_000
)
print(analyzer.query("*IDN?"))


def fetch(query):
    """A trace is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it."""
    analyzer.write(query)
    digits = int(analyzer.read_bytes(2)[1:])
    length = int(analyzer.read_bytes(digits))
    return memoryview(analyzer.read_bytes(length)).cast("f").tolist()


analyzer.write("SENS:PN:FREQ:STAR 100;STOP 10e6")
analyzer.write("SENS:PN:CORR 10")
analyzer.write("INIT")
analyzer.write("CALC:WAIT:AVER ALL,60000")  # milliseconds; the instrument answers nobody until then
error = analyzer.query("SYST:ERR?")
if not error.startswith("0,"):
    sys.exit(error)

for offset, level in zip(fetch("CALC:PN:TRAC:FREQ?"), fetch("CALC:PN:TRAC:NOIS?")):
    print(f"{offset:14.2f} Hz {level:9.2f} dBc/Hz")
