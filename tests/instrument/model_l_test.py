"""The model L's path as a user runs it: the trace beside the device's law, its table and picture, and how it fails."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from clients.dut_table import DutTable
from clients.model_l import read_table
from virtual.app.rig import PROJECT

PROGRAM = os.environ["MODEL_L"]
DUT = PROJECT / "virtual/duts/vcxo-100mhz.toml"


class ModelL(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)

    def run_client(self, *words):
        command = [sys.executable, "-B", PROJECT / "clients/model_l.py", "--program", PROGRAM, *words]
        return subprocess.run(command, cwd=self.directory, capture_output=True, text=True, timeout=300)

    def test_measures_and_draws(self):
        done = self.run_client("--dut", DUT, "--csv", "trace.csv", "--png", "trace.png", "--spot", "3e3")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout, r"PLL locked!\n  QUAD locked! \(fnA=0\.1Hz, fnB=0\.1Hz\)")
        self.assertTrue((self.directory / "trace.png").read_bytes().startswith(b"\x89PNG"))
        head, rows = read_table(self.directory / "trace.csv")
        self.assertAlmostEqual(float(head["carrier_hz"]), 100e6, delta=16)
        law = DutTable.read(DUT)
        errors = [float(row["noise_dbc_hz"]) - law.level_dbc_hz(float(row["read_at_hz"])) for row in rows]
        self.assertEqual(len(errors), 61)
        self.assertLess(max(map(abs, errors)), 2.5)  # one run: four standard errors and half a decibel
        self.assertAlmostEqual(sum(errors) / len(errors), 0, delta=0.5)
        spot = float(done.stdout.split("spot level at 3000 Hz: ")[1].split()[0])
        self.assertAlmostEqual(spot, law.level_dbc_hz(3e3), delta=2.5)

    def test_fails_in_a_line(self):
        unlockable = self.directory / "unlockable.toml"
        unlockable.write_text(DUT.read_text() + "[faults]\nunlockable = true\n")
        silent = self.directory / "silent.toml"
        silent.write_text(DUT.read_text() + "[faults]\nno_signal = true\n")
        for words, status, told in (
            (["--dut", unlockable], 4, "model-l: the loops do not hold the carrier\n"),
            (["--dut", silent], 4, "model-l: no carrier was found[^\n]*\n"),
            (["--dut", DUT, "--from", "10", "--to", "5"], 2, "model-l: --to lies not above --from;[^\n]*\n"),
            (["--dut", DUT, "--points", "1.5"], 2, "model-l: --points takes no 1.5;[^\n]*\n"),
            (["--dut", DUT, "--gain", "60"], 0, r"model-l: \d+ samples were clipped; a lower --gain helps\n"),
        ):
            done = self.run_client(*words)
            self.assertRegex(done.stderr, f"^{told}$")
            self.assertEqual(done.returncode, status)


if __name__ == "__main__":
    unittest.main()
