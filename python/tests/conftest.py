"""Shared fixtures: the package from this source tree, the example scenarios and both array modes."""

import os
import sys

import pytest

PYTHON_DIR = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
REPOSITORY_DIR = os.path.dirname(PYTHON_DIR)
EXAMPLES_DIR = os.path.join(REPOSITORY_DIR, "examples")
VENT = os.path.join(EXAMPLES_DIR, "vertical_buoyant_vent.json")

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
def vent():
    """The bundled vertical methane vent, run once."""
    model = ostreljet.Model.from_scenario(VENT)
    assert model.run() is True
    yield model
    model.close()


def as_list(values):
    return values.tolist() if hasattr(values, "tolist") else list(values)
