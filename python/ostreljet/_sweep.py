"""Sweeps: many releases from one base case, run on the local cores or on a Dask cluster."""

import concurrent.futures
import itertools
import os
import sys
import threading
import time

from ._model import INPUTS, Model

# Runs a sweep may expand to unless max_runs allows more, as the command line's batch.
MAXIMUM_RUNS = 100000


def _run_count(vary):
    count = 1
    for name in vary:
        count *= len(vary[name])
    return count


class _Cancellation:
    """The models of a sweep's runs under way, so that Ctrl-C can cancel them and no run starts after it."""

    def __init__(self):
        self._lock = threading.Lock()
        self._models = set()
        self.cancelled = False

    def enter(self, model):
        with self._lock:
            if self.cancelled:
                return False
            self._models.add(model)
            return True

    def leave(self, model):
        with self._lock:
            self._models.discard(model)

    def cancel(self):
        with self._lock:
            self.cancelled = True
            for model in self._models:
                model.cancel()


def _check_runs(count, max_runs):
    if isinstance(max_runs, bool) or not isinstance(max_runs, int) or max_runs < 1:
        raise ValueError("max_runs must be a whole number of 1 or more, not %r" % (max_runs,))
    if count > max_runs:
        raise ValueError(
            "the sweep expands to %d runs, beyond the limit of %d runs (raise it with max_runs)" % (count, max_runs)
        )


def cases(base, vary, max_runs=MAXIMUM_RUNS):
    """The inputs of every run of a sweep: base updated with each combination of vary's values.

    ValueError, before anything is expanded, when the combinations number more than max_runs.

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
    if max_runs is not None:
        _check_runs(_run_count(dict(zip(names, values))), max_runs)
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


def run_case(index, inputs, levels=None, unit="vol", cancellation=None):
    """One run of a sweep as a row: the run's index, its inputs, status, summary figures, messages and
    error. Never raises: a release that fails becomes a row with status "error" and the error's text."""
    try:
        with Model() as model:
            return _run_on(model, index, inputs, levels, unit, cancellation)
    except Exception as error:  # the library could not make a model: the row says so
        return _error_row(index, inputs, error), {}


def _error_row(index, inputs, error):
    row = {"run": index}
    row.update(inputs)
    row.update({"status": "error", "messages": [], "error": "%s: %s" % (type(error).__name__, error)})
    return row


def _run_on(model, index, inputs, levels, unit, cancellation=None):
    """run_case on a given model, whose inputs not named in inputs are already as wanted."""
    row = {"run": index}
    row.update(inputs)
    try:
        if cancellation is not None and not cancellation.enter(model):
            row.update({"status": "error", "messages": [], "error": "cancelled before it started"})
            return row, {}
        try:
            model.set(**inputs)
            row.update(model.to_dict())
            model.run()
            summary = model.summary(levels=levels, unit=unit)
        finally:
            if cancellation is not None:
                cancellation.leave(model)
        row.update(summary.row())
        row["messages"] = ["%s: %s" % pair for pair in summary.messages]
        row["error"] = None
        return row, summary.row_units()
    except Exception as error:  # a bad release must not lose the other rows
        row.update({"status": "error", "messages": [], "error": "%s: %s" % (type(error).__name__, error)})
        return row, {}


# A cluster worker's model, kept from chunk to chunk (one per worker thread), and the defaults it is
# reset to at the start of each chunk, so that no input of an earlier sweep carries over.
_kept = threading.local()


def _kept_model():
    model = getattr(_kept, "model", None)
    if model is None or model.closed:
        model = Model()
        _kept.model = model
        _kept.defaults = model.to_dict()
        _kept.defaults.pop("gas", None)
    model.gas = None
    model.set(**_kept.defaults)
    return model


def _chunk_cancelled():
    """True when the cluster has cancelled the chunk this worker thread is running (Ctrl-C on the client)."""
    try:
        from distributed import get_worker
        from distributed.worker import thread_state

        task = get_worker().state.tasks.get(thread_state.key)
    except Exception:  # not on a worker, or a distributed without this state: run the chunk through
        return False
    return task is None or task.state in ("cancelled", "released", "forgotten")


