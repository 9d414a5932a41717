"""VXI-11 over a real port mapper: each call, links and their clients' deaths, hostile bytes, and the clients that users have."""

import contextlib
import os
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest
import warnings

import pyvisa
from tests.instrument.process import IDENTITY, ProcessTest, connect, instrument_pid, receive_line, resident_bytes
from tests.instrument.rpc_client import *
from virtual.app.rig import PORT_MAPPER, PROJECT

IDLE_CALLS = {  # with their arguments; they answer and do nothing
    TRIGGER: words(0, 0, 0, 0),
    CLEAR: words(0, 0, 0, 0),
    REMOTE: words(0, 0, 0, 0),
    LOCAL: words(0, 0, 0, 0),
    LOCK: words(0, 0, 0),
    UNLOCK: words(0),
    ENABLE_SRQ: words(0, 1) + opaque(b"handle"),
}
LONG_RUN = b"SENS:PN:FREQ:STAR 10;:SENS:PN:CORR 1000;:INIT"  # in real time it takes a quarter of an hour
GROWTH_BYTES = (16 if os.environ.get("SANITIZED") else 4) << 20  # a sanitizer keeps books of its own
PROC_UNAVAIL, PROG_UNAVAIL, PROG_MISMATCH, GARBAGE_ARGS = 3, 1, 2, 4


