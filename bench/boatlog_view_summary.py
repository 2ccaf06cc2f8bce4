#!/usr/bin/python3
"""Prints the median of each view benchmark from Google Benchmark's JSON output, against the goal.

  /usr/bin/python3 bench/boatlog_view_summary.py build/release/bench-results/boatlog_view.json
"""

import json
import re
import sys

GOAL_NS = 100.0
# The figures the goal is about; the other cases are shown for comparison only.
GOAL_CASES = {"BM_InterpolatedCircular", "BM_InterpolatedLinear", "BM_Direct"}

SCALE_TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def main(path):
    with open(path) as f:
        report = json.load(f)
    medians = [b for b in report["benchmarks"] if b.get("aggregate_name") == "median"]
    if not medians:
        print(f"{path}: no median in the report", file=sys.stderr)
        return 1
    figures = {}
    for b in medians:
        name = re.sub(r"/repeats:\d+$", "", b["run_name"])
        figures[name] = b["real_time"] * SCALE_TO_NS[b.get("time_unit", "ns")]
    print()
    for name, ns in figures.items():
        case, _, arg = name.partition("/")
        verdict = ("met" if ns <= GOAL_NS else "NOT MET") if case in GOAL_CASES else "(for comparison)"
        # The peer measured in the same run over the same instants: std::upper_bound and raw reads.
        peer = figures.get("BM_UpperBoundPeer/" + arg) if arg else None
        ratio = f"  {ns / peer:5.2f} x peer" if peer and case != "BM_UpperBoundPeer" else ""
        print(f"  {name:<46} median {ns:8.1f} ns   goal <= {GOAL_NS:.0f} ns  {verdict}{ratio}")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        print(__doc__.strip(), file=sys.stderr)
        sys.exit(2)
    sys.exit(main(sys.argv[1]))
