// The library's PDF writer against cairo's PDF surface drawing the same pages: what poppler
// rasterizes and extracts from the two must agree, for every kind of item the renderer draws.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "render/render.h"
#include "render_sample.h"
#include "render_test_util.h"

namespace galvix::render {
namespace {

using namespace testing;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;

// An 8x4 picture: left half red, right half blue, its top row half transparent, so a flipped,
// mirrored or opaque picture shows.
std::shared_ptr<std::vector<std::uint8_t>> quarteredPng() {
  GdkPixbuf* pb = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 8, 4);
  guchar* px = gdk_pixbuf_get_pixels(pb);
  const int stride = gdk_pixbuf_get_rowstride(pb);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) {
      guchar* p = px + y * stride + x * 4;
      p[0] = x < 4 ? 220 : 20;
      p[1] = 30;
      p[2] = x < 4 ? 20 : 220;
      p[3] = y == 0 ? 100 : 255;
    }
  return encoded(pb, "png");
}

// A page of everything: plain, wrapped, aligned, turned, underlined and clipped texts with
// borders of every style; rich text; lines; rectangles, rounded ones and ellipses; check boxes;
// pictures; filled, shaded and outlined figures; a face slanted for italic.
doc::Page everything() {
  doc::Page p;
  auto add = [&](auto content) { p.items.push_back(item(std::move(content))); };
  const doc::LineStyle styles[] = {doc::LineStyle::Solid, doc::LineStyle::Dash, doc::LineStyle::Dot,
                                   doc::LineStyle::DashDot, doc::LineStyle::DashDotDot};
  for (int i = 0; i < 5; ++i) {
    doc::Text t = text({400 + i * 2300, 400, 2100, 700},
                       "Bélanger-Łukasiewicz, Zoë & Žofia (table " + std::to_string(i + 1) + ")",
                       doc::Font{i % 2 ? "Times New Roman" : "Arial", 9.0 + i, i == 1, i == 2},
                       static_cast<doc::HAlign>(i % 4));
    t.border.top = t.border.bottom = t.border.left = t.border.right = styles[i];
    t.border.weight = 1 + i % 3;
    t.border.color = doc::rgb(0, 0, 40 * i);
    if (i == 3) t.backColor = doc::rgb(255, 240, 200);
    add(t);
  }
  doc::Text under = text({400, 1300, 4000, 300}, "Underlined and struck", {"Arial", 11});
  under.font.underline = true;
  add(under);
  doc::Text struck = under;
  struck.box.left = 4600;
  struck.font.underline = false;
  struck.font.strikeout = true;
  struck.foreColor = doc::rgb(200, 0, 0);
  add(struck);
  // A face without an italic of its own, which fontconfig slants.
  add(text({400, 7000, 6000, 800}, "Slanted", {"DejaVu Sans Light", 36, false, true}));
  doc::Text clipped =
      text({8800, 1300, 1200, 260}, "A value far too long for its small box", {"Courier New", 10});
  clipped.wordWrap = false;
  add(clipped);
  for (int angle : {900, 2700, 450}) {
    doc::Text turned = text({400 + (angle / 450) * 700, 1800, 500, 2000}, "Turned head",
                            {"Arial", 10, true}, doc::HAlign::Center);
    turned.angle = angle;
    turned.border.left = turned.border.right = doc::LineStyle::Solid;
    add(turned);
  }
  doc::RichText rich;
  rich.box = {5000, 1800, 6000, 1400};
  rich.rtf =
      R"({\rtf1\ansi{\fonttbl{\f0 Arial;}{\f1 Times New Roman;}}{\colortbl ;\red0\green128\blue0;})"
      R"(\f1\b\fs28 Dear Zo\'eb,\par\pard\f0\b0\i\fs20\cf1 R\u233?sum\u233? \ul attached\ul0 \u8364?5\par})";
  rich.border.bottom = doc::LineStyle::Solid;
  add(rich);
  for (int i = 0; i < 5; ++i)
    add(doc::Line{5000, 3400 + i * 150, 11000, 3400 + i * 150 + i * 60, styles[i], 1 + i,
                  doc::rgb(30 * i, 0, 0)});
  for (int i = 0; i < 3; ++i)
    add(doc::Box{{400 + i * 1500, 4400, 1300, 900},
                 static_cast<doc::ShapeKind>(i),
                 doc::rgb(200, 220, 255),
                 styles[i + 1],
                 2});
  for (int i = 0; i < 4; ++i)
    add(doc::CheckBox{{5000 + i * 1500, 4400, 1400, 300},
                      i % 2 == 0,
                      i < 3 ? "Attending" : "",
                      {},
                      doc::kBlack,
                      static_cast<doc::HAlign>(i % 3)});
  doc::Border top;
  top.top = doc::LineStyle::Solid;
  for (auto mode : {doc::SizeMode::Clip, doc::SizeMode::Stretch, doc::SizeMode::Zoom})
    add(doc::Picture{
        {400 + static_cast<int>(mode) * 1500, 5600, 1300, 800}, quarteredPng(), mode, top});
  add(doc::Picture{{5000, 5600, 1200, 900}, solidPicture(8, 6, 0x20A040FF, "jpeg")});
  add(doc::Path{
      {7000, 5600, 2000, 1500},
      {doc::PathOp::MoveTo, doc::PathOp::CurveTo, doc::PathOp::LineTo, doc::PathOp::Close},
      {{0, 1500}, {0, 0}, {2000, 0}, {2000, 1500}, {1000, 1200}},
      doc::rgb(255, 0, 0),
      doc::rgb(0, 0, 255),
      doc::LineStyle::Solid,
      3});
  return p;
}

