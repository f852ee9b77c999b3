"""The Model class: one jet model held by libostreljet, its inputs as attributes and its results."""

import collections
import collections.abc
import ctypes
import difflib
import math
import numbers
import operator
import os
import signal
import sys
import threading

from . import _library

SERIES = (
    "arclength",
    "x",
    "y",
    "z",
    "profileRadius",
    "centrelineConcentration",
    "centrelineTemperature",
    "centrelineVelocity",
)


class Input(collections.namedtuple("Input", "kind unit description default range labels")):
    """One input property as the library describes it.

    kind is "double" or the enumeration's name ("TIME_AVERAGING", "PASQUILL"); unit the SI unit ("-" for
    a pure number); default the value of a new model; range (lower, upper, lower_inclusive,
    upper_inclusive), with infinities where validation sets no bound; labels the enumeration's
    (label, member name) pairs by value, empty for a double.
    """


class _LazyMapping(collections.abc.Mapping):
    """A read-only mapping filled from the library when first used, so that importing never loads it."""

    def __init__(self, build):
        self._build = build
        self._items = None

    def _loaded(self):
        if self._items is None:
            self._items = self._build()
        return self._items

    def __getitem__(self, key):
        return self._loaded()[key]

    def __iter__(self):
        return iter(self._loaded())

    def __len__(self):
        return len(self._loaded())

    def __contains__(self, key):
        return key in self._loaded()

    def __repr__(self):
        return repr(self._loaded())


def _text(raw):
    return raw.decode("ascii") if raw is not None else None


def _read_inputs():
    lib = _library.library()
    inputs = {}
    for index in range(lib.ostreljet_property_count()):
        raw = lib.ostreljet_property_name(index)
        name = _text(raw)
        default = ctypes.c_double()
        lower, upper = ctypes.c_double(), ctypes.c_double()
        lower_inclusive, upper_inclusive = ctypes.c_int(), ctypes.c_int()
        if lib.ostreljet_property_default(raw, ctypes.byref(default)) != 0 or lib.ostreljet_property_range(
            raw, ctypes.byref(lower), ctypes.byref(upper), ctypes.byref(lower_inclusive), ctypes.byref(upper_inclusive)
        ) != 0:
            raise OstreljetError("reading the description of %s failed: %s" % (name, _library.last_error()))
        labels = tuple(
            (_text(lib.ostreljet_property_label(raw, value)), _text(lib.ostreljet_property_member(raw, value)))
            for value in range(lib.ostreljet_property_label_count(raw))
        )
        inputs[name] = Input(
            _text(lib.ostreljet_property_type(raw)),
            _text(lib.ostreljet_property_unit(raw)),
            _text(lib.ostreljet_property_description(raw)),
            default.value,
            (lower.value, upper.value, bool(lower_inclusive.value), bool(upper_inclusive.value)),
            labels,
        )
    return inputs


# Input properties in the order of the model's interface: name -> Input.
INPUTS = _LazyMapping(_read_inputs)


def _enumeration(input_name):
    """label or member name -> value, for one enumeration input."""

    def build():
        names = {}
        for value, (label, member) in enumerate(INPUTS[input_name].labels):
            names[label] = value
            names[member] = value
        return names

    return _LazyMapping(build)


PASQUILL = _enumeration("pasquillStability")
TIME_AVERAGING = _enumeration("timeAveraging")


def _accepted(labels):
    """What an enumeration input accepts, as its error messages say it."""
    last = len(labels) - 1
    if len(labels) > 2:
        return '"%s".."%s", "%s".."%s" or 0..%d' % (labels[0][0], labels[-1][0], labels[0][1], labels[-1][1], last)
    words = ['"%s"' % label for label, _ in labels] + ['"%s"' % member for _, member in labels]
    return ", ".join(words + [str(value) for value in range(last)]) + " or %d" % last


_INT_MAX = 2**31 - 1


