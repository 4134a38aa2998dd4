#include "render/simple_line.h"

#include <hb.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "render/fonts.h"
#include "render/text_layout.h"

namespace galvix::render {

namespace {

// What pango's itemizer makes of a run of this font: its language (shaping and break rules
// follow it) and the line breaker's safety margin, three of the font's average characters.
struct RunInfo {
  hb_language_t language = nullptr;
  int safe = 0;
  hb_shape_plan_t* plan = nullptr;  // HarfBuzz's plan for such a run, made once
};

// What a line in one font needs: the font pango picks for it, which printable ASCII letters
// that font has (pango takes a letter the font lacks from another font), the height and
// baseline of a line in it (the same for every line of letters the font has), and the height of
// a blank line (pango takes it from the font's metrics, not from a glyph).
struct FontInfo {
  PangoFont* font = nullptr;
  RunInfo latin, common;  // a run holding a letter; one of digits and signs alone
  hb_font_t* hb = nullptr;
  std::array<std::int8_t, 0x250> has{};  // per letter: 0 not yet known, 1 has it, -1 lacks it
  int height = 0, baseline = 0, blankHeight = 0;
};

struct FontCache {
  using Key = std::tuple<std::string, double, bool, bool>;
  std::map<Key, FontInfo> fonts;
  hb_buffer_t* buffer = hb_buffer_create();
  // Short texts shaped before, per font and width (dates, times, captions, numbers repeat on
  // every page), and whether they were plain at all. Emptied when full.
  static constexpr std::size_t kShapedTexts = 8192, kShapedLength = 128;
  std::unordered_map<std::string, std::optional<SimpleLine>> shaped;
  // Most texts (names, addresses) come once: a text is kept only when it comes a second time,
  // as told by this table of the keys' hashes seen (a slot forgets when another key takes it).
  static constexpr std::size_t kSeenSlots = 16384;
  std::vector<std::size_t> seen = std::vector<std::size_t>(kSeenSlots);
  std::string key;
  // Where measuring broke wrapped texts into lines, per font and width, for drawing them: one
  // per text, until emptied when full (a text is measured when its page is made and drawn when
  // the document is written).
  struct Break {
    std::size_t offset, length;
    bool collapsed;
  };
  static constexpr std::size_t kBreaks = 65536;
  std::unordered_map<std::string, std::vector<Break>> breaks;
  std::string breakKey;
  FontInfo* last = nullptr;  // the font asked for last
  doc::Font lastFont;
  ~FontCache() {
    for (auto& [k, f] : fonts) {
      if (f.font) g_object_unref(f.font);
      for (hb_shape_plan_t* p : {f.latin.plan, f.common.plan})
        if (p) hb_shape_plan_destroy(p);
    }
    hb_buffer_destroy(buffer);
  }
};

// Per thread, like the pango context the fonts come from (made first, so it outlives them).
FontCache& cache() {
  (void)pangoContext();
  thread_local FontCache c;
  return c;
}

RunInfo runInfo(const doc::Font& font, const char* sample) {
  RunInfo r;
  LayoutPtr l = textLayout(sample, font, 0, doc::HAlign::Left);
  PangoLayoutLine* line = pango_layout_get_line_readonly(l.get(), 0);
  if (!line || !line->runs) return r;
  const PangoItem* item = static_cast<PangoGlyphItem*>(line->runs->data)->item;
  r.language = hb_language_from_string(pango_language_to_string(item->analysis.language), -1);
  PangoFontMetrics* m = pango_font_get_metrics(item->analysis.font, item->analysis.language);
  r.safe = pango_font_metrics_get_approximate_char_width(m) * 3;
  pango_font_metrics_unref(m);
  return r;
}

FontInfo& fontInfo(FontCache& c, const doc::Font& font) {
  // Texts come in runs of one font.
  if (c.last && c.lastFont.size == font.size && c.lastFont.bold == font.bold &&
      c.lastFont.italic == font.italic && c.lastFont.name == font.name)
    return *c.last;
  c.lastFont = font;
  FontCache::Key key{font.name, font.size, font.bold, font.italic};
  auto it = c.fonts.find(key);
  if (it != c.fonts.end()) return *(c.last = &it->second);
  FontInfo info;
  info.font = pango_context_load_font(pangoContext(), fontDescription(font));
  if (info.font) {
    info.hb = pango_font_get_hb_font(info.font);
    doc::Font plain = font;
    plain.underline = plain.strikeout = false;
    LayoutPtr l = textLayout("X", plain, 0, doc::HAlign::Left);
    PangoRectangle logical;
    pango_layout_get_extents(l.get(), nullptr, &logical);
    info.height = logical.height;
    info.baseline = pango_layout_get_baseline(l.get());
    LayoutPtr blank = textLayout("X\n", plain, 0, doc::HAlign::Left);
    pango_layout_get_extents(blank.get(), nullptr, &logical);
    info.blankHeight = logical.height - info.height;
    info.latin = runInfo(plain, "a");
    info.common = runInfo(plain, "1");
  }
  return *(c.last = &c.fonts.emplace(std::move(key), info).first->second);
}

}  // namespace

namespace {

// One shaping of bytes [from, to) of `all` (the rest is the shaper's context), as pango sets up
// a run: left to right, Latin when the text holds a letter, in the run's language.
struct Shaper {
  hb_buffer_t* b;
  hb_font_t* font;
  RunInfo& run;
  hb_script_t script;
  const std::string& all;
  bool linesOnly;
  // What the buffer holds: the last range shaped.
  mutable std::size_t shapedFrom = 1, shapedTo = 0;

