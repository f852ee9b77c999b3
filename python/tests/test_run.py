"""Runs, results and messages of the bundled vent, point concentrations and concentration grids."""

import pytest
from conftest import BOX, VENT, as_list, numpy

import ostreljet
from ostreljet import Model

ORIFICE_MESSAGE = "The orifice diameter should lie between 0 and 100m."


def test_vent_results_and_messages(vent, array_mode):
    results = vent.results
    assert vent.step_count > 10 and len(results) == vent.step_count
    for name in ostreljet.SERIES:
        assert len(results[name]) == vent.step_count
        if array_mode == "numpy":
            assert isinstance(results[name], numpy.ndarray) and results[name].dtype == numpy.float64
        else:
            assert type(results[name]) is list and all(type(v) is float for v in results[name])
    assert vent.messages[-1] == "Stopping concentration reached at %.1f m." % results.arclength[-1]
    # The first step is the orifice: 20 m up at the origin, pure source gas at 300 K; the run ends at 1 %.
    assert (results.arclength[0], results.x[0], results.y[0], results.z[0]) == (0.0, 0.0, 0.0, 20.0)
    assert (results.centrelineConcentration[0], results.centrelineTemperature[0]) == (1.0, 300.0)
    assert results.centrelineConcentration[-1] == pytest.approx(0.01, rel=1e-3)
    with pytest.raises(AttributeError, match="radius"):
        results.radius
    with pytest.raises(KeyError):
        results["radius"]


def test_rerun_refreshes_results_and_messages(array_mode):
    with Model.from_scenario(VENT) as m:
        assert m.run()
        first = as_list(m.results.arclength)
        m.stoppingConcentration = 0.05
        assert m.run()
        second = as_list(m.results.arclength)
        assert second[-1] < first[-1] and m.results.centrelineConcentration[-1] == pytest.approx(0.05, rel=1e-3)
        assert m.messages[-1] == "Stopping concentration reached at %.1f m." % second[-1]
        # A refused run leaves no results behind.
        m.orificeDiameter = 0.0
        assert m.run() is False
        assert m.messages == [ORIFICE_MESSAGE + " (orificeDiameter = 0 m)"] and m.step_count == 0 and len(m.results) == 0
        assert all(len(m.results[name]) == 0 for name in ostreljet.SERIES)


def test_point_concentrations(vent):
    assert abs(vent.concentration(0.0, 0.0, 20.0) - 1.0) < 1e-12
    assert vent.concentration(-1000.0, 0.0, 20.0) == 0.0
    assert vent.concentration(12, 0, 24) == vent.concentration(12.0, 0.0, 24.0) > 0.0
    with pytest.raises(TypeError, match="y must be a number"):
        vent.concentration(0.0, "0", 20.0)


@pytest.mark.parametrize(
    "counts, axes, nonzero",
    [
        ((4, 4, 4), ([0.0, 4.0, 8.0, 12.0], [-2.0, -1.0, 0.0, 1.0], [20.0, 21.5, 23.0, 24.5]), 20),
        ((3, 2, 5), ([0.0, 6.0, 12.0], [-2.0, 0.0], [20.0, 21.2, 22.4, 23.6, 24.8]), 10),
        ((0, 3, 2), ([], [-2.0, -2.0 / 3.0, 2.0 / 3.0], [20.0, 23.0]), 0),
        ((2, 0, 2), ([0.0, 12.0], [], [20.0, 23.0]), 0),
    ],
)
def test_grid_shape_and_x_outermost_order(vent, array_mode, counts, axes, nonzero):
    # x runs to its end; y and z stop one step short of theirs.
    xs, ys, zs = Model.grid_axes(*BOX, *counts)
    assert (xs, ys, zs) == tuple(pytest.approx(axis, rel=1e-15) for axis in axes)
    grid = vent.grid(*BOX, *counts)
    if array_mode == "numpy":
        assert isinstance(grid, numpy.ndarray) and grid.shape == counts
    else:
        assert type(grid) is list and all(type(row) is list for row in grid)
    values = as_list(grid)
    assert values == [[[vent.concentration(x, y, z) for z in zs] for y in ys] for x in xs]
    # Enough of the box lies in the jet for the comparison to tell the axes apart.
    assert sum(value > 0.0 for row in values for column in row for value in column) >= nonzero
    assert Model.grid_axes(1.0, 2.0, 3.0, 9.0, 9.0, 9.0, 1, 1, 1) == ([1.0], [2.0], [3.0])


@pytest.mark.parametrize(
    "arguments, error, shown",
    [
        (BOX + (2, -1, 2), ValueError, "ny must not be negative, not -1"),
        (BOX + (-(2**31), 1, 1), ValueError, "nx must not be negative, not -2147483648"),
        (BOX + (2**31, 1, 1), ValueError, "nx must be at most 2147483647, not 2147483648"),
        (BOX + (1, 1, 2**64), ValueError, "nz must be at most 2147483647, not 18446744073709551616"),
        (BOX + (2.0, 2, 2), TypeError, "nx must be an integer, not float 2.0"),
        (BOX + (2, 2, True), TypeError, "nz must be an integer, not bool"),
        (BOX + (1, None, 1), TypeError, "ny must be an integer, not NoneType"),
        ((0.0, 0.0, 0.0, "12", 2.0, 26.0, 2, 2, 2), TypeError, "x1 must be a number"),
        # Beyond any memory, refused with the exact size before anything is allocated; 2^48 points are 2.2 PB.
        (BOX + (2**31 - 1,) * 3, MemoryError, "= %d points would take" % (2**31 - 1) ** 3),
        (BOX + (65536,) * 3, MemoryError, r"65536 x 65536 x 65536 = 281474976710656 points would take \d+\.\d PB"),
    ],
)
def test_grid_refusals(vent, array_mode, arguments, error, shown):
    with pytest.raises(error, match=shown):
        vent.grid(*arguments)


def test_keyboard_interrupt_cancels_the_run_and_leaves_the_model_usable():
    import _thread
    import threading

    model = Model.from_scenario(VENT)
    # Interrupt the main thread while it runs the vent over and over; the interrupt lands in run().
    timer = threading.Timer(0.05, _thread.interrupt_main)
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        for _ in range(100000):
            model.run()
    timer.join()
    assert model.run() is True
    assert model.messages[-1].startswith("Stopping concentration reached at ")
    model.close()
