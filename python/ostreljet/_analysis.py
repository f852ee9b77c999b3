"""Results for analysis: the run summary, data frames and plots of one run."""

import ctypes
import math

from . import _library

# Units of the centreline series (concentrations are the model's volume fractions).
SERIES_UNITS = {
    "arclength": "m",
    "x": "m",
    "y": "m",
    "z": "m",
    "profileRadius": "m",
    "centrelineConcentration": "volume fraction",
    "centrelineTemperature": "K",
    "centrelineVelocity": "m/s",
}

# The printed label of each unit word.
UNIT_LABELS = {
    "mass": "mass fraction",
    "vol": "volume fraction",
    "%": "% by volume",
    "ppm": "ppm by volume",
    "mg/m3": "mg/m\u00b3",
}


def _text(raw):
    return raw.decode("utf-8", "replace") if raw is not None else None


def _absent(value):
    return None if value != value else value


class Summary:
    """The summary of one run, in the unit it was asked for; absent answers are None.

    status: "ok", "warning", "incomplete", "failed", "refused" or "invalid" ("not run" before a run), as
    every front words it; ending and end_message: how and with
    which message the run ended; figures: name -> value of the run figures (greatestCentrelineHeight,
    edgeReachesGroundDownwind, groundMaximum, ...); levels: one dict per level with its text ("LFL"), its
    value in the unit and its figures (centrelineDownwindDistance, farthestDownwindExtent, ...); units:
    figure name -> unit; messages: (severity, text) pairs.
    """

    __slots__ = ("status", "ending", "end_message", "unit", "figures", "levels", "units", "messages")

    def __init__(self, status, ending, end_message, unit, figures, levels, units, messages):
        self.status = status
        self.ending = ending
        self.end_message = end_message
        self.unit = unit
        self.figures = figures
        self.levels = levels
        self.units = units
        self.messages = messages

    @property
    def succeeded(self):
        """True when the run gave results: status "ok", "warning" or "incomplete"."""
        return self.status in ("ok", "warning", "incomplete")

    def __getattr__(self, name):
        # The run figures as attributes: summary.greatestCentrelineHeight.
        figures = object.__getattribute__(self, "figures")
        if name in figures:
            return figures[name]
        raise AttributeError("a Summary has no figure %r" % name)

    def row(self):
        """The summary as one flat dict: status, ending, end message, run figures and, per level,
        "<figure> <level>" (for example "centrelineDownwindDistance LFL")."""
        row = {"status": self.status, "ending": self.ending, "end_message": self.end_message}
        row.update(self.figures)
        for level in self.levels:
            for name, value in level.items():
                if name != "text":
                    row["%s %s" % (name, level["text"])] = value
        return row

    def row_units(self):
        """Unit of each numeric column of row()."""
        units = dict((name, self.units[name]) for name in self.figures)
        for level in self.levels:
            for name in level:
                if name != "text":
                    units["%s %s" % (name, level["text"])] = self.units[name]
        return units

    def __str__(self):
        # An absent figure is "none" (it does not exist: no touchdown, a level never reached) only where
        # the model looked for it; a run without results, or a search its limits stopped, computed nothing.
        def shown(value, unit, computed=True):
            if value is None:
                return "none" if computed and self.succeeded else "not computed"
            if isinstance(value, bool):
                return "yes" if value else "no"
            return "%.4g %s" % (value, UNIT_LABELS.get(unit, unit))

        ground_computed = bool(self.figures.get("groundMaximumComputed", True))
        lines = ["status: %s (%s)" % (self.status, self.ending)]
        if self.end_message:
            lines.append("end: " + self.end_message)
        for name, value in self.figures.items():
            searched = ground_computed or not name.startswith("groundMaximum")
            lines.append("%s: %s" % (name, shown(value, self.units[name], searched)))
        for level in self.levels:
            region = bool(level.get("regionComputed", True))
            lines.append(
                "level %s (%s): %s"
                % (
                    level["text"],
                    shown(level["level"], self.unit),
                    ", ".join(
                        "%s %s"
                        % (
                            name,
                            shown(value, self.units[name], region or name not in _REGION_FIGURES),
                        )
                        for name, value in level.items()
                        if name not in ("text", "level")
                    ),
                )
            )
        return "\n".join(lines)

    def __repr__(self):
        return "<ostreljet.Summary %s: %d levels in %s>" % (self.status, len(self.levels), self.unit)


