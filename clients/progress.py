"""How far a run has come, as one line of a terminal."""

import os
import sys
import time

MOST_CELLS = 30  # of the bar
FEWEST_CELLS = 8
TEXT_COLUMNS = 71  # that the bar leaves to the text, if it can
NO_WIDTH = 80  # columns of a terminal that does not tell
TOO_SHORT_S = 0.2  # to tell a pace from


def duration(seconds: float) -> str:
    """5 s, 2:05 min, 3:02:05 h."""
    whole = max(round(seconds), 0)
    if whole < 60:
        return f"{whole} s"
    if whole < 3600:
        return f"{whole // 60}:{whole % 60:02} min"
    return f"{whole // 3600}:{whole % 3600 // 60:02}:{whole % 60:02} h"


class Pace:
    """Foretells an end from the counts at which something was seen to stand."""

    def __init__(self, total: int):
        self.total = total
        self.first: tuple[float, int] | None = None  # time, s, and count; what came before was preparation
        self.end: float | None = None
        self.seen = 0

    def left_s(self, now: float, done: int) -> float | None:
        """Seconds to go; None as long as nobody can tell. Between two counts it goes on counting down."""
        if self.first is None or done < self.seen:
            self.first, self.end = (now, done), None
        elif done > self.seen and now - self.first[0] > TOO_SHORT_S:
            started, count = self.first
            self.end = now + (self.total - done) * (now - started) / (done - count)
        self.seen = done
        return None if self.end is None else max(self.end - now, 0.0)


def line(columns: int, done: int, total: int, elapsed_s: float, left_s: float | None, state: str) -> str:
    """All of it in less than `columns` characters; what matters least goes first."""
    percent = f"{100 * done // total:3d} %"
    times = duration(elapsed_s) + ("" if left_s is None else f", {duration(left_s)} left")
    cells = min(max(columns - TEXT_COLUMNS, FEWEST_CELLS), MOST_CELLS)
    filled = cells * done // total
    bar = f"[{'█' * filled}{'░' * (cells - filled)}]"
    forms = (f"{bar} {percent}  {times}  {state}", f"{bar} {percent}  {times}", f"{percent}  {times}", percent)
    return next((form for form in forms if len(form) < columns), "")


class _Bar:
    """Silent where there is no terminal."""

    def __init__(self, total: int, stream):
        self.total = total
        self.stream = stream if stream.isatty() else None
        self.started = time.monotonic()
        self.pace = Pace(total)

    def show(self, done: int, state: str) -> None:
        if self.stream is None:
            return
        now = time.monotonic()
        left_s = self.pace.left_s(now, done)
        self._show(line(self._columns(), done, self.total, now - self.started, left_s, state))

    def end(self) -> None:
        if self.stream is not None:
            self._show("")

    def _columns(self) -> int:
        try:
            return os.get_terminal_size(self.stream.fileno()).columns or NO_WIDTH
        except (OSError, ValueError):
            return NO_WIDTH

    def _show(self, text: str) -> None:
        self.stream.write(f"\r{text}\033[K")
        self.stream.flush()


class PointsBar(_Bar):
    """Call it with the points done."""

    def __init__(self, points: int, stream=sys.stderr):
        super().__init__(points, stream)

    def __call__(self, done: int) -> None:
        self.show(min(done, self.total), f"point {min(done + 1, self.total)}/{self.total}")


class ProgressBar(_Bar):
    """Call it with the averages done and the correlations done towards the next one."""

    def __init__(self, averages: int, correlations: int, stream=sys.stderr):
        super().__init__(averages * correlations, stream)
        self.averages = averages
        self.correlations = correlations

    def __call__(self, averages: int, correlations: int) -> None:
        done = min(averages * self.correlations + correlations, self.total)
        state = f"average {min(averages + 1, self.averages)}/{self.averages}"
        if done == 0:
            state = "searching, locking, first capture"
        elif averages == 0:  # later ones are counted whole
            state += f", correlation {correlations}/{self.correlations}"
        self.show(done, state)
