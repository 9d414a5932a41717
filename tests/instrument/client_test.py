"""Real clients and the instrument's links: PyVISA, lxi, netcat, sockets, discovery."""

import csv
import itertools
import math
import socket
import struct
import subprocess
import unittest
from datetime import datetime

import numpy

from clients import labels, measurement, plot, report
from clients.instrument import Instrument, InstrumentError
from clients.results import AllanDeviation, Integrals, Spot, Spur, Trace
from clients.run_info import Channel, RunInfo
from clients.setup import Setup
from clients.text import engineering
from tests.instrument.process import HOST, IDENTITY, PORT, ProcessTest, connect, receive_line
from virtual.app.rig import discover

LOOP = "s={},r=2245.3/9549.3,BW={},z={}"
REPORT = (
    " fC:100000120\n fO:1-50000000\n g:{}\n k:0.444/0.401\n l:0/{}\n"
    f"  A:{LOOP.format(254.3, '{}', '{}')}\n  B:{LOOP.format(243.9, '{}', '{}')}\n t(f,k,l,g,m):1.0/0.7/1.8/0.0/84.5\n"
)
RUN = RunInfo.of_answers(REPORT.format(44, 1, 200.1, 1.2, 210.5, 1.25), "1.0,0.7,1.8,0.0,84.5")


def trace_of(**results):
    """-100 dBc/Hz from 1 kHz to 10 MHz on a carrier of 1 GHz."""
    offsets = [10.0 ** (3 + i / 100) for i in range(401)]
    flat = [-100.0] * len(offsets)
    return Trace("maker,model", datetime(2024, 1, 2), Setup(), RUN, 1e9, 8.0, offsets, flat, flat, **results)


class Results(unittest.TestCase):
    def test_quantities_get_the_prefix_that_fits(self):
        for value, unit, text in (
            (5.4321e-14, "s", "54.32 fs"),
            (999.96e-15, "s", "1.000 ps"),
            (4.4719e-2, "rad", "44.72 mrad"),
            (258199.0, "Hz", "258.2 kHz"),
            (0.0, "Hz", "0.000 Hz"),
            (3e-17, "s", "0.030 fs"),
            (1309.4, "deg", "1309 deg"),
            (None, "s", "-"),
            (-math.inf, "s", "-"),
        ):
            self.assertEqual(engineering(value, unit), text)

    def test_figures_follow_from_the_integral_and_what_does_not_exist_is_a_dash(self):
        flat = Integrals.of_answers(-30.0004, 7.11727e-12)
        self.assertAlmostEqual(flat.phase_rad, 44.7191e-3, delta=1e-6)
        self.assertAlmostEqual(flat.phase_deg, 2.56222, delta=1e-4)
        for integral, jitter in ((-1.0, -1.0), (-math.inf, 0.0)):  # no trace; an empty range
            nothing = trace_of(integrals=Integrals.of_answers(integral, jitter), spots=[Spot(1e3, None)], spurs=[])
            cells = [row[1:] for row in report.integral_rows(nothing)]
            self.assertEqual(cells, [("-",)] * 5)
            text = "\n".join(report.text_lines(nothing, 20))
            self.assertRegex(text, r"1 kHz +-\n")
            self.assertIn("none found", text)

    def test_the_report_of_a_run_is_understood_however_far_it_came(self):
        self.assertEqual(RUN.channels, (Channel(0.444, 254.3, 200.1, 1.2), Channel(0.401, 243.9, 210.5, 1.25)))
        text = "\n".join(report.run_lines(RUN))
        self.assertIn("locked, 200.1 and 210.5 Hz, damping 1.2 and 1.2\n", text)
        self.assertIn("search 1.0, Kphi 0.7, lock 1.8, correlation 84.5 ms", text)
        early = RunInfo.of_answers(REPORT.format(-1, 0, -0.2, -1.0, -0.2, -1.0), "0.0,0.0,0.0,0.0,0.0")
        text = "\n".join(report.run_lines(early))
        self.assertEqual(text, "detector 0.444 and 0.401 V/rad\nloops    not locked")
        for info, times in (("", "0,0,0,0,0"), (REPORT.format(44, 1, 1, 1, 1, 1), "1.0,0.7")):
            with self.assertRaisesRegex(InstrumentError, "no report"):
                RunInfo.of_answers(info, times)

    def test_the_table_holds_each_spur_in_the_row_of_its_offset(self):
        spurs = [Spur(1e3, -80.0), Spur(1.007e5, -70.25), Spur(2e7, -60.0)]
        trace = trace_of(spurs=spurs, range_hz=(1e3, 1e7), integrals=Integrals(-30.0, 7.1e-12))
        trace.noise_dbc_hz = [math.nan, *trace.noise_dbc_hz[1:]]
        lines = trace.csv_table().decode().splitlines()
        head = dict(line[2:].split(": ") for line in lines if line.startswith("# ") and ": " in line)
        self.assertEqual((head["spurs"], head["integrated_to_hz"], head["points"]), ("3", "10000000", "401"))
        rows = list(csv.DictReader(line for line in lines if not line.startswith("#")))
        self.assertEqual([row["noise_dbc_hz"] for row in rows], ["", *["-100.000"] * 400])
        listed = [(float(row["offset_hz"]), row["spur_dbc"]) for row in rows if row["spur_dbc"]]
        self.assertEqual(listed, [(1e3, "-80.00"), (1e5, "-70.25"), (1e7, "-60.00")])
        shown = "\n".join(report.text_lines(trace, 2))
        self.assertRegex(shown, r"strongest 2 of 3, each at a point of the trace \(2.3 % apart\)\n")
        self.assertRegex(shown, r"\n +101 kHz +-70.25 dBc\n +20.0 MHz +-60.00 dBc$")

    def test_averaging_times_are_supported_up_to_a_tenth_of_the_longest_period(self):
        taus = [1e-6 * 1.1**i for i in range(121)]
        allan = AllanDeviation(taus, [1e-12 / tau for tau in taus], (10.0, 1e6))
        self.assertEqual([allan.is_valid(tau) for tau in (0.9e-6, 1e-6, 0.99e-2, 1.01e-2)], [False, True, True, False])
        for (tau, sigma), decade in itertools.zip_longest(plot.decade_times(allan), range(-6, -1)):
            self.assertAlmostEqual(tau / 10.0**decade, 1.0)
            self.assertAlmostEqual(sigma * tau, 1e-12, delta=1e-18)

    def test_crowded_labels_neither_overlap_nor_leave_the_axes(self):
        figure, axes = plot.pyplot.subplots(figsize=(9, 5))
        self.addCleanup(plot.pyplot.close, figure)
        axes.set_xscale("log")
        axes.set(xlim=(1, 1e6), ylim=(-160, -60))
        crowd = [labels.Label(50.0 * k, -90.0 - k, f"{50 * k} Hz\n-{90 + k}.0 dBc") for k in range(1, 11)]
        crowd += [labels.Label(1.0, -70.0, "at the edge"), labels.Label(9.9e5, -61.0, "in the corner")]
        written = labels.place(axes, crowd, numpy.array([(label.x, label.y) for label in crowd]), fontsize=8)
        boxes = [text.get_window_extent() for text in axes.texts if text.get_text()]
        self.assertEqual(written, len(boxes))
        self.assertGreaterEqual(written, 8)
        frame = axes.get_window_extent()
        for box in boxes:
            self.assertTrue(frame.x0 <= box.x0 and box.x1 <= frame.x1 and box.y1 <= frame.y1)
        for one, other in itertools.combinations(boxes, 2):
            self.assertFalse(one.overlaps(other))


