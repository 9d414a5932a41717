"""Operations of the workshop on a unit whose instrument is not running, and an update of its flash that is killed."""

import os
import signal
import subprocess
import time
import unittest
from pathlib import Path
from tempfile import TemporaryDirectory

SANDBOX = Path(__file__).parents[2] / "virtual/sandbox/sandbox"
PROGRAM = os.environ["VIRTUAL_INSTRUMENT"]
FIRST, SECOND = "220-336305910-0001", "220-336306910-0001"  # generations of the acquisition board


class Service(unittest.TestCase):
    def setUp(self):
        folder = TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.state = Path(folder.name) / "unit"
        self.firmware = self.state / "tolvane/fpga/adfpga.srec"

    def command(self, operation, serial):
        return [SANDBOX, "--state", self.state, "--serial", serial, "--", PROGRAM, "--service", operation]

    def service(self, operation, serial=SECOND):
        done = subprocess.run(self.command(operation, serial), capture_output=True, text=True, check=False, timeout=60)
        self.assertIn(done.returncode, (0, 1, 2), done.stderr)
        return done.returncode, done.stdout

    def test_images_are_checked_spoiled_and_mended(self):
        for serial in FIRST, SECOND, FIRST:  # another board has another flash, with the factory's images
            with self.subTest(serial):
                self.assertEqual(self.service("fpga check", serial), (0, "fpga check: passed (0)\n"))
                self.assertEqual(self.service("selftest", serial)[0], 0)
                self.firmware.write_bytes(b"S0")
                self.assertEqual(self.service("fpga check", serial)[0], 0, "the flash begins with that")
                self.firmware.write_bytes(b"none")
                self.assertEqual(self.service("fpga check", serial)[0], 1)
                self.assertEqual(self.service("fpga update", serial)[0], 0)
                self.assertEqual(self.service("selftest", serial)[0], 1, "no FPGA boots from that")
                self.firmware.unlink()
                self.assertEqual(self.service("fpga update", serial)[0], 0)
                self.assertEqual(self.service("selftest", serial)[0], 0)
        self.assertEqual(self.service("no such")[0], 2)

    def test_an_update_that_was_killed_is_found(self):
        self.service("fpga check")
        config = self.state / "tolvane/fpga/fpga_config.bin"
        config.write_bytes(os.urandom(4 << 20))
        update = subprocess.Popen(self.command("fpga update", SECOND), stdout=subprocess.PIPE, text=True)
        for line in update.stdout:  # up to the first file, which takes a while
            if config.name in line or "Write" in line:
                break
        time.sleep(0.02)
        update.send_signal(signal.SIGKILL)  # the sandbox goes with all in it
        update.communicate()
        self.assertEqual(self.service("fpga check")[0], 1)
        config.unlink()
        self.assertEqual(self.service("fpga update")[0], 0)
        self.assertEqual(self.service("selftest")[0], 0)


if __name__ == "__main__":
    unittest.main()
