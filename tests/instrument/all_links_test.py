"""All links of one instrument at once: answers, order, icons, and an address that changes.

ALL_LINKS_COMMANDS is the number of commands (a million: four seconds), ALL_LINKS_SEED that of their order."""

import os
import subprocess
import time
import unittest

from clients.panel_link import PanelLink
from tests.instrument.process import ProcessTest, connect, receive_line
from tests.instrument.rpc_client import RpcClient
from tests.instrument.usbip_client import Usbtmc

COMMANDS = os.environ.get("ALL_LINKS_COMMANDS", "50000" if os.environ.get("SANITIZED") else "300000")
SEED = os.environ.get("ALL_LINKS_SEED", "1")
PATIENCE_S = 60
BUS_S, VXI_S = 2, 8  # for which an icon stays at least


class AllLinks(ProcessTest):
    def test_answers_never_mix_keep_their_order_and_each_link_ends_runs(self):
        rig = self.rig(realtime=True)
        before = rig.log.read_bytes()
        program = [os.environ["ALL_LINKS"], COMMANDS, SEED, str(rig.port), str(rig.panel), str(rig._stdin), str(rig.log)]
        done = subprocess.run(program, pass_fds=[rig._stdin], capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        print(done.stdout, end="")
        with connect() as tcp:
            tcp.sendall(b"SYST:ERR?\n")
            self.assertEqual(receive_line(tcp), b'0,"No error"\n')
        self.assertEqual(rig.log.read_bytes()[: len(before)], before)

    def test_icons_come_with_the_first_byte_and_go_when_their_time_is_over(self):
        rig = self.rig()
        with PanelLink(rig.panel, PATIENCE_S) as panel, connect() as tcp:
            def await_icon(name, state):
                while panel.picture.get(name, "0") != state:
                    panel.receive()

            await_icon("LAN", "1")
            tcp.close()
            await_icon("LAN", "0")
            with Usbtmc() as usb, RpcClient() as vxi:
                lid = vxi.open()
                asked = time.monotonic()
                self.assertEqual(vxi.ask(lid, b"*OPC?"), b"1\n")
                self.assertEqual(usb.query(b"*OPC?"), b"1\n")
                await_icon("LAN", "1")
                await_icon("USB", "1")
                await_icon("USB", "0")
                self.assertGreaterEqual(time.monotonic() - asked, BUS_S)
                self.assertEqual(panel.picture["LAN"], "1")
                await_icon("LAN", "0")
                self.assertGreaterEqual(time.monotonic() - asked, VXI_S)
                self.assertEqual((vxi.ask(lid, b"*OPC?"), usb.query(b"*OPC?")), (b"1\n", b"1\n"))

    def test_an_address_that_changes_drops_the_tcp_client_alone(self):
        def ip(*words):
            subprocess.run(["ip", *words], check=True)

        rig = self.rig()
        with PanelLink(rig.panel, PATIENCE_S) as panel, connect(PATIENCE_S) as tcp, Usbtmc() as usb, RpcClient() as vxi:
            lid = vxi.open()
            ip("link", "add", "eth0", "type", "veth", "peer", "name", "elsewhere")
            self.addCleanup(ip, "link", "del", "eth0")
            ip("addr", "add", "10.1.2.3/24", "dev", "eth0")
            ip("link", "set", "eth0", "up")
            self.assertEqual(tcp.recv(1), b"")
            while panel.picture.get("SYST:COMM:SOCK:ADDR") != '"10.1.2.3"':
                panel.receive()
            self.assertEqual((vxi.ask(lid, b"*OPC?"), usb.query(b"*OPC?"), panel.ask("*OPC?")), (b"1\n",) * 3)
            with connect():
                pass


if __name__ == "__main__":
    unittest.main()
