"""Numbers as people write them."""

import math
import re

DASH = "-"  # in the place of a figure that there is none of
PREFIXES = (
    (1e9, "G"),
    (1e6, "M"),
    (1e3, "k"),
    (1.0, ""),
    (1e-3, "m"),
    (1e-6, "µ"),
    (1e-9, "n"),
    (1e-12, "p"),
    (1e-15, "f"),
)
UNITY = PREFIXES.index((1.0, ""))
TYPED = re.compile(r"(?P<number>[-+]?(?:\d+\.?\d*|\.\d+)(?:e[-+]?\d+)?)\s*(?P<prefix>[kmg]?)(?:hz)?", re.IGNORECASE)


def typed_number(text: str) -> float:
    """A number as somebody types it: 1000, 1e3, 1k, 2.4 GHz. Prefixes are kilo, mega and giga in either case, as no
    offset is given in millihertz. Raises ValueError for anything else."""
    found = TYPED.fullmatch(text.strip())
    if found is None:
        raise ValueError(f"{text!r} is no number; 1000, 1e3 and 1k are")
    scale = next(scale for scale, prefix in PREFIXES if prefix.lower() == found["prefix"].lower())
    return float(found["number"]) * scale


def engineering_hz(hz: float, decimals: int | None = None) -> str:
    """A frequency with the prefix that fits: 1e4 is "10 kHz". `decimals` behind the point; None: as few as it takes."""
    scale, prefix = next(((s, p) for s, p in PREFIXES[:UNITY] if abs(hz) >= s), PREFIXES[UNITY])
    return f"{hz / scale:.9g} {prefix}Hz" if decimals is None else f"{hz / scale:.{decimals}f} {prefix}Hz"


def carrier(hz: float) -> str:
    """A carrier's frequency to the hertz, everywhere in the same form: "11.797999762 GHz"."""
    whole = round(hz)
    decimals = next((d for d, (scale, _) in zip((9, 6, 3), PREFIXES) if abs(whole) >= scale), 0)
    return engineering_hz(whole, decimals)


def engineering(value: float | None, unit: str, digits: int = 4) -> str:
    """A quantity with `digits` significant digits and the prefix that fits: 5.4321e-14 s is "54.32 fs". A dash for
    None and for what is no number."""
    if value is None or not math.isfinite(value):
        return DASH
    rounded = float(f"{value:.{digits - 1}e}")  # first, so that 999.96 fs becomes 1.000 ps
    prefixes = PREFIXES if unit == "Hz" else PREFIXES[UNITY:]  # nobody says kilodegrees or kiloseconds
    fitting = ((s, p) for s, p in prefixes if abs(rounded) >= s * (1 - 1e-9))
    scale, prefix = next(fitting, PREFIXES[UNITY] if rounded == 0 else PREFIXES[-1])
    scaled = rounded / scale
    before_point = len(str(int(abs(scaled) + 1e-9)))
    return f"{scaled:.{max(digits - before_point, 0)}f} {prefix}{unit}"


def level(value: float | None, unit: str, decimals: int = 2) -> str:
    """A level in dB of some sort, a dash for None and for what is no number."""
    return DASH if value is None or not math.isfinite(value) else f"{value:.{decimals}f} {unit}"