# Level figures that only a search of the region gives.
_REGION_FIGURES = ("farthestDownwindExtent", "greatestHalfWidth")

# Level figures that are yes-or-no answers.
_LEVEL_FLAGS = ("exceededAtEndOfRun", "regionComputed", "regionOpen", "centrelineInFarField", "regionInFarField")


def read_summary(model, handle, count):
    """Reads the summary that ostreljet_summarize has just kept on the handle (the model's lock held)."""
    lib = model._lib
    names = [_text(lib.ostreljet_summary_figure_name(i)) for i in range(lib.ostreljet_summary_figure_count())]
    level_names = [
        _text(lib.ostreljet_summary_level_figure_name(i)) for i in range(lib.ostreljet_summary_level_figure_count())
    ]
    units = {}
    figures = {}
    for name in names:
        raw = name.encode("ascii")
        units[name] = _text(lib.ostreljet_summary_figure_unit(handle, raw))
        figures[name] = _absent(lib.ostreljet_summary_figure(handle, raw))
    for name in level_names:
        units[name] = _text(lib.ostreljet_summary_level_figure_unit(handle, name.encode("ascii")))
    levels = []
    for index in range(count):
        level = {"text": _text(lib.ostreljet_summary_level_text(handle, index))}
        for name in level_names:
            value = _absent(lib.ostreljet_summary_level_figure(handle, index, name.encode("ascii")))
            level[name] = bool(value) if name in _LEVEL_FLAGS else value
        levels.append(level)
    ending = _text(lib.ostreljet_ending_name(lib.ostreljet_ending(handle)))
    messages = list(zip(model.message_severities, model.messages))
    cut = lib.ostreljet_summary_cut_message(handle)
    if cut is not None:
        # The summary's own last message: its searches stopped early, the answers left are not computed.
        messages.append(("error", _text(cut)))
    return Summary(
        model.status,
        ending,
        model.end_message,
        _text(lib.ostreljet_summary_unit(handle)),
        figures,
        levels,
        units,
        messages,
    )


def to_dataframe(results):
    """The centreline series as a pandas DataFrame, one row per output step; units in df.attrs["units"]."""
    try:
        import pandas
    except ImportError:
        raise ImportError("to_dataframe needs pandas (Debian: apt-get install python3-pandas)") from None
    frame = pandas.DataFrame({name: list(values) for name, values in results.items()})
    frame.index.name = "step"
    frame.attrs["units"] = dict(SERIES_UNITS)
    return frame


# Plots.


def _frame(model):
    """The stack and the unit vector of the wind (towards which it blows) in the site frame."""
    bearing = math.radians(model.referenceWindBearing)
    return model.stackLocationX, model.stackLocationY, math.sin(bearing), math.cos(bearing)


def _plane(model, downwind, crosswind, heights, unit):
    """Concentrations (unit) at the points of a plane given by downwind, crosswind and height lists."""
    xs, ys, wx, wy = _frame(model)
    rows = []
    for d, c, z in zip(downwind, crosswind, heights):
        rows.append(model.concentration(xs + d * wx - c * wy, ys + d * wy + c * wx, z, unit=unit))
    return rows


