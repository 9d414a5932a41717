"""Real clients and the instrument's links: PyVISA, lxi, netcat, sockets, discovery."""

import socket
import struct
import subprocess
import unittest

from clients import measurement
from clients.instrument import Instrument, InstrumentError
from tests.instrument.process import HOST, PORT, ProcessTest, connect, receive_line
from virtual.rig import DISCOVERY_PORT, discover

IDENTITY = r"^Tolvane AG,[^,]+,220-336306910-0001,0\.4\.92$"


class Clients(ProcessTest):
    def test_pyvisa_measures_and_reads_a_trace_that_holds_newlines(self):
        self.rig()
        setup = measurement.Setup(start_hz=1e3, stop_hz=1e6, correlations=10, averages=2, points_per_decade=100)
        with Instrument(HOST, PORT) as instrument:
            self.assertRegex(instrument.identity, IDENTITY)
            measurement.configure(instrument, setup)
            measurement.run(instrument)
            trace = measurement.fetch(instrument, setup, [1e4, 1e5])
            raw = instrument.block("CALC:PN:TRAC:FREQ?")
            self.assertEqual(instrument.query("SYST:ERR?"), '0,"No error"')
        self.assertAlmostEqual(trace.offsets_hz[0], 1e3, delta=1e-3)
        self.assertAlmostEqual(trace.offsets_hz[-1], 1e6, delta=1.0)
        self.assertEqual(struct.unpack(f"<{len(trace.offsets_hz)}f", raw), tuple(trace.offsets_hz))
        self.assertAlmostEqual(trace.carrier_hz, 100e6, delta=10.0)
        self.assertAlmostEqual(trace.power_dbm, 8.0, delta=1.0)
        for (offset, level), truth in zip(trace.spots, (-145.0, -155.0)):
            self.assertAlmostEqual(level, truth, delta=2.0, msg=f"at {offset} Hz")

    def test_lxi_and_netcat_get_their_answers(self):
        self.rig()
        lxi = ["lxi", "scpi", "--raw", "--address", HOST, "--port", str(PORT)]
        netcat = ["nc", "-N", "-w", "5", HOST, str(PORT)]
        for _ in range(3):  # each makes room for the next
            self.assertRegex(self.patiently([*lxi, "*IDN?"]).strip(), IDENTITY)
            answer = self.patiently(netcat, "*IDN?;:SYST:ERR?\n*OPC?\n")
            self.assertRegex(answer, r'^Tolvane AG,[^;]*;0,"No error"\n1\n$')

    def patiently(self, command, text=""):
        """Runs a client, again while the port is closed for the moment after the client before it."""
        for _ in range(200):
            done = subprocess.run(command, input=text, capture_output=True, text=True, timeout=20)
            if done.stdout:
                return done.stdout
        return self.fail(f"{command[0]}: {done.stderr}")

    def test_a_message_may_arrive_in_pieces_and_two_may_arrive_at_once(self):
        self.rig()
        with connect() as link:
            link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for piece in (b"*O", b"PC", b"?\n*OPC?", b"\nSYST:VERS?\n"):
                link.sendall(piece)
            self.assertEqual([receive_line(link) for _ in range(3)], [b"1\n", b"1\n", b"1999.0\n"])

    def test_a_long_run_tells_how_far_it_is_and_can_be_aborted(self):
        self.rig(realtime=True)
        setup = measurement.Setup(start_hz=10.0, correlations=1000)  # a quarter of an hour in 1000 captures

        class Aborted(Exception):
            pass

        def abort_after_the_first_captures(averages, correlations):
            self.assertEqual(averages, 0)
            if correlations > 0:
                raise Aborted

        with Instrument(HOST, PORT) as instrument:
            measurement.configure(instrument, setup)
            with self.assertRaises(Aborted):
                measurement.run(instrument, abort_after_the_first_captures)
            instrument.write("ABOR")
            instrument.command("CALC:WAIT:AVER ALL,4000")
            self.assertEqual(len(measurement.fetch(instrument, setup, []).noise_dbc_hz), 6 * 120 + 1)

    def test_a_second_client_is_refused_until_the_first_has_gone(self):
        self.rig()
        with connect() as first:
            with self.assertRaises(ConnectionRefusedError):
                socket.create_connection((HOST, PORT), timeout=5)
            with self.assertRaisesRegex(InstrumentError, "no other client"):
                Instrument(HOST, PORT)
            first.sendall(b"SYST:VERS?\n")
            self.assertEqual(receive_line(first), b"1999.0\n")
        with connect():
            pass

    def test_a_client_that_hangs_up_in_mid_message_leaves_nothing_for_the_next(self):
        self.rig()
        with connect() as rude:
            rude.sendall(b"*IDN?;*IDN?;SENS:PN:FREQ:STAR")
        with connect() as polite:
            polite.sendall(b"SYST:ERR?\n")
            self.assertEqual(receive_line(polite), b'0,"No error"\n')

    def test_discovery_answers_an_empty_datagram_and_no_other(self):
        self.rig()
        name, serial = discover(5.0)
        self.assertEqual(serial, "220-336306910-0001")
        self.assertTrue(name)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as finder:
            finder.settimeout(5.0)
            finder.connect((HOST, DISCOVERY_PORT))
            finder.send(b"x")
            finder.send(b"")
            answer = finder.recv(1000)
            self.assertEqual(len(answer), 111)
            self.assertEqual((answer[:21], answer[81:]), (bytes(21), bytes(30)))
            finder.settimeout(0.1)
            with self.assertRaises(TimeoutError):  # one answer for two datagrams
                finder.recv(1000)

    def test_an_unknown_command_is_reported_and_the_next_one_served(self):
        self.rig()
        with Instrument(HOST, PORT) as instrument:
            with self.assertRaisesRegex(InstrumentError, "-113"):
                instrument.command("SENS:NOSUCH 1")
            self.assertEqual(instrument.query("*OPC?"), "1")


if __name__ == "__main__":
    unittest.main()
