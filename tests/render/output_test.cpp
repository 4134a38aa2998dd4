// Files the sinks write, and what rendered pages show, checked in their pixels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "render/render.h"
#include "render_sample.h"
#include "render_test_util.h"

// fontconfig keeps its parsed configuration and pattern caches for the life of the process,
// out of reach of leak checking.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace galvix::render {
namespace {

using namespace testing;
using ::testing::HasSubstr;

constexpr auto kNoLine = doc::LineStyle::Transparent;

TEST(Sinks, OneFilePerPageForPngAndSvgAndABlankOneForNoPages) {
  TempDir dir;
  doc::Document d = denseDocument(2);
  auto png = writePng(d, dir / "r", 150);
  ASSERT_EQ(png, (std::vector<std::string>{dir / "r-1.png", dir / "r-2.png"}));
  PngImage img(png[1]);
  ASSERT_TRUE(img.ok());
  EXPECT_EQ(img.width(), 1275);  // 8.5 in at 150 dpi
  EXPECT_EQ(img.height(), 1650);

  auto svg = writeSvg(d, dir / "r");
  ASSERT_EQ(svg, (std::vector<std::string>{dir / "r-1.svg", dir / "r-2.svg"}));
  EXPECT_THAT(slurp(svg[0]), HasSubstr("<svg"));
  EXPECT_THAT(slurp(svg[0]), HasSubstr("width=\"612pt\""));
  // No temporary files are left behind.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 4);

  // An empty document gives one blank page.
  writePdf(doc::Document{}, dir / "e.pdf");
  EXPECT_EQ(run("qpdf --check '" + (dir / "e.pdf") + "'").status, 0);
  EXPECT_EQ(writePng(doc::Document{}, dir / "e").size(), 1u);
}

TEST(Sinks, FailedWriteLeavesNoFileAndKeepsTheOldOne) {
  TempDir dir;
  EXPECT_THROW(writePng(denseDocument(1), dir / "x", 0), RenderError);
  try {
    writePdf(denseDocument(1), dir / "missing/report.pdf");
    ADD_FAILURE() << "written into a missing folder";
  } catch (const RenderError& e) {
    EXPECT_THAT(e.what(), HasSubstr("missing/report.pdf"));
  }
  // A good file is replaced whole.
  const std::string pdf = dir / "r.pdf";
  writePdf(denseDocument(1), pdf);
  const auto first = std::filesystem::file_size(pdf);
  writePdf(denseDocument(2), pdf);
  EXPECT_GT(std::filesystem::file_size(pdf), first);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(Sinks, LinksAreWrittenThroughAndPipesAndDevicesNeverReplaced) {
  namespace fs = std::filesystem;
  TempDir dir;
  // A link keeps pointing at its target, which now holds the report.
  const std::string target = dir / "real.pdf", link = dir / "link.pdf";
  fs::create_symlink("real.pdf", link);
  writePdf(denseDocument(1), link);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(run("qpdf --check '" + target + "'").status, 0);

  // A FIFO gets the bytes and stays a FIFO.
  const std::string fifo = dir / "pipe.pdf";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::string got;
  std::thread reader([&] {
    std::ifstream in(fifo, std::ios::binary);
    got.assign(std::istreambuf_iterator<char>(in), {});
  });
  writePdf(denseDocument(1), fifo);
  reader.join();
  EXPECT_EQ(got.rfind("%PDF-", 0), 0u);
  EXPECT_TRUE(fs::is_fifo(fifo));

  // A device is written to, not replaced by a file.
  writePdf(denseDocument(1), "/dev/null");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));

  // A folder is refused in plain words.
  try {
    writePdf(denseDocument(1), dir.path().string() + "/");
    ADD_FAILURE() << "a folder was taken as the output";
  } catch (const RenderError& e) {
    EXPECT_THAT(e.what(), HasSubstr("is a folder"));
  }
}

