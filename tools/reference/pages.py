"""The pages of the reference as Markdown."""

import re

from tools.reference.probe import pretty

UNITS = ("Hz", "dB", "V", "A", "Hz/V", "percent")
WRITTEN = "<!-- Made by tools/reference of the command tree, a running instrument and {}. Do not edit. -->\n\n"
POSITIONS = {
    0: "generation",
    1: "model",
    5: "controller board",
    6: "analog boards",
    7: "DUT supply",
    9: "acquisition board",
    10: "internal sources",
    11: "GPIB",
}


def code(text):
    return f"`{text}`"


def cell(text):
    return text.replace("|", "\\|")


def unit_of(entry):
    found = re.search(r"<([^>]*)>", entry.row["parameters"])
    return found[1] if found and found[1] in UNITS else ""


def forms(entry, facts):
    short = entry.short
    texts = []
    if entry.row["set"]:
        parameters = entry.row["parameters"]
        texts.append(code(f"{short} {parameters}" if parameters else short))
    if entry.row["query"]:
        query = f"{short}? [MIN|MAX]" if entry.row["limits"] else f"{short}?"
        if entry.row["parameters"] and not (entry.row["set"] or entry.row["limits"]):
            query += f" {entry.row['parameters']}"
        texts.append(code(query))
    if facts and not facts.query and not facts.set:
        return f"{', '.join(texts)}: **not in this instrument**, error -113"
    if facts and entry.row["set"] and not facts.set:
        texts[0] += " (not in this instrument, error -113)"
    if facts and entry.row["query"] and not facts.query:
        texts[-1] += " (not in this instrument, error -113)"
    return ", ".join(texts)


def takes(entry):
    row = entry.row
    text = entry.section.get("takes", entry.kind.takes if row["set"] else "")
    if not row["parameters"] and "takes" not in entry.section:
        return "nothing"
    if row["kind"] == "word":
        words = ", ".join(map(code, row["parameters"].split("|")))
        return f"{text}: {words}"
    if row["limits"] and row["set"]:
        text += "; `MIN`, `MAX`; beyond the range the end of the range, without an error"
    return text


def answers(entry):
    if "answers" in entry.section:
        return entry.section["answers"]
    if entry.sets_anyway:
        return "nothing: the form with `?` takes the same words and sets as well"
    if entry.row["kind"] == "word":
        return ", ".join(map(code, entry.row["replies"].split("|")))
    return entry.kind.answers


def default(entry, facts):
    value = (
        code(facts.default) if entry.row["kind"] in ("word", "text", "onOff") else pretty(facts.default, unit_of(entry))
    )
    if facts.reset is None:
        return "At start", value
    return ("After `*RST`", value) if facts.reset else ("At start", f"{value}; `*RST` leaves it")


def errors(entry, facts):
    found = {}
    row = entry.row
    present = facts is None or facts.set or facts.query
    for asked, table in ((row["set"], entry.kind.set_errors), (row["query"], entry.query_errors)):
        to_query = " to the query" if row["set"] and table is not entry.kind.set_errors else ""
        for number, cause, _ in table if asked and present else ():
            if not row["limits"]:
                cause = cause.replace(" other than MIN or MAX", "")
            found.setdefault(number, []).append(cause + to_query)
    for number, cause in entry.section.get("errors", {}).items():
        found.setdefault(int(number), []).append(cause)
    causes = ((number, ", ".join(dict.fromkeys(found[number]))) for number in sorted(found, reverse=True))
    return "; ".join(f"{number} {cause}" for number, cause in causes)


def missing_units(facts):
    return ", ".join(f"{character} at position {at} ({POSITIONS[at]})" for at, character in facts.missing)


def link_to(name, places):
    """A link to a command or to a page of the documentation."""
    if name in places:
        page, entry = places[name]
        return f"[{code(entry.heading)}]({page.name}.md#{entry.anchor})"
    return f"[{name.removesuffix('.md').rsplit('/', 1)[-1]}]({name})"


def entry_text(entry, facts, places):
    section = entry.section
    lines = [f"## {code(entry.heading)}", "", sentence(entry.row["meaning"]), ""]
    if "text" in section:
        lines += [section["text"].strip(), ""]
    table = [("Send", forms(entry, facts)), ("Takes", takes(entry))]
    if facts and facts.limits:
        table.append(("Range", " to ".join(pretty(end, unit_of(entry)) for end in facts.limits)))
    if facts and facts.default is not None:
        table.append(default(entry, facts))
    if entry.row["query"] or "answers" in section:
        table.append(("Answers", answers(entry)))
    table.append(("Errors", errors(entry, facts)))
    if facts and facts.in_run:
        table.append(("During a run", facts.in_run))
    if facts and facts.missing:
        table.append(
            ("Units", f"-113 on those with {missing_units(facts)} in the [serial number](../serial-numbers.md)")
        )
    if "see" in section:
        table.append(("See also", ", ".join(link_to(name, places) for name in section["see"])))
    lines += ["| | |", "|---|---|", *(f"| {name} | {cell(text)} |" for name, text in table if text), ""]
    if "example" in section:
        lines += ["```", section["example"].strip("\n"), "```", ""]
    return "\n".join(lines)


def sentence(text):
    return text if text.endswith(".") else text + "."


def page_text(page, facts, places):
    lines = [WRITTEN.format(f"{page.name}.toml") + f"# {page.branch}", "", page.about["intro"].strip(), ""]
    if "setup" in page.about:
        lines += [
            "The examples of this page come behind these commands:",
            "",
            "```",
            page.about["setup"].strip("\n"),
            "```",
            "",
        ]
    lines += [
        "[All commands](../commands.md), [how to write them](../commands.md#how-to-write-them). Indented lines of the "
        "examples are answers; `…` and `<ms>` stand for what differs, and `≈` for about.",
        "",
    ]
    for entry in page.entries:
        lines.append(f"- [{code(entry.heading)}](#{entry.anchor})")
    lines.append("")
    lines += [entry_text(entry, facts.get(entry.header), places) for entry in page.entries]
    return "\n".join(lines).rstrip("\n") + "\n"


def contents_text(pages, preface):
    lines = [WRITTEN.format("commands.toml") + preface.strip(), ""]
    for page in pages:
        lines += [f"### [{page.branch}](reference/{page.name}.md)", "", "| Command | |", "|---|---|"]
        for entry in page.entries:
            place = f"reference/{page.name}.md#{entry.anchor}"
            lines.append(f"| [{cell(code(entry.heading))}]({place}) | {cell(entry.row['meaning'])} |")
        lines.append("")
    return "\n".join(lines).rstrip("\n") + "\n"


def errors_text(errors, about):
    lines = [
        WRITTEN.format("errors.toml") + "# Errors",
        "",
        about.strip(),
        "",
        "| Entry | Cause | Remedy |",
        "|---|---|---|",
    ]
    lines += [f"| {code(entry)} | {cell(cause)} | {cell(remedy)} |" for entry, cause, remedy in errors]
    return "\n".join(lines) + "\n"
