"""Builds libostreljet with CMake from the repository that holds this folder and ships it in the package.

The library is configured alone (no tests, command-line tool, benchmarks, examples or component) in
setuptools' temporary build folder and copied into the package as libostreljet.so, where the package
looks first. OSTRELJET_SOURCE_DIR names another source tree; CMAKE_BUILD_PARALLEL_LEVEL the build's jobs.
"""

import os
import re
import shutil
import subprocess
import sys

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE_DIR = os.environ.get("OSTRELJET_SOURCE_DIR") or os.path.dirname(HERE)
LIBRARY_NAMES = {"darwin": "libostreljet.dylib", "win32": "ostreljet.dll"}
LIBRARY = LIBRARY_NAMES.get(sys.platform, "libostreljet.so")


def project_version():
    """The version in the project() call of the repository's CMakeLists.txt."""
    with open(os.path.join(SOURCE_DIR, "CMakeLists.txt"), encoding="utf-8") as listing:
        match = re.search(r"project\(\s*ostreljet\s+VERSION\s+([0-9.]+)", listing.read())
    if match is None:
        raise RuntimeError("no project(ostreljet VERSION ...) in " + os.path.join(SOURCE_DIR, "CMakeLists.txt"))
    return match.group(1)


class BuildWithLibrary(build_py):
    """build_py that also configures and builds libostreljet with CMake and copies it into the package."""

    def run(self):
        super().run()
        # Kept between builds, so that a reinstall only rebuilds what changed.
        build_dir = os.environ.get("OSTRELJET_CMAKE_BUILD_DIR") or os.path.join(HERE, "build", "cmake-" + sys.platform)
        os.makedirs(build_dir, exist_ok=True)
        configure = [
            "cmake",
            "-S",
            SOURCE_DIR,
            "-B",
            build_dir,
            "-DCMAKE_BUILD_TYPE=Release",
            "-DOSTRELJET_BUILD_TESTS=OFF",
            "-DOSTRELJET_BUILD_CLI=OFF",
            "-DOSTRELJET_BUILD_BENCH=OFF",
            "-DOSTRELJET_BUILD_EXAMPLES=OFF",
            "-DOSTRELJET_BUILD_COMPONENT=OFF",
            "-DOSTRELJET_INSTALL=OFF",
        ]
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(min(os.cpu_count() or 1, 2))
        for command in (configure, ["cmake", "--build", build_dir, "--target", "ostreljet", "-j", jobs]):
            print(" ".join(command), flush=True)
            subprocess.run(command, check=True)
        built = os.path.join(build_dir, "src", LIBRARY)
        # The real file behind the versioned symbolic links, under the name the package looks for.
        target = os.path.join(self.build_lib, "ostreljet", LIBRARY)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(os.path.realpath(built), target)


class BinaryDistribution(Distribution):
    """The package carries a compiled library, so its wheel is for this platform only."""

    def has_ext_modules(self):
        return True


setup(
    version=project_version(),
    cmdclass={"build_py": BuildWithLibrary},
    distclass=BinaryDistribution,
)