def plot(model, levels=None, unit="vol", figure=None):
    """Side view, plan views at the plume's greatest height and at ground level, and centreline curves."""
    try:
        import matplotlib

        if figure is None:
            from matplotlib.figure import Figure

            figure = Figure(figsize=(12, 8), layout="constrained")
    except ImportError:
        raise ImportError("plot needs matplotlib (Debian: apt-get install python3-matplotlib)") from None
    del matplotlib
    summary = model.summary(levels=levels, unit=unit)
    label = UNIT_LABELS.get(summary.unit, summary.unit)
    side, curves, plan_high, plan_ground = figure.subplots(2, 2).flat
    results = model.results
    count = len(results)
    if count < 2:
        for axes in (side, curves, plan_high, plan_ground):
            axes.text(0.5, 0.5, "no results: %s" % (summary.end_message or summary.ending), ha="center")
        return figure
    xs, ys, wx, wy = _frame(model)
    x, y, z, r = (list(results[name]) for name in ("x", "y", "z", "profileRadius"))
    downwind = [(x[i] - xs) * wx + (y[i] - ys) * wy for i in range(count)]
    crosswind = [-(x[i] - xs) * wy + (y[i] - ys) * wx for i in range(count)]
    level_values = sorted(level["level"] for level in summary.levels if level["level"])
    far = max(max(downwind), 1.0) * 1.1
    near = min(min(downwind), 0.0)
    reach = max(max(abs(c) + ri for c, ri in zip(crosswind, r)), 1.0) * 1.2
    top = max(max(zi + ri for zi, ri in zip(z, r)), 1.0) * 1.1

    def field(axes, grid_d, grid_other, values, title, ylabel):
        axes.set_title(title)
        axes.set_xlabel("downwind distance (m)")
        axes.set_ylabel(ylabel)
        highest = max(max(row) for row in values)
        inside = [v for v in level_values if 0.0 < v < highest]
        if highest > 0.0:
            mesh = axes.pcolormesh(grid_d, grid_other, values, shading="auto", cmap="viridis")
            figure.colorbar(mesh, ax=axes, label=label)
        if inside:
            lines = axes.contour(grid_d, grid_other, values, levels=inside, colors="white", linewidths=1.0)
            texts = {level["level"]: level["text"] for level in summary.levels}
            axes.clabel(lines, fmt={v: texts.get(v, "%.3g" % v) for v in inside}, fontsize=8)

    def mesh(first, second, n_first=90, n_second=50):
        a = [first[0] + (first[1] - first[0]) * i / (n_first - 1) for i in range(n_first)]
        b = [second[0] + (second[1] - second[0]) * j / (n_second - 1) for j in range(n_second)]
        return a, b

    # Side view: the vertical plane along the wind through the stack, with the centreline and its band.
    d_axis, z_axis = mesh((near, far), (0.0, top))
    values = [
        _plane(model, d_axis, [0.0] * len(d_axis), [zk] * len(d_axis), summary.unit) for zk in z_axis
    ]
    field(side, d_axis, z_axis, values, "side view along the wind", "height (m)")
    side.plot(downwind, z, color="red", label="centreline")
    side.plot(downwind, [max(zi - ri, 0.0) for zi, ri in zip(z, r)], color="red", linestyle=":")
    side.plot(downwind, [zi + ri for zi, ri in zip(z, r)], color="red", linestyle=":")
    side.set_ylim(0.0, top)
    side.legend(loc="upper right", fontsize=8)

    # Plan views at the plume's greatest height and at ground level.
    height = summary.figures.get("greatestCentrelineHeight") or max(z)
    for axes, level_z, title in (
        (plan_high, height, "plan view at %.4g m (the plume's greatest height)" % height),
        (plan_ground, 0.0, "plan view at ground level"),
    ):
        d_axis, c_axis = mesh((near, far), (-reach, reach))
        values = [
            _plane(model, d_axis, [ck] * len(d_axis), [level_z] * len(d_axis), summary.unit) for ck in c_axis
        ]
        field(axes, d_axis, c_axis, values, title, "crosswind distance (m, left of the wind)")
        axes.plot(downwind, crosswind, color="red", linewidth=0.8)
        axes.set_ylim(-reach, reach)

    # Centreline curves: concentration in the chosen unit, with the levels; velocity and temperature.
    on_axis = [model.concentration(x[i], y[i], z[i], unit=summary.unit) for i in range(count)]
    curves.set_title("along the centreline")
    curves.set_xlabel("downwind distance (m)")
    curves.set_ylabel("concentration (%s)" % label)
    positive = [(d, c) for d, c in zip(downwind, on_axis) if c > 0.0]
    if positive:
        curves.plot([d for d, _ in positive], [c for _, c in positive], color="black", label="concentration")
        curves.set_yscale("log")
    for level in summary.levels:
        if level["level"]:
            curves.axhline(level["level"], color="grey", linestyle="--", linewidth=0.8)
            curves.annotate(level["text"], (downwind[-1], level["level"]), fontsize=8, ha="right", va="bottom")
    twin = curves.twinx()
    twin.plot(downwind, list(results["centrelineVelocity"]), color="tab:blue", label="velocity (m/s)")
    twin.plot(downwind, list(results["centrelineTemperature"]), color="tab:orange", label="temperature (K)")
    twin.set_ylabel("velocity (m/s), temperature (K)")
    twin.legend(loc="upper right", fontsize=8)
    figure.suptitle("Ostreljet run: %s" % summary.ending)
    return figure
