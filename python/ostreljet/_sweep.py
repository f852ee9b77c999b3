"""Sweeps: many releases from one base case, run on the local cores or on a Dask cluster."""

import concurrent.futures
import itertools
import os
import sys
import time

from ._model import INPUTS, Model


def cases(base, vary):
    """The inputs of every run of a sweep: base updated with each combination of vary's values.

    The combinations are the product of vary's lists in the order of its keys, the last key varying
    fastest, as the command line's batch files list them.
    """
    base = _base_inputs(base)
    if not hasattr(vary, "items"):
        raise TypeError("vary must be a mapping of input name -> list of values, not %s" % type(vary).__name__)
    names = list(vary)
    for name in names:
        if name != "gas" and name not in INPUTS:
            raise ValueError("vary names no input %r" % name)
    values = []
    for name in names:
        if isinstance(vary[name], (str, bytes)):
            raise TypeError("vary[%r] must be a list of values, not a single %s" % (name, type(vary[name]).__name__))
        values.append(list(vary[name]))
    combined = []
    for combination in itertools.product(*values):
        inputs = dict(base)
        inputs.update(zip(names, combination))
        combined.append(inputs)
    return combined


def _base_inputs(base):
    if base is None:
        return {}
    if isinstance(base, Model):
        return base.to_dict()
    if isinstance(base, (str, bytes, os.PathLike)):
        with Model.from_scenario(base) as model:
            return model.to_dict()
    if hasattr(base, "items"):
        return dict(base)
    raise TypeError("base must be a dict of inputs, a Model or a scenario path, not %s" % type(base).__name__)


def run_case(index, inputs, levels=None, unit="vol"):
    """One run of a sweep as a row: the run's index, its inputs, status, summary figures, messages and
    error. Never raises: a release that fails becomes a row with status "error" and the error's text."""
    row = {"run": index}
    row.update(inputs)
    try:
        with Model() as model:
            model.set(**inputs)
            row.update(model.to_dict())
            model.run()
            summary = model.summary(levels=levels, unit=unit)
            row.update(summary.row())
            row["messages"] = ["%s: %s" % pair for pair in summary.messages]
            row["error"] = None
            return row, summary.row_units()
    except Exception as error:  # a bad release must not lose the other rows
        row.update({"status": "error", "messages": [], "error": "%s: %s" % (type(error).__name__, error)})
        return row, {}


def _run_case_packed(arguments):
    return run_case(*arguments)


class _Progress:
    """Counts finished runs: tqdm when it is installed and someone is watching (a terminal or a
    notebook), else a plain line on a terminal's standard error, else nothing."""

    def __init__(self, total, wanted):
        self.total = total
        self.done = 0
        self.bar = None
        self.line = False
        self.started = time.monotonic()
        watching = sys.stderr is not None and hasattr(sys.stderr, "isatty") and sys.stderr.isatty()
        notebook = "ipykernel" in sys.modules
        if wanted is False or (wanted is None and not (watching or notebook)):
            return
        try:
            from tqdm.auto import tqdm

            self.bar = tqdm(total=total, unit="run", desc="ostreljet sweep")
        except ImportError:
            self.line = True

    def step(self):
        self.done += 1
        if self.bar is not None:
            self.bar.update(1)
        elif self.line:
            rate = self.done / max(time.monotonic() - self.started, 1e-9)
            sys.stderr.write("\rostreljet sweep: %d/%d runs (%.0f runs/s)" % (self.done, self.total, rate))
            sys.stderr.flush()

    def close(self):
        if self.bar is not None:
            self.bar.close()
        elif self.line:
            sys.stderr.write("\n")
            sys.stderr.flush()


def sweep(base, vary, levels=None, unit="vol", client=None, workers=None, progress=None, frame=None):
    """Runs every combination of vary's values over base and returns one row per run.

    base: a dict of inputs (a "gas" key too), a Model or a scenario path. vary: input name -> list of
    values; the product of the lists, last key fastest, as batch. levels, unit: as Model.summary.
    client: a dask.distributed.Client to run on its cluster; otherwise the runs share the local cores
    (workers threads, every core by default; 1 runs them one after another on this thread). progress:
    None shows progress when someone watches (a terminal or a notebook), True always, False never.

    Each row holds the run's index, its inputs (enumerations as labels), its status ("ok", "refused",
    "invalid" or "error"), the summary's figures (None where absent; level figures as "<figure>
    <level>", for example "centrelineDownwindDistance LFL"), its messages ("severity: text") and the
    error of a release that failed. The rows are in the order of the combinations and identical
    whichever way they ran. The result is a pandas DataFrame (units in frame.attrs["units"]) when
    pandas is installed and frame is not False, else a list of dicts.
    """
    combined = cases(base, vary)
    arguments = [(index, inputs, levels, unit) for index, inputs in enumerate(combined)]
    results = [None] * len(arguments)
    meter = _Progress(len(arguments), progress)
    try:
        if client is not None:
            _on_cluster(client, arguments, results, meter)
        else:
            count = os.cpu_count() or 1 if workers is None else int(workers)
            if count < 1:
                raise ValueError("workers must be at least 1, not %r" % workers)
            if count == 1:
                for argument in arguments:
                    results[argument[0]] = run_case(*argument)
                    meter.step()
            else:
                with concurrent.futures.ThreadPoolExecutor(max_workers=count) as pool:
                    futures = {pool.submit(run_case, *argument): argument[0] for argument in arguments}
                    for future in concurrent.futures.as_completed(futures):
                        results[futures[future]] = future.result()
                        meter.step()
    finally:
        meter.close()
    rows = [row for row, _ in results]
    units = {}
    for _, row_units in results:
        units.update(row_units)
    for name, description in INPUTS.items():
        units[name] = description.unit
    return _as_frame(rows, units) if frame is not False else rows


def _on_cluster(client, arguments, results, meter):
    from distributed import as_completed

    futures = client.map(_run_case_packed, arguments, pure=False)
    indexes = {future.key: argument[0] for future, argument in zip(futures, arguments)}
    for future in as_completed(futures):
        index = indexes[future.key]
        try:
            results[index] = future.result()
        except Exception as error:  # a worker lost: the row says so, the others stay
            row = {"run": index}
            row.update(arguments[index][1])
            row.update({"status": "error", "messages": [], "error": "%s: %s" % (type(error).__name__, error)})
            results[index] = (row, {})
        meter.step()


def _as_frame(rows, units):
    try:
        import pandas
    except ImportError:
        return rows
    table = pandas.DataFrame(rows)
    if "run" in table.columns:
        table = table.set_index("run")
    table.attrs["units"] = {name: unit for name, unit in units.items() if name in table.columns}
    return table
