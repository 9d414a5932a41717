#!/usr/bin/python3
"""The front panel of a virtual instrument in the terminal: ./run --serve in one shell, clients/panel.py in another."""

import argparse
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

try:
    import urwid

    from clients import panel_trace
    from clients.panel_link import PanelError, PanelLink, Refused
    from clients.text import DASH, carrier, engineering_hz, level, typed_number
except ModuleNotFoundError as missing:
    sys.exit(f"panel: this Python has no {missing.name}; tools/setup installs it for /usr/bin/python3")

NOT_REACHED = 3
POLL_S = 0.5
SOCKET = "unit/panel.socket"
QUIT = ("q", "Q", "f10")

urwid.set_encoding("utf-8")

PALETTE = [
    ("figure", "light cyan", ""),
    ("dim", "dark gray", ""),
    ("lit", "light green", ""),
    ("fault", "light red", ""),
    ("key", "black", "light gray"),
    ("trace", "yellow", ""),
]
LAMPS = (("ready", "ready_lamp", "on"), ("remote", "remote_lamp", "on"), ("error", "error_lamp", "on")) + tuple(
    (item, item, "1") for item in ("LAN", "USB", "GPIB", "LOCK")
)
# Soft keys: the key, its name, the header of the setting that it asks for; without one the line that it sends.
SETTINGS = (
    ("f1", "centre", "SENS:FREQ"),
    ("f2", "start", "SENS:PN:FREQ:STAR"),
    ("f3", "stop", "SENS:PN:FREQ:STOP"),
    ("f4", "correlations", "SENS:PN:CORR"),
)
ACTIONS = (("f5", "run", "INIT"), ("f6", "abort", "ABOR"))
PROGRESS = ("CALC:PN:PREL:AVER?", "CALC:PN:PREL:CORR?")
FIGURES = ("CALC:FREQ?", "CALC:POW?", "SENS:PN:AVER?", *(f"{header}?" for _, _, header in SETTINGS))


class Trace(urwid.Widget):
    """Fills what it is given."""

    _sizing = frozenset(["box"])

    def __init__(self):
        super().__init__()
        self.offsets: tuple[float, ...] = ()
        self.levels: tuple[float, ...] = ()

    def set(self, offsets, levels):
        if len(offsets) == len(levels):
            self.offsets, self.levels = offsets, levels
            self._invalidate()

    def render(self, size, focus=False):
        columns, rows = size
        lines = panel_trace.draw(self.offsets, self.levels, columns, rows)
        return urwid.TextCanvas(
            [line.ljust(columns).encode() for line in lines],
            [[("trace", len(line.ljust(columns).encode()))] for line in lines],
            maxcol=columns,
        )