class Clients(ProcessTest):
    def test_pyvisa_measures_and_reads_a_trace_that_holds_newlines(self):
        self.rig()
        setup = measurement.Setup(start_hz=1e3, stop_hz=1e6, correlations=10, averages=2, points_per_decade=100)
        with Instrument(HOST, PORT) as instrument:
            self.assertRegex(instrument.identity, IDENTITY)
            setup = measurement.configure(instrument, setup)
            measurement.run(instrument)
            trace = measurement.fetch(instrument, setup, [1e3, 1e4, 1e5])
            raw = instrument.block("CALC:PN:TRAC:FREQ?")
            self.assertEqual(instrument.query("SYST:ERR?"), '0,"No error"')
        self.assertTrue(trace.run.locked)
        self.assertAlmostEqual(trace.offsets_hz[0], 1e3, delta=1e-3)
        self.assertAlmostEqual(trace.offsets_hz[-1], 1e6, delta=1.0)
        self.assertEqual(struct.unpack(f"<{len(trace.offsets_hz)}f", raw), tuple(trace.offsets_hz))
        self.assertAlmostEqual(trace.carrier_hz, 100e6, delta=50.0)
        self.assertAlmostEqual(trace.power_dbm, 8.0, delta=1.0)
        self.assertEqual(trace.spots[0], Spot(1e3, trace.noise_dbc_hz[0], is_mean=False))  # no points before it
        for (offset, level, is_mean), truth in zip(trace.spots[1:], (-145.0, -155.0)):
            self.assertAlmostEqual(level, truth, delta=2.0, msg=f"at {offset} Hz")
            self.assertTrue(is_mean)

    def test_lxi_and_netcat_get_their_answers(self):
        self.rig()
        lxi = ["lxi", "scpi", "--raw", "--address", HOST, "--port", str(PORT)]
        netcat = ["nc", "-N", "-w", "5", HOST, str(PORT)]
        for _ in range(3):  # one behind the other without a pause
            for command, text, answer in (
                ([*lxi, "*IDN?"], "", IDENTITY),
                (netcat, "*IDN?;:SYST:ERR?\n*OPC?\n", r'^Tolvane AG,[^;]*;0,"No error"\n1\n$'),
            ):
                done = subprocess.run(command, input=text, capture_output=True, text=True, timeout=20)
                self.assertRegex(done.stdout.removesuffix("\n\n"), answer, done.stderr)

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

    def test_a_second_client_is_turned_away_until_the_first_has_gone(self):
        self.rig()
        with connect() as first:
            with socket.create_connection((HOST, PORT), timeout=5) as second, self.assertRaises(ConnectionResetError):
                second.recv(1)
            with self.assertRaisesRegex(InstrumentError, "no other client"):
                Instrument(HOST, PORT)
            first.sendall(b"SYST:VERS?\n")
            self.assertEqual(receive_line(first), b"1999.0\n")
        with connect():
            pass

    def test_discovery_tells_name_and_number(self):
        self.rig()
        name, serial = discover(5.0)
        self.assertEqual(serial, "220-336306910-0001")
        self.assertTrue(name)


if __name__ == "__main__":
    unittest.main()
