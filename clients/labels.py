"""Finds places for labels in a picture so that they hide neither each other nor what they tell about."""

from dataclasses import dataclass

import numpy
from matplotlib.axes import Axes
from matplotlib.transforms import Bbox

GAP_PT = 7.0  # between what is labelled and the nearest label
RISES = tuple(0.5 * i for i in range(20))  # of a label's height
SHIFTS = tuple(0.25 * i for i in range(-12, 13))  # of its width
MARGIN_PX = 2.0
LEADER_POINTS = 50
LEADER = {"arrowstyle": "-", "linewidth": 0.5, "color": "#999999", "shrinkA": 0, "shrinkB": 4}


@dataclass(frozen=True)
class Label:
    x: float  # what it belongs to, in data coordinates
    y: float
    text: str


def _hits(box: Bbox, points: numpy.ndarray) -> bool:
    inside = (points[:, 0] > box.x0) & (points[:, 0] < box.x1) & (points[:, 1] > box.y0) & (points[:, 1] < box.y1)
    return bool(inside.any())


def place(axes: Axes, labels: list[Label], curves: numpy.ndarray, **style) -> int:
    """Writes each label above its point as near as it fits, those in front first; a thin line leads to one that had to
    move. `curves` holds points, x and y, that labels keep clear of. A label that fits nowhere is left out. Returns how
    many were written. Call it when the axes have their final size and limits."""
    renderer = axes.figure.canvas.get_renderer()
    points_per_px = 72.0 / axes.figure.dpi
    frame = axes.get_window_extent(renderer)
    obstacles = axes.transData.transform(curves)
    taken: list[Bbox] = []
    for label in labels:
        at = axes.transData.transform((label.x, label.y))
        note = axes.annotate(
            label.text, (label.x, label.y), textcoords="offset points", xytext=(0, 0), ha="center", va="bottom", **style
        )
        size = note.get_window_extent(renderer)
        gap = GAP_PT / points_per_px
        moves = [numpy.array((dx * size.width, gap + dy * size.height)) for dy in RISES for dx in SHIFTS]
        for move in sorted(moves, key=lambda move: float(move @ move)):
            foot = at + move
            box = Bbox.from_bounds(foot[0] - size.width / 2, foot[1], size.width, size.height).padded(MARGIN_PX)
            leader = numpy.linspace(at, foot, LEADER_POINTS)
            inside = frame.x0 <= box.x0 and box.x1 <= frame.x1 and box.y1 <= frame.y1
            crossed = any(box.overlaps(other) or _hits(other, leader) for other in taken)
            if inside and not crossed and not _hits(box, obstacles):
                break
        else:
            note.remove()
            continue
        offset_pt = move * points_per_px
        note.set_position(offset_pt)
        taken.append(box)
        if not numpy.allclose(offset_pt, (0, GAP_PT)):
            axes.annotate("", (label.x, label.y), offset_pt, textcoords="offset points", arrowprops=LEADER)
            obstacles = numpy.vstack((obstacles, leader))
    return len(taken)
