"""A plain VXI-11 client: ONC RPC written out, so that a test can also say what no library would."""

import struct

from tests.instrument.raw_client import HOST, RawClient

CORE, ABORT, INTERRUPT = 395183, 395184, 395185
CORE_PORT, ABORT_PORT = 1024, 1025
END, REQUEST_COUNT = 4, 1
(CREATE_LINK, WRITE, READ, READ_STB, TRIGGER, CLEAR, REMOTE, LOCAL, LOCK, UNLOCK, ENABLE_SRQ) = range(10, 21)
DOCMD, DESTROY_LINK, CREATE_INTR_CHAN, DESTROY_INTR_CHAN = 22, 23, 25, 26


def words(*numbers):
    return struct.pack(f">{len(numbers)}I", *numbers)


def opaque(data):
    return words(len(data)) + data + bytes(-len(data) % 4)


def call_message(xid, program, procedure, arguments=b"", version=1):
    return words(xid, 0, 2, program, version, procedure, 0, 0, 0, 0) + arguments


def record(message, last=True):
    return words(len(message) | (1 << 31 if last else 0)) + message


class RpcClient(RawClient):
    """One connection. A context manager."""

    def __init__(self, port=CORE_PORT, program=CORE, timeout_s=60):
        super().__init__(port, timeout_s)
        self.program = program
        self.xid = 0

    def send_call(self, procedure, arguments=b"", **options):
        self.xid += 1
        self.socket.sendall(record(call_message(self.xid, self.program, procedure, arguments, **options)))

    def reply(self):
        """(status of the accepted call, results)"""
        message = bytearray()
        last = 0
        while not last:
            (mark,) = struct.unpack(">I", self.receive(4))
            last, length = mark >> 31, mark & 0x7FFFFFFF
            message += self.receive(length)
        xid, direction, accepted, _, verifier, status = struct.unpack(">6I", message[:24])
        if (xid, direction, accepted, verifier) != (self.xid, 1, 0, 0):
            raise ValueError(f"not a reply to this call: {bytes(message[:24])}")
        return status, bytes(message[24:])

    def call(self, procedure, arguments=b"", **options):
        self.send_call(procedure, arguments, **options)
        return self.reply()

    def numbers(self, procedure, *arguments):
        """The results of a call as unsigned words; its arguments are words or data."""
        packed = b"".join(opaque(a) if isinstance(a, bytes) else words(a) for a in arguments)
        status, results = self.call(procedure, packed)
        assert status == 0, status
        return struct.unpack(f">{len(results) // 4}I", results)

    def create_link(self, device=b"inst0"):
        """(error, link id, port of the abort channel, most bytes of a write)"""
        return self.numbers(CREATE_LINK, 1, 0, 0, device)

    def open(self):
        error, lid, _, _ = self.create_link()
        assert error == 0, error
        return lid

    def write(self, lid, data):
        """(error, bytes taken)"""
        return self.numbers(WRITE, lid, 1000, 0, 8, data)

    def read(self, lid, size):
        """(error, reason, data)"""
        status, results = self.call(READ, words(lid, size, 1000, 0, 0, 0))
        assert status == 0, status
        error, reason, count = struct.unpack(">3I", results[:12])
        assert len(results) == 12 + count + -count % 4, len(results)
        return error, reason, results[12 : 12 + count]

    def ask(self, lid, text, size=1 << 20):
        assert self.write(lid, text + b"\n") == (0, len(text) + 1)
        return self.read(lid, size)[2]