class OstreljetError(RuntimeError):
    """The library reported an internal failure."""


def _numpy():
    """numpy when it is present and enabled by ostreljet.use_numpy, else None."""
    package = sys.modules.get(__package__)
    if package is not None and not getattr(package, "use_numpy", False):
        return None
    try:
        import numpy
    except ImportError:
        return None
    return numpy


def _coerce(name, value):
    """The number that the library stores for an input, or TypeError/ValueError naming both."""
    description = INPUTS[name]
    unit = description.unit
    if description.kind != "double":
        names = {label: value for value, pair in enumerate(description.labels) for label in pair}
        count = len(description.labels)
        accepted = _accepted(description.labels)
        if isinstance(value, str):
            if value in names:
                return float(names[value])
            raise ValueError("%s must be one of %s, not %r" % (name, accepted, value))
        if isinstance(value, bool) or not isinstance(value, numbers.Real):
            raise TypeError("%s must be one of %s, not %s %r" % (name, accepted, type(value).__name__, value))
        number = float(value)
        if not (math.isfinite(number) and number == math.floor(number) and 0 <= number < count):
            raise ValueError("%s must be one of %s, not %r" % (name, accepted, value))
        return number
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError("%s takes a number (%s), not %s %r" % (name, unit, type(value).__name__, value))
    number = float(value)
    if not math.isfinite(number):
        raise ValueError("%s must be a finite number (%s), not %r" % (name, unit, value))
    return number


def _real(what, value):
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError("%s must be a number, not %s %r" % (what, type(value).__name__, value))
    return float(value)


def _count(what, value):
    if isinstance(value, bool):
        raise TypeError("%s must be an integer, not bool %r" % (what, value))
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError("%s must be an integer, not %s %r" % (what, type(value).__name__, value)) from None
    if number < 0:
        raise ValueError("%s must not be negative, not %d" % (what, number))
    if number > _INT_MAX:
        raise ValueError("%s must be at most %d, not %d" % (what, _INT_MAX, number))
    return number


def _available_memory():
    """Bytes of memory the system can still hand out, or None when it cannot tell."""
    try:
        with open("/proc/meminfo") as meminfo:
            for line in meminfo:
                if line.startswith("MemAvailable:"):
                    return int(line.split()[1]) * 1024
    except (OSError, ValueError, IndexError):
        pass
    try:
        return os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
    except (AttributeError, OSError, ValueError):
        return None


def _size(count):
    for unit in ("bytes", "kB", "MB", "GB", "TB", "PB"):
        if count < 1000 or unit == "PB":
            return ("%d %s" % (count, unit)) if unit == "bytes" else ("%.1f %s" % (count, unit))
        count /= 1000.0


def _axis(start, end, count, reaches_end):
    """Coordinates of one grid axis, computed as the library computes them."""
    if count == 1:
        return [start]
    divisor = float(count - 1) if reaches_end else float(count)
    return [start + float(index) / divisor * (end - start) for index in range(count)]


class Results:
    """The centreline series of one run, by step: read as results.x or results["x"]."""

    __slots__ = ("_columns",)

    def __init__(self, columns):
        object.__setattr__(self, "_columns", columns)

    def __getattr__(self, name):
        try:
            return self._columns[name]
        except KeyError:
            raise AttributeError("results have no series %r; series are %s" % (name, ", ".join(SERIES))) from None

    def __setattr__(self, name, value):
        raise AttributeError("results are read-only")

    def __getitem__(self, name):
        try:
            return self._columns[name]
        except KeyError:
            raise KeyError("no series %r; series are %s" % (name, ", ".join(SERIES))) from None

    def __iter__(self):
        return iter(SERIES)

    def __len__(self):
        return len(self._columns["arclength"])

    def keys(self):
        return list(SERIES)

    def items(self):
        return [(name, self._columns[name]) for name in SERIES]

    def to_dict(self):
        return {name: self._columns[name] for name in SERIES}

    def to_dataframe(self):
        """The series as a pandas DataFrame, one row per output step; units in frame.attrs["units"]
        (concentrations are volume fractions)."""
        from ._analysis import to_dataframe

        return to_dataframe(self)

    def __dir__(self):
        return sorted(set(object.__dir__(self)) | set(SERIES))

    def __repr__(self):
        return "<ostreljet.Results: %d steps>" % len(self)


