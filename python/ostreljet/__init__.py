"""Ostreljet: an integral model of a continuous gas jet in a crosswind, over libostreljet.

    import ostreljet
    m = ostreljet.Model.from_scenario("examples/vertical_buoyant_vent.json")
    if m.run():
        print(m.summary(levels="LFL,2%", unit="%"))
        frame = m.results.to_dataframe()   # with pandas
        m.plot()                           # with matplotlib: side view, plan views, centreline

    table = ostreljet.sweep("examples/vertical_buoyant_vent.json",
                            {"pasquillStability": list("ABCDEF"), "referenceWindSpeed": [2, 5, 10]},
                            levels="LFL")

Concentrations are volume fractions unless a unit ("mass", "vol", "%", "ppm", "mg/m3") is chosen. The
package is quiet: the model's once-only notices stay in Model.messages unless set_echo(True).

Results come as numpy arrays when numpy is installed and ostreljet.use_numpy is true (it starts
false when the environment variable OSTRELJET_NO_NUMPY is set to 1), as lists otherwise. The library
is found through OSTRELJET_LIBRARY (a full path), inside the package (where pip install puts it),
in the repository's build trees (build*/src/) or by the system loader.
"""

import os as _os

from ._library import LibraryNotFoundError
from ._analysis import Summary
from ._model import (
    INPUTS,
    PASQUILL,
    SERIES,
    TIME_AVERAGING,
    UNITS,
    Input,
    Model,
    OstreljetError,
    Results,
    gases,
    set_echo,
)
from ._sweep import cases, sweep
from ._maps import WeatherStudy, footprint, read_weather_rose, weather_sweep


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
    "Summary",
    "UNITS",
    "cases",
    "gases",
    "set_echo",
    "sweep",
    "library_path",
    "use_numpy",
    "version",
    "WeatherStudy",
    "footprint",
    "read_weather_rose",
    "weather_sweep",
]
