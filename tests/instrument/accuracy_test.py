"""The whole chain against the DUT's table, from a reset on: search, detector constants, lock, gain, captures. Each
stage's mean error lies within 0.3 dB and four standard errors, within 0.9 dB around the loop bandwidth and 1 dB far below it."""

import math
import statistics
import tomllib
import unittest

from clients import measurement
from clients.dut_table import DutTable
from clients.instrument import Instrument
from tests.instrument import expected_trace
from tests.instrument.process import HOST, PORT, ProcessTest
from virtual.app.rig import PROJECT

DUTS = PROJECT / "virtual/duts"
# What the simulated references add in channel A, dBc/Hz at 100 MHz; channel B stands 0.8 dB above.
REFERENCES = {
    None: DutTable(
        [(1, -75), (10, -105), (100, -125), (1e3, -140), (1e4, -150), (1e5, -155), (1e6, -165), (1e7, -170)]
    ),
    "LN": DutTable(
        [(1, -104), (10, -132), (100, -150), (1e3, -160), (1e4, -166), (1e5, -170), (1e6, -172), (1e7, -174)]
    ),
}
CHANNEL_B_EXCESS_DB = 0.8
TOLERANCE_DB = 0.3
FAR_BELOW = 0.1  # of the loop bandwidth: the loop takes out so much there that its own error counts
TOLERANCE_FAR_BELOW_DB = 1.0
AROUND = 3  # of the loop bandwidth: below, the steps of the filter's resistors move the loop
TOLERANCE_AROUND_DB = 0.9
STANDARD_ERRORS = 4
HIGHEST_OWN_NOISE_BIAS_DB = 3.0  # beyond, a point shows the instrument and not the DUT
FEWEST_POINTS = 10  # a stage with less to look at is left out
LEAST_FILTERED_GAIN_DB = 20  # below: 5 MHz at 0 dB, all at 12 dB
SPUR_REACH = 6  # points of the spectrum on either side that a line changes


class Dut:
    def __init__(self, name):
        with open(DUTS / f"{name}.toml", "rb") as file:
            signal = tomllib.load(file)["signal"]
        self.path = DUTS / f"{name}.toml"
        self.carrier_hz = signal["frequency_hz"]
        self.power_dbm = signal["power_dbm"]
        self.table = DutTable(signal["noise"])
        self.spurs_hz = [offset for offset, _ in signal.get("spurs", [])]

    def own_noise_share(self, reference, offset_hz):
        """C^2/D^2 of expected_trace at an offset."""
        scale_db = 20 * math.log10(self.carrier_hz / 100e6) - self.table.level_dbc_hz(offset_hz)
        a = 10 ** ((REFERENCES[reference].level_dbc_hz(offset_hz) + scale_db) / 10)
        b = a * 10 ** (CHANNEL_B_EXCESS_DB / 10)
        return 1 / ((1 + a) * (1 + b) - 1)


def if_band_hz(carrier_hz, gain_db):
    """Offsets that the IF filter of the default unit passes: what the sum of carrier and source, and their rests, leave."""
    if gain_db < LEAST_FILTERED_GAIN_DB:
        return 50e6 if gain_db > 0 else 5e6
    return 50e6 if carrier_hz >= 70e6 else 20e6 if carrier_hz >= 23e6 else 5e6


