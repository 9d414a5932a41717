"""What measure.py takes, refuses and says, without an instrument."""

import os
import resource
import subprocess
import sys
import time
import unittest
from datetime import datetime
from pathlib import Path
from tempfile import TemporaryDirectory
from unittest import mock

from clients import options, outputs, progress, report
from clients.results import Spur, Trace
from clients.run_info import Channel, RunInfo
from clients.setup import SettingError, Setup
from clients.text import carrier, typed_number

MEASURE = [sys.executable, "-B", str(Path(__file__).parents[2] / "clients/measure.py")]
EXAMPLES = Path(__file__).parents[2] / "clients/examples"
LIMITS = {
    "frequency_hz": (1e6, 29.5e9),
    "start_hz": (0.01, 50e6),
    "stop_hz": (0.1, 50e6),
    "smoothing_percent": (0.05, 20),
    "loop_hz": (1, 1000),
    "points_per_decade": (2, 500),
}


def limits(setting):
    return LIMITS.get(setting.name, (1, 10000))


def setup_of(text):
    given = options.parse(["host", *text.split()])
    return given, options.setup_of(given)


class Options(unittest.TestCase):
    def test_numbers_take_prefixes_in_either_case(self):
        for text, value in (
            ("1000", 1e3),
            ("1k", 1e3),
            ("1.5K", 1.5e3),
            ("10m", 10e6),
            ("2.4 GHz", 2.4e9),
            (".5e3hz", 500),
        ):
            self.assertAlmostEqual(typed_number(text) / value, 1.0)
        for text in ("", "k", "1q", "1kk", "nan", "1_0", "0x10"):
            with self.assertRaises(ValueError):
                typed_number(text)
        given, setup = setup_of("--start 1K --stop 10m --correlations 2k --reference ln --smoothing 5% --spots 1k 2M")
        self.assertEqual((setup.start_hz, setup.stop_hz, setup.correlations, setup.reference), (1e3, 10e6, 2000, "LN"))
        self.assertEqual((setup.smoothing_percent, options.spots_of(given, setup)), (5.0, [1e3, 2e6]))

    def test_what_an_instrument_does_not_take_is_named_with_its_limits(self):
        for text, told in (
            ("--start -5", "--start: -5 Hz is outside of 0.01 Hz to 50 MHz"),
            ("--correlations 0", "--correlations: 0 is outside of 1 to 10000"),
            ("--correlations 1000000000", "--correlations: 1000000000 is outside of 1 to 10000"),
            ("--smoothing 500", "--smoothing: 500 % is outside of 0.05 % to 20 %"),
            ("--frequency 30G", "--frequency: 30 GHz is outside of 1 MHz to 29.5 GHz"),
            ("--start 1M --stop 1k", "--stop: the trace would go from 1 MHz to 1 kHz"),
            ("--range 2k 1k", "--range: 2 kHz to 1 kHz holds nothing of the trace, 10 Hz to 50 MHz"),
            ("--range 60M 70M", "--range: 60 MHz to 70 MHz holds nothing of the trace, 10 Hz to 50 MHz"),
            ("--spots 1", "--spots: 1 Hz is not in the trace, 10 Hz to 50 MHz"),
        ):
            given, setup = setup_of(text)
            with self.assertRaises(SettingError) as raised:
                setup.check(limits)
                options.spots_of(given, setup)
            self.assertEqual(options.explain(raised.exception), told)
        setup_of("--smoothing 0")[1].check(limits)  # off, and below the lowest aperture

    def test_a_set_up_tells_what_is_in_force(self):
        answers = {
            "SENS:FREQ?": "100000000.0", "SENS:PN:FREQ:STAR?": "0.010", "SENS:PN:FREQ:STOP?": "1e6",
            "SENS:PN:PPD?": "500", "SENS:PN:CORR?": "10000", "SENS:PN:AVER?": "2", "SENS:PN:SMO:APER?": "20.0", "SENS:PN:SMO:STAT?": "1",
            "SENS:PN:LOB?": "1.0", "SENS:PN:LOB:AUTO?": "1", "SOUR:ROSC:SOUR?": "INT", "SENS:ROSC:INT?": "3",
            "SENS:PN:SPUR:OMIS?": "0",
        }  # fmt: skip
        asked = Setup(start_hz=-5, correlations=10**9, smoothing_percent=500, points_per_decade=10**6)
        told = asked.in_force(answers.get)
        self.assertEqual((told.frequency_hz, told.start_hz, told.stop_hz, told.correlations), (None, 0.01, 1e6, 10000))
        self.assertEqual((told.averages, told.smoothing_percent, told.points_per_decade), (2, 20.0, 500))
        self.assertEqual((told.loop_hz, told.reference, told.list_spurs), (None, "LN", False))
        off = {**answers, "SENS:PN:SMO:STAT?": "0", "SENS:PN:LOB:AUTO?": "0", "SOUR:ROSC:SOUR?": "EXT"}
        told = asked.in_force(off.get)
        self.assertEqual((told.smoothing_percent, told.loop_hz, told.reference), (0.0, 1.0, "EXT"))
        self.assertEqual(told.description()["loop_setting_hz"], "1")

    def test_an_address_is_one_word_or_two(self):
        for words, place in (
            ("host", ("host", 18)),
            ("host:2018", ("host", 2018)),
            ("host 2018 --start 1", ("host", 2018)),
        ):
            self.assertEqual(options.parse(words.split()).address, place)

    def test_each_trouble_before_a_measurement_takes_one_line(self):
        with TemporaryDirectory() as directory:
            (Path(directory) / "bad.toml").write_text("noise = 3\n")
            for words, status, told in (
                (["--foo"], 2, "unrecognized arguments: --foo"),
                (["--start", "1q"], 2, "argument --start: '1q' is no number"),
                (["--dut", "bad.toml"], 2, "bad.toml: it has no table"),
                (["--dut", "absent.toml"], 2, "argument --dut: there is no file absent.toml"),
                (["--csv", "absent/trace.csv"], 1, "absent/trace.csv: No such file or directory"),
                (["--csv", "a.csv", "--png", "a.csv"], 1, "a.csv is named for two results"),
                (["--csv", "a.csv"], 3, "no connection to 127.0.0.1:1: Connection refused"),
            ):
                started = time.monotonic()
                done = subprocess.run([*MEASURE, "127.0.0.1:1", *words], cwd=directory, capture_output=True, text=True)
                self.assertRegex(done.stderr, rf"^measure: {told}[^\n]*\n$")
                self.assertEqual((done.returncode, done.stdout), (status, ""))
                self.assertLess(time.monotonic() - started, 60)
            self.assertEqual(os.listdir(directory), ["bad.toml"])

    def test_examples_explain_themselves_and_fail_in_a_line(self):
        for example in sorted(EXAMPLES.glob("*.py")):
            for words, status, told in (
                (["--help"], 0, ""),
                (["127.0.0.1", "99999"], 2, f"{example.stem}: '99999' is no port[^\n]*\n"),
                (["127.0.0.1:1"], 1, f"{example.stem}: [^\n]*refused[^\n]*\n"),
            ):
                if example.stem == "usbtmc_trace" and words != ["--help"]:  # has a device in place of an address
                    words, status, told = ["/dev/absent"], 1, f"{example.stem}: [^\n]*No such file[^\n]*\n"
                done = subprocess.run([sys.executable, "-B", example, *words], capture_output=True, text=True)
                self.assertRegex(done.stderr, f"^{told}$")
                self.assertEqual(done.returncode, status)


