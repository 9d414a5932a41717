"""What commands do to the hardware, as somebody in front of the unit sees it: lamps, outputs, the files of the service."""

import re
import unittest

from tests.instrument.process import HOST, PORT, ProcessTest
from tools.reference import probe
from tools.reference.link import Link

DOUBLE_SOURCE = "220-333305510-0001"
COUNTS_AT_ITS_INPUT = "220-332306710-0001"  # analog boards 1C

# A command, and the lines of the panel record behind it.
PANEL = (
    ("SUPP1:VOLT 12", {"supply 1": "off, 12.000 V"}),
    ("SUPP1:STAT ON", {"supply 1": "on, 12.000 V", "supply 2": "off, 0.000 V"}),
    ("SUPP2:VOLT 5;:SUPP2:STAT ON", {"supply 1": "on, 12.000 V", "supply 2": "on, 5.000 V"}),
    ("SUPP1:STAT OFF", {"supply 1": "off, 12.000 V", "supply 2": "on, 5.000 V"}),
    ("LFO:FREQ 1 kHz;AMPL 1.5;SHAP TRI", {"generator": "off, 0.0 Hz, 0.000 V", "function output": "low, 0.000 V"}),
    ("LFO:STAT ON", {"generator": "triangle, 999.6 Hz, 1.500 V", "function output": "generator, 1.500 V"}),
    ("LFO:SHAP SINE;AMPL 3", {"generator": "sine, 999.6 Hz, 1.799 V", "function output": "generator, 1.799 V"}),
    ("LFO:SHAP SQU", {"function output": "square, 1.799 V"}),
    ("LFO:SOUR DAC;DAC 8192", {"generator": "off, 0.0 Hz, 0.000 V", "function output": "DAC, 2.500 V"}),
    ("LFO:SOUR PULM", {"function output": "pulse, 0.000 V"}),
    ("LFO:SOUR HIGH", {"function output": "low, 0.000 V"}),
    ("LFO:SOUR LFG", {"function output": "square, 1.799 V"}),
    ("LFO:STAT OFF", {"generator": "off, 0.0 Hz, 0.000 V", "function output": "low, 0.000 V"}),
    ("OUTP OFF", {"RF": "off"}),
    ("OUTP ON", {"RF": "on"}),
    ("FREQ 5 GHz", {"input relay": "high"}),
    ("FREQ 500 MHz", {"input relay": "low"}),
)


def raise_detector_counts(row):
    """The row of a detector as if it had counted 100 more at each level: about 3.1 dB."""
    return row[1] + ";".join(f"{float(count) + 100:.3f}" for count in row[2].split(";"))


class Rows(ProcessTest):
    def panel(self):
        """The panel record as {what: how}; names end where two blanks begin."""
        lines = (self.state / "unit/panel").read_text().splitlines()
        return {line[:17].strip(): line[17:] for line in lines}

    def unit_with(self, faults, serial):
        dut = self.directory / "dut.toml"
        dut.write_text(f"{probe.DUT.read_text()}\n[faults]\n{faults}\n")
        return self.rig(dut=dut, serial=serial)

    def test_outputs_follow_their_commands(self):
        self.rig(dut=probe.DUT)
        with Link(HOST, PORT) as link:
            for command, lines in PANEL:
                with self.subTest(command):
                    self.assertEqual(link.ask(command), (None, 0))
                    self.assertEqual(self.panel() | lines, self.panel())

    def test_references_decide_what_a_run_has_to_beat_against(self):
        self.rig(dut=probe.DUT)
        no_beat, ended = -196808, 0
        with Link(HOST, PORT) as link:
            link.send("SENS:PN:CORR 10")
            for command, code in (
                ("ROSC:SOUR EXT", no_beat),
                ("ROSC:SOUR INT", ended),
                ("ROSC:INT:STAT OFF", no_beat),
                ("ROSC:INT:STAT ON", ended),
                ("ROSC:INT:MODE LN", ended),
            ):
                with self.subTest(command):
                    link.send(f"{command};:INIT")
                    self.assertEqual(link.ask("CALC:WAIT:AVER ALL,60000"), (None, code))

    def test_a_count_is_the_carrier_and_one_of_nothing_is_none(self):
        for serial, code, carrier_hz in ((COUNTS_AT_ITS_INPUT, 0, 100.000123e6), (probe.DEFAULT_UNIT, -200, 300e6)):
            with self.subTest(serial):
                rig = self.rig(dut=probe.DUT, serial=serial)
                with Link(HOST, PORT) as link:
                    self.assertEqual(link.ask("FREQ 300 MHz;:FREQ:MEAS"), (None, code))
                    self.assertAlmostEqual(float(link.ask("FREQ?")[0]) / carrier_hz, 1, delta=1e-6)
                    link.send("SENS:PN:CORR 10;:INIT")
                    self.assertEqual(link.ask("CALC:WAIT:AVER ALL,60000"), (None, 0))
                rig.stop()

    def test_the_self_test_names_the_source_that_does_not_lock(self):
        for faults, answer, lamp in (
            ("", "0", "on"),
            ('pll_unlocked = ["A"]', "-3", "off"),
            ('pll_unlocked = ["B"]', "-4", "off"),
        ):
            with self.subTest(faults):
                rig = self.unit_with(faults, DOUBLE_SOURCE)
                with Link(HOST, PORT) as link:
                    self.assertEqual(link.ask("*TST?"), (answer, 0))
                self.assertEqual(self.panel()["ready lamp"], lamp)
                rig.stop()

    def test_a_calibration_table_goes_out_and_comes_back_in_force(self):
        self.rig(dut=probe.DUT)
        file = self.state / "tolvane/dev/calibration.csv"
        stated = file.read_text().removesuffix("\n")
        with Link(HOST, PORT) as link:
            link.send("tcg/")
            self.assertEqual(link.receive(len(stated) + 2).decode(), stated + "/\n")
            as_stated = float(link.ask("POW?")[0])
            raised = re.sub(r"(?m)^((?:zero|ten)[^;]*;)(.*)$", raise_detector_counts, stated)
            for table, lower_dB in ((raised, 3.1), (stated, 0)):
                link.send("tcs/")
                for at in range(0, len(table) + 1, 128):
                    link.socket.sendall((table + "/")[at : at + 128].encode())
                    self.assertEqual(link.line(), "/")
                self.assertEqual(link.line(), "calibration loaded")
                self.assertEqual(file.read_text(), table + "\n")
                self.assertAlmostEqual(as_stated - float(link.ask("POW?")[0]), lower_dB, delta=0.1)


if __name__ == "__main__":
    unittest.main()
