"""A weather-matrix study: how far the vent's centreline stays above the lower flammability limit for
Pasquill stability classes A to F and wind speeds of 2, 5 and 10 m/s.

    /usr/bin/python3 examples/sweep.py [SCENARIO.json]

Runs on every local core; pass a dask.distributed.Client as client= to ostreljet.sweep to use a cluster.
"""

import os
import sys

import ostreljet

HERE = os.path.dirname(os.path.abspath(__file__))


def main(scenario, gas="methane"):
    stabilities = list("ABCDEF")
    speeds = [2.0, 5.0, 10.0]
    with ostreljet.Model.from_scenario(scenario) as model:
        base = model.to_dict()
    # The bundled vent releases methane; naming the gas gives the summary its LFL.
    base.setdefault("gas", gas)
    rows = ostreljet.sweep(
        base,
        {"pasquillStability": stabilities, "referenceWindSpeed": speeds},
        levels="LFL",
        unit="%",
        frame=False,
    )
    print(
        "Downwind distance (m) where the centreline falls below the LFL of %s (%g %% by volume)"
        % (rows[0]["gas"], rows[0]["level LFL"])
    )
    print("stability " + "".join("%12s" % ("%g m/s" % speed) for speed in speeds))
    for stability in stabilities:
        cells = []
        for speed in speeds:
            row = next(r for r in rows if r["pasquillStability"] == stability and r["referenceWindSpeed"] == speed)
            distance = row.get("centrelineDownwindDistance LFL")
            if row["status"] == "error":
                sys.exit("run %d failed: %s" % (row["run"], row["error"]))
            if row["status"] not in ("ok", "warning"):
                cells.append(row["status"])
            elif distance is None:
                cells.append("beyond run" if row.get("exceededAtEndOfRun LFL") else "never")
            else:
                cells.append("%.1f" % distance)
        print("%-9s " % stability + "".join("%12s" % cell for cell in cells))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "vertical_buoyant_vent.json"))
