"""The reference of the commands: its pages are current, its examples are true, and each kind of command refuses what
the pages say that it refuses."""

import contextlib
import re
import subprocess
import sys
import time
import unittest

from tests.instrument.process import HOST, PORT, PROJECT, ProcessTest
from tools.reference import entries, probe, transcript
from tools.reference.link import Link

PAGES, ERRORS = entries.load()


class Reference(ProcessTest):
    def test_the_pages_are_what_would_be_written_now(self):
        made = subprocess.run(
            [sys.executable, "-B", "-m", "tools.reference", "--check"], cwd=PROJECT, capture_output=True, text=True
        )
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)

    def run_example(self, link, entry, before):
        with self.subTest(entry.header):
            try:
                transcript.run(link, before)
                transcript.run(link, entry.section["example"])
            except transcript.Mismatch as mismatch:
                self.fail(str(mismatch))

    def test_every_command_that_the_instrument_has_shows_a_true_example(self):
        self.rig(dut=probe.DUT)
        with Link(HOST, PORT) as link:
            for page in PAGES:
                setup = page.about.get("setup")
                transcript.run(link, "*RST;*CLS" + ("\n" + setup if setup else ""))
                for entry in page.entries:
                    if "example" in entry.section and "alone" not in entry.section:
                        self.run_example(link, entry, "*CLS" if setup else "*RST;*CLS")

    def test_the_examples_of_other_pages_are_true(self):
        self.rig(dut=probe.DUT)
        with Link(HOST, PORT) as link:
            for page in sorted((PROJECT / "docs").glob("*.md")):
                for example in re.findall(r"^```scpi\n(.*?)^```", page.read_text(), re.DOTALL | re.MULTILINE):
                    transcript.run(link, example)

    def wait_for_restart(self):
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            with contextlib.suppress(OSError), Link(HOST, PORT) as link:
                self.assertEqual(link.ask("*OPC?"), ("1", 0))
                return
            time.sleep(0.02)
        self.fail("the unit does not come back")

    def test_examples_that_end_the_instrument_come_alone(self):
        for entry in (entry for page in PAGES for entry in page.entries if "alone" in entry.section):
            with self.subTest(entry.header):
                rig = self.rig(dut=probe.DUT)
                with Link(HOST, PORT) as link:
                    link.send(entry.section["example"])
                    self.assertEqual(link.socket.recv(1), b"")
                if entry.section["alone"] == "ends":
                    self.assertEqual(rig.process.wait(10), 0)
                else:
                    self.wait_for_restart()
                rig.stop()

    def test_a_message_may_be_as_long_as_the_page_says(self):
        longest = int(re.search(r"may have (\d+) bytes", (PROJECT / "docs/commands.md").read_text())[1])
        self.rig(dut=probe.DUT)
        with Link(HOST, PORT) as link:
            link.send("*ESE 60;" * 2000 + "*ESE?")
            self.assertEqual(link.line(), "60")
            link.send("*ESE".ljust(longest - 2) + "61")
            self.assertEqual(link.ask("*ESE?;*OPC?;:SYST:ERR:ALL?")[0], '61;1;0,"No error"')
            link.send("*ESE".ljust(longest - 1) + "62;:*OPC?")
            self.assertEqual(link.line(), "1")
            self.assertEqual(link.ask("*ESE?;:SYST:ERR:ALL?")[0].split('"')[0], "61;-350,")

    def test_each_kind_refuses_what_its_row_of_the_pages_says(self):
        self.rig(dut=probe.DUT)
        with Link(HOST, PORT) as link:
            for entry in (entry for page in PAGES for entry in page.entries):
                for table, mark, present in (
                    (entry.kind.set_errors, "", probe.has_set),
                    (entry.query_errors, "?", probe.has_query),
                ):
                    if table and present(link, entry):
                        for code, _, parameters in table:
                            message = f"{entry.short}{mark} {parameters}"
                            with self.subTest(message):
                                self.assertEqual(link.ask(message), (None, code))


if __name__ == "__main__":
    unittest.main()
