"""What a client relies on, whatever the cable: the same checks over TCP and over VXI-11."""

import socket
import struct
import unittest

from tests.instrument.process import ProcessTest, connect
from tests.instrument.rpc_client import RpcClient

NO_ERROR = b'0,"No error"\n'
SAMPLES = 5120
BLOCK_BYTES = 8 + 4 * SAMPLES
SILENCE_S = 0.2


class TcpDevice:
    def __init__(self):
        self.socket = connect(60)

    def write(self, text):
        self.socket.sendall(text)

    def read(self, most):
        """What there is, at most so many bytes; nothing after a while of silence."""
        self.socket.settimeout(SILENCE_S if self.hurried else 60)
        try:
            return self.socket.recv(most)
        except TimeoutError:
            return b""

    hurried = False

    def close(self):
        self.socket.close()

    def die(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()


class VxiDevice(RpcClient):
    def __init__(self):
        super().__init__()
        self.lid = self.open()

    def write(self, text):
        while text:
            error, taken = super().write(self.lid, text[:32000])
            assert error == 0, error
            text = text[taken:]

    def read(self, most):
        return super().read(self.lid, most)[2]

    hurried = False

    def close(self):
        self.socket.close()


def receive(device, count, piece=1 << 16):
    data = b""
    while len(data) < count:
        data += device.read(min(piece, count - len(data)))
    return data


def ask(device, text, answer, piece=1 << 16):
    device.write(text)
    got = receive(device, len(answer), piece)
    assert got == answer, (text[:60], got[:60])


def silent(device):
    device.hurried = True
    got = device.read(100)
    device.hurried = False
    assert got == b"", got


def block(device, piece):
    device.write(b"CONF:NOIS:SAMP %d\nMEAS:NOIS?\n" % SAMPLES)
    data = receive(device, BLOCK_BYTES, piece)
    assert data[:8] == struct.pack("<II", 0, 4 * SAMPLES)
    ask(device, b"*OPC?\n", b"1\n")


def message_of(length):
    """A message of so many bytes, with a newline."""
    units = (b"*CLS;" * (length // 5))[: length - 6].rpartition(b";")[0]
    return (units + b";*OPC?").ljust(length - 1) + b"\n"


class Leaves:
    """A client that goes with something unfinished; the next one finds nothing of it."""

    def __init__(self, text, read=0, how="close"):
        self.text, self.bytes_read, self.how = text, read, how

    def __call__(self, device, again):
        device.write(self.text)
        receive(device, self.bytes_read)
        getattr(device, self.how)()
        ask(again(), b"*OPC?\n", b"1\n")


def comes_again(device, again):
    device.write(b"SENS:PN:AVER 7\n")
    for _ in range(20):
        ask(device, b":SENS:PN:AVER?\n", b"7\n")
        device.close()
        device = again()


def waits_for_the_rest(device, _):
    for piece in (b"*OP", b"C?", b"  "):
        device.write(piece)
        silent(device)
    ask(device, b"\n", b"1\n")


def runs_out_of_time(device, _):
    device.write(b"*CLS;:SENS:PN:FREQ:STAR 10;:SENS:PN:CORR 1000;:INIT;:CALC:WAIT:AVER ALL,50\n")  # a quarter of an hour
    device.write(b"SYST:ERR?;:ABOR\n")
    line = b""
    while not line.endswith(b"\n"):
        line += device.read(100)
    assert line != NO_ERROR, line
    ask(device, b"SYST:ERR?\n", NO_ERROR)


CHECKS = {
    **{f"a message of {n} bytes": lambda d, _, n=n: ask(d, message_of(n), b"1\n") for n in (12, 1023, 1024, 1025, 2048, 20480)},
    "CR and LF end a message": lambda d, _: ask(d, b"*OPC?\r\n", b"1\n"),
    "empty lines and units are nothing": lambda d, _: ask(d, b"\n\n;;\n *OPC? ;\n", b"1\n"),
    "blanks and tabs are blanks": lambda d, _: ask(d, b"\t*OPC?\t;\t*OPC?\n", b"1;1\n"),
    "a message in pieces waits for its newline": waits_for_the_rest,
    "messages at once answer in their order": lambda d, _: ask(d, b"*OPC?\nSYST:VERS?\n" * 50, b"1\n1999.0\n" * 50),
    "an answer byte by byte": lambda d, _: ask(d, b"SYST:VERS?;:*OPC?\n", b"1999.0;1\n", 1),
    **{f"a block in pieces of {n}": lambda d, _, n=n: block(d, n) for n in (1000, 4096, 1 << 20)},
    "a clear empties the error queue": lambda d, _: ask(d, b"FOO\nFOO\n*CLS;:SYST:ERR?\n", NO_ERROR),
    "an error is told once": lambda d, _: ask(d, b"*CLS;:FOO\nSYST:ERR?\nSYST:ERR?\n", b'-113,"Undefined header"\n' + NO_ERROR),
    "a client comes again and again": comes_again,
    "who leaves with an answer unread": Leaves(b"SYST:VERS?\n"),
    "who leaves in a message": Leaves(b"*OPC?;*OP"),
    "who leaves in a block": Leaves(b"CONF:NOIS:SAMP 5120\nMEAS:NOIS?\n", read=100),
    "who dies in a block": Leaves(b"CONF:NOIS:SAMP 5120\nMEAS:NOIS?\n", read=100, how="die"),
    "a wait ends with its time": runs_out_of_time,
}


class Checks(ProcessTest):
    def test_all_of_them_over_both(self):
        self.assertEqual(len(CHECKS), 23)
        self.rig(realtime=True)
        for kind in (TcpDevice, VxiDevice):
            for name, check in CHECKS.items():
                with self.subTest(f"{kind.__name__}: {name}"):
                    opened = []

                    def another(kind=kind, opened=opened):
                        opened.append(kind())
                        return opened[-1]

                    try:
                        check(another(), another)
                    finally:
                        for device in opened:
                            device.close()


if __name__ == "__main__":
    unittest.main()