TEST(Sinks, NoTemporaryOutlivesItsRun) {
  namespace fs = std::filesystem;
  TempDir dir;
  const std::string out = dir / "big.pdf";
  // Left by a run killed outright: its process is gone, so the next write removes it. One of
  // a live process (this one) is left alone.
  const std::string stale = dir / ".big.pdf.999999999.AbCdEf";
  const std::string live = dir / (".big.pdf." + std::to_string(::getpid()) + ".AbCdEf");
  std::ofstream(stale) << "partial";
  std::ofstream(live) << "partial";
  writePdf(denseDocument(1), out);
  EXPECT_FALSE(fs::exists(stale));
  EXPECT_TRUE(fs::exists(live));
  fs::remove(live);

  // Interrupted while writing: the signal removes the temporary file, the old report stays.
  const auto before = fs::file_size(out);
  const pid_t child = ::fork();
  if (child == 0) {
    removePartialOutputsOnSignals();
    for (;;) writePdf(denseDocument(200), out);
  }
  auto temporaries = [&] {
    int n = 0;
    for (const auto& e : fs::directory_iterator(dir.path()))
      n += e.path().filename().string().rfind(".big.pdf.", 0) == 0;
    return n;
  };
  for (int i = 0; i < 2000 && temporaries() == 0; ++i) ::usleep(5000);
  const int writing = temporaries();
  ::kill(child, SIGTERM);
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(writing, 1);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_EQ(temporaries(), 0);
  EXPECT_TRUE(fs::exists(out));
  EXPECT_GE(fs::file_size(out), before);
}

// Colours as the platform packs them (red in the low byte), and rich text's colour table.
TEST(Drawing, PackedColoursHaveRedInTheLowByte) {
  TempDir dir;
  doc::Text t = text({200, 200, 400, 400}, "");
  t.backColor = doc::rgb(255, 0, 0);
  // Blue as the platform packs it.
  const doc::Box b{{1000, 200, 400, 400}, doc::ShapeKind::Rectangle, 0xFF0000, kNoLine};
  doc::RichText r;
  r.box = {200, 1000, 2600, 1000};
  r.rtf = R"({\rtf1{\fonttbl{\f0 Arial;}}{\colortbl ;\red255\green0\blue0;}\f0\fs28 Black\par)"
          R"(\cf1 R\u233?sum\u233? in red\par})";
  PngImage img(renderPng(dir, onePage({item(t), item(b), item(r)})));
  EXPECT_EQ(img.rgb(20, 20), 0xFF0000u);
  EXPECT_EQ(img.rgb(60, 20), 0x0000FFu);
  EXPECT_EQ(img.rgb(40, 20), 0xFFFFFFu);
  int red = 0, black = 0;
  for (int y = 50; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) {
      red += (img.rgb(x, y) & 0xFF0000) > 0xC00000 && (img.rgb(x, y) & 0xFF00) < 0x4000;
      black += img.rgb(x, y) == 0;
    }
  EXPECT_GT(red, 20);
  EXPECT_GT(black, 20);
}

TEST(Drawing, AlignmentRotationAndClipping) {
  TempDir dir;
  // Right and bottom aligned: ink hugs the box's bottom right corner.
  doc::Text br = text({200, 200, 2000, 1000}, "Total", doc::Font{"Arial", 12}, doc::HAlign::Right);
  br.valign = doc::VAlign::Bottom;
  PngImage a(renderPng(dir, onePage({item(br)})));
  auto ink = a.inkBox();
  EXPECT_NEAR(ink[2], 110, 2);
  EXPECT_NEAR(ink[3], 60, 4);

  // A quarter turn in a tall narrow box (a column head over check boxes): the text runs
  // upwards, so its ink is tall and narrow; alignment is meant on the page, so centre/bottom
  // puts it over the middle of the column, ending at the box's bottom.
  doc::Text up =
      text({1000, 200, 540, 1530}, "Reception", doc::Font{"Arial", 10}, doc::HAlign::Center);
  up.angle = 900;
  up.valign = doc::VAlign::Bottom;
  PngImage b(renderPng(dir, onePage({item(up)})));
  ink = b.inkBox();
  ASSERT_GE(ink[0], 0);
  EXPECT_GT(ink[3] - ink[1], 3 * (ink[2] - ink[0]));
  EXPECT_NEAR((ink[0] + ink[2]) / 2.0, 1270 / 20.0, 2);
  EXPECT_NEAR(ink[3], 1730 / 20.0, 2);
  EXPECT_GT(ink[1], 30);

  // Turned the other way, page-left alignment starts the text at the top.
  up.angle = 2700;
  up.valign = doc::VAlign::Top;
  up.align = doc::HAlign::Left;
  PngImage c(renderPng(dir, onePage({item(up)})));
  ink = c.inkBox();
  EXPECT_NEAR(ink[1], 10, 2);
  EXPECT_LT(ink[3], 60);
  EXPECT_LE(ink[0], 1000 / 20 + 2);

  // Text is clipped to its box.
  doc::Text t = text({400, 400, 600, 300}, "WWWWWWWWWWWWWWWWWWWWWWWWWWWWWW\nWWWWWWWW\nWWWWWWWW",
                     doc::Font{"Arial", 20});
  t.wordWrap = false;
  PngImage clip(renderPng(dir, onePage({item(t)})));
  ink = clip.inkBox();
  ASSERT_GE(ink[0], 0);
  EXPECT_GE(ink[0], 20);
  EXPECT_GE(ink[1], 20);
  EXPECT_LE(ink[2], 50);
  EXPECT_LE(ink[3], 35);
}

