#!/usr/bin/env python3
"""Times galvix, the ReportLab script and HTML printed by headless Chromium on the same guest list
(the reception of a scale database), side by side in one run: the tools take turns, run after
run (the order rotating), and the table gives the median wall time, CPU time (user + system of
every process the tool started) and the peak memory of its largest process, with ratios to
galvix. On a shared machine wall time follows the load; CPU time is the steadier figure.

  Install the peers (Debian): apt-get install python3-reportlab chromium
  build/galvix demo-db /tmp/s20k.sqlite --guests 20000
  bench/peers/compare.py build/galvix /tmp/s20k.sqlite [--runs 5] [--party Reception]
                         [--only galvix,reportlab,chromium]
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TICK = os.sysconf("SC_CLK_TCK")


def session_processes(sid):
    """{pid: (cpu seconds, peak KB)} of the processes of session `sid` now alive."""
    out = {}
    for name in os.listdir("/proc"):
        if not name.isdigit():
            continue
        try:
            with open(f"/proc/{name}/stat") as f:
                stat = f.read()
            fields = stat[stat.rindex(")") + 2:].split()
            if int(fields[3]) != sid:  # session id
                continue
            cpu = (int(fields[11]) + int(fields[12])) / TICK
            peak = 0
            with open(f"/proc/{name}/status") as f:
                for line in f:
                    if line.startswith("VmHWM:"):
                        peak = int(line.split()[1])
            out[int(name)] = (cpu, peak)
        except (OSError, ValueError, IndexError):
            pass
    return out


def run_once(cmd):
    """Wall seconds, CPU seconds and peak MB of `cmd` and every process it starts. Chromium's
    helpers are not all waited for by the process we start, so the CPU of the session's
    processes is also sampled while it runs and the larger of the two sums is taken."""
    start = time.monotonic()
    proc = subprocess.Popen(cmd, stdout=subprocess.DEVNULL, start_new_session=True)
    seen = {}
    while True:
        pid, status, ru = os.wait4(proc.pid, os.WNOHANG)
        if pid:
            break
        for p, v in session_processes(proc.pid).items():
            seen[p] = v
        time.sleep(0.02)
    wall = time.monotonic() - start
    if status != 0:
        raise SystemExit(f"{cmd[0]} failed ({status})")
    sampled = sum(c for c, _ in seen.values())
    cpu = max(ru.ru_utime + ru.ru_stime, sampled)
    peak = max([ru.ru_maxrss] + [m for _, m in seen.values()]) / 1024
    return wall, cpu, peak


def pages(pdf):
    try:
        out = subprocess.run(["pdfinfo", pdf], capture_output=True, text=True).stdout
        return next(int(l.split()[1]) for l in out.splitlines() if l.startswith("Pages:"))
    except (OSError, StopIteration, ValueError):
        return 0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("galvix")
    ap.add_argument("db")
    ap.add_argument("--runs", type=int, default=5)
    ap.add_argument("--party", default="Reception")
    ap.add_argument("--event", default="The Smith - García Wedding")
    ap.add_argument("--python", default="/usr/bin/python3",
                    help="the Python that has Debian's reportlab (default /usr/bin/python3)")
    ap.add_argument("--only", default="galvix,reportlab,chromium")
    a = ap.parse_args()
    with tempfile.TemporaryDirectory() as d:
        tools = {
            "galvix": [a.galvix, "render", "Guest List - without notes", "--db", a.db, "--event",
                       a.event, "--party", a.party, "-o", os.path.join(d, "galvix.pdf")],
            "reportlab": [a.python, os.path.join(HERE, "guestlist_reportlab.py"), a.db,
                          os.path.join(d, "reportlab.pdf"), "--party", a.party],
            "chromium": ["env", f"PYTHON={a.python}", os.path.join(HERE, "guestlist_chromium.sh"),
                         a.db, os.path.join(d, "chromium.pdf"), a.party],
        }
        names = [n for n in a.only.split(",") if n in tools]
        if "chromium" in names and not shutil.which("chromium"):
            sys.exit("chromium is not installed (apt-get install chromium)")
        runs = {n: [] for n in names}
        for i in range(a.runs):
            k = i % len(names)
            for n in names[k:] + names[:k]:
                runs[n].append(run_once(tools[n]))
                print(f"run {i + 1} {n}: {runs[n][-1][0]:.2f} s wall, {runs[n][-1][1]:.2f} s cpu",
                      file=sys.stderr)
        med = {n: [statistics.median(r[j] for r in runs[n]) for j in range(3)] for n in names}
        counts = {n: pages(os.path.join(d, n + ".pdf")) for n in names}
    print(f"{a.party} guest list of {os.path.basename(a.db)}, median of {a.runs} alternating runs")
    print(f"{'tool':<10} {'pages':>6} {'wall s':>8} {'cpu s':>8} {'peak MB':>8} {'wall/galvix':>12} "
          f"{'cpu/galvix':>11}")
    g = med.get("galvix")
    for n in names:
        w, c, m = med[n]
        ratio = f"{w / g[0]:11.2f}x {c / g[1]:10.2f}x" if g else ""
        print(f"{n:<10} {counts[n]:6d} {w:8.2f} {c:8.2f} {m:8.0f} {ratio}")


if __name__ == "__main__":
    main()
