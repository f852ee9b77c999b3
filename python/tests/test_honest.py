"""Statuses, "not computed" and lowered stopping concentrations, as every other front says them."""

import math

from conftest import VENT

from ostreljet import Model


def test_a_non_physical_run_fails_with_its_cause():
    # 0.125 kg/mol is 4.3 times as dense as air: the centreline concentration starts below 0.
    with Model.from_scenario(VENT) as m:
        m.sourceMolecularWeight = 0.125
        m.stackHeight = 10.0
        m.orificeDiameter = 0.1
        m.sourceSpecificHeat = 665.0
        m.sourceSpecificHeatRatio = 1.1
        m.sourceTemperature = 288.15
        m.stoppingConcentration = 0.0001
        assert m.run() is False
        assert m.status == "failed"
        assert m.end_message.startswith("The model produced non-physical values: a centreline concentration of -")
        assert "the density ratio of 4.3" in m.end_message
        assert math.isnan(m.concentration(0.0, 0.0, 10.5)) and not m.computed(0.0, 0.0, 10.5)


def test_a_point_beyond_the_far_field_is_not_computed_and_a_point_beside_it_is_zero():
    with Model.from_scenario(VENT) as m:
        assert m.run() is True and m.status == "ok"
        r = m.results
        x, z = r.x[-1], r.z[-1]
        # Past the jet's end the far field answers; past the far field's end nothing is computed.
        assert m.concentration(x + 100.0, 0.0, z) > 0.0 and m.computed(x + 100.0, 0.0, z)
        assert math.isnan(m.concentration(x + 20000.0, 0.0, z)) and not m.computed(x + 20000.0, 0.0, z)
        assert m.concentration(x - 10.0, 0.0, z) > 0.0 and m.computed(x - 10.0, 0.0, z)
        assert m.concentration(0.0, 500.0, 5.0) == 0.0 and m.computed(0.0, 500.0, 5.0)
        summary = m.summary(levels="0.05")
        # The modelled region ends with the far field, at its default distance, as run --json gives it.
        assert summary.figures["notComputedBeyondDownwind"] == 10000.0


def test_a_level_below_the_stopping_concentration_is_answered_from_a_longer_run():
    with Model.from_scenario(VENT) as m:
        m.gas = "methane"
        m.run()
        expected = m.summary(levels="LFL").levels[0]["centrelineDownwindDistance"]
    with Model.from_scenario(VENT) as m:
        m.gas = "methane"
        m.stoppingConcentration = 0.1
        assert m.run() is True
        summary = m.summary(levels="LFL")
        assert summary.levels[0]["centrelineDownwindDistance"] == expected
        assert summary.figures["stoppingConcentrationLoweredFrom"] == 0.1
        assert summary.figures["stoppingConcentration"] == 0.025


def test_refused_weather_and_an_unusual_class():
    with Model.from_scenario(VENT) as m:
        m.pasquillStability = "A"
        m.referenceWindSpeed = 15.0
        assert m.run() is False and m.status == "invalid"
        assert m.end_message.startswith("The weather is not physical: class A with a wind speed of 15 m/s at 10 m")
        m.pasquillStability = "F"
        m.referenceWindSpeed = 5.0
        assert m.run() is True and m.status == "warning"
        assert m.messages[-1].startswith("Class F is unusual for a wind speed of 5 m/s at 10 m")
