#include "render/simple_line.h"

#include <hb.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <tuple>

#include "render/fonts.h"
#include "render/text_layout.h"

namespace galvix::render {

namespace {

// What a line in one font needs: the font pango picks for it, which printable ASCII letters
// that font has (pango takes a letter the font lacks from another font), and the height and
// baseline of a line in it (the same for every line of letters the font has).
struct FontInfo {
  PangoFont* font = nullptr;
  hb_font_t* hb = nullptr;
  std::array<std::int8_t, 0x250> has{};  // per letter: 0 not yet known, 1 has it, -1 lacks it
  int height = 0, baseline = 0;
};

struct FontCache {
  using Key = std::tuple<std::string, double, bool, bool>;
  std::map<Key, FontInfo> fonts;
  hb_buffer_t* buffer = hb_buffer_create();
  ~FontCache() {
    for (auto& [k, f] : fonts)
      if (f.font) g_object_unref(f.font);
    hb_buffer_destroy(buffer);
  }
};

// Per thread, like the pango context the fonts come from (made first, so it outlives them).
FontCache& cache() {
  (void)pangoContext();
  thread_local FontCache c;
  return c;
}

FontInfo& fontInfo(FontCache& c, const doc::Font& font) {
  FontCache::Key key{font.name, font.size, font.bold, font.italic};
  auto it = c.fonts.find(key);
  if (it != c.fonts.end()) return it->second;
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
  }
  return c.fonts.emplace(std::move(key), info).first->second;
}

}  // namespace

bool shapeSimpleLine(std::string_view text, const doc::Font& font, SimpleLine& line) {
  if (text.empty() || text.size() > 4096 || font.underline || font.strikeout) return false;
  FontCache& c = cache();
  FontInfo& f = fontInfo(c, font);
  if (!f.hb) return false;
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
  line.font = f.font;
  line.height = f.height;
  line.baseline = f.baseline;
  line.width = 0;
  line.glyphs.clear();
  line.x.clear();
  line.y.clear();
  line.clusters.clear();
  // Each line is its own paragraph to pango, shaped as its shaper sets up a run: left to right,
  // Latin when the text holds a letter (digits and punctuation alone are common script), in the
  // context's language, with the whole text as context.
  const hb_language_t language = hb_language_from_string(
      pango_language_to_string(pango_context_get_language(pangoContext())), -1);
  const std::string& all = line.text;
  for (std::size_t from = 0; from <= all.size();) {
    std::size_t to = all.find('\n', from);
    if (to == std::string::npos) to = all.size();
    if (to == from) return false;  // a blank line: its height is pango's to say
    hb_buffer_t* b = c.buffer;
    hb_buffer_clear_contents(b);
    hb_buffer_set_direction(b, HB_DIRECTION_LTR);
    hb_buffer_set_script(b, letter ? HB_SCRIPT_LATIN : HB_SCRIPT_COMMON);
    hb_buffer_set_language(b, language);
    hb_buffer_set_cluster_level(b, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_CHARACTERS);
    hb_buffer_set_flags(b, static_cast<hb_buffer_flags_t>(HB_BUFFER_FLAG_BOT | HB_BUFFER_FLAG_EOT));
    hb_buffer_set_invisible_glyph(b, PANGO_GLYPH_EMPTY);
    hb_buffer_add_utf8(b, all.data(), static_cast<int>(all.size()), static_cast<unsigned>(from),
                       static_cast<int>(to - from));
    hb_shape(f.hb, b, nullptr, 0);
    unsigned n = 0;
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(b, &n);
    const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(b, nullptr);
    if (n == 0) return false;
    SimpleLine::Line ln{line.glyphs.size(), n, line.clusters.size(), 0, from, to - from, 0};
    int x = 0;
    for (unsigned i = 0; i < n; ++i) {
      int width = pos[i].x_advance, xOffset = pos[i].x_offset;
      if (width < 0) {  // as pango turns a negative advance round
        width = -width;
        xOffset += width;
      }
      line.glyphs.push_back(info[i].codepoint);
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
      if (info[i].codepoint != PANGO_GLYPH_EMPTY) ++line.clusters.back().num_glyphs;
    }
    ln.width = x;
    line.width = std::max(line.width, x);
    line.lines.push_back(ln);
    from = to + 1;
  }
  return true;
}

void drawSimpleLine(cairo_t* cr, const SimpleLine& line, std::size_t k, double x, double y,
                    int lineX) {
  const SimpleLine::Line& ln = line.lines[k];
  // The origin goes through cairo's current point, as pango takes it from there (which rounds it
  // to cairo's fixed-point grid).
  cairo_move_to(cr, x, y);
  cairo_get_current_point(cr, &x, &y);
  cairo_save(cr);
  cairo_set_scaled_font(cr, pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(line.font)));
  const double baseX = x + static_cast<double>(lineX) / PANGO_SCALE;
  const double baseY =
      y + static_cast<double>(static_cast<int>(k) * line.height + line.baseline) / PANGO_SCALE;
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
  cairo_restore(cr);
}

}  // namespace galvix::render
