#include "charts/pie_drawing.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <tuple>

#include "runtime/format.h"

namespace galvix::charts {
namespace {

constexpr double kPi = std::numbers::pi;

std::int32_t rnd(double v) {
  return static_cast<std::int32_t>(std::lround(v));
}

doc::Color channelMix(doc::Color a, doc::Color b, double t) {
  doc::Color out = 0;
  for (int shift : {0, 8, 16}) {
    const double ca = (a >> shift) & 0xFF, cb = (b >> shift) & 0xFF;
    out |= static_cast<doc::Color>(std::lround(ca + (cb - ca) * t)) << shift;
  }
  return out;
}
doc::Color lighter(doc::Color c, double t) {
  return channelMix(c, doc::kWhite, t);
}
doc::Color darker(doc::Color c, double t) {
  return channelMix(c, doc::kBlack, t);
}

// Neighbouring slices differ; the colours stay apart in grey print as well as on screen.
constexpr doc::Color kPalette[] = {
    doc::rgb(68, 114, 196), doc::rgb(237, 125, 49),  doc::rgb(112, 173, 71),
    doc::rgb(255, 192, 0),  doc::rgb(112, 48, 160),  doc::rgb(91, 155, 213),
    doc::rgb(192, 80, 77),  doc::rgb(165, 165, 165), doc::rgb(38, 68, 120),
    doc::rgb(158, 72, 14),  doc::rgb(67, 104, 43),   doc::rgb(153, 115, 0),
    doc::rgb(75, 172, 198), doc::rgb(241, 151, 90),  doc::rgb(164, 105, 189),
    doc::rgb(127, 127, 127)};
constexpr std::size_t kColours = std::size(kPalette);

doc::Color sliceColour(std::size_t i, std::size_t count) {
  std::size_t k = i % kColours;
  // The last slice touches the first: never give it the same colour.
  if (count > 1 && i == count - 1 && k == 0) k = kColours / 2;
  return kPalette[k];
}

struct Pt {
  double x = 0, y = 0;
};

// Collects a figure in chart coordinates and turns it into a Path whose points are relative to
// its box.
class Figure {
 public:
  void moveTo(Pt p) { add(doc::PathOp::MoveTo, {p}); }
  void lineTo(Pt p) { add(doc::PathOp::LineTo, {p}); }
  void close() { ops_.push_back(doc::PathOp::Close); }
  // An elliptical arc from parameter t0 to t1 (x = cx + rx cos t, y = cy + ry sin t), starting
  // where the figure stands; cubic pieces of at most a quarter turn.
  void arc(Pt c, double rx, double ry, double t0, double t1) {
    const int n = std::max(1, static_cast<int>(std::ceil(std::abs(t1 - t0) / (kPi / 2) - 1e-9)));
    const double d = (t1 - t0) / n, k = 4.0 / 3.0 * std::tan(d / 4);
    for (int i = 0; i < n; ++i) {
      const double a = t0 + i * d, b = a + d;
      auto at = [&](double u, double v) { return Pt{c.x + rx * u, c.y + ry * v}; };
      add(doc::PathOp::CurveTo, {at(std::cos(a) - k * std::sin(a), std::sin(a) + k * std::cos(a)),
                                 at(std::cos(b) + k * std::sin(b), std::sin(b) - k * std::cos(b)),
                                 at(std::cos(b), std::sin(b))});
    }
  }
  doc::Path path() const {
    doc::Path p;
    if (pts_.empty()) return p;
    double x0 = pts_[0].x, y0 = pts_[0].y, x1 = x0, y1 = y0;
    for (const Pt& q : pts_) {
      x0 = std::min(x0, q.x);
      y0 = std::min(y0, q.y);
      x1 = std::max(x1, q.x);
      y1 = std::max(y1, q.y);
    }
    const auto left = static_cast<std::int32_t>(std::floor(x0));
    const auto top = static_cast<std::int32_t>(std::floor(y0));
    p.box = {left, top, static_cast<std::int32_t>(std::ceil(x1)) - left,
             static_cast<std::int32_t>(std::ceil(y1)) - top};
    p.ops = ops_;
    for (const Pt& q : pts_) p.points.push_back({rnd(q.x - left), rnd(q.y - top)});
    return p;
  }

