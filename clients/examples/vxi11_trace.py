#!/usr/bin/python3
"""A run and its trace over VXI-11, with PyVISA alone: carrier and noise at some offsets."""

import socket
import sys
from array import array
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

import pyvisa

from clients.command_line import host_of_example

PORT_MAPPER = 111


def fetch(analyzer, query):
    """A trace is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it. A read
    ends with the answer, so the block comes whole."""
    analyzer.write(query)
    data = analyzer.read_raw()
    digits = int(data[1:2])
    values = array("f")
    values.frombytes(data[2 + digits : 2 + digits + int(data[2 : 2 + digits])])
    return values.tolist()


def main(host):
    socket.create_connection((host, PORT_MAPPER), timeout=5).close()  # else PyVISA-py has no clear word for it
    # The instrument runs a message at its newline, not at the END that VISA sends with the last byte.
    analyzer = pyvisa.ResourceManager("@py").open_resource(
        f"TCPIP::{host}::inst0::INSTR", read_termination="\n", write_termination="\n", timeout=310_000
    )
    print(analyzer.query("*IDN?"))
    analyzer.write("*RST;*CLS")
    analyzer.write("SENS:PN:FREQ:STAR 1000;STOP 1e6")
    analyzer.write("SENS:PN:CORR 1000")
    analyzer.write("SENS:FREQ:EXEC")  # find the carrier
    analyzer.write("INIT")
    analyzer.write("CALC:WAIT:AVER ALL,300000")  # milliseconds; the write returns when it is over, within the timeout
    error = analyzer.query("SYST:ERR?")
    if not error.startswith("0,"):
        sys.exit(f"vxi11_trace: {error}")
    print(f"carrier {float(analyzer.query('CALC:FREQ?')) / 1e6:14.6f} MHz")
    offsets, levels = fetch(analyzer, "CALC:PN:TRAC:FREQ?"), fetch(analyzer, "CALC:PN:TRAC:NOIS?")
    for wanted_khz in (1, 10, 100, 1000):
        at = min(range(len(offsets)), key=lambda i: abs(offsets[i] - 1e3 * wanted_khz))
        print(f"{wanted_khz:5} kHz {levels[at]:9.1f} dBc/Hz")
    analyzer.close()  # makes room: there are two links


host, _ = host_of_example(__doc__)  # the port mapper knows the port
try:
    main(host)
except Exception as error:  # what is wrong on the way comes in many classes
    sys.exit(f"vxi11_trace: {host}: {error}")
