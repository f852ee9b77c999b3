"""Sweeps: the combinations, failing releases, and identical rows serially, on threads and on Dask."""

import os

import pytest

from conftest import PYTHON_DIR, VENT

import ostreljet


def test_cases_vary_the_last_key_fastest():
    combined = ostreljet.cases({"stackHeight": 10.0}, {"pasquillStability": ["A", "B"], "referenceWindSpeed": [2, 5, 10]})
    assert [(c["pasquillStability"], c["referenceWindSpeed"]) for c in combined] == [
        ("A", 2), ("A", 5), ("A", 10), ("B", 2), ("B", 5), ("B", 10)
    ]
    assert all(c["stackHeight"] == 10.0 for c in combined)
    with pytest.raises(ValueError, match="no input 'windSpeed'"):
        ostreljet.cases({}, {"windSpeed": [1]})
    with pytest.raises(TypeError, match="list of values"):
        ostreljet.cases({}, {"pasquillStability": "ABC"})


def test_failing_releases_become_rows():
    rows = ostreljet.sweep(
        VENT,
        {"massFlowrate": [2.0, 0.01, -1.0, "lots"]},
        levels="2%",
        unit="%",
        workers=2,
        frame=False,
    )
    assert [row["status"] for row in rows] == ["ok", "refused", "invalid", "error"]
    assert rows[0]["centrelineDownwindDistance 2%"] > 0 and rows[0]["level 2%"] == 2.0
    assert rows[1]["centrelineDownwindDistance 2%"] is None
    assert rows[1]["end_message"].startswith(
        "The calculated exit velocity is less than three times the wind velocity, model not valid. (exit speed "
    )
    assert rows[1]["messages"][0].startswith("error: The calculated exit velocity")
    assert rows[3]["error"] == "TypeError: massFlowrate takes a number (kg/s), not str 'lots'"
    assert [row["run"] for row in rows] == [0, 1, 2, 3]
    assert rows[0]["pasquillStability"] == "D" and rows[0]["massFlowrate"] == 2.0


def _weather(count):
    speeds = [1.5 + 0.25 * k for k in range(count // 6)]
    return {"pasquillStability": list("ABCDEF"), "referenceWindSpeed": speeds}


def test_threads_equal_serial():
    pandas = pytest.importorskip("pandas")
    base = {"gas": "methane"}
    serial = ostreljet.sweep(dict(base, **_inputs()), _weather(12), levels="LFL,1%", unit="ppm", workers=1)
    threads = ostreljet.sweep(dict(base, **_inputs()), _weather(12), levels="LFL,1%", unit="ppm", workers=4)
    pandas.testing.assert_frame_equal(serial, threads)
    assert serial.attrs["units"]["centrelineDownwindDistance LFL"] == "m"
    assert serial.attrs["units"]["level LFL"] == "ppm" and serial.attrs["units"]["massFlowrate"] == "kg/s"
    assert set(serial["status"]) <= {"ok", "warning"} and serial.index.name == "run"


def _inputs():
    with ostreljet.Model.from_scenario(VENT) as model:
        inputs = model.to_dict()
    inputs.pop("sourceMolecularWeight")
    return inputs


@pytest.mark.skipif("libasan" in os.environ.get("LD_PRELOAD", ""), reason="worker processes under the sanitizer preload")
def test_two_worker_local_cluster_equals_serial(monkeypatch):
    pandas = pytest.importorskip("pandas")
    distributed = pytest.importorskip("distributed")
    # Workers are new processes: they find this source tree's package and the same library.
    monkeypatch.setenv("PYTHONPATH", PYTHON_DIR + os.pathsep + os.environ.get("PYTHONPATH", ""))
    monkeypatch.setenv("OSTRELJET_LIBRARY", ostreljet.library_path())
    vary = _weather(102)
    vary["massFlowrate"] = [2.0, 0.01]  # every other run refused by the source checks
    base = dict({"gas": "methane"}, **_inputs())
    serial = ostreljet.sweep(base, vary, levels="LFL", unit="%", workers=1)
    assert len(serial) == 6 * 17 * 2 >= 200
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            clustered = ostreljet.sweep(base, vary, levels="LFL", unit="%", client=client)
    pandas.testing.assert_frame_equal(serial, clustered)
    assert "refused" in set(serial["status"]) and set(serial["status"]) <= {"ok", "warning", "refused"}


def test_a_chunk_on_a_kept_model_gives_the_rows_of_separate_models():
    from ostreljet._sweep import _chunks, _rows, run_case, run_chunk

    inputs = _inputs()
    runs = [(0, dict(inputs, massFlowrate="lots")), (1, dict(inputs, stackHeight=35.0)), (2, dict(inputs))]
    columns, shapes, shape, units = run_chunk(runs, levels="LFL", unit="%")
    expected = [run_case(index, case, levels="LFL", unit="%") for index, case in runs]
    rows = _rows(columns, shapes, shape)
    # The failed row first: it lacks the summary's figures, and the others keep their own order of names.
    assert rows == [row for row, _ in expected] and [list(row) for row in rows] == [list(r) for r, _ in expected]
    assert rows[0]["status"] == "error" and "centrelineDownwindDistance LFL" not in rows[0]
    assert units == expected[1][1] and units["centrelineDownwindDistance LFL"] == "m"
    # A later chunk that does not name an input gets its default, not the value an earlier chunk set.
    later, _, _, _ = run_chunk([(3, {"massFlowrate": 2.0, "stoppingConcentration": 0.01})])
    assert later["stackHeight"] == [ostreljet.INPUTS["stackHeight"].default] != [35.0]
    assert later["sourceMolecularWeight"] == [ostreljet.INPUTS["sourceMolecularWeight"].default]
    # 600 runs on two workers: chunks of 32 runs (the last 24), every run once and in order.
    chunks = _chunks(list(range(600)), 2)
    assert [len(chunk) for chunk in chunks] == [32] * 18 + [24]
    assert [run for chunk in chunks for run in chunk] == list(range(600))
    assert [len(chunk) for chunk in _chunks(list(range(5)), 2)] == [1] * 5


def test_weather_matrix_example_prints_the_lfl_table():
    import subprocess
    import sys

    example = os.path.join(os.path.dirname(PYTHON_DIR), "examples", "sweep.py")
    environ = dict(os.environ, PYTHONPATH=PYTHON_DIR, OSTRELJET_LIBRARY=ostreljet.library_path())
    result = subprocess.run([sys.executable, example], capture_output=True, text=True, env=environ, timeout=300)
    assert result.returncode == 0, result.stderr
    lines = result.stdout.splitlines()
    assert lines[0] == "Downwind distance (m) where the centreline falls below the LFL of methane (5 % by volume)"
    assert lines[1].split() == ["stability", "2", "m/s", "5", "m/s", "10", "m/s"]
    assert [line.split()[0] for line in lines[2:]] == list("ABCDEF")
    # The weather matrix: at 10 m/s the stable F wind refuses the slow vent; elsewhere a distance.
    assert lines[7].split()[1:] == [lines[7].split()[1], lines[7].split()[2], "refused"]
    assert all(float(cell) > 0 for line in lines[2:7] for cell in line.split()[1:])
