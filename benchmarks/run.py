#!/usr/bin/python3
"""Measures what the instrument must reach and prints the page docs/performance.md:

    benchmarks/run.py > docs/performance.md

Builds nothing: run ./test first. Takes about two minutes on an otherwise idle machine.
"""

import datetime
import json
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
sys.path.insert(0, str(PROJECT / "virtual/app"))
import rig  # noqa: E402

HOST = "127.0.0.1"
FIRST_GENERATION = "220-336305910-0001"  # of the acquisition board; the default serial number has the second
MIB = 1024 * 1024
OSCILLATOR = PROJECT / "virtual/duts/vco-150m.toml"


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
    """From the start of the process, inside its sandbox, to its own "Device is running!"."""
    times = []
    for _ in range(9):
        with rig.tempfile.TemporaryDirectory() as state:
            words = f"date +%s.%N; exec {rig.PROGRAM} --dut {rig.DEFAULT_DUT}"
            command = [str(rig.SANDBOX), "--state", state, "--private-network", "--", "sh", "-c", words]
            reader, writer = os.pipe()  # the console link reads here, and nothing ever comes
            process = subprocess.Popen(command, stdin=reader, stdout=subprocess.PIPE, start_new_session=True)
            begin = float(process.stdout.readline())
            while b"Device is running!" not in process.stdout.readline():
                pass
            times.append(time.time() - begin)
            process.terminate()
            process.wait()
            os.close(reader)
            os.close(writer)
    return statistics.median(times)


def run_seconds(client, settings, repeats):
    client.ask("*RST;*OPC?")
    client.ask(settings)
    times, loops = [], []
    for _ in range(repeats):
        start = time.monotonic()
        client.ask("INIT;:CALC:WAIT:AVER ALL;:*OPC?")
        client.block("CALC:PN:TRAC:NOIS?")
        times.append(time.monotonic() - start)
        loops.append(int(client.ask("DIAG:PN:MEAS:TIME?")) * 1e-3)
    error = client.ask("SYST:ERR?")
    assert error.startswith("0,"), error
    return statistics.median(times), statistics.median(loops)


def sweep_figures(points):
    """Median seconds of a sweep of the example oscillator without noise, and by how many bytes memory grows in it."""
    with rig.Rig(dut=OSCILLATOR) as unit:
        client = Client(unit.port)
        client.ask("SENS:MODE VCO;:SENS:VCO:VOLT:STAR 1;STOP 16;:SENS:VCO:TEST:PN OFF;:*OPC?")
        client.ask("SOUR:SUPP1:VOLT 12;:SOUR:SUPP1:STAT ON;:SOUR:TUNE:DUT:VOLT 1;:SOUR:TUNE:DUT:STAT ON;:*OPC?")
        client.ask(f"SENS:VCO:VOLT:POIN {points};:*OPC?")
        sweep = "INIT;:CALC:VCO:WAIT ALL;:*OPC?"
        client.ask(sweep)
        pid, times = process_of("virtual-instrument"), []
        before = resident_bytes(pid)
        for _ in range(9):
            start = time.monotonic()
            client.ask(sweep)
            times.append(time.monotonic() - start)
        grown = resident_bytes(pid) - before
        done, error = int(client.ask("CALC:VCO:ITER?")), client.ask("SYST:ERR?")
        assert error.startswith("0,") and done == points, (error, done)
        client.socket.close()
        return statistics.median(times), grown


def figures_of(program, *words):
    """Rates and ratios that tcp_benchmark and vxi_benchmark print, by name; of samples the megabytes per second."""
    output = subprocess.run([BUILD / "benchmarks" / program, *words], capture_output=True, text=True, check=True)
    rows = {}
    for line in output.stdout.splitlines():
        match = re.match(r"(.+?)\s+(\d+) /s.*?p99\s+([\d.]+) us\s+([\d.]+) of the echo, p99 ([\d.]+)", line)
        if match:
            rows[match[1]] = tuple(float(x) for x in match.groups()[1:])
        elif match := re.match(r"(.+?)\s+([\d.]+) MB/s", line):
            rows[match[1]] = float(match[2])
    return rows


def numbers_of(*command):
    """The numbers in the last line that a benchmark prints."""
    output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    return [float(number) for number in re.findall(r"[\d.]*\d", output.splitlines()[-1])]


def device_figures():
    """SPI transfers of a frequency change of both channels: a small step, one into another band, the same once more;
    milliseconds of the waits and captures of a default run, and of the run in real time."""
    command = [rig.SANDBOX, "--private-network", "--", BUILD / "benchmarks/device_benchmark"]
    tuning, run = subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()
    return tuning.split(), tuple(map(float, run.split()))