// Page `page` of `pdf` rasterized by poppler at 50 dpi: a grid of 10-pixel tiles, each holding
// the ink of each colour channel (255 less its value, summed).
std::vector<std::array<long, 3>> inkTiles(const std::string& pdf, int& cols, int page = 1) {
  const std::string n = std::to_string(page), png = pdf + n;
  const std::string cmd = "pdftoppm -r 50 -png -singlefile -f " + n + " -l " + n;
  EXPECT_EQ(run(cmd + " '" + pdf + "' '" + png + "'").status, 0);
  PngImage img(png + ".png");
  EXPECT_TRUE(img.ok());
  cols = (img.width() + 9) / 10;
  const int rows = (img.height() + 9) / 10;
  std::vector<std::array<long, 3>> tiles(static_cast<std::size_t>(cols * rows));
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) {
      const unsigned c = img.rgb(x, y);
      auto& t = tiles[static_cast<std::size_t>(y / 10 * cols + x / 10)];
      for (int k = 0; k < 3; ++k)
        t[static_cast<std::size_t>(k)] += 255 - ((c >> (16 - 8 * k)) & 0xFF);
    }
  return tiles;
}

std::string writeWith(bool cairo, const doc::Document& d, const std::string& path) {
  setCairoPdf(cairo);
  writePdf(d, path);
  setCairoPdf(false);
  return path;
}

TEST(PdfWriter, PagesLookAsCairoDrawsThem) {
  TempDir dir;
  doc::Document d;
  d.title = "Everything";
  d.pages = {everything(), densePage(1, 2)};
  d.pages[1].landscape = true;
  std::swap(d.pages[1].width, d.pages[1].height);
  const std::string own = writeWith(false, d, dir / "own.pdf");
  const std::string cairo = writeWith(true, d, dir / "cairo.pdf");
  EXPECT_EQ(run("qpdf --check '" + own + "'").status, 0) << run("qpdf --check '" + own + "'").out;
  for (int page = 1; page <= 2; ++page) {
    int cols = 0, cairoCols = 0;
    const auto a = inkTiles(own, cols, page);
    const auto b = inkTiles(cairo, cairoCols, page);
    ASSERT_EQ(cols, cairoCols);
    ASSERT_EQ(a.size(), b.size());
    // Each tile's ink within a fifth (and a little, for edges a fraction of a pixel apart).
    int differing = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
      for (std::size_t k = 0; k < 3; ++k)
        if (std::abs(a[i][k] - b[i][k]) > 600 + std::max(a[i][k], b[i][k]) / 5) {
          if (++differing <= 5)
            ADD_FAILURE() << "page " << page << ": tile at ("
                          << i % static_cast<std::size_t>(cols) * 10 << ", "
                          << i / static_cast<std::size_t>(cols) * 10 << ") px, channel " << k
                          << ": ink " << a[i][k] << " against cairo's " << b[i][k];
        }
    EXPECT_EQ(differing, 0) << "page " << page;
  }
}

