#!/usr/bin/python3
"""Makes the demo event: three boats sail a windward-leeward race off Kiel.

Each boat gets a 10 Hz instrument log written as CSV, as a boat's logger would, and converted
by logutils-cli like any imported log. The start sequence runs ten minutes; the course is a
windward mark 1 nm upwind of the start line and a leeward mark just below it, twice round. A
short onboard video and two photos (made with ffmpeg and exiftool when they are installed) fill a
media group.

Usage: make_demo_event.py LOGUTILS-CLI EVENT.wakeline
"""
import csv
import json
import math
import os
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.parse
import uuid

R = 6372797.6
START = 1686052800.0            # 2023-06-06 12:00:00 UTC: the log starts here
GUN = START + 600.0             # ten-minute sequence
RATE = 10                       # records per second
WIND_FROM = 240.0
LAT0, LON0 = 54.45, 10.25       # middle of the start line
LINE_LENGTH = 220.0
BEAT = 1852.0

BOATS = [
    # name, short name, colour, display mode, tack interval (s), speed factor, start offset along line
    ("Stella Maris", "GER 7", "1f6fd1", "Main", 170.0, 1.00, -40.0),
    ("Aurora", "DEN 21", "e2532f", "Secondary", 230.0, 0.985, 30.0),
    ("Nordwind", "SWE 3", "2faa5a", "Other", 140.0, 0.97, 80.0),
]


def destination(lat, lon, bearing, metres):
    p1, l1, th, d = math.radians(lat), math.radians(lon), math.radians(bearing), metres / R
    p2 = math.asin(math.sin(p1) * math.cos(d) + math.cos(p1) * math.sin(d) * math.cos(th))
    l2 = l1 + math.atan2(math.sin(th) * math.sin(d) * math.cos(p1), math.cos(d) - math.sin(p1) * math.sin(p2))
    return math.degrees(p2), math.degrees(l2)


def bearing_to(lat1, lon1, lat2, lon2):
    p1, p2, dl = math.radians(lat1), math.radians(lat2), math.radians(lon2 - lon1)
    y = math.sin(dl) * math.cos(p2)
    x = math.cos(p1) * math.sin(p2) - math.sin(p1) * math.cos(p2) * math.cos(dl)
    return math.degrees(math.atan2(y, x)) % 360.0


def distance(lat1, lon1, lat2, lon2):
    p1, p2 = math.radians(lat1), math.radians(lat2)
    a = math.sin((p2 - p1) / 2) ** 2 + math.cos(p1) * math.cos(p2) * math.sin(math.radians(lon2 - lon1) / 2) ** 2
    return 2 * R * math.asin(math.sqrt(a))


def signed(angle):
    return (angle + 180.0) % 360.0 - 180.0


PIN = destination(LAT0, LON0, WIND_FROM - 90.0, LINE_LENGTH / 2)
COMMITTEE = destination(LAT0, LON0, WIND_FROM + 90.0, LINE_LENGTH / 2)
WINDWARD = destination(LAT0, LON0, WIND_FROM, BEAT)
LEEWARD = destination(LAT0, LON0, WIND_FROM + 180.0, 120.0)
COURSE = [WINDWARD, LEEWARD, WINDWARD, LEEWARD]


def wind(t):
    """True wind direction and speed: a slow oscillation plus a shorter wobble."""
    twd = WIND_FROM + 7.0 * math.sin((t - START) / 600.0 * 2 * math.pi) + 2.0 * math.sin((t - START) / 97.0)
    tws = 12.0 + 2.0 * math.sin((t - START) / 900.0) + 0.6 * math.sin((t - START) / 41.0)
    return twd % 360.0, tws


def polar(twa, tws):
    """Boat speed in knots for a true wind angle: a plain, smooth polar."""
    a = abs(twa)
    base = 0.52 * tws ** 0.85
    if a < 35:
        return base * 0.5
    if a < 50:
        return base * (0.82 + (a - 35) / 15 * 0.18)
    if a < 110:
        return base * 1.12
    return base * (1.12 + (a - 110) / 70 * 0.12)


