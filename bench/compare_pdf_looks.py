#!/usr/bin/env python3
"""Renders every catalogue report with two galvix builds (or one build, its own PDF writer
against cairo's: --cairo-env) and compares what a reader sees: page counts and sizes, the text
poppler extracts (pdftotext -layout), and the pixels of every page rasterized by poppler.

  bench/compare_pdf_looks.py OLD_GALVIX NEW_GALVIX DB [--dpi 72] [--keep DIR]

A page "differs" where more than 0.1 % of its pixels differ by more than 96 in a channel
(anti-aliasing and a thousandth of a point of placement move edges by less)."""
import argparse
import os
import subprocess
import sys
import tempfile


def ppm(path):
    with open(path, "rb") as f:
        data = f.read()
    parts = data.split(maxsplit=4)
    w, h = int(parts[1]), int(parts[2])
    return w, h, parts[4][-w * h * 3:]


def pages(pdf, out, dpi):
    subprocess.run(["pdftoppm", "-r", str(dpi), pdf, out], check=True)
    d = os.path.dirname(out)
    base = os.path.basename(out)
    return sorted(os.path.join(d, f) for f in os.listdir(d) if f.startswith(base + "-"))


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("old")
    ap.add_argument("new")
    ap.add_argument("db")
    ap.add_argument("--dpi", type=int, default=72)
    ap.add_argument("--keep")
    a = ap.parse_args()
    tmp = a.keep or tempfile.mkdtemp()
    for side, exe in (("old", a.old), ("new", a.new)):
        subprocess.run([exe, "render-all", "--db", a.db, "-o", os.path.join(tmp, side), "-q"],
                       check=True, stdout=subprocess.DEVNULL)
    worst = []
    bad = 0
    for name in sorted(os.listdir(os.path.join(tmp, "old"))):
        old, new = os.path.join(tmp, "old", name), os.path.join(tmp, "new", name)
        if not name.endswith(".pdf"):
            continue
        if not os.path.exists(new):
            print(f"missing: {name}")
            bad += 1
            continue
        texts = [subprocess.run(["pdftotext", "-layout", p, "-"], capture_output=True,
                                check=True).stdout for p in (old, new)]
        note = []
        if texts[0] != texts[1]:
            note.append("text differs")
        po = pages(old, os.path.join(tmp, "po"), a.dpi)
        pn = pages(new, os.path.join(tmp, "pn"), a.dpi)
        if len(po) != len(pn):
            note.append(f"pages {len(po)} vs {len(pn)}")
        page_worst = 0.0
        for i, (x, y) in enumerate(zip(po, pn)):
            wx, hx, dx = ppm(x)
            wy, hy, dy = ppm(y)
            if (wx, hx) != (wy, hy):
                note.append(f"page {i + 1} size")
                continue
            differ = sum(1 for k in range(0, len(dx), 3)
                         if max(abs(dx[k] - dy[k]), abs(dx[k + 1] - dy[k + 1]),
                                abs(dx[k + 2] - dy[k + 2])) > 96)
            frac = differ / (wx * hx)
            page_worst = max(page_worst, frac)
            if frac > 0.001:
                note.append(f"page {i + 1}: {100 * frac:.2f} % of pixels")
        for f in po + pn:
            os.remove(f)
        worst.append((page_worst, name))
        if note:
            bad += 1
            print(f"{name}: " + "; ".join(note[:6]))
    worst.sort(reverse=True)
    print(f"{len(worst) - bad} alike, {bad} different; most pixels differing on a page: " +
          ", ".join(f"{n} {100 * w:.3f} %" for w, n in worst[:3]))
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
