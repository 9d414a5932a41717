"""Starts the virtual instrument in its sandbox, knows when it answers, and ends it."""

import ctypes
import errno
import fcntl
import os
import re
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
PORT_MAPPER = ("127.0.0.1", 111)
DISCOVERY_ANSWER_BYTES = 111
TCP_PORTS = (18, 2018)  # the second where the first may not be bound or is taken
START_TIMEOUT_S = 20.0
STOP_TIMEOUT_S = 0.6
PR_SET_PDEATHSIG = 1
SIGNAL_STATUS = 128  # and a signal's number: the status of a process that it has ended
CRASHES = {signal.SIGSEGV, signal.SIGABRT, signal.SIGFPE, signal.SIGBUS, signal.SIGILL, signal.SIGTRAP, signal.SIGSYS}
LISTENING = "0A"  # state column of /proc/net/tcp


class RigError(Exception):
    """The instrument did not start, or ended as it should not. `status` is what the process left, 1 if it left none.
    `told` says that the instrument or its sandbox has already said why on standard error."""

    def __init__(self, text, status=1, told=False):
        super().__init__(text)
        self.status = status
        self.told = told


def discover(timeout_s, host=HOST):
    """One discovery request to `host`. Returns (name, serial number), or None without an answer in time."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as finder:
        finder.settimeout(timeout_s)
        try:
            finder.connect((host, DISCOVERY_PORT))
            finder.send(b"")
            answer = finder.recv(2 * DISCOVERY_ANSWER_BYTES)
        except OSError:
            return None
    if len(answer) != DISCOVERY_ANSWER_BYTES:
        return None
    return tuple(answer[at : at + 30].split(b"\0")[0].decode("ascii", "replace") for at in (21, 51))


def listening_tcp_ports(address):
    """The ports on which somebody listens at exactly this address."""
    place = socket.inet_aton(address)[::-1].hex().upper()
    with open("/proc/net/tcp") as table:
        rows = [line.split() for line in table.readlines()[1:]]
    places = [row[1].split(":") for row in rows if row[3] == LISTENING]
    return {int(port, 16) for where, port in places if where == place}


def _bind_error(kind, address, port):
    """None, or why nobody can listen there."""
    with socket.socket(socket.AF_INET, kind) as probe:
        if kind == socket.SOCK_STREAM:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind((address, port))
        except OSError as error:
            return error
    return None


def port_mapper_answers():
    with socket.socket() as probe:
        return probe.connect_ex(PORT_MAPPER) == 0


def require_free_ports(address, ports):
    """Raises RigError when discovery or all of the TCP ports cannot be had at the address."""
    for kind, name, choice in ((socket.SOCK_DGRAM, "UDP", (DISCOVERY_PORT,)), (socket.SOCK_STREAM, "TCP", ports)):
        errors = [_bind_error(kind, address, port) for port in choice]
        if None in errors:
            continue
        port, error = choice[-1], errors[-1]
        if error.errno == errno.EADDRINUSE:
            raise RigError(f"{name} port {port} of {address} is taken: is another instrument running on this machine?")
        if error.errno == errno.EADDRNOTAVAIL:
            raise RigError(f"this machine has no address {address} to listen on")
        raise RigError(f"{name} port {port} of {address} cannot be had: {error.strerror}")


def require_namespaces():
    """Raises RigError where the sandbox cannot be set up."""
    words = ["bwrap", "--unshare-pid", *([] if os.geteuid() == 0 else ["--unshare-user"]), "--ro-bind", "/", "/", "true"]
    try:
        done = subprocess.run(words, capture_output=True, text=True)
    except FileNotFoundError:
        raise RigError("bubblewrap is not installed; tools/setup installs it") from None
    if done.returncode != 0:
        raise RigError(
            f"this machine denies the sandbox its namespaces ({done.stderr.strip()}); root can allow them with sysctl: "
            "user.max_user_namespaces, kernel.unprivileged_userns_clone, kernel.apparmor_restrict_unprivileged_userns"
        )


def _end_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Rig:
    """A virtual instrument in the host's network. A context manager: it runs within the with block."""

    def __init__(
        self,
        *,
        dut=None,
        state=None,
        serial=None,
        seed=None,
        port=None,
        listen=HOST,
        tell_boards=False,
        realtime=False,
        verbose=False,
        program=PROGRAM,
    ):
        self.dut = Path(dut).resolve() if dut else DEFAULT_DUT
        self.state = Path(state).absolute() if state else None
        self.listen = listen
        self.host = HOST if listen == "0.0.0.0" else listen  # where this machine finds it
        self.ports = (port,) if port else TCP_PORTS
        self.serial = serial
        self.verbose = verbose
        # The DUT's directory is shown, not the file: editors replace files.
        self.words = [str(program), "--dut", f"./{self.dut.name}", "--dut-name", str(dut or DEFAULT_DUT)]
        self.words += ["--listen", listen, *(["--port", str(port)] if port else [])]
        self.words += ["--seed", str(seed)] if seed is not None else []
        self.words += ["--tell-boards"] if tell_boards else []
        self.words += ["--realtime"] if realtime else []
        self.words += ["--verbose"] if verbose else []
        self.process = None
        self._overdue = False
        self.port = None
        self._temporary = None
        self._stdin = None
        self._log_file = None

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
        """Returns when clients can connect to (self.host, self.port). Raises RigError."""
        require_free_ports(self.listen, self.ports)
        require_namespaces()
        if self.state is None:
            try:
                self._temporary = tempfile.mkdtemp(prefix="virtual-instrument-")
            except OSError as error:
                raise RigError(f"no place for the unit's files: {error.strerror}") from None
        state = Path(self._temporary or self.state)
        self.state_directory = state
        self.log = state / "console.log"
        self.crash_log = state / "tolvane/segv"
        self.usb_record = state / "unit/usbtmc"  # the port of USB/IP
        self.gpib_record = state / "unit/gpib"  # the port of its adapter
        self.panel = state / "unit/panel.socket"  # not there on a unit without a front panel
        self._open_state(state)
        command = self._sandboxed(state, ["--power", *([] if port_mapper_answers() else ["--port-mapper"])], [])

        already_listening = listening_tcp_ports(self.listen)
        reader, self._stdin = os.pipe()  # the console link reads here, and nothing ever comes
        self.process = subprocess.Popen(
            command,
            stdin=reader,
            stdout=None if self.verbose else self._log_file,
            start_new_session=True,  # the terminal's Ctrl-C is for us; stop() passes it on
            preexec_fn=_end_with_parent,
        )
        os.close(reader)
        self._wait_until_it_answers(already_listening)

    def _sandboxed(self, state, sandbox_options, words):
        serial = ["--serial", self.serial] if self.serial else []
        dut = ["--ro-bind", str(self.dut.parent), "/run/dut", "--chdir", "/run/dut"]
        return [str(SANDBOX), *sandbox_options, "--state", str(state), *serial, *dut, "--", *self.words, *words]

    def service(self, operation):
        """Carries out an operation of the workshop on the unit, whose instrument must not run. Returns its exit
        status: 0, 1 if it failed, 2 if there is none of that name. Raises RigError."""
        require_namespaces()
        with tempfile.TemporaryDirectory(prefix="virtual-instrument-") as fresh:
            state = self.state or Path(fresh)
            self.log = state / "console.log"
            self._open_state(state)
            with self._log_file:
                words = self._sandboxed(state, [], ["--service", operation])
                return subprocess.run(words, preexec_fn=_end_with_parent, check=False).returncode

    def _open_state(self, state):
        """Makes the directory and opens the log in it, whose lock keeps other instruments out."""
        if not str(state).isprintable():
            raise RigError(f"--state {str(state)!r}: clients could not be told this name in one line")
        try:
            state.mkdir(parents=True, exist_ok=True)
            self._log_file = os.fdopen(os.open(self.log, os.O_WRONLY | os.O_APPEND | os.O_CREAT | os.O_NONBLOCK, 0o666), "ab")
            if not self.log.is_file():
                raise RigError(f"{self.log}: not a file")
            fcntl.flock(self._log_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            self._log_file.truncate(0)
        except BlockingIOError:
            raise RigError(f"another instrument is running on --state {state}") from None
        except FileExistsError:
            raise RigError(f"--state {state}: not a directory") from None
        except OSError as error:
            raise RigError(f"--state {state}: {error.strerror}") from None

    def _wait_until_it_answers(self, already_listening):
        deadline = time.monotonic() + START_TIMEOUT_S
        while time.monotonic() < deadline:
            if self.process.poll() is not None:
                error = self.died()
                error.told = 0 < error.status < SIGNAL_STATUS
                raise error
            ports = [p for p in self.ports if p in listening_tcp_ports(self.listen) - already_listening]
            if ports and discover(0.1, self.host):
                self.port = ports[0]
                return
            time.sleep(0.01)
        raise RigError(f"the instrument does not answer after {START_TIMEOUT_S:.0f} s{self._last_words()}")

    def places(self):
        """Where clients find the instrument, as pairs of a link's name and a place."""
        yield "tcp", f"{self.host}:{self.port}"
        if self.usb_record.exists():
            yield "usbtmc", f"{self.host}:{self.usb_record.read_text().strip()}"
        if self.gpib_record.exists():
            yield "gpib", f"{self.host}:{self.gpib_record.read_text().strip()}"
        if self.panel.exists():
            yield "panel", self.panel

    def what_is_off(self):
        """The links that are not there, a line each with the reason; nothing if the log is the terminal's."""
        if self.verbose:
            return []
        lines = self.log.read_text(errors="replace").splitlines()
        return [line for line in lines if re.match(r"(VXI-11|USBTMC|GPIB) is off: ", line)]

    def died(self):
        """The error to report for an instrument that has ended as it should not."""
        status = self.process.returncode
        if self._overdue:
            return RigError(f"the instrument did not end within {STOP_TIMEOUT_S} s and was killed{self._last_words()}")
        if status <= SIGNAL_STATUS:
            text = f"the instrument ended with status {status}{self._last_words()}"
            return RigError(text, status if status > 0 else 1)
        number = status - SIGNAL_STATUS
        what = f"{signal.strsignal(number) or 'unknown'} (signal {number})"
        if number not in CRASHES:
            return RigError(f"the instrument was ended from outside: {what}", status)
        log = f"its crash log is {self.crash_log}" if self.crash_log.is_file() else "it left no crash log"
        return RigError(f"the instrument has crashed: {what}; {log}", status)

    def _crashed(self):
        return self.process is not None and (self.process.returncode or 0) - SIGNAL_STATUS in CRASHES

    def _last_words(self):
        if self.verbose or not self.log.is_file():
            return ""
        lines = self.log.read_text(errors="replace").splitlines()[-20:]
        return "; its last words:\n" + "\n".join("  " + line for line in lines) if lines else ""

    def stop(self):
        """Ends the instrument within a second and removes the unit's file tree, unless it was given or tells of a
        crash."""
        if self.process is not None and self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            try:
                self.process.wait(STOP_TIMEOUT_S)
            except subprocess.TimeoutExpired:
                self._overdue = True
                self.process.kill()  # bubblewrap goes with it, and all inside with bubblewrap
                self.process.wait()
        if self._stdin is not None:
            os.close(self._stdin)
            self._stdin = None
        if self._log_file is not None:
            self._log_file.close()
            self._log_file = None
        if self._temporary is not None and not self._crashed():
            shutil.rmtree(self._temporary, ignore_errors=True)
            self._temporary = None