  unsigned shape(std::size_t from, std::size_t to) const {
    if (from == shapedFrom && to == shapedTo) return hb_buffer_get_length(b);
    shapedFrom = from;
    shapedTo = to;
    hb_buffer_clear_contents(b);
    hb_buffer_set_direction(b, HB_DIRECTION_LTR);
    hb_buffer_set_script(b, script);
    hb_buffer_set_language(b, run.language);
    hb_buffer_set_cluster_level(b, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_CHARACTERS);
    hb_buffer_set_flags(b, static_cast<hb_buffer_flags_t>(HB_BUFFER_FLAG_BOT | HB_BUFFER_FLAG_EOT));
    hb_buffer_set_invisible_glyph(b, PANGO_GLYPH_EMPTY);
    hb_buffer_add_utf8(b, all.data(), static_cast<int>(all.size()), static_cast<unsigned>(from),
                       static_cast<int>(to - from));
    // hb_shape() would look the plan up in the face's list each time.
    if (!run.plan) {
      hb_segment_properties_t props;
      hb_buffer_get_segment_properties(b, &props);
      unsigned coords = 0;
      const int* normalized = hb_font_get_var_coords_normalized(font, &coords);
      run.plan = hb_shape_plan_create_cached2(hb_font_get_face(font), &props, nullptr, 0,
                                              normalized, coords, nullptr);
    }
    hb_shape_plan_execute(run.plan, font, b, nullptr, 0);
    return hb_buffer_get_length(b);
  }

  // A glyph's advance as pango keeps it (a negative one turned round).
  static int advance(const hb_glyph_position_t& p) { return std::abs(p.x_advance); }

  int width(std::size_t from, std::size_t to) const {
    const unsigned n = shape(from, to);
    const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(b, nullptr);
    int w = 0;
    for (unsigned i = 0; i < n; ++i) w += advance(pos[i]);
    return w;
  }

