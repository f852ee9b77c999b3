"""Runs: validation failures, the bundled vent from start to stop, results and point concentrations."""

import math
import threading

import pytest
from conftest import VENT, as_list, numpy

import ostreljet
from ostreljet import Model

ORIFICE_MESSAGE = "The orifice diameter should lie between 0 and 100m."


def test_new_model_fails_validation(array_mode):
    with Model() as m:
        assert m.run() is False
        assert m.messages == [ORIFICE_MESSAGE]
        assert m.step_count == 0
        assert len(m.results) == 0
        assert all(len(m.results[name]) == 0 for name in ostreljet.SERIES)
        assert m.concentration(0.0, 0.0, 0.0) == 0.0


def test_only_the_first_failing_check_is_reported():
    with Model.from_scenario(VENT) as m:
        m.sourceTemperature = 50.0
        m.referenceWindSpeed = 30.0
        assert m.run() is False
        assert m.messages == ["The temperature of the source should lie between 80 and 2500K."]
        m.sourceTemperature = 300.0
        assert m.run() is False
        assert m.messages == ["The reference wind speed should lie between 0 and 20m/s."]


def test_horizontal_release_into_a_crosswind_is_refused():
    with Model.from_scenario(VENT) as m:
        m.set(releaseAngle=0.0, stackBearing=90.0, referenceWindBearing=270.0)
        assert m.run() is False
        assert m.messages == [
            "You can not release a gas directly into a crosswind, please modify input parameters"
        ]
        m.releaseAngle = 1.0
        assert m.run() is True


def test_vent_runs_to_the_stopping_concentration(vent, array_mode):
    results = vent.results
    steps = vent.step_count
    assert steps > 10
    assert len(results) == steps
    for name in ostreljet.SERIES:
        column = results[name]
        assert len(column) == steps
        if array_mode == "numpy":
            assert isinstance(column, numpy.ndarray) and column.dtype == numpy.float64
        else:
            assert type(column) is list and all(type(v) is float for v in column)
    arclength = as_list(results.arclength)
    assert vent.messages[-1] == "Stopping concentration reached at %.1f m." % arclength[-1]
    assert all(b >= a for a, b in zip(arclength, arclength[1:]))
    # The first step is the orifice: 20 m up at the origin, pure source gas at 300 K.
    assert (arclength[0], results.x[0], results.y[0], results.z[0]) == (0.0, 0.0, 0.0, 20.0)
    assert results.centrelineConcentration[0] == 1.0
    assert results.centrelineTemperature[0] == 300.0
    # Exit velocity: 2 kg/s of methane at 300 K (0.6517 kg/m3) through a 0.3 m hole is 43.42 m/s.
    density = 101325.0 * 0.01604 / (8.31434 * 300.0)
    exit_velocity = 2.0 / (density * math.pi * 0.15**2)
    assert results.centrelineVelocity[0] == pytest.approx(exit_velocity, rel=1e-3)
    # The wind blows towards +x, so the jet bends downwind, stays in the plane y = 0 and ends at 1 %.
    assert results.x[-1] > 10.0 and results.z[-1] > 20.0
    assert max(abs(v) for v in as_list(results.y)) < 1e-9
    assert results.centrelineConcentration[-1] == pytest.approx(0.01, rel=1e-3)
    with pytest.raises(AttributeError, match="radius"):
        results.radius
    with pytest.raises(KeyError):
        results["radius"]


def test_point_concentrations(vent):
    # On the axis at the orifice the jet is the source gas itself.
    assert abs(vent.concentration(0.0, 0.0, 20.0) - 1.0) < 1e-12
    # Far upwind there is none.
    assert vent.concentration(-1000.0, 0.0, 20.0) == 0.0
    # The wind blows along x through the stack, so the field is mirror-symmetric in y (to rounding).
    for x, y, z in [(4.0, 1.0, 23.0), (12.0, 1.5, 24.5), (30.0, 2.0, 26.0)]:
        here = vent.concentration(x, y, z)
        assert here > 0.0
        assert vent.concentration(x, -y, z) == pytest.approx(here, rel=1e-9)
    assert vent.concentration(12, 0, 24) == vent.concentration(12.0, 0.0, 24.0)
    with pytest.raises(TypeError, match="y must be a number"):
        vent.concentration(0.0, "0", 20.0)
    with pytest.raises(TypeError):
        vent.concentration(0.0, 0.0)


def test_rerun_refreshes_results_and_messages(array_mode):
    with Model.from_scenario(VENT) as m:
        assert m.run()
        first = as_list(m.results.arclength)
        m.stoppingConcentration = 0.05
        assert m.run()
        second = as_list(m.results.arclength)
        assert second[-1] < first[-1]
        assert m.messages[-1] == "Stopping concentration reached at %.1f m." % second[-1]
        assert m.results.centrelineConcentration[-1] == pytest.approx(0.05, rel=1e-3)
        m.orificeDiameter = 0.0
        assert m.run() is False
        assert m.messages == [ORIFICE_MESSAGE]
        assert len(m.results) == 0


def test_models_on_several_threads_match_serial_runs():
    with Model.from_scenario(VENT) as serial:
        assert serial.run()
        expected = as_list(serial.results.centrelineConcentration)
    outcomes = []

    def work():
        with Model.from_scenario(VENT) as m:
            outcomes.append((m.run(), as_list(m.results.centrelineConcentration)))

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert outcomes == [(True, expected)] * 4
