"""What a client may do to the instrument: nothing that the next client notices."""

import os
import random
import re
import socket
import struct
import time
import unittest
from pathlib import Path

from tests.instrument.process import ProcessTest, connect, instrument_pid, receive_line

RANDOM_S = 2.5
# Of resident memory behind the first abuse; a sanitizer keeps books of its own.
GROWTH_KIB = 16384 if os.environ.get("SANITIZED") else 512


def hang_up(connection):
    """Closes with a reset instead of an orderly end, as a dying machine does."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def die_in_mid_message(client):
    client.sendall(b":SENS:PN:AVER 5;CORR")


def die_in_mid_answer(client):
    client.sendall(b"*IDN?;" * 5000)


def die_in_mid_block(client):
    client.sendall(b"MEM:RAM:TEST:DATA?\n" * 2000)
    client.recv(100)


def die_in_a_block_of_ones_own(client):
    client.sendall(b"SENS:PN:AVER #3700abc")


def send_a_megabyte_without_a_newline(client):
    client.sendall(b"x" * 1_000_000)


def send_numbers_of_ten_thousand_digits(client):
    for number in (b"9" * 10_000, b"0." + b"1" * 10_000, b"1E" + b"9" * 10_000, b"-" * 10_000):
        client.sendall(b"SENS:PN:FREQ:STAR " + number + b"\n")


def send_a_header_of_ten_thousand_nodes(client):
    client.sendall(b":SENS" * 10_000 + b" 1\n" + b"SENS" + b":PN" * 10_000 + b"?\n" + b"A" * 10_000 + b"\n")


def never_read(client):
    client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    client.settimeout(0.5)
    try:
        while True:
            client.sendall(b"MEM:RAM:TEST:DATA?;*IDN?\n" * 100)
    except TimeoutError:
        pass


def random_bytes(client):
    source = random.Random(1)
    words = [b"*IDN?", b"SENS:PN:", b"CALC:PN:TRAC:NOIS?", b"INIT", b"ABOR", b"#15", b";", b"\n", b",", b"SYST:ERR?"]
    client.setblocking(False)
    end = time.monotonic() + RANDOM_S
    while time.monotonic() < end:
        piece = source.choice(words) if source.random() < 0.5 else source.randbytes(source.randrange(1, 200))
        try:
            client.send(piece)
            client.recv(1 << 16)
        except BlockingIOError:
            time.sleep(0.0005)


class AbuseTest(ProcessTest):
    def resident_kib(self, rig):
        status = Path(f"/proc/{instrument_pid(rig.process)}/status").read_text()
        return int(re.search(r"VmRSS:\s+(\d+)", status)[1])

    def test_no_client_can_harm_the_next(self):
        rig = self.rig()
        with connect() as polite:
            polite.sendall(b"SENS:PN:AVER 7;:SENS:PN:FREQ:STAR 1234\n")
        abuses = [
            random_bytes,  # first: it touches every buffer
            die_in_mid_message,
            die_in_mid_answer,
            die_in_mid_block,
            die_in_a_block_of_ones_own,
            send_a_megabyte_without_a_newline,
            send_numbers_of_ten_thousand_digits,
            send_a_header_of_ten_thousand_nodes,
            never_read,
        ]
        before = None
        for abuse in abuses * 2:
            with self.subTest(abuse.__name__):
                client = connect()
                abuse(client)
                hang_up(client)
                with connect() as polite:
                    polite.sendall(b"*CLS;:SYST:ERR?\n")
                    self.assertEqual(receive_line(polite), b'0,"No error"\n')
                    polite.sendall(b"SENS:PN:AVER?;FREQ:STAR?\n")
                    self.assertEqual(receive_line(polite), b"7;1234.000000000\n")
            before = before or self.resident_kib(rig)
        self.assertLess(self.resident_kib(rig), before + GROWTH_KIB)


if __name__ == "__main__":
    unittest.main()
