#!/usr/bin/env python3
"""Throughput of the command line tool as a user meets it.

`batch` runs per second on every core (a 500-run sweep around the vent example, without and with a level
to report) and `grid` points and CSV bytes per second (1e6 and 1e7 points around the vent).
Usage: bench/cli_throughput.py [path to ostreljet] (default build/apps/cli/ostreljet)
"""
import json
import os
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def timed(command):
    """Wall time of a command in s, or None when it fails."""
    start = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - start if done.returncode == 0 else None


def main():
    cli = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build", "apps", "cli", "ostreljet")
    vent = os.path.join(ROOT, "examples", "vertical_buoyant_vent.json")
    with tempfile.TemporaryDirectory() as scratch:
        sweep = os.path.join(scratch, "sweep.jsonl")
        vary = {
            "referenceWindSpeed": [2, 3, 4, 5, 6, 7, 8, 9, 10, 11],
            "massFlowrate": [0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5],
            "stackHeight": [10, 15, 20, 25, 30],
        }
        with open(sweep, "w") as out:
            out.write(json.dumps({"base": json.load(open(vent)), "vary": vary}) + "\n")
        for levels in ([], ["--levels", "LFL"]):
            seconds = timed([cli, "batch", sweep, "-o", os.path.join(scratch, "out.jsonl")] + levels)
            name = "batch, 500 runs" + (", --levels LFL" if levels else "")
            if seconds is None:
                print("%-30s not available from this tool" % name)
            else:
                print("%-30s %8.0f runs/s (%.2f s)" % (name, 500 / seconds, seconds))
        for nx in (100, 1000):
            points = nx * 100 * 100
            csv = os.path.join(scratch, "grid.csv")
            seconds = timed([cli, "grid", vent, "--from", "-20,-50,0", "--to", "300,50,100", "--points",
                             "%d,100,100" % nx, "--csv", csv])
            size = os.path.getsize(csv)
            print("grid of %8d points: %6.1f M points/s, %6.0f MB/s of CSV (%.2f s, %d bytes)"
                  % (points, points / seconds / 1e6, size / seconds / 1e6, seconds, size))


if __name__ == "__main__":
    main()
