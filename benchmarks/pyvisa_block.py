#!/usr/bin/python3
"""A block of samples over VXI-11 as PyVISA-py's client fetches it at 1 MiB a read, from the instrument and from an echo
server on the same RPC library that hands out the very same block; and what that client does meanwhile.

    benchmarks/pyvisa_block.py ECHO     ECHO: vxi_benchmark; the instrument is on 127.0.0.1:1024

Prints megabytes per second with the capture that the instrument makes first, those of the reads alone, the echo's, the
ratio of the last two, and the part of its time that the client formats what it has received for its log, which is off."""

import cProfile
import pstats
import statistics
import subprocess
import sys
import tempfile
import time

from pyvisa_py.protocols import rpc, vxi11

HOST = "127.0.0.1"
CORE_PORT = 1024
READ_BYTES = 1 << 20
BLOCK_BYTES = (4 << 20) + 8
REPEATS = 9


class Core(vxi11.CoreClient):
    """Where the port is known, without a port mapper."""

    def __init__(self, port):
        self.packer = vxi11.Vxi11Packer()
        self.unpacker = vxi11.Vxi11Unpacker("")
        rpc.RawTCPClient.__init__(self, HOST, vxi11.DEVICE_CORE_PROG, vxi11.DEVICE_CORE_VERS, port)


def write(client, link, text):
    error, count = client.device_write(link, 60_000, 0, 8, text)
    assert (error, count) == (0, len(text))


def fetch(client, link):
    """The block."""
    data, reason = bytearray(), 0
    while not reason & vxi11.RX_END:
        error, reason, piece = client.device_read(link, READ_BYTES, 60_000, 0, 0, 0)
        assert error == 0
        data += piece
    assert len(data) == BLOCK_BYTES, len(data)
    return data


def seconds(client, link):
    """Of the whole, and of the reads."""
    start = time.monotonic()
    write(client, link, b"MEAS:NOIS?\n")
    captured = time.monotonic()
    fetch(client, link)
    end = time.monotonic()
    return end - start, end - captured


def main():
    instrument = Core(CORE_PORT)
    link = instrument.create_link(1, 0, 0, "inst0")[1]
    write(instrument, link, b"*RST;CONF:NOIS:SAMP 1048576;CHAN 2;DIV 1\n")
    write(instrument, link, b"MEAS:NOIS?\n")
    with tempfile.NamedTemporaryFile() as block:
        block.write(fetch(instrument, link))
        block.flush()
        echo_process = subprocess.Popen([sys.argv[1], "--hand-out", block.name], stdout=subprocess.PIPE)
        echo = Core(int(echo_process.stdout.readline()))
    turns = [(*seconds(instrument, link), seconds(echo, 0)[1]) for _ in range(REPEATS)]
    profile = cProfile.Profile()
    write(echo, 0, b"again\n")
    profile.runcall(fetch, echo, 0)
    echo_process.kill()
    rates = [BLOCK_BYTES / statistics.median(column) / 1e6 for column in zip(*turns)]
    ratio = statistics.median(theirs / ours for _, ours, theirs in turns)
    logged = sum(own for (_, _, name), (_, _, own, _, _) in pstats.Stats(profile).stats.items() if name == "_recvrecord")
    whole = pstats.Stats(profile).total_tt
    print(f"{rates[0]:.1f} MB/s, reads {rates[1]:.1f} MB/s, echo {rates[2]:.1f} MB/s, ratio {ratio:.3f}, log {logged / whole:.2f}")


if __name__ == "__main__":
    main()
