"""What the result commands answer before a run, in it and behind it."""

import math
import unittest

from clients.instrument import Instrument, InstrumentError
from tests.instrument.process import HOST, PORT, ProcessTest

TEST_SET = "O1e5,F,P,J,I,D,R,M"
NO_TRACE = {
    "CALC:PN:PREL:AVER?": "0",
    "CALC:PN:PREL:CORR?": "0",
    "CALC:PN:TEST?": "0.0000,0.0000,0.0000,0.0000,0.0000,0.0000,0.0000,0.0000",
    "CALC:PN:TRAC:SPOT?": "-1000.000000000",
    "CALC:PN:TRAC:SPOT? 1e5": "-1000.000000000",
    "CALC:PN:TRAC:FUNC:INT?": "-1.000000000",
    "CALC:PN:TRAC:FUNC:JITT?": "-1.000000E+00",
}
TRACES = ("FREQ", "NOIS", "POW")
SPURS = ("SPUR:FREQ", "SPUR:POW")
ALLAN = ("FUNC:AVAR:SIGM", "FUNC:AVAR:TAU")
AVERAGING_TIMES = 162  # from 1 / 50 MHz in steps of 1.1 to below 1 / 10 Hz


class Results(ProcessTest):
    def expect_no_trace(self, instrument):
        for query, answer in NO_TRACE.items():
            self.assertEqual(instrument.query(query), answer, query)
        with self.assertRaisesRegex(InstrumentError, '-327880,"Execution error;Measurement failed"'):
            instrument.command("CALC:PN:TRAC:FUNC:AVAR")

    def blocks(self, instrument, names):
        return [instrument.floats(f"CALC:PN:TRAC:{name}?") for name in names]

    def expect_results(self, instrument):
        """All figures belong to the trace that can be read."""
        offsets, levels, _ = self.blocks(instrument, TRACES)
        powers = [10 ** (level / 10) for level in levels]
        segments = zip(offsets[:-1], offsets[1:-1], powers, powers[1:])  # the last one does not count
        parts = [(0.5 * (p0 + p1) * (f1 - f0), 0.5 * (f0 + f1)) for f0, f1, p0, p1 in segments]
        total = math.fsum(part for part, _ in parts)
        rms_rad = math.sqrt(2 * total)
        residual_fm_hz = math.sqrt(2 * math.fsum(part * centre**2 for part, centre in parts))
        carrier_hz = instrument.number("CALC:FREQ?")
        jitter_s = rms_rad / (2 * math.pi * carrier_hz)
        integral_dbc = 10 * math.log10(total)
        spot = instrument.number("CALC:PN:TRAC:SPOT? 1e5")
        self.assertAlmostEqual(spot, -155, delta=3)
        self.assertAlmostEqual(instrument.number("CALC:PN:TRAC:FUNC:INT?"), integral_dbc, delta=1e-5)
        self.assertAlmostEqual(instrument.number("CALC:PN:TRAC:FUNC:JITT?") / jitter_s, 1, delta=1e-5)
        test_set = [float(result) for result in instrument.query("CALC:PN:TEST?").split(",")]
        power_dbm = instrument.number("CALC:POW?")
        figures = [1e15 * jitter_s, integral_dbc, 1e3 * math.degrees(rms_rad), 1e3 * rms_rad, residual_fm_hz]
        for result, expected in zip(test_set, [spot, carrier_hz, power_dbm, *figures], strict=True):
            self.assertAlmostEqual(result, expected, delta=1e-4 + 1e-6 * abs(expected))

        instrument.command("CALC:PN:TRAC:FUNC:AVAR")
        sigmas, taus = self.blocks(instrument, ALLAN)
        self.assertEqual((len(sigmas), len(taus)), (AVERAGING_TIMES, AVERAGING_TIMES))
        self.assertAlmostEqual(50e6 * taus[0], 1, delta=1e-6)
        self.assertTrue(all(0 < sigma < 1 for sigma in sigmas))

    def test_results_come_with_the_first_save_and_go_with_the_next_run(self):
        self.rig(realtime=True)
        with Instrument(HOST, PORT) as instrument:
            instrument.command(f"SENS:PN:TEST {TEST_SET}")
            self.assertEqual(self.blocks(instrument, TRACES + SPURS + ALLAN), [[]] * 7)
            self.expect_no_trace(instrument)

            start = "SENS:PN:FREQ:STAR 10;:SENS:PN:CORR 1000;:INIT"  # a save at its end, in a quarter of an hour
            instrument.command(f"{start};:CALC:WAIT:AVER NEXT,10000")
            self.expect_results(instrument)
            instrument.command("ABOR;:CALC:WAIT:AVER ALL,10000")
            self.expect_results(instrument)
            allan = self.blocks(instrument, ALLAN)

            instrument.command(start)
            while instrument.query("CALC:PN:TEST?") != NO_TRACE["CALC:PN:TEST?"]:
                pass  # the run has not come to clearing what was there
            self.expect_no_trace(instrument)
            self.assertEqual(self.blocks(instrument, SPURS), [[], []])
            self.assertEqual(self.blocks(instrument, ALLAN), allan)  # until it is computed anew


if __name__ == "__main__":
    unittest.main()
