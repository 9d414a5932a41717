"""A virtual analyzer for tests with pytest: `analyzer`, one for each worker, in a network of its own.

    pytest -p clients.pytest_instrument -n 4 my_tests/

The project's directory has to be on Python's path. Options: --analyzer-dut FILE, the device under test."""

import os
import re
import socket
import subprocess
from pathlib import Path

import pytest

RUN = Path(os.environ.get("RUN_ANALYZER", Path(__file__).resolve().parent.parent / "run"))
PORT = 18  # of the unit, with its TCP socket
TIMEOUT_S = 60.0


class Analyzer:
    """One connection over the TCP socket. `place` is (host, port), for clients of another kind."""

    def __init__(self, place):
        self.place = place
        self._socket = socket.create_connection(place, timeout=TIMEOUT_S)
        self._answers = self._socket.makefile("rb")

    def write(self, message):
        self._socket.sendall(message.encode() + b"\n")

    def query(self, message):
        self.write(message)
        line = self._answers.readline()
        if not line:
            raise ConnectionError("the analyzer has closed the connection")
        return line.decode().rstrip("\n")

    def close(self):
        self._answers.close()
        self._socket.close()


def pytest_addoption(parser):
    parser.addoption("--analyzer-dut", metavar="FILE", help="the device under test of the virtual analyzer (TOML)")


@pytest.fixture(scope="session")
def analyzer_place(request):
    """Where this worker's own instrument is found; it runs until the worker ends."""
    dut = request.config.getoption("--analyzer-dut")
    process = subprocess.Popen(
        [RUN, "--serve", "--private", "--publish", f"0:{PORT}", *(["--dut", dut] if dut else [])],
        stdout=subprocess.PIPE,
        text=True,
    )
    found = re.search(rf"published-{PORT}=([\d.]+):(\d+)", process.stdout.readline())
    if found is None:
        pytest.fail(f"the analyzer does not start, status {process.wait()}")
    yield found[1], int(found[2])
    process.terminate()
    assert process.wait() == 0


@pytest.fixture
def analyzer(analyzer_place):
    """A connection to it, reset and without errors."""
    connection = Analyzer(analyzer_place)
    connection.write("*RST;*CLS")
    yield connection
    connection.close()
