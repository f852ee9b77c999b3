"""Footprints for maps and weather studies: the probability of exceeding each level over a weather rose."""

import concurrent.futures
import ctypes
import json
import math
import os

from . import _library
from ._model import Model, OstreljetError


def _levels_text(levels):
    return levels if isinstance(levels, str) else ",".join(str(level) for level in levels)


def footprint(model, levels, unit="vol", height=0.0, origin=None):
    """The region at or above each level at `height` (m) of the model's last run, as polygons.

    levels: "LFL,1%" or a list of such texts (numbers in `unit`). origin: (latitude, longitude) of the
    site's origin in degrees for WGS84 coordinates; None for metres east and north. Returns a
    geopandas GeoDataFrame (one row per level, the properties as columns; EPSG:4326 with an origin) when
    geopandas is installed, else the GeoJSON as a dict.
    """
    lib = _library.library()
    latitude, longitude = (float("nan"), float("nan")) if origin is None else (float(origin[0]), float(origin[1]))
    text = _levels_text(levels).encode("utf-8")
    with model._lock:
        handle = model._live()
        length = lib.ostreljet_footprint_geojson(
            handle, text, unit.encode("ascii"), float(height), latitude, longitude, None, 0
        )
        if length < 0:
            raise ValueError(_library.last_error())
        buffer = ctypes.create_string_buffer(length + 1)
        lib.ostreljet_footprint_geojson(
            handle, text, unit.encode("ascii"), float(height), latitude, longitude, buffer, length + 1
        )
    collection = json.loads(buffer.value.decode("utf-8"))
    try:
        import geopandas
    except ImportError:
        return collection
    frame = geopandas.GeoDataFrame.from_features(collection["features"], crs="EPSG:4326" if origin else None)
    frame.attrs["coordinates"] = collection["coordinates"]
    return frame


def read_weather_rose(path):
    """The cases of a weather rose file as dicts (windFrom, windSpeed, pasquillStability 0..5, frequency
    normalised to sum to 1, atmosphereTemperature or None, row); ValueError names a bad row and column."""
    lib = _library.library()
    encoded = os.fsencode(path)
    count = lib.ostreljet_weather_rose(encoded, None, 0)
    if count < 0:
        raise ValueError(_library.last_error())
    values = (ctypes.c_double * (6 * count))()
    if lib.ostreljet_weather_rose(encoded, values, count) != count:
        raise ValueError(_library.last_error())
    cases = []
    for c in range(count):
        row = values[6 * c : 6 * c + 6]
        cases.append(
            {
                "windFrom": row[0],
                "windSpeed": row[1],
                "pasquillStability": int(row[2]),
                "frequency": row[3],
                "atmosphereTemperature": None if math.isnan(row[4]) else row[4],
                "row": int(row[5]),
            }
        )
    return cases


# The far field's inputs, which a case's model takes from the scenario besides its interface inputs.
_FAR_FIELD_INPUTS = ("farFieldDispersion", "averagingTime", "farFieldDistance")


def _far_field_inputs(model):
    """The far field's inputs of a model, by name."""
    return {name: model._get(name) for name in _FAR_FIELD_INPUTS}


def _plane_of_case(inputs, case, grid):
    """Runs one weather case: (computed, message, concentrations of the whole plume, the jet then the far
    field, on the plane as bytes; NaN where nothing is computed)."""
    x0, y0, x1, y1, nx, ny, z = grid
    lib = _library.library()
    far_field = {name: inputs[name] for name in _FAR_FIELD_INPUTS if name in inputs}
    with Model() as model:
        model.set(**{name: value for name, value in inputs.items() if name not in far_field})
        with model._lock:
            for name, value in far_field.items():
                if lib.ostreljet_set(model._live(), name.encode("ascii"), float(value)) != 0:
                    raise ValueError(_library.last_error())
        temperature = case["atmosphereTemperature"]
        with model._lock:
            status = lib.ostreljet_apply_weather(
                model._live(),
                case["windFrom"],
                case["windSpeed"],
                case["pasquillStability"],
                float("nan") if temperature is None else temperature,
            )
        if status != 0:
            raise OstreljetError(_library.last_error())
        computed = model.run() and model.step_count > 0
        if not computed:
            return False, model.end_message or "the run gave no output steps", None
        values = (ctypes.c_double * (nx * ny))()
        with model._lock:
            written = lib.ostreljet_plane(model._live(), x0, y0, x1, y1, nx, ny, z, values, nx * ny)
        if written != nx * ny:
            raise OstreljetError(_library.last_error())
        return True, "", bytes(values)


