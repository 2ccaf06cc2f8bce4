#!/usr/bin/python3
"""Opening a package of 10 boats x 1,000,000 records x 40 columns, against h5py reading the same
files in the same run; and saving it in place after a change to one race.

  /usr/bin/python3 bench/document_open.py --program build/release/bench/document_open [--runs N]
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import time
import uuid

BOATS, RECORDS, COLUMNS = 10, 1_000_000, 40
START = 1_686_052_800.0

PEER = r"""
import sys, time, h5py
started = time.perf_counter()
for path in sys.argv[1:]:
    with h5py.File(path, "r") as f:
        names = f["/log0/axis0"][:]
        times = f["/log0/axis1"][:]
        values = f["/log0/block0_values"][:]
print(time.perf_counter() - started)
"""


def generate(package):
    import h5py
    import numpy as np

    logs = os.path.join(package, "BoatLogs")
    os.makedirs(logs, exist_ok=True)
    rng = np.random.default_rng(1)
    names = np.array([f"Sensor{i}".encode() for i in range(COLUMNS - 4)] + [b"Lat", b"Lon", b"TWA", b"TWS"])
    boats = []
    for b in range(BOATS):
        ident = str(uuid.UUID(int=b + 1)).upper()
        with h5py.File(os.path.join(logs, ident.lower() + ".hdf5"), "w") as f:
            f.create_dataset("/log0/axis0", data=names)
            f.create_dataset("/log0/axis1", data=START + np.arange(RECORDS) * 0.1)
            f.create_dataset("/log0/block0_values", data=rng.normal(size=(RECORDS, COLUMNS)))
        boats.append({"boat": {"fullName": f"Boat {b + 1}", "shortName": f"B{b + 1}", "color": "ff0000",
                               "displayMode": "Main" if b == 0 else "Other", "boatLength": 12, "gpsOffset": 0.1},
                      "logAssets": [{"uuid": ident}]})
    content = {"version": "1.0", "assets": [], "boats": boats, "mediaGroups": [],
               "races": [{"name": "Race 1", "time": START - 978307200 + 600, "pinLat": "", "pinLon": "",
                          "rcLat": "", "rcLon": ""}]}
    with open(os.path.join(package, "content.json"), "w") as f:
        json.dump(content, f, indent=2)


def log_files(package):
    folder = os.path.join(package, "BoatLogs")
    return sorted(os.path.join(folder, name) for name in os.listdir(folder))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--data-dir", default=os.path.join(os.path.dirname(__file__), "..", "build", "bench-data"))
    args = parser.parse_args()

    package = os.path.abspath(os.path.join(args.data_dir, f"document-{BOATS}x{RECORDS}x{COLUMNS}.wakeline"))
    if not os.path.exists(os.path.join(package, "content.json")):
        print(f"Generating {package} …", flush=True)
        generate(package)
    # Warm the page cache, so that both sides read from memory.
    for path in log_files(package):
        with open(path, "rb") as f:
            while f.read(1 << 24):
                pass

    ours, peers, saves = [], [], []
    for run in range(args.runs):
        out = subprocess.run([args.program, package, "--saves", "5" if run == 0 else "0"], check=True,
                             capture_output=True, text=True).stdout
        result = json.loads(out)
        ours.append(result["openSeconds"])
        saves += result["saveMilliseconds"]
        peer = subprocess.run(["/usr/bin/python3", "-c", PEER] + log_files(package), check=True,
                              capture_output=True, text=True).stdout
        peers.append(float(peer))

    wakeline, h5py_time = statistics.median(ours), statistics.median(peers)
    print(f"\nOpening a package of {BOATS} boats x {RECORDS:,} records x {COLUMNS} columns, {args.runs} runs each")
    print(f"  wakeline, until opened   median {wakeline:7.3f} s   (runs: {', '.join(f'{t:.3f}' for t in ours)})")
    print(f"  h5py, the same datasets  median {h5py_time:7.3f} s   (runs: {', '.join(f'{t:.3f}' for t in peers)})")
    ratio = wakeline / h5py_time
    print(f"  time, wakeline / h5py    {ratio:.3f}   goal <= 1.20  {'met' if ratio <= 1.2 else 'NOT MET'}")
    save = statistics.median(saves)
    print(f"  save in place after renaming a race: median {save:.1f} ms over {len(saves)} saves "
          f"(max {max(saves):.1f})   goal < 50 ms  {'met' if save < 50 else 'NOT MET'}")


if __name__ == "__main__":
    sys.exit(main())
