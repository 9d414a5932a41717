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
TUNING_UNITS = [f"220-33{analog}{supply}06910-0001" for analog in "456" for supply in "23"]  # 2B, 2C, 2D; 5 V, 12 V
# All figures on straight lines, so that difference quotients are exact.
STRAIGHT = """[signal]
power_dbm = 7.0
noise = [[1e3, -84], [1e4, -105], [1e5, -124], [1e6, -145], [1e7, -160]]
[vco]
tuning = [[0, 90e6], [10, 190e6]]
supply_v = {supply}
supply_a = [[0, 0.02], [10, 0.03]]
pushing = 3e5
level = [[0, 6], [10, 9]]
settle_s = {settle}
"""
STANDARD_ERRORS_DB = {1e4: 0.43, 1e5: 0.14, 1e6: 0.04}  # of one correlation from 10 Hz on: 4.34 dB / sqrt(n)
SCALE_DB = 0.15  # of the detector constants, the gain and the noise of the references
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

    def sweep(self, serial, supply, settle, *words):
        (self.directory / "straight.toml").write_text(STRAIGHT.format(supply=supply, settle=settle))
        done = self.run_to_end("--dut", "straight.toml", "--serial", serial, "--", "--vco", *words)
        self.assertEqual(done.returncode, 0, done.stderr)
        return self.rows()

    def test_every_unit_that_tunes_measures_what_the_oscillator_does(self):
        for serial in TUNING_UNITS:
            supply = 12 if serial[7] == "3" else 5
            rows = self.sweep(serial, supply, 0, "--start", "0.5", "--stop", "9.5", "--spots", "10k", "100k", "1M")
            self.assertEqual(len(rows), 20)
            for at, row in enumerate(rows):
                with self.subTest(serial, volts=row["tune_v"]):
                    volts = row["tune_v"]
                    # A step of the tune DAC, the error of the supply, that of the time base.
                    self.assertAlmostEqual(row["frequency_hz"], 90e6 + 10e6 * volts, delta=20e3)
                    self.assertAlmostEqual(row["kvco_hz_per_v"], 10e6, delta=100e3 if at in (0, 19) else 50e3)
                    self.assertAlmostEqual(row["kpush_hz_per_v"], 3e5, delta=4e3)  # a step of the supply's DAC
                    self.assertAlmostEqual(row["supply_a"] / (0.02 + 0.001 * volts), 1, delta=0.01)
                    self.assertAlmostEqual(row["power_dbm"], 6 + 0.3 * volts, delta=0.2)
                    for offset, level in ((1e4, -105), (1e5, -124), (1e6, -145)):
                        allowed = 4 * STANDARD_ERRORS_DB[offset] + SCALE_DB
                        self.assertAlmostEqual(row[f"noise_dbc_hz_at_{offset:.0f}_hz"], level, delta=allowed)

    def test_an_oscillator_that_settles_slowly_is_read_where_it_is(self):
        settle, delay, gate = 0.05, 1e-3, 0.01
        rows = self.sweep(TUNING_UNITS[-1], 12, settle, "--no-noise", "--no-pushing", "--delay", f"{delay}s")
        point = delay + 3 * gate + 0.02  # a count, a pause, two counts
        step = (rows[1]["tune_v"] - rows[0]["tune_v"]) * 10e6
        mean = math.exp(-delay / settle) * settle / gate * (1 - math.exp(-gate / settle))
        lag = step / (1 - math.exp(-point / settle)) * mean  # of the step, and of what is left of those before
        for row in rows[8:]:
            self.assertAlmostEqual((90e6 + 10e6 * row["tune_v"] - row["frequency_hz"]) / lag, 1, delta=0.1)

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
