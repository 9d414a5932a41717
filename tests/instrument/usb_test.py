"""USBTMC over USB/IP: descriptors, transfers and their sizes, aborts and clears, hosts that say nonsense or die."""

import contextlib
import os
import socket
import random
import struct
import time
import unittest

from tests.instrument.process import IDENTITY, ProcessTest, connect, instrument_pid, receive_line, resident_bytes
from tests.instrument.usbip_client import *

SERIAL = "220-336306910-0001"
GROWTH_BYTES = (48 if os.environ.get("SANITIZED") else 8) << 20  # a sanitizer keeps books of its own


def block_of(count):
    return f"CONF:NOIS:SAMP {count};:MEAS:NOIS?\n".encode()


class Device(ProcessTest):
    def setUp(self):
        super().setUp()
        self.instrument = self.rig()

    def assert_whole(self, block):
        self.assertEqual(struct.unpack("<II", block[:8]), (0, len(block) - 8))

    def reattach(self):
        """A newcomer may come before the news of the last one's end."""
        while True:
            with contextlib.suppress(ConnectionRefusedError):
                return Usbtmc()

    def test_a_host_finds_describes_and_configures_it(self):
        with UsbHost() as lister:
            reply = lister.devices()
        self.assertEqual(struct.unpack(">HHII", reply[:12]), (0x0111, 5, 0, 1))
        device = reply[12:324]
        self.assertEqual(device[256:259], b"1-1")
        self.assertEqual(struct.unpack(">3I3H6B", device[288:]), (1, 2, 3, 0x1209, 1, 0x100, 0, 0, 0, 1, 1, 1))
        self.assertEqual(reply[324:], b"\xfe\x03\x01\0")
        for bus_id in (b"1-2", b"1-1x", b"", b"x" * 32):
            with UsbHost() as stranger:
                self.assertEqual(stranger.attach(bus_id)[0], 4, bus_id)
        with UsbHost() as host:
            self.assertEqual(host.attach(), (0, device))
            with UsbHost() as second:
                self.assertEqual(second.attach()[0], 2)
            host.reads = range(100)
            ask = lambda *words: host.result(host.submit(0, 1, words[-1], struct.pack("<BBHHH", *words)))[2]
            self.assertEqual(ask(0x80, 6, 0x0100, 0, 18).hex(), "1201000200000040091201000001" + "01020301")
            configuration = ask(0x80, 6, 0x0200, 0, 255)
            self.assertEqual(ask(0x80, 6, 0x0200, 0, 9), configuration[:9])
            self.assertEqual(configuration.hex(), "0902200001010" + "0c000" + "0904000002fe030100" + "07050102000200" + "07058202000200")
            texts = [ask(0x80, 6, 0x0300 + i, 0x409, 255)[2:].decode("utf-16le") for i in (1, 2, 3)]
            self.assertEqual(texts, ["Tolvane AG", "Signal source analyzer", SERIAL])
            self.assertEqual(host.result(host.submit(OUT, 0, 12, data=header(1, 1, 1)))[0], STALL)  # not configured

    def test_requests_on_the_control_endpoint(self):
        with Usbtmc() as host:
            for words, reply in (
                ((TO_INTERFACE, CAPABILITIES, 0, 0, 24), "010000010401" + "00" * 6 + "0001" + "00" * 10),
                ((TO_INTERFACE, INDICATOR_PULSE, 0, 0, 1), "01"),
                ((TO_INTERFACE, READ_STATUS_BYTE, 5, 0, 3), "010500"),
                ((TO_INTERFACE, READ_STATUS_BYTE, 1, 0, 3), "800100"),
                ((TO_INTERFACE, CHECK_CLEAR, 0, 0, 2), "0100"),
                ((TO_ENDPOINT, ABORT_OUT, 1, 0x01, 2), "8000"),
                ((TO_ENDPOINT, ABORT_IN, 1, 0x82, 2), "8000"),
                ((0x80, 8, 0, 0, 1), "01"),  # configuration
                ((0x81, 10, 0, 0, 1), "00"),  # alternate setting
                ((0x80, 0, 0, 0, 2), "0100"),  # self-powered
                ((0x82, 0, 0, 0x82, 2), "0000"),  # not halted
                ((0x82, 0, 0, 0x83, 2), None),
                ((0x80, 6, 0x0600, 0, 10), None),  # no other speed
                ((TO_INTERFACE, 160, 1, 0, 1), None),  # REN_CONTROL
                ((TO_ENDPOINT, ABORT_OUT, 1, 0x82, 2), None),
                ((0x40, 1, 0, 0, 0), None),
                ((0x00, 9, 2, 0, 0), None),
            ):
                expected = None if reply is None else bytes.fromhex(reply)
                self.assertEqual(host.control(*words), expected, words)

    def test_messages_and_answers_of_every_size(self):
        with Usbtmc() as host:
            self.assertRegex(host.query(b"*IDN?").decode().strip(), IDENTITY)
            self.assertEqual(host.write(b"*OP", last=True), 0)  # a message runs at its newline alone
            self.assertEqual(host.write(b"C?\n*OPC?\n", last=False), 0)
            self.assertEqual(host.read(), b"1\n1\n")
            for length in (496, 497, 500, 501, 1011, 1012, 1024, 4084, 20480, 32000):  # around whole packets, beyond all buffers
                message = (b"*CLS;" * (length // 5))[: length - 6].rpartition(b";")[0] + b";*OPC?"
                self.assertEqual(host.write(message.ljust(length - 1) + b"\n"), 0)
                self.assertEqual(host.read(), b"1\n", length)
            message = host.message(b"*CLS;" * 300 + b"*OPC?\n")  # a transfer in several requests
            for at in range(0, len(message), PACKET):
                self.assertEqual(host.out(message[at : at + PACKET]), 0)
            self.assertEqual(host.read(), b"1\n")
            unit = len(identity := host.query(b"*IDN?"))
            for length in (PACKET, 4096, 65536):
                for size in (498, 499, 500, 501, 1012, 4084, 4085):  # 500, 1012, 4084: transfers that fill their last packet
                    names = next(n for n in range(size // unit, 0, -1) if (size - n * unit) % 2 == 0)
                    numbers = (size - names * unit) // 2
                    self.assertEqual(host.write(b";".join([b"*IDN?"] * names + [b"*OPC?"] * numbers) + b"\n"), 0)
                    self.assertEqual(answer := host.read(length=length), identity[:-1] + b";" + answer[unit:])
                    self.assertEqual((len(answer), answer.count(b"Tolvane"), answer[-1:]), (size, names, b"\n"))
                self.assertEqual(host.write(block_of(40000)), 0)
                self.assert_whole(host.read(length=length))

    def test_an_answer_goes_out_in_the_pieces_that_are_asked_for(self):
        with Usbtmc() as host:
            host.write(b"*OPC?;SYST:VERS?\n")
            self.assertEqual(host.read_part(1), (0, b"1"))
            self.assertEqual(host.read_part(100, term_char=ord(".")), (TERM_CHAR, b";1999."))
            self.assertEqual(host.read_part(2, term_char=ord("9")), (EOM, b"0\n"))
            host.write(b"*OPC?\n")
            self.assertEqual(host.read_part(100, term_char=ord("\n")), (EOM | TERM_CHAR, b"1\n"))
            for sequence in [host.start_read(PACKET) for _ in range(3)]:  # no answer; the host gives up
                self.assertEqual(host.unlink(sequence), UNLINKED_IN_TIME)
            self.assertEqual(host.ask_for(100), 0)
            self.assertEqual(host.query(b"*OPC?"), b"1\n")  # asks again, as who has run out of time does
            host.write(b"*OPC?\n*OPC?\n")
            self.assertEqual(host.unlink(host.sequence), 0)  # too late
            self.assertEqual(host.read(), b"1\n1\n")
            self.assertEqual(host.ask_for(100), 0)
            read = host.start_read(4)
            host.write(b"*OPC?\n")
            self.assertEqual(host.result(read)[0], -errno.EOVERFLOW)

    def test_transfers_against_the_rules_halt_bulk_out_and_nothing_else(self):
        with Usbtmc() as host:
            good = header(1, 1, 7) + b"*OPC?\n\n\0"
            for wrong in (
                header(1, 0, 4) + b"*CLS",
                b"\x01\x05\x05" + good[3:],
                header(1, 1, 0) + bytes(4),
                header(2, 1, 0),
                header(2, 1, 100) + bytes(4),
                header(3, 1, 100) + bytes(100),
                header(128, 1, 0),  # a trigger
                good[:7],
                header(1, 1, 9) + b"*CLS",  # short
                header(1, 1, 4) + b"\n\n\n\n" + bytes(4),  # long
            ):
                self.assertEqual(host.out(wrong), STALL, wrong)
                self.assertEqual(host.out(good), STALL)
                self.assertEqual(host.control(0x82, 0, 0, OUT, 2), b"\x01\0")
                host.clear_halt(OUT)
                host.clear()
                self.assertEqual(host.query(b"*OPC?"), b"1\n")
            host.control(0x02, 3, 0, 0x82)
            self.assertEqual(host.result(host.start_read(PACKET))[0], STALL)
            host.clear_halt(0x82)
            self.assertEqual(host.query(b"*OPC?"), b"1\n")

    def test_aborts_end_one_transfer(self):
        with Usbtmc() as host:
            self.assertEqual(host.out(header(1, 9, 1000) + b"*OPC?\n".ljust(500)), 0)
            self.assertEqual(host.control(TO_ENDPOINT, ABORT_OUT, 8, OUT, 2), bytes([NOT_IN_PROGRESS, 9]))
            self.assertEqual(host.control(TO_ENDPOINT, ABORT_OUT, 9, OUT, 2), bytes([SUCCESS, 9]))
            self.assertEqual(host.control(TO_ENDPOINT, CHECK_ABORT_OUT, 0, OUT, 8), struct.pack("<II", SUCCESS, 500))
            self.assertEqual(host.out(bytes(500)), STALL)
            host.clear_halt(OUT)
            self.assertEqual(host.read(), b"1\n")
            host.clear()
            host.write(block_of(1000))
            self.assertEqual(host.ask_for(3000), 0)
            first = host.result(host.start_read(PACKET))[2]
            self.assertEqual(host.control(TO_ENDPOINT, ABORT_IN, 0, 0x82, 2), bytes([NOT_IN_PROGRESS, host.tag]))
            self.assertEqual(host.control(TO_ENDPOINT, ABORT_IN, host.tag, 0x82, 2), bytes([SUCCESS, host.tag]))
            check = lambda: host.control(TO_ENDPOINT, CHECK_ABORT_IN, 0, 0x82, 8)
            self.assertEqual(check(), struct.pack("<BBHI", PENDING, 1, 0, 500))
            self.assertEqual(host.transfer(), b"")
            self.assertEqual(check(), struct.pack("<II", SUCCESS, 500))
            answer = first[12:] + host.read()  # the rest is still there
            self.assert_whole(answer)

    def test_a_clear_drops_text_answers_and_blocks(self):
        with Usbtmc() as host:
            for text, packets in ((b"SENS:PN:FREQ:ST", 0), (b"*IDN?\n" * 100, 0), (block_of(1 << 20), 0), (block_of(1 << 20), 3)):
                self.assertEqual(host.write(text), 0)
                if packets:
                    host.ask_for(60000)
                    for _ in range(packets):
                        self.assertEqual(len(host.result(host.start_read(PACKET))[2]), PACKET)
                host.clear()
                self.assertEqual(host.query(b"*CLS;*OPC?"), b"1\n", text)
            self.assertEqual(host.query(b"SYST:ERR?")[:2], b"0,")

    def test_a_host_that_dies_at_any_moment_leaves_nothing_behind(self):
        block = block_of(1 << 20)
        moments = {
            "in an import": lambda host: host.socket.sendall(b"\x01\x11"),
            "in a header": lambda host: host.socket.sendall(submit_message(1, OUT, 0, 100)[:20]),
            "in its data": lambda host: host.socket.sendall(submit_message(1, OUT, 0, 100) + header(1, 1, 9)),
            "in a message": lambda host: host.out(header(1, 1, 900) + b"SENS:PN:FREQ:ST".ljust(500)),
            "in a line": lambda host: host.write(b"SENS:PN:FREQ:STAR 7"),
            "before an answer": lambda host: (host.ask_for(100), host.start_read(PACKET)),
            "in a block": lambda host: (host.write(block), host.ask_for(60000), host.result(host.start_read(PACKET))),
            "with a block unread": lambda host: host.write(block),
            "in too many requests": lambda host: [host.start_read(PACKET) for _ in range(200)],
        }
        for moment, act in moments.items():
            for leave in (UsbHost.die, lambda host: host.socket.close()):
                host = UsbHost() if "import" in moment else self.reattach()
                act(host)
                leave(host)
                with self.reattach() as next_host:
                    self.assertEqual(next_host.query(b"*OPC?"), b"1\n", moment)
        with self.reattach() as host:
            self.assertEqual(host.query(b"SYST:ERR?")[:2], b"0,")

    def test_nonsense_ends_its_connection_alone_and_takes_no_memory(self):
        chance = random.Random(1)
        big = 1 << 20
        hostile = [
            b"\xff" * 100,
            request(DEVICE_LIST)[:5],
            request(0x8004),
            b"\x01\x00" + request(IMPORT)[2:],
            request(IMPORT, b"1-1"),
        ]
        attached = [
            bytes(48),
            b"\xff" * 48,
            submit_message(1, OUT, 0, big + 1),
            submit_message(1, IN, 1, 1 << 31),
            submit_message(1, OUT, 0, big)[:40],
            struct.pack(">10I", SUBMIT, 1, 0, 0, 1, 0, 0, 0, 4, 0) + bytes(8),  # isochronous
            b"".join(submit_message(i, IN, 1, 512) for i in range(300)),
            b"".join(submit_message(i, OUT, 0, big, data=header(1, 1, big * 8) + bytes(big - 12)) for i in range(6)),
            *[chance.randbytes(4096) for _ in range(20)],
            *[submit_message(1, chance.randrange(3), chance.randrange(2), 8, chance.randbytes(8), chance.randbytes(8)) for _ in range(50)],
        ]
        pid = instrument_pid(self.instrument.process)
        with self.reattach() as host:
            self.assertEqual(host.query(b"*OPC?"), b"1\n")
            before = resident_bytes(pid)
            with contextlib.ExitStack() as stack:
                for data in hostile * 4:  # and stays, so that the oldest has to make room
                    stack.enter_context(stranger := UsbHost())
                    with contextlib.suppress(ConnectionError):
                        stranger.socket.sendall(data)
                    self.assertEqual(host.query(b"*OPC?"), b"1\n")
        for data in attached:
            with self.reattach() as host, contextlib.suppress(ConnectionError):
                host.socket.sendall(data)
                host.socket.shutdown(socket.SHUT_WR)
                host.receive(1 << 24)
        with self.reattach() as host:
            host.clear()
            self.assertEqual(host.query(b"*CLS;*OPC?"), b"1\n")
        self.assertLess(resident_bytes(pid) - before, GROWTH_BYTES)


class WithOthers(ProcessTest):
    def test_the_lamp_goes_by_bytes_and_links_do_not_mix(self):
        self.rig()

        def wait_for_lamp(state):
            while f"remote lamp      {state}\n" not in (self.state / "unit/panel").read_text():
                time.sleep(0.05)

        with Usbtmc() as host:
            wait_for_lamp("off")
            host.write(b"\n")
            wait_for_lamp("on")
            wait_for_lamp("off")
            with connect() as tcp:
                for i in range(200):
                    host.write(f"SENS:PN:CORR {i + 1};CORR?\n".encode())
                    tcp.sendall(b"*OPC?\n")
                    self.assertEqual((receive_line(tcp), host.read()), (b"1\n", f"{i + 1}\n".encode()))

    def test_a_second_instrument_says_that_the_port_is_taken(self):
        with socket.create_server((HOST, USBIP_PORT)):
            rig = self.rig()
            self.assertEqual(rig.what_is_off(), ["USBTMC is off: TCP port 3240 is taken"])
            self.assertNotIn("usbtmc", dict(rig.places()))


if __name__ == "__main__":
    unittest.main(verbosity=2)
