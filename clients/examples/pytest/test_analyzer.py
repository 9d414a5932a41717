"""Tests of a test program's own, against a virtual analyzer for each worker:

    pytest -p clients.pytest_instrument -n 4 clients/examples/pytest/test_analyzer.py
"""

import pytest


def test_it_says_who_it_is(analyzer):
    assert analyzer.query("*IDN?").startswith("Tolvane AG,")


@pytest.mark.parametrize("start_hz", [1, 10, 100, 1000])
def test_a_setting_is_this_workers_alone(analyzer, start_hz):
    analyzer.write(f"SENS:PN:FREQ:STAR {start_hz}")
    assert float(analyzer.query("SENS:PN:FREQ:STAR?")) == start_hz
    assert analyzer.query("SYST:ERR?") == '0,"No error"'


def test_it_finds_the_carrier(analyzer):
    analyzer.write("SENS:FREQ:EXEC")
    assert float(analyzer.query("CALC:FREQ?")) == pytest.approx(100e6, rel=1e-3)
