"""Instruments in networks of their own: many side by side, clients inside, ports on the host, workers of a test suite."""

import os
import random
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from tests.instrument.process import IDENTITY, RUN, receive_line
from virtual.app.rig import HOST, PROJECT

UNITS = 4 if os.environ.get("SANITIZED") else 20
LARGEST_EACH_KIB = 24 << 10


def descendants(pid):
    yield pid
    for thread in Path(f"/proc/{pid}/task").iterdir():
        for child in (thread / "children").read_text().split():
            yield from descendants(int(child))


def proportional_kib(pid):
    return int(re.search(r"^Pss:\s+(\d+)", Path(f"/proc/{pid}/smaps_rollup").read_text(), re.M)[1])


class Private(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)

    def start(self, name, *words):
        process = subprocess.Popen(
            [*RUN, "--serve", "--private", "--state", str(self.directory / name), *words], stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(self.end, process, signal.SIGTERM)
        return process

    def end(self, process, number):
        if process.poll() is None:
            process.send_signal(number)
        self.assertEqual(process.wait(60), 0)
        process.stdout.close()

    def ready(self, process):
        return dict(pair.split("=") for pair in process.stdout.readline().split()[1:])

    def run_in(self, name, *command):
        words = [*RUN, "--in", str(self.directory / name), *command]
        return subprocess.run(words, capture_output=True, text=True, timeout=60)

    def test_many_run_side_by_side_and_end_in_any_order(self):
        units = [self.start(str(i), "--publish", "0:18", "--serial", f"220-336306910-{i:04}") for i in range(UNITS)]
        places = [self.ready(unit) for unit in units]
        if not os.environ.get("SANITIZED"):
            used = sum(proportional_kib(pid) for unit in units for pid in descendants(unit.pid))
            self.assertLess(used / UNITS, LARGEST_EACH_KIB)
        order = random.Random(1).sample(range(UNITS), UNITS)
        for count, i in enumerate(order):
            self.assertEqual(places[i]["tcp"], f"{HOST}:18")
            host, port = places[i]["published-18"].split(":")
            with socket.create_connection((host, int(port)), timeout=60) as client:
                client.sendall(b"*IDN?\n")
                self.assertIn(f"220-336306910-{i:04}".encode(), receive_line(client))
            self.end(units[i], signal.SIGINT if count % 2 else signal.SIGTERM)

    def test_clients_run_in_its_network_with_a_port_mapper(self):
        self.ready(self.start("unit"))
        done = self.run_in("unit", "lxi", "scpi", "--address", HOST, "*IDN?\n;")
        self.assertRegex(done.stdout, IDENTITY, done.stderr)
        self.assertEqual(self.run_in("unit", "sh", "-c", "exit 7").returncode, 7)
        for name, command, reason in (
            ("unit", ["no-such-client"], "no-such-client: "),
            ("nobody", ["true"], "nobody: "),
        ):
            done = self.run_in(name, *command)
            self.assertEqual(done.returncode, 1)
            self.assertIn(reason, done.stderr)

    def test_a_published_port_carries_blocks_and_closed_ends(self):
        process = self.start("unit", "--publish", "0:18", "--publish", "0:9")
        places = self.ready(process)
        host, port = places["published-18"].split(":")
        for _ in range(3):
            with socket.create_connection((host, int(port)), timeout=60) as client:
                client.sendall(b"CONF:NOIS:SAMP 262144\nMEAS:NOIS?\n*OPC?\n")
                client.shutdown(socket.SHUT_WR)
                data = b""
                while piece := client.recv(1 << 16):
                    data += piece
            self.assertEqual((len(data), data[-2:]), (8 + 4 * 262144 + 2, b"1\n"))
        host, port = places["published-9"].split(":")
        with socket.create_connection((host, int(port)), timeout=60) as client:  # where nobody listens
            self.assertEqual(client.recv(1), b"")
        other = subprocess.run(
            [*RUN, "--serve", "--private", "--publish", f"{port}:18"], capture_output=True, text=True, timeout=60
        )
        self.assertEqual((other.returncode, f"TCP port {port}" in other.stderr), (1, True), other.stderr)

    def test_the_example_suite_has_an_instrument_for_each_worker(self):
        words = [sys.executable, "-m", "pytest", "-p", "clients.pytest_instrument", "-p", "no:cacheprovider", "-n", "2"]
        run = self.directory / "run"  # without the build that ./run begins with
        run.write_text('#!/bin/sh\nexec %s "$@"\n' % " ".join(RUN))
        run.chmod(0o755)
        done = subprocess.run(
            [*words, PROJECT / "clients/examples/pytest/test_analyzer.py", "--analyzer-dut", PROJECT / "virtual/duts/vcxo-100mhz.toml"],
            capture_output=True,
            text=True,
            cwd=PROJECT,
            env=os.environ | {"RUN_ANALYZER": str(run)},
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("6 passed", done.stdout)


if __name__ == "__main__":
    unittest.main()
