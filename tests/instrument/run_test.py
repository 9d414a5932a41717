"""./run as a user sees it: serving, measuring, ending, and what it says when it cannot."""

import csv
import signal
import subprocess
import sys
import time
import unittest

from clients import measurement
from clients.dut_table import DutTable
from clients.instrument import Instrument, InstrumentError
from tests.instrument.process import HOST, PORT, ProcessTest, connect, receive_line
from virtual.app.rig import PROJECT

COUNTER_HZ = 50  # what a gate of 10 ms resolves
DUT = """[signal]
frequency_hz = {frequency}
power_dbm = 8.0
noise = [[10, -75], [100, -100], [1e3, -130], [1e4, -145], [1e5, -155], [1e6, -160]]
"""
# Near points of the trace and off the middle of a point of the spectrum.
LINES = [(50.45, -72.0), (151.35, -78.0), (1.922e4, -91.0), (7.688e4, -85.0), (3.117e5, -81.0), (6.4e6, -79.0)]
DUT_WITH_LINES = f"""[signal]
frequency_hz = 122.876e6
power_dbm = 8.0
noise = [[10, -95], [100, -112], [1e3, -122], [1e4, -128], [1e5, -133], [1e6, -148], [1e7, -156]]
spurs = {[list(line) for line in LINES]}
"""
WIDER = " with the automatic loop, trying a wider one of 1 kHz\n"
SHORT = ["--", "--start", "1000", "--correlations", "2"]