def sail_boat(index, boat):
    name, short, colour, mode, tack_interval, factor, line_offset = boat
    rows = []
    lat, lon = destination(*destination(LAT0, LON0, WIND_FROM + 180.0, 260.0), WIND_FROM + 90.0, line_offset)
    heading = (WIND_FROM + 90.0) % 360.0
    side = 1 if index % 2 == 0 else -1
    leg, last_turn, finished = 0, START, None
    dt = 1.0 / RATE
    steps = int((GUN + 3300.0 - START) * RATE)
    start_point = destination(LAT0, LON0, WIND_FROM + 90.0, line_offset)
    for step in range(steps):
        t = START + step * dt
        twd, tws = wind(t)
        ttg = GUN - t
        if finished is not None and t > finished + 120.0:
            break
        if ttg > 150.0:
            # Pre-start: reach back and forth below the line.
            if t - last_turn > 75.0 + 10 * index:
                side, last_turn = -side, t
            target_twa = side * 95.0
            speed = polar(target_twa, tws) * 0.55
        elif ttg > 0.0:
            # Final approach: aim for the boat's spot on the line, timed for the gun.
            b = bearing_to(lat, lon, *start_point)
            target_twa = signed(twd - b)
            if abs(target_twa) < 40.0:
                target_twa = math.copysign(40.0, target_twa if target_twa else 1.0)
            need = distance(lat, lon, *start_point) / max(ttg, 1.0) * 3600.0 / 1852.0
            speed = min(polar(target_twa, tws), max(need, 2.5))
        elif finished is None:
            mark = COURSE[leg]
            upwind = leg % 2 == 0
            b = bearing_to(lat, lon, *mark)
            off = signed(b - twd)
            if upwind:
                # Tack on the boat's rhythm, or on reaching the layline.
                if (t - last_turn > tack_interval and abs(off) < 30.0) or (off * side > 43.0):
                    side, last_turn = -side, t
                target_twa = -side * 42.0
                if abs(off) > 47.0 and off * side < 0:
                    target_twa = signed(twd - b)
            else:
                if (t - last_turn > tack_interval * 1.3 and abs(signed(off - 180.0)) < 25.0) or (
                        signed(off - 180.0) * side > 30.0):
                    side, last_turn = -side, t
                target_twa = side * 150.0
                if abs(signed(off - 180.0)) > 35.0 and signed(off - 180.0) * side < 0:
                    target_twa = signed(twd - b)
            speed = polar(target_twa, tws) * factor
            if distance(lat, lon, *mark) < 25.0:
                leg += 1
                last_turn = t
                if leg == len(COURSE):
                    finished = t
        else:
            target_twa = side * 110.0
            speed = 3.0
        target_heading = (twd - target_twa) % 360.0
        # Turn at up to 12° per second, so tacks and gybes take a few seconds as on the water.
        turn = signed(target_heading - heading)
        heading = (heading + max(-12.0 * dt, min(12.0 * dt, turn))) % 360.0
        twa = signed(twd - heading)
        bsp = speed * (1.0 - min(abs(turn), 60.0) / 200.0) + 0.08 * math.sin(t / 3.1 + index)
        sog = bsp * 1.01
        cog = (heading + 1.5 * math.sin(t / 20.0)) % 360.0
        lat, lon = destination(lat, lon, cog, sog * 1852.0 / 3600.0 * dt)
        # Apparent wind from true wind and boat speed.
        tw_x = tws * math.sin(math.radians(twa))
        tw_y = tws * math.cos(math.radians(twa)) + bsp
        aws = math.hypot(tw_x, tw_y)
        awa = math.degrees(math.atan2(tw_x, tw_y))
        mark = COURSE[min(leg, len(COURSE) - 1)]
        row = {
            "time": t, "Lat": lat, "Lon": lon, "Heading": heading, "COG": cog, "SOG": sog, "BoatSpeed": bsp,
            "AWA": awa, "AWS": aws, "TWA": twa, "TWS": tws, "TWD": twd,
            "TargetTWA": 42.0 if abs(twa) < 90 else 150.0,
            "VMG": bsp * math.cos(math.radians(twa)),
            "Heel": max(-25.0, min(25.0, -0.9 * awa / 2.0)) if abs(twa) < 90 else 4.0 * math.copysign(1, -twa),
            "MkLat": mark[0], "MkLon": mark[1],
            "Portlat": PIN[0], "Portlon": PIN[1], "Stbdlat": COMMITTEE[0], "Stbdlon": COMMITTEE[1],
            "TimeToGun": ttg if ttg > -60.0 else "",
        }
        rows.append(row)
    return rows


