"""The noise that a DUT file of the virtual instrument describes, to draw the truth beside a measurement."""

import math
import tomllib


class DutTable:
    """Straight lines in log f between the points, the first slope continued below, the last level held above."""

    def __init__(self, points):
        self.points = [(float(offset), float(level)) for offset, level in points]

    @classmethod
    def read(cls, path):
        """Raises OSError, and ValueError if the file holds no such table."""
        with open(path, "rb") as file:
            content = tomllib.load(file)
        try:
            table = cls(content["signal"]["noise"])
        except (KeyError, TypeError, ValueError):
            raise ValueError("it has no table of offsets and levels, noise in [signal]") from None
        offsets = [offset for offset, _ in table.points]
        if not offsets or offsets[0] <= 0 or any(right <= left for left, right in zip(offsets, offsets[1:])):
            raise ValueError("the offsets of its noise are not positive and ascending")
        return table

    def level_dbc_hz(self, offset_hz):
        points = self.points
        if len(points) == 1 or offset_hz >= points[-1][0]:
            return points[-1][1]
        right = next(i for i in range(1, len(points)) if offset_hz < points[i][0])
        (f1, l1), (f2, l2) = points[right - 1], points[right]
        return l1 + (l2 - l1) * math.log(offset_hz / f1) / math.log(f2 / f1)