  // Shapes [from, to) and adds it to `line` as one line; a line the breaker wrapped after a
  // space loses that space's width and glyph, as pango collapses it.
  bool addLine(SimpleLine& line, std::size_t from, std::size_t to, bool collapseFinalSpace) const {
    if (linesOnly) {  // the lines' places, not their glyphs
      SimpleLine::Line ln{line.glyphs.size(), 0, line.clusters.size(), 0, from, to - from, 0};
      ln.collapsed = collapseFinalSpace;
      ln.top = line.totalHeight;
      line.totalHeight += line.height;
      line.lines.push_back(ln);
      return true;
    }
    const unsigned n = shape(from, to);
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(b, nullptr);
    hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(b, nullptr);
    if (n == 0) return false;
    bool collapse = collapseFinalSpace && (n < 2 || info[n - 1].cluster != info[n - 2].cluster);
    SimpleLine::Line ln{line.glyphs.size(), n, line.clusters.size(), 0, from, to - from, 0};
    ln.top = line.totalHeight;
    line.totalHeight += line.height;
    int x = 0;
    for (unsigned i = 0; i < n; ++i) {
      int width = pos[i].x_advance, xOffset = pos[i].x_offset;
      if (width < 0) {  // as pango turns a negative advance round
        width = -width;
        xOffset += width;
      }
      hb_codepoint_t glyph = info[i].codepoint;
      if (collapse && i == n - 1) {
        width = 0;
        glyph = PANGO_GLYPH_EMPTY;
      }
      line.glyphs.push_back(glyph);
      line.x.push_back(x + xOffset);
      line.y.push_back(-pos[i].y_offset);
      x += width;
      // Clusters in glyph order: the bytes up to the next cluster's start, the glyphs drawn.
      if (i == 0 || info[i].cluster != info[i - 1].cluster) {
        unsigned next = i + 1;
        while (next < n && info[next].cluster == info[i].cluster) ++next;
        const unsigned end = next < n ? info[next].cluster : static_cast<unsigned>(to);
        line.clusters.push_back({static_cast<int>(end - info[i].cluster), 0});
        ++ln.clusterCount;
      }
      if (glyph != PANGO_GLYPH_EMPTY) ++line.clusters.back().num_glyphs;
    }
    ln.width = x;
    line.width = std::max(line.width, x);
    line.lines.push_back(ln);
    return true;
  }
};

// Breaks the paragraph [from, to) of `all` into lines `wrap` pango units wide the way pango's
// line breaker does for a paragraph of one run: it shapes the paragraph once, takes each
// character's share of its cluster's width as its width, accepts break positions well inside
// the line on those widths and shapes the candidates near the edge to decide. False where the
// breaker would have to break inside a word (or insert a hyphen): pango must lay that out.
bool wrapParagraph(const Shaper& shaper, SimpleLine& line, std::size_t from, std::size_t to,
                   bool lastParagraph, int wrap, int safe) {
  const std::string& all = shaper.all;
  // A paragraph that fits needs no more than its shaping. Its end is a break only at the end of
  // the text (never before a line end), where a final space does not count.
  const int whole = shaper.width(from, to);
  const char* last = g_utf8_find_prev_char(all.data() + from, all.data() + to);
  const bool endsWhite = last && g_unichar_isspace(g_utf8_get_char(last));
  const bool single = g_utf8_next_char(all.data() + from) == all.data() + to;
  const int finalSpace = lastParagraph && endsWhite
                             ? Shaper::advance(hb_buffer_get_glyph_positions(
                                   shaper.b, nullptr)[hb_buffer_get_length(shaper.b) - 1])
                             : 0;
  if (whole - finalSpace <= wrap || single) return shaper.addLine(line, from, to, false);

  // Characters, their byte offsets, and pango's break attributes for the paragraph (computed, as
  // a layout does, over the paragraph and its line end).
  thread_local std::vector<std::size_t> at;
  thread_local std::vector<PangoLogAttr> attrs;
  thread_local std::vector<int> widths;
  at.clear();
  for (std::size_t i = from; i < to;
       i = static_cast<std::size_t>(g_utf8_next_char(all.data() + i) - all.data()))
    at.push_back(i);
  const std::size_t n = at.size();
  at.push_back(to);
  const std::size_t attrLength = lastParagraph ? to - from : to - from + 1;
  attrs.assign(n + (lastParagraph ? 1 : 2), PangoLogAttr{});
  pango_get_log_attrs(all.data() + from, static_cast<int>(attrLength), 0,
                      pango_language_from_string(hb_language_to_string(shaper.run.language)),
                      attrs.data(), static_cast<int>(attrs.size()));
  auto canBreak = [&](std::size_t k) {
    return k == n ? (lastParagraph || attrs[k].is_line_break) : attrs[k].is_line_break != 0;
  };

  // The whole paragraph shaped once: its width and each character's share.
  const unsigned glyphCount = shaper.shape(from, to);
  const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(shaper.b, nullptr);
  const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(shaper.b, nullptr);
  widths.assign(n, 0);
  for (unsigned g = 0, c = 0; g < glyphCount;) {
    unsigned next = g;
    int w = 0;
    while (next < glyphCount && info[next].cluster == info[g].cluster)
      w += Shaper::advance(pos[next++]);
    const std::size_t end = next < glyphCount ? info[next].cluster : to;
    while (c < n && at[c] < info[g].cluster) ++c;
    const std::size_t first = c;
    while (c < n && at[c] < end) ++c;
    const int chars = static_cast<int>(c - first);
    if (chars > 0) {
      for (std::size_t k = first; k < c; ++k) widths[k] = w / chars;
      widths[first] += w - (w / chars) * chars;
    }
    g = next;
  }

  auto extraAt = [&](std::size_t k, std::size_t s) {
    // A break after a space does not count the space; one inside a word needs a hyphen.
    if (attrs[k].break_inserts_hyphen || attrs[k].break_removes_preceding) return 1;
    if (k > s && attrs[k - 1].is_white) return -widths[k - 1];
    return 0;
  };

  bool firstLine = true;
  for (std::size_t s = 0; s < n;) {
    const std::size_t m = n - s;
    int width = 0;
    if (firstLine) {
      width = whole;
    } else {
      for (std::size_t k = s; k < n; ++k) width += widths[k];
    }
    int extra = 0;
    if (canBreak(n)) {
      if (attrs[n].break_inserts_hyphen || attrs[n].break_removes_preceding) return false;
      extra = n > s && attrs[n - 1].is_white ? -widths[n - 1] : 0;
    }
    if (width + extra <= wrap || m == 1) {
      // Counting lines, a rest that fits by more than the breaker's margin needs no shaping to
      // be sure (shaped alone it differs from its share of the paragraph by a kerning at most).
      if (shaper.linesOnly && width + extra <= wrap - safe)
        return shaper.addLine(line, at[s], to, false);
      const int exact = firstLine ? whole : shaper.width(at[s], to);
      if (exact + extra <= wrap || m == 1) return shaper.addLine(line, at[s], to, false);
    }
    // Look for a break: candidates well inside the line are taken on the characters' widths,
    // those near its end are shaped.
    std::size_t breakAt = m;
    int breakWidth = width, breakExtra = extra;
    int w = 0;
    for (std::size_t k = 0; k <= m; ++k) {
      const int ex = extraAt(s + k, s);
      if (std::min(w + ex, w) > wrap + safe && breakAt < m) break;
      if (k > 0 && canBreak(s + k)) {
        if (ex > 0) return false;  // a hyphen would go in
        if (w + ex < wrap - safe) {
          breakAt = k;
          breakWidth = w;
          breakExtra = ex;
        } else {
          const int shaped = shaper.width(at[s], at[s + k]);
          const int shapedExtra = k < m && attrs[s + k - 1].is_white ? -widths[s + k - 1] : 0;
          if (breakAt == m || shaped + shapedExtra <= wrap ||
              shaped + shapedExtra < breakWidth + breakExtra) {
            breakAt = k;
            breakWidth = shaped;
            breakExtra = shapedExtra;
          }
        }
      }
      if (k < m) w += widths[s + k];
    }
    // Nothing fits: pango breaks inside a word.
    if (breakWidth + breakExtra > wrap) return false;
    if (breakAt == m) return shaper.addLine(line, at[s], to, false);
    if (!shaper.addLine(line, at[s], at[s + breakAt], attrs[s + breakAt - 1].is_white != 0))
      return false;
    s += breakAt;
    firstLine = false;
  }
  return true;
}

}  // namespace

namespace {

bool shapeText(FontCache& c, FontInfo& f, std::string_view text, SimpleLine& line, int wrap,
               bool linesOnly) {
  line.text.clear();
  line.lines.clear();
  bool letter = false;
  const char* p = text.data();
  const char* const end = text.data() + text.size();
  while (p < end) {
    const gunichar u = g_utf8_get_char_validated(p, end - p);
    if (u == static_cast<gunichar>(-1) || u == static_cast<gunichar>(-2)) return false;
    const char* next = g_utf8_next_char(p);
    if (u == '\r' || u == '\n') {
      if (u == '\r' && next < end && *next == '\n') ++next;
      line.text += '\n';
      p = next;
      continue;
    }
    if (!quickLetter(u)) return false;
    std::int8_t& has = f.has[u];
    if (has == 0) {
      hb_codepoint_t g = 0;
      has = hb_font_get_nominal_glyph(f.hb, u, &g) ? 1 : -1;
    }
    if (has < 0) return false;
    letter = letter || g_unichar_get_script(u) == G_UNICODE_SCRIPT_LATIN;
    line.text.append(p, next);
    p = next;
  }
  if (wrap > 0 && hasLongRun(line.text)) return false;
  RunInfo& run = letter ? f.latin : f.common;
  line.font = f.font;
  line.height = f.height;
  line.baseline = f.baseline;
  line.totalHeight = 0;
  line.width = 0;
  line.glyphs.clear();
  line.x.clear();
  line.y.clear();
  line.clusters.clear();
  // Each line is its own paragraph to pango, shaped with the whole text as context.
  const Shaper shaper{c.buffer,  f.hb,     run, letter ? HB_SCRIPT_LATIN : HB_SCRIPT_COMMON,
                      line.text, linesOnly};
  auto blank = [&](std::size_t at) {
    SimpleLine::Line ln{line.glyphs.size(), 0, line.clusters.size(), 0, at, 0, 0};
    ln.top = line.totalHeight;
    line.totalHeight += f.blankHeight;
    line.lines.push_back(ln);
  };
  // A wrapped text measured before is drawn from the lines measuring found: each shaped once.
  std::string* key = nullptr;
  if (wrap > 0) {
    const FontInfo* id = &f;
    c.breakKey.assign(reinterpret_cast<const char*>(&id), sizeof id);
    c.breakKey.append(reinterpret_cast<const char*>(&wrap), sizeof wrap);
    c.breakKey.append(text);
    key = &c.breakKey;
    if (!linesOnly)
      if (auto it = c.breaks.find(*key); it != c.breaks.end()) {
        for (const FontCache::Break& b : it->second)
          if (b.length == 0)
            blank(b.offset);
          else if (!shaper.addLine(line, b.offset, b.offset + b.length, b.collapsed))
            return false;
        return true;
      }
  }
  const std::string& all = line.text;
  std::size_t paragraphs = 0;
  for (std::size_t from = 0; from <= all.size(); ++paragraphs) {
    std::size_t to = all.find('\n', from);
    if (to == std::string::npos) to = all.size();
    if (to == from) {  // a blank line
      blank(from);
      from = to + 1;
      continue;
    }
    if (wrap > 0) {
      if (!wrapParagraph(shaper, line, from, to, to == all.size(), wrap, run.safe)) return false;
    } else if (!shaper.addLine(line, from, to, false)) {
      return false;
    }
    from = to + 1;
  }
  if (key && linesOnly && line.lines.size() > paragraphs) {
    if (c.breaks.size() >= FontCache::kBreaks) c.breaks.clear();
    std::vector<FontCache::Break> found;
    found.reserve(line.lines.size());
    for (const auto& ln : line.lines) found.push_back({ln.offset, ln.length, ln.collapsed});
    c.breaks.emplace(*key, std::move(found));
  }
  return true;
}

}  // namespace

const SimpleLine* simpleLine(std::string_view text, const doc::Font& font, SimpleLine& scratch,
                             int wrap, bool linesOnly) {
  if (text.empty() || text.size() > 4096 || font.underline || font.strikeout) return nullptr;
  FontCache& c = cache();
  FontInfo& f = fontInfo(c, font);
  if (!f.hb || !f.latin.language || !f.common.language) return nullptr;
  if (text.size() > FontCache::kShapedLength)
    return shapeText(c, f, text, scratch, wrap, linesOnly) ? &scratch : nullptr;
  const FontInfo* id = &f;
  c.key.assign(reinterpret_cast<const char*>(&id), sizeof id);
  c.key.append(reinterpret_cast<const char*>(&wrap), sizeof wrap);
  c.key += linesOnly ? 'l' : 'g';
  c.key.append(text);
  if (auto it = c.shaped.find(c.key); it != c.shaped.end())
    return it->second ? &*it->second : nullptr;
  const bool plain = shapeText(c, f, text, scratch, wrap, linesOnly);
  const std::size_t hash = c.shaped.hash_function()(c.key);
  if (std::size_t& slot = c.seen[hash % FontCache::kSeenSlots]; slot != hash) {
    slot = hash;
    return plain ? &scratch : nullptr;
  }
  if (c.shaped.size() >= FontCache::kShapedTexts) c.shaped.clear();
  auto& kept = c.shaped.emplace(c.key, std::nullopt).first->second;
  if (!plain) return nullptr;
  kept = std::move(scratch);
  return &*kept;
}

bool shapeSimpleLine(std::string_view text, const doc::Font& font, SimpleLine& line, int wrap,
                     bool linesOnly) {
  const SimpleLine* found = simpleLine(text, font, line, wrap, linesOnly);
  if (found && found != &line) line = *found;
  return found != nullptr;
}

void drawSimpleLine(cairo_t* cr, const SimpleLine& line, std::size_t k, double x, double y,
                    int lineX) {
  const SimpleLine::Line& ln = line.lines[k];
  // The origin goes through cairo's current point, as pango takes it from there (which rounds it
  // to cairo's fixed-point grid).
  cairo_move_to(cr, x, y);
  cairo_get_current_point(cr, &x, &y);
  cairo_set_scaled_font(cr, pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(line.font)));
  const double baseX = x + static_cast<double>(lineX) / PANGO_SCALE;
  const double baseY = y + static_cast<double>(ln.top + line.baseline) / PANGO_SCALE;
  thread_local std::vector<cairo_glyph_t> glyphs;
  glyphs.clear();
  for (std::size_t i = ln.firstGlyph; i < ln.firstGlyph + ln.glyphCount; ++i) {
    if (line.glyphs[i] == PANGO_GLYPH_EMPTY) continue;
    glyphs.push_back(
        {line.glyphs[i], baseX + static_cast<double>(line.x[i]) / PANGO_SCALE,
         line.y[i] == 0 ? baseY : baseY + static_cast<double>(line.y[i]) / PANGO_SCALE});
  }
  if (cairo_surface_has_show_text_glyphs(cairo_get_target(cr)))
    cairo_show_text_glyphs(
        cr, line.text.data() + ln.offset, static_cast<int>(ln.length), glyphs.data(),
        static_cast<int>(glyphs.size()), line.clusters.data() + ln.firstCluster,
        static_cast<int>(ln.clusterCount), static_cast<cairo_text_cluster_flags_t>(0));
  else
    cairo_show_glyphs(cr, glyphs.data(), static_cast<int>(glyphs.size()));
}

}  // namespace galvix::render
