#!/usr/bin/python3
"""Conversion speed and peak memory of logutils-cli, against pandas doing the same work.

Generates (once, then cached) an instrument log in the dense form, 1,000,000 records x 25
channels at 10 Hz (about 200 MB), then in fresh processes, several times each, page cache warm:

  logutils-cli  convert -o OUT --boatLength 12 --gpsOffset 1 LOG.csv
  pandas        read_csv(LOG.csv), times to Unix seconds, to_hdf(OUT, "log0", format="fixed")

and prints the median MB/s of each, their ratio, the converter's peak memory (as it reports it)
against the size of the file it wrote, and the median time of each of the converter's stages
(read, merge, derive, detect, write; from its --timings line), so that a regression shows where
it came from.

Run with Debian's Python, which has pandas and tables:

  /usr/bin/python3 bench/convert_csv.py [--converter build/release/tools/logutils/logutils-cli]
"""

import argparse
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SEED = 20240602

SPEEDUP_GOAL = 5.0  # at least this many times pandas' MB/s
MEMORY_GOAL = 2.0  # peak memory at most this times the output file

# Channel names as a navigation program writes them; the converter maps most to metrics.
CHANNELS = [
    "BSP", "AWA", "AWS", "TWA", "TWS", "TWD", "Leeway", "Set", "Drift", "HDG", "Heel", "Trim",
    "Rudder", "Forestay", "Lat", "Lon", "COG", "SOG", "RunnerS", "RunnerP", "TmToGun", "TmToLn",
    "DistToLn", "MWA", "Baro",
]
CIRCULAR = {"AWA", "TWA", "TWD", "HDG", "COG"}


def generate(path, records):
    import numpy as np
    import pandas as pd

    rng = np.random.default_rng(SEED)
    # Days since 1899-12-30 at 10 Hz from 2023-06-01 12:00 UTC.
    days = 45078.5 + np.arange(records, dtype=np.float64) / 864000.0
    columns = {}
    for name in CHANNELS:
        if name == "Lat":
            columns[name] = 43.5 + np.cumsum(rng.normal(0.0, 1e-6, records))
        elif name == "Lon":
            columns[name] = 16.4 + np.cumsum(rng.normal(0.0, 1e-6, records))
        elif name in CIRCULAR:
            columns[name] = np.mod(180.0 + np.cumsum(rng.normal(0.0, 0.5, records)), 360.0)
        else:
            columns[name] = rng.normal(10.0, 5.0, records)
    frame = pd.DataFrame(columns)
    # Formatted as instruments write them: a few decimals, not seventeen digits.
    text = pd.DataFrame({"boat": np.zeros(records, dtype=np.int64)})
    text["utc"] = np.char.mod("%.10f", days)
    for name in CHANNELS:
        decimals = 7 if name in ("Lat", "Lon") else 3
        text[name] = np.char.mod(f"%.{decimals}f", frame[name].to_numpy())
    partial = path + ".partial"
    with open(partial, "w") as out:
        out.write("!Boat,Utc," + ",".join(CHANNELS) + "\n")
        out.write("!v11.16.1\n")
        text.to_csv(out, header=False, index=False)
    os.replace(partial, path)
    print(json.dumps({"records": records, "bytes": os.path.getsize(path)}))


def peak_resident_bytes():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) * 1024
    return -1


def pandas_convert(source, output):
    import pandas as pd
    import tables  # noqa: F401  (to_hdf imports it on first use; that is no part of the work)

    started = time.perf_counter()
    frame = pd.read_csv(source, skiprows=[1], index_col=1)
    frame = frame.drop(columns=["!Boat"])
    frame.index = (frame.index.to_numpy() - 25569.0) * 86400.0
    frame.to_hdf(output, key="log0", format="fixed", mode="w")
    seconds = time.perf_counter() - started
    print(json.dumps({"seconds": seconds, "records": int(frame.shape[0]), "columns": int(frame.shape[1]),
                      "peak_rss_bytes": peak_resident_bytes()}))


class Failure(Exception):
    pass


def run(command):
    started = time.perf_counter()
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    seconds = time.perf_counter() - started
    if result.returncode != 0:
        raise Failure(f"{' '.join(command)} failed ({result.returncode}):\n{result.stderr.strip()}")
    return seconds, result.stdout, result.stderr


STAGES = ("read", "merge", "derive", "detect", "write")


def stage_times(err):
    """The converter's stage seconds from its --timings line on stderr."""
    line = next((l for l in err.splitlines() if l.startswith("Stage times:")), None)
    if not line:
        raise Failure(f"no stage times from the converter:\n{err}")
    return {name: float(re.search(name + r" ([0-9.]+) s", line).group(1)) for name in STAGES}


def converter_run(converter, source, output):
    seconds, out, err = run([converter, "convert", "-o", output, "--boatLength", "12", "--gpsOffset", "1",
                             "--timings", source])
    peak = re.search(r"peak memory ([0-9.]+) MB", out)
    records = re.search(r"Wrote (\d+) records, (\d+) columns", out)
    if not peak or not records:
        raise Failure(f"unexpected output of the converter:\n{out}")
    return {"seconds": seconds, "peak_rss_bytes": float(peak.group(1)) * 1e6,
            "records": int(records.group(1)), "columns": int(records.group(2)),
            "output_bytes": os.path.getsize(output), "stages": stage_times(err)}


