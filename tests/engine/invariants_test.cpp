// Randomised reports checked against what must hold for any of them: every row printed once
// and in order, nothing in the body outside the body area, pages numbered 1..N of N, no page
// without body content.
#include <numeric>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "engine/document_dump.h"
#include "engine_test_util.h"

namespace galvix::engine {
namespace {

struct Shape {
  int groups, columns;
  bool acrossDown;
  std::string json;
};

Shape randomLayout(std::mt19937& rng) {
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  Shape s{pick(0, 2), pick(1, 3), pick(0, 1) == 1, {}};
  const char* keeps[] = {"none", "firstDetail", "all"};
  std::string secs = R"J({"kind": "pageHeader", "name": "PageHeader", "height": )J" +
                     std::to_string(pick(0, 600)) + R"J(},)J";
  for (int g = 0; g < s.groups; ++g)
    secs += R"J({"kind": "groupHeader", "name": "gh)J" + std::to_string(g) +
            R"J(", "dataField": "K)J" + std::to_string(g) + R"J(", "height": )J" +
            std::to_string(pick(0, 700)) + R"J(, "groupKeepTogether": ")J" + keeps[pick(0, 2)] +
            R"J(", "newPage": ")J" + (pick(0, 6) == 0 ? "before" : "none") +
            R"J(", "repeatHeader": )J" + (pick(0, 1) ? "true" : "false") +
            R"J(, "columnLayout": )J" + (pick(0, 1) ? "true" : "false") +
            R"J(, "controls": [{"kind": "label", "name": "lblH)J" + std::to_string(g) +
            R"J(", "width": 500}]},)J";
  secs += R"J({"kind": "detail", "name": "Detail", "height": )J" + std::to_string(pick(100, 800)) +
          R"J(, "columns": {"count": )J" + std::to_string(s.columns) +
          R"J(, "spacing": 50, "direction": ")J" + (s.acrossDown ? "acrossDown" : "downAcross") +
          R"J("}, "controls": [
            {"kind": "field", "name": "txtId", "dataField": "Id", "width": 600, "height": 100},
            {"kind": "field", "name": "txtNote", "dataField": "Note", "top": 100, "width": 1200,
             "height": 0, "canGrow": true},
            {"kind": "subReport", "name": "srptSub", "left": 1300, "top": 100, "width": 1000}]},)J";
  for (int g = s.groups - 1; g >= 0; --g)
    secs += R"J({"kind": "groupFooter", "name": "gf)J" + std::to_string(g) + R"J(", "height": )J" +
            std::to_string(pick(0, 500)) + R"J(, "newPage": ")J" +
            (pick(0, 5) == 0 ? "after" : "none") +
            R"J(", "controls": [{"kind": "label", "name": "lblF)J" + std::to_string(g) +
            R"J(", "width": 500}]},)J";
  secs += R"J({"kind": "pageFooter", "name": "PageFooter", "height": )J" +
          std::to_string(pick(0, 600)) + R"J(, "controls": [
            {"kind": "field", "name": "Field3", "width": 400, "height": 0, "summary": {"type": "pageCount", "running": "all"}},
            {"kind": "field", "name": "txtPageTtl", "left": 400, "width": 400, "height": 0, "summary": {"type": "pageCount"}}]}
          )J";
  s.json = R"J({"version": 1, "name": "rptRandom",
    "page": {"paperWidth": 8000, "paperHeight": 6000,
             "margins": {"left": 400, "right": 400, "top": 400, "bottom": 400}},
    "sections": [)J" +
           secs + "]}";
  return s;
}

TEST(Invariants, RandomReportsPaginateSoundly) {
  std::mt19937 rng(20261123);
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  for (int iter = 0; iter < 300; ++iter) {
    Shape shape = randomLayout(rng);
    Report r(test::layoutOf(shape.json));
    const int n = pick(0, 70);
    std::vector<RowValues> rows;
    int k0 = 0, k1 = 0;
    for (int i = 0; i < n; ++i) {
      if (pick(0, 9) == 0) ++k0;
      if (pick(0, 4) == 0) ++k1;
      std::string note(static_cast<std::size_t>(pick(0, 40)), 'w');
      for (std::size_t c = 7; c < note.size(); c += 8) note[c] = ' ';
      rows.push_back({i, k0, k1, Variant::string(note)});
    }
    r.data().setRows({"Id", "K0", "K1", "Note"}, std::move(rows));
    // Some reports print a child report of 0 to 12 rows in each detail (not in columns, where
    // a band is never split).
    const bool withChild = pick(0, 2) == 0 && shape.columns == 1;
    const int childH = pick(100, 400);
    std::mt19937 childRng(static_cast<unsigned>(iter));
    r.onFormat("Detail", [&] {
      if (!withChild) return;
      auto child = std::make_shared<Report>(test::layoutOf(
          R"J({"version": 1, "name": "srptChild", "sections": [{"kind": "detail", "name": "Detail",
              "height": )J" +
          std::to_string(childH) + R"J(, "controls": [{"kind": "field",
              "name": "txtSub", "dataField": "S", "width": 900, "height": 100}]}]})J"));
      std::vector<RowValues> sub(
          static_cast<std::size_t>(std::uniform_int_distribution<int>(0, 12)(childRng)),
          RowValues{Variant::string("s")});
      child->data().setRows({"S"}, std::move(sub));
      r.subReport("srptSub").setReport(child);
    });
    auto res = test::run(r);
    const auto& d = res.document;
    const std::string where =
        "iteration " + std::to_string(iter) + "\n" + shape.json + "\n" + dumpDocument(d);
    ASSERT_FALSE(d.pages.empty()) << where;

    const int pages = static_cast<int>(d.pages.size());
    const std::int32_t footerH = static_cast<std::int32_t>(r.section("PageFooter").height());
    std::vector<int> ids;
    for (int p = 0; p < pages; ++p) {
      const auto& pg = d.pages[static_cast<std::size_t>(p)];
      const std::int32_t bodyTop = 400, bodyBottom = pg.height - 400 - footerH;
      int body = 0;
      for (const auto& it : pg.items) {
        if (it.section == "PageHeader" || it.section == "PageFooter") continue;
        ++body;
        const auto* t = std::get_if<doc::Text>(&it.content);
        if (!t) continue;
        EXPECT_GE(t->box.top, bodyTop) << where;
        // Bands no taller than the body never reach into the footer.
        EXPECT_LE(t->box.top + t->box.height, bodyBottom)
            << it.section << "/" << it.control << " p" << p + 1 << "\n"
            << where;
        EXPECT_LE(t->box.left + t->box.width, 400 + 7200 + 1) << where;
        if (it.control == "txtId") ids.push_back(std::stoi(t->text));
      }
      EXPECT_TRUE(body > 0 || (pages == 1 && n == 0)) << "page " << p + 1 << " has no body\n"
                                                      << where;
      EXPECT_EQ(test::texts(d, p + 1, "Field3").at(0)->text, std::to_string(p + 1)) << where;
      EXPECT_EQ(test::texts(d, p + 1, "txtPageTtl").at(0)->text, std::to_string(pages)) << where;
    }
    std::vector<int> expected(static_cast<std::size_t>(n));
    std::iota(expected.begin(), expected.end(), 0);
    if (shape.columns == 1) {
      EXPECT_EQ(ids, expected) << where;
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, expected) << where;
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace galvix::engine
