"""Ostreljet: an integral model of a continuous gas jet in a crosswind, over libostreljet.

    import ostreljet
    m = ostreljet.Model.from_scenario("examples/vertical_buoyant_vent.json")
    if m.run():
        print(m.results.x[-1], m.results.z[-1], m.messages[-1])

Results come as numpy arrays when numpy is installed and ostreljet.use_numpy is true (it starts
false when the environment variable OSTRELJET_NO_NUMPY is set to 1), as lists otherwise. The library
is found through OSTRELJET_LIBRARY (a full path), beside the package, in the repository's build
trees (build*/src/) or by the system loader.
"""

import os as _os

from ._library import LibraryNotFoundError
from ._model import INPUTS, PASQUILL, SERIES, TIME_AVERAGING, Input, Model, OstreljetError, Results


def _numpy_wanted():
    if _os.environ.get("OSTRELJET_NO_NUMPY", "").strip().lower() in ("1", "true", "yes", "on"):
        return False
    try:
        import numpy
    except ImportError:
        return False
    return numpy is not None


use_numpy = _numpy_wanted()


def version():
    """The library's version, "major.minor.patch.tweak", as libostreljet reports it."""
    from . import _library

    return _library.library().ostreljet_version().decode("ascii")


def library_path():
    """Full path of the libostreljet that the package loaded."""
    from . import _library

    return _library.path()


def __getattr__(name):
    # The version is the library's; it is read when first asked for, so importing never fails.
    if name == "__version__":
        value = version()
        globals()["__version__"] = value
        return value
    raise AttributeError("module 'ostreljet' has no attribute %r" % name)


__all__ = [
    "INPUTS",
    "Input",
    "PASQUILL",
    "SERIES",
    "TIME_AVERAGING",
    "LibraryNotFoundError",
    "Model",
    "OstreljetError",
    "Results",
    "library_path",
    "use_numpy",
    "version",
]
