#!/usr/bin/env python3
"""Times two galvix builds side by side on one report: runs them alternately and prints the
median wall time, CPU time (user + system) and peak memory of each, and their ratios. On a
shared machine wall time follows the load; CPU time is the steadier figure.

  bench/compare_times.py OLD_GALVIX NEW_GALVIX --db DB [--runs 7] [--report NAME] [--set P=V ...]
                        [--party NAME]
  bench/compare_times.py OLD_GALVIX NEW_GALVIX --db DB --all     (every report, render-all)
"""
import argparse
import os
import statistics
import subprocess
import tempfile
import time


def run_once(galvix, args, out):
    if args.all:
        cmd = [galvix, "render-all", "--db", args.db, "-o", out + ".d"]
    else:
        cmd = [galvix, "render", args.report, "--db", args.db, "-o", out]
        for s in args.set:
            cmd += ["--set", s]
        if args.party:
            cmd += ["--party", args.party]
    start = time.monotonic()
    proc = subprocess.Popen(cmd, stdout=subprocess.DEVNULL)
    _, status, ru = os.wait4(proc.pid, 0)
    wall = time.monotonic() - start
    if status != 0:
        raise SystemExit(f"{galvix} failed ({status})")
    return wall, ru.ru_utime + ru.ru_stime, ru.ru_maxrss / 1024


def main():
    p = argparse.ArgumentParser()
    p.add_argument("old")
    p.add_argument("new")
    p.add_argument("--db", required=True)
    p.add_argument("--runs", type=int, default=7)
    p.add_argument("--report", default="Guest List - with notes")
    p.add_argument("--set", action="append", default=[])
    p.add_argument("--party", help="the party of a party report (its name or id)")
    p.add_argument("--all", action="store_true", help="every catalogue report (render-all)")
    args = p.parse_args()
    runs = {"old": [], "new": []}
    with tempfile.TemporaryDirectory() as d:
        for i in range(args.runs):
            order = ("old", "new") if i % 2 == 0 else ("new", "old")
            for which in order:
                galvix = args.old if which == "old" else args.new
                runs[which].append(run_once(galvix, args, os.path.join(d, which + ".pdf")))
    med = {k: [statistics.median(r[j] for r in v) for j in range(3)] for k, v in runs.items()}
    what = "every report" if args.all else args.report
    print(f"{what} on {os.path.basename(args.db)}, median of {args.runs} paired runs")
    print(f"{'build':<6} {'wall s':>8} {'cpu s':>8} {'peak MB':>8}")
    for k in ("old", "new"):
        w, c, m = med[k]
        print(f"{k:<6} {w:8.2f} {c:8.2f} {m:8.0f}")
    print(f"{'old/new':<6} {med['old'][0] / med['new'][0]:7.2f}x {med['old'][1] / med['new'][1]:7.2f}x")


if __name__ == "__main__":
    main()