class FarFieldResults(Results):
    """The far field's series, by point from the hand-off to the end, with why the jet handed over
    (hand_off) and its figures (m, and the continuity ratio)."""

    __slots__ = ("hand_off", "figures")

    def __init__(self, columns, hand_off, figures):
        super().__init__(columns)
        object.__setattr__(self, "hand_off", hand_off)
        object.__setattr__(self, "figures", figures)

    def __iter__(self):
        return iter(self._columns)

    def __len__(self):
        return len(self._columns["downwindDistance"])

    def keys(self):
        return list(self._columns)

    def items(self):
        return list(self._columns.items())

    def to_dict(self):
        return dict(self._columns)

    def to_dataframe(self):
        """The far field as a pandas DataFrame, one row per point; units in frame.attrs["units"]."""
        import pandas

        frame = pandas.DataFrame({name: list(values) for name, values in self._columns.items()})
        frame.index.name = "point"
        frame.attrs["units"] = {"downwindDistance": "m", "height": "m", "sigmaY": "m", "sigmaZ": "m",
                                "centrelineConcentration": "volume fraction",
                                "groundLevelConcentration": "volume fraction", "regime": "0 dense, 1 passive"}
        return frame

    def __repr__(self):
        return "<ostreljet.FarFieldResults: %d points, hand-off %s>" % (len(self), self.hand_off)


