"""Bad input on the Python front: files, numbers, grids and the library's own refusals seen through ctypes."""

import ctypes
import math

import pytest
from conftest import VENT

from ostreljet import Model, _library

BOX = (0.0, -2.0, 20.0, 12.0, 2.0, 26.0)


@pytest.mark.parametrize(
    "name, text, shown",
    [
        ("empty.json", "", r"empty\.json: empty file"),
        ("blank.json", "  \n\t\n", r"blank\.json: empty file"),
        # 19 characters of object, a blank, then the stray word at column 21.
        ("trailing.json", '{"stackHeight": 10} extra', r"trailing\.json:1:21: not valid JSON"),
        ("second.json", '{"stackHeight": 10}{"stackHeight": 20}', r"second\.json:1:20: not valid JSON"),
        ("beyond.json", '{"stackHeight": 1e400}', r"beyond\.json.*1e400"),
        ("below.json", '{"massFlowrate": -1.8e308}', r"below\.json.*-1\.8e308"),
        ("array.json", "[1, 2, 3]", r"array\.json: expected a JSON object"),
        ("null.json", '{"stackHeight": null}', r'"stackHeight" must be a number, not null'),
        ("string.json", '{"stackHeight": "NaN"}', r'"stackHeight" must be a number, not "NaN"'),
    ],
)
def test_bad_scenario_files_are_refused_and_nothing_is_set(tmp_path, name, text, shown):
    path = tmp_path / name
    path.write_text(text)
    with pytest.raises(ValueError, match=shown):
        Model.from_scenario(path)
    with Model() as m:
        with pytest.raises(ValueError, match=shown):
            m.load_scenario(path)
        assert m.stackHeight == 0.0
        assert m.massFlowrate == 0.0


def test_binary_file_is_not_json(tmp_path):
    path = tmp_path / "binary.json"
    path.write_bytes(b"\x00\xff\xfe{")
    with pytest.raises(ValueError, match=r"binary\.json:1:1: not valid JSON"):
        Model.from_scenario(path)


def test_missing_file_and_directory(tmp_path):
    with pytest.raises(FileNotFoundError, match="no such file"):
        Model.from_scenario(tmp_path / "absent" / "vent.json")
    with pytest.raises(ValueError, match="is a directory"):
        Model().load_scenario(str(tmp_path))


@pytest.mark.parametrize("value", [math.nan, -math.nan, math.inf, -math.inf])
def test_non_finite_inputs_are_refused_for_every_real_input(value):
    with Model() as m:
        for name, default in m.to_dict().items():
            with pytest.raises(ValueError, match=name):
                setattr(m, name, value)
            assert getattr(m, name) == default


def test_grids_beyond_any_memory_are_refused_with_the_size(vent, array_mode):
    # (2^31 - 1)^3 points are beyond what 64 bits count; the message still gives the exact product.
    largest = 2**31 - 1
    with pytest.raises(MemoryError, match=r"= %d points would take" % largest**3):
        vent.grid(*BOX, largest, largest, largest)
    # 2^16 on every axis: 2^48 points, at least 8 bytes each, so at least 2.2 PB.
    with pytest.raises(MemoryError, match=r"65536 x 65536 x 65536 = 281474976710656 points would take \d+\.\d PB"):
        vent.grid(*BOX, 65536, 65536, 65536)


def test_grid_refusals_name_the_count(vent):
    with pytest.raises(ValueError, match="nx must not be negative, not -2147483648"):
        vent.grid(*BOX, -(2**31), 1, 1)
    with pytest.raises(ValueError, match="nz must be at most 2147483647, not 18446744073709551616"):
        vent.grid(*BOX, 1, 1, 2**64)
    with pytest.raises(TypeError, match="ny must be an integer, not NoneType"):
        vent.grid(*BOX, 1, None, 1)


def test_non_finite_coordinates_give_an_answer_and_no_failure(vent):
    for point in [(math.nan, 0.0, 20.0), (0.0, math.inf, 20.0), (0.0, 0.0, -math.inf), (1e308, -1e308, 1e308)]:
        value = vent.concentration(*point)
        assert math.isnan(value) or 0.0 <= value <= 1.0
    grid = vent.grid(math.nan, 0.0, 0.0, math.inf, 1.0, 1.0, 2, 1, 1)
    assert len(list(grid)) == 2


