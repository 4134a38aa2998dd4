#!/usr/bin/env python3
"""The reception guest list written with ReportLab, as a Python script would: the same rows and
counts as galvix's "Guest List - without notes" (the same statements, see guestlist_data.py),
a party header with its three counts, one flowable per guest group, a page header and a
"page N of M" footer, Liberation Sans embedded (the accents of the demo's names need a TrueType
font; the standard fonts lack Ł, ś, ę).

  Install (Debian): apt-get install python3-reportlab
  bench/peers/guestlist_reportlab.py DB OUT.pdf [--party Reception]
"""
import argparse
import datetime
import os
import sys

from reportlab.lib import colors
from reportlab.lib.pagesizes import letter
from reportlab.lib.styles import ParagraphStyle
from reportlab.lib.units import inch
from reportlab.pdfbase import pdfmetrics
from reportlab.pdfbase.ttfonts import TTFont
from reportlab.pdfgen import canvas
from reportlab.lib.utils import simpleSplit
from reportlab.platypus import (BaseDocTemplate, Flowable, Frame, PageTemplate, Paragraph, Table,
                                TableStyle)
from xml.sax.saxutils import escape

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import guestlist_data  # noqa: E402

FONT_DIR = "/usr/share/fonts/truetype/liberation2"
HEADINGS = ("Guest", "Casual Names", "# in Party", "Category", "Contact Info")
COLS = [2.05 * inch, 1.65 * inch, 0.85 * inch, 1.3 * inch, 1.65 * inch]


def register_fonts():
    for name, file in (("Sans", "LiberationSans-Regular.ttf"), ("Sans-Bold", "LiberationSans-Bold.ttf"),
                       ("Sans-Italic", "LiberationSans-Italic.ttf")):
        pdfmetrics.registerFont(TTFont(name, os.path.join(FONT_DIR, file)))


class NumberedCanvas(canvas.Canvas):
    """Holds the pages until the end so the footer can say "N of M"."""

    def __init__(self, *args, **kwargs):
        super().__init__(*args, **kwargs)
        self._saved = []

    def showPage(self):
        self._saved.append(dict(self.__dict__))
        self._startPage()

    def save(self):
        total = len(self._saved)
        for state in self._saved:
            self.__dict__.update(state)
            self.setFont("Sans", 7)
            self.drawCentredString(letter[0] / 2, 0.5 * inch, f"{self._pageNumber} of {total}")
            super().showPage()
        super().save()


class GroupRow(Flowable):
    """One guest group: five cells, each wrapped to its column, as tall as the tallest."""

    FONT, SIZE, LEADING, PAD = "Sans", 8, 9.5, 3

    def __init__(self, cells, aligns):
        super().__init__()
        self.cells, self.aligns = cells, aligns
        self.lines = None

    def wrap(self, availWidth, availHeight):
        if self.lines is None:
            self.lines = []
            for text, w in zip(self.cells, COLS):
                out = []
                for para in text.split("\n"):
                    out += simpleSplit(para, self.FONT, self.SIZE, w - 2 * self.PAD) or [""]
                self.lines.append(out)
        self.height = max(len(l) for l in self.lines) * self.LEADING + 2 * self.PAD
        return availWidth, self.height

    def draw(self):
        c = self.canv
        c.setFont(self.FONT, self.SIZE)
        x = 0
        for lines, w, align in zip(self.lines, COLS, self.aligns):
            y = self.height - self.PAD - self.SIZE
            for line in lines:
                if align == "center":
                    c.drawCentredString(x + w / 2, y, line)
                else:
                    c.drawString(x + self.PAD, y, line)
                y -= self.LEADING
            x += w


