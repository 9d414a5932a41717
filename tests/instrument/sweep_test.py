"""The sweep of an oscillator as a user sees it: tables and pictures, points as they come, and sweeps that end early."""

import csv
import math
import signal
import subprocess
import sys
import time
import unittest

from clients.dut_table import DutTable
from clients.instrument import Instrument
from tests.instrument.process import HOST, PORT, ProcessTest
from virtual.app.rig import PROJECT

DUTS = PROJECT / "virtual/duts"
SUPPLIES_5V = "220-336206910-0001"
LOW = """[signal]
power_dbm = 7.0
noise = [[1e3, -84], [1e4, -105], [1e5, -124], [1e6, -145], [1e7, -160]]
[vco]
tuning = [[0, 30e6], [10, 60e6]]
supply_v = 12
"""
GAP = """[signal]
power_dbm = 7.0
noise = [[1e3, -84], [1e7, -160]]
[vco]
tuning = [[0, 90e6], [10, 190e6]]
supply_v = 12
gap = [4.5, 5.5]
"""


class Sweep(ProcessTest):
    def rows(self, name="vco.csv"):
        lines = (self.directory / name).read_text().splitlines()
        table = csv.DictReader(line for line in lines if not line.startswith("#"))
        return [{key: float(value or "nan") for key, value in row.items()} for row in table]

    def test_the_oscillators_that_come_with_it_are_swept_from_end_to_end(self):
        for name, words, serial, first_hz, last_hz, kvco in (
            ("vco-150m", [], None, 92.0e6, 208.25e6, None),
            ("vco-2400m", [], SUPPLIES_5V, 2.281e9, 2.501e9, None),
            ("vcxo-40m", ["--type", "vcxo"], SUPPLIES_5V, 39999640, 40000360, 180.0),  # 4 Hz are a float's last digit
        ):
            with self.subTest(name):
                unit = ["--serial", serial] if serial else []
                done = self.run_to_end("--dut", str(DUTS / f"{name}.toml"), *unit, "--", "--vco", *words)
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertRegex(done.stdout, r"tune +frequency +sensitivity +pushing +current +level +at 10 kHz")
                self.assertEqual((self.directory / "vco.png").read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
                rows, table = self.rows(), DutTable.read(DUTS / f"{name}.toml")
                self.assertEqual(len(rows), 20)
                for row, hz in ((rows[0], first_hz), (rows[-1], last_hz)):
                    self.assertAlmostEqual(row["frequency_hz"] / hz, 1, delta=2e-4)
                for left, row, right in zip(rows, rows[1:], rows[2:]):
                    quotient = (right["frequency_hz"] - left["frequency_hz"]) / (right["tune_v"] - left["tune_v"])
                    self.assertAlmostEqual(row["kvco_hz_per_v"] / (kvco or quotient), 1, delta=0.02)
                for row in rows:
                    for offset in (1e4, 1e5, 1e6):
                        level = row[f"noise_dbc_hz_at_{offset:.0f}_hz"]
                        self.assertAlmostEqual(level, table.level_dbc_hz(offset), delta=1.8)

    def test_points_come_one_by_one_and_a_sweep_stops_within_one(self):
        self.rig(dut=DUTS / "vco-150m.toml", realtime=True)
        with Instrument(HOST, PORT) as instrument:
            for command in ("SOUR:SUPP1:VOLT 12", "SENS:MODE VCO", "SENS:VCO:VOLT:STAR 1;STOP 16;POIN 1000"):
                instrument.command(command)
            for command in ("SENS:VCO:TEST:PN OFF", "INIT"):
                instrument.write(command)
            seen = []
            for _ in range(4):
                instrument.write("CALC:VCO:WAIT NEXT")
                seen.append(int(instrument.query("CALC:VCO:ITER?")))
            self.assertEqual(seen, sorted(set(seen)))
            self.assertGreaterEqual(seen[0], 3)
            frequencies = instrument.floats("CALC:VCO:TRAC:FREQ?")
            self.assertEqual(frequencies, sorted(frequencies))
            instrument.write("ABOR")
            instrument.command("CALC:VCO:WAIT ALL,20000")
            self.assertLess(int(instrument.query("CALC:VCO:ITER?")), 1000)

    def test_a_sweep_that_ends_early_shows_what_there_is(self):
        (self.directory / "gap.toml").write_text(GAP)
        done = self.run_to_end("--dut", "gap.toml", "--", "--vco", "--no-noise", "--points", "11")
        self.assertEqual(done.returncode, 4)
        self.assertIn("ended after 5 of 11 points", done.stdout)
        self.assertIn('-131272,"Execution error;No signal detected"', done.stderr)
        rows = self.rows()
        self.assertEqual(len(rows), 5)
        self.assertTrue(math.isnan(rows[-1]["kvco_hz_per_v"]))
        for words, told in ((["--supply", "3"], "no point was measured"), (["--stop", "22"], "")):
            done = self.run_to_end("--dut", "gap.toml", "--", "--vco", *words)
            self.assertEqual((done.returncode, done.stdout.count(told) > 0), (4 if told else 2, True), done.stderr)

    def test_a_point_whose_loops_do_not_lock_lacks_its_noise_alone(self):
        (self.directory / "low.toml").write_text(LOW)  # the reference of an oscillator has no loop below 37 MHz
        done = self.run_to_end("--dut", "low.toml", "--", "--vco", "--points", "11")
        self.assertEqual(done.returncode, 4)
        # A client that comes late hears of none of them, and sees it by the points.
        heard = r'-262344,"Execution error;Lock failed"|no noise at 3 of 11 points'
        self.assertRegex(done.stderr, rf"({heard})\nmeasure: .*--type VCXO")
        rows = self.rows()
        self.assertEqual([math.isnan(row["noise_dbc_hz_at_100000_hz"]) for row in rows], [True] * 3 + [False] * 8)
        self.assertFalse(any(math.isnan(row["kvco_hz_per_v"]) for row in rows))

    def test_the_example_prints_each_point(self):
        self.rig(dut=DUTS / "vco-150m.toml")
        example = [sys.executable, "-B", PROJECT / "clients/examples/sweep_points.py", f"{HOST}:{PORT}"]
        done = subprocess.run(example, capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        rows = [[float(cell) for cell in line.split()] for line in done.stdout.splitlines()[1:]]
        self.assertEqual(len(rows), 20)
        for row, expected in ((rows[0], (1, 92.0, 5.97, 18.95, -124)), (rows[-1], (16, 208.25, 6.7, 20.9, -124))):
            for value, there, delta in zip(row, expected, (1e-3, 0.05, 0.2, 0.2, 0.8)):
                self.assertAlmostEqual(value, there, delta=delta)

    def test_an_interruption_stops_the_sweep_and_switches_the_outputs_back(self):
        self.rig(dut=DUTS / "vco-150m.toml", realtime=True)
        measure = [sys.executable, "-B", PROJECT / "clients/measure.py", f"{HOST}:{PORT}"]
        words = ["--vco", "--start", "1", "--stop", "16", "--points", "900", "--supply", "12", "--no-noise"]
        client = subprocess.Popen([*measure, *words], cwd=self.directory, stdout=subprocess.PIPE, text=True)
        self.addCleanup(client.stdout.close)
        panel, deadline = self.state / "unit/panel", time.monotonic() + 60
        while "supply 1         on" not in panel.read_text() and time.monotonic() < deadline:
            time.sleep(0.05)
        client.send_signal(signal.SIGINT)
        shown = client.communicate(timeout=60)[0]
        self.assertEqual(client.returncode, 130)
        if shown:
            self.assertRegex(shown, r"ended after \d+ of 900 points|no point was measured")
        with Instrument(HOST, PORT) as instrument:
            self.assertEqual(instrument.query("SOUR:SUPP1:STAT?"), "0")


if __name__ == "__main__":
    unittest.main()
