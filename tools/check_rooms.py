#!/usr/bin/env python3
"""Holds every include between folders of the tree against what the including folder's library declares, and every
filling of a slot in the firmware against the place for it: a function with "register" in its name, or a template for it.

usage: check_rooms.py ROOMS [ROOT]

ROOMS, written by CMake, has a line a library: folder|name|uses of its headers|uses of its sources alone, folders
relative to ROOT, the lists comma-separated. A folder belongs to the library with the longest matching path. Each
finding is a line with its place; the exit status is 1 if there is one.
"""

import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'\s*#\s*include\s+"([^"]+)"')
REGISTRAR = re.compile(r"\bSlotRegistrar (\w+)\{")
SOURCE_KINDS = {".h", ".cpp"}


class Rooms:
    def __init__(self, text):
        self.folder = {}
        self.public = {}
        self.private = {}
        for line in text.splitlines():
            folder, name, public, private = line.split("|")
            self.folder[folder] = name
            self.public[name] = set(filter(None, public.split(",")))
            self.private[name] = set(filter(None, private.split(",")))

    def of(self, path):
        """The library whose folder holds `path`, or None."""
        for folder in Path(path).parents:
            if str(folder) in self.folder:
                return self.folder[str(folder)]
        return None


def included(root, name):
    """The file that an include of `name` means, relative to `root`; None for those of other projects."""
    for base in ("src", "."):
        if (root / base / name).is_file():
            return (Path(base) / name).as_posix()
    return None


def late_fills(lines):
    """The numbers of lines that fill a slot outside of the functions that the start calls for it."""
    names = {match[1] for line in lines if (match := REGISTRAR.search(line))}
    function = ""
    for number, line in enumerate(lines, 1):
        if re.match(r"\w", line):
            unfinished = function.startswith("template") and not function.endswith(("{", "}", ";"))
            function = function + line if unfinished else line
        elif names & set(re.findall(r"(?<![.>\w])\w+", line.split("//")[0])) and not re.search(
            "^template|egister", function
        ):
            yield number


def findings(root, rooms):
    used = {name: {"header": set(), "source": set()} for name in rooms.public}
    for top in sorted({folder.split("/")[0] for folder in rooms.folder}):
        for path in sorted((root / top).rglob("*")):
            if path.suffix not in SOURCE_KINDS:
                continue
            here = path.relative_to(root).as_posix()
            room = rooms.of(here)
            if room is None:
                yield f"{here}:1: no library's folder holds this file"
                continue
            may = rooms.public[room] | rooms.private[room]
            lines = path.read_text(encoding="utf-8").splitlines()
            for number in late_fills(lines) if top == "src" else ():
                yield f"{here}:{number}: slots are filled at the start, by functions named after registering"
            for number, line in enumerate(lines, 1):
                match = INCLUDE.match(line)
                target = match and included(root, match[1])
                other = target and rooms.of(target)
                if not other or other == room:
                    continue
                used[room]["header" if path.suffix == ".h" else "source"].add(other)
                if other not in may:
                    yield f"{here}:{number}: {room} may not see {other} (it sees {', '.join(sorted(may)) or 'nothing'})"
                elif path.suffix == ".h" and other not in rooms.public[room]:
                    yield f"{here}:{number}: a header of {room} shows {other}, which is declared for its sources alone"
    for room, kinds in sorted(used.items()):
        for idle in sorted((rooms.public[room] | rooms.private[room]) - kinds["header"] - kinds["source"]):
            yield f"{room} declares {idle} and includes nothing of it"
        for shy in sorted((rooms.public[room] & kinds["source"]) - kinds["header"]):
            yield f"{room} shows {shy} to everybody, though no header of it needs it"
    yield from circles(rooms)


def circles(rooms):
    """Libraries that lean on each other, each circle told once."""
    done, path = set(), []

    def visit(room):
        if room in path:
            yield "circle: " + " -> ".join(path[path.index(room) :] + [room])
            return
        if room in done:
            return
        path.append(room)
        for other in sorted(rooms.public.get(room, set()) | rooms.private.get(room, set())):
            yield from visit(other)
        path.pop()
        done.add(room)

    for room in sorted(rooms.public):
        yield from visit(room)


def main():
    rooms = Rooms(Path(sys.argv[1]).read_text(encoding="utf-8"))
    root = Path(sys.argv[2] if len(sys.argv) > 2 else Path(__file__).resolve().parent.parent)
    lines = list(findings(root, rooms))
    print("\n".join(lines), end="\n" if lines else "")
    return 1 if lines else 0


if __name__ == "__main__":
    sys.exit(main())
