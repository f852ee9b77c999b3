"""Concentration grids: shape, point order, the axes' ends, and refusals before anything is allocated."""

import pytest
from conftest import as_list, numpy

from ostreljet import Model

# x 0..12 inclusive in 4 points; y from -2 and z from 20 in steps of a quarter of their span.
BOX = (0.0, -2.0, 20.0, 12.0, 2.0, 26.0)
XS = [0.0, 4.0, 8.0, 12.0]
YS = [-2.0, -1.0, 0.0, 1.0]
ZS = [20.0, 21.5, 23.0, 24.5]


def nested(grid):
    return grid.tolist() if hasattr(grid, "tolist") else grid


def test_grid_shape_and_point_order(vent, array_mode):
    grid = vent.grid(*BOX, 4, 4, 4)
    if array_mode == "numpy":
        assert isinstance(grid, numpy.ndarray) and grid.shape == (4, 4, 4)
    else:
        assert type(grid) is list and len(grid) == 4
        assert all(type(row) is list and len(row) == 4 for row in grid)
        assert all(type(column) is list and len(column) == 4 for row in grid for column in row)
    values = nested(grid)
    assert vent.grid_axes(*BOX, 4, 4, 4) == (XS, YS, ZS)
    nonzero = 0
    for i, x in enumerate(XS):
        for j, y in enumerate(YS):
            for k, z in enumerate(ZS):
                assert values[i][j][k] == vent.concentration(x, y, z), (x, y, z)
                nonzero += values[i][j][k] > 0.0
    # Enough of the box lies in the jet for the comparison to tell the axes apart.
    assert nonzero >= 20
    assert values[0][2][0] == pytest.approx(1.0, abs=1e-12)


def test_unequal_counts_keep_x_outermost(vent, array_mode):
    grid = nested(vent.grid(*BOX, 3, 2, 5))
    assert [len(grid), len(grid[0]), len(grid[0][0])] == [3, 2, 5]
    xs, ys, zs = [0.0, 6.0, 12.0], [-2.0, 0.0], [20.0, 21.2, 22.4, 23.6, 24.8]
    for i, x in enumerate(xs):
        for j, y in enumerate(ys):
            for k, z in enumerate(zs):
                assert grid[i][j][k] == pytest.approx(vent.concentration(x, y, z), rel=1e-12, abs=1e-15)


def test_y_and_z_stop_one_step_short(vent):
    # Along z at the stack: 20, 22, 24, 26, 28, never 30.
    column = as_list(nested(vent.grid(0.0, 0.0, 20.0, 0.0, 0.0, 30.0, 1, 1, 5))[0][0])
    assert column == [vent.concentration(0.0, 0.0, z) for z in (20.0, 22.0, 24.0, 26.0, 28.0)]
    # Along y across the jet at x = 12: -2, -1, 0, 1, never 2; along x the end is reached.
    row = [plane[0] for plane in nested(vent.grid(12.0, -2.0, 24.5, 0.0, 2.0, 0.0, 1, 4, 1))[0]]
    assert row == [vent.concentration(12.0, y, 24.5) for y in (-2.0, -1.0, 0.0, 1.0)]
    line = [plane[0][0] for plane in nested(vent.grid(0.0, 0.0, 24.5, 12.0, 0.0, 0.0, 4, 1, 1))]
    assert line == [vent.concentration(x, 0.0, 24.5) for x in (0.0, 4.0, 8.0, 12.0)]
    assert line[-1] > 0.0
    # A single point sits at the start of its axis.
    assert Model.grid_axes(1.0, 2.0, 3.0, 9.0, 9.0, 9.0, 1, 1, 1) == ([1.0], [2.0], [3.0])


def test_empty_grids(vent, array_mode):
    grid = vent.grid(*BOX, 0, 3, 2)
    if array_mode == "numpy":
        assert grid.shape == (0, 3, 2)
    else:
        assert grid == []
    assert nested(vent.grid(*BOX, 2, 0, 2)) == [[], []]


def test_grid_refusals(vent, array_mode):
    with pytest.raises(ValueError, match="ny must not be negative, not -1"):
        vent.grid(*BOX, 2, -1, 2)
    with pytest.raises(TypeError, match="nx must be an integer, not float 2.0"):
        vent.grid(*BOX, 2.0, 2, 2)
    with pytest.raises(TypeError, match="nz must be an integer, not bool"):
        vent.grid(*BOX, 2, 2, True)
    with pytest.raises(ValueError, match="at most 2147483647"):
        vent.grid(*BOX, 2**31, 1, 1)
    with pytest.raises(TypeError, match="x1 must be a number"):
        vent.grid(0.0, 0.0, 0.0, "12", 2.0, 26.0, 2, 2, 2)
    # 10^15 points: 8 PB even as bare doubles; refused with the size before anything is allocated.
    with pytest.raises(MemoryError, match=r"100000 x 100000 x 100000 = 1000000000000000 points would take \d"):
        vent.grid(*BOX, 100000, 100000, 100000)
