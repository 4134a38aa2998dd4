#include "render/rtf_reader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <map>

namespace galvix::render {

namespace {

// Windows-1252 for 0x80..0x9F; the other high bytes are Latin-1.
constexpr std::array<char32_t, 32> kCp1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t fromCp1252(unsigned char b) {
  return b >= 0x80 && b < 0xA0 ? kCp1252High[b - 0x80] : static_cast<char32_t>(b);
}

void appendUtf8(std::string& out, char32_t c) {
  if (c >= 0xD800 && c < 0xE000) c = 0xFFFD;
  if (c > 0x10FFFF) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Length of a valid UTF-8 sequence starting at s[i] (0 if not valid), its code point in `cp`.
std::size_t utf8Sequence(std::string_view s, std::size_t i, char32_t& cp) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  std::size_t n = b0 >= 0xF0 && b0 < 0xF5 ? 4 : b0 >= 0xE0 ? 3 : b0 >= 0xC2 && b0 < 0xE0 ? 2 : 0;
  if (n == 0 || i + n > s.size()) return 0;
  cp = b0 & (0x7F >> n);
  for (std::size_t k = 1; k < n; ++k) {
    const auto b = static_cast<unsigned char>(s[i + k]);
    if ((b & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (b & 0x3F);
  }
  if ((n == 3 && cp < 0x800) || (n == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
      (cp >= 0xD800 && cp < 0xE000))
    return 0;
  return n;
}

enum class Dest { Text, Skip, FontTable, ColorTable };

struct CharState {
  int font = -1;  // index into the font table; -1: the default font
  double size = 12.0;
  bool bold = false, italic = false, underline = false, strikeout = false;
  int color = 0;  // index into the colour table
};

struct ParaState {
  doc::HAlign align = doc::HAlign::Left;
  int li = 0, ri = 0, fi = 0, sb = 0, sa = 0;
};

struct Group {
  CharState ch;
  ParaState para;
  Dest dest = Dest::Text;
  int uc = 1;
};

// Control words that open a destination whose text is not part of the document.
bool skippedDestination(std::string_view w) {
  static constexpr std::string_view kWords[] = {"author",       "bkmkend",
                                                "bkmkstart",    "colorschememapping",
                                                "comment",      "datastore",
                                                "doccomm",      "fldinst",
                                                "filetbl",      "footer",
                                                "footerf",      "footerl",
                                                "footerr",      "footnote",
                                                "ftncn",        "ftnsep",
                                                "ftnsepc",      "generator",
                                                "header",       "headerf",
                                                "headerl",      "headerr",
                                                "info",         "keywords",
                                                "latentstyles", "listoverridetable",
                                                "listtable",    "mmathPr",
                                                "nonshppict",   "object",
                                                "operator",     "pgdsctbl",
                                                "pict",         "revtbl",
                                                "rsidtbl",      "shp",
                                                "stylesheet",   "subject",
                                                "tc",           "themedata",
                                                "title",        "txe",
                                                "xe",           "xmlnstbl"};
  return std::find(std::begin(kWords), std::end(kWords), w) != std::end(kWords);
}

class Reader {
 public:
  explicit Reader(std::string_view s) : s_(s) {}

  RtfDocument run() {
    stack_.push_back(Group{});
    while (pos_ < s_.size()) step();
    finishParagraph(false);
    return std::move(doc_);
  }

 private:
  static constexpr std::size_t kMaxDepth = 200;
  static constexpr int kMaxIndent = 31680;  // 22 inches

  Group& g() { return stack_.back(); }

  void step() {
    const char c = s_[pos_];
    if (c == '{') {
      ++pos_;
      skip_ = 0;
      if (stack_.size() < kMaxDepth)
        stack_.push_back(stack_.back());
      else
        ++phantom_;
      return;
    }
    if (c == '}') {
      ++pos_;
      skip_ = 0;
      if (phantom_ > 0) {
        --phantom_;
      } else if (stack_.size() > 1) {
        if (g().dest == Dest::FontTable) flushFontName();
        stack_.pop_back();
      }
      return;
    }
    if (c == '\\') {
      controlWord();
      return;
    }
    ++pos_;
    if (c == '\r' || c == '\n') return;
    if (skip_ > 0) {
      --skip_;
      return;
    }
    const auto b = static_cast<unsigned char>(c);
    char32_t cp = b;
    if (b >= 0x80) {
      std::size_t n = utf8Sequence(s_, pos_ - 1, cp);
      if (n > 0)
        pos_ += n - 1;
      else
        cp = fromCp1252(b);
    } else if (b < 0x20 && c != '\t') {
      return;
    }
    character(cp);
  }

  void controlWord() {
    ++pos_;  // the backslash
    if (pos_ >= s_.size()) return;
    const char c = s_[pos_];
    if (!std::isalpha(static_cast<unsigned char>(c))) {
      ++pos_;
      controlSymbol(c);
      return;
    }
    std::size_t start = pos_;
    while (pos_ < s_.size() && std::isalpha(static_cast<unsigned char>(s_[pos_]))) ++pos_;
    std::string_view word = s_.substr(start, pos_ - start);
    bool hasParam = false, negative = false;
    long long value = 0;
    if (pos_ < s_.size() && s_[pos_] == '-' && pos_ + 1 < s_.size() &&
        std::isdigit(static_cast<unsigned char>(s_[pos_ + 1]))) {
      negative = true;
      ++pos_;
    }
    while (pos_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[pos_]))) {
      hasParam = true;
      value = std::min<long long>(value * 10 + (s_[pos_] - '0'), 1'000'000'000LL);
      ++pos_;
    }
    if (pos_ < s_.size() && s_[pos_] == ' ') ++pos_;
    const int param = static_cast<int>(negative ? -value : value);
    if (skip_ > 0 && word != "bin") {
      --skip_;
      return;
    }
    apply(word, hasParam, param);
  }

  void controlSymbol(char c) {
    if (c == '\'') {
      char32_t cp = 0;
      int digits = 0;
      while (digits < 2 && pos_ < s_.size() &&
             std::isxdigit(static_cast<unsigned char>(s_[pos_]))) {
        const char h = s_[pos_++];
        cp = cp * 16 + static_cast<char32_t>(std::isdigit(static_cast<unsigned char>(h))
                                                 ? h - '0'
                                                 : (std::tolower(h) - 'a' + 10));
        ++digits;
      }
      if (skip_ > 0) {
        --skip_;
        return;
      }
      if (digits > 0) character(fromCp1252(static_cast<unsigned char>(cp)));
      return;
    }
    if (skip_ > 0) {
      --skip_;
      return;
    }
    switch (c) {
      case '\\':
      case '{':
      case '}':
        character(static_cast<char32_t>(c));
        break;
      case '~':
        character(0x00A0);
        break;
      case '_':
        character(0x2011);
        break;
      case '*':
        g().dest = Dest::Skip;
        break;
      case '\r':
      case '\n':
        paragraph();
        break;
      default:  // \- (optional hyphen), \| and \: are not shown
        break;
    }
  }

  void apply(std::string_view w, bool hasParam, int p) {
    Group& st = g();
    const bool on = !hasParam || p != 0;
    if (w == "par" || w == "page" || w == "sect" || w == "row") {
      paragraph();
    } else if (w == "line") {
      character(0x2028);
    } else if (w == "tab" || w == "cell") {
      character('\t');
    } else if (w == "pard") {
      st.para = ParaState{};
    } else if (w == "plain") {
      st.ch = CharState{};
    } else if (w == "ql") {
      st.para.align = doc::HAlign::Left;
    } else if (w == "qr") {
      st.para.align = doc::HAlign::Right;
    } else if (w == "qc") {
      st.para.align = doc::HAlign::Center;
    } else if (w == "qj") {
      st.para.align = doc::HAlign::Justify;
    } else if (w == "li") {
      st.para.li = std::clamp(p, -kMaxIndent, kMaxIndent);
    } else if (w == "ri") {
      st.para.ri = std::clamp(p, -kMaxIndent, kMaxIndent);
    } else if (w == "fi") {
      st.para.fi = std::clamp(p, -kMaxIndent, kMaxIndent);
    } else if (w == "sb") {
      st.para.sb = std::clamp(p, -kMaxIndent, kMaxIndent);
    } else if (w == "sa") {
      st.para.sa = std::clamp(p, -kMaxIndent, kMaxIndent);
    } else if (w == "b") {
      st.ch.bold = on;
    } else if (w == "i") {
      st.ch.italic = on;
    } else if (w == "ul" || w == "uld" || w == "uldb" || w == "ulw" || w == "uldash" ||
               w == "ulth") {
      st.ch.underline = on;
    } else if (w == "ulnone") {
      st.ch.underline = false;
    } else if (w == "strike") {
      st.ch.strikeout = on;
    } else if (w == "fs") {
      if (hasParam && p > 0) st.ch.size = std::min(p, 3276) / 2.0;
    } else if (w == "f") {
      if (st.dest == Dest::FontTable) {
        flushFontName();
        tableFont_ = p;
      } else {
        st.ch.font = p;
      }
    } else if (w == "deff") {
      defaultFont_ = p;
    } else if (w == "cf") {
      st.ch.color = p;
    } else if (w == "uc") {
      st.uc = std::clamp(p, 0, 10);
    } else if (w == "u") {
      unicode(p);
    } else if (w == "red" || w == "green" || w == "blue") {
      if (st.dest == Dest::ColorTable) {
        const auto v = static_cast<doc::Color>(std::clamp(p, 0, 255));
        const int shift = w == "red" ? 0 : w == "green" ? 8 : 16;
        pendingColor_ = (pendingColor_ & ~(0xFFu << shift)) | (v << shift);
        colorGiven_ = true;
      }
    } else if (w == "fonttbl") {
      st.dest = Dest::FontTable;
    } else if (w == "colortbl") {
      st.dest = Dest::ColorTable;
      pendingColor_ = 0;
      colorGiven_ = false;
    } else if (w == "bin") {
      pos_ = std::min(s_.size(), pos_ + static_cast<std::size_t>(std::max(p, 0)));
    } else if (w == "emdash") {
      character(0x2014);
    } else if (w == "endash") {
      character(0x2013);
    } else if (w == "bullet") {
      character(0x2022);
    } else if (w == "lquote") {
      character(0x2018);
    } else if (w == "rquote") {
      character(0x2019);
    } else if (w == "ldblquote") {
      character(0x201C);
    } else if (w == "rdblquote") {
      character(0x201D);
    } else if (w == "emspace" || w == "enspace" || w == "qmspace") {
      character(' ');
    } else if (skippedDestination(w)) {
      st.dest = Dest::Skip;
    }
  }

  void unicode(int p) {
    char32_t cp = static_cast<char32_t>(p < 0 ? p + 65536 : p) & 0x1FFFFF;
    if (cp >= 0xD800 && cp < 0xDC00) {
      highSurrogate_ = cp;
    } else if (cp >= 0xDC00 && cp < 0xE000) {
      if (highSurrogate_ != 0)
        character(0x10000 + ((highSurrogate_ - 0xD800) << 10) + (cp - 0xDC00));
      highSurrogate_ = 0;
    } else {
      character(cp);
    }
    skip_ = g().uc;
  }

  void character(char32_t cp) {
    Group& st = g();
    switch (st.dest) {
      case Dest::Skip:
        return;
      case Dest::FontTable:
        if (cp == ';')
          flushFontName();
        else
          appendUtf8(fontName_, cp);
        return;
      case Dest::ColorTable:
        if (cp == ';') {
          colors_.push_back(colorGiven_ ? pendingColor_ : doc::kBlack);
          pendingColor_ = 0;
          colorGiven_ = false;
        }
        return;
      case Dest::Text:
        break;
    }
    RtfRun fmt = format(st.ch);
    auto& runs = current_.runs;
    if (runs.empty() || !sameFormat(runs.back(), fmt)) runs.push_back(std::move(fmt));
    appendUtf8(runs.back().text, cp);
    setParagraphFormat(st.para);
  }

  static bool sameFormat(const RtfRun& a, const RtfRun& b) {
    return a.font == b.font && a.size == b.size && a.bold == b.bold && a.italic == b.italic &&
           a.underline == b.underline && a.strikeout == b.strikeout && a.color == b.color;
  }

  RtfRun format(const CharState& ch) const {
    RtfRun r;
    auto it = fonts_.find(ch.font < 0 ? defaultFont_ : ch.font);
    if (it == fonts_.end()) it = fonts_.find(defaultFont_);
    if (it != fonts_.end() && !it->second.empty()) r.font = it->second;
    r.size = ch.size;
    r.bold = ch.bold;
    r.italic = ch.italic;
    r.underline = ch.underline;
    r.strikeout = ch.strikeout;
    if (ch.color > 0 && static_cast<std::size_t>(ch.color) < colors_.size())
      r.color = colors_[static_cast<std::size_t>(ch.color)];
    return r;
  }

  void setParagraphFormat(const ParaState& p) {
    current_.align = p.align;
    current_.leftIndent = p.li;
    current_.rightIndent = p.ri;
    current_.firstIndent = p.fi;
    current_.spaceBefore = p.sb;
    current_.spaceAfter = p.sa;
  }

  void flushFontName() {
    std::string name = fontName_;
    fontName_.clear();
    while (!name.empty() && name.back() == ' ') name.pop_back();
    while (!name.empty() && name.front() == ' ') name.erase(name.begin());
    if (tableFont_ >= 0 && !name.empty() && !fonts_.contains(tableFont_)) fonts_[tableFont_] = name;
  }

  void paragraph() {
    if (g().dest != Dest::Text) return;
    setParagraphFormat(g().para);
    finishParagraph(true);
  }

  // Ends the current paragraph. At the end of input an empty last paragraph is dropped: the
  // paragraph mark of the text before it already ended the line.
  void finishParagraph(bool explicitMark) {
    if (!explicitMark && current_.runs.empty() && !doc_.paragraphs.empty()) return;
    if (current_.runs.empty()) {
      current_.mark = format(g().ch);
    } else {
      current_.mark = current_.runs.back();
      current_.mark.text.clear();
    }
    doc_.paragraphs.push_back(std::move(current_));
    current_ = RtfParagraph{};
  }

  std::string_view s_;
  std::size_t pos_ = 0;
  std::vector<Group> stack_;
  std::size_t phantom_ = 0;  // groups opened beyond kMaxDepth
  int skip_ = 0;             // characters still to skip after \u
  char32_t highSurrogate_ = 0;
  std::map<int, std::string> fonts_;
  int defaultFont_ = 0, tableFont_ = -1;
  std::string fontName_;
  std::vector<doc::Color> colors_;
  doc::Color pendingColor_ = 0;
  bool colorGiven_ = false;
  RtfParagraph current_;
  RtfDocument doc_;
};

RtfDocument readPlain(std::string_view s) {
  RtfDocument d;
  RtfParagraph p;
  auto flush = [&] {
    d.paragraphs.push_back(std::move(p));
    p = RtfParagraph{};
  };
  for (std::size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    if (c == '\r' || c == '\n') {
      if (c == '\r' && i + 1 < s.size() && s[i + 1] == '\n') ++i;
      flush();
      continue;
    }
    if (p.runs.empty()) p.runs.emplace_back();
    p.runs.back().text += c;
  }
  flush();
  return d;
}

}  // namespace

std::string RtfDocument::plainText() const {
  std::string out;
  for (std::size_t i = 0; i < paragraphs.size(); ++i) {
    if (i > 0) out += '\n';
    for (const auto& r : paragraphs[i].runs) out += r.text;
  }
  return out;
}

RtfDocument readRtf(std::string_view rtf) {
  std::size_t start = rtf.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || rtf.compare(start, 5, "{\\rtf") != 0)
    return readPlain(rtf);
  return Reader(rtf.substr(start)).run();
}

}  // namespace galvix::render