class Outputs(unittest.TestCase):
    def test_a_full_disk_leaves_the_old_file_and_takes_no_other_with_it(self):
        kept = resource.getrlimit(resource.RLIMIT_FSIZE)
        with TemporaryDirectory() as directory:
            big, small = Path(directory) / "big", Path(directory) / "small"
            big.write_text("old")
            try:
                resource.setrlimit(resource.RLIMIT_FSIZE, (1000, kept[1]))
                written, failure = outputs.write([(big, lambda: bytes(2000)), (small, lambda: b"new")])
            finally:
                resource.setrlimit(resource.RLIMIT_FSIZE, kept)
            self.assertEqual((written, str(failure)), ([small], f"{big}: File too large"))
            self.assertEqual((big.read_text(), small.read_text()), ("old", "new"))
            self.assertEqual(sorted(os.listdir(directory)), ["big", "small"])
        _, failure = outputs.write([(Path("/dev/full"), lambda: b"new")])
        self.assertEqual(str(failure), "/dev/full: No space left on device")


    def test_an_interruption_at_the_last_moment_stays_one(self):
        with TemporaryDirectory() as directory:
            path, replace = Path(directory) / "table", os.replace

            def interrupted(*names):
                replace(*names)
                raise KeyboardInterrupt

            with mock.patch("os.replace", interrupted), self.assertRaises(KeyboardInterrupt):
                outputs.write([(path, lambda: b"new")])
            self.assertEqual((os.listdir(directory), path.read_bytes()), (["table"], b"new"))


