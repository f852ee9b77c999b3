#!/usr/bin/env python3
"""Throughput of the command line tool as a user meets it.

`batch` runs per second on every core (a 500-run sweep around the vent example, without levels, with
LFL, and with LFL and LFL/2) and `grid` points and CSV bytes per second (1e6 and 1e7 points around the
vent), for each tool named, one after the other (a build before a change and after it).
Usage: bench/cli_throughput.py [ostreljet ...] (default build/apps/cli/ostreljet)
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
    clis = sys.argv[1:] or [os.path.join(ROOT, "build", "apps", "cli", "ostreljet")]
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
        # Each variant is timed with every tool in turn, best of three, so that the tools share the
        # machine's state; the rate with levels is also given as a share of the rate without.
        for cli in clis:
            print(cli)
            rates = {}
            for levels in ([], ["--levels", "LFL"], ["--levels", "LFL,LFL/2"]):
                times = [timed([cli, "batch", sweep, "-o", os.path.join(scratch, "out.jsonl")] + levels)
                         for _ in range(3)]
                name = "batch, 500 runs" + (", " + " ".join(levels) if levels else "")
                if None in times:
                    print("  %-36s not available from this tool" % name)
                    continue
                rates[name] = 500 / min(times)
                share = rates[name] / rates["batch, 500 runs"] if levels and "batch, 500 runs" in rates else None
                print("  %-36s %8.0f runs/s (%.2f s)%s" % (name, rates[name], min(times),
                      "  %.2f of the rate without levels" % share if share else ""))
            for nx in (100, 1000):
                points = nx * 100 * 100
                csv = os.path.join(scratch, "grid.csv")
                seconds = timed([cli, "grid", vent, "--from", "-20,-50,0", "--to", "300,50,100", "--points",
                                 "%d,100,100" % nx, "--csv", csv])
                if seconds is None:
                    print("  grid of %8d points: not available from this tool" % points)
                    continue
                size = os.path.getsize(csv)
                print("  grid of %8d points: %6.1f M points/s, %6.0f MB/s of CSV (%.2f s, %d bytes)"
                      % (points, points / seconds / 1e6, size / seconds / 1e6, seconds, size))


if __name__ == "__main__":
    main()