 private:
  void add(doc::PathOp op, std::initializer_list<Pt> pts) {
    ops_.push_back(op);
    pts_.insert(pts_.end(), pts);
  }
  std::vector<doc::PathOp> ops_;
  std::vector<Pt> pts_;
};

// Measures with the run's measurer, or by a plain estimate when the run has none.
struct Measure {
  engine::TextMeasurer* m;
  engine::TextExtent operator()(const std::string& text, const doc::Font& f,
                                std::int32_t wrap) const {
    if (m) return m->measure(text, f, wrap);
    const double charW = f.size * 11, lineH = f.size * 23;
    const double w = charW * static_cast<double>(text.size());
    const double lines = wrap > 0 ? std::max(1.0, std::ceil(w / wrap)) : 1.0;
    return {rnd(wrap > 0 ? std::min<double>(w, wrap) : w), rnd(lines * lineH)};
  }
};

doc::Font font(double size, bool bold) {
  doc::Font f;
  f.name = "Arial";
  f.size = std::max(5.0, size);
  f.bold = bold;
  return f;
}

doc::Item textItem(std::string s, doc::Rect box, const doc::Font& f, doc::Color colour,
                   doc::HAlign align) {
  doc::Text t;
  t.box = box;
  t.text = std::move(s);
  t.font = f;
  t.foreColor = colour;
  t.align = align;
  doc::Item it;
  it.content = std::move(t);
  return it;
}

doc::Item lineItem(Pt a, Pt b, doc::Color colour) {
  doc::Line l{rnd(a.x), rnd(a.y), rnd(b.x), rnd(b.y), doc::LineStyle::Solid, 1, colour};
  doc::Item it;
  it.content = l;
  return it;
}

doc::Item pathItem(doc::Path p) {
  doc::Item it;
  it.content = std::move(p);
  return it;
}

std::string percentText(double share, int precision) {
  const std::string pattern = precision > 0 ? "0." + std::string(precision, '0') : "0";
  return Format(Variant(share), pattern) + "%";
}

// ---- Legend ----

struct LegendRow {
  std::size_t point;
  std::string name, amount;
  std::int32_t height = 0;
};

struct LegendLayout {
  bool fits = false;
  int columns = 1;
  double fontSize = 9;
  std::int32_t width = 0, height = 0, headingHeight = 0, amountWidth = 0, nameWidth = 0,
               columnWidth = 0, totalHeight = 0;
  std::vector<LegendRow> rows;
  std::size_t rowsPerColumn = 0;
  std::size_t omitted = 0;  // entries left out when even the smallest legend did not fit
};

constexpr std::int32_t kColumnGap = 300, kRowGap = 50, kSwatchGap = 90, kAmountGap = 150;

}  // namespace

std::vector<double> sharesAddingTo100(const std::vector<double>& values, int precision) {
  precision = std::clamp(precision, 0, 3);
  std::vector<double> out(values.size(), 0.0);
  double total = 0;
  for (double v : values)
    if (std::isfinite(v) && v > 0) total += v;
  if (total <= 0) return out;
  const double unit = std::pow(10.0, precision);
  const auto whole = static_cast<long long>(std::llround(100 * unit));
  std::vector<long long> units(values.size(), 0);
  std::vector<std::pair<double, std::size_t>> remainders;
  long long given = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!(std::isfinite(values[i]) && values[i] > 0)) continue;
    const double exact = values[i] / total * 100 * unit;
    units[i] = static_cast<long long>(std::floor(exact));
    given += units[i];
    remainders.emplace_back(exact - std::floor(exact), i);
  }
  // Largest remainders first; equal ones in slice order.
  std::stable_sort(remainders.begin(), remainders.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  for (std::size_t k = 0; given < whole && k < remainders.size(); ++k, ++given)
    ++units[remainders[k].second];
  for (std::size_t i = 0; i < values.size(); ++i) out[i] = static_cast<double>(units[i]) / unit;
  return out;
}

