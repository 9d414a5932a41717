"""A copy of the tree with faults behind switches, its build, and its tests."""

import json
import os
import re
import resource
import subprocess
import sys
import tempfile
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from .switches import CHOICE, HEADER, switched

ROOT = Path(__file__).resolve().parent.parent.parent
PLACE = Path(os.environ.get("MUTATE_PLACE", ROOT / "build" / "mutate"))
TREE = PLACE / "tree"
BUILD = TREE / "build" / "release" # as in the tree itself: what no fault touches is taken from the compiler's cache
KNOWN = PLACE / "seconds.json" # how long each test takes
NOT_ASKED = re.compile(r"^(abuse|full_disk|sandbox|rooms|command_manual|links_|core_|virtual_adapter|interrupted|device_config|"
                       r"tvmath|tvtypes|virtual_(draw|clock|rtdm|chips))") # what has nothing to do with the folders, and is slow or loud
ERROR = re.compile(r"^(?:\S*/)?((?:src|virtual|tests)/[^:\s]+):(\d+):\d+: (?:fatal )?error:|^\s+\S*?((?:src)/[^:\s]+):(\d+):", re.M)


class Bench:
    """After build(): `switchable` are the numbers of the faults that the one build holds; `reached` who passes them."""

    def __init__(self, jobs, runs, prefix):
        self.runs, self.prefix, self.jobs, self.tests, self.lines = runs, prefix, jobs, {}, {}
        self.switchable, self.reached, self.kills = set(), {}, {}
        self.seconds = json.loads(KNOWN.read_text(encoding="utf-8")) if KNOWN.exists() else {}
        self.lock = threading.Lock()
        self.originals, self.built = {}, {}
        self.renew()
        self.configure()

    def renew(self):
        """The copy becomes what the tree is; what is equal keeps its time, so that little is built again."""
        names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                               capture_output=True, text=True, check=True).stdout.split("\0")
        names = {name for name in names if name and (ROOT / name).is_file()}
        for name in names:
            self.put(name, (ROOT / name).read_bytes())
            (TREE / name).chmod((ROOT / name).stat().st_mode)
        for top in ("src", "virtual", "tests"):
            for path in (TREE / top).rglob("*"):
                if path.is_file() and str(path.relative_to(TREE)) not in names and "__pycache__" not in path.parts:
                    path.unlink()
        sandbox = (TREE / "virtual/sandbox/sandbox").read_text(encoding="utf-8") # tests inside tell what they pass, too
        bind = 'words += ["--bind-try", os.environ.get("MUTANT_REACHED", "/none"), "/run/mutants"]'
        anchor = "    visible = visible_directories(command)\n"
        assert anchor in sandbox
        self.put("virtual/sandbox/sandbox", sandbox.replace(anchor, f"    {bind}\n{anchor}").encode())

    def put(self, name, content):
        """Writes a file of the copy unless it has this content. One that gets back what was built last gets that time, too."""
        target = TREE / name
        if not target.is_file() or target.read_bytes() != content:
            if target.is_file() and name not in self.built:
                self.built[name] = (target.read_bytes(), target.stat().st_mtime_ns)
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
            last, when = self.built.get(name, (None, 0))
            if content == last:
                os.utime(target, ns=(when, when))

    def call(self, command, seconds=3600):
        return subprocess.run(["timeout", "-k", "5", str(seconds), *command], cwd=TREE, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, errors="replace", check=False)

    # ---- building

    def configure(self):
        chooser = PLACE / "mutant.o"
        subprocess.run(["g++", "-O2", "-x", "c++", "-c", "-", "-o", str(chooser)], input=CHOICE, text=True, check=True)
        done = self.call(["cmake", "--preset", "release", "--log-level=ERROR", f"-DCMAKE_CXX_STANDARD_LIBRARIES={chooser}",
                          "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"])
        if done.returncode:
            sys.exit(done.stdout)
        listed = json.loads(subprocess.run(["ctest", "--test-dir", str(BUILD), "--show-only=json-v1"], capture_output=True,
                                           text=True, check=True).stdout)
        programs = {} # of those that are not built yet, which CTest does not tell
        for file in BUILD.rglob("CTestTestfile.cmake"):
            programs |= re.findall(r'^add_test\(\[?=*\[?([\w-]+)\]?=*\]? "([^"]+)"\)$', file.read_text(encoding="utf-8"), re.M)
        for test in listed["tests"]:
            test.setdefault("command", [programs.get(test["name"], "")])
            if test["command"][0] and not NOT_ASKED.match(test["name"]):
                properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
                environment = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []))
                self.tests[test["name"]] = (test["command"], environment, properties.get("WORKING_DIRECTORY", str(BUILD)))

    def targets(self, names):
        """Programs of the build that the tests' commands or environments name."""
        words = [word for name in names for word in [*self.tests[name][0], *self.tests[name][1].values()]]
        return sorted({Path(word).name for word in words if word.startswith(f"{BUILD}/")})

    def ninja(self, names):
        self.built = {}
        built = self.call([*self.prefix, "cmake", "--build", "--preset", "release", f"-j{self.jobs}", "--target", *self.targets(names), "--", "-k0"])
        return built.stdout if built.returncode else ""

    def build(self, faults, names):
        """Builds all faults, {number: (file, kind, at, length, instead)}, as switches; leaves out what does not compile so."""
        left = dict(faults)
        for _ in range(8):
            self.write(left)
            output = self.ninja(names)
            if not output:
                self.switchable = set(self.lines)
                return
            bad = {number for first in ERROR.findall(output) for number in self.blamed(first)}
            if not bad:
                sys.exit(f"does not build:\n{output[-4000:]}")
            print(f"{len(bad)} cannot be switched", flush=True)
            left = {number: fault for number, fault in left.items() if number not in bad}
        sys.exit("does not build")

    def write(self, faults):
        by_file = {}
        for number, (file, *place) in faults.items():
            by_file.setdefault(file, {})[number] = place
        self.lines = {}
        for file in {*by_file, *self.originals}:
            text = self.originals.setdefault(file, (TREE / file).read_text(encoding="utf-8"))
            both, lines = switched(text, by_file.get(file, {}))
            self.put(file, (f"{HEADER}#line 1\n{both}" if lines else text).encode())
            self.lines |= {number: (file, *span) for number, span in lines.items()}

    def blamed(self, error):
        file, line = (error[0], error[1]) if error[0] else (error[2], error[3])
        return [n for n, (name, first, last) in self.lines.items() if file == name and first <= int(line) <= last]

    # ---- testing

    def run(self, name, number=0, reached="", seconds=600.0):
        """Whether a test passes, and how long it took; a test that takes too much time or processor has failed."""
        command, environment, directory = self.tests[name]
        if command[-1].endswith(".py"):
            command = [*command, "-f"]
        env = {**os.environ, **environment, "GTEST_FAIL_FAST": "1", "MUTANT": str(number)}
        if reached:
            env["MUTANT_REACHED"] = reached
        began = time.monotonic()
        done = subprocess.run(["nice", "-n", "19", "timeout", "-k", "2", str(int(seconds)), *command], cwd=directory, env=env, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (int(seconds), int(seconds) + 1)))
        return done.returncode == 0, time.monotonic() - began

    def look_without_fault(self, numbers, names):
        """Runs each test once: how long it takes and which places it passes. One that fails is not asked again."""

        def look(name):
            with tempfile.NamedTemporaryFile(dir=PLACE) as file:
                file.truncate(65536)
                passed, self.seconds[name] = self.run(name, reached=file.name)
                seen = Path(file.name).read_bytes()
            if not passed:
                print(f"{name} fails without a fault; it is left out", flush=True)
                return
            with self.lock:
                for number in numbers:
                    if seen[number]:
                        self.reached.setdefault(number, []).append(name)

        with ThreadPoolExecutor(self.runs) as pool:
            list(pool.map(look, sorted(names)))
        KNOWN.write_text(json.dumps(self.seconds), encoding="utf-8")

    def asked(self, names, folder):
        """The tests in the order in which to ask them: quick ones and those that have caught most first."""
        return sorted(names, key=lambda name: self.seconds.get(name, 5) / (1 + self.kills.get((folder, name), 0)))

    def fails(self, name, number, folder):
        """Whether a test fails with a fault. A slow one is asked a second time without it: it may be the machine."""
        limit = 15 + 6 * self.seconds.get(name, 5)
        passed, took = self.run(name, number, seconds=limit)
        if passed or (number and self.seconds.get(name, 5) > 0.3 and not self.run(name, seconds=4 * limit)[0]):
            return None
        with self.lock:
            self.kills[folder, name] = self.kills.get((folder, name), 0) + 1
        return f"{name} {'hangs' if took >= limit - 1 else 'fails'}"

    def verdict(self, number, folder, pattern):
        """What the tests that pass a switched fault's place say of it."""
        for name in self.asked([name for name in self.reached[number] if re.match(pattern, name)], folder):
            how = self.fails(name, number, folder)
            if how:
                return "caught", how
        return "survived", ""

    def verdict_built(self, fault, folder, steps):
        """The same with a build of its own, of the file as it is but for the fault. The compiler's warnings come first."""
        file, _, at, length, instead = fault
        text = (TREE / file).read_text(encoding="utf-8")
        try:
            self.put(file, (text[:at] + instead + text[at + length:]).encode())
            for names in steps:
                output = self.ninja(names)
                if output:
                    return "not compiled", "\n".join(re.findall(r"^.*error:.*$", output, re.M)[:2])
                for name in self.asked(names, folder):
                    how = self.fails(name, 0, folder)
                    if how:
                        return "caught", how
            return "survived", "built"
        finally:
            self.put(file, text.encode())
