#!/usr/bin/python3
"""Load time and peak memory of a boat log, against h5py and pandas reading the same file.

Generates (once, then cached) a log of 1,000,000 records x 60 columns in the layout pandas writes
with format="fixed", then loads it in fresh processes, several times each, with the page cache
warm:

  wakeline  boatlog_load: Hdf5File::openReadOnly + DoubleArrayBoatLog::load
  h5py      /log0/axis0, /log0/axis1 and /log0/block0_values read whole
  pandas    pandas.read_hdf(path, "log0")

With --mixed a tenth of the columns are integers and another tenth booleans, so that pandas writes
three blocks (blockN_items + blockN_values, one per dtype); h5py then reads every block whole and
places its columns by their names into one table of doubles, as the program does.

and prints the median time of each, the peak memory of that run net of the same program's
footprint without the load, and the ratios against the goals.

Run with Debian's Python, which has pandas, tables and h5py:

  /usr/bin/python3 bench/boatlog_load.py [--loader build/release/bench/boatlog_load]
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
GROUP = "log0"
SEED = 20240601

TIME_GOAL_VS_H5PY = 1.1  # at most this times h5py's time
SPEEDUP_GOAL_VS_PANDAS = 3.0  # at least this many times faster than pandas
MEMORY_GOAL = 1.1  # peak at most this times the values array

# Catalogue names a converted log carries, then custom columns to make up the count.
METRIC_COLUMNS = [
    "Lat", "Lon", "Heading", "COG", "BoatSpeed", "TargetBoatSpeed", "BoatSpeedPercOfTarget", "SOG",
    "VMG", "TargetVMG", "VMGPercOfTarget", "AWA", "AWS", "TWA", "TargetTWA", "TWS", "TWD", "Heel",
    "Trim", "Rudder", "Forestay", "Downhaul", "Rake", "RunnerStbd", "RunnerPort", "BackStay",
    "TargetHeel", "Boom", "Twist", "DeflectorStbd", "DeflectorPort", "Outhaul", "Pitch",
    "RideHeight", "Yaw", "Leeway", "Set", "Drift", "CurrentAngleTrue", "CurrentSpeed", "TimeToGun",
    "TimeToLine", "DistanceToLine", "TimeToBurn", "BelowLine", "Heave", "Deflector",
]
CUSTOM_COLUMNS = [
    "FoilPortCant", "FoilStbdCant", "FlapPort", "FlapStbd", "JibSheetLoad", "MainSheetLoad",
    "TravellerPos", "GPS Quality", "Battery.V", "Sensor1", "Sensor2", "Sensor3", "Sensor4",
]
CIRCULAR = {"Heading", "COG", "AWA", "TWA", "TargetTWA", "TWD", "CurrentAngleTrue"}


def column_names(count):
    names = (METRIC_COLUMNS + CUSTOM_COLUMNS)[:count]
    names += [f"Extra{i}" for i in range(len(names), count)]
    return names


# ---------------------------------------------------------------------------------------------
# Child processes. Each does one thing and prints one JSON line; the orchestrator stays small,
# so that what it has allocated never shows in a child's figures.


def peak_resident_bytes():
    """The kernel's high-water mark of this process. Not wait4's ru_maxrss: that also carries the
    high-water mark of the process that spawned the child, which would count the orchestrator."""
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) * 1024
    return -1


def generate(path, records, columns, mixed):
    import numpy as np
    import pandas as pd

    rng = np.random.default_rng(SEED)
    names = column_names(columns)
    # Unix seconds at 10 Hz.
    index = pd.Index(1_700_000_000.0 + np.arange(records, dtype=np.float64) / 10.0)
    values = np.empty((records, columns), dtype=np.float64)
    for c, name in enumerate(names):
        if name == "Lat":
            values[:, c] = 43.5 + np.cumsum(rng.normal(0.0, 1e-5, records))
        elif name == "Lon":
            values[:, c] = 16.4 + np.cumsum(rng.normal(0.0, 1e-5, records))
        elif name in CIRCULAR:
            values[:, c] = np.mod(180.0 + np.cumsum(rng.normal(0.0, 2.0, records)), 360.0)
        else:
            values[:, c] = rng.normal(10.0, 5.0, records)
    # Dropouts: scattered missing values in a few columns, one long gap, one column never set.
    # The first and the last column stay complete, since the contenders are compared on them.
    for c in range(2, columns - 1, 7):
        values[rng.integers(0, records, records // 500), c] = np.nan
    if columns > 4:
        values[records // 3 : records // 3 + 600, 3] = np.nan
    if columns > 10:
        values[:, columns - 2] = np.nan
    frame = pd.DataFrame(values, index=index, columns=names, copy=False)
    if mixed:
        # Neither the first nor the last column: the contenders are compared on those.
        for c in range(5, columns - 1, 10):
            frame[names[c]] = np.nan_to_num(frame[names[c]].to_numpy()).round().astype(np.int64)
        for c in range(8, columns - 1, 10):
            frame[names[c]] = frame[names[c]].to_numpy() > 10.0

    partial = path + ".partial"
    if os.path.exists(partial):
        os.remove(partial)
    frame.to_hdf(partial, key=GROUP, format="fixed", mode="w")
    # Renamed only when complete, so an interrupted run never leaves a cached half file.
    os.replace(partial, path)
    print(json.dumps({"records": records, "columns": columns}))


def contender(kind, path, baseline):
    if kind == "h5py":
        import h5py
        import numpy
    else:
        import pandas
        import tables  # noqa: F401  (read_hdf imports it on first use; that is no part of a load)

    if baseline:
        print(json.dumps({"mode": "baseline", "peak_rss_bytes": peak_resident_bytes()}))
        return

    started = time.perf_counter()
    if kind == "h5py":
        with h5py.File(path, "r") as f:
            group = f[GROUP]
            names = group["axis0"][()]
            index = group["axis1"][()]
            if "block1_values" in group:
                values = numpy.empty((len(index), len(names)))
                position = {name: i for i, name in enumerate(names)}
                block = 0
                while f"block{block}_values" in group:
                    items = group[f"block{block}_items"][()]
                    values[:, [position[name] for name in items]] = group[f"block{block}_values"][()]
                    block += 1
            else:
                values = group["block0_values"][()]
        seconds = time.perf_counter() - started
        records, columns = values.shape
        assert len(names) == columns and len(index) == records
        first, last = values[0, 0], values[-1, -1]
    else:
        frame = pandas.read_hdf(path, GROUP)
        seconds = time.perf_counter() - started
        records, columns = frame.shape
        first, last = frame.iat[0, 0], frame.iat[-1, -1]

    def number(v):
        return None if v != v else float(v)

    print(json.dumps({"mode": "load", "seconds": seconds, "records": int(records), "columns": int(columns),
                      "first": number(first), "last": number(last),
                      "peak_rss_bytes": peak_resident_bytes()}))


# ---------------------------------------------------------------------------------------------
# Orchestrator.


class Failure(Exception):
    pass


def run_json(command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise Failure(f"{' '.join(command)} failed ({result.returncode}):\n{result.stderr.strip()}")
    lines = result.stdout.strip().splitlines()
    if not lines:
        raise Failure(f"{' '.join(command)} printed nothing:\n{result.stderr.strip()}")
    return json.loads(lines[-1])


def cached_file_matches(path, records, columns, mixed):
    if not os.path.exists(path):
        return False
    try:
        import h5py
        with h5py.File(path, "r") as f:
            group = f[GROUP]
            if mixed:
                return ("block2_values" in group and group["axis0"].shape == (columns,)
                        and group["axis1"].shape == (records,))
            return group["block0_values"].shape == (records, columns) and group["axis1"].shape == (records,)
    except Exception:
        return False


def warm_page_cache(path):
    with open(path, "rb", buffering=0) as f:
        while f.read(16 << 20):
            pass


def megabytes(n):
    return n / 1e6


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--loader", default=os.path.join(ROOT, "build", "release", "bench", "boatlog_load"),
                        help="the boatlog_load program (default: the release build)")
    parser.add_argument("--data-dir", default=os.path.join(ROOT, "build", "bench-data"),
                        help="where the generated log is cached (default: build/bench-data)")
    parser.add_argument("--file", help="use this log file, generated there if missing")
    parser.add_argument("--records", type=int, default=1_000_000)
    parser.add_argument("--columns", type=int, default=60)
    parser.add_argument("--runs", type=int, default=5, help="loads per contender (default: 5)")
    parser.add_argument("--mixed", action="store_true",
                        help="integer and boolean columns too: one block per dtype")
    args = parser.parse_args()
    if args.runs < 1 or args.records < 2 or args.columns < 2:
        parser.error("need at least one run, two records and two columns")

    suffix = "-mixed" if args.mixed else ""
    path = args.file or os.path.join(args.data_dir, f"boatlog-{args.records}x{args.columns}{suffix}.h5")
    path = os.path.abspath(path)
    if not os.access(args.loader, os.X_OK):
        raise Failure(f"no loader program at {args.loader}; build the release preset first (scripts/bench)")

    if cached_file_matches(path, args.records, args.columns, args.mixed):
        print(f"Using cached {path}")
    else:
        os.makedirs(os.path.dirname(path), exist_ok=True)
        print(f"Generating {path} ({args.records:,} records x {args.columns} columns)...", flush=True)
        started = time.perf_counter()
        run_json([sys.executable, __file__, "_generate", path, str(args.records), str(args.columns)]
                 + (["--mixed"] if args.mixed else []))
        print(f"  done in {time.perf_counter() - started:.1f} s")
    warm_page_cache(path)

    me = [sys.executable, os.path.abspath(__file__), "_contender"]
    commands = {
        "wakeline": lambda baseline: [args.loader] + (["--baseline"] if baseline else []) + [path, GROUP],
        "h5py": lambda baseline: me + ["h5py", path] + (["--baseline"] if baseline else []),
        "pandas": lambda baseline: me + ["pandas", path] + (["--baseline"] if baseline else []),
    }

    # One load of each before measuring, for the program files and libraries to be in cache too.
    for make in commands.values():
        run_json(make(False))

    baselines = {name: [] for name in commands}
    loads = {name: [] for name in commands}
    # Round-robin, so that a slow patch of the machine falls on every contender alike.
    for _ in range(args.runs):
        for name, make in commands.items():
            baselines[name].append(run_json(make(True))["peak_rss_bytes"])
            loads[name].append(run_json(make(False)))

    # Every contender must have read the same table, or the comparison is void.
    reference = loads["wakeline"][0]
    for name, runs in loads.items():
        for r in runs:
            for key in ("records", "columns", "first", "last"):
                if r[key] != reference[key]:
                    raise Failure(f"{name} read {key} = {r[key]}, wakeline read {reference[key]}")
    if (reference["records"], reference["columns"]) != (args.records, args.columns):
        raise Failure(f"the file holds {reference['records']} x {reference['columns']}, "
                      f"not {args.records} x {args.columns}")

    array_bytes = args.records * args.columns * 8
    summary = {}
    for name, runs in loads.items():
        ordered = sorted(runs, key=lambda r: r["seconds"])
        median_run = ordered[(len(ordered) - 1) // 2]
        baseline = statistics.median(baselines[name])
        summary[name] = {
            "median": statistics.median(r["seconds"] for r in runs),
            "min": ordered[0]["seconds"],
            "max": ordered[-1]["seconds"],
            "baseline": baseline,
            "net_peak": median_run["peak_rss_bytes"] - baseline,
        }

    print()
    dtypes = " of mixed dtypes" if args.mixed else ""
    print(f"Boat-log load: {args.records:,} records x {args.columns} columns{dtypes}, "
          f"{megabytes(os.path.getsize(path)):.0f} MB file, {args.runs} runs each, page cache warm")
    print(f"  file: {path}")
    print()
    print(f"  {'contender':<10} {'median s':>9} {'min s':>8} {'max s':>8} {'peak MB':>9} "
          f"{'baseline MB':>12} {'x values':>9}")
    for name, s in summary.items():
        print(f"  {name:<10} {s['median']:9.4f} {s['min']:8.4f} {s['max']:8.4f} "
              f"{megabytes(s['net_peak']):9.1f} {megabytes(s['baseline']):12.1f} "
              f"{s['net_peak'] / array_bytes:9.3f}")
    print(f"  (peak MB: peak resident memory of the median run less the baseline, the same program "
          f"without the load; values array {megabytes(array_bytes):.0f} MB)")
    print()

    w, h, p = summary["wakeline"], summary["h5py"], summary["pandas"]
    rows = [
        ("time, wakeline / h5py", w["median"] / h["median"], f"<= {TIME_GOAL_VS_H5PY:.2f}",
         w["median"] / h["median"] <= TIME_GOAL_VS_H5PY),
        ("speed-up, pandas / wakeline", p["median"] / w["median"], f">= {SPEEDUP_GOAL_VS_PANDAS:.2f}",
         p["median"] / w["median"] >= SPEEDUP_GOAL_VS_PANDAS),
        ("peak memory / values array", w["net_peak"] / array_bytes, f"<= {MEMORY_GOAL:.2f}",
         w["net_peak"] / array_bytes <= MEMORY_GOAL),
    ]
    for label, ratio, goal, met in rows:
        print(f"  {label:<29} {ratio:7.3f}   goal {goal:<8} {'met' if met else 'NOT MET'}")
    return 0


if __name__ == "__main__":
    try:
        if len(sys.argv) > 1 and sys.argv[1] == "_generate":
            generate(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), "--mixed" in sys.argv[5:])
        elif len(sys.argv) > 1 and sys.argv[1] == "_contender":
            contender(sys.argv[2], sys.argv[3], "--baseline" in sys.argv[4:])
        else:
            sys.exit(main())
    except Failure as failure:
        print(f"boatlog_load.py: {failure}", file=sys.stderr)
        sys.exit(1)
