"""A connection to the analyzer over its raw SCPI socket, through PyVISA."""

import sys
import time
import warnings
from array import array

import pyvisa

from clients.command_line import DEFAULT_PORT

RETRY_S = 0.5  # for one who comes while the client before is leaving, or the instrument starting
PAUSE_S = 0.02
NO_ERROR = 0


class InstrumentError(Exception):
    """What the instrument reported, or that it cannot be reached."""

    def __init__(self, text, code=None):
        super().__init__(text)
        self.code = code  # SCPI error number, None for trouble on the line
        self.hint = None  # at the likely cause, where somebody knows one


def _timed_out(error):
    return getattr(error, "error_code", None) == pyvisa.constants.StatusCode.error_timeout


def _explain(error):
    """In words, without numbers that only the backend knows."""
    if _timed_out(error):
        return "nothing came in time"
    return getattr(error, "strerror", None) or str(error).partition("] ")[2] or str(error)


class Instrument:
    """One client connection. The instrument serves one at a time; close() makes room for the next.

    Texts end with a newline in both directions. Traces come as definite-length blocks, "#", the number of length
    digits, the length, the bytes, with nothing behind them, so they are read by their length.
    """

    def __init__(self, host, port=DEFAULT_PORT, timeout_s=5.0):
        self.address = f"{host}:{port}"
        self._timeout_s = timeout_s
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")  # optional backends that are not installed
            self._manager = pyvisa.ResourceManager("@py")
        deadline = time.monotonic() + RETRY_S
        while True:
            try:
                self._open(f"TCPIP::{host}::{port}::SOCKET")
                return
            except Exception as error:  # the backend lets socket and VISA errors through alike
                for link in self._manager.list_opened_resources():
                    link.close()
                turned_away = isinstance(error, ConnectionError)
                if turned_away and time.monotonic() < deadline:
                    time.sleep(PAUSE_S)
                    continue
                self._manager.close()
                hint = "; is it on, and is no other client connected?" if turned_away else ""
                raise InstrumentError(f"no connection to {self.address}: {_explain(error)}{hint}") from error

    def _open(self, resource):
        timeout_ms = int(1000 * self._timeout_s)
        self._link = self._manager.open_resource(
            resource, read_termination="\n", write_termination="\n", open_timeout=timeout_ms, timeout=timeout_ms
        )
        self.identity = self._link.query("*IDN?")  # the backend connects late: a refusal shows here

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._link.close()
        self._manager.close()

    def write(self, command):
        """Sends a command that has no answer. Its error, if any, waits in the error queue; see check()."""
        try:
            self._link.write(command)
        except (pyvisa.VisaIOError, OSError) as error:
            raise InstrumentError(f"{self.address} is gone: {_explain(error)}") from error

    def query(self, command):
        """Sends a query and returns its answer without the newline."""
        self.write(command)
        return self._receive(command, self._link.read)

    def text(self, command):
        """Sends a query whose answer is several lines, an empty one behind the last, and returns them."""
        lines = [self.query(command)]
        while lines[-1]:
            lines.append(self._receive(command, self._link.read))
        return "\n".join(lines)

    def number(self, command):
        return float(self.query(command))

    def block(self, command):
        """Sends a query whose answer is a block and returns the block's bytes."""
        self.write(command)
        start = self._receive(command, lambda: self._read_bytes(2))
        if start[:1] != b"#" or not start[1:].isdigit():
            raise InstrumentError(f"{command} was answered with {start!r}, which starts no block")
        length = int(self._receive(command, lambda: self._read_bytes(int(start[1:]))))
        return self._receive(command, lambda: self._read_bytes(length))

    def floats(self, command):
        """Sends a query whose answer is a block of little-endian 32-bit floats and returns them."""
        values = array("f")
        values.frombytes(self.block(command))
        if sys.byteorder == "big":
            values.byteswap()
        return values.tolist()

    def next_error(self):
        """Takes the oldest entry off the error queue. Returns (number, text), (0, "No error") from an empty queue."""
        answer = self.query("SYST:ERR?")
        number, _, text = answer.partition(",")
        return int(number), text.strip('"')

    def check(self):
        """Raises InstrumentError with the oldest error in the queue, if there is one, and empties the queue."""
        first = self.next_error()
        if first[0] == NO_ERROR:
            return
        while self.next_error()[0] != NO_ERROR:
            pass
        raise InstrumentError(f'{first[0]},"{first[1]}"', first[0])

    def command(self, text):
        """Sends a command and raises InstrumentError if the instrument did not like it."""
        self.write(text)
        self.check()

    def _read_bytes(self, count):
        return self._link.read_bytes(count, break_on_termchar=False) if count else b""

    def _receive(self, command, read):
        try:
            return read()
        except (pyvisa.VisaIOError, OSError) as error:
            # An unanswered query has left its reason in the queue, and asking for that one is always answered.
            if _timed_out(error) and command != "SYST:ERR?":
                self.check()
            raise InstrumentError(f"no answer to {command}: {_explain(error)}") from error
