"""The sandbox: what it shows, what it keeps from the command, and how it starts and ends one."""

import os
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
SANDBOX = PROJECT / "virtual/sandbox/sandbox"


def sandbox(*words, script):
    """Runs a shell script inside and returns the finished process."""
    return subprocess.run([SANDBOX, *words, "--", "sh", "-c", script], capture_output=True, text=True, timeout=30)


class Sandbox(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.state = Path(self.directory.name) / "unit"

    def inside(self, script, *words):
        return sandbox("--state", self.state, *words, script=script)

    def test_the_unit_writes_its_own_trees_and_nothing_else(self):
        units = ("/tolvane", "/tolvane/cust/list", "/media/ram", "/root", "/etc/network", "/tmp")
        hosts = ("/usr", "/usr/bin", PROJECT, PROJECT / "virtual")
        for directory in (*units, *hosts, "/", "/etc", "/bin", "/var/tmp"):
            status = self.inside(f"echo x > {directory}/sandbox-probe").returncode
            if directory in units:
                self.assertEqual(status, 0, directory)
            if directory in hosts:
                self.assertNotEqual(status, 0, directory)
            self.assertFalse((Path(directory) / "sandbox-probe").exists(), f"{directory} of the host was written")
        self.assertTrue((self.state / "tolvane/cust/list/sandbox-probe").exists())

    def test_nothing_of_the_host_can_be_changed_from_inside_whoever_starts_it(self):
        host_name = os.uname().nodename
        starters = [[]]
        if os.getuid() == 0:  # an ordinary user as well
            os.chmod(self.directory.name, 0o777)
            user = ["setpriv", "--reuid=1000", "--regid=1000", "--clear-groups"]
            if subprocess.run([*user, "test", "-x", SANDBOX]).returncode == 0:  # not in a project below /root
                starters.append(user)
        for starter in starters:
            for words in ([], ["--private-network"]):
                done = subprocess.run(
                    [*starter, SANDBOX, "--state", f"{self.state}{len(starter)}", *words, "--", "sh", "-c"]
                    + [f"echo changed > /proc/sys/kernel/hostname; python3 -B {PROJECT}/tests/instrument/host_writes.py"],
                    stdin=subprocess.DEVNULL,
                    capture_output=True,
                    text=True,
                    timeout=60,
                )
                self.assertEqual(os.uname().nodename, host_name, (starter, words))
                *changed, last = done.stdout.splitlines() or [done.stderr]
                self.assertEqual(changed, [], (starter, words))
                self.assertGreater(int(last.removeprefix("tried ")), 2000)

    def test_root_inside_cannot_make_the_host_writable(self):
        for words in ((), ("--private-network",)):
            done = self.inside(
                "mount -o remount,rw /usr || mount -t tmpfs none /mnt || umount /usr; echo tried", *words
            )
            self.assertEqual(done.stdout, "tried\n")
            self.assertNotEqual(self.inside("touch /usr/sandbox-probe", *words).returncode, 0)

    def test_a_unit_survives_its_power_cycle_and_factory_data_is_laid_down_once(self):
        serial = self.inside("cat /tolvane/dev/sn; echo kept > /tolvane/cust/sav0; echo 300.0 > /tolvane/dev/vcosensa")
        self.assertEqual(serial.stdout, "220-336306910-0001\n")
        again = self.inside(
            "cat /tolvane/dev/sn /tolvane/cust/sav0 /tolvane/dev/vcosensa", "--serial", "220-336306910-0077"
        )
        self.assertEqual(again.stdout, "220-336306910-0077\nkept\n300.0\n")

    def test_a_fresh_unit_is_whole_or_absent_wherever_its_making_was_cut_off(self):
        factory = SANDBOX.with_name("factory")
        lines = factory.read_text().splitlines(keepends=True)

        def files(state):
            return {str(path.relative_to(state)): path.read_bytes() for path in state.rglob("*") if path.is_file()}

        subprocess.run([factory, self.state], check=True)
        whole = files(self.state)
        for count in (i for i, line in enumerate(lines) if line[0] not in "#\n"):
            state = Path(self.directory.name) / f"unit{count}"
            subprocess.run(["sh", "-c", "".join(lines[:count]), factory, state], stderr=subprocess.DEVNULL)
            subprocess.run([factory, state], check=True)
            self.assertEqual(files(state), whole, f"after the first {count} lines")

    def test_protection_scripts_and_stand_ins_leave_their_marks(self):
        self.inside("/bin/write_tv; /bin/write_root; /bin/protect_root; shutdown -h now; su -c 'iptables -t nat'")
        marks = {name: (self.state / "unit/protection" / name).read_text() for name in ("tv", "root")}
        self.assertEqual(marks, {"tv": "writable\n", "root": "protected\n"})
        calls = (self.state / "unit/calls.log").read_text().splitlines()
        expected = ["write_tv", "write_root", "protect_root", "shutdown -h now", "su -c iptables -t nat"]
        self.assertEqual(calls, expected)

    def test_the_shell_lines_of_the_network_set_up_see_the_units_interface(self):
        mac = self.inside("ifconfig eth0 | sed -n 's/.*HWaddr //p'", "--private-network").stdout.strip()
        self.assertRegex(mac, "^([0-9a-f]{2}:){5}[0-9a-f]{2}$")
        route = "route -n | grep 'UG' | awk '{print $2}'"
        self.assertEqual(self.inside(route, "--private-network").stdout, "192.168.7.1\n")
        static = "printf 'iface eth0 inet static\\n address 10.1.2.3\\n netmask 255.255.0.0\\n gateway 10.1.0.1\\n'"
        moved = self.inside(
            f"{static} > /etc/network/interfaces; /etc/init.d/ifplugd.init start; ip -4 -br addr show eth0; {route}",
            "--private-network",
        ).stdout
        self.assertIn("10.1.2.3/16", moved)
        self.assertTrue(moved.endswith("10.1.0.1\n"), moved)

    def test_the_exit_status_is_the_commands(self):
        for script, status in (("exit 0", 0), ("exit 7", 7), ("kill -SEGV $$", 128 + signal.SIGSEGV)):
            self.assertEqual(self.inside(script).returncode, status, script)

    def test_signals_reach_the_command_itself(self):
        for number, name in ((signal.SIGINT, "INT"), (signal.SIGTERM, "TERM")):
            script = f"trap 'echo caught {name}; exit 5' {name}; echo up; while :; do sleep 0.02; done"
            process = subprocess.Popen(
                [SANDBOX, "--state", self.state, "--", "sh", "-c", script], stdout=subprocess.PIPE, text=True
            )
            with process:
                self.assertEqual(process.stdout.readline(), "up\n")
                process.send_signal(number)
                self.assertEqual(process.stdout.read(), f"caught {name}\n")
                self.assertEqual(process.wait(10), 5)

    def test_the_command_ends_when_the_sandbox_is_killed(self):
        reader, writer = os.pipe()
        process = subprocess.Popen(
            [SANDBOX, "--state", self.state, "--", "sh", "-c", "echo up; exec sleep 60"], stdout=writer
        )
        os.close(writer)
        with os.fdopen(reader) as output:
            self.assertEqual(output.readline(), "up\n")
            process.kill()
            process.wait()
            self.assertEqual(output.read(), "")  # the end of the stream: nobody holds it open any more

    def test_shutdown_restarts_or_ends_the_unit_where_it_may(self):
        script = "[ -e /tolvane/second ] && echo second && exit 3; touch /tolvane/second; shutdown -r now; sleep 20"
        done = self.inside(script, "--power")
        self.assertEqual((done.stdout, done.returncode), ("second\n", 3))
        self.assertEqual(self.inside("shutdown -h now; sleep 20", "--power").returncode, 128 + signal.SIGTERM)
        self.assertEqual(self.inside("shutdown -r now; echo goes on").stdout, "goes on\n")

    def test_a_unit_without_a_state_directory_leaves_nothing_behind(self):
        environment = {**os.environ, "TMPDIR": self.directory.name}
        subprocess.run([SANDBOX, "--", "true"], check=True, env=environment)
        self.assertEqual(os.listdir(self.directory.name), [])


if __name__ == "__main__":
    unittest.main()