std::vector<doc::Item> PieDrawing::draw(std::int32_t width, std::int32_t height,
                                        engine::TextMeasurer* measurer) const {
  std::vector<doc::Item> items;
  const PieSpec& s = spec_;
  if (width <= 0 || height <= 0) return items;
  const Measure measure{measurer};
  const double W = width, H = height, pad = 60;
  const double adjust = s.fontSize == 1 ? 2 : s.fontSize == 2 ? -1 : 0;
  const doc::Color ink = s.style == 2 ? doc::kWhite : doc::kBlack;
  const doc::Color leaderColour = s.style == 2 ? doc::rgb(200, 200, 200) : doc::rgb(100, 100, 100);
  std::optional<doc::Color> panel;
  if (s.style == 1) panel = doc::rgb(242, 242, 242);
  if (s.style == 2) panel = doc::rgb(48, 48, 56);
  if (panel) {
    doc::Box b;
    b.box = {0, 0, width, height};
    b.fill = panel;
    b.style = doc::LineStyle::Transparent;
    doc::Item it;
    it.content = b;
    items.push_back(std::move(it));
  }

  // Titles on top.
  double y = pad;
  for (auto [text, size, bold] :
       {std::tuple{&s.title, 12.0, s.titleBold}, std::tuple{&s.subtitle, 10.0, s.subtitleBold}}) {
    if (text->empty()) continue;
    const doc::Font f = font(size + adjust, bold);
    const std::int32_t w = rnd(W - 2 * pad);
    const std::int32_t h = measure(*text, f, w).height;
    if (y + h > H - pad) break;
    items.push_back(textItem(*text, {rnd(pad), rnd(y), w, h}, f, ink, doc::HAlign::Center));
    y += h + 60;
  }

  const std::vector<double> shares = sharesAddingTo100(s.values, s.precision);
  double total = 0, positive = 0;
  for (double v : s.values)
    if (std::isfinite(v)) {
      total += v;
      if (v > 0) positive += v;
    }
  const std::size_t n = s.values.size();
  auto caption = [&](std::size_t i) { return i < s.labels.size() ? s.labels[i] : std::string(); };
  auto money = [](double v) { return Format(Variant(v), "Currency"); };

  // ---- Legend: placed first, the pie takes the room it leaves ----
  LegendLayout legend;
  double pieLeft = pad, pieRight = W - pad, pieTop = y, pieBottom = H - pad;
  if (s.legend && n > 0) {
    std::vector<LegendRow> entries;
    for (std::size_t i = 0; i < n; ++i)
      if (s.legendZeroSlices || s.values[i] > 0)
        entries.push_back({i, caption(i), money(s.values[i])});
    const std::string heading = s.seriesHeading ? s.seriesLabel : std::string();
    const double room = H - pad - y;
    const double legendWidth =
        s.legendRight ? std::clamp(W * 0.36, std::min(2400.0, W / 2), W / 2) : W - 2 * pad;
    // The legend may take up to this much of the height, leaving the rest to the pie.
    const double share = s.legendRight ? 1.0 : 0.5;
    auto layout = [&](int columns, double size, std::size_t shown) {
      LegendLayout l;
      l.columns = columns;
      l.fontSize = size;
      l.width = rnd(legendWidth);
      const doc::Font f = font(size, s.labelBold), bold = font(size, true);
      const std::int32_t swatch = rnd(size * 16);
      std::int32_t amountW = measure(money(total), bold, 0).width;
      for (std::size_t k = 0; k < shown; ++k)
        amountW = std::max(amountW, measure(entries[k].amount, f, 0).width);
      l.amountWidth = amountW + 30;
      l.columnWidth = (l.width - (columns - 1) * kColumnGap) / columns;
      l.nameWidth = l.columnWidth - swatch - kSwatchGap - kAmountGap - l.amountWidth;
      if (l.nameWidth < 700) return l;
      l.headingHeight = heading.empty() ? 0 : measure(heading, bold, l.width).height + 60;
      const std::int32_t lineH = measure("Ag", f, 0).height;
      l.rowsPerColumn = (shown + columns - 1) / static_cast<std::size_t>(columns);
      std::int32_t tallest = 0;
      for (std::size_t c = 0; c < static_cast<std::size_t>(columns); ++c) {
        std::int32_t h = 0;
        for (std::size_t k = c * l.rowsPerColumn; k < std::min(shown, (c + 1) * l.rowsPerColumn);
             ++k) {
          LegendRow r = entries[k];
          r.height = std::max(lineH, measure(r.name, f, l.nameWidth).height);
          h += r.height + kRowGap;
          l.rows.push_back(std::move(r));
        }
        tallest = std::max(tallest, h);
      }
      l.omitted = entries.size() - shown;
      l.totalHeight = lineH + 80;
      l.height = l.headingHeight + tallest + l.totalHeight + (l.omitted ? lineH + kRowGap : 0);
      l.fits = l.height <= room * share;
      return l;
    };
    const int maxColumns = s.legendRight ? 1 : legendWidth >= 6000 ? 3 : 1;
    const double base = 9 + adjust;
    bool done = false;
    for (int columns = s.legendRight ? 1 : std::min(2, maxColumns); !done && columns <= maxColumns;
         ++columns)
      for (double size = base; !done && size >= 6; size -= 1) {
        legend = layout(columns, size, entries.size());
        done = legend.fits;
      }
    // Too many to list even small: the first ones, and a line saying how many more there are.
    for (std::size_t shown = entries.size(); !done && shown > 1; --shown) {
      legend = layout(maxColumns, 6, shown - 1);
      done = legend.fits;
    }
    if (!done) legend = {};
    if (legend.fits) {
      if (s.legendRight) {
        pieRight = W - pad - legend.width - 240;
      } else {
        pieBottom = H - pad - legend.height - 120;
      }
    }
  }

  // ---- The pie and its labels ----
  const double areaW = pieRight - pieLeft, roomBottom = pieBottom;
  double areaH = pieBottom - pieTop;
  struct Label {
    std::size_t point;
    std::string text;
    Pt anchor, elbow;
    bool right;
    double wanted, top = 0, w = 0, h = 0;
  };
  std::vector<Label> labels;
  if (areaW > 600 && areaH > 600) {
    const bool labelled = s.sliceLabels == 1 && positive > 0;
    const double labelW = std::clamp(areaW * 0.2, 1100.0, 2200.0), gap = 360;
    double rx = labelled ? (areaW - 2 * (labelW + gap)) / 2 : areaW / 2 - pad;
    const double tilt = s.threeD ? 0.5 : 1.0, rim = s.threeD ? 0.13 : 0.0;
    rx = std::min({rx, areaH * 0.78 / (2 * tilt + rim), 4200.0});
    if (rx >= 200) {
      const double ry = rx * tilt, depth = rx * rim;
      // The pie with room above and below for its labels; the legend follows right under it.
      areaH = std::min(areaH, (2 * ry + depth) * 1.5 + 1400);
      pieBottom = pieTop + areaH;
      const Pt c{pieLeft + areaW / 2, pieTop + (areaH - depth) / 2};
      auto on = [&](double t, double dy = 0) {
        return Pt{c.x + rx * std::cos(t), c.y + ry * std::sin(t) + dy};
      };
      // Slices clockwise from the start angle (twelve o'clock by default).
      const double start = -kPi / 2 + s.startAngle * kPi / 180;
      struct Slice {
        std::size_t point;
        double a0, a1;
      };
      std::vector<Slice> slices;
      double at = start;
      for (std::size_t i = 0; i < n; ++i) {
        if (!(std::isfinite(s.values[i]) && s.values[i] > 0)) continue;
        const double sweep = 2 * kPi * s.values[i] / positive;
        slices.push_back({i, at, at + sweep});
        at += sweep;
      }
      const doc::Color edge = panel ? *panel : doc::kWhite;
      auto fillPath = [&](const Figure& f, doc::Color base, doc::Color to, doc::Color outline) {
        doc::Path p = f.path();
        p.fill = base;
        if (s.gradient) p.fillTo = to;
        if (s.outlines) p.style = doc::LineStyle::Solid;
        p.lineColor = outline;
        items.push_back(pathItem(std::move(p)));
      };
      // The rim first: the front half of each slice's edge, which the tops then meet.
      auto wall = [&](double a0, double a1, doc::Color colour) {
        for (int k = -1; k <= 2; ++k) {
          const double f0 = std::max(a0, 2 * kPi * k), f1 = std::min(a1, 2 * kPi * k + kPi);
          if (f1 - f0 < 1e-6) continue;
          Figure f;
          f.moveTo(on(f0));
          f.arc(c, rx, ry, f0, f1);
          f.lineTo(on(f1, depth));
          f.arc({c.x, c.y + depth}, rx, ry, f1, f0);
          f.close();
          fillPath(f, darker(colour, 0.25), darker(colour, 0.45), darker(colour, 0.5));
        }
      };
      if (slices.empty()) {
        // Nothing to share out: an empty dish.
        const doc::Color grey = doc::rgb(215, 215, 215);
        if (depth > 0) wall(0, kPi, grey);
        Figure f;
        f.moveTo(on(0));
        f.arc(c, rx, ry, 0, 2 * kPi);
        f.close();
        doc::Path p = f.path();
        p.fill = doc::rgb(238, 238, 238);
        p.style = doc::LineStyle::Solid;
        p.lineColor = doc::rgb(160, 160, 160);
        items.push_back(pathItem(std::move(p)));
      } else {
        if (depth > 0)
          for (const Slice& sl : slices) wall(sl.a0, sl.a1, sliceColour(sl.point, n));
        for (const Slice& sl : slices) {
          const doc::Color colour = sliceColour(sl.point, n);
          Figure f;
          if (sl.a1 - sl.a0 >= 2 * kPi - 1e-9) {
            f.moveTo(on(sl.a0));
          } else {
            f.moveTo(c);
            f.lineTo(on(sl.a0));
          }
          f.arc(c, rx, ry, sl.a0, sl.a1);
          f.close();
          fillPath(f, s.gradient ? lighter(colour, 0.35) : colour, colour, edge);
        }
      }

      // Labels beside the pie, each joined to its slice by a leader line.
      if (labelled) {
        for (const Slice& sl : slices) {
          std::string text;
          const std::string pct = percentText(shares[sl.point], s.precision);
          if (s.percentages == 2)
            text = pct;
          else if (s.percentages == 1)
            text = caption(sl.point).empty() ? pct : caption(sl.point) + " (" + pct + ")";
          else
            text = caption(sl.point);
          if (text.empty()) continue;
          const double mid = (sl.a0 + sl.a1) / 2;
          const double cs = std::cos(mid), sn = std::sin(mid);
          Label l;
          l.point = sl.point;
          l.text = std::move(text);
          l.anchor = on(mid, sn > 0 ? depth * 0.6 : 0);
          // Out of the pie along the slice's middle first, so no leader crosses another slice.
          l.elbow = {c.x + (rx + 150) * cs, c.y + (ry + 150) * sn + (sn > 0 ? depth : 0)};
          l.right = cs >= 0;
          l.wanted = l.elbow.y + sn * 200;
          labels.push_back(std::move(l));
        }
        // Each side is a column of labels kept in slice order from top to bottom; when they do
        // not fit, the text gets smaller, then the smallest slices lose their label (the legend
        // still names them).
        // Many labels may use all the height the legend leaves before they get smaller.
        const double top = pieTop;
        double bottom = pieBottom, size = 8 + adjust;
        auto place = [&](std::vector<Label*>& side) {
          std::sort(side.begin(), side.end(),
                    [](const Label* a, const Label* b) { return a->wanted < b->wanted; });
          const doc::Font f = font(size, s.labelBold);
          double used = 0;
          for (Label* l : side) {
            const auto e = measure(l->text, f, rnd(labelW));
            l->w = std::min<double>(e.width, labelW) + 30;
            l->h = e.height;
            l->top = l->wanted - l->h / 2;
            used += l->h + 30;
          }
          if (!s.spreadLabels) {
            for (Label* l : side) l->top = std::clamp(l->top, top, std::max(top, bottom - l->h));
            return true;
          }
          if (used > bottom - top) return false;
          double floor = top;
          for (Label* l : side) {
            l->top = std::max(l->top, floor);
            floor = l->top + l->h + 30;
          }
          double ceiling = bottom;
          for (auto it = side.rbegin(); it != side.rend(); ++it) {
            (*it)->top = std::min((*it)->top, ceiling - (*it)->h);
            ceiling = (*it)->top - 30;
          }
          return true;
        };
        for (;;) {
          std::vector<Label*> left, right;
          for (Label& l : labels) (l.right ? right : left).push_back(&l);
          if (place(left) && place(right)) break;
          if (bottom < roomBottom) {
            bottom = roomBottom;
            continue;
          }
          if (size > 6) {
            size -= 1;
            continue;
          }
          // Drop the smallest slice's label and try again.
          auto smallest = std::min_element(labels.begin(), labels.end(), [&](auto& a, auto& b) {
            return s.values[a.point] < s.values[b.point];
          });
          labels.erase(smallest);
        }
        const doc::Font f = font(size, s.labelBold);
        for (const Label& l : labels) pieBottom = std::max(pieBottom, l.top + l.h);
        for (Label& l : labels) {
          const double edgeX = l.right ? c.x + rx + gap : c.x - rx - gap;
          const double y = l.top + l.h / 2;
          const double dir = l.right ? 1 : -1;
          const Pt knee{c.x + dir * (rx + gap * 0.45), y};
          items.push_back(lineItem(l.anchor, l.elbow, leaderColour));
          items.push_back(lineItem(l.elbow, knee, leaderColour));
          items.push_back(lineItem(knee, {edgeX - dir * 40, y}, leaderColour));
          const doc::Rect box{rnd(l.right ? edgeX : edgeX - l.w), rnd(l.top), rnd(l.w), rnd(l.h)};
          items.push_back(
              textItem(l.text, box, f, ink, l.right ? doc::HAlign::Left : doc::HAlign::Right));
        }
      }
    }
  }

  // ---- Legend items ----
  if (legend.fits) {
    const double lx = s.legendRight ? W - pad - legend.width : pad;
    const double ly = s.legendRight ? pieTop : std::min(pieBottom + 120, H - pad - legend.height);
    const doc::Font f = font(legend.fontSize, s.labelBold), bold = font(legend.fontSize, true);
    const std::int32_t swatch = rnd(legend.fontSize * 16);
    if (legend.headingHeight > 0)
      items.push_back(textItem(s.seriesLabel,
                               {rnd(lx), rnd(ly), legend.width, legend.headingHeight - 60}, bold,
                               ink, doc::HAlign::Left));
    const double rowsTop = ly + legend.headingHeight;
    double bottom = rowsTop, yy = rowsTop;
    auto row = [&](double x, double yy, const std::string& name, const std::string& amount,
                   std::int32_t h, const doc::Font& font) {
      const double nameX = x + swatch + kSwatchGap;
      items.push_back(
          textItem(name, {rnd(nameX), rnd(yy), legend.nameWidth, h}, font, ink, doc::HAlign::Left));
      items.push_back(textItem(
          amount, {rnd(nameX + legend.nameWidth + kAmountGap), rnd(yy), legend.amountWidth, h},
          font, ink, doc::HAlign::Right));
    };
    for (std::size_t k = 0; k < legend.rows.size(); ++k) {
      const std::size_t column = legend.rowsPerColumn ? k / legend.rowsPerColumn : 0;
      const double x = lx + static_cast<double>(column) * (legend.columnWidth + kColumnGap);
      if (k % std::max<std::size_t>(1, legend.rowsPerColumn) == 0) yy = rowsTop;
      const LegendRow& r = legend.rows[k];
      doc::Box b;
      b.box = {rnd(x), rnd(yy + 20), swatch, swatch};
      b.fill = sliceColour(r.point, n);
      b.lineColor = darker(sliceColour(r.point, n), 0.4);
      doc::Item it;
      it.content = b;
      items.push_back(std::move(it));
      row(x, yy, r.name, r.amount, r.height, f);
      yy += r.height + kRowGap;
      bottom = std::max(bottom, yy);
    }
    const std::int32_t lineH = legend.totalHeight - 80;
    if (legend.omitted) {
      items.push_back(
          textItem("(" + std::to_string(legend.omitted) + " more not listed)",
                   {rnd(lx + swatch + kSwatchGap), rnd(bottom), legend.nameWidth, lineH}, f, ink,
                   doc::HAlign::Left));
      bottom += lineH + kRowGap;
    }
    // The total under the last column, its amount under theirs.
    const double tx =
        lx + static_cast<double>(legend.columns - 1) * (legend.columnWidth + kColumnGap);
    items.push_back(lineItem({tx + swatch + kSwatchGap, bottom + 20},
                             {tx + legend.columnWidth, bottom + 20}, leaderColour));
    row(tx, bottom + 60, "Total", money(total), lineH, bold);
  }
  return items;
}

}  // namespace galvix::charts
