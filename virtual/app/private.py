"""A network of its own for this process and what it starts, without rights of the host; and the ways in and out of it."""

import ctypes
import fcntl
import os
import signal
import socket
import subprocess
import threading
from pathlib import Path

CLONE_NEWUSER, CLONE_NEWNET = 0x10000000, 0x40000000
RECORD = "network"  # in a state directory: the process whose network is the unit's
LOG = "console.log"  # locked while a unit runs
UNIT_HOST = "127.0.0.1"
PIECE_BYTES = 65536


class PrivateError(Exception):
    """The network cannot be had, or nobody is there."""


def _call(what, function, *words):
    if function(*words) != 0:
        raise PrivateError(f"{what}: {os.strerror(ctypes.get_errno())}")


def enter_new():
    """Moves this process, which must have one thread, into a new network where it is root: loopback alone. Sockets that
    it has keep the network in which they were made."""
    user, group = os.geteuid(), os.getegid()
    libc = ctypes.CDLL(None, use_errno=True)
    _call("this machine denies a private network", libc.unshare, CLONE_NEWUSER | CLONE_NEWNET)
    Path("/proc/self/setgroups").write_text("deny")
    Path("/proc/self/uid_map").write_text(f"0 {user} 1")
    Path("/proc/self/gid_map").write_text(f"0 {group} 1")
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


def record(state):
    """For clients who are to be run in the network of the unit in `state`."""
    try:
        (Path(state) / RECORD).write_text(f"{os.getpid()}\n")
    except OSError as error:
        raise PrivateError(f"{Path(state) / RECORD}: {error.strerror}") from None


def run_in(state, command):
    """Becomes the command, in the network of the unit that runs in `state`."""
    try:
        with open(os.open(Path(state) / LOG, os.O_RDONLY | os.O_NONBLOCK)) as log:
            fcntl.flock(log, fcntl.LOCK_SH | fcntl.LOCK_NB)
        raise PrivateError(f"no unit runs in {state}")
    except BlockingIOError:
        pass
    except OSError as error:
        raise PrivateError(f"{state}: {error.strerror}") from None
    try:
        process = int((Path(state) / RECORD).read_text())
        spaces = [open(f"/proc/{process}/ns/{kind}") for kind in ("user", "net")]
    except (OSError, ValueError):
        raise PrivateError(f"the unit in {state} has no network of its own: start it with --private") from None
    libc = ctypes.CDLL(None, use_errno=True)
    for space in spaces:
        _call("no way into the unit's network", libc.setns, space.fileno(), 0)
    try:
        os.execvp(command[0], command)
    except OSError as error:
        raise PrivateError(f"{command[0]}: {error.strerror}") from None


class Published:
    """Ports of the host that lead to ports of the unit. To be made in the host's network, to be opened in the unit's."""

    def __init__(self, address, pairs):
        self.ports = []  # of the unit, with the listener that leads there
        for host_port, unit_port in pairs:
            try:
                listener = socket.create_server((address, host_port), reuse_port=False)
            except OSError as error:
                raise PrivateError(f"TCP port {host_port} of {address} cannot be had: {error.strerror}") from None
            self.ports.append((unit_port, listener))

    def places(self):
        for unit_port, listener in self.ports:
            yield f"published-{unit_port}", "{}:{}".format(*listener.getsockname())

    def open(self):
        for unit_port, listener in self.ports:
            _start(_accept, listener, unit_port)


def _start(body, *words):
    def run():
        signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())  # they are the main thread's
        body(*words)

    threading.Thread(target=run, daemon=True).start()


def _accept(listener, unit_port):
    while True:
        outside = listener.accept()[0]
        try:
            inside = socket.create_connection((UNIT_HOST, unit_port))
        except OSError:
            outside.close()  # nobody listens there
            continue
        for end in (outside, inside):
            end.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        _start(_copy, outside, inside)
        _start(_copy, inside, outside)


def _copy(source, target):
    """What one end says the other hears, its end too; an end that breaks takes both with it."""
    try:
        while data := source.recv(PIECE_BYTES):
            target.sendall(data)
        target.shutdown(socket.SHUT_WR)
    except OSError:
        for end in (source, target):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
