#!/usr/bin/python3
"""A run and its trace over GPIB, through an adapter that takes ++ commands on a TCP port: carrier and noise at some
offsets. A plain socket is all it needs."""

import socket
import sys
import time
from array import array
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent))

from clients.command_line import Parser, add_address, whole_number

ADAPTER_PORT = 1234
READ_TIMEOUT_S = 3.0  # the longest that such an adapter knows; who waits for longer reads again


class GpibError(Exception):
    """The instrument gave no answer in time."""


class GpibInstrument:
    """One instrument behind the adapter."""

    def __init__(self, place, address):
        self.socket = socket.create_connection(place, timeout=10)
        self.unread = b""
        # No reads by itself, END with the last byte of a message, which then needs no newline.
        self.command(f"addr {address}", "auto 0", "eoi 1", "eos 3", f"read_tmo_ms {int(1000 * READ_TIMEOUT_S)}", "clr")

    def command(self, *commands):
        """Commands to the adapter itself."""
        self.socket.sendall(b"".join(b"++" + command.encode() + b"\n" for command in commands))

    def write(self, message):
        data = message.encode()
        for special in (b"\x1b", b"+", b"\r", b"\n"):  # which the adapter would take for its own
            data = data.replace(special, b"\x1b" + special)
        self.socket.sendall(data + b"\n")

    def receive(self, is_complete, timeout_s=30.0):
        """Reads until `is_complete` says how many of the bytes are the answer."""
        deadline = time.monotonic() + timeout_s
        self.command("read eoi")
        while not (count := is_complete(self.unread)):
            self.socket.settimeout(READ_TIMEOUT_S + 1)
            try:
                piece = self.socket.recv(65536)
                if not piece:
                    raise GpibError("the adapter has closed the connection")
                self.unread += piece
            except TimeoutError:
                if time.monotonic() > deadline:
                    raise GpibError("no answer in time") from None
                self.command("read eoi")
        answer, self.unread = self.unread[:count], self.unread[count:]
        return answer

    def query(self, message, timeout_s=30.0):
        self.write(message)
        return self.receive(lambda data: data.find(b"\n") + 1, timeout_s).decode().strip()

    def fetch(self, message):
        """A trace is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it."""

        def size(data):
            digits = int(data[1:2] or 0)
            if len(data) < 2 + digits or not digits:
                return 0
            whole = 2 + digits + int(data[2 : 2 + digits])
            return whole if len(data) >= whole else 0

        self.write(message)
        block = self.receive(size)
        values = array("f")
        values.frombytes(block[2 + int(block[1:2]) :])
        return values.tolist()


def main(options):
    analyzer = GpibInstrument(options.address, options.gpib)
    print(analyzer.query("*IDN?"))
    analyzer.write("*RST;*CLS")
    analyzer.write("SENS:PN:FREQ:STAR 1000;STOP 1e6")
    analyzer.write("SENS:PN:CORR 1000")
    analyzer.write("SENS:FREQ:EXEC")  # find the carrier
    analyzer.write("INIT")
    analyzer.query("CALC:WAIT:AVER ALL,300000;:*OPC?", timeout_s=310)  # milliseconds
    error = analyzer.query("SYST:ERR?")
    if not error.startswith("0,"):
        sys.exit(f"gpib_trace: {error}")
    print(f"carrier {float(analyzer.query('CALC:FREQ?')) / 1e6:14.6f} MHz")
    offsets, levels = analyzer.fetch("CALC:PN:TRAC:FREQ?"), analyzer.fetch("CALC:PN:TRAC:NOIS?")
    for wanted_khz in (1, 10, 100, 1000):
        at = min(range(len(offsets)), key=lambda i: abs(offsets[i] - 1e3 * wanted_khz))
        print(f"{wanted_khz:5} kHz {levels[at]:9.1f} dBc/Hz")


parser = Parser(description=__doc__)
add_address(parser, default=("127.0.0.1", ADAPTER_PORT))
parser.add_argument(
    "--gpib", type=whole_number("GPIB address", 0, 30), default=18, metavar="N", help="the instrument's address (18)"
)
arguments = parser.parse_args()
try:
    main(arguments)
except (OSError, ValueError, GpibError) as error:
    sys.exit(f"gpib_trace: {arguments.address[0]}:{arguments.address[1]}: {error}")
