"""Where ./run makes the instrument listen, what keeps it from starting, and what is said when it crashes."""

import os
import re
import shutil
import signal
import socket
import subprocess
import unittest
from pathlib import Path

from tests.instrument.process import HOST, PORT, ProcessTest, connect, instrument_pid, receive_line
from virtual.app.rig import PROJECT, discover


class Start(ProcessTest):
    def test_a_second_instance_says_what_is_taken(self):
        self.run_serve()
        other = str(self.directory / "other")
        for words, said in (
            (["--state", other], r"UDP port 9998 of 127\.0\.0\.1 is taken: .*another instrument"),
            (["--listen", "127.0.0.2"], rf"another instrument is running on --state {self.state}"),
            (["--listen", "127.0.0.2", "--state", other, "--port", "18.5"], "--port"),
            (["--listen", "192.0.2.1", "--state", other], r"no address 192\.0\.2\.1"),
        ):
            second = self.run_to_end("--serve", *words)
            self.assertNotEqual(second.returncode, 0)
            self.assertRegex(second.stderr, rf"^(usage: [^\r]*)?[^\n]*{said}[^\n]*\n$")
        with connect():  # and the first has not noticed
            pass

    def test_only_this_machine_reaches_it_unless_it_is_told_otherwise(self):
        stranger = "10.9.8.7"
        subprocess.run(["ip", "address", "add", f"{stranger}/32", "dev", "lo"], check=True)
        self.addCleanup(subprocess.run, ["ip", "address", "delete", f"{stranger}/32", "dev", "lo"], check=True)
        process = self.run_serve()
        self.assertIsNone(discover(0.3, stranger))
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection((stranger, PORT), timeout=5)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(5), 0)
        self.run_serve("--listen", stranger, "--port", "5025", place=f"{stranger}:5025")
        self.assertIsNotNone(discover(5, stranger))
        with socket.create_connection((stranger, 5025), timeout=5) as client:
            client.sendall(b"*OPC?\n")
            self.assertEqual(receive_line(client), b"1\n")

    def test_it_moves_to_its_other_port_where_the_first_is_taken(self):
        with socket.create_server((HOST, PORT)):
            self.run_serve(place=f"{HOST}:2018")

    def test_a_crash_is_told_with_its_log_and_status(self):
        log = self.state / "tolvane/segv"
        for number, what in ((6, "Aborted"), (7, "Bus error"), (8, "Floating point exception")):
            process = self.start_serve()
            os.kill(instrument_pid(process), number)
            output, errors = process.communicate(timeout=10)
            self.assertEqual((process.returncode, output), (128 + number, ""))
            self.assertRegex(errors, rf"^run: the instrument has crashed: {what}[^\n]* \(signal {number}\)[^\n]*{log}\n$")
            self.assertRegex(log.read_text(), r"^\n[^\n]+ Tolvane device firmware\n([^\n]*\[0x[0-9a-f]+\]\n){2,}$")
            log.unlink()

    def test_a_crash_of_a_unit_without_a_state_directory_leaves_its_log(self):
        process = self.start_serve(state=False)
        os.kill(instrument_pid(process), signal.SIGSEGV)
        _, errors = process.communicate(timeout=10)
        log = Path(re.search(r"its crash log is (\S+)", errors)[1])
        self.addCleanup(shutil.rmtree, log.parent.parent)
        self.assertEqual(process.returncode, 139)
        self.assertIn("Segmentation violation", log.read_text())

    def test_what_keeps_it_from_starting_is_told_in_a_line(self):
        (self.directory / "file").write_text("")
        (self.directory / "piped").mkdir()
        os.mkfifo(self.directory / "piped/console.log")
        full = self.directory / "full"
        full.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "nr_inodes=1", "unit", full], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", full], check=True)
        denied = self.directory / "bin/bwrap"
        denied.parent.mkdir()
        denied.write_text("#!/bin/sh\necho 'bwrap: setting up uid map: Permission denied' >&2\nexit 1\n")
        denied.chmod(0o755)
        path = {"PATH": f"{denied.parent}:{os.environ['PATH']}"}
        for words, environment, said in (
            (["--state", "file"], {}, "run: --state .*/file: not a directory"),
            (["--state", "file/unit"], {}, "run: --state .*/file/unit: Not a directory"),
            (["--state", "/proc/unit"], {}, "run: --state /proc/unit: No such file or directory"),
            (["--state", "piped"], {}, "run: --state .*/piped: No such device or address"),
            (["--state", "two\nlines"], {}, r"run: --state '.*/two\\nlines': clients could not be told this name in one line"),
            (["--state", "full"], {}, "run: --state .*/full: No space left on device"),
            ([], path, r"run: this machine denies .* namespaces \(bwrap: setting up uid map: Permission denied\); .*"),
        ):
            done = self.run_to_end("--serve", *words, environment=environment)
            self.assertEqual(done.returncode, 1)
            self.assertRegex(done.stderr, rf"^{said}\n$")

    def test_a_copied_build_directory_is_told_in_a_line(self):
        copy = self.directory / "copy"
        (copy / "build/release").mkdir(parents=True)
        (copy / "tools").symlink_to(PROJECT / "tools")
        shutil.copy(PROJECT / "run", copy)
        (copy / "build/release/CMakeCache.txt").write_text("CMAKE_HOME_DIRECTORY:INTERNAL=/somewhere/else\n")
        (copy / "build/release/virtual/app").mkdir(parents=True)
        (copy / "build/release/virtual/app/virtual-instrument").write_text("")
        done = subprocess.run([copy / "run", "--serve"], capture_output=True, text=True, timeout=30)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, rf"^run: {copy}/build is a copy of that of /somewhere/else; [^\n]*\n$")


if __name__ == "__main__":
    unittest.main()