// Words extract as they were written, whichever way they were drawn: plain lines, pango layouts
// (ligatures, combining accents, right-to-left), rich text and captions.
TEST(PdfWriter, TextExtractsAsWritten) {
  TempDir dir;
  const std::vector<std::string> texts = {"Bélanger, Zoë — «Ødegård» Łukasiewicz",
                                          "office affluent fjord",
                                          "Cafe\u0301 noe\u0308l",
                                          "Ελληνικά Русский",
                                          "\u05E9\u05DC\u05D5\u05DD world",
                                          "Tab\tseparated",
                                          "€1,234.56 ½ ™"};
  doc::Page p;
  int y = 400;
  for (const auto& t : texts) {
    p.items.push_back(item(text({400, y, 9000, 400}, t, {"Arial", 11})));
    doc::Text serif = text({400, y + 400, 9000, 400}, t, {"Times New Roman", 11, false, true});
    serif.angle = 900 * ((y / 800) % 2);
    if (serif.angle) serif.box = {9600, 400, 400, 9000};
    p.items.push_back(item(serif));
    y += 800;
  }
  p.items.push_back(item(doc::CheckBox{{400, y, 4000, 300}, false, "Invité à la réception"}));
  doc::RichText rich;
  rich.box = {400, y + 400, 6000, 2000};
  rich.rtf = R"({\rtf1\ansi\deff0{\fonttbl{\f0 Arial;}{\f1 Times New Roman;}})"
             R"(\qc\f1\b\fs32 Dear Zo\'eb \par\pard\f0\b0\i\fs20 R\u233?sum\u233? \u8364?\par})";
  p.items.push_back(item(rich));
  doc::Document d;
  d.pages = {p, doc::Page{}};
  d.pages[1].landscape = true;
  std::swap(d.pages[1].width, d.pages[1].height);
  d.title = "Zoë's «guest» list (draft)";
  const std::string own = writeWith(false, d, dir / "own.pdf");
  auto out = run("pdftotext -raw '" + own + "' -");
  ASSERT_EQ(out.status, 0) << out.out;
  // Poppler prints combining marks composed or not: compare both in the same normal form.
  auto normal = [](const std::string& t) {
    gchar* n = g_utf8_normalize(t.c_str(), -1, G_NORMALIZE_NFKC);
    std::string s(n);
    g_free(n);
    for (char& c : s)
      if (c == '\n' || c == '\t') c = ' ';
    return s;
  };
  const std::string hay = normal(out.out);
  for (const auto& t : texts) {
    std::string needle = normal(t);
    if (t.find('\t') != std::string::npos) needle = "Tab";
    if (t.find("\u05E9") != std::string::npos) needle = "world";
    EXPECT_THAT(hay, HasSubstr(needle));
  }
  EXPECT_THAT(out.out, HasSubstr("Invité à la réception"));
  EXPECT_THAT(out.out, HasSubstr("Dear Zoë"));
  EXPECT_THAT(out.out, HasSubstr("Résumé €"));
  // Rich text keeps its fonts: Times New Roman bold, Arial italic.
  const auto fonts = run("pdffonts '" + own + "'").out;
  EXPECT_THAT(fonts, HasSubstr("LiberationSerif-Bold"));
  EXPECT_THAT(fonts, HasSubstr("LiberationSans-Italic"));
  // The title and maker, and each page in its own size: the landscape one 792 x 612 points.
  auto info = run("pdfinfo -f 1 -l 2 '" + own + "'");
  EXPECT_THAT(info.out, HasSubstr("Zoë's «guest» list (draft)"));
  EXPECT_THAT(info.out, ContainsRegex("Creator: +Galvix Reports"));
  EXPECT_THAT(info.out, ContainsRegex("Page +1 size: +612 x 792"));
  EXPECT_THAT(info.out, ContainsRegex("Page +2 size: +792 x 612"));
}

// A character no installed font has still prints, as a box.
TEST(PdfWriter, CharacterNoFontHasPrintsAsABox) {
  TempDir dir;
  const doc::Document d = onePage({item(text({200, 200, 2000, 400}, "\uE000", {"Arial", 20}))});
  int cols = 0;
  const auto tiles = inkTiles(writeWith(false, d, dir / "own.pdf"), cols);
  long ink = 0;
  for (const auto& t : tiles) ink += t[0];
  EXPECT_GT(ink, 2000);
}

// A document drawn in many fonts and sizes embeds each face once, as a subset of what it used.
TEST(PdfWriter, EachFaceEmbeddedOnceAsASubset) {
  TempDir dir;
  doc::Document d = denseDocument(4);
  for (auto& page : d.pages)
    for (double size : {6.0, 8.5, 14.0, 30.0})
      page.items.push_back(item(text({720, 14000, 6000, 800}, "Size", {"Arial", size})));
  const std::string own = writeWith(false, d, dir / "own.pdf");
  const std::string cairo = writeWith(true, d, dir / "cairo.pdf");
  auto fonts = run("pdffonts '" + own + "'");
  std::istringstream lines(fonts.out);
  std::string line;
  std::vector<std::string> names;
  for (int i = 0; std::getline(lines, line); ++i) {
    if (i < 2) continue;  // heading and rule
    EXPECT_THAT(line, ContainsRegex("^[A-Z]{6}\\+")) << "not a subset: " << line;
    EXPECT_THAT(line, ContainsRegex("yes yes")) << "not embedded: " << line;
    names.push_back(line.substr(line.find('+') + 1, line.find(' ') - line.find('+') - 1));
  }
  std::vector<std::string> unique = names;
  std::sort(unique.begin(), unique.end());
  unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
  EXPECT_EQ(names.size(), unique.size()) << fonts.out;
  EXPECT_THAT(unique, ::testing::Contains("LiberationSans"));
  // Subsets: the whole file well under the size of one full face (Liberation Sans is 400 KB).
  EXPECT_LT(std::filesystem::file_size(own), 120'000u);
  EXPECT_LT(std::filesystem::file_size(own), std::filesystem::file_size(cairo) * 3 / 2);
}

}  // namespace
}  // namespace galvix::render

