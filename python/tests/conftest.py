"""Shared fixtures: the package from this source tree, the bundled vent and both array modes."""

import os
import sys

import pytest

PYTHON_DIR = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
VENT = os.path.join(os.path.dirname(PYTHON_DIR), "examples", "vertical_buoyant_vent.json")
BOX = (0.0, -2.0, 20.0, 12.0, 2.0, 26.0)

sys.path.insert(0, PYTHON_DIR)

import ostreljet  # noqa: E402

try:
    import numpy
except ImportError:
    numpy = None


@pytest.fixture(params=["numpy", "lists"])
def array_mode(request):
    """Runs a test once with numpy results and once with plain lists."""
    if request.param == "numpy" and numpy is None:
        pytest.skip("numpy is not installed")
    saved = ostreljet.use_numpy
    ostreljet.use_numpy = request.param == "numpy"
    yield request.param
    ostreljet.use_numpy = saved


@pytest.fixture(scope="module")
def vent():  # the bundled vertical methane vent, run once
    with ostreljet.Model.from_scenario(VENT) as model:
        assert model.run() is True
        yield model


def as_list(values):
    return values.tolist() if hasattr(values, "tolist") else values
