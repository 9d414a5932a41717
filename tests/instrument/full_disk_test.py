"""A full disk: each command that writes a file says so, and what was there before stays in force."""

import subprocess
import unittest

from tests.instrument.process import ProcessTest, connect, receive_line

REFUSED = b'-200,"Execution error"'
TREES = ("tolvane", "etc/network")  # each a disk of its own, as on the unit
DISK_KIB = 256


class FullDisk(ProcessTest):
    def setUp(self):
        super().setUp()
        for tree in TREES:
            (self.state / tree).mkdir(parents=True)
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={DISK_KIB}k", "unit", self.state / tree], check=True)
            self.addCleanup(subprocess.run, ["umount", "--lazy", self.state / tree], check=True)
        self.rig()
        self.client = connect()
        self.addCleanup(self.client.close)

    def ask(self, line):
        self.client.sendall(line.encode() + b"\n")
        return receive_line(self.client).rstrip(b"\n")

    def error_after(self, line):
        return self.ask(f"{line};:SYST:ERR?")

    def files(self):
        return {path: path.read_bytes() for tree in TREES for path in (self.state / tree).rglob("*") if path.is_file()}

    def fill(self, tree):
        filler = self.state / tree / "filler"
        self.addCleanup(filler.unlink, missing_ok=True)
        with self.assertRaises(OSError), filler.open("wb", buffering=0) as file:
            while True:
                file.write(bytes(256))
        return filler

    def test_commands_that_write_files_fail_and_leave_the_old_ones(self):
        self.assertEqual(self.error_after('SYST:NAME "OLD";COMM:GPIB:ADDR "5"'), b'0,"No error"')
        self.assertEqual(self.error_after('SYST:COMM:LAN:IP "10.0.0.1";SUBN "255.0.0.0";CONF MAN;REST'), b'0,"No error"')
        commands = {
            "tolvane": ('SYST:NAME "NEW"', 'SYST:COMM:GPIB:ADDR "7"', "SYST:COMM:LAN:REST", "SYST:COMM:LAN:DEF"),
            "etc/network": ("SYST:COMM:LAN:REST", "SYST:COMM:LAN:DEF"),
        }
        for tree in TREES:
            filler = self.fill(tree)
            before = self.files()
            self.ask('SYST:COMM:LAN:IP "10.0.0.2";IP?')
            for command in commands[tree]:
                self.assertEqual(self.error_after(command), REFUSED, (tree, command))
                self.assertEqual(self.files(), before, (tree, command))
            self.assertEqual(self.ask("SYST:NAME?;COMM:GPIB:ADDR?;LAN:CONF?"), b'"OLD";"5";MAN')
            filler.unlink()
        self.assertEqual(self.error_after('SYST:NAME "NEW";COMM:GPIB:ADDR "7";LAN:DEF'), b'0,"No error"')
        self.assertEqual(self.ask("SYST:NAME?;COMM:GPIB:ADDR?;LAN:CONF?"), b'"NEW";"7";AUTO')
        self.assertEqual((self.state / "etc/network/configuration").read_text(), "AUTO\n")


if __name__ == "__main__":
    unittest.main()
