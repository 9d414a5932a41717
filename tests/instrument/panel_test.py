"""The front panel of the whole instrument: what it shows and by which commands, and what its keys do."""

import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time
import unittest

import pyte

from clients.panel_link import PanelError, PanelLink, Refused
from tests.instrument.process import PROJECT, ProcessTest, connect, instrument_pid, receive_line, resident_bytes

PATIENCE_S = 60
GROWTH_BYTES = (32 if os.environ.get("SANITIZED") else 8) << 20
TERMINAL = 100, 30  # columns, lines
F1, F2, F3, F4, F5, F6 = (b"\x1bOP", b"\x1bOQ", b"\x1bOR", b"\x1bOS", b"\x1b[15~", b"\x1b[17~")
OLDER_WITH_GPIB = "220-236306910-0001"
WITHOUT = "220-136306910-0001"

# By a command on TCP: the items that it changes.
CAUSES = (
    ("FREQ 123456789.5", {"FREQ": "123456789.50000000000000000000"}),
    ("SOUR:FREQ:FIX 10 MHz", {"FREQ": "10000000.00000000000000000000"}),
    ("OUTP OFF", {"OUTP:STAT": "0", "RF": "off"}),
    ("OUTP1 ON", {"OUTP:STAT": "1", "RF": "on"}),
    ("LFO:STAT ON", {"LFO:STAT": "1"}),
    ("LFO:AMPL 0.5", {"LFO:AMPL": "0.500000000"}),
    ("LFO:FREQ 1 kHz", {"LFO:FREQ": "1000.00000000000000000000"}),
    ("LFO:SHAP TRI", {"LFO:SHAP": "TRI"}),
    ("LFO:SHAP SQU", {"LFO:SHAP": "SQU"}),
    ("LFO:SHAP SINE", {"LFO:SHAP": "SINE"}),
    ("LFO:SOUR PULM", {"LFO:SOUR": "PULM"}),
    ("LFO:SOUR LFG", {"LFO:SOUR": "LFG"}),
    ("LFO:STAT OFF", {"LFO:STAT": "0"}),
    ("ROSC:SOUR EXT", {"ROSC:SOUR": "EXT"}),
    ("ROSC:SOUR INT", {"ROSC:SOUR": "INT"}),
    ("SENS:ADC:ROSC:SOUR EXT", {"ROSC:LOCK": "0"}),
    ('SYST:COMM:GPIB:ADDR "9"', {"SYST:COMM:GPIB:ADDR": "9"}),
    ('SYST:COMM:GPIB:ADDR "18"', {"SYST:COMM:GPIB:ADDR": "18"}),
    ("SYST:LOCK", {"LOCK": "1"}),
    ("SYST:LOCK:REL", {"LOCK": "0"}),
    ("*RCL7", {"*OPC": "1"}),
    ("DIAG:HC PTR:POW", {"QUES:POW": "1"}),
    ("DIAG:HC NTR:POW", {"QUES:POW": "0"}),
    ("DIAG:HC SYST:COMM:CONN USB", {"USB": "1"}),
)