def p(text, style):
    return Paragraph(escape(text).replace("\n", "<br/>"), style)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("db")
    ap.add_argument("out")
    ap.add_argument("--party", default="Reception")
    a = ap.parse_args()
    register_fonts()
    db = guestlist_data.connect(a.db)
    pid = guestlist_data.party_id(db, a.party)
    title = guestlist_data.event_name(db, pid)
    head, groups = guestlist_data.read(db, pid)

    body = ParagraphStyle("body", fontName="Sans", fontSize=8, leading=9.5)
    bold = ParagraphStyle("bold", parent=body, fontName="Sans-Bold")
    right = ParagraphStyle("right", parent=body, alignment=2)
    center = ParagraphStyle("center", parent=body, alignment=1)
    printed = datetime.date.today().strftime("%-m/%-d/%Y")

    def page(c, doc):
        c.saveState()
        c.setFont("Sans-Bold", 14)
        c.drawCentredString(letter[0] / 2, letter[1] - 0.75 * inch, title)
        c.setFont("Sans-Bold", 10)
        c.drawCentredString(letter[0] / 2, letter[1] - 0.95 * inch, "Guest List - without notes")
        c.setFont("Sans-Italic", 8)
        c.drawCentredString(letter[0] / 2, letter[1] - 1.12 * inch, f"Party: {a.party}")
        c.line(0.5 * inch, letter[1] - 1.2 * inch, letter[0] - 0.5 * inch, letter[1] - 1.2 * inch)
        if doc.page > 1:  # the column headings, under the party header on the first page
            c.setFont("Sans-Bold", 8)
            x = 0.5 * inch
            for t, w in zip(HEADINGS, COLS):
                c.drawString(x + GroupRow.PAD, letter[1] - 1.35 * inch, t)
                x += w
            c.line(0.5 * inch, letter[1] - 1.4 * inch, letter[0] - 0.5 * inch, letter[1] - 1.4 * inch)
        c.line(0.5 * inch, 0.65 * inch, letter[0] - 0.5 * inch, 0.65 * inch)
        c.setFont("Sans", 7)
        c.drawString(0.6 * inch, 0.5 * inch, f"Date Printed: {printed}")
        c.restoreState()

    story = []
    party = Table(
        [[p(head["name"], ParagraphStyle("h", parent=bold, fontSize=12, leading=14)), "", "", ""],
         [p("Given By:", bold), p(head["givenBy"], body), p("Total # Invitees:", bold),
          p(str(head["total"]), right)],
         [p("Date:", bold), p(f"{head['date']}    Time: {head['time']}", body), p("# Adults:", bold),
          p(str(head["adults"]), right)],
         [p("Location:", bold), p(head["location"], body), p("# Children:", bold),
          p(str(head["children"]), right)],
         [p("Notes:", bold), p(head["notes"], body), "", ""]],
        colWidths=[0.8 * inch, 4.2 * inch, 1.6 * inch, 0.9 * inch])
    party.setStyle(TableStyle([("SPAN", (0, 0), (-1, 0)), ("BACKGROUND", (0, 0), (-1, 0), colors.HexColor("#E8E8E8")),
                               ("VALIGN", (0, 0), (-1, -1), "TOP")]))
    story.append(party)
    columns = Table([[p(t, bold) for t in HEADINGS]],
                    colWidths=COLS)
    columns.setStyle(TableStyle([("LINEBELOW", (0, 0), (-1, 0), 0.5, colors.black)]))
    story.append(columns)
    aligns = ("left", "left", "center", "left", "left")
    for g in groups:  # one flowable per guest group
        story.append(GroupRow((g["formal"], g["casual"], str(g["count"]), g["category"], g["contact"]),
                              aligns))

    doc = BaseDocTemplate(a.out, pagesize=letter, leftMargin=0.5 * inch, rightMargin=0.5 * inch,
                          topMargin=1.3 * inch, bottomMargin=0.8 * inch, title=title)
    first = Frame(0.5 * inch, 0.8 * inch, letter[0] - inch, letter[1] - 2.1 * inch, id="first")
    later = Frame(0.5 * inch, 0.8 * inch, letter[0] - inch, letter[1] - 2.25 * inch, id="later")
    doc.addPageTemplates([PageTemplate("first", [first], onPage=page, autoNextPageTemplate="later"),
                          PageTemplate("later", [later], onPage=page)])
    doc.build(story, canvasmaker=NumberedCanvas)


if __name__ == "__main__":
    main()
