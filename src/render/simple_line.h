// Lines of plain Latin text, shaped by HarfBuzz in its font the way pango shapes it, and drawn
// without a pango layout. Most report texts are such lines (names, dates, numbers, captions);
// building a layout for each (itemizing, finding breaks, the layout's own bookkeeping) cost more
// than shaping and drawing the glyphs.
#pragma once

#include <cairo.h>
#include <pango/pango.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/document.h"

namespace galvix::render {

// The letters a plain line may hold: printable ASCII and the Latin-1 and Latin Extended-A and B
// letters and signs (precomposed; no combining marks, no soft hyphen, no controls).
inline bool quickLetter(gunichar c) {
  return (c >= 0x20 && c < 0x7F) || (c >= 0xA0 && c < 0x250 && c != 0xAD);
}

struct SimpleLine {
  PangoFont* font = nullptr;  // owned by the thread's font cache
  std::string text;           // the text with CR LF and CR turned into LF, as pango gets it
  int height = 0;             // pango units: the logical height of a line of text
  int baseline = 0;           // pango units from a line's top
  int totalHeight = 0;        // pango units: all lines (a blank one as tall as pango makes it)
  int width = 0;              // pango units: the widest line's logical width
  // Per glyph, in pango units from its line's start: x (advances so far plus its offset) and y
  // offset; and the glyph index.
  std::vector<unsigned> glyphs;
  std::vector<int> x, y;
  std::vector<cairo_text_cluster_t> clusters;
  struct Line {
    std::size_t firstGlyph = 0, glyphCount = 0, firstCluster = 0, clusterCount = 0;
    std::size_t offset = 0, length = 0;  // bytes of `text`
    int width = 0;
    int top = 0;             // pango units from the first line's top
    bool collapsed = false;  // wrapped after a space, whose glyph is dropped
  };
  std::vector<Line> lines;
};

// Shapes `text` when its lines are plain letters (`quickLetter`; no tabs; blank lines) in a
// font that has every one of them, each line wrapped `wrap` pango units wide (0: not wrapped)
// as pango wraps it; false otherwise (pango must lay it out, as when a word must be broken).
// `line` is reused between calls.
// With `linesOnly`, only the lines' places are made (their tops, heights and text), not glyphs:
// what measuring needs.
bool shapeSimpleLine(std::string_view text, const doc::Font& font, SimpleLine& line, int wrap = 0,
                     bool linesOnly = false);
// The same without copying: the shaped lines (kept by the thread's cache, or made in `scratch`),
// valid until the thread shapes again; null where `shapeSimpleLine` returns false.
const SimpleLine* simpleLine(std::string_view text, const doc::Font& font, SimpleLine& scratch,
                             int wrap = 0, bool linesOnly = false);

// Draws line `k` with the text's top left at `x`, `y` (points), `lineX` pango units in, as pango
// draws a layout placed at (x, y). Leaves the line's font set on `cr`.
void drawSimpleLine(cairo_t* cr, const SimpleLine& line, std::size_t k, double x, double y,
                    int lineX);

}  // namespace galvix::render