class TestLibraryRefusals:
    """The C API below the package checks what the package would never pass."""

    @pytest.fixture
    def lib(self):
        return _library.library()

    @pytest.fixture
    def handle(self, lib):
        m = Model.from_scenario(VENT)
        assert m.run()
        yield m._handle
        m.close()

    def test_null_pointers(self, lib, handle):
        value = ctypes.c_double()
        assert lib.ostreljet_set(None, b"stackHeight", 1.0) == -2
        assert lib.ostreljet_set(handle, None, 1.0) == -2
        assert lib.ostreljet_get(handle, b"stackHeight", None) == -2
        assert lib.ostreljet_get(None, b"stackHeight", ctypes.byref(value)) == -2
        assert lib.ostreljet_run(None) == -2
        assert lib.ostreljet_step_count(None) == -2
        assert lib.ostreljet_message_count(None) == -2
        assert lib.ostreljet_message(None, 0) is None
        assert lib.ostreljet_series(handle, b"x", None, 5) == -2
        assert lib.ostreljet_series(None, b"x", None, 0) == -2
        assert lib.ostreljet_load_scenario(handle, None) == -2
        assert math.isnan(lib.ostreljet_concentration(None, 0.0, 0.0, 0.0))
        assert lib.ostreljet_concentration_grid(None, *BOX, 1, 1, 1, None, 0) == -1
        assert "null model" in _library.last_error()

    def test_unknown_names_and_indexes(self, lib, handle):
        buffer = (ctypes.c_double * 4)()
        assert lib.ostreljet_set(handle, b"StackHeight", 1.0) == -1
        assert 'unknown property "StackHeight"' in _library.last_error()
        assert lib.ostreljet_series(handle, b"radius", buffer, 4) == -1
        assert 'unknown series "radius"' in _library.last_error()
        count = lib.ostreljet_message_count(handle)
        assert count >= 1
        assert lib.ostreljet_message(handle, count) is None
        assert lib.ostreljet_message(handle, -1) is None
        assert lib.ostreljet_message(handle, -(2**31)) is None

    def test_capacities(self, lib, handle):
        steps = lib.ostreljet_step_count(handle)
        buffer = (ctypes.c_double * (steps + 2))(*([-7.0] * (steps + 2)))
        assert lib.ostreljet_series(handle, b"x", buffer, -1) == -2
        assert lib.ostreljet_series(handle, b"x", buffer, -(2**31)) == -2
        assert "negative capacity" in _library.last_error()
        assert lib.ostreljet_series(handle, b"x", buffer, 0) == 0
        # A capacity larger than the series copies the series and nothing beyond it.
        assert lib.ostreljet_series(handle, b"x", buffer, steps + 2) == steps
        assert list(buffer[steps:]) == [-7.0, -7.0]

    def test_grid_counts_and_capacities(self, lib, handle):
        buffer = (ctypes.c_double * 8)(*([-7.0] * 8))
        largest = 2**31 - 1
        assert lib.ostreljet_concentration_grid(handle, *BOX, largest, largest, largest, buffer, 2**63 - 1) == -1
        assert "more points than can be counted" in _library.last_error()
        assert lib.ostreljet_concentration_grid(handle, *BOX, 2, -1, 2, buffer, 8) == -1
        assert "negative point count" in _library.last_error()
        assert lib.ostreljet_concentration_grid(handle, *BOX, 2, 2, 2, buffer, -1) == -1
        assert "negative output capacity" in _library.last_error()
        assert lib.ostreljet_concentration_grid(handle, *BOX, 2, 2, 2, buffer, 7) == -1
        assert "too small for the 8 points" in _library.last_error()
        assert list(buffer) == [-7.0] * 8
        assert lib.ostreljet_concentration_grid(handle, *BOX, 2, 2, 2, None, 8) == -1
        assert lib.ostreljet_concentration_grid(handle, *BOX, 2, 2, 2, buffer, 8) == 8
        assert lib.ostreljet_concentration_grid(handle, *BOX, 0, largest, largest, None, 0) == 0


def test_deeply_nested_values_are_refused_without_recursion(tmp_path):
    # 200000 levels of arrays: named by their type, never written out level by level.
    path = tmp_path / "deep.json"
    path.write_text('{"stackHeight": ' + "[" * 200000 + "]" * 200000 + "}")
    with pytest.raises(ValueError, match='"stackHeight" must be a number, not a deeply nested array'):
        Model.from_scenario(path)
