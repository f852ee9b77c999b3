"""Scenario files: every bundled example loads and runs; missing and malformed files are refused."""

import glob
import os
import pathlib

import pytest
from conftest import EXAMPLES_DIR, VENT

from ostreljet import Model

EXAMPLES = sorted(glob.glob(os.path.join(EXAMPLES_DIR, "*.json")))


def test_scenario_sets_the_inputs():
    with Model.from_scenario(pathlib.Path(VENT)) as m:
        inputs = m.to_dict()
    assert inputs["stackHeight"] == 20.0
    assert inputs["orificeDiameter"] == 0.3
    assert inputs["releaseAngle"] == 90.0
    assert inputs["atmosphereSpecificHeat"] == 1005.0
    assert inputs["pasquillStability"] == 3
    assert inputs["timeAveraging"] == 0
    assert inputs["stoppingConcentration"] == 0.01
    # Keys the file leaves out keep a new model's values.
    assert inputs["stackBearing"] == 0.0
    assert inputs["stackLocationX"] == 0.0


@pytest.mark.parametrize("path", EXAMPLES, ids=os.path.basename)
def test_every_example_runs(path):
    with Model.from_scenario(path) as m:
        assert m.run() is True
        assert m.step_count > 1
        assert m.messages


def test_missing_file(tmp_path):
    missing = tmp_path / "absent.json"
    with pytest.raises(FileNotFoundError) as raised:
        Model.from_scenario(missing)
    assert str(missing) in str(raised.value)
    assert "no such file" in str(raised.value)
    assert raised.value.filename == str(missing)


def test_unknown_key_is_refused_and_nothing_is_set(tmp_path):
    path = tmp_path / "typo.json"
    path.write_text('{"stackHeight": 30.0, "stackHieght": 20.0}')
    with pytest.raises(ValueError, match='unknown key "stackHieght"'):
        Model.from_scenario(path)
    with Model() as m:
        with pytest.raises(ValueError):
            m.load_scenario(path)
        assert m.stackHeight == 0.0


def test_malformed_files(tmp_path):
    broken = tmp_path / "broken.json"
    broken.write_text('{\n  "stackHeight": 20.0,\n  "orificeDiameter": \n}\n')
    with pytest.raises(ValueError, match=r"broken\.json:4:1: not valid JSON"):
        Model.from_scenario(broken)
    wrong_type = tmp_path / "type.json"
    wrong_type.write_text('{"pasquillStability": "G"}')
    with pytest.raises(ValueError, match='"pasquillStability" must be one of'):
        Model.from_scenario(wrong_type)
    with pytest.raises(ValueError, match="is a directory"):
        Model.from_scenario(tmp_path)


def test_bad_paths():
    with pytest.raises(ValueError, match="NUL"):
        Model.from_scenario("examples/\0vent.json")
    with pytest.raises(TypeError, match="int"):
        Model.from_scenario(42)
