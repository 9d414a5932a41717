#!/usr/bin/python3
"""A run and its trace over USBTMC, with the kernel's driver alone: carrier and noise at some offsets."""

import argparse
import fcntl
import struct
import sys
from array import array

SET_TIMEOUT = 0x40045B0A  # ioctl of linux/usb/tmc.h: milliseconds, of each transfer


def ask(device, query):
    """A line. The instrument runs a message at its newline, not at the EOM that the driver sends with the last byte."""
    device.write(query.encode() + b"\n")
    return device.read(4096).decode().strip()


def fetch(device, query):
    """A trace is a block, "#", the number of length digits, the length, 32-bit floats, with no newline behind it. A read
    ends with the answer, or with what it asks for."""
    device.write(query.encode() + b"\n")
    data = device.read(1 << 16)
    digits = int(data[1:2])
    end = 2 + digits + int(data[2 : 2 + digits])
    while len(data) < end:
        data += device.read(end - len(data))
    values = array("f")
    values.frombytes(data[2 + digits : end])
    return values.tolist()


def main(device):
    print(ask(device, "*IDN?"))
    device.write(b"*RST;*CLS\n")
    device.write(b"SENS:PN:FREQ:STAR 1000;STOP 1e6\n")
    device.write(b"SENS:PN:CORR 1000\n")
    device.write(b"SENS:FREQ:EXEC\n")  # find the carrier
    device.write(b"INIT\n")
    device.write(b"CALC:WAIT:AVER ALL,300000\n")  # milliseconds; the next read waits for it
    error = ask(device, "SYST:ERR?")
    if not error.startswith("0,"):
        sys.exit(f"usbtmc_trace: {error}")
    print(f"carrier {float(ask(device, 'CALC:FREQ?')) / 1e6:14.6f} MHz")
    offsets, levels = fetch(device, "CALC:PN:TRAC:FREQ?"), fetch(device, "CALC:PN:TRAC:NOIS?")
    for wanted_khz in (1, 10, 100, 1000):
        at = min(range(len(offsets)), key=lambda i: abs(offsets[i] - 1e3 * wanted_khz))
        print(f"{wanted_khz:5} kHz {levels[at]:9.1f} dBc/Hz")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("path", nargs="?", default="/dev/usbtmc0", help="the instrument's device (default: %(default)s)")
    path = parser.parse_args().path
    try:
        with open(path, "r+b", buffering=0) as usb:
            fcntl.ioctl(usb, SET_TIMEOUT, struct.pack("I", 310_000))
            main(usb)
    except OSError as problem:
        sys.exit(f"usbtmc_trace: {path}: {problem.strerror}")