def write_csv(path, rows):
    columns = list(rows[0].keys())
    with open(path, "w", newline="") as f:
        writer = csv.writer(f)
        writer.writerow(["Utc"] + columns[1:])
        for row in rows:
            tenths = int(round(row["time"] * 10))
            text = "%s.%dZ" % (time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(tenths // 10)), tenths % 10)
            writer.writerow([text] + [("%.7f" % row[c]) if isinstance(row[c], float) else row[c] for c in columns[1:]])


def make_media(folder):
    """A 40 s onboard video and two photos, if ffmpeg and exiftool are at hand."""
    media = []
    if not shutil.which("ffmpeg"):
        return media
    os.makedirs(folder, exist_ok=True)
    video = os.path.join(folder, "Onboard GER 7.mp4")
    created = "2023-06-06T12:09:40.000000Z"  # twenty seconds before the gun
    subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25",
                    "-t", "40", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast",
                    "-metadata", "creation_time=" + created, video], check=True)
    media.append(("VideoAsset", video, GUN - 20.0, 40.0))
    for n, offset in ((1, 300.0), (2, 1500.0)):
        photo = os.path.join(folder, "Mark rounding %d.jpg" % n)
        subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                        "testsrc=size=800x533:rate=1", "-frames:v", "1", photo], check=True)
        moment = GUN + offset
        if shutil.which("exiftool"):
            stamp = time.strftime("%Y:%m:%d %H:%M:%S", time.gmtime(moment))
            subprocess.run(["exiftool", "-q", "-overwrite_original", "-DateTimeOriginal=" + stamp,
                            "-OffsetTimeOriginal=+00:00", photo], check=True)
        media.append(("PhotoAsset", photo, moment, 0.0))
    return media


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    converter, package = sys.argv[1], sys.argv[2]
    if os.path.exists(package):
        shutil.rmtree(package)
    os.makedirs(os.path.join(package, "BoatLogs"))
    boats = []
    with tempfile.TemporaryDirectory() as work:
        for index, boat in enumerate(BOATS):
            rows = sail_boat(index, boat)
            source = os.path.join(work, boat[1].replace(" ", "") + ".csv")
            write_csv(source, rows)
            asset = str(uuid.uuid5(uuid.NAMESPACE_URL, "wakeline-demo/" + boat[1])).upper()
            out = os.path.join(package, "BoatLogs", asset.lower() + ".hdf5")
            subprocess.run([converter, "convert", "-o", out, "--boatLength", "12", "--gpsOffset", "1", source], check=True,
                           stdout=subprocess.DEVNULL)
            boats.append({"boat": {"fullName": boat[0], "shortName": boat[1], "color": boat[2],
                                   "displayMode": boat[3], "boatLength": 12, "gpsOffset": 1},
                          "logAssets": [{"uuid": asset, "offset": 0, "fileTimeZone": {"identifier": "UTC"}}]})
            print(f"{boat[0]}: {len(rows)} records")
    media = make_media(os.path.join(package, "..", "Demo media"))
    assets = []
    for kind, path, moment, duration in media:
        relative = os.path.relpath(path, os.path.dirname(os.path.abspath(package)))
        assets.append({"url": {"relative": "file://" + urllib.parse.quote(os.path.abspath(path))},
                       "pathRelativeToDocumentDir": relative,
                       "fileStartTime": moment - 978307200.0, "offset": 0,
                       "fileTimeZone": {"identifier": "UTC"}, "duration": duration,
                       "mediaGroup": "Boat", "kind": kind})
    content = {
        "version": "1.0",
        "assets": assets,
        "eventTimezone": {"identifier": "Europe/Berlin"},
        "playbackPosition": GUN - 30.0 - 978307200.0,
        "races": [{"name": "Race 1", "time": GUN - 978307200.0, "finishTime": GUN + 3000.0 - 978307200.0,
                   "pinLat": "%.6f" % PIN[0], "pinLon": "%.6f" % PIN[1],
                   "rcLat": "%.6f" % COMMITTEE[0], "rcLon": "%.6f" % COMMITTEE[1]}],
        "boats": boats,
        "mediaGroups": [{"name": "Boat"}, {"name": "Drone"}],
    }
    with open(os.path.join(package, "content.json"), "w") as f:
        json.dump(content, f, indent=2)
    print(f"wrote {package}")


if __name__ == "__main__":
    main()
