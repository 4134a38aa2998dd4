#include "render/page_renderer.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>
#include <utility>

#include "engine/text_util.h"
#include "render/rtf_reader.h"
#include "render/simple_line.h"
#include "render/text_layout.h"

namespace galvix::render {

namespace {

double pt(std::int64_t twips) {
  return static_cast<double>(twips) / 20.0;
}
double ptFromPango(int units) {
  return static_cast<double>(units) / PANGO_SCALE;
}

void rect(Canvas& cv, const doc::Rect& r) {
  cv.rectangle(pt(r.left), pt(r.top), pt(r.width), pt(r.height));
}

void fillRect(Canvas& cv, const doc::Rect& r, doc::Color c) {
  cv.setColor(c);
  rect(cv, r);
  cv.fill();
}

// Line weights are pixels at 96 dpi.
double lineWidth(int weight) {
  return std::max(1, weight) * 0.75;
}

// Returns false for a transparent line, which is not drawn.
bool setStroke(Canvas& cv, doc::LineStyle style, int weight, doc::Color color) {
  const double w = lineWidth(weight);
  const double u = std::max(w, 1.0);
  cv.setLineWidth(w);
  cv.setLineCap(CAIRO_LINE_CAP_BUTT);
  cv.setColor(color);
  switch (style) {
    case doc::LineStyle::Transparent:
      return false;
    case doc::LineStyle::Solid:
      cv.setDash(nullptr, 0);
      break;
    case doc::LineStyle::Dash: {
      const double d[] = {4 * u, 2 * u};
      cv.setDash(d, 2);
      break;
    }
    case doc::LineStyle::Dot: {
      const double d[] = {u, u};
      cv.setDash(d, 2);
      break;
    }
    case doc::LineStyle::DashDot: {
      const double d[] = {4 * u, 2 * u, u, 2 * u};
      cv.setDash(d, 4);
      break;
    }
    case doc::LineStyle::DashDotDot: {
      const double d[] = {4 * u, 2 * u, u, 2 * u, u, 2 * u};
      cv.setDash(d, 6);
      break;
    }
  }
  return true;
}

void segment(Canvas& cv, double x1, double y1, double x2, double y2) {
  cv.moveTo(x1, y1);
  cv.lineTo(x2, y2);
  cv.stroke();
}

void border(Canvas& cv, const doc::Rect& r, const doc::Border& b) {
  if (!b.any()) return;
  const double l = pt(r.left), t = pt(r.top), rt = pt(r.left + r.width), bt = pt(r.top + r.height);
  if (setStroke(cv, b.top, b.weight, b.color)) segment(cv, l, t, rt, t);
  if (setStroke(cv, b.bottom, b.weight, b.color)) segment(cv, l, bt, rt, bt);
  if (setStroke(cv, b.left, b.weight, b.color)) segment(cv, l, t, l, bt);
  if (setStroke(cv, b.right, b.weight, b.color)) segment(cv, rt, t, rt, bt);
}

void line(Canvas& cv, const doc::Line& l) {
  if (setStroke(cv, l.style, l.weight, l.color))
    segment(cv, pt(l.x1), pt(l.y1), pt(l.x2), pt(l.y2));
}

void shape(Canvas& cv, const doc::Box& b) {
  const double x = pt(b.box.left), y = pt(b.box.top), w = pt(b.box.width), h = pt(b.box.height);
  if (w <= 0 || h <= 0) return;
  cv.newPath();
  switch (b.shape) {
    case doc::ShapeKind::Rectangle:
      cv.rectangle(x, y, w, h);
      break;
    case doc::ShapeKind::RoundRect: {
      const double r = std::min(w, h) / 5;
      cv.newSubPath();
      cv.arc(x + w - r, y + r, r, -std::numbers::pi / 2, 0);
      cv.arc(x + w - r, y + h - r, r, 0, std::numbers::pi / 2);
      cv.arc(x + r, y + h - r, r, std::numbers::pi / 2, std::numbers::pi);
      cv.arc(x + r, y + r, r, std::numbers::pi, 3 * std::numbers::pi / 2);
      cv.closePath();
      break;
    }
    case doc::ShapeKind::Ellipse:
      cv.save();
      cv.translate(x + w / 2, y + h / 2);
      cv.scale(w / 2, h / 2);
      cv.arc(0, 0, 1, 0, 2 * std::numbers::pi);
      cv.restore();
      break;
  }
  if (b.fill) {
    cv.setColor(*b.fill);
    cv.fill(true);
  }
  if (setStroke(cv, b.style, b.weight, b.lineColor))
    cv.stroke();
  else
    cv.newPath();
}

void path(Canvas& cv, const doc::Path& p) {
  const double ox = pt(p.box.left), oy = pt(p.box.top);
  cv.newPath();
  std::size_t k = 0;
  auto at = [&](std::size_t i) {
    return std::pair{ox + pt(p.points[i].x), oy + pt(p.points[i].y)};
  };
  for (doc::PathOp op : p.ops) {
    const std::size_t need = op == doc::PathOp::CurveTo ? 3 : op == doc::PathOp::Close ? 0 : 1;
    if (k + need > p.points.size()) break;  // a malformed figure draws what it has
    switch (op) {
      case doc::PathOp::MoveTo: {
        auto [x, y] = at(k);
        cv.moveTo(x, y);
        break;
      }
      case doc::PathOp::LineTo: {
        auto [x, y] = at(k);
        cv.lineTo(x, y);
        break;
      }
      case doc::PathOp::CurveTo: {
        auto [x1, y1] = at(k);
        auto [x2, y2] = at(k + 1);
        auto [x3, y3] = at(k + 2);
        cv.curveTo(x1, y1, x2, y2, x3, y3);
        break;
      }
      case doc::PathOp::Close:
        cv.closePath();
        break;
    }
    k += need;
  }
  if (p.fill) {
    // A vector gradient: PDF and SVG keep it as a shading, not as pixels.
    if (p.fillTo)
      cv.setVerticalGradient(oy, oy + pt(p.box.height), *p.fill, *p.fillTo);
    else
      cv.setColor(*p.fill);
    cv.fill(true);
  }
  if (setStroke(cv, p.style, p.weight, p.lineColor)) {
    cv.setLineJoin(CAIRO_LINE_JOIN_ROUND);
    cv.stroke();
    cv.setLineJoin(CAIRO_LINE_JOIN_MITER);
  } else {
    cv.newPath();
  }
}

// Offset of a block `size` long inside `room` for top/left (0), middle/centre (1), bottom/right
// (2).
double place(double room, double size, int where) {
  return where == 0 ? 0 : where == 1 ? (room - size) / 2 : room - size;
}

// Where pango puts a line `width` long in a layout `layoutWidth` wide (pango units): its
// alignment offset, with its rounding for centring.
int lineOffset(doc::HAlign a, int layoutWidth, int width) {
  if (a == doc::HAlign::Right) return layoutWidth - width;
  if (a != doc::HAlign::Center) return 0;
  int o = (layoutWidth - width) / 2;
  if (((layoutWidth | width) & (PANGO_SCALE - 1)) == 0) o = PANGO_UNITS_ROUND(o);
  return o;
}

// The logical left and right of plain lines so aligned, as pango's layout extents give them.
std::pair<int, int> linesExtent(const SimpleLine& line, doc::HAlign a, int layoutWidth) {
  int left = layoutWidth, right = 0;
  for (const auto& ln : line.lines) {
    left = std::min(left, lineOffset(a, layoutWidth, ln.width));
    right = std::max(right, lineOffset(a, layoutWidth, ln.width) + ln.width);
  }
  return {left, right};
}

int hPlace(doc::HAlign a) {
  return a == doc::HAlign::Center ? 1 : a == doc::HAlign::Right ? 2 : 0;
}
int vPlace(doc::VAlign a) {
  return a == doc::VAlign::Middle ? 1 : a == doc::VAlign::Bottom ? 2 : 0;
}

// Alignment is meant on the page. Text turned near a quarter or half turn is laid out in a turned
// frame, so find the alignment along its lines and the placement across them in that frame: a
// column head turned 900 with page alignment centre/bottom is centred over its column and starts
// at the bottom of its box.
std::pair<doc::HAlign, doc::VAlign> turnedAlignment(int angle, doc::HAlign h, doc::VAlign v) {
  using H = doc::HAlign;
  using V = doc::VAlign;
  switch ((angle + 450) / 900 % 4) {
    case 1:  // reads upwards; the text's top faces the page's left
      return {v == V::Top      ? H::Right
              : v == V::Bottom ? H::Left
                               : H::Center,
              h == H::Right    ? V::Bottom
              : h == H::Center ? V::Middle
                               : V::Top};
    case 2:  // upside down
      return {h == H::Left    ? H::Right
              : h == H::Right ? H::Left
                              : h,
              v == V::Top      ? V::Bottom
              : v == V::Bottom ? V::Top
                               : V::Middle};
    case 3:  // reads downwards; the text's top faces the page's right
      return {v == V::Top      ? H::Left
              : v == V::Bottom ? H::Right
                               : H::Center,
              h == H::Right    ? V::Top
              : h == H::Center ? V::Middle
                               : V::Bottom};
    default:
      return {h, v};
  }
}

}  // namespace

PageRenderer::~PageRenderer() {
  for (auto& [key, p] : pictures_)
    if (p.surface) cairo_surface_destroy(p.surface);
}

void PageRenderer::mark(const doc::Rect& r) {
  const std::int32_t top = std::max(0, r.top), bottom = std::max(top, r.top + r.height);
  const auto last = static_cast<std::size_t>(bottom / kMarkBand);
  if (marks_.size() <= last) marks_.resize(last + 1);
  for (auto band = static_cast<std::size_t>(top / kMarkBand); band <= last; ++band)
    marks_[band].push_back(r);
}

bool PageRenderer::marked(const doc::Rect& r) const {
  const std::int32_t top = std::max(0, r.top), bottom = std::max(top, r.top + r.height);
  for (auto band = static_cast<std::size_t>(top / kMarkBand);
       band <= static_cast<std::size_t>(bottom / kMarkBand) && band < marks_.size(); ++band)
    for (const doc::Rect& m : marks_[band])
      if (m.left < r.left + r.width && r.left < m.left + m.width && m.top < r.top + r.height &&
          r.top < m.top + m.height)
        return true;
  return false;
}

void PageRenderer::draw(Canvas& cv, const doc::Page& page) {
  usedOnPage_.clear();
  for (auto& band : marks_) band.clear();
  for (const auto& item : page.items) {
    std::visit(
        [&](const auto& c) {
          using T = std::decay_t<decltype(c)>;
          if constexpr (std::is_same_v<T, doc::Text>)
            text(cv, c);
          else if constexpr (std::is_same_v<T, doc::RichText>)
            richText(cv, c);
          else if constexpr (std::is_same_v<T, doc::Line>)
            line(cv, c);
          else if constexpr (std::is_same_v<T, doc::Box>)
            shape(cv, c);
          else if constexpr (std::is_same_v<T, doc::CheckBox>)
            checkBox(cv, c);
          else if constexpr (std::is_same_v<T, doc::Picture>)
            picture(cv, c);
          else if constexpr (std::is_same_v<T, doc::Path>)
            path(cv, c);
          // What the item may touch: its box, or its line's ends, with room for a border or a
          // line's width, an italic's overhang and anti-aliasing.
          if constexpr (std::is_same_v<T, doc::Line>) {
            const std::int32_t room = 60 + 8 * c.weight;
            mark({std::min(c.x1, c.x2) - room, std::min(c.y1, c.y2) - room,
                  std::abs(c.x2 - c.x1) + 2 * room, std::abs(c.y2 - c.y1) + 2 * room});
          } else if constexpr (std::is_same_v<T, doc::CheckBox>) {
            mark(c.box);  // its square, tick and caption stay inside (or are clipped to) it
          } else {
            std::int32_t room = 60;
            if constexpr (std::is_same_v<T, doc::Box> || std::is_same_v<T, doc::Path>)
              room += 8 * c.weight;
            else if constexpr (requires { c.border; })
              room += 8 * c.border.weight;
            mark({c.box.left - room, c.box.top - room, c.box.width + 2 * room,
                  c.box.height + 2 * room});
          }
        },
        item.content);
  }
}

PangoLayout* PageRenderer::layoutFor(const std::string& text, const doc::Font& font,
                                     std::int32_t wrap, doc::HAlign align) {
  // Fixed-size fields first (as raw bytes: formatting numbers is slow), then the names.
  const std::int32_t flags = font.bold | font.italic << 1 | font.underline << 2 |
                             font.strikeout << 3 | static_cast<int>(align) << 4;
  std::string key(sizeof font.size + 2 * sizeof(std::int32_t), '\0');
  std::memcpy(key.data(), &font.size, sizeof font.size);
  std::memcpy(key.data() + sizeof font.size, &flags, sizeof flags);
  std::memcpy(key.data() + sizeof font.size + sizeof flags, &wrap, sizeof wrap);
  key += font.name;
  key += '\0';
  key += text;
  auto it = layouts_.find(key);
  if (it != layouts_.end()) return it->second.get();
  if (layouts_.size() >= kLayoutCacheSize) layouts_.clear();
  return layouts_.emplace(std::move(key), textLayout(text, font, wrap, align)).first->second.get();
}

void PageRenderer::text(Canvas& cv, const doc::Text& t) {
  const doc::Rect& b = t.box;
  if (b.width <= 0 || b.height <= 0) return;
  if (t.backColor) fillRect(cv, b, *t.backColor);
  if (!t.text.empty()) {
    const int a = ((t.angle % 3600) + 3600) % 3600;
    const auto [align, valign] = turnedAlignment(a, t.align, t.valign);
    // Turned a quarter either way, the text runs along the box's height.
    const bool quarter = (a >= 450 && a < 1350) || (a >= 2250 && a < 3150);
    const std::int32_t fw = quarter ? b.height : b.width, fh = quarter ? b.width : b.height;
    // A value far longer than the box can show is cut before it is shaped.
    const std::string_view shown = engine::cutToBox(t.text, t.font.size, fw, fh);
    const std::string cutText = shown.size() < t.text.size() ? std::string(shown) : std::string();
    if (a == 0 && cutText.empty() && t.align != doc::HAlign::Justify && simpleText(cv, t, fw, fh)) {
      border(cv, b, t.border);
      return;
    }
    cv.save();
    PangoLayout* l =
        layoutFor(cutText.empty() ? t.text : cutText, t.font, t.wordWrap ? fw : 0, align);
    PangoRectangle logical;
    pango_layout_get_extents(l, nullptr, &logical);
    // Wrapped text taller than a box that does not grow shows the whole lines that fit, the
    // last one ending in an ellipsis, rather than a line cut through the middle.
    std::unique_ptr<PangoLayout, decltype(&g_object_unref)> cut(nullptr, g_object_unref);
    if (t.wordWrap && ptFromPango(logical.height) > pt(fh) + 0.5) {
      cut.reset(pango_layout_copy(l));
      pango_layout_set_ellipsize(cut.get(), PANGO_ELLIPSIZE_END);
      pango_layout_set_height(cut.get(), static_cast<int>(pt(fh) * PANGO_SCALE));
      l = cut.get();
      pango_layout_get_extents(l, nullptr, &logical);
    }
    const double x = t.wordWrap ? 0 : place(pt(fw), ptFromPango(logical.width), hPlace(align));
    const double y = place(pt(fh), ptFromPango(logical.height), vPlace(valign));
    // Clipping costs time in every sink; most texts fit their box and need none.
    const bool fits = a % 900 == 0 && x + ptFromPango(logical.x) >= 0 && y >= 0 &&
                      x + ptFromPango(logical.x + logical.width) <= pt(fw) &&
                      y + ptFromPango(logical.height) <= pt(fh);
    if (!fits) {
      rect(cv, b);
      cv.clip();
    }
    if (a == 0) {
      cv.translate(pt(b.left), pt(b.top));
    } else {
      cv.translate(pt(b.left) + pt(b.width) / 2, pt(b.top) + pt(b.height) / 2);
      cv.rotate(-a * std::numbers::pi / 1800);  // counter-clockwise on the page
      cv.translate(-pt(fw) / 2, -pt(fh) / 2);
    }
    cv.setColor(t.foreColor);
    cv.showLayout(l, x, y);
    cv.restore();
  }
  border(cv, b, t.border);
}

// Lines of plain Latin text drawn from their glyphs, wrapped and placed as pango places them in a
// layout: wrapped text aligned line by line inside the box's width, unwrapped text aligned inside
// its widest line and placed by the alignment (pango's offsets and its rounding for centring).
// Anything else (a word broken across lines, text taller than its box) is left to the layout.
namespace {
thread_local bool simpleLines = true;
}  // namespace

void setSimpleLines(bool on) {
  simpleLines = on;
}

bool PageRenderer::simpleText(Canvas& cv, const doc::Text& t, std::int32_t fw, std::int32_t fh) {
  const int boxWidth = std::max(1, twipsToPango(fw));
  const SimpleLine* sl =
      simpleLines ? simpleLine(t.text, t.font, line_, t.wordWrap ? boxWidth : 0) : nullptr;
  if (!sl) return false;
  const SimpleLine& ln = *sl;
  const int height = ln.totalHeight;
  if (t.wordWrap && ptFromPango(height) > pt(fh) + 0.5) return false;
  const int layoutWidth = t.wordWrap ? boxWidth : ln.width;
  const auto [left, right] = linesExtent(ln, t.align, layoutWidth);
  const auto [align, valign] = turnedAlignment(0, t.align, t.valign);
  const doc::Rect& b = t.box;
  const double x = t.wordWrap ? 0 : place(pt(fw), ptFromPango(ln.width), hPlace(align));
  const double y = place(pt(fh), ptFromPango(height), vPlace(valign));
  const bool fits = x + ptFromPango(left) >= 0 && y >= 0 && x + ptFromPango(right) <= pt(fw) &&
                    y + ptFromPango(height) <= pt(fh);
  // Most texts fit and need no saved state: the matrix is put back as it was, and the font is
  // left set, so the next text in it does not make cairo look its scaled font up again.
  const cairo_matrix_t matrix = cv.matrix();
  if (!fits) {
    cv.save();
    rect(cv, b);
    cv.clip();
  }
  cv.translate(pt(b.left), pt(b.top));
  cv.setColor(t.foreColor);
  for (std::size_t k = 0; k < ln.lines.size(); ++k)
    if (ln.lines[k].glyphCount > 0)
      cv.showLine(ln, k, x, y, lineOffset(t.align, layoutWidth, ln.lines[k].width));
  if (!fits)
    cv.restore();
  else
    cv.setMatrix(matrix);
  return true;
}

void PageRenderer::richText(Canvas& cv, const doc::RichText& r) {
  const doc::Rect& b = r.box;
  if (b.width <= 0 || b.height <= 0) return;
  if (r.backColor) fillRect(cv, b, *r.backColor);
  cv.save();
  rect(cv, b);
  cv.clip();
  RichLayout rl = richLayout(readRtf(r.rtf), b.width);
  const double limit = pt(b.height);
  cv.setColor(doc::kBlack);
  for (const auto& blk : rl.blocks) {
    if (ptFromPango(blk.y) > limit) break;
    cv.showLayout(blk.layout.get(), pt(b.left) + ptFromPango(blk.x),
                  pt(b.top) + ptFromPango(blk.y));
  }
  cv.restore();
  border(cv, b, r.border);
}

void PageRenderer::checkBox(Canvas& cv, const doc::CheckBox& c) {
  const doc::Rect& b = c.box;
  if (b.width <= 0 || b.height <= 0) return;
  // The platform's box is 13 pixels at 96 dpi.
  const double side = std::min({9.75, pt(b.width), pt(b.height)});
  const double bx =
      pt(b.left) + (c.caption.empty() ? place(pt(b.width), side, hPlace(c.align)) : 0);
  const double gap = 3.0;
  const double room = pt(b.width) - side - gap;
  PangoLayout* l = nullptr;    // captions repeat ("Attending"): laid out once
  bool simpleCaption = false;  // drawn from its glyphs, like a plain text
  const SimpleLine* sl = nullptr;
  double textTop = 0, by = pt(b.top) + (pt(b.height) - side) / 2;
  bool fits = true;
  int captionWidth = 0;
  if (!c.caption.empty() && room > 0) {
    const auto wrap = static_cast<std::int32_t>(room * 20);
    PangoRectangle logical{};
    int firstHeight = 0;
    captionWidth = std::max(1, twipsToPango(wrap));
    if (simpleLines && c.align != doc::HAlign::Justify &&
        (sl = simpleLine(c.caption, c.font, line_, captionWidth)) && sl->lines[0].glyphCount > 0) {
      simpleCaption = true;
      const auto [left, right] = linesExtent(*sl, c.align, captionWidth);
      logical = {left, 0, right - left, sl->totalHeight};
      firstHeight = sl->height;
    } else {
      l = layoutFor(c.caption, c.font, wrap, c.align);
      pango_layout_get_extents(l, nullptr, &logical);
      if (pango_layout_get_line_count(l) > 1) {
        PangoRectangle first;
        pango_layout_line_get_extents(pango_layout_get_line_readonly(l, 0), nullptr, &first);
        firstHeight = first.height;
      }
    }
    textTop = pt(b.top) + place(pt(b.height), ptFromPango(logical.height), 1);
    // A caption that wraps (a box grown to hold it) keeps the square beside its first line.
    const bool wrapped = simpleCaption ? sl->lines.size() > 1 : firstHeight > 0;
    if (wrapped) by = textTop + (ptFromPango(firstHeight) - side) / 2;
    // Room is left at the right for a letter's overhang past its advance.
    const double textLeft = bx + side + gap + ptFromPango(logical.x);
    fits = textLeft >= pt(b.left) && textTop >= pt(b.top) && by >= pt(b.top) &&
           by + side <= pt(b.top + b.height) &&
           textLeft + ptFromPango(logical.width) + 2 <= pt(b.left + b.width) &&
           textTop + ptFromPango(logical.height) <= pt(b.top + b.height);
  }
  cv.save();
  // The square and its tick stay inside the box; only a caption can run past it. A clip costs
  // every sink time (in a PDF, a clipping path per box), so a box whose caption fits has none.
  if (!c.caption.empty() && !fits) {
    rect(cv, b);
    cv.clip();
  }
  const double inset = 0.5;
  cv.rectangle(bx + inset, by + inset, side - 2 * inset, side - 2 * inset);
  // The square is white inside; on paper nothing has been drawn on yet it already is.
  // (The fill's edge pixels reach a pixel past the square's inset path: its side, 10 twips in,
  // and 20 beyond, half a point out in all.)
  const doc::Rect square{static_cast<std::int32_t>(std::floor(bx * 20)) - 10,
                         static_cast<std::int32_t>(std::floor(by * 20)) - 10,
                         static_cast<std::int32_t>(std::ceil(side * 20)) + 20,
                         static_cast<std::int32_t>(std::ceil(side * 20)) + 20};
  if (marked(square)) {
    cv.setColor(doc::kWhite);
    cv.fill(true);
  }
  setStroke(cv, doc::LineStyle::Solid, 1, c.foreColor);
  cv.stroke();
  if (c.checked) {
    cv.setLineWidth(std::max(0.75, side * 0.12));
    cv.setLineJoin(CAIRO_LINE_JOIN_ROUND);
    cv.moveTo(bx + side * 0.22, by + side * 0.52);
    cv.lineTo(bx + side * 0.42, by + side * 0.74);
    cv.lineTo(bx + side * 0.80, by + side * 0.28);
    cv.stroke();
  }
  if (simpleCaption) {
    cv.setColor(c.foreColor);
    for (std::size_t k = 0; k < sl->lines.size(); ++k)
      if (sl->lines[k].glyphCount > 0)
        cv.showLine(*sl, k, bx + side + gap, textTop,
                    lineOffset(c.align, captionWidth, sl->lines[k].width));
  } else if (l) {
    cv.setColor(c.foreColor);
    cv.showLayout(l, bx + side + gap, textTop);
  }
  cv.restore();
}

cairo_surface_t* PageRenderer::surfaceFor(const PictureData& data) {
  auto it = pictures_.find(data.get());
  if (it == pictures_.end())
    it = pictures_.emplace(data.get(), CachedPicture{data, decodePicture(data)}).first;
  return it->second.surface;
}

void PageRenderer::picture(Canvas& cv, const doc::Picture& p) {
  const doc::Rect& b = p.box;
  if (b.width <= 0 || b.height <= 0) return;
  if (cairo_surface_t* s = p.data ? surfaceFor(p.data) : nullptr) {
    const double iw = cairo_image_surface_get_width(s), ih = cairo_image_surface_get_height(s);
    if (iw > 0 && ih > 0) {
      cv.save();
      rect(cv, b);
      cv.clip();
      const double bw = pt(b.width), bh = pt(b.height);
      double sx = 0.75, sy = 0.75;  // pixels at 96 dpi
      double x = 0, y = 0;
      if (p.sizeMode == doc::SizeMode::Stretch) {
        sx = bw / iw;
        sy = bh / ih;
      } else if (p.sizeMode == doc::SizeMode::Zoom) {
        sx = sy = std::min(bw / iw, bh / ih);
        x = (bw - iw * sx) / 2;
        y = (bh - ih * sy) / 2;
      }
      const bool repeat = !usedOnPage_.insert(s).second;
      cv.image(s, pt(b.left) + x, pt(b.top) + y, sx, sy, repeat);
      cv.restore();
    }
  }
  border(cv, b, p.border);
}

}  // namespace galvix::render
