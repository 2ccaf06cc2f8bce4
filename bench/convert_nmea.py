#!/usr/bin/python3
"""NMEA 0183 and GPX throughput of logutils-cli against gpsbabel, in the same run.

    bench/convert_nmea.py [--cli PATH] [--megabytes 100] [--gpx-megabytes 50] [--runs 3] [--keep DIR]

Writes a synthetic NMEA log (RMC, GGA, HDT, VHW, MWV, DPT at 2 Hz) and a GPX track, converts each
with `logutils-cli convert` and with `gpsbabel -i FMT -f IN -o gpx -F OUT`, and prints MB/s of
both (the median of --runs runs each, taken in turn), their ratio, and the time of each of the
converter's stages (read, merge, derive, detect, write; from its --timings line). The goals: NMEA
at least 3 x gpsbabel, GPX at least 5 x.
"""
import argparse, math, os, re, statistics, subprocess, sys, tempfile, time

STAGES = ("read", "merge", "derive", "detect", "write")


def checksummed(body):
    s = 0
    for c in body.encode():
        s ^= c
    return "$%s*%02X\n" % (body, s)


def coordinate(value, lat):
    a = abs(value)
    d = int(a)
    return ("%02d%07.4f,%s" if lat else "%03d%07.4f,%s") % (d, (a - d) * 60,
                                                          ("S" if value < 0 else "N") if lat else ("W" if value < 0 else "E"))


def write_nmea(path, megabytes):
    target = megabytes * 1_000_000
    lat, lon, t = 54.5, 10.25, 1685577600.0
    with open(path, "w") as f:
        written, i = 0, 0
        while written < target:
            hdg = (i * 0.37) % 360
            tm = time.gmtime(t)
            hms = "%02d%02d%02d.%02d" % (tm.tm_hour, tm.tm_min, tm.tm_sec, int(round((t % 1) * 100)))
            date = "%02d%02d%02d" % (tm.tm_mday, tm.tm_mon, tm.tm_year % 100)
            la, lo = coordinate(lat, True), coordinate(lon, False)
            block = (checksummed(f"GPRMC,{hms},A,{la},{lo},6.20,{hdg:.1f},{date},2.0,E,A") +
                     checksummed(f"GPGGA,{hms},{la},{lo},1,09,0.9,3.2,M,41.0,M,,") +
                     checksummed(f"HCHDT,{hdg:.1f},T") + checksummed("VWVHW,,T,,M,6.10,N,11.30,K") +
                     checksummed(f"WIMWV,{(i * 1.3) % 360:.1f},R,{12 + math.sin(i / 50):.2f},N,A") +
                     checksummed("SDDPT,12.4,0.5"))
            f.write(block)
            written += len(block)
            lat += 1e-6 * math.cos(math.radians(hdg))
            lon += 1e-6 * math.sin(math.radians(hdg))
            t += 0.5
            i += 1


def write_gpx(path, megabytes):
    target = megabytes * 1_000_000
    with open(path, "w") as f:
        f.write('<?xml version="1.0" encoding="UTF-8"?>\n<gpx version="1.1" creator="bench" '
                'xmlns="http://www.topografix.com/GPX/1/1"><trk><trkseg>\n')
        written, i, t = 0, 0, 1685577600
        while written < target:
            tm = time.gmtime(t + i)
            line = ('<trkpt lat="%.9f" lon="%.9f"><ele>1.0</ele><time>%04d-%02d-%02dT%02d:%02d:%02dZ</time></trkpt>\n'
                    % (39.4 + i * 1e-7, -0.32 - i * 1e-7, tm.tm_year, tm.tm_mon, tm.tm_mday, tm.tm_hour, tm.tm_min,
                       tm.tm_sec))
            f.write(line)
            written += len(line)
            i += 1
        f.write("</trkseg></trk></gpx>\n")


def timed(command):
    start = time.perf_counter()
    run = subprocess.run(command, capture_output=True, text=True)
    elapsed = time.perf_counter() - start
    if run.returncode != 0:
        sys.exit("failed: %s\n%s%s" % (" ".join(command), run.stdout[-2000:], run.stderr[-2000:]))
    return elapsed, run.stderr


def stage_times(err):
    line = next((l for l in err.splitlines() if l.startswith("Stage times:")), None)
    if not line:
        sys.exit("no stage times from logutils-cli:\n" + err)
    return ", ".join("%s %s" % (name, re.search(name + r" ([0-9.]+ s)", line).group(1)) for name in STAGES)


def compare(cli, fmt, path, tmp, runs):
    size = os.path.getsize(path) / 1e6
    ours_runs, theirs_runs = [], []
    for _ in range(runs):
        ours_runs.append(timed([cli, "convert", "-o", os.path.join(tmp, "out.hdf5"), "--boatLength", "10",
                                "--gpsOffset", "1", "--timings", path]))
        theirs_runs.append(timed(["gpsbabel", "-i", fmt, "-f", path, "-o", "gpx", "-F", os.path.join(tmp, "out.gpx")]))
    ours, err = sorted(ours_runs)[len(ours_runs) // 2]
    theirs = statistics.median(t for t, _ in theirs_runs)
    print("%-5s %7.1f MB  logutils-cli %6.2f s %7.1f MB/s   gpsbabel %6.2f s %7.1f MB/s   ratio %.1fx"
          % (fmt, size, ours, size / ours, theirs, size / theirs, theirs / ours))
    print("      logutils-cli stages of its median run: %s (detect runs while writing)" % stage_times(err))
    return theirs / ours


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--cli", default=os.path.join(here, "..", "build", "release", "tools", "logutils",
                                                      "logutils-cli"))
    parser.add_argument("--megabytes", type=int, default=100)
    parser.add_argument("--gpx-megabytes", type=int, default=50)
    parser.add_argument("--runs", type=int, default=3, help="conversions per contender (default: 3)")
    parser.add_argument("--keep", help="folder for the generated inputs (kept between runs)")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as tmp:
        folder = args.keep or tmp
        os.makedirs(folder, exist_ok=True)
        nmea = os.path.join(folder, "bench-%d.log" % args.megabytes)
        gpx = os.path.join(folder, "bench-%d.gpx" % args.gpx_megabytes)
        if not os.path.exists(nmea):
            write_nmea(nmea, args.megabytes)
        if not os.path.exists(gpx):
            write_gpx(gpx, args.gpx_megabytes)
        ratio = compare(args.cli, "nmea", nmea, tmp, args.runs)
        gpx_ratio = compare(args.cli, "gpx", gpx, tmp, args.runs)
        print("NMEA goal (>= 3x gpsbabel): %s" % ("met" if ratio >= 3 else "NOT met"))
        print("GPX goal (>= 5x gpsbabel): %s" % ("met" if gpx_ratio >= 5 else "NOT met"))


if __name__ == "__main__":
    main()
