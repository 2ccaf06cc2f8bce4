#!/usr/bin/python3
"""Writes the demo event: a 40-minute windward-leeward race off Kiel at 1 Hz.

The table is written by pandas in its "fixed" format, the layout Wakeline reads; the metadata
objects (file metadata, races/events/legs, parse context) are added as uint8 datasets of JSON.
Usage: make_demo_log.py OUT.hdf5              the boat log alone
       make_demo_log.py --package EVENT.wakeline   a document holding it
"""
import json
import math
import sys

import h5py
import numpy as np
import pandas as pd

START = 1686052800.0  # 2023-06-06 12:00:00 UTC
WIND_FROM = 240.0
LAT0, LON0 = 54.45, 10.25


def simulate():
    rows = []
    lat, lon = LAT0, LON0
    heading = WIND_FROM + 42.0
    tacks, gybes = [], []
    leg_plan = [("Upwind", 0, 720), ("Downwind", 720, 1320), ("Upwind", 1320, 2040), ("Downwind", 2040, 2400)]
    for t in range(0, 2400):
        leg = next(kind for kind, a, b in leg_plan if a <= t < b)
        upwind = leg == "Upwind"
        # Manoeuvre every three minutes: a tack upwind, a gybe downwind.
        if t > 0 and t % 180 == 0:
            (tacks if upwind else gybes).append(t)
        side = 1 if (t // 180) % 2 == 0 else -1
        twa = side * (42.0 if upwind else 150.0)
        twa += 3.0 * math.sin(t / 37.0)
        heading = (WIND_FROM - twa) % 360.0
        tws = 12.0 + 2.0 * math.sin(t / 300.0)
        bsp = (6.4 if upwind else 8.1) + 0.3 * math.sin(t / 23.0)
        step = bsp * 1852.0 / 3600.0
        lat += step * math.cos(math.radians(heading)) / 111120.0
        lon += step * math.sin(math.radians(heading)) / (111120.0 * math.cos(math.radians(lat)))
        rows.append({
            "Lat": lat, "Lon": lon, "Heading": heading, "COG": (heading + 2.0) % 360.0,
            "BoatSpeed": bsp, "SOG": bsp * 0.98, "TWA": twa, "TWS": tws, "TWD": WIND_FROM,
            "AWA": twa * 0.8, "AWS": tws + (4.0 if upwind else -3.0), "Heel": 18.0 * side if upwind else 6.0 * side,
            "VMG": bsp * math.cos(math.radians(abs(twa))),
            "TimeToGun": max(0.0, 300.0 - t) if t < 300 else float("nan"),
            "Forestay": 2.1 + 0.1 * math.sin(t / 11.0),
            "RigTension": 40.0 + 5.0 * math.sin(t / 50.0),
        })
    index = pd.Index([START + t for t in range(len(rows))], dtype="float64")
    frame = pd.DataFrame(rows, index=index, dtype="float64")
    return frame, leg_plan, tacks, gybes


def iso(t):
    return pd.Timestamp(START + t, unit="s", tz="UTC").strftime("%Y-%m-%dT%H:%M:%S.0+0000")


def write_json(f, name, value):
    data = np.frombuffer(json.dumps(value).encode("utf-8"), dtype=np.uint8)
    f.create_group(name).create_dataset("values", data=data)


DEMO_UUID = "3F2504E0-4F89-11D3-9A0C-0305E82C3301"


def write_package(package):
    import os
    os.makedirs(os.path.join(package, "BoatLogs"), exist_ok=True)
    write_log(os.path.join(package, "BoatLogs", DEMO_UUID.lower() + ".hdf5"))
    content = {
        "version": "1.0",
        "assets": [],
        "eventTimezone": {"identifier": "Europe/Berlin"},
        "boats": [{"boat": {"fullName": "Stella Maris", "shortName": "GER 7", "color": "1f6fd1",
                            "displayMode": "Main", "boatLength": 12, "gpsOffset": 0.1},
                   "logAssets": [{"uuid": DEMO_UUID, "offset": 0, "fileTimeZone": {"identifier": "UTC"}}]}],
        "mediaGroups": [{"name": "Onboard"}, {"name": "Drone"}],
    }
    with open(os.path.join(package, "content.json"), "w") as f:
        json.dump(content, f, indent=2)
    print(f"wrote {package}")


def main():
    if sys.argv[1] == "--package":
        write_package(sys.argv[2])
    else:
        write_log(sys.argv[1])


def write_log(out):
    frame, legs, tacks, gybes = simulate()
    frame.to_hdf(out, key="log0", mode="w", format="fixed")
    with h5py.File(out, "a") as f:
        write_json(f, "meta", {"segmentCount": 1})
        write_json(f, "meta0", {
            "races": [{"time": iso(300), "raceDuration": 2100.0, "Portlat": round(LAT0 - 0.001, 6), "Portlon": round(LON0 - 0.002, 6),
                       "Stbdlat": round(LAT0 + 0.001, 6), "Stbdlon": round(LON0 + 0.002, 6), "raceType": "Race"}],
            "events": [{"eventType": "Tack", "time": iso(t)} for t in tacks]
                      + [{"eventType": "Gybe", "time": iso(t)} for t in gybes],
            "legs": [{"time": iso(a), "eventType": kind, "duration": float(b - a)} for kind, a, b in legs],
        })
        write_json(f, "parseContext", {"utcOffset": 0})
    print(f"wrote {out}: {len(frame)} records x {len(frame.columns)} columns")


if __name__ == "__main__":
    main()