class Model:
    """One jet model: set its inputs as attributes, run() it, then read results, messages and concentrations.

    Model(**inputs) starts from the defaults and sets the given inputs. The model is released by
    close(), by leaving a with block, or when it is garbage-collected.
    """

    __slots__ = ("_handle", "_lib", "_lock", "_results", "_messages", "__weakref__")



    def __init__(self, **inputs):
        lib = _library.library()
        object.__setattr__(self, "_lib", lib)
        object.__setattr__(self, "_lock", threading.RLock())
        object.__setattr__(self, "_results", None)
        object.__setattr__(self, "_messages", None)
        handle = lib.ostreljet_create()
        if not handle:
            raise MemoryError("libostreljet could not create a model")
        object.__setattr__(self, "_handle", handle)
        self.set(**inputs)

    # Lifetime.

    def close(self):
        """Releases the model; later use raises ValueError. Closing twice is harmless.

        Waits for a call that another thread is making on the model (a run or a grid) to end first.
        """
        lock = getattr(self, "_lock", None)
        if lock is None:
            return
        with lock:
            handle = getattr(self, "_handle", None)
            if handle:
                object.__setattr__(self, "_handle", None)
                lib = getattr(self, "_lib", None)
                if lib is not None:
                    lib.ostreljet_destroy(handle)

    def __del__(self):
        try:
            self.close()
        except Exception:
            pass

    def __enter__(self):
        return self

    def __exit__(self, *exc_info):
        self.close()
        return False

    @property
    def closed(self):
        with self._lock:
            return not self._handle

    def _live(self):
        # Callers hold self._lock, so the handle stays valid until they release it.
        handle = self._handle
        if not handle:
            raise ValueError("the model is closed; create a new Model to go on")
        return handle

    # Inputs.

    @staticmethod
    def _check_name(name):
        if name not in INPUTS:
            close = difflib.get_close_matches(name, INPUTS, 1)
            hint = " (did you mean %r?)" % close[0] if close else ""
            raise AttributeError("Model has no input %r%s" % (name, hint))

    def _get(self, name):
        value = ctypes.c_double()
        with self._lock:
            status = self._lib.ostreljet_get(self._live(), name.encode("ascii"), ctypes.byref(value))
            if status != 0:
                raise OstreljetError("reading %s failed: %s" % (name, _library.last_error()))
        return value.value

    def _set(self, name, value):
        number = _coerce(name, value)
        with self._lock:
            status = self._lib.ostreljet_set(self._live(), name.encode("ascii"), number)
            if status != 0:
                raise OstreljetError("setting %s to %r failed: %s" % (name, value, _library.last_error()))

    def __setattr__(self, name, value):
        if name in INPUTS:
            self._set(name, value)
            return
        if name == "gas":
            self._set_gas(value)
            return
        attribute = getattr(type(self), name, None)
        if isinstance(attribute, property) and attribute.fset is None:
            raise AttributeError("%s is read-only" % name)
        self._check_name(name)

    def __delattr__(self, name):
        raise AttributeError("cannot delete %r from a Model" % name)

    def __getattr__(self, name):
        # Only reached when normal lookup fails: the inputs, and names that are not attributes.
        if name.startswith("_"):
            raise AttributeError(name)
        self._check_name(name)
        value = self._get(name)
        if INPUTS[name].kind != "double":
            # Enumerations read back as their labels ("D", "long").
            return INPUTS[name].labels[int(value)][0]
        return value

    def __dir__(self):
        return sorted(set(object.__dir__(self)) | set(INPUTS))

    def set(self, **inputs):
        """Sets several inputs at once (a gas first, so that explicit source properties win); returns the model."""
        if "gas" in inputs:
            self.gas = inputs["gas"]
        for name, value in inputs.items():
            if name != "gas":
                self._check_name(name)
                setattr(self, name, value)
        return self

    def to_dict(self):
        """The inputs in the interface's order, the enumerations as labels, after the gas when one is named."""
        inputs = {"gas": self.gas} if self.gas else {}
        inputs.update((name, getattr(self, name)) for name in INPUTS)
        return inputs

    # The released gas.

    def _set_gas(self, name):
        if name is not None and not isinstance(name, str):
            raise TypeError("gas must be the name of a gas (str) or None, not %s %r" % (type(name).__name__, name))
        _refuse_nul("gas", name)
        with self._lock:
            status = self._lib.ostreljet_set_gas(self._live(), (name or "").encode("utf-8"))
            if status != 0:
                raise ValueError(_library.last_error())

    @property
    def gas(self):
        """The released gas of the library's gas table, or None. Setting one ("propane") fills the
        source molecular weight, specific heat and specific heat ratio, as a scenario's "gas" key does,
        and gives the summary its hazard levels (LFL, UFL, LFL/2, IDLH)."""
        with self._lock:
            name = _text(self._lib.ostreljet_gas(self._live()))
        return name or None

    @gas.setter
    def gas(self, name):
        self._set_gas(name)

    @classmethod
    def from_scenario(cls, path):
        """A new model with the inputs of a scenario file (a JSON object of input properties)."""
        model = cls()
        try:
            model.load_scenario(path)
        except BaseException:
            model.close()
            raise
        return model

    def load_scenario(self, path):
        """Sets the inputs named in a scenario file; nothing is set when the file is refused."""
        if not isinstance(path, (str, bytes, os.PathLike)):
            raise TypeError("a scenario path must be a str, bytes or os.PathLike, not %s" % type(path).__name__)
        encoded = os.fsencode(path)
        if b"\0" in encoded:
            raise ValueError("a scenario path must not contain a NUL character: %r" % (path,))
        with self._lock:
            status = self._lib.ostreljet_load_scenario(self._live(), encoded)
            message = _library.last_error() if status != 0 else ""
        if status == 0:
            return self
        if not os.path.exists(encoded):
            raise FileNotFoundError(2, message, os.fsdecode(encoded))
        if status == -2:
            raise ValueError(message)
        raise OstreljetError(message)

    # Running and results.

    def run(self):
        """Validates the inputs and runs: True when the run gave results, False when it gave none.

        True for the statuses "ok", "warning" (results to use with care) and "incomplete" (a limit ended
        the run: results up to there); False for "failed" (non-physical values), "refused" (by the source
        checks) and "invalid" (inputs or weather): status and end_message say which and why, with the
        figures compared. ValueError when the release would start underground
        (stackHeight <= 0 m pointing downward, releaseAngle < 0 degrees).
        """
        with self._lock:
            handle = self._live()
            # Each thread integrates with its own solver state, so separate models run side by side.
            status, error = self._run_interruptibly(handle)
            object.__setattr__(self, "_results", None)
            object.__setattr__(self, "_messages", None)
            if status == -2:
                raise ValueError("the run was refused: %s" % error)
            if status < 0:
                raise OstreljetError("the run failed: %s" % error)
        return self.status in ("ok", "warning", "incomplete")

    @property
    def ending(self):
        """How the last run ended: "stopping concentration", "centreline on the ground", "top of the
        boundary layer", "refused by the source checks", "inputs invalid", "other" or "not run"."""
        with self._lock:
            code = self._lib.ostreljet_ending(self._live())
        return _text(self._lib.ostreljet_ending_name(code))

    @property
    def status(self):
        """The last run's status, the same word on every front: "ok", "warning", "incomplete", "failed",
        "refused", "invalid", or "not run"."""
        with self._lock:
            code = self._lib.ostreljet_status(self._live())
        return _text(self._lib.ostreljet_status_name(code))

    @property
    def end_message(self):
        """The message that ended the last run, or None."""
        with self._lock:
            text = self._lib.ostreljet_end_message(self._live())
        return text.decode("utf-8", "replace") if text is not None else None

    @property
    def message_severities(self):
        """The severity of each message of the last run: "information", "warning" or "error"."""
        with self._lock:
            handle = self._live()
            count = self._lib.ostreljet_message_count(handle)
            return [
                _text(self._lib.ostreljet_severity_name(self._lib.ostreljet_message_severity(handle, index)))
                for index in range(max(count, 0))
            ]

    def summary(self, levels=None, unit="vol"):
        """The summary of the last run (a Summary): how it ended, how high the plume went, where it
        reached the ground and how far each level reaches.

        levels: a list or a comma-separated string of levels, each a number (a volume fraction), a number
        with a unit ("2%", "5000ppm", "100mg/m3") or a named level of the gas ("LFL", "UFL", "LFL/2",
        "IDLH"); None for LFL and LFL/2 of a flammable gas, else the stopping concentration. unit: the
        unit of the summary's concentrations ("mass", "vol", "%", "ppm", "mg/m3"). Absent answers are None.
        """
        from ._analysis import read_summary

        if levels is not None and not isinstance(levels, str):
            levels = ",".join(str(level) for level in levels)
        _refuse_nul("levels", levels)
        unit = _unit_word(unit)
        with self._lock:
            handle = self._live()
            encoded = levels.encode("utf-8") if levels else None

            def summarize():
                # A level below the stopping concentration runs the model again, stopping at half that level.
                count = self._lib.ostreljet_summarize(handle, encoded, unit.encode("ascii"))
                return count, (_library.last_error() if count < 0 else "")

            # Ctrl-C cancels the summary's searches as it cancels a run.
            count, error = self._run_interruptibly(handle, summarize)
            object.__setattr__(self, "_results", None)
            object.__setattr__(self, "_messages", None)
            if count < 0:
                raise ValueError(error)
            return read_summary(self, handle, count)

    def cancel(self):
        """Asks the run or summary under way on another thread to end soon; each ends with a message that
        says so. Does nothing on a closed model."""
        handle = self._handle
        if handle:
            self._lib.ostreljet_cancel(handle)

    def _run_interruptibly(self, handle, call=None):
        # Ctrl-C reaches only the main thread, and only between bytecodes: there the run goes to a helper
        # thread while this one waits. For that wait, SIGINT's handler is one that cancels the run and
        # remembers the signal; once the run has ended the previous handler is restored and given the
        # signal (the default one raises KeyboardInterrupt). The run's thread is therefore always joined
        # before this returns or raises, wherever the interrupt lands. The library's last error belongs
        # to the thread that made the call, so it is read there.
        def run():
            if call is not None:
                return call()
            status = self._lib.ostreljet_run(handle)
            return status, (_library.last_error() if status < 0 else "")

        if threading.current_thread() is not threading.main_thread():
            return run()
        previous = signal.getsignal(signal.SIGINT)
        if not callable(previous):
            return run()
        interrupts = []

        def on_interrupt(signum, frame):
            interrupts.append((signum, frame))
            self._lib.ostreljet_cancel(handle)

        outcome = []
        worker = threading.Thread(target=lambda: outcome.append(run()), daemon=True)
        signal.signal(signal.SIGINT, on_interrupt)
        try:
            worker.start()
            while worker.is_alive():
                worker.join(0.05)
        finally:
            signal.signal(signal.SIGINT, previous)
        if interrupts:
            object.__setattr__(self, "_results", None)
            object.__setattr__(self, "_messages", None)
            previous(*interrupts[0])
        return outcome[0] if outcome else (-3, "the run's thread ended without a status")

    @property
    def step_count(self):
        """Number of output steps of the last run."""
        with self._lock:
            count = self._lib.ostreljet_step_count(self._live())
        if count < 0:
            raise OstreljetError(_library.last_error())
        return count

    def _series(self, name, count, numpy):
        if numpy is not None:
            values = numpy.empty(count, dtype=numpy.float64)
            out = values.ctypes.data_as(ctypes.POINTER(ctypes.c_double))
        else:
            values = (ctypes.c_double * count)()
            out = ctypes.cast(values, ctypes.POINTER(ctypes.c_double))
        copied = self._lib.ostreljet_series(self._live(), name.encode("ascii"), out, count)
        if copied != count:
            raise OstreljetError("series %s gave %d values, not %d: %s" % (name, copied, count, _library.last_error()))
        return values if numpy is not None else list(values)

    @property
    def results(self):
        """The centreline series of the last run (numpy arrays or lists), one value per output step."""
        numpy = _numpy()
        with self._lock:
            cached = self._results
            if cached is None or cached[0] != (numpy is not None):
                count = self.step_count
                columns = {name: self._series(name, count, numpy) for name in SERIES}
                cached = (numpy is not None, Results(columns))
                object.__setattr__(self, "_results", cached)
        return cached[1]

    def set_far_field(self, dispersion=None, averaging_time=None, distance=None):
        """Sets the far field's inputs: dispersion "rural" or "urban", averaging_time (s), distance (m
        downwind of the stack where the far field ends); None keeps a value. Returns the model."""
        values = {"averagingTime": averaging_time, "farFieldDistance": distance}
        if dispersion is not None:
            if dispersion not in ("rural", "urban"):
                raise ValueError("dispersion must be 'rural' or 'urban', not %r" % (dispersion,))
            values["farFieldDispersion"] = 0.0 if dispersion == "rural" else 1.0
        for name, value in values.items():
            if value is None:
                continue
            number = _real(name, value)
            with self._lock:
                if self._lib.ostreljet_set(self._live(), name.encode("ascii"), number) != 0:
                    raise ValueError(_library.last_error())
        return self

    FAR_FIELD_SERIES = (
        "downwindDistance",
        "height",
        "sigmaY",
        "sigmaZ",
        "centrelineConcentration",
        "groundLevelConcentration",
        "regime",
    )

    @property
    def far_field(self):
        """The far field past the jet after a run: its series (downwind distance and height in m, sigmaY and
        sigmaZ in m, centreline and ground-level concentrations as volume fractions, regime 0 dense and 1
        passive; .to_dataframe() for pandas), with .hand_off (why), .figures (hand-off distance and height,
        continuity ratio, passive start and end, m). Empty series without a far field."""
        columns = {}
        with self._lock:
            handle = self._live()
            for name in self.FAR_FIELD_SERIES:
                count = self._lib.ostreljet_far_field_series(handle, name.encode("ascii"), None, 0)
                values = (ctypes.c_double * max(count, 0))()
                self._lib.ostreljet_far_field_series(
                    handle, name.encode("ascii"), ctypes.cast(values, ctypes.POINTER(ctypes.c_double)), count
                )
                columns[name] = list(values)
            hand_off = _text(self._lib.ostreljet_far_field_hand_off(handle))
            figures = {
                name: self._lib.ostreljet_far_field_figure(handle, name.encode("ascii"))
                for name in ("handOffDistance", "handOffHeight", "continuityRatio", "passiveFrom", "endDistance")
            }
        return FarFieldResults(columns, hand_off, figures)

    @property
    def messages(self):
        """Messages of the last run (errors, warnings and notices), in order."""
        with self._lock:
            if self._messages is None:
                handle = self._live()
                count = self._lib.ostreljet_message_count(handle)
                texts = []
                for index in range(max(count, 0)):
                    text = self._lib.ostreljet_message(handle, index)
                    texts.append(text.decode("utf-8", "replace") if text is not None else "")
                object.__setattr__(self, "_messages", texts)
            return list(self._messages)

    def concentration(self, x, y, z, unit="vol"):
        """Concentration at the point (x east, y north, z up; m).

        unit: "vol" (volume fraction, the model's own), "mass", "%", "ppm" or "mg/m3" (at the point's
        mixture temperature). Inside the modelled region the field's own value (a computed 0 is 0); past
        the hand-off plane the far field answers. NaN where nothing is computed: beyond the run's end plane
        short of the far field, beyond the far field's end, before a run and for a run without results
        (computed() tells which points).
        """
        point = [_real(axis, value) for axis, value in zip("xyz", (x, y, z))]
        unit = _unit_word(unit)
        with self._lock:
            handle = self._live()
            value = self._lib.ostreljet_concentration_unit(handle, *point, unit.encode("ascii"))
            if value != value:
                error = _library.last_error()
                if self._lib.ostreljet_computed(handle, *point) != 0:
                    raise ValueError(error)
        return value

    def computed(self, x, y, z):
        """True when the last run computed the concentration at the point (inside the modelled region)."""
        point = [_real(axis, value) for axis, value in zip("xyz", (x, y, z))]
        with self._lock:
            answer = self._lib.ostreljet_computed(self._live(), *point)
        if answer < 0:
            raise ValueError(_library.last_error())
        return answer == 1

    @staticmethod
    def grid_axes(x0, y0, z0, x1, y1, z1, nx, ny, nz):
        """Coordinates of the points of grid(...) along each axis: (xs, ys, zs).

        x runs from x0 to x1 inclusive; y and z stop one step short of y1 and z1. A count of 1 gives
        the start alone.
        """
        starts = [_real(name, value) for name, value in zip(("x0", "y0", "z0"), (x0, y0, z0))]
        ends = [_real(name, value) for name, value in zip(("x1", "y1", "z1"), (x1, y1, z1))]
        counts = [_count(name, value) for name, value in zip(("nx", "ny", "nz"), (nx, ny, nz))]
        return tuple(_axis(starts[i], ends[i], counts[i], i == 0) for i in range(3))

    def grid(self, x0, y0, z0, x1, y1, z1, nx, ny, nz, unit="vol"):
        """Concentrations on a regular grid, shaped (nx, ny, nz): a numpy array or nested lists.

        unit as for concentration().

        Point [i][j][k] lies at grid_axes(...)[0][i], [1][j], [2][k]. Negative counts and grids that
        would not fit in the memory available are refused before anything is allocated.
        Concentrations below the stopping concentration are reported as 0.
        """
        starts = [_real(name, value) for name, value in zip(("x0", "y0", "z0"), (x0, y0, z0))]
        ends = [_real(name, value) for name, value in zip(("x1", "y1", "z1"), (x1, y1, z1))]
        counts = [_count(name, value) for name, value in zip(("nx", "ny", "nz"), (nx, ny, nz))]
        nx, ny, nz = counts
        unit = _unit_word(unit)
        total = nx * ny * nz
        numpy = _numpy()
        # A float in a nested list costs its object and its slot besides the library's buffer.
        per_point = 8 if numpy is not None else 8 + 24 + 8
        needed = total * per_point
        available = _available_memory()
        if needed > sys.maxsize or (available is not None and needed > available):
            raise MemoryError(
                "a grid of %d x %d x %d = %d points would take %s; %s"
                % (
                    nx,
                    ny,
                    nz,
                    total,
                    _size(needed),
                    "only %s of memory is available" % _size(available)
                    if available is not None
                    else "that is beyond this process's address space",
                )
            )
        if numpy is not None:
            values = numpy.empty((nx, ny, nz), dtype=numpy.float64)
            out = values.ctypes.data_as(ctypes.POINTER(ctypes.c_double))
        else:
            buffer = (ctypes.c_double * total)()
            out = ctypes.cast(buffer, ctypes.POINTER(ctypes.c_double))
        with self._lock:
            written = self._lib.ostreljet_concentration_grid_unit(
                self._live(), *starts, *ends, nx, ny, nz, out, total, unit.encode("ascii")
            )
        if written != total:
            raise OstreljetError("the grid failed: %s" % _library.last_error())
        if numpy is not None:
            return values
        flat = list(buffer)
        plane = ny * nz
        return [[flat[i * plane + j * nz : i * plane + (j + 1) * nz] for j in range(ny)] for i in range(nx)]

    def plot(self, levels=None, unit="vol", figure=None):
        """Draws the last run with matplotlib and returns the figure: the side view along the wind, the
        plan views at the plume's greatest height and at ground level, and the centreline curves."""
        from ._analysis import plot

        return plot(self, levels=levels, unit=unit, figure=figure)

    def __reduce__(self):
        # Copies and pickles carry the inputs; each copy owns its own model and has no results yet.
        return (_model_with_inputs, (self.to_dict(),))

    def __repr__(self):
        with self._lock:
            if not self._handle:
                return "<ostreljet.Model (closed)>"
            return "<ostreljet.Model: %d steps>" % self.step_count


def _model_with_inputs(inputs):
    return Model(**inputs)


UNITS = ("mass", "vol", "%", "ppm", "mg/m3")


def _refuse_nul(what, text):
    """C strings end at a NUL character: a text holding one would be read cut short, so it is refused."""
    if isinstance(text, str) and "\0" in text:
        raise ValueError("%s must not contain a NUL character: %r" % (what, text))


def _unit_word(unit):
    if unit is None:
        return "vol"
    if not isinstance(unit, str) or unit not in UNITS + ("mg/m^3", "mg/m\u00b3"):
        raise ValueError("unit must be one of %s, not %r" % (", ".join(UNITS), unit))
    return unit


def set_echo(on):
    """Echo the model's once-only notices to standard output (on=True) or not (False, as the package
    starts); they are in Model.messages either way. Returns the previous setting."""
    return bool(_library.library().ostreljet_set_echo(1 if on else 0))


def gases():
    """Names of the gases of the library's gas table, for Model.gas."""
    lib = _library.library()
    return [_text(lib.ostreljet_gas_name(index)) for index in range(lib.ostreljet_gas_count())]
