#!/usr/bin/env python3
"""Writes layout files in the project's shape: one key per line at the top, one line per
section's own keys, one line per control. `--check` lists files not in that shape (exit 1)."""
import json
import sys
from pathlib import Path


def one(v):
    return json.dumps(v, ensure_ascii=False, separators=(", ", ": "))


def fmt(layout):
    out = ["{"]
    keys = list(layout.keys())
    for i, k in enumerate(keys):
        comma = "," if i + 1 < len(keys) else ""
        if k != "sections":
            out.append(f'  "{k}": {one(layout[k])}{comma}')
            continue
        out.append('  "sections": [')
        secs = layout["sections"]
        for si, s in enumerate(secs):
            scomma = "," if si + 1 < len(secs) else ""
            own = {k2: v for k2, v in s.items() if k2 != "controls"}
            controls = s.get("controls")
            if not controls:
                if controls is not None:
                    own["controls"] = []
                out.append(f"    {one(own)}{scomma}")
                continue
            out.append(f'    {one(own)[:-1]}, "controls": [')
            for ci, c in enumerate(controls):
                ccomma = "," if ci + 1 < len(controls) else ""
                out.append(f"      {one(c)}{ccomma}")
            out.append(f"    ]}}{scomma}")
        out.append(f"  ]{comma}")
    out.append("}")
    return "\n".join(out) + "\n"


def main(argv):
    check = "--check" in argv
    files = [a for a in argv if a != "--check"]
    if not files:
        root = Path(__file__).resolve().parent.parent
        files = sorted(str(p) for p in root.glob("src/**/*.json"))
    bad = []
    for f in files:
        text = Path(f).read_text(encoding="utf-8")
        want = fmt(json.loads(text))
        if text != want:
            if check:
                bad.append(f)
            else:
                Path(f).write_text(want, encoding="utf-8")
    for f in bad:
        print(f"{f}: not formatted (scripts/format-layouts.py {f})")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
