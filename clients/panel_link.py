"""The front panel of a virtual instrument: its picture and its keys, over its socket. docs/panel.md has the protocol."""

import os
import socket
from collections import deque
from collections.abc import Callable
from pathlib import Path

PIECE_BYTES = 1 << 16


class PanelError(Exception):
    """The panel has gone, or says what nobody understands."""


class Refused(Exception):
    """The panel does not take the key, for the reason that it gives."""


Done = Callable[[bytes | Refused], None]


class PanelLink:
    """Keys may be pressed before others have their answers; answers come in the order of the keys. Not for more than
    one thread."""

    def __init__(self, path: Path | str, timeout_s: float | None = None):
        self.picture: dict[str, str] = {}
        self.complete = False  # the picture, once the first one is whole
        self._waiting: deque[Done] = deque()
        self._received = bytearray()
        self._socket = socket.socket(socket.AF_UNIX)
        folder = os.open(Path(path).parent, os.O_PATH)  # the path itself may be too long for a socket's
        try:
            self._socket.connect(f"/proc/self/fd/{folder}/{Path(path).name}")
        finally:
            os.close(folder)
        self._socket.settimeout(timeout_s)

    def close(self) -> None:
        self._socket.close()

    def __enter__(self) -> "PanelLink":
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def fileno(self) -> int:
        return self._socket.fileno()

    def press(self, line: str, done: Done = lambda _: None) -> None:
        """Sends a line of SCPI; `done` gets the answer, which is empty for a command, or why the key is not taken."""
        self._socket.sendall(line.encode("ascii") + b"\n")
        self._waiting.append(done)

    def receive(self) -> None:
        """Waits for news from the panel and takes them in."""
        piece = self._socket.recv(PIECE_BYTES)
        if not piece:
            raise PanelError("the panel has gone")
        self._received += piece
        while self._take():
            pass

    def ask(self, line: str) -> bytes:
        """Sends a line and waits for its answer. Raises Refused."""
        answers: list[bytes | Refused] = []
        self.press(line, answers.append)
        while not answers:
            self.receive()
        if isinstance(answers[0], Refused):
            raise answers[0]
        return answers[0]

    def _take(self) -> bool:
        """One whole piece of news, if there is one."""
        head, newline, rest = self._received.partition(b"\n")
        if not newline:
            return False
        word, _, text = head.decode("ascii").partition(" ")
        if word == "answer":
            size = int(text)
            if len(rest) < size:
                return False
            del self._received[: len(head) + 1 + size]
            self._waiting.popleft()(bytes(rest[:size]))
            return True
        del self._received[: len(head) + 1]
        if word == "show":
            item, _, value = text.partition(" ")
            self.picture[item] = value
        elif word == "shown":
            self.complete = True
        elif word == "refused":
            self._waiting.popleft()(Refused(text))
        else:
            raise PanelError(f"the panel says {head!r}")
        return True
