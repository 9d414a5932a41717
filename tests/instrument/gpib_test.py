"""GPIB through the adapter's TCP port: the example, addresses, controllers that die, and units without a connector."""

import os
import socket
import subprocess
import sys
import unittest

from tests.instrument.process import ProcessTest, connect, receive_line
from virtual.app.rig import HOST, PROJECT

ADAPTER = (HOST, 1234)
SAMPLES = 1 << (16 if os.environ.get("SANITIZED") else 20)  # of 4 bytes each, behind a head of 8


class Gpib(ProcessTest):
    def open(self, *commands):
        adapter = socket.create_connection(ADAPTER, timeout=60)
        self.addCleanup(adapter.close)
        adapter.sendall(b"".join(b"++" + command + b"\n" for command in (b"addr 18", b"read_tmo_ms 3000", *commands)))
        return adapter

    def ask(self, adapter, message):
        adapter.sendall(message + b"\n++read eoi\n")
        return receive_line(adapter)

    def test_the_example_runs_and_the_other_device_hears_nothing(self):
        rig = self.rig()
        self.assertEqual(dict(rig.places())["gpib"], "%s:%d" % ADAPTER)
        example = [sys.executable, PROJECT / "clients/examples/gpib_trace.py"]
        done = subprocess.run(example, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stdout, r"(?s)Tolvane AG.*carrier +[\d.]+ MHz.*1 kHz +-1\d\d\.\d dBc/Hz")
        heard = self.state / "unit/gpib-listener"
        self.assertEqual(heard.read_bytes(), b"")
        self.open(b"addr 21", b"eos 2").sendall(b"for the printer\n++ver\n")
        adapter = self.open()
        self.ask(adapter, b"*OPC?")
        self.assertEqual(heard.read_bytes(), b"for the printer\n")

    def test_the_address_moves_the_instrument_and_lasts(self):
        rig = self.rig()
        with self.open() as adapter, connect() as tcp:
            for address in (b"7", b"30", b"5 101"):
                tcp.sendall(b'SYST:COMM:GPIB:ADDR "%s";:*OPC?\n' % address)
                self.assertEqual(receive_line(tcp), b"1\n")
                adapter.sendall(b"*CLS;FOO\n++addr %s\n" % address)  # the first to where it was
                self.assertEqual(self.ask(adapter, b"SYST:ERR?"), b'0,"No error"\n')
        rig.stop()
        self.rig()
        adapter = self.open(b"addr 5 101")
        self.assertEqual(self.ask(adapter, b"SYST:COMM:GPIB:ADDR?"), b'"5 101"\n')

    def test_a_controller_that_dies_in_a_block_leaves_an_instrument_that_a_clear_frees(self):
        self.rig()
        for last_words in (b"MEAS:NOIS?\n++read eoi\n", b"MEAS:NOIS?\n++read 0\n", b"*IDN?\n*IDN?", b"++re", b"\x1b"):
            adapter = self.open()
            adapter.sendall(b"CONF:NOIS:SAMP %d\n" % SAMPLES + last_words)
            if b"read" in last_words:
                self.assertEqual(len(adapter.recv(1)), 1)
            adapter.close()
            with self.open(b"clr") as another:
                self.assertEqual(self.ask(another, b"*OPC?"), b"1\n")
        block = self.open()
        block.sendall(b"MEAS:NOIS?\n++read eoi\n++ver\n")
        received = b""
        while not received.endswith(b"version 1.0\r\n"):
            received += block.recv(1 << 16)
        self.assertEqual(received[8 + 4 * SAMPLES :], b"Virtual GPIB adapter version 1.0\r\n")

    def test_a_unit_without_the_connector_has_no_adapter(self):
        self.rig().stop()
        rig = self.rig(serial="220-336306900-0001")
        self.assertNotIn("gpib", dict(rig.places()))
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(ADAPTER)


if __name__ == "__main__":
    unittest.main()