class WeatherStudy:
    """The result of weather_sweep: x and y (m, the grid's nodes), z (m), levels (their texts) and
    level_values (volume fraction), probability[level text] and worst as arrays of shape (nx, ny)
    indexed [i, j] at (x[i], y[j]), outcomes per case ((computed, message)), refused_cases and
    refused_frequency."""

    def __init__(self, **fields):
        self.__dict__.update(fields)


def weather_sweep(scenario, rose, levels, grid, height=0.0, unit="vol", client=None, workers=None):
    """Runs a scenario in every case of a weather rose and sums, for each level, the frequency of the
    cases whose whole plume (the jet, then the far field) is at or above it at each node of a horizontal grid at `height` (m).

    scenario: a scenario path, a Model or a dict of inputs. rose: a weather file's path or the list of
    read_weather_rose. grid: (R, N), a square of half-width R (m) around the release with N nodes a side,
    or (x0, y0, x1, y1, nx, ny). client: a dask.distributed.Client to run the cases on its cluster;
    otherwise `workers` threads (every core by default). The cases are added in the rose's order, so the
    probabilities are the same to the last bit as the command line's `weather` gives.
    """
    import numpy

    if isinstance(scenario, (str, bytes, os.PathLike)):
        with Model.from_scenario(scenario) as model:
            inputs = dict(model.to_dict(), **_far_field_inputs(model))
    elif isinstance(scenario, Model):
        inputs = dict(scenario.to_dict(), **_far_field_inputs(scenario))
    else:
        inputs = dict(scenario)
    cases = read_weather_rose(rose) if isinstance(rose, (str, bytes, os.PathLike)) else list(rose)
    lib = _library.library()
    with Model(**{name: value for name, value in inputs.items() if name not in _FAR_FIELD_INPUTS}) as model:
        text = _levels_text(levels)
        values = (ctypes.c_double * 64)()
        with model._lock:
            count = lib.ostreljet_levels_in_model_unit(
                model._live(), text.encode("utf-8"), unit.encode("ascii"), values, 64
            )
        if count < 0:
            raise ValueError(_library.last_error())
        level_values = list(values[:count])
        source = (model.stackLocationX, model.stackLocationY)
    if len(grid) == 2:
        half, n = float(grid[0]), int(grid[1])
        plane = (source[0] - half, source[1] - half, source[0] + half, source[1] + half, n, n, float(height))
    else:
        plane = tuple(float(v) for v in grid[:4]) + (int(grid[4]), int(grid[5]), float(height))
    nx, ny = plane[4], plane[5]
    probability = [numpy.zeros((nx, ny)) for _ in level_values]
    worst = numpy.zeros((nx, ny))
    outcomes = []
    refused_cases = 0
    refused_frequency = 0.0

    def add(case, result):
        nonlocal refused_cases, refused_frequency
        computed, message, raw = result
        outcomes.append((computed, message))
        if not computed:
            refused_cases += 1
            refused_frequency += case["frequency"]
            return
        field = numpy.frombuffer(raw, dtype=numpy.float64).reshape(nx, ny)
        for p, level in zip(probability, level_values):
            mask = field >= level
            p[mask] += case["frequency"]
        numpy.maximum(worst, field, out=worst)

    if client is not None:
        futures = client.map(_plane_of_case, [inputs] * len(cases), cases, [plane] * len(cases), pure=False)
        for case, future in zip(cases, futures):
            add(case, future.result())
            future.release()
    else:
        count = (os.cpu_count() or 1) if workers is None else int(workers)
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, count)) as pool:
            window = 2 * max(1, count)
            for start in range(0, len(cases), window):
                chunk = cases[start : start + window]
                for case, result in zip(chunk, pool.map(lambda c: _plane_of_case(inputs, c, plane), chunk)):
                    add(case, result)
    x = numpy.array([plane[0] + (plane[2] - plane[0]) * i / (nx - 1) if i + 1 < nx else plane[2] for i in range(nx)])
    y = numpy.array([plane[1] + (plane[3] - plane[1]) * j / (ny - 1) if j + 1 < ny else plane[3] for j in range(ny)])
    names = [piece.strip() for piece in text.split(",")]
    return WeatherStudy(
        x=x,
        y=y,
        z=float(height),
        levels=names,
        level_values=level_values,
        probability=dict(zip(names, probability)),
        worst=worst,
        outcomes=outcomes,
        refused_cases=refused_cases,
        refused_frequency=refused_frequency,
    )
