"""Footprints as GeoDataFrames and weather studies, against the field they come from and the command line."""

import ctypes
import os
import subprocess

import pytest

from conftest import PYTHON_DIR

import ostreljet
from ostreljet import _library

CO2 = os.path.join(os.path.dirname(PYTHON_DIR), "examples", "horizontal_dense_release.json")
ROSE = os.path.join(os.path.dirname(PYTHON_DIR), "examples", "weather_rose.csv")


@pytest.fixture(scope="module")
def co2():
    with ostreljet.Model.from_scenario(CO2) as model:
        assert model.run() is True
        yield model


def plane(model, x0, y0, x1, y1, nx, ny, z=0.0):
    values = (ctypes.c_double * (nx * ny))()
    with model._lock:
        assert _library.library().ostreljet_plane(model._live(), x0, y0, x1, y1, nx, ny, z, values, nx * ny) == nx * ny
    return [[values[i * ny + j] for j in range(ny)] for i in range(nx)]


def test_footprint_round_trips_through_geopandas_with_the_area_of_the_cells_above_the_level(co2):
    geopandas = pytest.importorskip("geopandas")
    shapely_geometry = pytest.importorskip("shapely.geometry")
    frame = ostreljet.footprint(co2, "1%,5%")
    assert isinstance(frame, geopandas.GeoDataFrame)
    assert list(frame["name"]) == ["1%", "5%"]
    assert list(frame["reached"]) == [True, False]
    assert frame.geometry[1] is None
    one = frame.geometry[0]
    assert one.area == pytest.approx(frame["area_m2"][0], rel=1e-12)
    # The cells of a fine grid over the polygon's bounds that are at or above 1 %, counted.
    x0, y0, x1, y1 = one.bounds
    cell = 0.05
    nx, ny = int((x1 - x0) / cell) + 3, int((y1 - y0) / cell) + 3
    values = plane(co2, x0 - cell, y0 - cell, x0 - cell + (nx - 1) * cell, y0 - cell + (ny - 1) * cell, nx, ny)
    above = sum(v >= 0.01 for row in values for v in row)
    assert one.area == pytest.approx(above * cell * cell, rel=0.05)
    # Sampled nodes: inside the polygon exactly where the field is above the level.
    wrong = 0
    for i in range(0, nx, 4):
        for j in range(0, ny, 4):
            point = shapely_geometry.Point(x0 - cell + i * cell, y0 - cell + j * cell)
            v = values[i][j]
            if (v > 0.0101 and not one.contains(point)) or (v < 0.0099 and one.contains(point)):
                wrong += 1
    assert wrong == 0


def test_footprint_in_longitude_and_latitude_has_the_same_area_on_a_local_projection(co2):
    pytest.importorskip("geopandas")
    pytest.importorskip("pyproj")
    frame = ostreljet.footprint(co2, "1%", origin=(52.0, 5.0))
    assert str(frame.crs) == "EPSG:4326"
    x, y = frame.geometry[0].geoms[0].exterior.coords[0]
    assert 4.99 < x < 5.01 and 51.99 < y < 52.01
    local = frame.to_crs("+proj=tmerc +lat_0=52 +lon_0=5 +ellps=WGS84")
    assert local.area[0] == pytest.approx(frame["area_m2"][0], rel=1e-6)


def test_footprint_refuses_a_level_the_gas_has_no_value_for(co2):
    with pytest.raises(ValueError, match="LFL"):
        ostreljet.footprint(co2, "LFL")


def test_rose_rows_are_read_and_a_bad_row_is_named(tmp_path):
    cases = ostreljet.read_weather_rose(ROSE)
    assert len(cases) == 288
    assert sum(c["frequency"] for c in cases) == pytest.approx(1.0, abs=1e-12)
    bad = tmp_path / "bad.csv"
    bad.write_text("windFrom,windSpeed,pasquillStability,frequency\n0,2,D,1\n90,2,H,1\n")
    with pytest.raises(ValueError, match=r"line 3 \(row 2\), column pasquillStability"):
        ostreljet.read_weather_rose(bad)


def read_probability_csv(path):
    with open(path) as stream:
        header = stream.readline().rstrip("\n").split(",")
        rows = [[float(v) for v in line.split(",")] for line in stream]
    return header, rows


def test_weather_sweep_equals_the_command_line_to_the_last_bit_locally_and_on_a_dask_cluster(tmp_path, monkeypatch):
    numpy = pytest.importorskip("numpy")
    cli = os.environ.get("OSTRELJET_CLI")
    if not cli or not os.path.exists(cli):
        pytest.skip("OSTRELJET_CLI does not name the built command")
    out = tmp_path / "study"
    result = subprocess.run(
        [cli, "weather", CO2, "--weather", ROSE, "--levels", "1%,0.6%", "--grid", "50,61", "-o", str(out)],
        capture_output=True,
        text=True,
        timeout=300,
    )
    assert result.returncode == 0, result.stderr
    header, rows = read_probability_csv(out / "probability.csv")
    assert header[:3] == ["x [m]", "y [m]", "z [m]"]
    table = numpy.array(rows)
    local = ostreljet.weather_sweep(CO2, ROSE, "1%,0.6%", (50, 61), workers=2)
    assert numpy.array_equal(table[:, 0], numpy.repeat(local.x, 61))
    assert numpy.array_equal(table[:, 1], numpy.tile(local.y, 61))
    for column, level in ((3, "1%"), (4, "0.6%")):
        assert numpy.array_equal(table[:, column], local.probability[level].ravel())
    assert local.probability["1%"].max() > 0.0
    assert local.refused_cases == 0
    distributed = pytest.importorskip("distributed")
    monkeypatch.setenv("PYTHONPATH", PYTHON_DIR + os.pathsep + os.environ.get("PYTHONPATH", ""))
    monkeypatch.setenv("OSTRELJET_LIBRARY", ostreljet.library_path())
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            clustered = ostreljet.weather_sweep(CO2, ROSE, "1%,0.6%", (50, 61), client=client)
    for level in ("1%", "0.6%"):
        assert numpy.array_equal(clustered.probability[level], local.probability[level])
    assert numpy.array_equal(clustered.worst, local.worst)


def test_weather_sweep_sums_a_level_below_the_stopping_concentration_from_the_far_field():
    pytest.importorskip("numpy")
    # The scenario's own weather: the jet ends 36 m downwind with its stopping concentration of 0.5 %; the
    # far field carries 0.1 % on along the ground to 194.7 m downwind, as the run's summary says.
    own = [{"windFrom": 270.0, "windSpeed": 3.0, "pasquillStability": 4, "frequency": 1.0,
            "atmosphereTemperature": None, "row": 1}]
    study = ostreljet.weather_sweep(CO2, own, "0.1%", (0.0, -10.0, 190.0, 10.0, 39, 5), workers=1)
    probability = study.probability["0.1%"]
    assert study.x[-1] == 190.0 and study.y[2] == 0.0
    assert probability[-1, 2] == 1.0
    assert probability[0, 0] == 0.0
    assert study.refused_cases == 0
