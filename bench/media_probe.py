#!/usr/bin/env python3
"""Time per file of Wakeline's media time detection against exiftool -fast and ffprobe.

Makes 1,000 tagged photos and 100 videos (cached under build/bench-data/media), then times, on the
same files in the same run:
  - media_probe: Wakeline's type test plus detection, in one process (median of three passes);
  - exiftool -fast -time:all: one process over all files of a kind (its best case);
  - ffprobe -show_format: one process per file (it takes one input).
Prints the time per file and the ratios. Goal: >= 10x exiftool, >= 5x ffprobe.
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import time


def run(command, **kwargs):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **kwargs)


def make_data(directory, probe, photos, videos):
    marker = os.path.join(directory, f"ready-{photos}-{videos}")
    if os.path.exists(marker):
        return
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(os.path.join(directory, "videos"))
    base_jpeg = os.path.join(directory, "base.jpg")
    run(["ffmpeg", "-y", "-f", "lavfi", "-i", "testsrc=size=1024x768", "-frames:v", "1", base_jpeg])
    run([probe, "--make-photos", base_jpeg, os.path.join(directory, "photos"), str(photos)])
    base_mp4 = os.path.join(directory, "base.mp4")
    run(["ffmpeg", "-y", "-f", "lavfi", "-i", "testsrc=duration=20:size=640x360:rate=30", "-f", "lavfi",
         "-i", "sine=duration=20", "-c:v", "mpeg4", "-q:v", "8", "-c:a", "aac", base_mp4])
    for i in range(videos):
        stamp = f"2023-06-{1 + i % 28:02d}T{8 + i % 10:02d}:{i % 60:02d}:00Z"
        if i % 2:
            out = os.path.join(directory, "videos", f"GOPR{i:04d}.MP4")
            extra = []
        else:
            out = os.path.join(directory, "videos", f"IMG_{i:04d}.MOV")
            extra = ["-metadata", "com.apple.quicktime.make=Apple", "-metadata",
                     f"com.apple.quicktime.creationdate={stamp[:-1]}+0000", "-movflags", "use_metadata_tags"]
        run(["ffmpeg", "-y", "-i", base_mp4, "-c", "copy", "-metadata", f"creation_time={stamp}"] + extra + [out])
    open(marker, "w").close()


def files_in(directory):
    return sorted(os.path.join(directory, name) for name in os.listdir(directory))


def time_ours(probe, files):
    output = subprocess.run([probe, "--runs", "3"] + files, check=True, capture_output=True, text=True).stdout
    result = json.loads(output)
    if result["assets"] != len(files):
        sys.exit(f"media_probe made {result['assets']} assets of {len(files)} files")
    return result["secondsPerFile"]


def time_exiftool(files):
    start = time.perf_counter()
    run(["exiftool", "-fast", "-j", "-time:all"] + files)
    return (time.perf_counter() - start) / len(files)


def time_ffprobe(files):
    start = time.perf_counter()
    for path in files:
        run(["ffprobe", "-v", "quiet", "-print_format", "json", "-show_format", path])
    return (time.perf_counter() - start) / len(files)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--probe", required=True, help="the media_probe program")
    parser.add_argument("--data-dir", default=None)
    parser.add_argument("--photos", type=int, default=1000)
    parser.add_argument("--videos", type=int, default=100)
    args = parser.parse_args()
    for tool in ("ffmpeg", "ffprobe", "exiftool"):
        if not shutil.which(tool):
            sys.exit(f"media bench: {tool} not found; run scripts/setup")
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    directory = args.data_dir or os.path.join(root, "build", "bench-data", "media")
    make_data(directory, args.probe, args.photos, args.videos)

    print(f"{'files':<18}{'wakeline':>12}{'exiftool -fast':>16}{'ffprobe':>12}{'x exiftool':>12}{'x ffprobe':>11}")
    for label, folder in (("photos", "photos"), ("videos", "videos")):
        files = files_in(os.path.join(directory, folder))
        for path in files:  # the page cache serves everyone alike
            with open(path, "rb") as f:
                f.read(1 << 16)
        ours = time_ours(args.probe, files)
        exiftool = time_exiftool(files)
        ffprobe = time_ffprobe(files)
        print(f"{f'{len(files)} {label}':<18}{ours * 1e3:>10.3f}ms{exiftool * 1e3:>14.3f}ms{ffprobe * 1e3:>10.3f}ms"
              f"{exiftool / ours:>11.1f}x{ffprobe / ours:>10.1f}x")
    print("(time per file; goal: >= 10x exiftool, >= 5x ffprobe)")


if __name__ == "__main__":
    main()