class Accuracy(ProcessTest):
    def check(self, dut, setup, trace):
        """Returns how many stages could be judged."""
        judged = set()
        loop = trace.run.channels[0]
        compression = expected_trace.compression_db(dut.table, loop.bandwidth_hz, loop.damping)
        stages = expected_trace.stage_points(setup.start_hz, trace.offsets_hz, trace.noise_dbc_hz)
        for number, points in enumerate(stages):
            n = expected_trace.records(setup.start_hz, setup.correlations, number)
            average_bias = expected_trace.DB * (expected_trace.digamma(n) - math.log(n))
            spacing = min((b.offset_hz - a.offset_hz for a, b in zip(points, points[1:])), default=0.0)
            errors = {TOLERANCE_DB: [], TOLERANCE_AROUND_DB: [], TOLERANCE_FAR_BELOW_DB: []}
            for point in points:
                if any(abs(point.offset_hz - spur) < SPUR_REACH * spacing for spur in dut.spurs_hz):
                    continue
                if point.offset_hz > if_band_hz(dut.carrier_hz, trace.run.gain_db):
                    continue
                own_bias = expected_trace.own_noise_bias_db(n, dut.own_noise_share(setup.reference, point.offset_hz))
                if own_bias > HIGHEST_OWN_NOISE_BIAS_DB:
                    continue
                expected = dut.table.level_dbc_hz(point.offset_hz) + average_bias + own_bias - compression
                far_below = point.offset_hz < FAR_BELOW * loop.bandwidth_hz
                around = point.offset_hz < AROUND * loop.bandwidth_hz
                tolerance = TOLERANCE_FAR_BELOW_DB if far_below else TOLERANCE_AROUND_DB if around else TOLERANCE_DB
                errors[tolerance].append(statistics.fmean(point.levels_dbc_hz) - expected)
            for tolerance, group in errors.items():
                if len(group) < FEWEST_POINTS:
                    continue
                judged.add(number)
                allowed = tolerance + STANDARD_ERRORS * statistics.stdev(group) / math.sqrt(len(group))
                self.assertLess(abs(statistics.fmean(group)), allowed, f"stage {number}, {n} records, {setup}")
        return len(judged)

    def measure(self, name, start_hz, runs, least_stages, seeds=(1,), **settings):
        """`runs`: correlations and averages of each, one after the other on the same instrument."""
        dut = Dut(name)
        for seed in seeds:
            rig = self.rig(dut=dut.path, seed=seed)
            with Instrument(HOST, PORT) as instrument:
                for correlations, averages in runs:
                    setup = measurement.Setup(  # repaired points would not have the statistics of the others
                        start_hz=start_hz, correlations=correlations, averages=averages, list_spurs=False, **settings
                    )
                    measurement.configure(instrument, setup)
                    measurement.run(instrument)
                    trace = measurement.fetch(instrument, setup, [])
                    with self.subTest(dut=name, seed=seed, correlations=correlations, averages=averages):
                        self.assertAlmostEqual(trace.carrier_hz / dut.carrier_hz, 1.0, delta=1e-6)
                        self.assertAlmostEqual(trace.power_dbm, dut.power_dbm, delta=0.2)
                        self.assertGreaterEqual(self.check(dut, setup, trace), least_stages)
            rig.stop()

    def test_a_crystal_oscillator_with_spurs_from_1_hz(self):
        self.measure("default", 1.0, [(1, 1), (10, 2), (1, 16)], least_stages=6)

    def test_a_voltage_controlled_crystal_oscillator_from_1_hz(self):
        self.measure("vcxo-100mhz", 1.0, [(1, 1), (1, 16), (10, 4)], least_stages=8)

    def test_a_voltage_controlled_oscillator_from_10_hz(self):
        self.measure("vco-150mhz", 10.0, [(1, 4), (10, 4)], least_stages=6, seeds=(1, 2))

    def test_an_oscillator_that_needs_the_widest_loop(self):
        self.measure("vco-2g4", 1e3, [(1, 1), (10, 4)], 3, seeds=(1, 2), loop_hz=measurement.WIDER_LOOPS_HZ[-1])

    def test_a_synthesizer_at_12_ghz(self):
        self.measure("pll-11g8", 1e3, [(10, 4)], least_stages=2, seeds=(1, 2, 3))

    def test_an_oven_controlled_oscillator_on_the_low_noise_reference(self):
        self.measure("ocxo-10mhz", 1.0, [(10, 1), (100, 1)], 5, seeds=(1,), reference="LN", loop_hz=30.0)


if __name__ == "__main__":
    unittest.main()
