"""Input properties as attributes: conversions, the enumerations' forms, refusals and the model's lifetime."""

import copy
import math
import pickle

import pytest
from conftest import numpy

import ostreljet
from ostreljet import Model


def test_numbers_are_stored_as_floats_and_enumerations_read_as_labels():
    with Model() as m:
        assert (m.pasquillStability, m.timeAveraging) == ("D", "short")
        m.stackHeight = 10
        assert m.stackHeight == 10.0 and type(m.stackHeight) is float
        if numpy is not None:
            m.massFlowrate = numpy.float32(0.5)
            assert m.massFlowrate == 0.5


@pytest.mark.parametrize(
    "name, forms",
    [
        ("pasquillStability", [("A", 0), ("F", 5), ("PASQUILL_A", 0), ("PASQUILL_E", 4), (0, 0), (5, 5), (2.0, 2)]),
        ("timeAveraging", [("long", 1), ("short", 0), ("LONG_TIME_AVERAGING", 1), ("SHORT_TIME_AVERAGING", 0), (1, 1)]),
    ],
)
def test_enumeration_forms(name, forms):
    with Model() as m:
        for value, number in forms:
            setattr(m, name, value)
            assert getattr(m, name) == ostreljet.INPUTS[name].labels[number][0], value


@pytest.mark.parametrize(
    "name, error, values",
    [
        ("pasquillStability", ValueError, ["G", "d", 6, -1, 2.5]),
        ("pasquillStability", TypeError, [True, None]),
        ("timeAveraging", ValueError, ["medium", 2]),
        ("stackHeight", TypeError, ["10", False, 1j]),
    ],
)
def test_bad_values_name_property_and_value(name, error, values):
    with Model() as m:
        before = getattr(m, name)
        for value in values:
            with pytest.raises(error) as raised:
                setattr(m, name, value)
            assert name in str(raised.value) and repr(value) in str(raised.value)
            assert getattr(m, name) == before


@pytest.mark.parametrize("value", [math.nan, -math.nan, math.inf, -math.inf])
def test_non_finite_values_are_refused_for_every_real_input(value):
    with Model() as m:
        for name, default in m.to_dict().items():
            if ostreljet.INPUTS[name].kind != "double":
                continue  # enumerations: their own test
            with pytest.raises(ValueError, match=name):
                setattr(m, name, value)
            assert getattr(m, name) == default


def test_unknown_and_read_only_attributes():
    with Model() as m:
        with pytest.raises(AttributeError, match="stackheight.*did you mean 'stackHeight'"):
            m.stackheight = 10.0
        with pytest.raises(AttributeError, match="'noSuchInput'"):
            m.noSuchInput
        for name in ("results", "messages"):
            with pytest.raises(AttributeError, match="read-only"):
                setattr(m, name, None)
        with pytest.raises(AttributeError):
            del m.stackHeight
        with pytest.raises(AttributeError, match="'stackHieght'"):
            Model(stackHieght=1.0)
        assert m.stackHeight == 0.0 and "sourceTemperature" in dir(m)


def test_keyword_construction_and_set():
    with Model(stackHeight=20, pasquillStability="F", timeAveraging="long") as m:
        assert (m.stackHeight, m.pasquillStability, m.timeAveraging) == (20.0, "F", "long")
        assert m.set(releaseAngle=45, stackBearing=270) is m
        assert (m.releaseAngle, m.stackBearing) == (45.0, 270.0)
        with pytest.raises(TypeError, match="releaseAngle"):
            m.set(releaseAngle="up")


def test_close_and_context_manager():
    with Model() as m:
        assert not m.closed
    assert m.closed and repr(m) == "<ostreljet.Model (closed)>"
    m.close()  # twice is harmless
    for use in (lambda: m.stackHeight, m.run, lambda: m.concentration(0, 0, 0), lambda: m.messages):
        with pytest.raises(ValueError, match="the model is closed; create a new Model to go on"):
            use()
    with pytest.raises(ValueError, match="closed"):
        m.stackHeight = 1.0


def test_copies_own_their_model_and_carry_the_inputs():
    original = Model(stackHeight=12.5, pasquillStability="B", timeAveraging="long")
    inputs = original.to_dict()
    copies = [copy.copy(original), copy.deepcopy(original), pickle.loads(pickle.dumps(original))]
    original.close()
    for duplicate in copies:
        assert not duplicate.closed and duplicate.to_dict() == inputs
        duplicate.stackHeight = 1.0
        duplicate.close()


def test_inputs_are_described_by_the_library():
    assert len(ostreljet.INPUTS) == 23
    assert list(ostreljet.INPUTS)[:2] == ["stackHeight", "orificeDiameter"]
    diameter = ostreljet.INPUTS["orificeDiameter"]
    assert (diameter.kind, diameter.unit, diameter.default) == ("double", "m", 0.0)
    assert diameter.range == (0.0, 100.0, False, True)
    assert ostreljet.INPUTS["massFlowrate"].range[1] == float("inf")
    assert ostreljet.INPUTS["pasquillStability"].labels[3] == ("D", "PASQUILL_D")
    assert ostreljet.INPUTS["timeAveraging"].kind == "TIME_AVERAGING"
    assert ostreljet.PASQUILL["PASQUILL_F"] == ostreljet.PASQUILL["F"] == 5
    assert dict(ostreljet.TIME_AVERAGING) == {"short": 0, "SHORT_TIME_AVERAGING": 0, "long": 1, "LONG_TIME_AVERAGING": 1}
    assert ostreljet.Model().atmospherePressure == ostreljet.INPUTS["atmospherePressure"].default == 101325.0
