"""What only a running instrument knows of its commands: defaults, ranges, units that have them, what a run refuses."""

import re
from typing import NamedTuple

from tools.reference.entries import OLDER_FORMS, BadReference
from tools.reference.link import Link
from virtual.app.rig import HOST, PROJECT, Rig

DUT = PROJECT / "virtual/duts/default.toml"
DEFAULT_UNIT = "220-336306910-0001"
# Units that differ from the default one in one character: its position and what it is.
OTHER_UNITS = ((0, "1"), (1, "4"), (5, "4"), (6, "2"), (6, "3"), (7, "2"), (9, "2"), (10, "0"), (10, "7"), (11, "0"))
ABSENT = (-113, -241)
SETTINGS_CONFLICT = -221
TIMED_OUT = -393416
ENDS_RUN = "ends the run, as `ABORt` does"
NUMBERS = ("number", "integer", "natural", "frequency", "power", "seconds")
PLAIN_QUERY = (*NUMBERS, "word", "onOff", "text", "reading")
SETTING_KINDS = ("number", "integer", "natural", "frequency", "word", "onOff")
LONG_RUN = "SENS:PN:FREQ:STAR 1;STOP 1e6;:SENS:PN:CORR 10000;:SENS:FREQ:EXEC;:INIT"


class Facts(NamedTuple):
    query: bool  # whether the default unit answers it
    set: bool
    missing: tuple  # (position, character) of units that lack a form that the default one has
    default: str  # of a setting; None where it cannot be read
    reset: bool  # whether *RST restores the default; None if that cannot be told
    limits: tuple  # (least, greatest), or None
    in_run: str  # what happens to it during a run; None: it reaches the next one


def has_query(link, entry):
    plain = entry.row["kind"] in PLAIN_QUERY
    return entry.row["query"] and link.ask(f"{entry.short}?" if plain else f"{entry.short}? x")[1] not in ABSENT


def has_set(link, entry):
    """A command that is there looks at its parameters first: none where it wants one, one where it wants none."""
    wants = entry.row["parameters"] and entry.row["kind"] not in ("special", "action")
    return entry.row["set"] and link.ask(entry.short if wants else f"{entry.short} x")[1] not in ABSENT


def is_setting(entry):
    return entry.row["query"] and entry.row["set"] and entry.row["parameters"] and entry.row["kind"] != "special"


def another_value(entry, value, limits):
    """A parameter that means something else than `value`."""
    if "other" in entry.section:
        return entry.section["other"]
    kind = entry.row["kind"]
    if kind == "onOff":
        return str(1 - int(value))
    if kind == "word":
        replies = entry.row["replies"].split("|")
        words = entry.row["parameters"].split("|")
        return next((word for word, reply in zip(words, replies) if reply != value), None)
    if limits:
        return "MIN" if float(value) != float(limits[0]) else "MAX"
    return f"{float(value) + 1:g}" if kind in NUMBERS else None


def default_of(link, entry, limits):
    """(default, whether *RST restores it)"""
    ask = f"{entry.short}?"
    link.ask("*RST")
    default, code = link.ask(ask)
    other = another_value(entry, default, limits) if code == 0 else None
    if other is None:
        return default, None
    link.ask(f"{entry.short} {other}")
    changed = link.ask(ask)[0]
    link.ask("*RST")
    behind_reset = link.ask(ask)[0]
    if behind_reset != default:
        link.ask(f"{entry.short} {default}")
    if changed == default or behind_reset not in (default, changed):
        return default, None
    return default, behind_reset == default


def message_of(entry, default):
    """A set form that a run may be disturbed with, or None: a setting as it is, else as its example sends it."""
    if default is not None:
        return f"{entry.short} {default}"
    first = entry.section.get("example", "").split("\n")[0]
    disturbing = entry.row["set"] and entry.row["kind"] in SETTING_KINDS and not entry.short.startswith("INIT")
    return first if disturbing and first.startswith(entry.short + " ") else None


def refusal(entry, of_set, of_query):
    """What the pages say of the forms that a run refuses; None if it refuses neither."""
    if not of_set and not of_query:
        return None
    if of_set and of_query:
        return "refused with -221, the query as well"
    if of_set:
        return "refused with -221" + ("; the query answers" if entry.row["query"] else "")
    return "refused with -221" if not entry.row["set"] else "the query is refused with -221"


def behaviour_in_run(entries, facts):
    """What a run does, by header, to the forms of a command."""
    behaviour = {}
    remaining = list(entries)
    while remaining:
        with Rig(dut=DUT, realtime=True) as rig, Link(HOST, rig.port) as link:
            link.send(LONG_RUN)
            if link.ask("CALC:WAIT:AVER ALL,1000")[1] != TIMED_OUT:  # by then it captures, for hours
                raise BadReference("the long run has ended at once")
            running = True
            while running and remaining:
                entry = remaining.pop(0)
                query = entry.row["kind"] in PLAIN_QUERY and facts[entry.header].query
                message = message_of(entry, facts[entry.header].default)
                refused = (
                    message is not None and link.ask(message)[1] == SETTINGS_CONFLICT,
                    query and link.ask(f"{entry.short}?")[1] == SETTINGS_CONFLICT,
                )
                running = link.ask("CALC:WAIT:AVER ALL,1")[1] == TIMED_OUT
                behaviour[entry.header] = refusal(entry, *refused) if running else ENDS_RUN
            link.ask("ABOR")
    return behaviour


def units_without(entries, facts):
    """The headers that a unit lacks in a form that the default one has, by (position, character)."""
    missing = {}
    for position, character in OTHER_UNITS:
        serial = DEFAULT_UNIT[:position] + character + DEFAULT_UNIT[position + 1 :]
        with Rig(dut=DUT, serial=serial) as rig, Link(HOST, rig.port) as link:
            missing[position, character] = {
                entry.header
                for entry in entries
                if (facts[entry.header].query and not has_query(link, entry))
                or (facts[entry.header].set and not has_set(link, entry))
            }
    return missing


def all_facts(pages):
    """Facts by header, of every command of the tree. Starts a dozen instruments."""
    entries = [entry for page in pages if page.branch != OLDER_FORMS for entry in page.entries]
    facts = {}
    with Rig(dut=DUT) as rig, Link(HOST, rig.port) as link:
        for entry in entries:
            query, settable = has_query(link, entry), has_set(link, entry)
            limits = default = reset = None
            if query and entry.row["limits"]:
                limits = tuple(link.ask(f"{entry.short}? {end}")[0] for end in ("MIN", "MAX"))
            if query and settable and is_setting(entry):
                default, reset = default_of(link, entry, limits)
            facts[entry.header] = Facts(query, settable, (), default, reset, limits, None)
    present = [e for e in entries if facts[e.header].query or facts[e.header].set]
    missing = units_without(present, facts)
    in_run = behaviour_in_run(present, facts)
    for entry in present:
        without = tuple(unit for unit, headers in missing.items() if entry.header in headers)
        facts[entry.header] = facts[entry.header]._replace(missing=without, in_run=in_run.get(entry.header))
    return facts


def pretty(number, unit):
    """A number without the zeros behind it; frequencies with a prefix."""
    if not re.fullmatch(r"-?\d+(\.\d+)?", number):
        return number
    if "." in number:
        number = number.rstrip("0").rstrip(".")
    if unit == "Hz":
        for scale, prefix in ((1e9, "G"), (1e6, "M"), (1e3, "k"), (1, "")):
            if abs(float(number)) >= scale:
                return f"{float(number) / scale:.12g} {prefix}Hz"
    return f"{number} {unit}".strip()