class Progress(unittest.TestCase):
    def test_the_line_fits_every_terminal_and_tells_the_time_left_where_there_is_room(self):
        state = "average 1/2, correlation 1000/1000"
        for columns in range(1, 200):
            line = progress.line(columns, 1000, 2000, 125.0, 3725.0, state)
            self.assertLess(len(line), columns)
            self.assertEqual("2:05 min, 1:02:05 h left" in line, columns > 31)
            self.assertEqual(state in line, columns >= 79)

    def test_the_end_is_foretold_from_the_pace_of_the_captures(self):
        pace = progress.Pace(100)
        self.assertIsNone(pace.left_s(0.0, 0))
        self.assertIsNone(pace.left_s(5.0, 0))
        self.assertAlmostEqual(pace.left_s(10.0, 20), 40.0)
        self.assertAlmostEqual(pace.left_s(15.0, 20), 35.0)  # counts down between captures
        self.assertAlmostEqual(pace.left_s(30.0, 50), 30.0)
        self.assertIsNone(pace.left_s(31.0, 0))  # a second run


class Figures(unittest.TestCase):
    def trace(self, level, carrier_hz=1e9, spurs=None):
        offsets = [1e3 + 1e4 * i for i in range(1001)]
        channel = Channel(0.4, 250.0, 200.0, 1.2)
        run = RunInfo(True, 0.0, (channel, channel), (0.0,) * 5)
        levels = [level] * len(offsets)
        return Trace("maker", datetime(2024, 1, 2), Setup(), run, carrier_hz, 8.0, offsets, levels, levels, spurs)

    def test_levels_that_are_no_sidebands_power_are_marked(self):
        for trace, limit_hz in (
            (self.trace(-100.0), None),  # 2 x 1e-10/Hz x 10 MHz = 0.002 rad^2
            (self.trace(-80.0), 5e6),  # 0.2 rad^2, half of it above 5 MHz
            (self.trace(-100.0, spurs=[Spur(2.001e6, -12.0)]), 2.001e6),  # the line alone has 0.126 rad^2
        ):
            told = "\n".join(report.text_lines(trace, 20))
            head = trace.csv_table().decode().partition("offset_hz")[0]
            if limit_hz is None:
                self.assertIsNone(trace.small_angle_from_hz)
                self.assertNotIn("caution", told)
                self.assertIn("# small_angle_fails_below_hz: nowhere\n", head)
            else:
                self.assertAlmostEqual(trace.small_angle_from_hz / limit_hz, 1.0, delta=0.01)
                self.assertIn(f"caution: the phase above {limit_hz / 1e6:.2f} MHz alone has 0.1 rad²", told)
                self.assertRegex(head, r"# small_angle_fails_below_hz: \d+\n")

    def test_the_loop_that_there_was_is_told_beside_the_one_that_was_asked_for(self):
        trace = self.trace(-100.0)
        trace.setup.loop_hz, trace.setup.correlations = 7.0, 10
        told, head = "\n".join(report.text_lines(trace, 20)), trace.csv_table().decode()
        self.assertIn("no loop of 7 Hz here and took 200.0 Hz", told)
        self.assertIn("with 10 correlations the instrument's own noise stands 10 dB above", told)
        self.assertIn("# loop_setting_hz: 7\n", head)
        self.assertIn("# loop_hz: 200\n", head)

    def test_what_the_removal_of_a_spur_has_touched_is_marked(self):
        trace = self.trace(-100.0, spurs=[Spur(2.001e6, -60.0), Spur(7.001e6, -60.0)])
        trace.noise_dbc_hz = list(trace.with_spurs_dbc_hz)
        for at in (195, 200, 212, 230):  # the last is beyond the detector's reach, 18 points of 1001
            trace.noise_dbc_hz[at] += 3.0
        self.assertEqual(trace.spur_regions_hz, [(1.951e6, 2.121e6), (7.001e6 - 980e3, 7.001e6 + 980e3)])

    def test_a_carrier_looks_the_same_everywhere(self):
        for hz, text in (
            (11797999762.4, "11.797999762 GHz"),
            (1e8 + 118, "100.000118 MHz"),
            (999999999.7, "1.000000000 GHz"),
        ):
            self.assertEqual(carrier(hz), text)
            trace = self.trace(-100.0, hz)
            self.assertIn(f"carrier  {text}", "\n".join(report.text_lines(trace, 20)))
            self.assertIn(f"# carrier: {text}\n", trace.csv_table().decode())


if __name__ == "__main__":
    unittest.main()
