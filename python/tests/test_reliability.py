"""close() racing a grid in another thread, a release that would start underground, texts with NUL
characters, the sweep's run limit and cancellation, and a summary under its budget."""

import threading
import time

import pytest

import ostreljet
from conftest import VENT


def test_close_racing_grid_waits_for_the_grid():
    # close() takes the model's lock, so it either waits for a grid in progress or makes the grid
    # raise ValueError; it never frees the model under it.
    for _ in range(20):
        model = ostreljet.Model.from_scenario(VENT)
        model.run()
        outcomes = []

        def evaluate():
            try:
                model.grid(0.0, -2.0, 20.0, 12.0, 2.0, 26.0, 40, 20, 20)
                outcomes.append("grid")
            except ValueError as error:
                outcomes.append(str(error))

        workers = [threading.Thread(target=evaluate) for _ in range(3)]
        for worker in workers:
            worker.start()
        model.close()
        for worker in workers:
            worker.join()
        assert len(outcomes) == 3
        assert set(outcomes) <= {"grid", "the model is closed; create a new Model to go on"}


def test_release_starting_underground_is_refused():
    model = ostreljet.Model.from_scenario(VENT)
    model.stackHeight = 0.0
    model.releaseAngle = -90.0
    with pytest.raises(ValueError, match=r"the run was refused: the release starts at ground level \(stackHeight 0 m\) "
                       r"and points downward \(releaseAngle -90 degrees\)"):
        model.run()


def test_texts_with_a_nul_character_are_refused_not_cut_short():
    model = ostreljet.Model.from_scenario(VENT)
    with pytest.raises(ValueError, match="gas must not contain a NUL character"):
        model.gas = "methane\x00junk"
    model.run()
    with pytest.raises(ValueError, match="levels must not contain a NUL character"):
        model.summary(levels="LFL\x00,UFL")


def test_a_summary_without_levels_or_their_default_says_so():
    model = ostreljet.Model()
    with pytest.raises(ValueError, match=r"no levels given, and the default level, the stopping concentration, "
                       r"is not set \(stoppingConcentration is 0\)"):
        model.summary()


def test_a_huge_release_fails_at_once_and_no_region_is_computed():
    model = ostreljet.Model.from_scenario(VENT)
    model.massFlowrate = 1e300
    model.run()
    start = time.monotonic()
    summary = model.summary(levels="LFL,LFL/2,1%,0.5%,0.2%,0.1%,500ppm,100ppm")
    assert time.monotonic() - start < 5.0
    assert summary.status == "failed"
    assert summary.messages[-1][0] == "error"
    assert summary.messages[-1][1].startswith(
        "The model produced non-physical values: a profile radius of 3.228e+148 m, wider than the model's range "
        "of 10000 m")
    assert all(not level["regionComputed"] and level["farthestDownwindExtent"] is None
               for level in summary.levels)


def test_sweeps_keep_the_run_limit_of_batch():
    vary = {"referenceWindSpeed": list(range(1, 1001)), "stackHeight": list(range(1, 1001))}
    with pytest.raises(ValueError, match=r"the sweep expands to 1000000 runs, beyond the limit of 100000 runs"):
        ostreljet.sweep(VENT, vary)
    with pytest.raises(ValueError, match=r"beyond the limit of 2 runs"):
        ostreljet.sweep(VENT, {"referenceWindSpeed": [2, 3, 4]}, max_runs=2)
    for bad in (0, -1, 1.5, True):
        with pytest.raises(ValueError, match="max_runs must be a whole number of 1 or more"):
            ostreljet.sweep(VENT, {"referenceWindSpeed": [2]}, max_runs=bad)


def test_a_cancelled_sweep_starts_no_further_run_and_stops_the_running_ones():
    from ostreljet._sweep import _Cancellation, run_case

    cancellation = _Cancellation()
    with ostreljet.Model.from_scenario(VENT) as base:
        inputs = base.to_dict()
    cancellation.cancel()
    row, _ = run_case(0, inputs, cancellation=cancellation)
    assert row["error"] == "cancelled before it started"

    # A run under way: its model is cancelled from this thread while the run goes on in another.
    running = _Cancellation()
    inputs["massFlowrate"] = 1e300
    rows = []
    worker = threading.Thread(target=lambda: rows.append(run_case(1, inputs, levels="LFL", cancellation=running)))
    worker.start()
    time.sleep(0.05)
    start = time.monotonic()
    running.cancel()
    worker.join(5.0)
    assert not worker.is_alive()
    assert time.monotonic() - start < 1.0
    assert rows[0][0]["error"] is None
