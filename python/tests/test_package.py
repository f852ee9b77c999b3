"""The package itself: its version, finding the library, numpy or lists, and refused scenario files."""

import ctypes.util
import os
import re
import shutil
import subprocess
import sys

import pytest
from conftest import PYTHON_DIR

import ostreljet
from ostreljet import LibraryNotFoundError, Model, _library


def test_version():
    assert ostreljet.version() == ostreljet.__version__
    assert re.fullmatch(r"1\.\d+\.\d+\.\d+", ostreljet.version())


def test_the_variable_names_the_library(tmp_path):
    named = tmp_path / "libostreljet.so"
    with pytest.raises(LibraryNotFoundError, match=re.escape("OSTRELJET_LIBRARY=%s (missing)" % named)):
        _library.locate(environ={"OSTRELJET_LIBRARY": str(named)})
    named.write_text("not a shared object")
    with pytest.raises(LibraryNotFoundError, match="cannot be loaded"):
        _library.locate(environ={"OSTRELJET_LIBRARY": str(named)})


def test_the_places_tried_and_their_order(tmp_path, monkeypatch):
    monkeypatch.setattr(ctypes.util, "find_library", lambda name: None)
    package = tmp_path / "python" / "ostreljet"
    package.mkdir(parents=True)
    with pytest.raises(LibraryNotFoundError) as raised:
        _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))
    for tried in (package / "libostreljet.so (missing)", tmp_path / "python" / "libostreljet.so (missing)"):
        assert str(tried) in str(raised.value)
    assert str(tmp_path / "build*" / "src" / "libostreljet.so (no match)") in str(raised.value)
    assert "find_library('ostreljet') -> None" in str(raised.value) and "OSTRELJET_LIBRARY" in str(raised.value)
    # The most recently built tree wins over older ones, and a library beside the package over both.
    for tree, stamp in (("build-b", 1000000100), ("build-a", 1000000000)):
        (tmp_path / tree / "src").mkdir(parents=True)
        shutil.copy(_library.path(), tmp_path / tree / "src" / "libostreljet.so")
        os.utime(tmp_path / tree / "src" / "libostreljet.so", (stamp, stamp))
    chosen = _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))[1]
    assert chosen == str(tmp_path / "build-b" / "src" / "libostreljet.so")
    shutil.copy(_library.path(), package / "libostreljet.so")
    chosen = _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))[1]
    assert chosen == str(package / "libostreljet.so")


def test_a_missing_library_is_reported_on_first_use():
    code = "import ostreljet\ntry:\n    ostreljet.Model()\nexcept ostreljet.LibraryNotFoundError as e:\n    print(e)"
    env = dict(os.environ, OSTRELJET_LIBRARY="/nonexistent/libostreljet.so")
    completed = subprocess.run([sys.executable, "-c", code], cwd=PYTHON_DIR, env=env, capture_output=True, text=True)
    assert "OSTRELJET_LIBRARY=/nonexistent/libostreljet.so (missing)" in completed.stdout, completed.stderr


def test_lists_when_numpy_is_turned_off_or_absent(vent, monkeypatch):
    monkeypatch.setenv("OSTRELJET_NO_NUMPY", "1")
    assert ostreljet._numpy_wanted() is False
    monkeypatch.delenv("OSTRELJET_NO_NUMPY")
    monkeypatch.setitem(sys.modules, "numpy", None)
    assert ostreljet._numpy_wanted() is False
    # Even with use_numpy on, results and grids come as lists when numpy cannot be imported.
    monkeypatch.setattr(ostreljet, "use_numpy", True)
    assert type(vent.results.x) is list and type(vent.grid(0, -1, 20, 4, 1, 22, 2, 2, 2)[0][0]) is list


def test_a_bad_file_is_refused_and_nothing_is_set(tmp_path):
    # The reader's texts are checked in the library's tests; here the refusal reaches both entry points.
    path = tmp_path / "bad.json"
    path.write_text('{"stackHeight": 30.0, "stackHieght": 20.0}')
    with pytest.raises(ValueError, match='unknown key "stackHieght"'):
        Model.from_scenario(path)
    with Model() as m:
        with pytest.raises(ValueError, match='unknown key "stackHieght"'):
            m.load_scenario(path)
        assert m.stackHeight == 0.0


def test_bad_paths(tmp_path):
    missing = tmp_path / "absent.json"
    with pytest.raises(FileNotFoundError, match="no such file") as raised:
        Model.from_scenario(missing)
    assert raised.value.filename == str(missing) and str(missing) in str(raised.value)
    with pytest.raises(ValueError, match="is a directory"):
        Model.from_scenario(tmp_path)
    with pytest.raises(ValueError, match="NUL"):
        Model.from_scenario("examples/\0vent.json")
    with pytest.raises(TypeError, match="int"):
        Model.from_scenario(42)
