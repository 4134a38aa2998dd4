// Packed pages come back exactly as they went in, from memory and from the spill file, and a run
// that packs its pages prints what a run that keeps them prints.
#include <gtest/gtest.h>

#include <filesystem>

#include "doc/page_store.h"
#include "engine/document_dump.h"
#include "engine_test_util.h"

namespace galvix::doc {
namespace {

using engine::dumpDocument;

Page everyKind(int n) {
  Page p;
  p.width = 12240 + n;
  p.height = 15840;
  p.landscape = n % 2 == 1;
  auto add = [&](auto content, std::string control) {
    Item i;
    i.content = std::move(content);
    i.section = n % 3 ? "Detail" : "PageHeader";
    i.control = std::move(control);
    i.row = n;
    p.items.push_back(std::move(i));
  };
  Text t;
  t.box = {1, 2, 3, 4};
  t.text = "Ana Garc\u00eda, guest " + std::to_string(n) + std::string(n % 50, 'x');
  t.font = Font{n % 2 ? "Arial" : "Times New Roman", 9.5, true, false, n % 3 == 0, false};
  t.foreColor = rgb(1, 2, 3);
  t.backColor = n % 2 ? std::optional<Color>(rgb(4, 5, 6)) : std::nullopt;
  t.align = HAlign::Center;
  t.valign = VAlign::Bottom;
  t.angle = 900;
  t.wordWrap = false;
  t.border.bottom = LineStyle::Dash;
  t.border.weight = 3;
  add(t, "txtName");
  add(RichText{{5, 6, 7, 8}, "{\\rtf1 hi}", rgb(9, 9, 9), {}}, "rtfNote");
  add(Line{1, 2, 3, 4, LineStyle::DashDot, 2, rgb(7, 7, 7)}, "Line1");
  add(Box{{9, 8, 7, 6}, ShapeKind::Ellipse, rgb(1, 1, 1), LineStyle::Dot, 4, rgb(2, 2, 2)}, "shp");
  add(CheckBox{{3, 3, 3, 3}, true, "Attending", Font{"Arial", 8}, rgb(0, 0, 9), HAlign::Right},
      "chk");
  static const auto logo = std::make_shared<const std::vector<std::uint8_t>>(100, 7);
  add(Picture{{0, 0, 10, 10}, logo, SizeMode::Stretch, {}}, "imgLogo");
  Path path;
  path.box = {0, 0, 100, 100};
  path.ops = {PathOp::MoveTo, PathOp::LineTo, PathOp::CurveTo, PathOp::Close};
  path.points = {{0, 0}, {10, 0}, {10, 5}, {5, 10}, {0, 10}};
  path.fill = rgb(1, 0, 0);
  path.fillTo = rgb(0, 0, 1);
  add(path, "slice");
  return p;
}

TEST(PageStore, PagesComeBackAsTheyWentInWithTheirLateTexts) {
  const std::string tmp = ::testing::TempDir();
  PageStore store(tmp);
  Document whole;
  // Enough pages to pass the spill size, so some come back from the file.
  const int n = 9000;
  for (int i = 0; i < n; ++i) {
    Page p = everyKind(i);
    for (int k = 0; k < 40; ++k) p.items.push_back(p.items.front());
    store.add(p);
  }
  store.setText(7, 0, "of 9000");
  EXPECT_TRUE(store.spilled());
  EXPECT_LT(store.bytesInMemory(), PageStore::kSpillBytes);
  store.seal();
  EXPECT_EQ(store.bytesInMemory(), 0u);
  EXPECT_EQ(store.size(), static_cast<std::size_t>(n));
  for (int i : {0, 1, 7, 4500, n - 1}) {
    Page expected = everyKind(i);
    for (int k = 0; k < 40; ++k) expected.items.push_back(expected.items.front());
    if (i == 7) std::get<Text>(expected.items[0].content).text = "of 9000";
    Page got;
    store.read(static_cast<std::size_t>(i), got);
    Document a, b;
    a.pages.push_back(expected);
    b.pages.push_back(got);
    EXPECT_EQ(dumpDocument(b), dumpDocument(a)) << "page " << i;
    EXPECT_EQ(std::get<Picture>(got.items[5].content).data,
              std::get<Picture>(expected.items[5].content).data);
  }
  // The spill file is unlinked at once: nothing is left in the folder.
  for (const auto& e : std::filesystem::directory_iterator(tmp))
    EXPECT_EQ(e.path().filename().string().rfind("galvix-pages-", 0), std::string::npos);
}

TEST(PageStore, PackedRunPrintsWhatAKeptRunPrints) {
  using namespace engine;
  auto make = [] {
    auto r = std::make_unique<Report>(test::layoutOf(test::layoutJson("rptPack", R"(
        {"kind": "pageHeader", "name": "PageHeader", "height": 300, "controls": [
          {"kind": "field", "name": "txtPage", "width": 500, "height": 300,
           "summary": {"type": "pageCount", "running": "all"}},
          {"kind": "field", "name": "txtPages", "left": 600, "width": 500, "height": 300,
           "summary": {"type": "pageCount"}}]},
        {"kind": "detail", "name": "Detail", "height": 300, "controls": [
          {"kind": "field", "name": "txtN", "dataField": "N", "width": 1000, "height": 300}]})")));
    std::vector<RowValues> rows;
    for (int i = 0; i < 100; ++i) rows.push_back({Variant(i)});
    r->data().setRows({"N"}, rows);
    return r;
  };
  FixedMetricMeasurer m;
  RunOptions kept, packed;
  kept.measurer = packed.measurer = &m;
  packed.packPages = true;
  auto a = make();
  auto b = make();
  const RunResult keptRun = runReport(*a, kept);
  const RunResult packedRun = runReport(*b, packed);
  EXPECT_TRUE(packedRun.document.pages.empty());
  ASSERT_EQ(packedRun.document.stores.size(), 1u);
  EXPECT_GT(packedRun.document.pageCount(), 5u);
  EXPECT_EQ(dumpDocument(packedRun.document), dumpDocument(keptRun.document));
}

}  // namespace
}  // namespace galvix::doc