class Panel:
    """The screen, and what it knows of the instrument."""

    def __init__(self, link: PanelLink):
        self.link = link
        self.answers: dict[str, str] = {}  # to the queries above
        self.awaited = 0  # answers on their way
        self.traced: tuple[str, ...] = ()  # progress at which the trace was fetched
        self.message = ""
        self.entering: str | None = None  # header of the setting that is being typed
        font = urwid.HalfBlock5x4Font()
        self.frequency, self.level = urwid.BigText("", font), urwid.BigText("", font)
        self.lamps, self.progress = urwid.Text(""), urwid.Text("")
        self.trace, self.entry = Trace(), urwid.Edit()
        self.keys = urwid.Text(self.key_texts())
        figures = [
            (weight, urwid.AttrMap(urwid.Padding(figure, width="clip"), "figure"))
            for weight, figure in ((64, self.frequency), (50, self.level))
        ]
        head = urwid.Pile([urwid.Columns([("weight", *figure) for figure in figures]), self.lamps, self.progress])
        self.frame = urwid.Frame(self.trace, header=head, footer=self.keys)
        self.loop = urwid.MainLoop(self.frame, PALETTE, handle_mouse=False, unhandled_input=self.press)

    def run(self) -> None:
        self.loop.watch_file(self.link.fileno(), self.hear)
        self.poll()
        self.loop.run()

    # What the panel says.

    def hear(self) -> None:
        self.link.receive()
        self.show()  # the loop draws it when this returns

    def ask(self, query: str, done) -> None:
        def take(answer):
            self.awaited -= 1
            if not isinstance(answer, Refused):
                done(answer)

        self.awaited += 1
        self.link.press(query, take)

    def poll(self, *_) -> None:
        """Asks for everything again, unless it is still waiting."""
        self.loop.set_alarm_in(POLL_S, self.poll)
        if self.awaited or self.link.picture.get("LOCK") == "1":
            return
        for query in (*FIGURES, *PROGRESS):
            self.ask(query, lambda answer, query=query: self.answers.__setitem__(query, answer.decode().strip()))
        progress = tuple(self.answers.get(query, "") for query in PROGRESS)
        if progress != self.traced and any(count.strip("0") for count in progress):
            self.traced = progress
            self.ask("CALC:PN:TRAC:FREQ?", self.take_offsets)
            self.ask("CALC:PN:TRAC:NOIS?", self.take_levels)

    def take_offsets(self, block: bytes) -> None:
        self.offsets = panel_trace.floats(block) if block else ()

    def take_levels(self, block: bytes) -> None:
        if block:
            self.trace.set(self.offsets, panel_trace.floats(block))

    # What it shows.

    def number(self, query: str) -> float | None:
        try:
            return float(self.answers[query])
        except (KeyError, ValueError):
            return None

    def show(self) -> None:
        hz = self.number("CALC:FREQ?") or self.number("SENS:FREQ?") or float(self.link.picture.get("FREQ", 0))
        dbm = self.number("CALC:POW?") or float(self.link.picture.get("POW", "nan"))
        self.frequency.set_text(carrier(hz))
        self.level.set_text(level(dbm, "dBm"))
        lamps = [
            ("fault" if name == "error" else "lit", f"● {name}  ")
            if self.link.picture.get(item) == lit
            else ("dim", f"○ {name}  ")
            for name, item, lit in LAMPS
        ]
        address = self.link.picture.get("SYST:COMM:SOCK:ADDR", DASH).strip('"')
        self.lamps.set_text([*lamps, ("dim", f"address {address}")])
        done = [self.answers.get(query, DASH) for query in PROGRESS]
        wanted = [self.answers.get(query, DASH) for query in ("SENS:PN:AVER?", "SENS:PN:CORR?")]
        spans = [
            engineering_hz(value) if (value := self.number(f"{header}?")) is not None else DASH
            for _, _, header in SETTINGS[1:3]
        ]
        self.progress.set_text(
            f"{spans[0]} to {spans[1]}   average {done[0]}/{wanted[0]}   correlation {done[1]}/{wanted[1]}   {self.message}"
        )

    @staticmethod
    def key_texts():
        texts = []
        for key, name, _ in (*SETTINGS, *ACTIONS, ("q", "quit", "")):
            texts += [("key", f" {key.upper()} "), f" {name}  "]
        return texts

    # What the user does.

    def press(self, key: str) -> None:
        if self.entering is not None:
            self.enter(key)
        elif key in QUIT:
            raise urwid.ExitMainLoop
        for name, what, header in SETTINGS:
            if key == name:
                self.entering = header
                self.entry.set_caption(f"{what}: ")
                self.entry.set_edit_text("")
                self.frame.footer = self.entry
                self.frame.focus_position = "footer"
        for name, _, line in ACTIONS:
            if key == name:
                self.send(line)

    def enter(self, key: str) -> None:
        """Ends the typing; the keys of the text itself go to the entry."""
        if key not in ("enter", "esc"):
            return
        header, self.entering = self.entering, None
        self.frame.footer = self.keys
        self.frame.focus_position = "body"
        if key == "esc":
            return
        try:
            number = typed_number(self.entry.edit_text)
        except ValueError as error:
            self.message = str(error)
            self.show()
            return
        self.send(f"{header} {int(number) if header == 'SENS:PN:CORR' else repr(number)}")

    def send(self, line: str) -> None:
        """A key of the panel; what the instrument has against it stands on the screen."""

        def tell(answer):
            refused = isinstance(answer, Refused)
            text = str(answer) if refused else answer.decode().strip()
            self.message = "" if text == '0,"No error"' else text
            if line == "INIT":
                self.traced = ()

        self.link.press(f"{line};:SYST:ERR?", tell)


def sockets(place: str | None) -> list[Path]:
    """Where a panel may be, the likeliest first."""
    if place is not None:
        path = Path(place)
        return [path / SOCKET if path.is_dir() else path]
    found = Path(tempfile.gettempdir()).glob(f"virtual-instrument-*/{SOCKET}")
    return sorted(found, key=lambda path: -path.stat().st_mtime) or [Path(SOCKET)]


def connect(place: str | None) -> PanelLink:
    for path in (candidates := sockets(place)):
        try:
            return PanelLink(path)
        except OSError as error:
            if path == candidates[-1]:
                raise PanelError(f"{path}: {error.strerror}") from error
    raise AssertionError("there is always a candidate")


def main() -> int:
    parser = argparse.ArgumentParser(prog="panel", description=__doc__)
    parser.add_argument(
        "socket",
        nargs="?",
        help="what ./run --serve prints behind panel=, or the state directory; default: of the instrument started last",
    )
    try:
        with connect(parser.parse_args().socket) as link:
            Panel(link).run()
    except (OSError, PanelError) as error:
        print(f"panel: {error}", file=sys.stderr)
        return NOT_REACHED
    return 0


if __name__ == "__main__":
    sys.exit(main())