namespace galvix::render {
namespace {

// A page of `run`'s: a heading, and a footer whose total is only known once the run ends.
doc::Page streamedPage(int run, int n) {
  doc::Page p;
  p.items.push_back(item(testing::text({720, 720, 8000, 400},
                                       "Run " + std::to_string(run) + " page " + std::to_string(n),
                                       {"Arial", 14})));
  p.items.push_back(item(testing::text({720, 14000, 4000, 300}, "Page " + std::to_string(n) + " of",
                                       {"Arial", 9}, doc::HAlign::Right)));
  return p;
}

// Pages are written as they come; their totals, given at each run's end, are drawn into them.
TEST(PdfStream, RunsFollowOneAnotherWithTheirTotalsFilledIn) {
  TempDir dir;
  const std::string path = dir / "stream.pdf";
  {
    PdfStream pdf(path);
    for (int run = 1; run <= 2; ++run) {
      const int pages = run == 1 ? 3 : 2;
      for (int n = 1; n <= pages; ++n) pdf.page(streamedPage(run, n), {1});
      for (int n = 1; n <= pages; ++n)
        pdf.fill(static_cast<std::size_t>(n - 1), 1,
                 "Page " + std::to_string(n) + " of " + std::to_string(pages));
      pdf.runEnded();
    }
    EXPECT_FALSE(std::filesystem::exists(path));  // in place only once committed
    pdf.commit("Streamed");
    EXPECT_EQ(pdf.pageCount(), 5u);
  }
  EXPECT_EQ(run("qpdf --check '" + path + "'").status, 0);
  auto text = run("pdftotext -layout '" + path + "' -");
  for (const char* want :
       {"Run 1 page 3", "Page 3 of 3", "Run 2 page 1", "Page 1 of 2", "Page 2 of 2"})
    EXPECT_THAT(text.out, HasSubstr(want));
  EXPECT_THAT(text.out, ::testing::Not(HasSubstr("Page 3 of 2")));
  EXPECT_THAT(run("pdfinfo '" + path + "'").out, ::testing::ContainsRegex("Pages: +5"));
  // A total drawn later looks as it would have in the page.
  doc::Document whole;
  for (int n = 1; n <= 3; ++n) {
    whole.pages.push_back(streamedPage(1, n));
    std::get<doc::Text>(whole.pages.back().items[1].content).text =
        "Page " + std::to_string(n) + " of 3";
  }
  writePdf(whole, dir / "whole.pdf");
  EXPECT_EQ(run("pdftotext -layout -l 3 '" + path + "' -").out,
            run("pdftotext -layout '" + (dir / "whole.pdf") + "' -").out);
}

TEST(PdfStream, LeavesNothingUnlessCommittedAndAFailedWriteStopsTheRun) {
  TempDir dir;
  const std::string path = dir / "kept.pdf";
  { std::ofstream(path) << "the old file"; }
  {
    PdfStream pdf(path);
    pdf.page(streamedPage(1, 1), {});
  }  // a run that failed: the stream is dropped
  std::ifstream in(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "the old file");
  // A run cancelled after giving pages does not print them.
  PdfStream pdf(dir / "cancelled.pdf");
  pdf.page(streamedPage(1, 1), {});
  pdf.runCancelled();
  EXPECT_THROW(pdf.commit("x"), RenderError);
  EXPECT_FALSE(std::filesystem::exists(dir / "cancelled.pdf"));
  // No temporary file either.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);

  // Writing stops the run: a full disk fails its next page, not only the end.
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  PdfStream full("/dev/full");
  EXPECT_THROW(
      {
        for (int n = 1; n <= 2000; ++n) full.page(densePage(n, 2000), {});
        full.commit("x");
      },
      RenderError);
}

}  // namespace
}  // namespace galvix::render
