"""What a trace should read, from the DUT's table and the statistics of averaged spectra alone.

A stage of n records shows each point at 10 lg |S|, S the mean of n products of the two channels. With C the cross
density of the DUT and R_A, R_B what each channel adds of its own, S = (C g + D sqrt(g) z)/n, g gamma distributed of
order n, z complex normal, D^2 = (C + R_A)(C + R_B) - C^2. So

    E[10 lg |S|] = 10 lg C + 10/ln 10 * (psi(n) - ln n) + 5/ln 10 * E[E1(C^2 g/D^2)],

the second term the bias of averages that are read in dB, the third that of the channels' own noise.

A detector shows the sine of the phase that its loop leaves, s = E[phase^2]: its slope is exp(-s/2) of the one that was
measured on the beat, and the trace lies 10 lg e * s below the noise.
"""

import math

import numpy

DB = 10 / math.log(10)
EULER = 0.57721566490153286
SAMPLE_RATES_HZ = (250e6, 12.5e6, 1.25e6, 125e3, 12.5e3, 1250.0, 125.0, 12.5)
TUNE_LOAD = 0.8  # of the damping is left by the simulated tune port
RECORD_CAPS = (900000, 900000, 500000, 100000, 100000, 100000, 100000, 100000)

# For a start offset: the lowest offset of each stage, its records at one correlation, its points.
PLANS = {
    1.0: (
        (5e6, 5e5, 5e4, 5e3, 500.0, 50.0, 5.0, 1.0),
        (1000000, 100000, 10000, 1000, 100, 10, 13, 1),
        (512, 512, 512, 512, 512, 512, 128, 64),
    ),
    10.0: ((5e6, 5e5, 5e4, 5e3, 500.0, 10.0), (100000, 10000, 1000, 100, 10, 1), (512,) * 6),
    1e3: ((5e6, 5e5, 5e4, 1e3), (1000, 100, 10, 1), (512,) * 4),
}


def digamma(x):
    shift = 0.0
    while x < 10:
        shift -= 1 / x
        x += 1
    return shift + math.log(x) - 1 / (2 * x) - 1 / (12 * x**2) + 1 / (120 * x**4) - 1 / (252 * x**6)


def exponential_integral(x):
    """E1 of an array of positive numbers: power series below 1, continued fraction from there."""
    small = numpy.minimum(x, 1.0)
    series = -EULER - numpy.log(small)
    term = numpy.ones_like(small)
    for k in range(1, 20):
        term = -term * small / k
        series -= term / k
    large = numpy.maximum(x, 1.0)
    fraction = numpy.zeros_like(large)
    for k in range(40, 0, -1):
        fraction = k / (1 + k / (large + fraction))
    return numpy.where(x < 1, series, numpy.exp(-large) / (large + fraction))


def own_noise_bias_db(n, share):
    """The third term, for C^2/D^2 = `share`."""
    if n < 1000:
        order = numpy.random.default_rng(n).gamma(n, size=4000)
    else:
        order = numpy.array([float(n)])
    return DB / 2 * float(exponential_integral(share * order).mean())


def compression_db(table, bandwidth_hz, damping):
    """Of noise after `table` (L(f), dBc/Hz) behind a loop of second order with the damping that it was designed for."""
    offsets = numpy.geomspace(bandwidth_hz / 1e3, 1e8, 4000)
    density = numpy.array([2 * 10 ** (table.level_dbc_hz(offset) / 10) for offset in offsets])
    ratio = bandwidth_hz / offsets
    passed = 1 / ((1 - ratio**2) ** 2 + (2 * TUNE_LOAD * damping * ratio) ** 2)
    left = density * passed
    return DB * float(numpy.sum((left[1:] + left[:-1]) / 2 * numpy.diff(offsets)))


def records(start_hz, correlations, stage):
    """Records that one trace averages in a stage."""
    in_plan = PLANS[start_hz][1][stage]
    passes = correlations if start_hz <= 10 else max(1, correlations // round(start_hz / 10))
    return max(1, min(correlations * in_plan, RECORD_CAPS[stage]) // passes) * passes


class StagePoint:
    """One point of a stage's spectrum and the levels of the trace that come from it."""

    def __init__(self, offset_hz):
        self.offset_hz = offset_hz  # of the spectrum's point
        self.levels_dbc_hz = []


def stage_points(start_hz, offsets_hz, levels_dbc_hz):
    """Sorts a trace into stages: a list of StagePoint a stage, highest offsets first. Several points of the trace may
    read the same point of the spectrum; they are one observation."""
    lows, _, sizes = PLANS[start_hz]
    stages = [{} for _ in lows]
    for offset, level in zip(offsets_hz, levels_dbc_hz):
        stage = next((s for s, low in enumerate(lows) if offset >= low), len(lows) - 1)
        spacing = SAMPLE_RATES_HZ[stage] / (2 * (sizes[stage] - 1))
        index = min(int(offset / spacing + 0.5), sizes[stage] - 1)
        point = stages[stage].setdefault(index, StagePoint(index * spacing))
        point.levels_dbc_hz.append(level)
    return [list(points.values()) for points in stages]
