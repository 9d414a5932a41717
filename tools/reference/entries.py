"""The commands that the program knows, each with its section of docs/reference/<page>.toml."""

import json
import os
import re
import subprocess
import tomllib
from pathlib import Path
from typing import NamedTuple

from tools.reference.kinds import KINDS

PROJECT = Path(__file__).resolve().parent.parent.parent
PAGES = PROJECT / "docs/reference"
PROGRAM = Path(os.environ.get("COMMAND_FACTS", PROJECT / "build/release/src/scpi/tree/command-facts"))
OLDER_FORMS = "Older forms"
KEYS = {  # of a section
    "text",  # what the row's meaning leaves open
    "takes",  # with "answers": for a handler of no common kind, or where its kind does not tell enough
    "answers",
    "errors",  # {code: cause}, beyond those of the kind
    "see",  # headers of other commands, or pages relative to docs/reference
    "other",  # a value other than the default, where none can be made up: a text, say
    "example",  # in the form of transcript.py; required for what the instrument has
    "alone",  # "ends" or "restarts": what the example does to the instrument
}
PAGE_KEYS = {"title", "intro", "setup"}


class BadReference(Exception):
    pass


class Entry(NamedTuple):
    row: dict  # of command-facts
    section: dict  # of the data file
    page: "Page"

    @property
    def header(self):
        return self.row["header"]

    @property
    def kind(self):
        return KINDS[self.row["kind"]]

    @property
    def query_errors(self):
        """Words without replies are set by the form with '?' as well."""
        return self.kind.set_errors if self.sets_anyway else self.kind.query_errors

    @property
    def sets_anyway(self):
        return self.row["kind"] == "word" and not self.row["replies"]

    @property
    def short(self):
        """The shortest way to send it, without '?'; <n> is 1."""
        if self.page.branch == OLDER_FORMS:
            return self.header
        header = re.sub(r"\[:[^\]]*\]|\[[^\]]*\]:", "", self.header).replace("<n>", "1")
        return re.sub("[a-z]", "", header)

    @property
    def heading(self):
        return self.header + ("?" if self.row["query"] and not self.row["set"] else "")

    @property
    def anchor(self):
        return re.sub(r"[^a-z0-9 _-]", "", self.heading.lower()).replace(" ", "-")


class Page:
    def __init__(self, branch):
        self.branch = branch["title"]
        self.name = re.sub("[^a-z]+", "-", self.branch.split(": ")[0].lower()).strip("-")
        self.file = PAGES / f"{self.name}.md"
        data = read(PAGES / f"{self.name}.toml")
        self.about = {key: data.pop(key) for key in PAGE_KEYS & data.keys()}
        rows = {row["header"]: row for row in branch["rows"] if row["meaning"]}
        complain(f"{self.name}.toml has no section", rows.keys() - data.keys())
        complain(f"{self.name}.toml has a section and the instrument no row", data.keys() - rows.keys())
        self.entries = [Entry(row, data[header], self) for header, row in rows.items()]
        for entry in self.entries:
            check(entry)
        anchors = [entry.anchor for entry in self.entries]
        complain(f"{self.name}.md would have one anchor twice", {a for a in anchors if anchors.count(a) > 1})


def read(path):
    """What a data file holds."""
    name = path.relative_to(PROJECT)
    if not path.is_file():
        raise BadReference(f"there is no {name}")
    try:
        return tomllib.loads(path.read_text())
    except tomllib.TOMLDecodeError as error:
        raise BadReference(f"{name}: {error}") from None


def complain(what, about):
    if about:
        raise BadReference(f"{what}: {', '.join(sorted(map(str, about)))}")


def check(entry):
    row, section = entry.row, entry.section
    complain(f"{entry.header}: unknown keys", section.keys() - KEYS)
    switch = row["kind"] == "onOff"
    if switch != (row["parameters"] == "ON|OFF") or row["limits"] != ("MIN" in row["parameters"]):
        raise BadReference(f"{entry.header}: its row says '{row['parameters']}', its handler takes something else")
    if row["kind"] == "special":
        needed = ({"takes"} if row["parameters"] else set()) | ({"answers"} if row["query"] else set())
        complain(f"{entry.header}: its handler is of no common kind, so its section must tell", needed - section.keys())


def load():
    """All pages. Raises BadReference where rows and sections do not fit together."""
    facts = json.loads(subprocess.run([PROGRAM], capture_output=True, check=True, text=True).stdout)
    pages = [Page(branch) for branch in facts["branches"]]
    return pages, load_errors(facts["errors"])


def load_errors(entries):
    """[(entry as the queue answers it, cause, remedy), ...]"""
    data = read(PAGES / "errors.toml")
    codes = {str(error["code"]): error["entry"] for error in entries if error["code"] != 0}
    complain("errors.toml has no section", codes.keys() - data.keys())
    complain("errors.toml has a section and the instrument no such error", data.keys() - codes.keys() - {"about"})
    return [(entry, data[code]["cause"], data[code]["remedy"]) for code, entry in codes.items()]
