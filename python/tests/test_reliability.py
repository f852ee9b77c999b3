"""close() racing a grid in another thread, and a release that would start underground."""

import threading

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