TEST(Drawing, CheckBoxesLinesAndBorders) {
  TempDir dir;
  const doc::CheckBox on{{200, 200, 300, 300}, true, "", {}, doc::kBlack, doc::HAlign::Center};
  const doc::CheckBox off{{800, 200, 300, 300}, false, "", {}, doc::kBlack, doc::HAlign::Center};
  doc::Line dashed{200, 1000, 2600, 1000, doc::LineStyle::Dash, 2};
  doc::Text bordered = text({200, 1400, 1000, 400}, "");
  bordered.border.bottom = doc::LineStyle::Solid;
  bordered.border.weight = 2;
  PngImage img(renderPng(dir, onePage({item(on), item(off), item(dashed), item(bordered)})));
  // Ticked: ink in the middle of the square; not ticked: only the frame.
  EXPECT_TRUE(img.dark(17, 17) || img.dark(17, 18) || img.dark(18, 17));
  EXPECT_FALSE(img.dark(47, 17));
  EXPECT_TRUE(img.dark(43, 13));
  // A dashed line has gaps; a solid border does not.
  int dashedDark = 0, borderDark = 0;
  for (int x = 10; x < 130; ++x) dashedDark += img.dark(x, 50);
  for (int x = 11; x < 59; ++x) borderDark += img.dark(x, 90);
  EXPECT_GT(dashedDark, 60);
  EXPECT_LT(dashedDark, 110);
  EXPECT_EQ(borderDark, 48);
}

// A check box is white inside whatever lies under it: a coloured band, a line through it, a
// text. On bare paper its square is left unfilled (paper is white); the pixels are those of the
// same page drawn over a white sheet, where every square is filled.
TEST(Drawing, CheckBoxesWhiteInsideOverAnythingAndAsBeforeOnPaper) {
  TempDir dir;
  std::vector<doc::Item> items;
  items.push_back(item(doc::Box{{100, 100, 1000, 400}, {}, doc::rgb(0, 0, 200), kNoLine}));
  items.push_back(item(doc::Line{100, 950, 3000, 950, doc::LineStyle::Solid, 3}));
  items.push_back(item(text({1500, 1300, 1200, 400}, "WWWWWWWW")));
  for (int i = 0; i < 8; ++i)
    items.push_back(item(doc::CheckBox{{200 + i * 350, i < 4 ? 150 : 800, 300, 300},
                                       i % 2 == 1,
                                       "",
                                       {},
                                       doc::kBlack,
                                       doc::HAlign::Center}));
  items.push_back(item(doc::CheckBox{{1600, 1350, 300, 300}}));  // on the text
  items.push_back(item(doc::CheckBox{{200, 2000, 300, 300}}));   // nothing under it
  items.push_back(item(doc::CheckBox{{1000, 2000, 1500, 300}, false, "Attending"}));

  PngImage img(renderPng(dir, onePage(items, 4000, 3000)));
  // The middle of each unticked square is white: over the band, on the line, on the text.
  for (int i : {0, 2, 4, 6}) {
    const int x = (200 + i * 350 + 150) / 20, y = ((i < 4 ? 150 : 800) + 150) / 20;
    EXPECT_EQ(img.rgb(x, y), 0xFFFFFFu) << "box " << i;
  }
  EXPECT_EQ(img.rgb((1600 + 150) / 20 - 2, (1350 + 150) / 20), 0xFFFFFFu);

  std::vector<doc::Item> overSheet{item(doc::Box{{0, 0, 4000, 3000}, {}, doc::kWhite, kNoLine})};
  overSheet.insert(overSheet.end(), items.begin(), items.end());
  PngImage filled(renderPng(dir, onePage(overSheet, 4000, 3000)));
  ASSERT_EQ(img.width(), filled.width());
  int differ = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) differ += img.rgb(x, y) != filled.rgb(x, y);
  EXPECT_EQ(differ, 0);
}

}  // namespace
}  // namespace galvix::render
