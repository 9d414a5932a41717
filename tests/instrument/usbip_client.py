"""A plain USB/IP host with a USBTMC driver on it, written out so that a test can also say what no kernel would."""

import errno
import struct

from tests.instrument.raw_client import HOST, RawClient

USBIP_PORT = 3240
DEVICE_LIST, IMPORT = 0x8005, 0x8003
SUBMIT, UNLINK, SUBMITTED, UNLINKED = 1, 2, 3, 4
OUT, IN = 1, 2  # endpoints
STALL, UNLINKED_IN_TIME = -errno.EPIPE, -errno.ECONNRESET
TO_INTERFACE, TO_ENDPOINT = 0xA1, 0xA2
ABORT_OUT, CHECK_ABORT_OUT, ABORT_IN, CHECK_ABORT_IN, CLEAR, CHECK_CLEAR, CAPABILITIES = range(1, 8)
INDICATOR_PULSE, READ_STATUS_BYTE = 64, 128
SUCCESS, PENDING, FAILED, NOT_IN_PROGRESS = 1, 2, 0x80, 0x81
EOM, TERM_CHAR = 1, 2
PACKET = 512


def request(code, rest=b""):
    return struct.pack(">HHI", 0x0111, code, 0) + rest


def submit_message(sequence, endpoint, to_host, length, setup=bytes(8), data=b""):
    return struct.pack(">10I", SUBMIT, sequence, 0x10002, to_host, endpoint, 0, length, 0, 0, 0) + setup + data


def header(kind, tag, size, attributes=0, term_char=0):
    return struct.pack("<4BI4B", kind, tag, ~tag & 0xFF, 0, size, attributes, term_char, 0, 0)


class UsbHost(RawClient):
    """One connection. A context manager."""

    def __init__(self, timeout_s=60):
        super().__init__(USBIP_PORT, timeout_s)
        self.sequence = 0
        self.tag = 0
        self.done = {}  # replies that nobody has waited for yet, by sequence number

    def devices(self):
        self.socket.sendall(request(DEVICE_LIST))
        return self.receive(8 + 4 + 312 + 4)

    def attach(self, bus_id=b"1-1"):
        """The status, and the device with 0."""
        self.socket.sendall(request(IMPORT, bus_id.ljust(32, b"\0")))
        version, code, status = struct.unpack(">HHI", self.receive(8))
        assert (version, code) == (0x0111, IMPORT & 0x7FFF)
        return status, self.receive(312) if status == 0 else b""

    def submit(self, endpoint, to_host, length, setup=bytes(8), data=b""):
        self.sequence += 1
        self.socket.sendall(submit_message(self.sequence, endpoint, to_host, length, setup, data))
        return self.sequence

    def unlink(self, victim):
        self.sequence += 1
        self.socket.sendall(struct.pack(">6I24x", UNLINK, self.sequence, 0x10002, 0, 0, victim))
        return self.result(self.sequence)[0]

    def result(self, sequence):
        """(status, bytes that were moved, data)"""
        while sequence not in self.done:
            kind, number, _, _, _, status, actual = struct.unpack(">5IiI20x", self.receive(48))
            to_host = kind == SUBMITTED and number in self.reads
            self.done[number] = (status, actual, self.receive(actual) if to_host else b"")
        return self.done.pop(sequence)

    reads = range(0)  # sequence numbers of what goes to the host


class Usbtmc(UsbHost):
    """A host that has attached the instrument and configured it."""

    def __init__(self, **options):
        super().__init__(**options)
        self.reads = set()
        status, _ = self.attach()
        if status != 0:
            self.socket.close()
            raise ConnectionRefusedError(f"import ended with {status}")
        self.control(0x00, 9, 1)

    def start_read(self, length):
        sequence = self.submit(IN, 1, length)
        self.reads.add(sequence)
        return sequence

    def control(self, kind, number, value=0, index=0, length=0):
        """The reply; None for a stall."""
        sequence = self.submit(0, kind >> 7, length, struct.pack("<BBHHH", kind, number, value, index, length))
        if kind >> 7:
            self.reads.add(sequence)
        status, _, data = self.result(sequence)
        return data if status == 0 else None

    def out(self, data):
        """The status of one transfer's request."""
        return self.result(self.submit(OUT, 0, len(data), data=data))[0]

    def clear_halt(self, address):
        return self.control(0x02, 1, 0, address)

    def next_tag(self):
        self.tag = self.tag % 255 + 1
        return self.tag

    def message(self, data, last=True):
        return header(1, self.next_tag(), len(data), last) + data + bytes(-len(data) % 4)

    def write(self, data, last=True):
        return self.out(self.message(data, last))

    def ask_for(self, most, term_char=None):
        attributes, byte = (0, 0) if term_char is None else (TERM_CHAR, term_char)
        return self.out(header(2, self.next_tag(), most, attributes, byte))

    def transfer(self, length=PACKET):
        """Packets up to a short one, in requests of `length` bytes."""
        data = b""
        while True:
            status, actual, piece = self.result(self.start_read(length))
            assert status == 0, status
            data += piece
            if actual < length:
                return data

    def read_part(self, most, term_char=None, length=PACKET):
        """(attributes, bytes) of one transfer."""
        assert self.ask_for(most, term_char) == 0
        data = self.transfer(length)
        kind, tag, inverse, size, attributes = struct.unpack("<3BxIB3x", data[:12])
        assert (kind, tag, inverse, size) == (2, self.tag, ~self.tag & 0xFF, len(data) - 12), data[:12]
        return attributes, data[12:]

    def read(self, most=1 << 20, length=PACKET):
        """One answer, to its end."""
        data, attributes = b"", 0
        while not attributes & EOM:
            attributes, part = self.read_part(most, length=length)
            data += part
        return data

    def query(self, text):
        assert self.write(text + b"\n") == 0
        return self.read()

    def clear(self):
        """As a driver does it."""
        assert self.control(TO_INTERFACE, CLEAR, length=1)[0] == SUCCESS
        while (state := self.control(TO_INTERFACE, CHECK_CLEAR, length=2))[0] == PENDING:
            if state[1] & 1:
                self.transfer()
        assert state[0] == SUCCESS
        self.clear_halt(OUT)
