// The measurer agrees with drawing; font names resolve; pictures of each format load.
#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "render/fonts.h"
#include "render/page_renderer.h"
#include "render/pictures.h"
#include "render/render.h"
#include "render/simple_line.h"
#include "render/text_layout.h"
#include "render_sample.h"
#include "render_test_util.h"

namespace galvix::render {
namespace {

using namespace testing;

// Fonts of every kind: mapped to metric-compatible ones, installed, script, underlined.
const std::vector<doc::Font> kFonts = {{"Arial", 8},
                                       {"Arial", 10, true},
                                       {"Times New Roman", 12, false, true},
                                       {"Courier New", 9},
                                       {"Brush Script MT", 14},
                                       {"DejaVu Sans Mono", 7, false, false, true},
                                       {"Arial", 9, false, false, true}};

// Names, addresses and signs as reports print them: accents, hyphens, slashes, kerning pairs.
std::vector<std::string> nameWords() {
  std::vector<std::string> words;
  std::istringstream in(
      "Dr. Ana Garc\u00eda-L\u00f3pez and Mr. O'Brien Smith Jr. III The Honorable Zo\u00eb "
      "\u0141ukasz (H) 555-0100 someone@example.com Wa To AV office Yvette St. 1/2 & Ms. Ye W. a "
      "L'Oreal Kumar-S\u00f8rensen fi T. Y, \u00a0");
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

// Up to `maxLines` lines (some blank) of up to `maxLength` letters, one in six from `wide`,
// joined by LF or CR LF.
std::string randomLines(std::mt19937& rng, const std::string& letters,
                        const std::vector<std::string>& wide, int maxLines, int maxLength) {
  std::string t;
  const int lines = 1 + static_cast<int>(rng() % static_cast<unsigned>(maxLines));
  for (int l = 0; l < lines; ++l) {
    if (l) t += (rng() % 2) ? "\r\n" : "\n";
    if (rng() % 7 == 0) continue;  // a blank line
    const int n = 1 + static_cast<int>(rng() % static_cast<unsigned>(maxLength));
    for (int k = 0; k < n; ++k)
      if (rng() % 6 == 0)
        t += wide[rng() % wide.size()];
      else
        t += letters[rng() % letters.size()];
  }
  return t;
}

// Names in any case and spacing map to the metric-compatible families; installed ones are kept,
// anything else is the sans.
TEST(Fonts, NamesResolveToInstalledFamilies) {
  for (auto [name, family] : {std::pair{"ARIAL ", "Liberation Sans"},
                              {"Times New Roman", "Liberation Serif"},
                              {"Courier New", "Liberation Mono"},
                              {"DejaVu Sans Mono", "DejaVu Sans Mono"},
                              {"Zapfino Extra LT", "Liberation Sans"},
                              {"", "Liberation Sans"}})
    EXPECT_EQ(resolveFamily(name), family) << name;
}

TEST(Measurer, LinesBreaksAndWrapping) {
  auto m = makePangoMeasurer();
  const doc::Font f{"Arial", 10};
  const auto one = m->measure("Guest", f, 0);
  EXPECT_GT(one.height, 200);  // a 10 pt line
  EXPECT_LT(one.height, 300);
  EXPECT_GT(one.width, 400);
  EXPECT_LT(one.width, 900);
  // CR, LF and CR LF each break a line once.
  for (const char* s : {"Guest\rGuest", "Guest\nGuest", "Guest\r\nGuest"}) {
    const auto two = m->measure(s, f, 0);
    EXPECT_EQ(two.height, m->measure("Guest\nGuest", f, 0).height) << s;
    EXPECT_NEAR(two.height, 2 * one.height, 2) << s;
    EXPECT_EQ(two.width, one.width) << s;
  }
  // Wrapping at a width: more lines, never wider than the wrap width.
  const std::string longText = "The quick brown fox jumps over the lazy dog again and again";
  const auto wide = m->measure(longText, f, 0);
  const auto wrapped = m->measure(longText, f, 1440);
  EXPECT_LE(wrapped.width, 1440);
  EXPECT_GE(wrapped.height, 3 * one.height - 3);
  EXPECT_EQ(m->measure(longText, f, 1440).height, wrapped.height);  // cached, same answer
  EXPECT_EQ(wide.height, one.height);
  // Bold is wider, a bigger size taller, and the metric-compatible font keeps Arial's widths.
  EXPECT_GT(m->measure("Guest", doc::Font{"Arial", 10, true}, 0).width, one.width);
  EXPECT_NEAR(m->measure("Guest", doc::Font{"Arial", 20}, 0).height, 2 * one.height, 3);
  EXPECT_EQ(m->measure("Guest", doc::Font{"Helvetica", 10}, 0).width, one.width);
}

// The height-only answer, which skips shaping for plain lines that clearly fit, is always the
// height of the text laid out in full: names, addresses, widths right at the edge, letters the
// fonts lack, blank lines, and fonts of every kind.
TEST(Measurer, HeightAloneAgreesWithTheFullLayout) {
  auto quick = makePangoMeasurer();
  auto full = makePangoMeasurer();
  std::mt19937 rng(7);
  const std::string letters =
      "AVWTYLafiflffkerning To Ye We Wa ' ,.-0123456789 abcdefghijklmnopqrstuvwxyz"
      "ABCDEFGHIJKLMNOPQRSTUVWXYZ!@#$%^&*()_+=[]{}|;:<>?/~`\"";
  // Letters beyond ASCII, whole UTF-8 sequences: Latin-1, Latin Extended, signs, a soft hyphen,
  // Greek and a combining accent (the last three go through pango).
  const std::vector<std::string> wide = {"\u00e9", "\u00fc", "\u00d8", "\u00df", "\u0142",
                                         "\u0150", "\u01c4", "\u00d7", "\u00b0", "\u00aa",
                                         "\u00a0", "\u00ad", "\u03a9", "e\u0301"};
  std::vector<std::string> texts = {
      "Mr. and Mrs. John Smith\r\n12 Elm Street\r\nSpringfield, IL  62704",
      "(H) 555-0100\r\n(M) 555-0101\r\n(E) someone@example.com",
      "Line\r\n\r\nafter a blank one",
      "(H) 555-0100\r\n(W) 555-0101\r\n",
      "\r\n\r\nTwo blank lines first",
      "\n",
      "   ",
      "Ana Garc\u00eda",
      "tab\there",
      "x\n",
      "AVAVAVAVAVAVAVAVAVAVAVAVAV",
      "WWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWW",
      "fi fl ffi ffl"};
  for (int i = 0; i < 400; ++i) texts.push_back(randomLines(rng, letters, wide, 4, 40));
  int checked = 0;
  for (const auto& f : kFonts)
    for (const auto& t : texts) {
      const std::int32_t natural = full->measure(t, f, 0).width;
      // No wrapping, roomy, and widths around the text's own, where kerning decides.
      for (std::int32_t w : {0, natural * 2, natural + 40, natural + 5, natural, natural - 5,
                             natural * 3 / 4, 300}) {
        ASSERT_EQ(quick->measureHeight(t, f, w), full->measure(t, f, w).height)
            << f.name << " " << f.size << " width " << w << ": " << t;
        ++checked;
      }
    }
  EXPECT_GT(checked, 15000);
}

// Wrapped plain text breaks where pango's layout breaks it, line for line and width for width:
// names, addresses, hyphens and slashes, kerning pairs at the break, double and trailing spaces,
// at every width within a unit of a break's own width. Words longer than the line are left to
// pango (it breaks them inside), and so are texts of other kinds.
TEST(SimpleLines, WrapWhereAndAsPangoWraps) {
  const std::vector<std::string> words = nameWords();
  // Not underlined: underlined text is drawn through pango.
  const std::vector<doc::Font> fonts(kFonts.begin(), kFonts.begin() + 5);
  std::mt19937 rng(5);
  SimpleLine line;
  int compared = 0, declined = 0;
  for (int i = 0; i < 300; ++i) {
    std::string t;
    const int n = 2 + static_cast<int>(rng() % 9);
    for (int k = 0; k < n; ++k) {
      if (k) t += rng() % 9 == 0 ? "  " : (rng() % 13 == 0 ? "\n" : " ");
      t += words[rng() % words.size()];
    }
    if (i % 11 == 0) t += " ";
    const doc::Font& f = fonts[rng() % fonts.size()];
    LayoutPtr l = textLayout(t, f, 0, doc::HAlign::Left);
    // Widths at and a unit either side of each prefix's own width, ending at a space or not.
    std::set<int> widths;
    for (std::size_t b = 1; b <= t.size(); ++b) {
      if (b < t.size() && t[b] != ' ' && t[b - 1] != ' ') continue;
      PangoRectangle at;
      pango_layout_index_to_pos(l.get(), static_cast<int>(b < t.size() ? b : b - 1), &at);
      const int w = b < t.size() ? at.x : at.x + at.width;
      for (int d : {-1, 0, 1, 300})
        if (w + d > 0) widths.insert(w + d);
    }
    // The widest word (pango breaks a word wider than the line inside it).
    int widest = 0;
    for (std::size_t from = 0; from < t.size();) {
      std::size_t to = t.find_first_of(" \n", from);
      if (to == std::string::npos) to = t.size();
      if (to > from) {
        PangoRectangle r;
        pango_layout_get_extents(
            textLayout(t.substr(from, to - from), f, 0, doc::HAlign::Left).get(), nullptr, &r);
        widest = std::max(widest, r.width);
      }
      from = to + 1;
    }
    for (const int w : widths) {
      if (!shapeSimpleLine(t, f, line, w)) {
        // Where each word fits, pango still breaks inside one only when spaces next to each
        // other leave no break that fits.
        if (w > widest + PANGO_SCALE) ++declined;
        continue;
      }
      pango_layout_set_width(l.get(), w);
      pango_layout_set_wrap(l.get(), PANGO_WRAP_WORD_CHAR);
      ASSERT_EQ(line.lines.size(), static_cast<std::size_t>(pango_layout_get_line_count(l.get())))
          << f.name << " width " << w << ": " << t;
      for (std::size_t k = 0; k < line.lines.size(); ++k) {
        PangoLayoutLine* pl = pango_layout_get_line_readonly(l.get(), static_cast<int>(k));
        PangoRectangle logical;
        pango_layout_line_get_extents(pl, nullptr, &logical);
        EXPECT_EQ(line.lines[k].offset, static_cast<std::size_t>(pl->start_index)) << t;
        EXPECT_EQ(line.lines[k].length, static_cast<std::size_t>(pl->length)) << t;
        EXPECT_EQ(line.lines[k].width, logical.width) << f.name << " width " << w << ": " << t;
      }
      ++compared;
    }
  }
  EXPECT_GT(compared, 5000);
  EXPECT_LT(declined * 50, compared);
  // A word longer than the line, and text of other scripts, go through pango.
  EXPECT_FALSE(shapeSimpleLine("Supercalifragilistic", fonts[0], line, 20 * PANGO_SCALE));
  EXPECT_FALSE(shapeSimpleLine("\u03a9\u03bc\u03ad\u03b3\u03b1 Omega", fonts[0], line, 0));
}

// Plain lines drawn from their glyphs give the very bytes pango gives, in cairo's PDF and in
// pixels: every alignment, wrapped or not, several lines, boxes too small, fonts the names map to
// and fonts that lack a letter, and texts that must go through pango (accents, tabs, blank
// lines); check boxes' captions too.
TEST(Renderer, PlainLinesDrawnFromGlyphsMatchPango) {
  std::mt19937 rng(11);
  const std::string letters = "AVWTYLafiflkerning To Ye Wa ',.-0123456789 xyz()@#&!?";
  const std::vector<std::string> wide = {"\u00e9", "\u00fc", "\u00d8", "\u0142", "\u01c4",
                                         "\u00d7", "\u00a0", "\u00ad", "\u03a9", "e\u0301"};
  const std::vector<doc::Font>& fonts = kFonts;
  doc::Document d;
  for (int page = 0; page < 3; ++page) {
    doc::Page p;
    for (int i = 0; i < 120; ++i) {
      std::string t = randomLines(rng, letters, wide, 3, 24);
      if (i % 3 == 0)  // a lone CR breaks a line too
        std::replace(t.begin(), t.end(), '\n', '\r');
      // Every other text is words, most of them wrapped across lines.
      if (i % 2 == 0) {
        static const std::vector<std::string> words = nameWords();
        t.clear();
        for (int k = 0, n = 2 + static_cast<int>(rng() % 10); k < n; ++k)
          t += (k ? (rng() % 9 == 0 ? "\r\n" : " ") : "") + words[rng() % words.size()];
      }
      if (i % 17 == 0)
        t += "\tGarc\xc3\xad"
             "a";
      if (i % 19 == 0) t += "\n\nafter a blank line";
      const int w = 300 + static_cast<int>(rng() % 3000), h = 150 + static_cast<int>(rng() % 900);
      doc::Text text =
          testing::text({200 + (i % 4) * 2800, 200 + (i / 4) * 500, w, h}, t,
                        fonts[rng() % fonts.size()], static_cast<doc::HAlign>(rng() % 3));
      text.valign = static_cast<doc::VAlign>(rng() % 3);
      text.wordWrap = rng() % 4 != 0;
      text.foreColor = doc::rgb(rng() % 256, 0, 0);
      p.items.push_back(testing::item(text));
      // A captioned check box beside every fifth text: its caption is drawn the same way.
      if (i % 5 == 0)  // (a braced list is evaluated in order: the same draws as ever)
        p.items.push_back(testing::item(doc::CheckBox{
            {200 + (i % 4) * 2800, 12000 + (i / 20) * 400, 600 + static_cast<int>(rng() % 2000),
             250 + static_cast<int>(rng() % 300)},
            rng() % 2 == 0,
            t,
            text.font,
            doc::kBlack,
            static_cast<doc::HAlign>(rng() % 3)}));
    }
    d.pages.push_back(p);
  }
  auto pdf = [&](bool simple) {
    setSimpleLines(simple);
    setCairoPdf(true);
    std::ostringstream out;
    writePdf(d, out);
    std::string s = out.str();
    const auto at = s.find("/CreationDate");
    if (at != std::string::npos) s.erase(at, s.find(')', at) - at);
    return s;
  };
  auto png = [&](bool simple) {
    setSimpleLines(simple);
    std::ostringstream out;
    writePng(d, 0, out, 72);
    return out.str();
  };
  const std::string viaPango = pdf(false), viaGlyphs = pdf(true);
  EXPECT_TRUE(viaPango == viaGlyphs) << "the PDFs differ";
  EXPECT_TRUE(png(false) == png(true)) << "the pixels differ";
  // Texts measured first (as a run measures growing fields) are drawn from the lines measuring
  // found: the same bytes again. (On a thread of its own: its shaping caches start empty.)
  std::string afterMeasuring;
  std::thread([&] {
    auto measurer = makePangoMeasurer();
    for (const auto& page : d.pages)
      for (const auto& it : page.items)
        if (const auto* t = std::get_if<doc::Text>(&it.content); t && t->wordWrap)
          (void)measurer->measureHeight(t->text, t->font, t->box.width);
    afterMeasuring = pdf(true);
  }).join();
  EXPECT_TRUE(afterMeasuring == viaPango) << "the PDFs differ after measuring";
  setSimpleLines(true);
  setCairoPdf(false);
}

// A can-grow field measured by the engine must show every line when drawn at that height.
TEST(Measurer, MeasuredHeightHoldsTheDrawnText) {
  TempDir dir;
  auto m = makePangoMeasurer();
  const doc::Font f{"Times New Roman", 11};
  const std::string notes =
      "Arriving Friday evening with two children; needs a crib in the room.\r\n"
      "Allergic to nuts. Prefers a table near the dance floor.";
  const std::int32_t width = 2400;
  const auto e = m->measure(notes, f, width);
  doc::Document d = onePage({item(text({400, 400, width, e.height}, notes, f))}, 4000, 4000);
  writePdf(d, dir / "grow.pdf");
  auto out = run("pdftotext -raw '" + (dir / "grow.pdf") + "' -");
  EXPECT_THAT(out.out, ::testing::HasSubstr("dance floor."));
  // One line less would clip the last line.
  PngImage full(renderPng(dir, d));
  d.pages[0].items[0] = item(text({400, 400, width, e.height - 200}, notes, f));
  PngImage clipped(renderPng(dir, d));  // the first one's pixels are read already
  EXPECT_GT(full.inkBox()[3], clipped.inkBox()[3] + 5);
}

std::shared_ptr<std::vector<std::uint8_t>> tinyGif() {
  // 4x2 pixels of one colour (the only format gdk-pixbuf cannot write).
  const std::uint8_t gif[] = {'G', 'I',  'F',  '8',  '9', 'a', 4, 0,    2,    0,    0x80, 0,
                              0,   0x20, 0x40, 0xC0, 0,   0,   0, ',',  0,    0,    0,    0,
                              4,   0,    2,    0,    0,   2,   3, 0x84, 0x8F, 0x05, 0,    ';'};
  return std::make_shared<std::vector<std::uint8_t>>(std::begin(gif), std::end(gif));
}

auto encode(const char* type) {
  return solidPicture(4, 2, 0x2040C0FF, type);
}

TEST(Pictures, EachFormatLoadsFitsItsBoxAndJpegIsKeptInThePdf) {
  for (auto [name, data] : {std::pair{"jpeg", encode("jpeg")}, std::pair{"png", encode("png")},
                            std::pair{"bmp", encode("bmp")}, std::pair{"gif", tinyGif()}}) {
    cairo_surface_t* s = decodePicture(data);
    ASSERT_NE(s, nullptr) << name;
    EXPECT_EQ(cairo_image_surface_get_width(s), 4) << name;
    EXPECT_EQ(cairo_image_surface_get_height(s), 2) << name;
    const auto px = *reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(s));
    EXPECT_NEAR(static_cast<int>((px >> 16) & 0xFF), 0x20, 8) << name;
    EXPECT_NEAR(static_cast<int>(px & 0xFF), 0xC0, 8) << name;
    cairo_surface_destroy(s);
    EXPECT_EQ(pictureFormat(*data), name);
  }
  EXPECT_EQ(decodePicture(std::make_shared<std::vector<std::uint8_t>>(10, 0x55)), nullptr);
  EXPECT_EQ(decodePicture(nullptr), nullptr);
  EXPECT_EQ(pictureFormat(std::vector<std::uint8_t>(10, 0x55)), "");
  EXPECT_EQ(pictureFormat({}), "");
  // A picture cut short is refused, though its header names a format.
  auto png = *encode("png");
  png.resize(png.size() / 2);
  EXPECT_EQ(pictureFormat(png), "");

  // Fitted into their box, and a JPEG kept as JPEG in the PDF.
  TempDir dir;
  // A 4x2 picture zoomed: 800 wide, 400 high, centred.
  const doc::Picture zoom{{200, 200, 800, 800}, encode("jpeg")};
  const doc::Picture stretch{{1400, 200, 800, 800}, encode("png"), doc::SizeMode::Stretch};
  doc::Document d = onePage({item(zoom), item(stretch), item(zoom)}, 2880, 1440);
  d.pages.push_back(d.pages[0]);
  PngImage img(renderPng(dir, d));
  EXPECT_TRUE(img.dark(30, 30));   // centre of the zoomed picture
  EXPECT_FALSE(img.dark(30, 15));  // above it: the box's empty band
  EXPECT_TRUE(img.dark(75, 12));   // stretched to fill its box
  EXPECT_TRUE(img.dark(105, 45));

  writePdf(d, dir / "pic.pdf");
  EXPECT_EQ(run("qpdf --check '" + (dir / "pic.pdf") + "'").status, 0);
  auto images = run("pdfimages -list '" + (dir / "pic.pdf") + "'");
  // The same JPEG drawn four times on two pages is embedded once, as JPEG.
  std::istringstream lines(images.out);
  int jpeg = 0;
  std::set<std::string> jpegObjects;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(" jpeg ") == std::string::npos) continue;
    ++jpeg;
    std::istringstream cols(line);
    std::vector<std::string> c{std::istream_iterator<std::string>(cols), {}};
    if (c.size() > 11) jpegObjects.insert(c[10]);
  }
  EXPECT_EQ(jpeg, 4);
  EXPECT_EQ(jpegObjects.size(), 1u) << images.out;
}

}  // namespace
}  // namespace galvix::render
