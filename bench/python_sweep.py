#!/usr/bin/env python3
"""Runs per second of a Python sweep on a two-worker Dask LocalCluster, beside `batch` on the same sweep.

One process times, for a 600-run sweep around the vent example (stability A..F x 10 wind speeds x 10
release rates), at one level and at two: `batch` on every core; the sweep as it is now (runs
sent to the workers in chunks, each worker keeping a model); and the sweep as it was at a baseline
commit (one task per run), its module taken from git into a scratch folder. The cluster is started once,
before any timing; each figure is the best of three.
Usage: bench/python_sweep.py [BASELINE COMMIT] [path to ostreljet]   (defaults 07a0ddf, build/apps/cli/ostreljet)
The package's library is the one OSTRELJET_LIBRARY names, else this tree's build.
"""
import importlib
import json
import os
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
VENT = os.path.join(ROOT, "examples", "vertical_buoyant_vent.json")
VARY = {
    "pasquillStability": list("ABCDEF"),
    "referenceWindSpeed": [2, 3, 4, 5, 6, 7, 8, 9, 10, 11],
    "massFlowrate": [0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5],
}
RUNS = 600


def best(seconds):
    """The shortest of three timings of a call that returns nothing."""
    times = []
    for _ in range(3):
        start = time.perf_counter()
        seconds()
        times.append(time.perf_counter() - start)
    return min(times)


def baseline_module(commit, scratch):
    """The baseline's sweep module as the importable module sweep_baseline (its imports made absolute)."""
    source = subprocess.run(["git", "-C", ROOT, "show", commit + ":python/ostreljet/_sweep.py"],
                            capture_output=True, text=True, check=True).stdout
    source = source.replace("from ._model import", "from ostreljet._model import")
    with open(os.path.join(scratch, "sweep_baseline.py"), "w") as out:
        out.write(source)
    return importlib.import_module("sweep_baseline")


def main():
    commit = sys.argv[1] if len(sys.argv) > 1 else "07a0ddf"
    cli = sys.argv[2] if len(sys.argv) > 2 else os.path.join(ROOT, "build", "apps", "cli", "ostreljet")
    library = os.environ.get("OSTRELJET_LIBRARY", os.path.join(ROOT, "build", "src", "libostreljet.so"))
    with tempfile.TemporaryDirectory() as scratch:
        # Workers are new processes: they find this tree's package, the baseline's module and the library.
        path = os.pathsep.join([os.path.join(ROOT, "python"), scratch, os.environ.get("PYTHONPATH", "")])
        os.environ["PYTHONPATH"] = path
        os.environ["OSTRELJET_LIBRARY"] = library
        sys.path[:0] = [os.path.join(ROOT, "python"), scratch]
        import distributed
        import ostreljet

        before = baseline_module(commit, scratch)
        sweep = os.path.join(scratch, "sweep.jsonl")
        with open(sweep, "w") as out:
            out.write(json.dumps({"base": json.load(open(VENT)), "vary": VARY}) + "\n")
        with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                      dashboard_address=None) as cluster, distributed.Client(cluster) as client:
            for levels in ("LFL", "LFL,LFL/2"):
                extra = ["--levels", levels] if levels else []
                command = [cli, "batch", sweep, "-o", os.path.join(scratch, "out.jsonl")] + extra
                batch = best(lambda: subprocess.run(command, check=True, stdout=subprocess.DEVNULL))
                now = best(lambda: ostreljet.sweep(VENT, VARY, levels=levels, client=client, progress=False))
                then = best(lambda: before.sweep(VENT, VARY, levels=levels, client=client, progress=False))
                name = "levels " + levels
                print("%-16s batch %6.0f runs/s | cluster now %6.0f runs/s (%.2f of batch) | cluster at %s"
                      " %6.0f runs/s (%.2f of batch)" % (name, RUNS / batch, RUNS / now, batch / now, commit,
                                                         RUNS / then, batch / then))


if __name__ == "__main__":
    main()
