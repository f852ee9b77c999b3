"""Finding and loading libostreljet, and declaring the C functions that the package calls."""

import ctypes
import ctypes.util
import glob
import os
import sys
import threading

ENVIRONMENT_VARIABLE = "OSTRELJET_LIBRARY"

_PACKAGE_DIR = os.path.dirname(os.path.abspath(__file__))
# python/ostreljet -> the repository's root.
_REPOSITORY_DIR = os.path.dirname(os.path.dirname(_PACKAGE_DIR))


class LibraryNotFoundError(OSError):
    """libostreljet could not be found or loaded; the message lists every place that was tried."""


def _file_names():
    if sys.platform == "darwin":
        return ["libostreljet.dylib"]
    if sys.platform.startswith("win") or sys.platform == "cygwin":
        return ["ostreljet.dll", "libostreljet.dll"]
    return ["libostreljet.so", "libostreljet.so.1"]


def candidates(environ=None, package_dir=_PACKAGE_DIR, repository_dir=_REPOSITORY_DIR):
    """Where the library is looked for, in order: a list of (description, path or None).

    1. The full path in OSTRELJET_LIBRARY, when that is set.
    2. Beside the package: inside its directory, then in the directory that holds it.
    3. A build tree of the repository, build*/src/, the most recently built first.
    4. The system loader's search (ctypes.util.find_library).
    """
    environ = os.environ if environ is None else environ
    found = []
    explicit = environ.get(ENVIRONMENT_VARIABLE)
    if explicit:
        found.append((ENVIRONMENT_VARIABLE + "=" + explicit, explicit))
        return found
    for directory in (package_dir, os.path.dirname(package_dir)):
        for name in _file_names():
            path = os.path.join(directory, name)
            found.append((path, path))
    built = []
    for name in _file_names()[:1]:
        pattern = os.path.join(repository_dir, "build*", "src", name)
        matches = glob.glob(pattern)
        built.extend(matches)
        if not matches:
            found.append((pattern + " (no match)", None))
    built.sort(key=lambda path: os.path.getmtime(path), reverse=True)
    found.extend((path, path) for path in built)
    system = ctypes.util.find_library("ostreljet")
    found.append(("the system loader (find_library('ostreljet') -> " + repr(system) + ")", system))
    return found


def locate(environ=None, package_dir=_PACKAGE_DIR, repository_dir=_REPOSITORY_DIR):
    """Loads the first library that exists among the candidates; raises LibraryNotFoundError."""
    tried = []
    for description, path in candidates(environ, package_dir, repository_dir):
        if path is None:
            tried.append(description)
            continue
        is_system = description.startswith("the system loader")
        if not is_system and not os.path.isfile(path):
            tried.append(description + " (missing)")
            continue
        try:
            return ctypes.CDLL(path), path
        except OSError as error:
            tried.append(description + " (cannot be loaded: " + str(error) + ")")
    raise LibraryNotFoundError(
        "libostreljet could not be found. Looked in:\n  "
        + "\n  ".join(tried)
        + "\nBuild it (cmake -S . -B build && cmake --build build) or set "
        + ENVIRONMENT_VARIABLE
        + " to its full path."
    )


_c_double_p = ctypes.POINTER(ctypes.c_double)

