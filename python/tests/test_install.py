"""The package installs from the source tree into a fresh virtual environment, by pip and as a wheel,
and imports from another folder with no environment variable. Slow (it builds the library): it runs
when OSTRELJET_INSTALL_TEST is 1, as the python_install test of ctest sets it."""

import os
import shutil
import subprocess
import sys

import pytest

from conftest import PYTHON_DIR

pytestmark = pytest.mark.skipif(
    os.environ.get("OSTRELJET_INSTALL_TEST") != "1", reason="set OSTRELJET_INSTALL_TEST=1 to build and install"
)

# Debian's interpreter, whose packages (setuptools, wheel, build, pandas) the environment borrows.
SYSTEM_PYTHON = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable

CHECK = (
    "import ostreljet, os\n"
    "path = ostreljet.library_path()\n"
    "assert path.startswith(os.path.dirname(ostreljet.__file__)), path\n"
    "m = ostreljet.Model(gas='methane', stackHeight=20, orificeDiameter=0.3, releaseAngle=90, massFlowrate=2,\n"
    "                    sourceTemperature=300, atmosphereSpecificHeat=1005, atmosphereSurfaceRoughness=0.1,\n"
    "                    stoppingConcentration=0.01)\n"
    "assert m.run() and m.status == 'ok'\n"
    "print(ostreljet.__version__, round(m.summary(levels='LFL').levels[0]['centrelineDownwindDistance'], 2))\n"
)


def _environment(tmp_path, name):
    folder = tmp_path / name
    subprocess.run([SYSTEM_PYTHON, "-m", "venv", "--system-site-packages", str(folder)], check=True)
    return str(folder / "bin" / "python")


def _clean_environ(**extra):
    environ = {k: v for k, v in os.environ.items() if k not in ("OSTRELJET_LIBRARY", "PYTHONPATH")}
    environ.update(extra)
    return environ


def _imports_from_elsewhere(python, tmp_path):
    elsewhere = tmp_path / "elsewhere"
    elsewhere.mkdir(exist_ok=True)
    result = subprocess.run(
        [python, "-c", CHECK], cwd=str(elsewhere), env=_clean_environ(), capture_output=True, text=True
    )
    assert result.returncode == 0, result.stderr
    version, distance = result.stdout.split()
    assert version.count(".") == 3 and float(distance) > 0
    return result.stdout


def test_pip_install_and_wheel(tmp_path):
    cmake_dir = str(tmp_path / "cmake")  # a fresh CMake build: the real install path, once
    environ = _clean_environ(OSTRELJET_CMAKE_BUILD_DIR=cmake_dir, PIP_NO_INDEX="1")
    python = _environment(tmp_path, "venv")
    subprocess.run(
        [python, "-m", "pip", "install", "--no-index", "--no-build-isolation", "--quiet", PYTHON_DIR],
        check=True,
        env=environ,
    )
    first = _imports_from_elsewhere(python, tmp_path)

    # The wheel, built without isolation (reusing the CMake build above), installs the same way.
    dist = tmp_path / "dist"
    subprocess.run(
        [SYSTEM_PYTHON, "-m", "build", "--no-isolation", "--wheel", "--outdir", str(dist), PYTHON_DIR],
        check=True,
        env=environ,
        capture_output=True,
    )
    wheels = list(dist.glob("ostreljet-*-linux_*.whl")) or list(dist.glob("ostreljet-*.whl"))
    assert len(wheels) == 1, os.listdir(dist)
    assert "none-any" not in wheels[0].name  # it carries a compiled library
    other = _environment(tmp_path, "venv-wheel")
    subprocess.run([other, "-m", "pip", "install", "--no-index", "--quiet", str(wheels[0])], check=True, env=environ)
    assert _imports_from_elsewhere(other, tmp_path) == first
    shutil.rmtree(cmake_dir, ignore_errors=True)