def pandas_run(source, output):
    _, out, _ = run([sys.executable, os.path.abspath(__file__), "_pandas", source, output])
    result = json.loads(out.strip().splitlines()[-1])
    result["output_bytes"] = os.path.getsize(output)
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--converter",
                        default=os.path.join(ROOT, "build", "release", "tools", "logutils", "logutils-cli"))
    parser.add_argument("--data-dir", default=os.path.join(ROOT, "build", "bench-data"))
    parser.add_argument("--records", type=int, default=1_000_000)
    parser.add_argument("--runs", type=int, default=3, help="conversions per contender (default: 3)")
    args = parser.parse_args()
    if not os.access(args.converter, os.X_OK):
        raise Failure(f"no converter at {args.converter}; build the release preset first (scripts/bench)")

    source = os.path.abspath(os.path.join(args.data_dir, f"instrument-dense-{args.records}x{len(CHANNELS)}-v2.csv"))
    if os.path.exists(source):
        print(f"Using cached {source}")
    else:
        os.makedirs(os.path.dirname(source), exist_ok=True)
        print(f"Generating {source} ({args.records:,} records x {len(CHANNELS)} channels)...", flush=True)
        started = time.perf_counter()
        run([sys.executable, os.path.abspath(__file__), "_generate", source, str(args.records)])
        print(f"  done in {time.perf_counter() - started:.1f} s")
    source_bytes = os.path.getsize(source)
    with open(source, "rb", buffering=0) as f:
        while f.read(16 << 20):
            pass

    with tempfile.TemporaryDirectory(dir=os.path.dirname(source)) as scratch:
        ours_out = os.path.join(scratch, "converted.hdf5")
        theirs_out = os.path.join(scratch, "pandas.h5")
        # One of each first, for the programs and libraries to be in cache too.
        converter_run(args.converter, source, ours_out)
        pandas_run(source, theirs_out)
        ours, theirs = [], []
        for _ in range(args.runs):
            ours.append(converter_run(args.converter, source, ours_out))
            theirs.append(pandas_run(source, theirs_out))

    if ours[0]["records"] != args.records or theirs[0]["records"] != args.records:
        raise Failure(f"records written: converter {ours[0]['records']}, pandas {theirs[0]['records']}, "
                      f"expected {args.records}")

    mb = source_bytes / 1e6
    ours_median = statistics.median(r["seconds"] for r in ours)
    theirs_median = statistics.median(r["seconds"] for r in theirs)
    ours_peak = statistics.median(r["peak_rss_bytes"] for r in ours)
    output_bytes = ours[0]["output_bytes"]
    print()
    print(f"Conversion: {args.records:,} records x {len(CHANNELS)} channels, {mb:.0f} MB of CSV, "
          f"{args.runs} runs each, page cache warm")
    print(f"  {'contender':<13} {'median s':>9} {'MB/s':>8} {'peak MB':>9} {'output MB':>10}")
    print(f"  {'logutils-cli':<13} {ours_median:9.3f} {mb / ours_median:8.1f} {ours_peak / 1e6:9.1f} "
          f"{output_bytes / 1e6:10.1f}")
    print(f"  {'pandas':<13} {theirs_median:9.3f} {mb / theirs_median:8.1f} "
          f"{statistics.median(r['peak_rss_bytes'] for r in theirs) / 1e6:9.1f} "
          f"{theirs[0]['output_bytes'] / 1e6:10.1f}")
    print("  (logutils-cli: the whole process; pandas: read_csv to to_hdf, without starting Python)")
    print("  logutils-cli stages, median s: " +
          ", ".join(f"{name} {statistics.median(r['stages'][name] for r in ours):.3f}" for name in STAGES) +
          " (detect runs while writing)")
    print()
    speedup = theirs_median / ours_median
    memory = ours_peak / output_bytes
    print(f"  {'speed-up, MB/s against pandas':<34} {speedup:7.2f}   goal >= {SPEEDUP_GOAL:.2f}   "
          f"{'met' if speedup >= SPEEDUP_GOAL else 'NOT MET'}")
    print(f"  {'peak memory / output file':<34} {memory:7.2f}   goal <= {MEMORY_GOAL:.2f}   "
          f"{'met' if memory <= MEMORY_GOAL else 'NOT MET'}")
    return 0


if __name__ == "__main__":
    try:
        if len(sys.argv) > 1 and sys.argv[1] == "_generate":
            generate(sys.argv[2], int(sys.argv[3]))
        elif len(sys.argv) > 1 and sys.argv[1] == "_pandas":
            pandas_convert(sys.argv[2], sys.argv[3])
        else:
            sys.exit(main())
    except Failure as failure:
        print(f"convert_csv.py: {failure}", file=sys.stderr)
        sys.exit(1)
