"""The package itself: its version, finding the library, and results without numpy."""

import ctypes.util
import os
import shutil
import subprocess
import sys

import pytest
from conftest import PYTHON_DIR, VENT

import ostreljet
from ostreljet import _library


def test_version():
    assert ostreljet.version() == "1.1.0.0"
    assert ostreljet.__version__ == "1.1.0.0"


def test_the_variable_names_the_library(tmp_path):
    found = _library.candidates(environ={"OSTRELJET_LIBRARY": "/opt/lib/libostreljet.so"})
    assert found == [("OSTRELJET_LIBRARY=/opt/lib/libostreljet.so", "/opt/lib/libostreljet.so")]
    missing = str(tmp_path / "libostreljet.so")
    with pytest.raises(ostreljet.LibraryNotFoundError) as raised:
        _library.locate(environ={"OSTRELJET_LIBRARY": missing})
    assert "OSTRELJET_LIBRARY=" + missing + " (missing)" in str(raised.value)
    not_a_library = tmp_path / "libostreljet.so"
    not_a_library.write_text("not a shared object")
    with pytest.raises(ostreljet.LibraryNotFoundError, match="cannot be loaded"):
        _library.locate(environ={"OSTRELJET_LIBRARY": str(not_a_library)})


def test_the_error_lists_every_place_tried(tmp_path, monkeypatch):
    monkeypatch.setattr(ctypes.util, "find_library", lambda name: None)
    package = tmp_path / "python" / "ostreljet"
    package.mkdir(parents=True)
    with pytest.raises(ostreljet.LibraryNotFoundError) as raised:
        _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))
    message = str(raised.value)
    assert str(package / "libostreljet.so") + " (missing)" in message
    assert str(tmp_path / "python" / "libostreljet.so") + " (missing)" in message
    assert str(tmp_path / "build*" / "src" / "libostreljet.so") + " (no match)" in message
    assert "find_library('ostreljet') -> None" in message
    assert "OSTRELJET_LIBRARY" in message


def test_search_order(tmp_path, monkeypatch):
    monkeypatch.setattr(ctypes.util, "find_library", lambda name: None)
    package = tmp_path / "python" / "ostreljet"
    package.mkdir(parents=True)
    older = tmp_path / "build-a" / "src" / "libostreljet.so"
    newer = tmp_path / "build-b" / "src" / "libostreljet.so"
    for path, stamp in ((older, 1000000000), (newer, 1000000100)):
        path.parent.mkdir(parents=True)
        shutil.copy(_library.path(), path)
        os.utime(path, (stamp, stamp))
    # The most recently built tree wins over older ones.
    _, chosen = _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))
    assert chosen == str(newer)
    # A library beside the package wins over the build trees.
    beside = package / "libostreljet.so"
    shutil.copy(_library.path(), beside)
    _, chosen = _library.locate(environ={}, package_dir=str(package), repository_dir=str(tmp_path))
    assert chosen == str(beside)


def run_python(code, **environment):
    env = dict(os.environ, **environment)
    env["OSTRELJET_LIBRARY"] = _library.path()
    completed = subprocess.run(
        [sys.executable, "-c", code], cwd=PYTHON_DIR, env=env, capture_output=True, text=True, timeout=120
    )
    assert completed.returncode == 0, completed.stderr
    return completed.stdout.split()


LISTS_CHECK = """
import ostreljet
m = ostreljet.Model.from_scenario(%r)
assert m.run()
grid = m.grid(0, -1, 20, 4, 1, 22, 2, 2, 2)
print(ostreljet.use_numpy, type(m.results.x).__name__, type(grid).__name__, type(grid[0][0]).__name__)
""" % (VENT,)


def test_lists_when_numpy_is_absent():
    hide_numpy = "import sys; sys.modules['numpy'] = None\n"
    assert run_python(hide_numpy + LISTS_CHECK) == ["False", "list", "list", "list"]


def test_lists_when_numpy_is_turned_off():
    assert run_python(LISTS_CHECK, OSTRELJET_NO_NUMPY="1") == ["False", "list", "list", "list"]


def test_a_missing_library_is_reported_on_first_use():
    code = (
        "import ostreljet\n"
        "try:\n"
        "    ostreljet.Model()\n"
        "except ostreljet.LibraryNotFoundError as e:\n"
        "    print('refused', 'OSTRELJET_LIBRARY=/nonexistent/libostreljet.so (missing)' in str(e))\n"
    )
    env = dict(os.environ, OSTRELJET_LIBRARY="/nonexistent/libostreljet.so")
    completed = subprocess.run(
        [sys.executable, "-c", code], cwd=PYTHON_DIR, env=env, capture_output=True, text=True, timeout=60
    )
    assert completed.stdout.split() == ["refused", "True"], completed.stderr
