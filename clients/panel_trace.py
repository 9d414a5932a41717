"""A trace drawn with the characters of a terminal: two columns and four rows of dots in each."""

import math
import struct
from collections.abc import Sequence

from clients.text import engineering_hz

DOTS = ((0x01, 0x08), (0x02, 0x10), (0x04, 0x20), (0x40, 0x80))  # of a character, by row and column
BLANK = 0x2800
GRID_DB = 10
LABEL_COLUMNS = 6


def floats(block: bytes) -> tuple[float, ...]:
    """The numbers of a definite-length block. Raises ValueError for anything else."""
    try:
        digits = int(block[1:2])
        size = int(block[2 : 2 + digits])
        return struct.unpack(f"<{size // 4}f", block[2 + digits : 2 + digits + size])
    except struct.error as error:
        raise ValueError(str(error)) from None


def _span_db(levels: Sequence[float]) -> tuple[int, int]:
    return math.floor(min(levels) / GRID_DB) * GRID_DB, math.ceil((max(levels) + 1) / GRID_DB) * GRID_DB


def draw(offsets: Sequence[float], levels: Sequence[float], columns: int, rows: int) -> list[str]:
    """Levels, dBc/Hz, over the offsets, Hz, on a logarithmic scale, `rows` lines of `columns` characters with their
    scales. Points that are no levels are left out."""
    points = [(math.log10(x), y) for x, y in zip(offsets, levels) if x > 0 and -300 < y < 100]
    width, height = columns - LABEL_COLUMNS, rows - 1
    if len(points) < 2 or width < 8 or height < 2:
        return [""] * rows
    first, last = points[0][0], points[-1][0]
    low, high = _span_db([y for _, y in points])
    cells = [[0] * width for _ in range(height)]
    previous = None
    for x, y in points:
        column = round((x - first) / (last - first) * (2 * width - 1))
        row = round((high - y) / (high - low) * (4 * height - 1))
        start = row if previous is None else previous
        for between in range(min(start, row), max(start, row) + 1):
            cells[between // 4][column // 2] |= DOTS[between % 4][column % 2]
        previous = row
    lines = []
    labels = {round((high - db) / (high - low) * (height - 1)): db for db in range(low, high + 1, GRID_DB)}
    for row, line in enumerate(cells):
        label = f"{labels[row]:5d} " if row in labels else " " * LABEL_COLUMNS
        lines.append(label + "".join(chr(BLANK + cell) for cell in line))
    ends = engineering_hz(10**first, 0), engineering_hz(10**last, 0)
    lines.append(" " * LABEL_COLUMNS + ends[0] + ends[1].rjust(width - len(ends[0])))
    return lines
