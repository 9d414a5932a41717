"""Writes docs/commands.md and docs/reference/*.md of what the command tree knows (command-facts), what a running
virtual instrument answers, and docs/reference/*.toml. Run it in the project's directory behind a build of the release
preset:

    python3 -m tools.reference          write the pages
    python3 -m tools.reference --check  end with status 1 and the differences if a page is not what would be written
"""

import argparse
import difflib
import sys

from tools.reference.entries import PAGES, PROJECT, BadReference, complain, load, read
from tools.reference.pages import contents_text, errors_text, page_text
from tools.reference.probe import all_facts


def written():
    """{path: text} of every page that is made here."""
    pages, errors = load()
    facts = all_facts(pages)
    entries = [entry for page in pages for entry in page.entries if entry.header in facts]
    there = {e.header for e in entries if facts[e.header].query or facts[e.header].set}
    shown = {e.header for e in entries if "example" in e.section}
    complain("commands without an example", there - shown)
    complain("examples of what the instrument does not have", shown - there)
    places = {entry.header: (page, entry) for page in pages for entry in page.entries}
    preface = read(PAGES / "commands.toml")["preface"]
    about = read(PAGES / "errors.toml")["about"]
    texts = {page.file: page_text(page, facts, places) for page in pages}
    texts[PROJECT / "docs/commands.md"] = contents_text(pages, preface)
    texts[PAGES / "errors.md"] = errors_text(errors, about)
    return texts


def main():
    parser = argparse.ArgumentParser(prog="python3 -m tools.reference")
    parser.add_argument("--check", action="store_true", help="compare instead of writing")
    check = parser.parse_args().check
    try:
        texts = written()
    except BadReference as error:
        print(f"reference: {error}", file=sys.stderr)
        return 1
    stale = False
    for path, text in texts.items():
        if not check:
            path.write_text(text)
            continue
        old = path.read_text() if path.is_file() else ""
        name = str(path.relative_to(PROJECT))
        difference = list(
            difflib.unified_diff(old.splitlines(), text.splitlines(), name, f"{name}, made now", lineterm="")
        )
        print(*difference, sep="\n", end="\n" if difference else "")
        stale = stale or old != text
    if stale:
        print("reference: pages are stale; python3 -m tools.reference writes them", file=sys.stderr)
    return int(stale)


if __name__ == "__main__":
    sys.exit(main())
