"""The instrument behind a kernel's own USB/IP and USBTMC drivers: Debian's kernel in an emulated PC attaches it and talks to
/dev/usbtmc0. USB_GUEST is the guest's only program, USB_KERNEL the directory with the kernel and its modules."""

import contextlib
import errno
import io
import os
import socket
import struct
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from clients.examples import usbtmc_trace
from tests.instrument.process import IDENTITY, ProcessTest, connect
from virtual.app.rig import HOST

KERNEL = Path(os.environ["USB_KERNEL"])
GUEST = Path(os.environ["USB_GUEST"])
DEVICE = b"/dev/usbtmc0"
BOOT_TIMEOUT_S = 300
BUSY_MEMORY_MIB = 192

# _IO, _IOR and _IOW of linux/usb/tmc.h
CLEAR, ABORT_BULK_IN = 0x5B02, 0x5B04
SET_TIMEOUT, TERM_CHAR = 0x40045B0A, 0x40025B0C
CAPABILITIES, READ_STATUS_BYTE = 0x80015B11, 0x80015B12


def archive(files):
    """An initial file system as the kernel unpacks it, of {name: (mode, data)}."""
    data = b""
    for number, (name, (mode, content)) in enumerate([*files.items(), ("TRAILER!!!", (0, b""))]):
        words = (number, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name) + 1, 0)
        head = b"070701" + b"".join(b"%08X" % word for word in words) + name.encode() + b"\0"
        data += head + bytes(-len(head) % 4) + content + bytes(-len(content) % 4)
    return data