def links_figures():
    """Commands per second of one link, of four together, and their ratio."""
    output = subprocess.run([BUILD / "benchmarks/links_benchmark", "3"], capture_output=True, text=True, check=True).stdout
    return tuple(float(x) for x in re.match(r"one link (\d+) /s, four links together (\d+) /s, ([\d.]+)", output).groups())


def rates_of(program):
    """What a benchmark program without a network does per second, items or bytes, by benchmark."""
    output = subprocess.run([BUILD / "benchmarks" / program, "--benchmark_format=json"], capture_output=True, check=True)
    return {
        row["name"]: row.get("items_per_second", row.get("bytes_per_second"))
        for row in json.loads(output.stdout)["benchmarks"]
    }


def both_generations(rates, what):
    return ", ".join(f"{rates[f'capture/{what}{which}'] / 1e6:,.0f} MB/s" for which in ("First", "Second"))


def results_figures():
    """Median milliseconds of one run of each benchmark of the results, by its name."""
    command = [BUILD / "benchmarks/results_benchmark", "--benchmark_format=json", "--benchmark_repetitions=9",
               "--benchmark_report_aggregates_only"]
    output = subprocess.run(command, capture_output=True, check=True)
    return {
        row["run_name"]: 1e3 / row["items_per_second"]
        for row in json.loads(output.stdout)["benchmarks"]
        if row["aggregate_name"] == "median"
    }


NOTES = """
The rates over TCP are bounded by the machine, so the ratio to the echo is what counts. Echo and instrument take turns of
20 ms and each figure is the median of its turns: what else the machine does meets both. The echo sends back the line that
it was sent; the instrument's answer to 20 `*IDN?` is six times as long as the line. The two engine rows tell what the commands themselves cost: one link in memory, no
socket, no hand-over between threads.

A capture of samples from the stream to the buffers is the firmware's own part: the FPGA's answer on the bus, the driver's
reads of 4096 bytes and the separation of the channels. What the bench adds is physics: noise of the right spectrum in both
channels, beat and quantisation, a million times.

Where the time of a default run goes when waits and captures take what they take on the hardware, in milliseconds, each
with the transfers that belong to it:

| step | wait | capture | |
|---|---|---|---|
| search | 10.0 | 10.5 | the counters' settling and their gate of 10 ms |
| level | 4.0 | 0.8 | four times the detector's settling of 1 ms, ten readings each |
| sources on | 0.4 | | |
| constants | 5.0 | 4.5 | settling beside the DUT, one record of the beat |
| lock | 1.0 | 13.5 | settling of the filters, three quick checks |
| the long look | | 34.8 | whether the loops hold: the instrument's own care ([decisions](decisions.md)), a third of the run |
| gain | | 1.5 | one record |
| spectra | | 13.2 | one pass over four stages |

The sum that the table above compares with is what the instrument's clock shows of the run in fast mode, where the host's
work costs nothing, without its 266 transfers of 20 us each, for which the models do not wait in real time. The host's work
between the waits, and waits that wake late, make the difference. Without the long look the sum would be 61 ms.

A run of 10,000 passes is the work of one thread. Two fifths of it draw the spectra, three deviates a point; a sixth locks
and unlocks uncontended mutexes, some 240 times a pass; the rest sends each capture's commands over the SPI bus, opens and
closes the stream, moves the blocks and adds them up. On a busy machine its processor time tells more than the time that it
takes.

PyVISA-py formats all that it receives as text for its log, also while the log is off; that takes three quarters of its
time, so that it reaches no more from a server that has the block at hand.

While another link pulls blocks a query waits for the capture that it has come into, some 30 ms, but not for the transfer.

A save is timed with the sums of the one capture before it.

Resident memory is that of the sandbox, where the process may not lock its memory; with all of its memory locked the pool
of 10 MB and the thread stacks come on top.
"""