def run_chunk(runs, levels=None, unit="vol"):
    """A chunk of a sweep's runs on one model, as columns: (columns, shapes, shape, units). columns maps
    each name of any row to a list with one value per run, in the order of runs; shapes are the
    distinct lists of names the rows have, in their order (a failed run has no summary figures); shape
    gives each row's index into shapes; units as run_case's.

    runs: (index, inputs) pairs. A chunk the cluster has cancelled stops before its next run; its
    result is discarded."""
    model = _kept_model()
    rows = []
    units = {}
    for index, inputs in runs:
        if rows and _chunk_cancelled():
            break
        row, row_units = _run_on(model, index, inputs, levels, unit)
        rows.append(row)
        units.update(row_units)
    names = list(dict.fromkeys(name for row in rows for name in row))
    columns = {name: [row.get(name) for row in rows] for name in names}
    shapes = list(dict.fromkeys(tuple(row) for row in rows))
    where = {names: position for position, names in enumerate(shapes)}
    return columns, [list(names) for names in shapes], [where[tuple(row)] for row in rows], units


def _rows(columns, shapes, shape):
    """The rows of run_chunk's columns, each with the names its run gave, in their order."""
    return [{name: columns[name][k] for name in shapes[s]} for k, s in enumerate(shape)]


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


def sweep(base, vary, levels=None, unit="vol", client=None, workers=None, progress=None, frame=None,
          max_runs=MAXIMUM_RUNS):
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

    max_runs: the most runs the sweep may expand to (100000 unless given, as batch); a larger sweep is
    refused with ValueError before any run. Ctrl-C (KeyboardInterrupt) cancels the runs under way and
    those not started, locally and on the cluster, and is raised again once they have stopped.
    """
    _check_runs(1, max_runs)
    combined = cases(base, vary, max_runs)
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
            cancellation = _Cancellation()
            if count == 1:
                for argument in arguments:
                    results[argument[0]] = run_case(*argument)
                    meter.step()
            else:
                pool = concurrent.futures.ThreadPoolExecutor(max_workers=count)
                try:
                    futures = {pool.submit(run_case, *argument, cancellation): argument[0] for argument in arguments}
                    for future in concurrent.futures.as_completed(futures):
                        results[futures[future]] = future.result()
                        meter.step()
                except BaseException:
                    # Ctrl-C: no queued run starts and the running ones end at their next check.
                    cancellation.cancel()
                    pool.shutdown(wait=True, cancel_futures=True)
                    raise
                pool.shutdown(wait=True)
    finally:
        meter.close()
    rows = [row for row, _ in results]
    units = {}
    for _, row_units in results:
        units.update(row_units)
    for name, description in INPUTS.items():
        units[name] = description.unit
    return _as_frame(rows, units) if frame is not False else rows


def _chunks(arguments, workers):
    """The runs in chunks: about eight per worker, so that the cluster balances them, of at most 32 runs,
    so that a chunk is never long to wait for, nor to cancel."""
    size = max(1, min(32, -(-len(arguments) // (8 * max(1, workers)))))
    return [arguments[start:start + size] for start in range(0, len(arguments), size)]


def _on_cluster(client, arguments, results, meter):
    from distributed import as_completed

    workers = sum(client.nthreads().values()) if hasattr(client, "nthreads") else 1
    chunks = _chunks(arguments, workers)
    levels, unit = (arguments[0][2], arguments[0][3]) if arguments else (None, "vol")
    futures = [
        client.submit(run_chunk, [(index, inputs) for index, inputs, _, _ in chunk], levels, unit, pure=False)
        for chunk in chunks
    ]
    members = {future.key: chunk for future, chunk in zip(futures, chunks)}
    try:
        _collect(as_completed(futures), members, results, meter)
    except BaseException:
        # Ctrl-C: the cluster drops every chunk not finished (queued ones never start; a worker's running
        # one stops before its next run and its result is discarded).
        client.cancel(futures)
        raise


def _collect(completed, members, results, meter):
    for future in completed:
        chunk = members[future.key]
        try:
            columns, shapes, shape, units = future.result()
            for argument, row in zip(chunk, _rows(columns, shapes, shape)):
                results[argument[0]] = (row, units)
        except Exception as error:  # a worker lost: its rows say so, the others stay
            for argument in chunk:
                results[argument[0]] = (_error_row(argument[0], argument[1], error), {})
        for _ in chunk:
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