class Calls(ProcessTest):
    def setUp(self):
        super().setUp()
        self.rig()

    def test_there_are_two_links_and_a_third_is_refused_until_one_is_destroyed(self):
        with RpcClient() as client, RpcClient() as other:
            self.assertEqual(client.create_link(b"inst1")[0], 3)
            first = client.create_link()
            self.assertEqual((first[0], *first[2:]), (0, ABORT_PORT, 1024))
            second = other.open()
            self.assertNotEqual(first[1], second)
            for who in (client, other):
                self.assertEqual(who.create_link()[0], 9)
            for lid in (second, 77):  # another client's, nobody's
                self.assertEqual(client.write(lid, b"*IDN?\n"), (4, 0))
                self.assertEqual(client.read(lid, 100), (4, 0, b""))
                self.assertEqual(client.numbers(DESTROY_LINK, lid), (4,))
            self.assertEqual(client.numbers(DESTROY_LINK, first[1]), (0,))
            self.assertEqual(client.write(first[1], b"*IDN?\n"), (4, 0))
            third = other.open()  # two links of one connection
            for lid in (second, third):
                self.assertEqual(other.ask(lid, b"*OPC?"), b"1\n")

    def test_a_message_runs_at_its_newline_and_reads_take_of_the_answer_what_they_ask_for(self):
        with RpcClient() as client:
            lid = client.open()
            self.assertEqual(client.write(lid, b"*OP"), (0, 3))
            self.assertEqual(client.write(lid, b"C?"), (0, 2))
            self.assertEqual(client.read(lid, 100), (0, END, b""))
            self.assertEqual(client.write(lid, b"\n"), (0, 1))
            self.assertEqual(client.read(lid, 0), (0, REQUEST_COUNT, b""))
            self.assertEqual(client.read(lid, 1), (0, REQUEST_COUNT, b"1"))
            self.assertEqual(client.write(lid, b"SYST:VERS?\n"), (0, 11))  # joins what is not read yet
            self.assertEqual(client.read(lid, 100), (0, END, b"\n1999.0\n"))
            for length in (1023, 1024, 1025, 1500, 2048, 20480, 32000):  # in one call, beyond the link's buffer, too
                message = (b"*CLS;" * (length // 5))[: length - 6].rpartition(b";")[0] + b";*OPC?"
                message = message.ljust(length - 1) + b"\n"
                self.assertEqual(client.write(lid, message), (0, length))
                self.assertEqual(client.read(lid, 100), (0, END, b"1\n"), length)

    def test_answers_that_nobody_reads_stop_the_writes_and_none_is_lost(self):
        with RpcClient() as client:
            lid = client.open()
            line = b";".join([b"*IDN?"] * 100) + b"\n"
            error, taken = client.write(lid, line * 5)
            self.assertEqual(error, 15)
            self.assertLess(taken, len(line) * 5)
            answers = b""
            rest = (line * 5)[taken:]
            while rest or answers.count(b"Tolvane") < 500:
                answers += client.read(lid, 1000)[2]
                rest = rest[client.write(lid, rest)[1] :] if rest else rest
            self.assertEqual((answers.count(b"Tolvane"), answers.count(b"\n")), (500, 5))

    def test_calls_without_an_effect_answer_and_others_are_refused(self):
        with RpcClient() as client, RpcClient(ABORT_PORT, ABORT) as abort:
            for open_link in (False, True):  # served at the door, and by a worker
                if open_link:
                    client.open()
                for procedure, arguments in IDLE_CALLS.items():
                    self.assertEqual(client.call(procedure, arguments), (0, words(0)), procedure)
                    self.assertEqual(client.call(procedure, arguments[:-4])[0], GARBAGE_ARGS, procedure)
                self.assertEqual(client.numbers(READ_STB, 0, 0, 0, 0), (0, 0))
                self.assertEqual(client.call(0), (0, b""))
                for procedure in (1, 9, 21, 24, 27):
                    self.assertEqual(client.call(procedure)[0], PROC_UNAVAIL)
                self.assertEqual(client.call(0, version=2), (PROG_MISMATCH, words(1, 1)))
                self.assertEqual(client.call(WRITE, words(1, 0, 0, 0, 5) + b"abc")[0], GARBAGE_ARGS)
                client.send_call(DOCMD, words(0))  # has no reply: the next one is that of the next call
                self.assertEqual(client.numbers(READ_STB, 0, 0, 0, 0), (0, 0))
            self.assertEqual(abort.numbers(1, 5), (0,))
            self.assertEqual(abort.call(2)[0], PROC_UNAVAIL)
            abort.program = INTERRUPT
            self.assertEqual(abort.call(0)[0], PROG_UNAVAIL)

    def test_the_interrupt_channel_comes_and_goes_with_its_client(self):
        with socket.create_server((HOST, 0)) as listener, RpcClient() as client:
            port = listener.getsockname()[1]

            def create(who=client, port=port, program=INTERRUPT, version=1, family=0):
                return who.numbers(CREATE_INTR_CHAN, 0x7F000001, port, program, version, family)[0]

            self.assertEqual(client.numbers(DESTROY_INTR_CHAN), (6,))
            wrong = [{"family": 2}, {"program": CORE}, {"version": 2}]
            self.assertEqual([create(**w) for w in wrong], [8, 8, 8])
            self.assertEqual([create(port=p) for p in (0, 1)], [6, 6])
            for family in (0, 1):
                self.assertEqual(create(family=family), 0)
                self.assertEqual(create(family=family), 29)
                self.assertEqual(client.numbers(DESTROY_INTR_CHAN), (0,))
            with listener.accept()[0] as channel:
                self.assertEqual(channel.recv(1), b"")
            self.assertEqual(create(), 0)
            client.die()
            with RpcClient() as another:
                while create(another) == 29:
                    time.sleep(0.01)
                self.assertEqual(another.numbers(DESTROY_INTR_CHAN), (0,))

    def test_a_link_whose_client_is_dead_is_free_at_once_and_empty(self):
        for death in (RpcClient.die, lambda client: client.socket.close()):
            for last_words in (b"*IDN?\n", b"SENS:PN:FREQ:ST", b"CONF:NOIS:SAMP 1048576;:MEAS:NOIS?\n"):
                with RpcClient() as client, RpcClient() as other:
                    client.write(client.open(), last_words)
                    other.write(other.open(), last_words)
                    death(client)
                    death(other)
                    with RpcClient() as third:
                        for lid in (third.open(), third.open()):
                            self.assertEqual(third.ask(lid, b"*CLS;*OPC?"), b"1\n")

    def test_a_destroyed_link_keeps_its_text_for_its_client_alone(self):
        with RpcClient() as client, RpcClient() as other:
            for who, text in ((client, b"1\n"), (other, b"")):
                lid = client.open()
                client.write(lid, b"*OPC?\n")
                client.numbers(DESTROY_LINK, lid)
                self.assertEqual(who.read(who.open(), 100), (0, END, text))

    def test_bytes_that_are_no_calls_disturb_nobody_and_take_no_memory(self):
        call = record(call_message(1, CORE, 0))
        with RpcClient() as witness:
            lid = witness.open()
            pid = instrument_pid(self.last_rig.process)
            before = resident_bytes(pid)
            hostile = [
                b"\xff" * 4096,
                bytes(4096),  # empty fragments
                words(0x7FFFFFFF) + b"x" * 65536,
                words(0x80000000),
                record(b"abc"),
                record(call_message(1, CORE, 0)[:20]),
                record(words(1, 0, 2, CORE, 1, CREATE_LINK, 0, 0xFFFFFFFF, 0, 0)),
                record(call_message(1, CORE, CREATE_LINK, words(1, 0, 0, 0xFFFFFFFC))),
                record(call_message(1, CORE, WRITE, words(1, 0, 0, 0, 0xFFFFFFFF))),
                *[call[:cut] for cut in (1, 3, 4, 20, 43)],
            ]
            with contextlib.ExitStack() as stack:
                for data in hostile * 3:  # and each stays connected
                    client = stack.enter_context(RpcClient())
                    with contextlib.suppress(ConnectionError):
                        client.socket.sendall(data)
                    self.assertEqual(witness.ask(lid, b"*OPC?"), b"1\n")
                    with RpcClient(timeout_s=60) as newcomer:
                        self.assertEqual(newcomer.call(0), (0, b""))
            with RpcClient() as patient:  # a call in pieces, and fragments of any size
                for byte in call:
                    patient.socket.sendall(bytes([byte]))
                patient.xid = 1
                self.assertEqual(patient.reply(), (0, b""))
                message = call_message(1, CORE, 0)
                patient.socket.sendall(b"".join(record(message[i : i + 7], i + 7 >= len(message)) for i in range(0, 40, 7)))
                self.assertEqual(patient.reply(), (0, b""))
            self.assertLess(resident_bytes(pid) - before, GROWTH_BYTES)

    def rig(self, **options):
        self.last_rig = super().rig(**options)
        return self.last_rig


class Waits(ProcessTest):
    def test_who_waits_holds_up_nobody_and_is_released_by_another_link_or_its_own_death(self):
        self.rig(realtime=True)
        with RpcClient() as first, RpcClient() as second, RpcClient(ABORT_PORT, ABORT) as abort:
            lid, other = first.open(), second.open()
            self.assertEqual(first.write(lid, LONG_RUN + b"\n"), (0, len(LONG_RUN) + 1))
            wait = b"CALC:WAIT:AVER ALL,600000\n"
            arguments = words(lid, 1000, 0, 8) + opaque(wait)
            first.send_call(WRITE, arguments)
            for _ in range(3):
                self.assertEqual(second.ask(other, b"*OPC?"), b"1\n")
                self.assertEqual(abort.numbers(1, lid), (0,))
                self.assertEqual(second.numbers(CLEAR, lid, 0, 0, 0), (0,))
            first.socket.settimeout(0.2)
            with self.assertRaises(TimeoutError):
                first.socket.recv(1)
            first.socket.settimeout(60)
            self.assertEqual(second.write(other, b"ABOR\n"), (0, 5))
            self.assertEqual(first.reply(), (0, words(0, len(wait))))
            first.write(lid, b"*CLS;:INIT\n")
            first.send_call(WRITE, arguments)
            first.die()
            with RpcClient() as newcomer:
                self.assertEqual(newcomer.ask(newcomer.open(), b"*OPC?"), b"1\n")
            self.assertEqual(second.ask(other, b"ABOR;:CALC:WAIT:AVER ALL,60000;:*OPC?"), b"1\n")

    def test_all_links_at_once_get_their_own_answers_and_each_can_abort_a_run(self):
        rig = self.rig(realtime=True)
        failures = []

        def converse(ask, question, answer):
            for _ in range(100):
                if (got := ask(question)) != answer:
                    failures.append((question, got))

        def ask_on_console(text):
            seen = len(rig.log.read_bytes())
            os.write(rig._stdin, text + b"\n")
            while not rig.log.read_bytes()[seen:].endswith(b"\n"):
                time.sleep(0.001)
            return rig.log.read_bytes()[seen:]

        with connect() as tcp, RpcClient() as first, RpcClient() as second:
            lids = first.open(), second.open()

            def ask_on_tcp(text):
                tcp.sendall(text + b"\n")
                return receive_line(tcp)

            ways = (
                (ask_on_tcp, b"*OPC?", b"1\n"),
                (lambda text: first.ask(lids[0], text), b"SYST:VERS?", b"1999.0\n"),
                (lambda text: second.ask(lids[1], text), b"*OPC?;SYST:VERS?", b"1;1999.0\n"),
                (ask_on_console, b"*OPC?;*OPC?", b"1;1\n"),
            )
            for ask, question, answer in ways:
                self.assertEqual(ask_on_tcp(LONG_RUN + b";:*OPC?"), b"1\n")
                threads = [threading.Thread(target=converse, args=way) for way in ways]
                for thread in threads:
                    thread.start()
                for thread in threads:
                    thread.join()
                self.assertEqual(failures, [])
                self.assertEqual(ask(b"ABOR;:" + question), answer)
                self.assertEqual(ask_on_tcp(b"CALC:WAIT:AVER ALL,60000;:*OPC?"), b"1\n")
                self.assertNotIn(b"-393416", ask_on_tcp(b"SYST:ERR?"))


class Starts(ProcessTest):
    def test_without_a_port_mapper_or_its_port_the_rest_works_and_a_line_tells(self):
        for place, reason in ((PORT_MAPPER, "no port mapper"), ((HOST, CORE_PORT), "TCP port 1024: Address already in use")):
            with self.subTest(place), socket.create_server(place) as taken:
                stop = threading.Event()

                def answer_nothing():
                    while not stop.is_set():
                        with contextlib.suppress(TimeoutError):
                            taken.accept()[0].close()

                taken.settimeout(0.05)
                thread = threading.Thread(target=answer_nothing)
                thread.start()
                try:
                    rig = self.rig()
                    self.assertIn(f"VXI-11 is off: {reason}", "\n".join(rig.what_is_off()))
                    with connect():
                        pass
                    rig.stop()
                finally:
                    stop.set()
                    thread.join()


def visa(resource="TCPIP::127.0.0.1::inst0::INSTR", **options):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # optional backends that are not installed
        manager = pyvisa.ResourceManager("@py")
    return manager.open_resource(resource, read_termination="\n", write_termination="\n", timeout=60_000, **options)


class RealClients(ProcessTest):
    def test_lxi_talks_to_it_where_the_newline_is_not_at_the_end(self):
        self.rig()
        for words_, pattern in (
            (["scpi", "-a", HOST, "*IDN?\n;"], IDENTITY),
            (["scpi", "-a", HOST, "*IDN?"], r"\A\s*\Z"),  # it takes a newline at the end away
            (["benchmark", "-a", HOST, "-c", "50"], r"Result: [1-9][\d.]* requests/second"),
        ):
            done = subprocess.run(["lxi", *words_], capture_output=True, text=True, timeout=60)
            self.assertRegex(done.stdout, pattern, done.stderr)

    def test_pyvisa_sends_and_reads_every_size_over_both_links_at_once(self):
        self.rig()
        devices = [visa(), visa()]
        failures = []

        def converse(device):
            try:
                for length in (*range(1018, 1031), 2048, 4095, *range(20475, 20485)):
                    question = ("*CLS;" * (length // 5))[: length - 6].rpartition(";")[0] + ";*OPC?"
                    if (answer := device.query(question.ljust(length - 1))) != "1":
                        failures.append((length, answer))
            except Exception as error:
                failures.append(error)

        threads = [threading.Thread(target=converse, args=(device,)) for device in devices]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])
        with self.assertRaisesRegex(Exception, "error creating link: 9"):
            visa()
        devices[1].close()
        device = devices[0]
        for samples in (*range(250, 260, 2), *range(5114, 5124, 2), 1 << 18):  # 4 bytes each, behind a head of 8
            device.write(f"CONF:NOIS:SAMP {samples}")
            for piece in (1024, 20480, 1 << 20):
                device.write("MEAS:NOIS?")
                data = b""
                while len(data) < 8 + 4 * samples:
                    data += device.visalib.read(device.session, piece)[0]
                self.assertEqual((len(data), data[:8]), (8 + 4 * samples, struct.pack("<II", 0, 4 * samples)))
        self.assertEqual(device.query("SYST:ERR?"), '0,"No error"')
        device.close()

    def test_the_example_runs(self):
        self.rig()
        done = subprocess.run([sys.executable, PROJECT / "clients/examples/vxi11_trace.py", HOST], capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stdout, r"(?s)Tolvane AG.*carrier +[\d.]+ MHz.*1 kHz +-1\d\d\.\d dBc/Hz")


if __name__ == "__main__":
    unittest.main()