class Panel(ProcessTest):
    def start(self, **options):
        """A rig and its panel, which shows its first picture."""
        rig = self.rig(**options)
        link = PanelLink(rig.panel, PATIENCE_S)
        self.addCleanup(link.close)
        while not link.complete:
            link.receive()
        return rig, link

    def await_item(self, link, item, value):
        while link.picture.get(item) != value:
            link.receive()

    def command(self, client, line):
        client.sendall(f"{line};:SYST:ERR?\n".encode())
        self.assertEqual(receive_line(client), b'0,"No error"\n', line)

    def test_each_setting_is_shown_by_either_kind_of_panel(self):
        for serial in (None, OLDER_WITH_GPIB):
            with self.subTest(serial):
                rig, link = self.start(serial=serial)
                self.assertEqual(link.picture["FREQ"], "100000000.00000000000000000000")
                self.assertAlmostEqual(float(link.picture["POW"]), 8, delta=0.5)
                self.assertEqual(link.picture["SYST:COMM:SOCK:ADDR"], '"0.0.0.0"')
                self.assertEqual((link.picture["QUES:POW"], link.picture["ready_lamp"]), ("0", "on"))
                with connect() as client:
                    self.await_item(link, "LAN", "1")
                    self.await_item(link, "remote_lamp", "on")
                    for line, items in CAUSES:
                        self.command(client, line)
                        for item, value in items.items():
                            self.await_item(link, item, value)
                self.await_item(link, "LAN", "0")
                self.await_item(link, "remote_lamp", "off")
                link.close()
                rig.stop()

    def test_keys_are_commands_whose_settings_come_back_to_others_only(self):
        _, link = self.start()
        shown = link.picture["FREQ"]
        self.assertEqual(link.ask("FREQ 2e8;FREQ?"), b"200000000.00000000000000000000\n")
        self.assertEqual(link.ask("OUTP OFF"), b"")
        self.assertEqual((link.picture["FREQ"], link.picture["RF"]), (shown, "off"))
        self.assertEqual(link.picture["OUTP:STAT"], "1")
        with connect() as client:
            for key, reason in (("x" * 251, "too long"), ("DATA #15", "no text"), ("\tA", "no text")):
                with self.assertRaisesRegex(Refused, reason):
                    link.ask(key)
            self.assertEqual(link.ask(";;" + " " * 200 + "*OPC?"), b"1\n")
            self.command(client, "SYST:LOCK")
            self.await_item(link, "LOCK", "1")
            with self.assertRaisesRegex(Refused, "locked"):
                link.ask("OUTP ON")
            self.command(client, "SYST:LOCK:REL")
            self.await_item(link, "LOCK", "0")
            self.assertEqual(link.ask("OUTP?"), b"0\n")
        self.assertEqual(link.ask("NOSUCH;:SYST:ERR?"), b'-113,"Undefined header"\n')

    def test_keys_work_during_a_run_and_its_waits(self):
        rig, link = self.start(realtime=True)
        with connect(PATIENCE_S) as client, PanelLink(rig.panel, PATIENCE_S) as other:
            client.sendall(b"SENS:PN:FREQ:STAR 1;STOP 1E6;:SENS:PN:CORR 10000;:INIT;:CALC:WAIT:AVER ALL;:*OPC?\n")
            while link.ask("FREQ 2e8;:SYST:ERR?") != b'-221,"Settings conflict"\n':
                pass  # the run has not begun
            # Two users at once: each has its own answers, in their order.
            answers = []
            for n in range(50):
                other.press(f"*ESE {n};*ESE?", answers.append)
                self.assertEqual(link.ask("SYST:VERS?;:SYST:COMM:GPIB:ADDR?;:*OPC?"), b'1999.0;"18";1\n')
            while len(answers) < 50:
                other.receive()
            self.assertEqual(answers, [f"{n}\n".encode() for n in range(50)])
            self.assertEqual(link.ask("ABOR"), b"")
            self.assertEqual(receive_line(client), b"1\n")

    def test_a_trace_comes_through_the_panel_which_shows_what_the_search_has_found(self):
        _, link = self.start()
        link.ask("FREQ 2e8;OUTP OFF")
        link.ask("SENS:PN:FREQ:STAR 1E3;STOP 1E6;:SENS:PN:CORR 10;:INIT")
        self.assertEqual(link.ask("CALC:WAIT:AVER ALL;:SYST:ERR?"), b'0,"No error"\n')
        self.await_item(link, "OUTP:STAT", "1")
        while not link.picture["FREQ"].startswith("1000"):  # with what the carrier is off by
            link.receive()
        traces = []
        for which in ("FREQ", "NOIS"):
            block = link.ask(f"CALC:PN:TRAC:{which}?")
            digits = int(block[1:2])
            size = int(block[2 : 2 + digits])
            self.assertEqual(len(block), 2 + digits + size)
            traces.append(struct.unpack(f"<{size // 4}f", block[2 + digits :]))
        self.assertEqual(len(traces[0]), len(traces[1]))
        self.assertGreater(len(traces[0]), 100)
        self.assertEqual(link.ask("*OPC?"), b"1\n")

    def test_users_come_and_go_and_those_who_do_not_read_cost_nothing(self):
        rig, link = self.start()
        pid = instrument_pid(rig.process)
        before = resident_bytes(pid)
        for words in (b"*IDN?\n" * 5000, b"\t\n" * 16000, b"x" * 900 + b"\n", b"x" * (4 << 20)):
            idlers = [PanelLink(rig.panel, PATIENCE_S) for _ in range(8)]
            for idler in idlers:
                try:
                    idler._socket.sendall(words)
                except OSError:  # it was sent away
                    pass
            self.assertEqual(link.ask("FREQ 2e8;*OPC?"), b"1\n")
            for idler in idlers:
                idler.close()
        self.assertLess(resident_bytes(pid), before + GROWTH_BYTES)
        for n in range(40):  # more than fit at once, each with a key under way
            leaver = PanelLink(rig.panel, PATIENCE_S)
            leaver.press(f"*ESE {n}")
            leaver.close()
        self.assertEqual(link.ask("*OPC?"), b"1\n")
        rig.stop()
        with self.assertRaises((PanelError, OSError)):
            while True:
                link.receive()

    def test_the_terminal_shows_a_run_and_its_keys_act(self):
        rig = self.rig(realtime=True)
        screen = pyte.Screen(*TERMINAL)
        stream = pyte.ByteStream(screen)
        pid, terminal = pty.fork()
        if pid == 0:
            os.environ["TERM"], os.environ["LANG"] = "xterm", "C.UTF-8"
            os.execv(sys.executable, [sys.executable, "-B", str(PROJECT / "clients/panel.py"), str(rig.state)])
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", *reversed(TERMINAL), 0, 0))

        def await_text(pattern):
            deadline = time.monotonic() + PATIENCE_S
            while not re.search(pattern, "\n".join(screen.display)):
                self.assertLess(time.monotonic(), deadline, "\n".join(screen.display))
                if select.select([terminal], [], [], 1)[0]:
                    stream.feed(os.read(terminal, 1 << 16))

        await_text("F6  abort")
        await_text("● ready")
        for keys, shown in (
            (F2 + b"2k\r", "2 kHz to"),
            (F3 + b"1M\r", "to 1 MHz"),
            (F4 + b"nonsense\r", "is no number"),
            (F4 + b"20\r", "correlation 0/20"),
            (F1 + b"100M\r", "correlation 0/20"),
            (F5, "correlation 20/20(.|\n)*[\u2801-\u28ff]{3}"),
            (F4 + b"10000\r", "correlation 20/10000"),
        ):
            os.write(terminal, keys)
            await_text(shown)
        with PanelLink(rig.panel, PATIENCE_S) as link:
            for key, answer in ((F5, b'-221,"Settings conflict"\n'), (F6, b'0,"No error"\n')):
                os.write(terminal, key)
                while link.ask("OUTP ON;:SYST:ERR?") != answer:
                    pass  # the hardware is the run's from F5 to F6
        os.write(terminal, b"q")
        self.assertEqual(os.waitpid(pid, 0)[1], 0)

    def test_a_unit_without_a_panel_says_so(self):
        rig = self.rig(serial=WITHOUT)
        self.assertNotIn("panel", dict(rig.places()))
        with connect() as client:
            client.sendall(b"SYST:LOCK;:SYST:ERR?\n")
            self.assertEqual(receive_line(client), b'-113,"Undefined header"\n')
            self.command(client, "*RCL7;:FREQ 2e8;:OUTP ON")


if __name__ == "__main__":
    unittest.main()