def main():
    everywhere = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {min(everywhere)})  # what is started from here stays on one processor
    with rig.Rig() as unit:
        pinned = figures_of("tcp_benchmark", str(unit.port), "2") | figures_of("vxi_benchmark", "2")
    links_pinned = links_figures()
    os.sched_setaffinity(0, everywhere)
    with rig.Rig(serial=FIRST_GENERATION) as unit:
        free_first = figures_of("tcp_benchmark", str(unit.port), "2")
    with rig.Rig() as unit:
        free = figures_of("tcp_benchmark", str(unit.port), "2") | figures_of("vxi_benchmark", "2")
        free |= figures_of("buses_benchmark", str(unit.port), "2")
        disturbed = numbers_of(BUILD / "benchmarks/buses_benchmark", str(unit.port), "0.1")
        pyvisa = numbers_of(sys.executable, PROJECT / "benchmarks/pyvisa_block.py", BUILD / "benchmarks/vxi_benchmark")
        time.sleep(0.5)
        client = Client(unit.port)
        default_run, default_loop = run_seconds(client, "*OPC?", 20)
        pid, repeats = process_of("virtual-instrument"), 5
        before = processor_seconds(pid)
        long_run, _ = run_seconds(client, "SENS:PN:FREQ:STAR 10;STOP 5e7;:SENS:PN:CORR 1000;AVER 10;:*OPC?", repeats)
        long_work = (processor_seconds(pid) - before) / repeats
        before, begin = processor_seconds(pid), time.monotonic()
        time.sleep(20)
        idle = (processor_seconds(pid) - before) / (time.monotonic() - begin)
        resident = resident_bytes(pid)
        client.socket.close()
    start = start_seconds()
    (sweep_100, _), (sweep_1000, sweep_grown) = sweep_figures(100), sweep_figures(1000)

    idn, idns = pinned["*IDN?"], pinned["20 *IDN? in a line (commands)"]
    sets, trace = pinned["20 SENS:PN:AVER 5 in a line (sets)"], pinned["trace fetched as a block"]
    echo, echo20 = pinned["echo of *IDN?"], pinned["echo of 20 *IDN? in a line (commands)"]
    echo_sets = pinned["echo of 20 SENS:PN:AVER 5 in a line (sets)"]
    links_free = links_figures()
    vxi = "VXI-11 *IDN?, a write and a read"
    engine = rates_of("engine_benchmark")
    bus = rates_of("bus_benchmark")
    results = results_figures()
    transfers, (demanded_ms, real_ms) = device_figures()
    slowest_figure = max(value for name, value in results.items() if name.startswith("figure/"))
    figures = [
        ("`*IDN?` round trips, client and server on one processor",
         f"{idn[0]:,.0f}/s, p99 {idn[1]:.1f} us", f"echo {echo[0]:,.0f}/s, p99 {echo[1]:.1f} us",
         f"{idn[2]:.3f} of the rate, {idn[3]:.2f} times the p99", "0.90 of the rate, 1.6 times the p99"),
        ("the same, processors free", f"{free['*IDN?'][0]:,.0f}/s", f"echo {free['echo of *IDN?'][0]:,.0f}/s",
         f"{free['*IDN?'][2]:.3f}", "0.80"),
        ("20 `*IDN?` in one line, one line in flight",
         f"{idns[0]:,.0f} commands/s", f"echo {echo20[0]:,.0f}", f"{idns[2]:.3f}", "0.80"),
        ("the same, processors free", f"{free['20 *IDN? in a line (commands)'][0]:,.0f} commands/s",
         f"echo {free['echo of 20 *IDN? in a line (commands)'][0]:,.0f}",
         f"{free['20 *IDN? in a line (commands)'][2]:.3f}", "0.80"),
        ("`SENS:PN:AVER 5`, 20 to a line behind one `*OPC?`",
         f"{sets[0]:,.0f} commands/s", f"echo of the same line {echo_sets[0]:,.0f}", f"{sets[2]:.3f}",
         "0.80"),
        ("VXI-11 `*IDN?`, a write and a read, client and server on one processor",
         f"{pinned[vxi][0]:,.0f}/s", f"echo on the same RPC library {pinned['echo of ' + vxi][0]:,.0f}/s",
         f"{pinned[vxi][2]:.3f}", "0.80"),
        ("the same, processors free", f"{free[vxi][0]:,.0f}/s",
         f"echo on the same RPC library {free['echo of ' + vxi][0]:,.0f}/s", f"{free[vxi][2]:.3f}", "0.80"),
        ("`*OPC?` on four links at once, their clients on one processor", f"{links_pinned[1]:,.0f} commands/s",
         f"one link {links_pinned[0]:,.0f}", f"{links_pinned[2]:.3f}", "0.85"),
        ("the same, processors free", f"{links_free[1]:,.0f} commands/s", f"one link {links_free[0]:,.0f}",
         f"{links_free[2]:.3f}", "0.85"),
        ("engine alone, 20 `*IDN?` in a line", f"{engine['lineOf/idn']:,.0f} commands/s", "", "", ""),
        ("engine alone, 20 `SENS:PN:AVER 5` in a line", f"{engine['lineOf/deepSet']:,.0f} commands/s", "", "", ""),
        ("trace of 481 points as a block", f"{trace[0]:,.0f} fetches/s", "", "", "20,000 fetches/s"),
        ("start of the process to \"Device is running!\"",
         f"{start * 1e3:.0f} ms", "", "", "150 ms"),
        ("default run, INIT to trace fetched", f"{default_run * 1e3:.1f} ms", "", "", "10 ms"),
        ("the same by the instrument's own clock",
         f"{default_loop * 1e3:.0f} ms", "", "", "30 ms"),
        ("default run in real time", f"{real_ms:.1f} ms", f"its waits and captures {demanded_ms:.1f} ms",
         f"{real_ms / demanded_ms:.3f}", "1.05"),
        ("10 Hz to 50 MHz, 1000 correlations, 10 averages: 10,000 passes",
         f"{long_run:.2f} s, {long_work:.2f} s of processor time", "", "", "0.3 s"),
        ("sweep of an oscillator without noise, 100 points", f"{sweep_100 * 1e3:.0f} ms", "", "", "50 ms"),
        ("the same at 1000 points, and what memory grows by in nine of them",
         f"{sweep_1000 * 1e3:.0f} ms, {sweep_grown / 1024:.0f} KiB", "", "", "0 KiB"),
        ("a save at 961 points, without spur detection", f"{results['save/plain']:.3f} ms", "", "", ""),
        ("the same with it, 64 lines", f"{results['save/spurs']:.3f} ms", "", "", "1.5 ms"),
        ("the same over single records, 64 lines and false spurs", f"{results['save/singleRecords']:.3f} ms", "", "",
         "1.5 ms"),
        ("the slowest figure over a trace of 961 points (integral, jitter, residual FM)",
         f"{slowest_figure:.3f} ms", "", "", "0.1 ms"),
        ("Allan deviation of 961 points", f"{results['allanDeviation']:.1f} ms", "", "", "20 ms"),
        ("processor time while idle and connected", f"{idle * 100:.3f} %", "", "", "0.2 % of one core"),
        ("resident memory, virtual hardware included", f"{resident / MIB:.1f} MiB", "", "", "40 MiB"),
        ("SPI register write, from the driver to the chip's model", f"{bus['registerWrite']:,.0f} writes/s", "", "",
         "1,000,000 writes/s"),
        ("SPI transfers of a frequency change of both channels: 100 kHz further, 1 to 6 GHz, the same once more",
         ", ".join(transfers), "", "", ""),
        ("update of the FPGA's flash with both images of 4 MiB, second generation",
         f"{1 / bus['flashUpdate/second']:.2f} s", "", "", "2 s"),
        ("tuning word of 48 bits", f"{bus['tuningWord']:,.0f} words/s", "", "", "10,000,000 words/s"),
        ("spectra, drawn by the soft core and received",
         f"{bus['spectra']:,.0f} points/s", "", "", "5,000,000 points/s"),
        ("`MEASure:NOISe?` of 2^20 pairs, 4 MiB, first generation of the board, then second",
         f"{free_first['samples to a client']:.0f} MB/s, {free['samples to a client']:.0f} MB/s", "", "", "60 MB/s"),
        ("the same over VXI-11, read at 1 MiB, second generation", f"{free['VXI-11 block at 1 MiB']:.0f} MB/s", "", "",
         "100 MB/s"),
        ("the same as PyVISA-py's client reads it", f"{pyvisa[0]:.0f} MB/s; {pyvisa[1]:.0f} MB/s behind the capture",
         f"echo server on the same RPC library, the same block: {pyvisa[2]:.0f} MB/s", f"{pyvisa[3]:.3f}", "100 MB/s"),
        ("`*IDN?` on TCP while VXI-11 pulls blocks of 4 MiB", f"p99 {disturbed[2]:.1f} us",
         f"undisturbed {disturbed[1]:.1f} us", f"{disturbed[3]:.2f} times", "4 times"),
        *((f"{bus_} `*IDN?`, by the virtual bus", f"{free[f'{bus_} *IDN?'][0]:,.0f}/s",
           f"TCP echo {free[f'echo of {bus_} *IDN?'][0]:,.0f}/s", f"{free[f'{bus_} *IDN?'][2]:.3f}", "")
          for bus_ in ("USB", "GPIB")),
        ("`MEASure:NOISe?` of 2^20 pairs over USB, then GPIB",
         f"{free['USB block']:.0f} MB/s, {free['GPIB block']:.0f} MB/s", "", "", ""),
        ("capture of 2^20 pairs, from the stream to the buffers", both_generations(bus, "stream"), "", "", "200 MB/s"),
        ("the same with the bench that makes the samples", both_generations(bus, "whole"), "", "", "200 MB/s"),
    ]
    print("# Performance\n")
    print("Made by `benchmarks/run.py > docs/performance.md` after `./test`. The echo is a bare line-echo server of one")
    print("blocking thread (`benchmarks/tcp_benchmark.cpp`), measured in the same run as the yardstick of the machine.\n")
    print(f"{datetime.date.today()}, {platform.machine()}, {os.cpu_count()} processors, Linux {platform.release()}.\n")
    print("| what | measured | yardstick | ratio | wanted |\n|---|---|---|---|---|")
    for row in figures:
        print("| " + " | ".join(row) + " |")
    print(NOTES, end="")


if __name__ == "__main__":
    main()
