#!/usr/bin/env python3
"""The reception guest list as HTML for a browser to print: the same rows and counts as galvix's
"Guest List - without notes" (the same statements, see guestlist_data.py), one table row per
guest group, the column headings repeated on every page, "N of M" in the page footer (CSS page
margin boxes). guestlist_chromium.sh prints it with headless Chromium.

  bench/peers/guestlist_html.py DB OUT.html [--party Reception]
"""
import argparse
import datetime
import html
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import guestlist_data  # noqa: E402

STYLE = """
@page:first { @top-center { content: none; } }
@page { size: letter; margin: 0.8in 0.5in 0.8in 0.5in;
  @top-center { content: "{title} \\A Guest List - without notes"; white-space: pre;
    font: bold 10pt 'Liberation Sans'; text-align: center; }
  @bottom-left { content: "Date Printed: {printed}"; font: 7pt 'Liberation Sans'; }
  @bottom-center { content: counter(page) " of " counter(pages); font: 7pt 'Liberation Sans'; } }
body { font: 8pt/1.2 'Liberation Sans', Arial, sans-serif; margin: 0; }
h1 { font-size: 14pt; text-align: center; margin: 0; }
h2 { font-size: 10pt; text-align: center; margin: 2pt 0; }
.criteria { font-style: italic; text-align: center; border-bottom: 1px solid #000; padding-bottom: 4pt; }
.party { background: #E8E8E8; font-size: 12pt; font-weight: bold; padding: 3pt; margin-top: 8pt; }
table { width: 100%; border-collapse: collapse; table-layout: fixed; }
.head td { vertical-align: top; padding: 1pt 3pt; }
.head .l { font-weight: bold; width: 0.8in; } .head .n { text-align: right; }
thead th { text-align: left; border-bottom: 1px solid #000; padding: 3pt; }
tbody tr { break-inside: avoid; }
tbody td { vertical-align: top; padding: 3pt; white-space: pre-line; overflow-wrap: anywhere; }
td.c { text-align: center; }
"""


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("db")
    ap.add_argument("out")
    ap.add_argument("--party", default="Reception")
    a = ap.parse_args()
    db = guestlist_data.connect(a.db)
    pid = guestlist_data.party_id(db, a.party)
    title = guestlist_data.event_name(db, pid)
    h, groups = guestlist_data.read(db, pid)
    e = html.escape
    out = [f"<!DOCTYPE html><html><head><meta charset='utf-8'><title>{e(title)}</title><style>",
           STYLE.replace("{printed}", datetime.date.today().strftime("%-m/%-d/%Y"))
           .replace("{title}", title.replace('"', "'")),
           "</style></head><body>",
           f"<h1>{e(title)}</h1><h2>Guest List - without notes</h2>",
           f"<div class='criteria'>Party: {e(a.party)}</div>",
           f"<div class='party'>{e(h['name'])}</div><table class='head'>",
           f"<tr><td class='l'>Given By:</td><td>{e(h['givenBy'])}</td><td class='l'>Total # Invitees:</td><td class='n'>{h['total']}</td></tr>",
           f"<tr><td class='l'>Date:</td><td>{e(h['date'])} &nbsp; Time: {e(h['time'])}</td><td class='l'># Adults:</td><td class='n'>{h['adults']}</td></tr>",
           f"<tr><td class='l'>Location:</td><td style='white-space:pre-line'>{e(h['location'])}</td><td class='l'># Children:</td><td class='n'>{h['children']}</td></tr>",
           f"<tr><td class='l'>Notes:</td><td colspan='3'>{e(h['notes'])}</td></tr></table>",
           "<table><colgroup><col style='width:27%'><col style='width:22%'><col style='width:11%'>"
           "<col style='width:17%'><col style='width:23%'></colgroup>",
           "<thead><tr><th>Guest</th><th>Casual Names</th><th>&#35; in Party</th><th>Category</th>"
           "<th>Contact Info</th></tr></thead><tbody>"]
    for g in groups:  # one row per guest group
        out.append(f"<tr><td>{e(g['formal'])}</td><td>{e(g['casual'])}</td><td class='c'>{g['count']}</td>"
                   f"<td>{e(g['category'])}</td><td>{e(g['contact'])}</td></tr>")
    out.append("</tbody></table></body></html>")
    with open(a.out, "w", encoding="utf-8") as f:
        f.write("\n".join(out))


if __name__ == "__main__":
    main()
