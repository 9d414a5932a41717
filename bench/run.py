#!/usr/bin/python3
"""Measures what the instrument must reach and prints the page docs/performance.md:

    bench/run.py > docs/performance.md

Builds nothing: run ./test first. Takes about two minutes on an otherwise idle machine.
"""

import datetime
import os
import platform
import re
import socket
import statistics
import subprocess
import sys
import time
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent
BUILD = PROJECT / "build/release"
sys.path.insert(0, str(PROJECT / "virtual"))
import rig  # noqa: E402

HOST = "127.0.0.1"
MIB = 1024 * 1024


class Client:
    """The least client there is: one socket, one line at a time."""

    def __init__(self, port):
        self.socket = socket.create_connection((HOST, port))
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.file = self.socket.makefile("rb")

    def ask(self, line):
        self.socket.sendall(line.encode() + b"\n")
        return self.file.readline().decode().strip()

    def block(self, line):
        self.socket.sendall(line.encode() + b"\n")
        head = self.file.read(2)
        return self.file.read(int(self.file.read(int(head[1:2]))))


def process_of(name):
    """The instrument's own process below the sandbox."""
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                if (entry / "comm").read_text().strip() == name[:15]:
                    return int(entry.name)
            except OSError:
                continue
    raise RuntimeError(f"no process {name}")


def processor_seconds(pid):
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_bytes(pid):
    return int(re.search(r"VmRSS:\s+(\d+) kB", Path(f"/proc/{pid}/status").read_text())[1]) * 1024


def start_seconds():
    """From the start of the process to its own "Device is running!", sandbox included."""
    times = []
    for _ in range(5):
        with rig.tempfile.TemporaryDirectory() as state:
            command = [str(rig.SANDBOX), "--state", state, "--private-network", "--", str(rig.PROGRAM), "--verbose"]
            command += ["--dut", str(rig.DEFAULT_DUT)]
            reader, writer = os.pipe()
            start = time.monotonic()
            process = subprocess.Popen(
                ["stdbuf", "-oL", *command], stdin=reader, stdout=subprocess.PIPE, start_new_session=True
            )
            born = None
            for line in process.stdout:
                if b"Boot delay" in line and born is None:
                    born = time.monotonic()
                if b"Device is running!" in line:
                    times.append((time.monotonic() - start, time.monotonic() - (born or start)))
                    break
            process.terminate()
            process.wait()
            os.close(reader)
            os.close(writer)
    return statistics.median(t[0] for t in times), statistics.median(t[1] for t in times)


def run_seconds(client, settings, repeats):
    client.ask("*RST;*OPC?")
    client.ask(settings)
    times = []
    for _ in range(repeats):
        start = time.monotonic()
        client.ask("INIT;:CALC:WAIT:AVER ALL;:*OPC?")
        client.block("CALC:PN:TRAC:NOIS?")
        times.append(time.monotonic() - start)
    error = client.ask("SYST:ERR?")
    assert error.startswith("0,"), error
    return statistics.median(times)


def tcp_figures(port):
    """Rates and ratios that tcp_bench prints, by name."""
    output = subprocess.run([BUILD / "bench/tcp_bench", str(port), "2"], capture_output=True, text=True, check=True)
    rows = {}
    for line in output.stdout.splitlines():
        match = re.match(r"(.+?)\s+(\d+) /s.*?p99\s+([\d.]+) us\s+([\d.]+) of the echo, p99 ([\d.]+)", line)
        if match:
            rows[match[1]] = tuple(float(x) for x in match.groups()[1:])
    return rows


def main():
    everywhere = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {min(everywhere)})  # what is started from here stays on one processor
    with rig.Rig() as unit:
        pinned = tcp_figures(unit.port)
    os.sched_setaffinity(0, everywhere)
    with rig.Rig() as unit:
        free = tcp_figures(unit.port)
        time.sleep(0.5)
        client = Client(unit.port)
        default_run = run_seconds(client, "*OPC?", 20)
        long_run = run_seconds(client, "SENS:PN:FREQ:STAR 10;STOP 5e7;:SENS:PN:CORR 1000;AVER 10;:*OPC?", 3)
        pid = process_of("virtual-instrument")
        before, begin = processor_seconds(pid), time.monotonic()
        time.sleep(20)
        idle = (processor_seconds(pid) - before) / (time.monotonic() - begin)
        resident = resident_bytes(pid)
        client.socket.close()
    start_all, start_process = start_seconds()

    idn, idns = pinned["*IDN?"], pinned["20 *IDN? in a line (commands)"]
    sets, trace = pinned["20 SENS:PN:AVER 5 in a line (sets)"], pinned["trace fetched as a block"]
    echo, echo20 = pinned["echo of *IDN?"], pinned["echo of 20 *IDN? (commands)"]
    figures = [
        ("`*IDN?` round trips, client and server on one processor",
         f"{idn[0]:,.0f}/s, p99 {idn[1]:.1f} us", f"echo {echo[0]:,.0f}/s, p99 {echo[1]:.1f} us",
         f"{idn[2]:.3f} of the rate, {idn[3]:.2f} times the p99", "0.55 of the rate, 3 times the p99"),
        ("20 `*IDN?` in one line, one line in flight",
         f"{idns[0]:,.0f} commands/s", f"echo {echo20[0]:,.0f}", f"{idns[2]:.3f}", "2,000,000 commands/s"),
        ("the same, processors free", f"{free['20 *IDN? in a line (commands)'][0]:,.0f} commands/s",
         f"echo {free['echo of 20 *IDN? (commands)'][0]:,.0f}", f"{free['20 *IDN? in a line (commands)'][2]:.3f}", ""),
        ("`SENS:PN:AVER 5`, 20 to a line behind one `*OPC?`",
         f"{sets[0]:,.0f} commands/s", "", "", "1,700,000 commands/s"),
        ("trace of 481 points as a block", f"{trace[0]:,.0f} fetches/s", "", "", "20,000 fetches/s"),
        ("start of the process to \"Device is running!\"",
         f"{start_process * 1e3:.0f} ms ({start_all * 1e3:.0f} ms with the sandbox)", "", "", "150 ms"),
        ("default run, INIT to trace fetched", f"{default_run * 1e3:.1f} ms", "", "", "20 ms"),
        ("10 Hz to 50 MHz, 1000 correlations, 10 averages", f"{long_run:.2f} s", "", "", "1.5 s"),
        ("processor time while idle and connected", f"{idle * 100:.3f} %", "", "", "0.2 % of one core"),
        ("resident memory, virtual hardware included", f"{resident / MIB:.1f} MiB", "", "", "40 MiB"),
    ]
    print("# Performance\n")
    print("Made by `bench/run.py > docs/performance.md` after `./test`. The echo is a bare line-echo server of one")
    print("blocking thread (`bench/tcp_bench.cpp`), measured in the same run as the yardstick of the machine.\n")
    print(f"{datetime.date.today()}, {platform.machine()}, {os.cpu_count()} processors, Linux {platform.release()}.\n")
    print("| what | measured | yardstick | ratio | wanted |\n|---|---|---|---|---|")
    for row in figures:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    main()
