"""Starts the virtual instrument in its sandbox, knows when it answers, and ends it."""

import ctypes
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent.parent
SANDBOX = PROJECT / "virtual/sandbox/sandbox"
PROGRAM = Path(os.environ.get("VIRTUAL_INSTRUMENT", PROJECT / "build/release/virtual/app/virtual-instrument"))
DEFAULT_DUT = PROJECT / "virtual/duts/default.toml"

HOST = "127.0.0.1"
DISCOVERY_PORT = 9998
DISCOVERY_ANSWER_BYTES = 111
TCP_PORTS = (18, 2018)  # the second where the user may not bind the first
START_TIMEOUT_S = 20.0
STOP_TIMEOUT_S = 0.6
PR_SET_PDEATHSIG = 1
LISTENING = "0A"  # state column of /proc/net/tcp


class RigError(Exception):
    """The instrument did not start, or ended as it should not. `status` is what the process left, 1 if it left none."""

    def __init__(self, text, status=1):
        super().__init__(text)
        self.status = status


def discover(timeout_s):
    """One discovery request to this machine. Returns (name, serial number), or None without an answer in time."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as finder:
        finder.settimeout(timeout_s)
        try:
            finder.connect((HOST, DISCOVERY_PORT))
            finder.send(b"")
            answer = finder.recv(2 * DISCOVERY_ANSWER_BYTES)
        except OSError:
            return None
    if len(answer) != DISCOVERY_ANSWER_BYTES:
        return None
    return tuple(answer[at : at + 30].split(b"\0")[0].decode("ascii", "replace") for at in (21, 51))


def listening_tcp_ports():
    with open("/proc/net/tcp") as table:
        rows = [line.split() for line in table.readlines()[1:]]
    return {int(row[1].split(":")[1], 16) for row in rows if row[3] == LISTENING}


def require_free_ports():
    """Raises RigError when another instrument answers on this machine or its ports are taken."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.bind(("", DISCOVERY_PORT))
        except OSError:
            raise RigError(
                f"UDP port {DISCOVERY_PORT} is taken: another instrument is running on this machine"
            ) from None
    for port in TCP_PORTS:
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            try:
                probe.bind(("", port))
                return
            except OSError:
                continue
    raise RigError(f"TCP port {TCP_PORTS[-1]} is taken: is another instrument running on this machine?")


def _end_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Rig:
    """A virtual instrument in the host's network. A context manager: it runs within the with block."""

    def __init__(self, *, dut=None, state=None, serial=None, seed=None, realtime=False, verbose=False, program=PROGRAM):
        self.dut = Path(dut).resolve() if dut else DEFAULT_DUT
        self.state = Path(state).absolute() if state else None
        self.serial = serial
        self.verbose = verbose
        # The DUT's directory is shown, not the file: editors replace files.
        self.words = [str(program), "--dut", f"./{self.dut.name}"]
        self.words += ["--seed", str(seed)] if seed is not None else []
        self.words += ["--realtime"] if realtime else []
        self.words += ["--verbose"] if verbose else []
        self.process = None
        self.port = None
        self._temporary = None
        self._stdin = None

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        """Returns when clients can connect to (HOST, self.port). Raises RigError."""
        require_free_ports()
        if self.state is None:
            self._temporary = tempfile.mkdtemp(prefix="virtual-instrument-")
        state = Path(self._temporary or self.state)
        state.mkdir(parents=True, exist_ok=True)
        command = [str(SANDBOX), "--power", "--state", str(state)]
        command += ["--serial", self.serial] if self.serial else []
        command += ["--ro-bind", str(self.dut.parent), "/run/dut", "--chdir", "/run/dut", "--", *self.words]

        self.log = state / "console.log"
        already_listening = listening_tcp_ports()
        reader, self._stdin = os.pipe()  # the console link reads here, and nothing ever comes
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                command,
                stdin=reader,
                stdout=None if self.verbose else log,
                start_new_session=True,  # the terminal's Ctrl-C is for us; stop() passes it on
                preexec_fn=_end_with_parent,
            )
        os.close(reader)
        self._wait_until_it_answers(already_listening)

    def _wait_until_it_answers(self, already_listening):
        deadline = time.monotonic() + START_TIMEOUT_S
        while time.monotonic() < deadline:
            if self.process.poll() is not None:
                raise self.died()
            ports = [p for p in TCP_PORTS if p in listening_tcp_ports() - already_listening]
            if ports and discover(0.1):
                self.port = ports[0]
                return
            time.sleep(0.01)
        raise RigError(f"the instrument does not answer after {START_TIMEOUT_S:.0f} s{self._last_words()}")

    def died(self):
        """The error to report for an instrument that has ended as it should not."""
        status = self.process.returncode
        return RigError(f"the instrument ended with status {status}{self._last_words()}", status if status > 0 else 1)

    def _last_words(self):
        if self.verbose or not self.log.is_file():
            return ""
        lines = self.log.read_text(errors="replace").splitlines()[-20:]
        return "; its last words:\n" + "\n".join("  " + line for line in lines) if lines else ""

    def stop(self):
        """Ends the instrument within a second and removes the unit's file tree unless it was given."""
        if self.process is not None and self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            try:
                self.process.wait(STOP_TIMEOUT_S)
            except subprocess.TimeoutExpired:
                self.process.kill()  # bubblewrap goes with it, and all inside with bubblewrap
                self.process.wait()
        if self._stdin is not None:
            os.close(self._stdin)
            self._stdin = None
        if self._temporary is not None:
            shutil.rmtree(self._temporary, ignore_errors=True)
            self._temporary = None
