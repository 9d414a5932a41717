"""Numbers as people write them."""

PREFIXES = ((1e9, "G"), (1e6, "M"), (1e3, "k"), (1.0, ""))


def engineering_hz(hz, digits=None):
    """A frequency with the prefix that fits: 1e4 is "10 kHz". `digits` behind the point; None: as few as it takes."""
    scale, prefix = next(((s, p) for s, p in PREFIXES if abs(hz) >= s), (1.0, ""))
    return f"{hz / scale:g} {prefix}Hz" if digits is None else f"{hz / scale:.{digits}f} {prefix}Hz"