class Run(ProcessTest):
    def carrier_of_a_run(self, instrument):
        measurement.configure(instrument, measurement.Setup(start_hz=1e3))
        measurement.run(instrument)
        return instrument.number("CALC:FREQ?")

    def test_it_measures_prints_figures_and_spurs_and_leaves_tables_and_pictures(self):
        (self.directory / "lines.toml").write_text(DUT_WITH_LINES)
        done = self.run_to_end("--dut", "lines.toml", "--", "--start", "10", "--correlations", "20")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stdout, r"carrier +122\.8[78]\d{4} MHz\nlevel +[78]\.\d\d dBm\n")
        self.assertRegex(done.stdout, r"10 kHz +-12[7-9]\.\d\d dBc/Hz")
        self.assertRegex(done.stdout, r"RMS jitter +\d+\.\d fs +\d+\.\d fs\n +residual FM +\d\.\d+ k?Hz")
        for picture in ("trace.png", "allan.png"):
            self.assertEqual((self.directory / picture).read_bytes()[:8], b"\x89PNG\r\n\x1a\n")

        head, rows = self.table("trace.csv")
        self.assertEqual((head["correlations"], head["spurs"]), ("20", str(len(LINES))))
        self.assertEqual((float(rows[0]["offset_hz"]), float(rows[-1]["offset_hz"])), (10.0, 5e7))
        found = [(float(row["offset_hz"]), float(row["spur_dbc"])) for row in rows if row["spur_dbc"]]
        self.assertEqual(len(found), len(LINES))
        for (offset, level), (true_offset, true_level) in zip(found, LINES):
            self.assertAlmostEqual(offset / true_offset, 1.0, delta=0.03)  # the nearest point of the trace
            self.assertAlmostEqual(level, true_level, delta=0.9)

        head, rows = self.table("allan.csv")
        self.assertEqual((float(head["valid_from_s"]), float(head["valid_to_s"])), (2e-8, 0.01))
        self.assertEqual([row["valid"] for row in rows].count("0"), sum(float(row["tau_s"]) > 0.01 for row in rows))

    def test_a_device_that_the_automatic_loop_does_not_hold_is_measured_with_a_wider_one(self):
        path = PROJECT / "virtual/duts/vco-2g4.toml"
        done = self.run_to_end("--dut", str(path), *SHORT)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stderr, rf"^(lock failed|the loops slip){WIDER}$")
        self.assertRegex(done.stdout, r"loops    locked, 1000\.\d and 1000\.\d Hz")
        head, _ = self.table("trace.csv")
        self.assertEqual((head["loop_setting_hz"], round(float(head["loop_hz"]))), ("1000", 1000))

    def test_a_device_whose_automatic_loop_has_no_filter_is_measured_with_a_narrower_one(self):
        words = ["--dut", str(PROJECT / "virtual/duts/ocxo-10mhz.toml"), "--", "--reference", "ln", "--start", "1"]
        done = self.run_to_end(*words)
        self.assertEqual(done.returncode, 0, done.stderr)
        way = "lock failed with the automatic loop, no filter gives it, trying a narrower one of 50 Hz\n"
        self.assertEqual(done.stderr, way)
        # At 1 Hz, one point far down in the loop, a run's value spreads by decibels; seven points at 10 Hz do not.
        self.assertRegex(done.stdout, r"\n +1 Hz +-1\d\d\.\d\d dBc/Hz\*\n +10 Hz +-14[78]\.\d\d dBc/Hz\n")
        head, _ = self.table("trace.csv")
        self.assertEqual((head["loop_setting_hz"], head["reference"], head["smoothing_percent"]), ("50", "LN", "0.1"))
        done = self.run_to_end(*words, "--loop", "300")
        self.assertRegex(done.stderr, r"^measure: -262344,[^\n]*\nmeasure: no filter gives this loop, try a narrower one\n$")

    def test_what_the_instrument_or_the_disk_does_not_take_is_said_in_one_line(self):
        rig = self.rig()
        measure = [sys.executable, "-B", str(PROJECT / "clients/measure.py"), f"{HOST}:{rig.port}", "--start", "1k"]
        for words, status, told in (
            (["--correlations", "0"], 2, "measure: --correlations: 0 is outside of 1 to 10000"),
            (["--start", "-5"], 2, "measure: --start: -5 Hz is outside of 0.01 Hz to 50 MHz"),
            (["--csv", "/dev/full"], 1, "measure: /dev/full: No space left on device"),
            (["--allan-csv", "allan.csv"], 1, "measure: standard output: No space left on device"),
        ):
            with open("/dev/full" if "standard output" in told else "/dev/null", "w") as output:
                done = subprocess.run(
                    [*measure, *words], cwd=self.directory, stdout=output, stderr=subprocess.PIPE, text=True, timeout=20
                )
            self.assertEqual((done.returncode, done.stderr), (status, told + "\n"))
        self.assertTrue((self.directory / "allan.csv").is_file())

    def test_every_device_that_comes_with_it_is_found_and_measured(self):
        setup = measurement.Setup(start_hz=1e3)
        for path in sorted((PROJECT / "virtual/duts").glob("*.toml")):
            if "\n[vco]\n" in path.read_text():
                continue  # dead without the supply and the tune voltage of a sweep: sweep_test.py
            rig, told = self.rig(dut=path), []
            with self.subTest(dut=path.name), Instrument(HOST, PORT) as instrument:
                measurement.configure(instrument, setup)
                trace = measurement.measure(instrument, setup, [1e5, 1e6, 4e6], lambda *_: None, told.append)
                self.assertEqual(len(told), path.name == "vco-2g4.toml", told)
                for offset, level, _ in trace.spots[path.stem == "default" :]:  # its floor needs more correlations
                    self.assertAlmostEqual(level, DutTable.read(path).level_dbc_hz(offset), delta=1.5)
            rig.stop()

    def test_loops_that_hold_nothing_are_tried_twice_and_a_chosen_one_once(self):
        (self.directory / "stiff.toml").write_text(DUT.format(frequency="100.0012e6") + "[faults]\nunlockable = true\n")
        for options, tries in (([], 1), (["--loop", "500"], 0)):
            done = self.run_to_end("--dut", "stiff.toml", *SHORT, *options)
            self.assertEqual(done.returncode, 4)
            said = done.stderr.count(f"lock failed{WIDER}")
            self.assertEqual(said, tries, done.stderr)
            self.assertIn('-262344,"Execution error;Lock failed"', done.stderr)
            self.assertIn("loops    not locked", done.stdout)

    def table(self, name):
        lines = (self.directory / name).read_text().splitlines()
        head = dict(line[2:].split(": ", 1) for line in lines if line.startswith("# "))
        return head, list(csv.DictReader(line for line in lines if not line.startswith("#")))

    def test_external_references_are_measured_and_used(self):
        words = ["--dut", str(PROJECT / "virtual/duts/external-references-100mhz.toml"), *SHORT, "--reference", "ext"]
        done = self.run_to_end(*words)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.table("trace.csv")[0]["reference"], "EXT")

    def test_what_a_serial_number_names_is_told_and_what_it_does_not_is_warned_of(self):
        done = self.run_to_end("--serial", "123", *SHORT)
        self.assertEqual(done.returncode, 4)
        warning = r"^unit 123: no board that is known\nwarning: [^\n]* no analog boards, [^\n]*\nmeasure: "
        self.assertRegex(done.stderr, warning)
        self.assertIn("docs/serial-numbers.md", done.stderr)

    def test_a_wrong_option_is_told_in_a_line_with_one_status(self):
        for words, told in (
            (["--foo"], "run: unrecognized arguments: --foo"),
            (["--start", "1"], r"run: .*\(options of the measurement follow --, as in \./run -- --start 1\)"),
            (["--", "--foo"], "run --: unrecognized arguments: --foo"),
            (["--dut", "."], "run: argument --dut: . is a directory"),
            (["--port", "99999"], "run: argument --port: '99999' is no port"),
            (["--seed", "x"], "run: argument --seed: 'x' is no seed"),
        ):
            done = self.run_to_end(*words)
            self.assertEqual(done.returncode, 2)
            self.assertRegex(done.stderr, rf"^{told}[^\n]*\n$")

    def test_a_seed_gives_the_same_trace_every_time(self):
        setup = measurement.Setup(start_hz=1e3, correlations=2)
        traces = []
        for seed in ("5", "5", "6"):
            process = self.run_serve("--seed", seed)
            with Instrument(HOST, PORT) as instrument:
                measurement.configure(instrument, setup)
                measurement.run(instrument)
                trace = measurement.fetch(instrument, setup, [])
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(5), 0)
            traces.append((trace.carrier_hz, trace.power_dbm, trace.run.channels, trace.noise_dbc_hz))
        self.assertEqual(traces[0], traces[1])
        self.assertNotEqual(traces[0][-1], traces[2][-1])

    def test_time_passes_as_on_the_wall_between_commands(self):
        drift_hz_per_s = 1e4
        (self.directory / "drift.toml").write_text(
            DUT.format(frequency="100e6") + f"[faults]\ndrift_hz_per_s = {drift_hz_per_s}\n"
        )
        self.run_serve("--dut", "drift.toml")

        def carrier(instrument):
            instrument.write("SENS:FREQ:EXEC")
            return instrument.number("CALC:FREQ?")

        def poll(instrument):
            end = time.monotonic() + 0.5
            while time.monotonic() < end:
                instrument.query("*OPC?")

        with Instrument(HOST, PORT) as instrument:
            for wait in (lambda: time.sleep(0.5), lambda: poll(instrument)):
                before, began = carrier(instrument), time.monotonic()
                wait()
                passed_s = (carrier(instrument) - before) / drift_hz_per_s
                self.assertGreater(passed_s, 0.45)
                self.assertLess(passed_s, time.monotonic() - began + 0.2)  # of searches

    def test_ctrl_c_ends_it_within_a_second_in_the_middle_of_a_run(self):
        process = self.run_serve("--realtime")
        with connect() as client:
            client.sendall(b"SENS:PN:FREQ:STAR 1\nINIT\nCALC:PN:PREL:AVER?\n")
            self.assertEqual(receive_line(client), b"0\n")
            started = time.monotonic()
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(5), 0)
            self.assertLess(time.monotonic() - started, 1.0)
        self.assertEqual(process.stderr.read(), "")

    def test_a_bad_dut_is_refused_with_its_file_line_and_reason(self):
        path = self.directory / "bad.toml"
        path.write_text(DUT.format(frequency="100e6") + "colour = 3\n")
        done = self.run_to_end("--serve", "--dut", "./bad.toml")
        self.assertNotEqual(done.returncode, 0)
        self.assertRegex(done.stderr, r"^virtual-instrument: \./bad\.toml:5: [^\n]*colour[^\n]*\n$")
        absent = self.run_to_end("--dut", "absent.toml")
        self.assertNotEqual(absent.returncode, 0)
        self.assertIn("absent.toml", absent.stderr)

    def test_an_edited_dut_is_in_force_at_the_next_run_and_a_broken_one_is_not(self):
        path = self.directory / "my dut.toml"
        path.write_text(DUT.format(frequency="100e6"))
        process = self.run_serve("--dut", "my dut.toml")

        def edit(text):  # as editors do: a new file in the place of the old
            (self.directory / "new").write_text(text)
            (self.directory / "new").rename(path)

        with Instrument(HOST, PORT) as instrument:
            self.assertAlmostEqual(self.carrier_of_a_run(instrument), 100e6, delta=COUNTER_HZ)
            edit(DUT.format(frequency="110e6"))
            self.assertAlmostEqual(self.carrier_of_a_run(instrument), 110e6, delta=COUNTER_HZ)
            edit("[signal\n")
            self.assertAlmostEqual(self.carrier_of_a_run(instrument), 110e6, delta=COUNTER_HZ)
            edit(DUT.format(frequency="100e6") + "[faults]\nno_signal = true\n")
            with self.assertRaisesRegex(InstrumentError, '-131272,"Execution error;No signal detected"'):
                self.carrier_of_a_run(instrument)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(5), 0)
        self.assertRegex(process.stderr.read(), r"^[^\n]*my dut\.toml:1: [^\n]*\n$")

    def test_a_failed_run_is_reported_with_the_instruments_own_words(self):
        (self.directory / "none.toml").write_text(DUT.format(frequency="100e6") + "[faults]\nno_signal = true\n")
        done = self.run_to_end("--verbose", "--dut", "none.toml", *SHORT)
        self.assertEqual(done.returncode, 4)
        self.assertIn("measureFull has finished with error code (No signal detected)", done.stdout)
        self.assertRegex(
            done.stderr,
            r"""^measure: -131272,"Execution error;No signal detected"
measure: no carrier was found: .* above -25 dBm and between 1 MHz and 29\.5 GHz\? docs/limits\.md\n$""",
        )
        self.assertNotIn("\ndetector", done.stdout)  # it did not come so far
        self.assertFalse((self.directory / "trace.csv").exists())

    def test_a_restart_command_restarts_the_unit_with_its_file_tree(self):
        self.run_serve()
        with connect() as client:
            client.sendall(b'SYST:NAME "bench 3"\n*OPC?\n')
            self.assertEqual(receive_line(client), b"1\n")
            client.sendall(b"SYST:REST\n")
            self.assertEqual(receive_line(client), b"")  # the connection ends with the unit
        with connect(starting=True) as client:
            client.sendall(b"SYST:NAME?\n")
            self.assertEqual(receive_line(client), b'"bench 3"\n')
        self.assertEqual((self.state / "unit/calls.log").read_text().count("shutdown -r now"), 1)


if __name__ == "__main__":
    unittest.main()
