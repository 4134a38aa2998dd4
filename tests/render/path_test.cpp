// Filled and shaded figures: drawn where their box says, and kept as vector drawing in PDF and
// SVG (no picture of them is embedded).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "render/render.h"
#include "render_sample.h"
#include "render_test_util.h"

namespace galvix::render {
namespace {

using namespace testing;

// A 1-inch square at (1 in, 1 in) drawn as two triangles, one flat red, one shaded blue to green.
doc::Document squares() {
  doc::Path red;
  red.box = {1440, 1440, 1440, 1440};
  red.ops = {doc::PathOp::MoveTo, doc::PathOp::LineTo, doc::PathOp::LineTo, doc::PathOp::Close};
  red.points = {{0, 0}, {1440, 0}, {0, 1440}};
  red.fill = doc::rgb(255, 0, 0);
  doc::Path shaded = red;
  shaded.points = {{1440, 0}, {1440, 1440}, {0, 1440}};
  shaded.fill = doc::rgb(0, 0, 255);
  shaded.fillTo = doc::rgb(0, 255, 0);
  shaded.style = doc::LineStyle::Solid;
  // A curve too, and a figure that lacks its last point: drawn as far as it goes.
  doc::Path curve;
  curve.box = {100, 100, 400, 400};
  curve.ops = {doc::PathOp::MoveTo, doc::PathOp::CurveTo, doc::PathOp::LineTo};
  curve.points = {{0, 0}, {400, 0}, {400, 400}, {0, 400}};
  curve.style = doc::LineStyle::Solid;
  return onePage({item(red), item(shaded), item(curve)}, 4320, 4320);
}

TEST(Path, FillsWhereItsBoxSaysShadesAndStaysVector) {
  TempDir dir;
  PngImage img(renderPng(dir, squares()));
  ASSERT_TRUE(img.ok());
  EXPECT_EQ(img.rgb(80, 80), 0xFF0000u);  // inside the red triangle
  EXPECT_EQ(img.rgb(60, 60), 0xFFFFFFu);  // outside the square
  const std::uint32_t top = img.rgb(142, 78), bottom = img.rgb(140, 142);
  EXPECT_GT(top & 0xFF, 0xC0u);            // mostly blue near the box's top
  EXPECT_GT((bottom >> 8) & 0xFF, 0xC0u);  // mostly green near its bottom
  EXPECT_LT(bottom & 0xFF, 0x40u);

  // Kept as vector drawing in PDF and SVG: no picture of the figures is embedded.
  const std::string pdf = dir / "p.pdf";
  writePdf(squares(), pdf);
  auto images = run("pdfimages -list '" + pdf + "'");
  ASSERT_EQ(images.status, 0) << images.out;
  EXPECT_EQ(std::count(images.out.begin(), images.out.end(), '\n'), 2)  // heading and rule only
      << "images embedded:\n"
      << images.out;
  const std::string content = slurp(writeSvg(squares(), dir / "p").at(0));
  EXPECT_THAT(content, ::testing::HasSubstr("<path"));
  EXPECT_THAT(content, ::testing::HasSubstr("linearGradient"));
  EXPECT_THAT(content, ::testing::Not(::testing::HasSubstr("<image")));
}

}  // namespace
}  // namespace galvix::render