# name: (result type, argument types)
_PROTOTYPES = {
    "ostreljet_create": (ctypes.c_void_p, []),
    "ostreljet_destroy": (None, [ctypes.c_void_p]),
    "ostreljet_set": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_double]),
    "ostreljet_get": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p, _c_double_p]),
    "ostreljet_run": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_cancel": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_step_count": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_series": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p, _c_double_p, ctypes.c_int]),
    "ostreljet_message_count": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_message": (ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_int]),
    "ostreljet_version": (ctypes.c_char_p, []),
    "ostreljet_concentration": (
        ctypes.c_double,
        [ctypes.c_void_p, ctypes.c_double, ctypes.c_double, ctypes.c_double],
    ),
    "ostreljet_concentration_grid": (
        ctypes.c_longlong,
        [ctypes.c_void_p]
        + [ctypes.c_double] * 6
        + [ctypes.c_int] * 3
        + [_c_double_p, ctypes.c_longlong],
    ),
    "ostreljet_load_scenario": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_far_field_series": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p, _c_double_p, ctypes.c_int]),
    "ostreljet_far_field_figure": (ctypes.c_double, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_far_field_hand_off": (ctypes.c_char_p, [ctypes.c_void_p]),
    "ostreljet_last_error": (ctypes.c_char_p, []),
    "ostreljet_property_count": (ctypes.c_int, []),
    "ostreljet_property_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_property_type": (ctypes.c_char_p, [ctypes.c_char_p]),
    "ostreljet_property_unit": (ctypes.c_char_p, [ctypes.c_char_p]),
    "ostreljet_property_description": (ctypes.c_char_p, [ctypes.c_char_p]),
    "ostreljet_property_default": (ctypes.c_int, [ctypes.c_char_p, _c_double_p]),
    "ostreljet_property_range": (
        ctypes.c_int,
        [ctypes.c_char_p, _c_double_p, _c_double_p, ctypes.POINTER(ctypes.c_int), ctypes.POINTER(ctypes.c_int)],
    ),
    "ostreljet_property_label_count": (ctypes.c_int, [ctypes.c_char_p]),
    "ostreljet_property_label": (ctypes.c_char_p, [ctypes.c_char_p, ctypes.c_int]),
    "ostreljet_property_member": (ctypes.c_char_p, [ctypes.c_char_p, ctypes.c_int]),
    "ostreljet_set_echo": (ctypes.c_int, [ctypes.c_int]),
    "ostreljet_set_gas": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_gas": (ctypes.c_char_p, [ctypes.c_void_p]),
    "ostreljet_gas_count": (ctypes.c_int, []),
    "ostreljet_gas_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_ending": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_status": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_status_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_computed": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_double, ctypes.c_double, ctypes.c_double]),
    "ostreljet_ending_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_end_message": (ctypes.c_char_p, [ctypes.c_void_p]),
    "ostreljet_message_severity": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_int]),
    "ostreljet_severity_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_summarize": (ctypes.c_int, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p]),
    "ostreljet_summary_unit": (ctypes.c_char_p, [ctypes.c_void_p]),
    "ostreljet_summary_cut_message": (ctypes.c_char_p, [ctypes.c_void_p]),
    "ostreljet_summary_figure_count": (ctypes.c_int, []),
    "ostreljet_summary_figure_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_summary_figure_unit": (ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_summary_figure": (ctypes.c_double, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_summary_level_count": (ctypes.c_int, [ctypes.c_void_p]),
    "ostreljet_summary_level_text": (ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_int]),
    "ostreljet_summary_level_figure_count": (ctypes.c_int, []),
    "ostreljet_summary_level_figure_name": (ctypes.c_char_p, [ctypes.c_int]),
    "ostreljet_summary_level_figure_unit": (ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_char_p]),
    "ostreljet_summary_level_figure": (ctypes.c_double, [ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p]),
    "ostreljet_concentration_unit": (
        ctypes.c_double,
        [ctypes.c_void_p, ctypes.c_double, ctypes.c_double, ctypes.c_double, ctypes.c_char_p],
    ),
    "ostreljet_concentration_grid_unit": (
        ctypes.c_longlong,
        [ctypes.c_void_p]
        + [ctypes.c_double] * 6
        + [ctypes.c_int] * 3
        + [_c_double_p, ctypes.c_longlong, ctypes.c_char_p],
    ),
    # Maps and weather studies.
    "ostreljet_footprint_geojson": (
        ctypes.c_longlong,
        [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p]
        + [ctypes.c_double] * 3
        + [ctypes.c_char_p, ctypes.c_longlong],
    ),
    "ostreljet_plane": (
        ctypes.c_longlong,
        [ctypes.c_void_p]
        + [ctypes.c_double] * 4
        + [ctypes.c_int] * 2
        + [ctypes.c_double, _c_double_p, ctypes.c_longlong],
    ),
    "ostreljet_levels_in_model_unit": (
        ctypes.c_int,
        [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p, _c_double_p, ctypes.c_int],
    ),
    "ostreljet_weather_rose": (ctypes.c_int, [ctypes.c_char_p, _c_double_p, ctypes.c_int]),
    "ostreljet_apply_weather": (
        ctypes.c_int,
        [ctypes.c_void_p, ctypes.c_double, ctypes.c_double, ctypes.c_int, ctypes.c_double],
    ),
}

_lock = threading.Lock()
_library = None
_path = None


def library():
    """The loaded library with its prototypes declared; loaded on first use."""
    global _library, _path
    with _lock:
        if _library is None:
            loaded, path = locate()
            for name, (restype, argtypes) in _PROTOTYPES.items():
                try:
                    function = getattr(loaded, name)
                except AttributeError:
                    raise LibraryNotFoundError(
                        path + " is not a usable libostreljet: it lacks " + name + " (rebuild it)"
                    ) from None
                function.restype = restype
                function.argtypes = argtypes
            _library, _path = loaded, path
        return _library


def path():
    """Full path of the loaded library."""
    library()
    return _path


def last_error():
    text = library().ostreljet_last_error()
    return text.decode("utf-8", "replace") if text else ""
