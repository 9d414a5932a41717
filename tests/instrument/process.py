"""What the whole-process tests share: an instrument for one test, and the programs that talk to it."""

import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from virtual.app.rig import HOST, PROJECT, Rig

RUN = [sys.executable, "-B", str(PROJECT / "virtual/app/run.py")]
PORT = 18  # ours in the private network
IDENTITY = r"^Tolvane AG,[^,]+,220-336306910-0001,0\.4\.92$"
QUICK_DUT = PROJECT / "virtual/duts/vcxo-100mhz.toml"


def receive_line(connection):
    """Bytes up to the first newline; what came if the peer closes before."""
    received = b""
    while not received.endswith(b"\n"):
        piece = connection.recv(1)
        if not piece:
            break
        received += piece
    return received


def connect(timeout_s=10.0, starting=False):
    """A plain TCP connection that the instrument serves. One that is starting has some time to open its port."""
    deadline = time.monotonic() + timeout_s
    while True:
        try:
            connection = socket.create_connection((HOST, PORT), timeout=timeout_s)
            connection.sendall(b"*OPC?\n")
            if receive_line(connection) == b"1\n":
                return connection
            raise ConnectionResetError("the instrument does not serve this client")
        except (ConnectionRefusedError, ConnectionResetError, BrokenPipeError):  # also by one that is on its way out
            if not starting or time.monotonic() > deadline:
                raise
            time.sleep(0.005)


def instrument_pid(process):
    """The instrument's own process, which is the last below ./run or the sandbox."""
    pids, pid = [process.pid], process.pid
    while pids:
        pid = pids[-1]
        pids = [int(p) for p in Path(f"/proc/{pid}/task/{pid}/children").read_text().split()][:1]  # not the port mapper
    return pid


def resident_bytes(pid):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmRSS"))


class ProcessTest(unittest.TestCase):
    """Gives each test a unit of its own and looks for its crash log at the end."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.state = self.directory / "unit"
        self.addCleanup(self.expect_no_crash)

    def expect_no_crash(self):
        log = self.state / "tolvane/segv"
        self.assertFalse(log.exists(), f"the firmware crashed:\n{log.read_text() if log.exists() else ''}")

    def rig(self, **options):
        """An instrument that runs until the test ends, and then ends in order."""
        rig = Rig(state=self.state, **{"dut": QUICK_DUT, **options})
        self.addCleanup(self.expect_orderly_end, rig)
        rig.start()
        return rig

    def expect_orderly_end(self, rig):
        rig.stop()
        self.assertEqual(rig.process.returncode, 0)
        self.assertNotIn("The hardware refused", rig.log.read_text(errors="replace"))

    def start_serve(self, *words, place=f"{HOST}:{PORT}", state=True):
        """./run --serve as a user starts it, on the test's unit or one of its own. Returns the process, once it has said
        that it is ready."""
        process = subprocess.Popen(
            [*RUN, "--serve", *(["--state", str(self.state)] if state else []), *words],
            cwd=self.directory,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.assertEqual(process.stdout.readline().split()[:2], ["ready", f"tcp={place}"])
        return process

    def run_serve(self, *words, **options):
        """The same for one that runs until the test ends, and then ends in order."""
        process = self.start_serve(*words, **options)
        self.addCleanup(self.expect_orderly_end_of_run, process)
        return process

    def expect_orderly_end_of_run(self, process):
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=10)
        self.assertEqual((process.returncode, output), (0, ""), errors)

    def run_to_end(self, *words, environment=None):
        """./run to its end. Returns the finished process."""
        return subprocess.run(
            [*RUN, "--state", str(self.state), *words],
            cwd=self.directory,
            env=os.environ | (environment or {}),
            capture_output=True,
            text=True,
            timeout=60,
        )
