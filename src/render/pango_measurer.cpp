#include <array>
#include <list>
#include <map>
#include <optional>
#include <unordered_map>

#include "render/render.h"
#include "render/simple_line.h"
#include "render/text_layout.h"

namespace galvix::render {

namespace {

// Results are cached (bounded, least recently used dropped first): reports measure the same
// few texts over and over (captions, repeated values).
class PangoMeasurer : public engine::TextMeasurer {
 public:
  engine::TextExtent measure(std::string_view text, const doc::Font& font,
                             std::int32_t wrapWidth) override {
    std::string key = keyFor(text, font, wrapWidth);
    if (auto it = cache_.find(key); it != cache_.end()) {
      order_.splice(order_.begin(), order_, it->second.pos);
      return it->second.extent;
    }
    LayoutPtr l = textLayout(text, font, wrapWidth, doc::HAlign::Left);
    PangoRectangle logical;
    pango_layout_get_extents(l.get(), nullptr, &logical);
    engine::TextExtent e{pangoToTwipsCeil(logical.width), pangoToTwipsCeil(logical.height)};
    remember(std::move(key), e);
    return e;
  }

  // Plain lines (Latin letters) that clearly fit their width need no shaping: such a text is as
  // tall as the same number of lines of one letter. A line fits when the sum of its letters' own
  // advances is well inside the width (the margin covers kerning and ligatures); anything else
  // (other characters, letters the font lacks, blank lines, lines near the width) is laid out in
  // full.
  // Other plain lines are shaped and wrapped as pango would (`shapeSimpleLine`, which keeps
  // texts it sees again); the rest are laid out (`measure`, which keeps its answers).
  std::int32_t measureHeight(std::string_view text, const doc::Font& font,
                             std::int32_t wrapWidth) override {
    if (auto h = quickHeight(text, font, wrapWidth)) return *h;
    const int wrap = wrapWidth > 0 ? std::max(1, twipsToPango(wrapWidth)) : 0;
    if (const SimpleLine* sl = simpleLine(text, font, line_, wrap, true))
      return pangoToTwipsCeil(sl->totalHeight);
    return measure(text, font, wrapWidth).height;
  }

  std::int32_t measureRichHeight(std::string_view rtf, std::int32_t wrapWidth) override {
    return pangoToTwipsCeil(richLayout(readRtf(rtf), wrapWidth).height);
  }

 private:
  static constexpr std::size_t kCapacity = 8192;
  static constexpr int kMaxQuickLines = 32;
  static constexpr std::size_t kQuickLetters = 0x250;

  // Per font, learnt as letters come: each letter's advance (pango units; -2 not yet known, -1
  // not quick) and the height of 1..kMaxQuickLines lines of one letter (0 not yet known).
  struct FontMetrics {
    FontMetrics() { advance.fill(-2); }
    std::array<std::int64_t, kQuickLetters> advance;
    std::array<std::int32_t, kMaxQuickLines + 1> linesHeight{};
    int oneLine = 0;
    doc::Font font;
  };

  static PangoRectangle logical(const doc::Font& font, const std::string& t) {
    LayoutPtr l = textLayout(t, font, 0, doc::HAlign::Left);
    PangoRectangle r;
    pango_layout_get_extents(l.get(), nullptr, &r);
    return r;
  }

  FontMetrics& metricsFor(const doc::Font& font) {
    // Texts come in runs of one font.
    if (last_ && last_->font == font) return *last_;
    std::string key = keyFor("", font, 0);
    auto it = metrics_.find(key);
    if (it != metrics_.end()) return *(last_ = &it->second);
    FontMetrics m;
    m.font = font;
    m.oneLine = logical(font, "X").height;
    return *(last_ = &metrics_.emplace(std::move(key), std::move(m)).first->second);
  }

  static std::int64_t advanceOf(FontMetrics& m, gunichar c) {
    std::int64_t& a = m.advance[c];
    if (a == -2) {
      char buf[8];
      const std::string letter(buf, static_cast<std::size_t>(g_unichar_to_utf8(c, buf)));
      const PangoRectangle r = logical(m.font, letter);
      // A letter drawn from another font (one this font lacks) may change the line's height.
      a = r.height == m.oneLine ? r.width : -1;
    }
    return a;
  }

  static std::int32_t linesHeight(FontMetrics& m, int lines) {
    std::int32_t& h = m.linesHeight[static_cast<std::size_t>(lines)];
    if (h == 0) {
      std::string t = "X";
      for (int n = 1; n < lines; ++n) t += "\nX";
      h = pangoToTwipsCeil(logical(m.font, t).height);
    }
    return h;
  }

  std::optional<std::int32_t> quickHeight(std::string_view text, const doc::Font& font,
                                          std::int32_t wrap) {
    if (text.empty() || text.size() > 4096) return std::nullopt;
    FontMetrics& m = metricsFor(font);
    const std::int64_t width = wrap > 0 ? static_cast<std::int64_t>(twipsToPango(wrap)) : 0;
    int lines = 1;
    std::int64_t sum = 0;
    std::size_t lineLength = 0;
    auto lineFits = [&] {
      if (lineLength == 0) return false;  // a blank line
      if (width <= 0) return true;
      return sum + sum / 16 + 2 * PANGO_SCALE <= width;
    };
    const char* p = text.data();
    const char* const end = text.data() + text.size();
    while (p < end) {
      const gunichar c = g_utf8_get_char_validated(p, end - p);
      if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) return std::nullopt;
      p = g_utf8_next_char(p);
      if (c == '\r' || c == '\n') {
        if (!lineFits() || ++lines > kMaxQuickLines) return std::nullopt;
        if (c == '\r' && p < end && *p == '\n') ++p;
        sum = 0;
        lineLength = 0;
        continue;
      }
      if (!quickLetter(c)) return std::nullopt;
      const std::int64_t a = advanceOf(m, c);
      if (a < 0) return std::nullopt;
      sum += a;
      ++lineLength;
    }
    if (!lineFits()) return std::nullopt;
    return linesHeight(m, lines);
  }

  // The size and width as their bytes: formatting a double (std::to_string) cost more than the
  // lookup.
  static std::string keyFor(std::string_view text, const doc::Font& f, std::int32_t wrap) {
    std::string k;
    k.reserve(f.name.size() + sizeof f.size + sizeof wrap + text.size() + 2);
    k += f.name;
    k += '\x1f';
    k.append(reinterpret_cast<const char*>(&f.size), sizeof f.size);
    k += static_cast<char>('0' + (f.bold | f.italic << 1 | f.underline << 2 | f.strikeout << 3));
    wrap = std::max(0, wrap);
    k.append(reinterpret_cast<const char*>(&wrap), sizeof wrap);
    k += text;
    return k;
  }

  void remember(std::string key, engine::TextExtent e) {
    if (cache_.size() >= kCapacity) {
      cache_.erase(order_.back());
      order_.pop_back();
    }
    order_.push_front(key);
    cache_.emplace(std::move(key), Entry{e, order_.begin()});
  }

  struct Entry {
    engine::TextExtent extent;
    std::list<std::string>::iterator pos;
  };
  std::list<std::string> order_;
  std::unordered_map<std::string, Entry> cache_;
  std::map<std::string, FontMetrics> metrics_;
  FontMetrics* last_ = nullptr;  // the font asked for last (map nodes stay put)
  SimpleLine line_;
};

}  // namespace

std::unique_ptr<engine::TextMeasurer> makePangoMeasurer() {
  return std::make_unique<PangoMeasurer>();
}

}  // namespace galvix::render
