"""Input properties as attributes: defaults, conversions of the enumerations and the errors of bad input."""

import math

import pytest
from conftest import numpy

import ostreljet
from ostreljet import Model

# Values of a new model, as the interface defines them.
DEFAULTS = {
    "stackHeight": 0.0,
    "orificeDiameter": 0.0,
    "stackLocationX": 0.0,
    "stackLocationY": 0.0,
    "releaseAngle": 0.0,
    "dischargeCoefficient": 1.0,
    "massFlowrate": 0.0,
    "atmosphereMolecularWeight": 0.02896,
    "atmospherePressure": 101325.0,
    "atmosphereSpecificHeat": 0.0,
    "atmosphereTemperature": 288.15,
    "atmosphereSurfaceRoughness": 0.0,
    "referenceWindHeight": 10.0,
    "referenceWindSpeed": 5.0,
    "referenceWindBearing": 90.0,
    "sourceMolecularWeight": 0.0,
    "sourceSpecificHeat": 0.0,
    "sourceSpecificHeatRatio": 0.0,
    "sourceTemperature": 0.0,
    "timeAveraging": 0,
    "stoppingConcentration": 0.0,
    "pasquillStability": 3,
    "stackBearing": 0.0,
}


def test_defaults_and_interface_order():
    with Model() as m:
        assert m.to_dict() == DEFAULTS
        assert list(m.to_dict()) == list(DEFAULTS)
        assert m.atmosphereTemperature == 288.15
        assert m.dischargeCoefficient == 1.0
        assert m.pasquillStability == 3 and type(m.pasquillStability) is int
        assert m.timeAveraging == 0 and type(m.timeAveraging) is int


def test_doubles_are_stored_exactly():
    with Model() as m:
        m.stackHeight = 10
        assert m.stackHeight == 10.0 and type(m.stackHeight) is float
        m.releaseAngle = -179.999
        assert m.releaseAngle == -179.999
        m.stackLocationX = 0.1 + 0.2
        assert m.stackLocationX == 0.30000000000000004
        # Values outside the valid range are stored and only refused by a run.
        m.stackHeight = 5000.0
        assert m.stackHeight == 5000.0
        if numpy is not None:
            m.massFlowrate = numpy.float32(0.5)
            assert m.massFlowrate == 0.5


@pytest.mark.parametrize(
    "value, number",
    [("A", 0), ("F", 5), ("PASQUILL_A", 0), ("PASQUILL_E", 4), (0, 0), (5, 5), (2.0, 2)],
)
def test_pasquill_forms(value, number):
    with Model() as m:
        m.pasquillStability = value
        assert m.pasquillStability == number


@pytest.mark.parametrize(
    "value, number",
    [("short", 0), ("long", 1), ("SHORT_TIME_AVERAGING", 0), ("LONG_TIME_AVERAGING", 1), (1, 1), (0, 0)],
)
def test_time_averaging_forms(value, number):
    with Model() as m:
        m.timeAveraging = 1 - number
        m.timeAveraging = value
        assert m.timeAveraging == number


@pytest.mark.parametrize(
    "name, value, error, shown",
    [
        ("pasquillStability", "G", ValueError, "'G'"),
        ("pasquillStability", "d", ValueError, "'d'"),
        ("pasquillStability", 6, ValueError, "6"),
        ("pasquillStability", -1, ValueError, "-1"),
        ("pasquillStability", 2.5, ValueError, "2.5"),
        ("pasquillStability", True, TypeError, "True"),
        ("pasquillStability", None, TypeError, "None"),
        ("timeAveraging", "medium", ValueError, "'medium'"),
        ("timeAveraging", 2, ValueError, "2"),
        ("stackHeight", "10", TypeError, "'10'"),
        ("stackHeight", None, TypeError, "None"),
        ("stackHeight", [1.0], TypeError, "[1.0]"),
        ("stackHeight", False, TypeError, "False"),
        ("stackHeight", 1j, TypeError, "1j"),
        ("massFlowrate", math.nan, ValueError, "nan"),
        ("massFlowrate", -math.inf, ValueError, "-inf"),
    ],
)
def test_bad_values_name_property_and_value(name, value, error, shown):
    with Model() as m:
        before = getattr(m, name)
        with pytest.raises(error) as raised:
            setattr(m, name, value)
        assert name in str(raised.value)
        assert shown in str(raised.value)
        assert getattr(m, name) == before


def test_unknown_attributes():
    with Model() as m:
        with pytest.raises(AttributeError, match="stackheight.*did you mean 'stackHeight'"):
            m.stackheight = 10.0
        with pytest.raises(AttributeError, match="'noSuchInput'"):
            m.noSuchInput
        with pytest.raises(AttributeError, match="'colour'"):
            m.colour = "red"
        with pytest.raises(AttributeError, match="read-only"):
            m.results = None
        with pytest.raises(AttributeError, match="read-only"):
            m.messages = []
        with pytest.raises(AttributeError):
            del m.stackHeight
        with pytest.raises(AttributeError, match="'stackHieght'"):
            Model(stackHieght=1.0)
        assert m.stackHeight == 0.0
        assert "sourceTemperature" in dir(m)


def test_keyword_construction_and_set():
    with Model(stackHeight=20, pasquillStability="F", timeAveraging="long") as m:
        assert (m.stackHeight, m.pasquillStability, m.timeAveraging) == (20.0, 5, 1)
        assert m.set(releaseAngle=45, stackBearing=270) is m
        assert (m.releaseAngle, m.stackBearing) == (45.0, 270.0)
        with pytest.raises(TypeError, match="releaseAngle"):
            m.set(releaseAngle="up")


def test_close_and_context_manager():
    m = Model()
    assert not m.closed
    m.close()
    m.close()
    assert m.closed
    for use in (lambda: m.stackHeight, lambda: m.run(), lambda: m.concentration(0, 0, 0), lambda: m.messages):
        with pytest.raises(ValueError, match="closed"):
            use()
    with pytest.raises(ValueError, match="closed"):
        m.stackHeight = 1.0
    with Model() as inner:
        pass
    assert inner.closed
    assert "closed" in repr(inner)


def test_names_match_the_library():
    assert len(ostreljet.INPUTS) == 23
    assert list(ostreljet.SERIES) == [
        "arclength",
        "x",
        "y",
        "z",
        "profileRadius",
        "centrelineConcentration",
        "centrelineTemperature",
        "centrelineVelocity",
    ]


def test_copies_own_their_model_and_carry_the_inputs():
    import copy
    import pickle

    original = Model(stackHeight=12.5, pasquillStability="B", timeAveraging="long")
    copies = [copy.copy(original), copy.deepcopy(original), pickle.loads(pickle.dumps(original))]
    original.close()
    for duplicate in copies:
        assert not duplicate.closed
        assert duplicate.to_dict() == dict(DEFAULTS, stackHeight=12.5, pasquillStability=1, timeAveraging=1)
        duplicate.stackHeight = 1.0
        duplicate.close()
