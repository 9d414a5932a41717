"""The walls between the folders: what check_rooms.py says of a small tree with one fault at a time."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECKER = Path(__file__).resolve().parent.parent.parent / "tools/check_rooms.py"

TREE = {
    "src/drivers/chip.h": '#include "base/sync.h"\n',
    "src/drivers/chip.cpp": '#include "drivers/chip.h"\n',
    "src/base/sync.h": "#include <mutex>\n",
    "src/measure/settings/limits.h": "",
    "src/measure/run/run.cpp": '#include "drivers/chip.h"\n#include "measure/settings/limits.h"\n',
    "virtual/bus/bus.cpp": "",
}
ROOMS = "src/base|base||\nsrc/drivers|drivers|base|\nsrc/measure|measure||drivers\nvirtual/bus|virtual_bus||\n"


def said(rooms=ROOMS, **changed):
    with tempfile.TemporaryDirectory() as root:
        for name, text in {**TREE, **{path.replace("__", "/"): text for path, text in changed.items()}}.items():
            path = Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        Path(root, "rooms.txt").write_text(rooms)
        done = subprocess.run([sys.executable, CHECKER, f"{root}/rooms.txt", root], capture_output=True, text=True)
    return done.returncode, done.stdout.splitlines()


class Rooms(unittest.TestCase):
    def test_a_tidy_tree_passes(self):
        self.assertEqual(said(), (0, []))

    def test_an_include_upwards_is_told_with_its_line(self):
        status, lines = said(**{"src/drivers/chip.cpp": '#include "drivers/chip.h"\n#include "measure/settings/limits.h"\n'})
        self.assertEqual((status, lines), (1, ["src/drivers/chip.cpp:2: drivers may not see measure (it sees base)"]))

    def test_virtual_hardware_keeps_out_of_the_firmware(self):
        status, lines = said(**{"virtual/bus/bus.cpp": '#include "drivers/chip.h"\n'})
        self.assertEqual((status, lines), (1, ["virtual/bus/bus.cpp:1: virtual_bus may not see drivers (it sees nothing)"]))

    def test_slots_are_filled_where_they_are_registered(self):
        text = 'constexpr SlotRegistrar fill{"drivers"};\n\ntemplate <class T>\nvoid put(T& slot) {\n    fill(slot, no);\n}\n' \
            "void chip_registerSlots() {\n    fill(a, b); // and\n    put(c);\n}\nvoid start() {\n%s    run(); // fill\n}\n"
        self.assertEqual(said(**{"src/measure/run/slots.cpp": text % ""})[1], [])
        late = ["src/measure/run/slots.cpp:12: slots are filled at the start, by functions named after registering"]
        self.assertEqual(said(**{"src/measure/run/slots.cpp": text % "    fill(a, b);\n"}), (1, late))

    def test_declarations_are_neither_idle_nor_wider_than_needed_nor_round(self):
        for rooms, line in (
            (ROOMS.replace("virtual_bus||", "virtual_bus||base"), "virtual_bus declares base and includes nothing of it"),
            (ROOMS.replace("drivers|base|", "drivers||base"), "src/drivers/chip.h:1: a header of drivers shows base, which is declared for its sources alone"),
            (ROOMS.replace("measure||drivers", "measure|drivers|"), "measure shows drivers to everybody, though no header of it needs it"),
            (ROOMS.replace("base||", "base||measure"), "circle: base -> measure -> drivers -> base"),
            (ROOMS.replace("virtual/bus|virtual_bus||\n", "virtual/chips|virtual_chips||\n"), "virtual/bus/bus.cpp:1: no library's folder holds this file"),
        ):
            with self.subTest(line):
                status, lines = said(rooms)
                self.assertEqual(status, 1)
                self.assertIn(line, lines)


if __name__ == "__main__":
    unittest.main()