class Guest:
    """The emulated PC, without hardware acceleration so that it is the same everywhere."""

    def __init__(self, directory):
        directories = {name: (0o040755, b"") for name in ("dev", "sys", "modules")}
        modules = {f"modules/{file.name}": (0o100644, file.read_bytes()) for file in KERNEL.glob("*.ko")}
        (directory / "initrd").write_bytes(archive(directories | modules | {"init": (0o100755, GUEST.read_bytes())}))
        self.console = directory / "console"
        with socket.create_server((HOST, 0)) as listener:
            port = listener.getsockname()[1]
            self.process = subprocess.Popen(
                f"qemu-system-x86_64 -accel tcg -m {BUSY_MEMORY_MIB} -nodefaults -display none -no-reboot "
                f"-serial file:{self.console} -nic user,model=e1000 -kernel {KERNEL}/vmlinuz -initrd {directory}/initrd "
                "-append".split() + [f"console=ttyS0 loglevel=6 panic=-1 test_port={port}"]
            )
            listener.settimeout(1)
            self.line = self._accept(listener)
        self.line.settimeout(BOOT_TIMEOUT_S)

    def _accept(self, listener):
        deadline = time.monotonic() + BOOT_TIMEOUT_S
        while time.monotonic() < deadline and self.process.poll() is None:
            try:
                return listener.accept()[0]
            except TimeoutError:
                continue
        raise AssertionError(f"the guest has not come up:\n{self.last_words()}")

    def last_words(self):
        return self.console.read_text(errors="replace")[-4000:] if self.console.exists() else "(nothing)"

    def stop(self):
        self.line.close()  # its program then switches it off
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def receive(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self.line.recv(count - len(data))
            if not piece:
                raise AssertionError(f"the guest is gone:\n{self.last_words()}")
            data += piece
        return bytes(data)

    def ask(self, what, data=b""):
        """(result, bytes)"""
        self.line.sendall(struct.pack("<II", ord(what), len(data)) + data)
        result, size = struct.unpack("<iI", self.receive(8))
        return result, self.receive(size)


class UsbKernelTest(ProcessTest):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.guest = Guest(Path(directory.name))
        cls.addClassCleanup(cls.guest.stop)

    def setUp(self):
        super().setUp()
        self.start()

    def start(self):
        self.instrument = self.rig()
        self.do("a")
        self.do("o", DEVICE)
        self.ioctl(SET_TIMEOUT, struct.pack("<I", 60_000))

    def do(self, what, data=b""):
        result, answer = self.guest.ask(what, data)
        self.assertGreaterEqual(result, 0, f"{what}: {os.strerror(-result)}\n{self.guest.last_words()}")
        return answer if what in "ri" else result

    def ioctl(self, number, argument=b""):
        return self.do("i", struct.pack("<I", number) + argument)

    def write(self, text):
        self.assertEqual(self.do("w", text), len(text))

    def read(self, most=1 << 19):
        return self.do("r", struct.pack("<I", most))

    def query(self, text):
        self.write(text + b"\n")
        return self.read()

    def test_the_kernel_takes_it_for_a_usbtmc_device(self):
        self.assertRegex(self.query(b"*IDN?").decode().strip(), IDENTITY)
        self.assertEqual(self.query(b"*OPC?;SYST:VERS?"), b"1;1999.0\n")
        self.assertEqual(self.ioctl(READ_STATUS_BYTE, b"\xff"), b"\0")
        self.assertEqual(self.ioctl(CAPABILITIES, b"\xff"), b"\0")
        self.write(b"*OPC?;*OPC?\n")
        self.assertEqual(self.read(1) + self.read(2) + self.read(), b"1;1\n")

    def test_traces_and_messages_of_many_sizes(self):
        self.write(b"SENS:PN:FREQ:STAR 100;STOP 1e6;:SENS:PN:PPD 10000;:INIT;:CALC:WAIT:AVER ALL,60000\n")
        self.assertEqual(self.query(b"SYST:ERR?")[:2], b"0,")
        trace = self.query(b"CALC:PN:TRAC:NOIS?")
        size = int(trace[2 : 2 + int(trace[1:2])])
        self.assertGreater(size, 10_000)
        self.assertEqual(len(trace), 2 + int(trace[1:2]) + size)
        with connect() as tcp:
            tcp.sendall(b"CALC:PN:TRAC:NOIS?\n")
            there = b""
            while len(there) < len(trace):
                there += tcp.recv(65536)
        self.assertEqual(trace, there)
        samples = self.query(b"CONF:NOIS:SAMP 10240;:MEAS:NOIS?")
        self.assertEqual((len(samples), struct.unpack("<II", samples[:8])), (40_968, (0, 40_960)))
        for length in (499, 500, 501, 1023, 4083, 4084, 4085, 20480):  # the kernel's own buffer is 4096 bytes
            self.write((b"*CLS;" * (length // 5))[: length - 6].rpartition(b";")[0].ljust(length - 7) + b";*OPC?\n")
            self.assertEqual(self.read(), b"1\n", length)

    def test_the_example_measures_and_prints_the_carrier(self):
        with contextlib.redirect_stdout(io.StringIO()) as shown:
            usbtmc_trace.main(self)
        self.assertRegex(shown.getvalue(), r"Tolvane(.*\n)+carrier +(99\.99|100\.00)\d+ MHz\n( +\d+ kHz +-1\d\d\.\d dBc/Hz\n){4}$")

    def test_a_clear_in_the_middle_of_a_block(self):
        for length in (500, 4000, 30_000):
            self.write(b"CONF:NOIS:SAMP 1048576;:MEAS:NOIS?\n")
            self.assertEqual(len(self.read(length)), length)
            self.ioctl(CLEAR)
            self.assertEqual(self.query(b"*CLS;*OPC?"), b"1\n")
        self.write(b"SENS:PN:FREQ:ST")
        self.ioctl(CLEAR)
        self.assertEqual(self.query(b"SYST:ERR?")[:2], b"0,")

    def test_a_read_that_runs_out_of_time_loses_nothing(self):
        self.ioctl(SET_TIMEOUT, struct.pack("<I", 200))
        self.assertEqual(self.guest.ask("r", struct.pack("<I", 100))[0], -errno.ETIMEDOUT)
        self.ioctl(SET_TIMEOUT, struct.pack("<I", 60_000))
        self.assertEqual(self.query(b"*OPC?"), b"1\n")

    def test_an_instrument_that_restarts_is_attached_again(self):
        self.write(b"CONF:NOIS:SAMP 1048576;:MEAS:NOIS?\n")
        self.read(1000)
        self.instrument.stop()
        self.assertLess(self.guest.ask("w", b"*OPC?\n")[0], 0)
        self.do("c")
        self.do("g", DEVICE)
        self.start()
        self.assertEqual(self.query(b"*OPC?"), b"1\n")

    def tearDown(self):
        self.instrument.stop()
        self.do("c")
        self.do("g", DEVICE)


if __name__ == "__main__":
    unittest.main(verbosity=2)
