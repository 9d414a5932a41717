"""A plain client of the instrument that knows all its answers: lines, blocks, binary blocks."""

import re
import socket
import struct
from array import array

TIMEOUT_S = 20


class Link:
    def __init__(self, host, port):
        self.socket = socket.create_connection((host, port), timeout=TIMEOUT_S)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, message):
        self.socket.sendall(message.encode("latin-1") + b"\n")

    def receive(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise ConnectionError("the instrument has closed the connection")
            data += piece
        return data

    def line(self):
        data = b""
        while not data.endswith(b"\n"):
            data += self.receive(1)
        return data[:-1].decode("latin-1")

    def answer(self):
        """The next answer as the pages write it: a line, or what a block of floats holds."""
        first = self.receive(1)
        if first == b"\n":
            return ""
        if first != b"#":
            return first.decode("latin-1") + self.line()
        digits = self.receive(1)
        length = self.receive(int(digits))
        numbers = array("f", self.receive(int(length)))
        shown = f"#{digits.decode()}{length.decode()}, {len(numbers)} numbers"
        return shown + (f" from {numbers[0]:g} to {numbers[-1]:g}" if numbers else "")

    def binary(self):
        """The next answer in the binary framing, as the pages write it."""
        header = self.receive(struct.unpack("<I", self.receive(4))[0])
        data = self.receive(struct.unpack("<I", self.receive(4))[0])
        return f"binary block, header of {len(header)} bytes, {len(data)} bytes"

    def ask(self, command):
        """One command and the error that it leaves. Returns (its answer or None, the code). Not for blocks."""
        self.send(f"{command};:SYST:ERR?")
        line = self.line()
        entry = re.search(r'(?:^|;)(-?\d+),"[^"]*"$', line)
        return line[: entry.start()] or None, int(entry[1])
