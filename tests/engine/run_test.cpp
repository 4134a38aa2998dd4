#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "engine/document_dump.h"
#include "engine_test_util.h"

namespace galvix::engine {
namespace {

using namespace test;

// The whole event order: two group levels, a subreport in the outer header, three pages.

constexpr const char* kChild = R"({"version": 1, "name": "srptChild", "sections": [
  {"kind": "detail", "name": "Detail", "height": 150,
   "controls": [{"kind": "field", "name": "txtItem", "dataField": "Item", "width": 1000, "height": 150}]}]})";

class Child : public LoggingReport {
 public:
  Child(std::vector<std::string>* log, std::string key)
      : LoggingReport(layoutOf(kChild), log, "  child " + key + ": ") {
    data().setRows({"Item"}, rows({{key + "1"}, {key + "2"}}));
  }
};

class Parent : public LoggingReport {
 public:
  explicit Parent(std::vector<std::string>* log)
      : LoggingReport(layoutOf(layoutJson("rptParent", R"(
      {"kind": "pageHeader", "name": "PageHeader", "height": 300},
      {"kind": "groupHeader", "name": "ghOuter", "dataField": "Cat", "height": 200,
       "controls": [{"kind": "subReport", "name": "srptItems", "top": 100, "width": 2000, "height": 100}]},
      {"kind": "groupHeader", "name": "ghInner", "dataField": "Sub", "height": 300},
      {"kind": "detail", "name": "Detail", "height": 300},
      {"kind": "groupFooter", "name": "gfInner", "height": 200},
      {"kind": "groupFooter", "name": "gfOuter", "height": 200},
      {"kind": "pageFooter", "name": "PageFooter", "height": 300},
      {"kind": "reportFooter", "name": "ReportFooter", "height": 500})")),
                      log) {
    data().setRows({"Cat", "Sub"},
                   rows({{"A", "x"}, {"A", "x"}, {"A", "y"}, {"B", "z"}, {"B", "z"}, {"B", "z"}}));
    // A fresh child per outer group, keyed by the group's row.
    onFormat("ghOuter", [this] {
      subReport("srptItems")
          .setReport(std::make_shared<Child>(log_, data().recordset().value("Cat").toString()));
    });
  }
  void onReportStart() override {
    LoggingReport::onReportStart();
    add("  (recordset has " + std::to_string(data().recordset().fieldCount()) + " fields)");
  }
};

TEST(EventOrder, TwoGroupsSubreportThreePages) {
  std::vector<std::string> log;
  auto res = [&] {
    Parent p(&log);
    return test::run(p);
  }();
  ASSERT_EQ(res.document.pages.size(), 3u);
  std::ifstream in(std::string(GALVIX_SOURCE_DIR) + "/tests/engine/golden/event_order.txt");
  const std::string expected(std::istreambuf_iterator<char>(in), {});
  EXPECT_EQ(test::join(log), expected) << "actual log:\n" << test::join(log);
  // The child's rows print inside the outer header, which grew to hold them.
  EXPECT_EQ(allTexts(res.document, "txtItem"), (Strings{"A1", "A2", "B1", "B2"}));
  auto a1 = texts(res.document, 1, "txtItem");
  ASSERT_EQ(a1.size(), 2u);
  EXPECT_EQ(a1[0]->box.top, 500 + 300 + 100);
  EXPECT_EQ(a1[1]->box.top, 500 + 300 + 100 + 150);
}

// A group header's BeforePrint sees what its details' Formats accumulated; every band
// instance gets back its own values for its BeforePrint.
TEST(GroupHeader, BeforePrintReadsCountOfItsDetails) {
  Report r(layoutOf(layoutJson("rptCount", R"(
      {"kind": "groupHeader", "name": "ghParty", "dataField": "Party", "height": 300,
       "controls": [{"kind": "field", "name": "txtParty", "dataField": "Party", "width": 1000, "height": 300},
                    {"kind": "field", "name": "txtCount", "left": 1000, "width": 500, "height": 300}]},
      {"kind": "detail", "name": "Detail", "height": 300,
       "controls": [{"kind": "field", "name": "txtName", "dataField": "Name", "width": 1000, "height": 300}]},
      {"kind": "groupFooter", "name": "gfParty", "height": 0})")));
  r.data().setRows({"Party", "Name"},
                   rows({{"P1", "a"}, {"P1", "b"}, {"P2", "c"}, {"P2", "d"}, {"P2", "e"}}));
  int count = 0;
  std::vector<std::string> seenAtHeader, seenAtDetail;
  r.onFormat("ghParty", [&] { count = 0; });
  r.onFormat("Detail", [&] { ++count; });
  r.onBeforePrint("ghParty", [&] {
    r.field("txtCount").setText(std::to_string(count));
    seenAtHeader.push_back(r.field("txtParty").text() + "/" +
                           r.data().recordset().value("Name").toString());
  });
  r.onBeforePrint("Detail", [&] { seenAtDetail.push_back(r.field("txtName").text()); });
  auto res = test::run(r);
  EXPECT_EQ(allTexts(res.document, "txtCount"), (Strings{"2", "3"}));
  // The header's own row (the group's first), not the cursor's, at its BeforePrint.
  EXPECT_EQ(seenAtHeader, (Strings{"P1/a", "P2/c"}));
  EXPECT_EQ(seenAtDetail, (Strings{"a", "b", "c", "d", "e"}));
}

// A designer whose headers read nothing their details leave lets the details go out as they are
// formatted (a large party is not held whole); a header printing its group's subtotal still waits.
TEST(GroupHeader, IndependentHeadersLetDetailsGoOutAsFormatted) {
  auto make = [](bool subtotal, std::vector<std::string>* log) {
    const std::string total =
        subtotal ? R"(, {"kind": "field", "name": "txtTotal", "dataField": "N", "left": 1000,
                       "width": 500, "height": 300, "summary": {"type": "subTotal", "group": "ghParty"}})"
                 : "";
    auto r = std::make_unique<LoggingReport>(layoutOf(layoutJson("rptStream", R"(
        {"kind": "groupHeader", "name": "ghParty", "dataField": "Party", "height": 300,
         "controls": [{"kind": "field", "name": "txtParty", "dataField": "Party", "width": 1000,
                       "height": 300})" + total + R"(]},
        {"kind": "groupHeader", "name": "ghHeads", "height": 300},
        {"kind": "detail", "name": "Detail", "height": 300,
         "controls": [{"kind": "field", "name": "txtN", "dataField": "N", "width": 1000, "height": 300}]},
        {"kind": "groupFooter", "name": "gfHeads", "height": 0},
        {"kind": "groupFooter", "name": "gfParty", "height": 0})")),
                                             log);
    r->data().setRows({"Party", "N"}, rows({{"P1", 1}, {"P1", 2}, {"P1", 3}, {"P2", 4}}));
    r->setHeadersIndependentOfDetails();
    return r;
  };
  auto at = [](const std::vector<std::string>& log, const std::string& line) {
    auto it = std::find(log.begin(), log.end(), line);
    EXPECT_NE(it, log.end()) << line;
    return it - log.begin();
  };
  std::vector<std::string> log;
  auto r = make(false, &log);
  auto res = test::run(*r);
  EXPECT_LT(at(log, "BeforePrint Detail row=0"), at(log, "Format Detail row=1"));
  EXPECT_LT(at(log, "BeforePrint ghParty row=0"), at(log, "Format Detail row=1"));
  EXPECT_EQ(allTexts(res.document, "txtN"), (Strings{"1", "2", "3", "4"}));

  std::vector<std::string> held;
  auto withTotal = make(true, &held);
  res = test::run(*withTotal);
  EXPECT_GT(at(held, "BeforePrint ghParty row=0"), at(held, "Format Detail row=2"));
  EXPECT_EQ(allTexts(res.document, "txtTotal"), (Strings{"6", "4"}));
}

// Running heads: PageStart captions from the page's first row. The page total on every page, in
// its box (the running page number is checked on random reports in invariants_test).
TEST(Pages, RunningHeadsAndPageTotal) {
  class R : public Report {
   public:
    R()
        : Report(layoutOf(layoutJson("rptHeads", R"(
        {"kind": "pageHeader", "name": "PageHeader", "height": 300,
         "controls": [{"kind": "label", "name": "lblFrom", "width": 1000, "height": 300}]},
        {"kind": "detail", "name": "Detail", "height": 600,
         "controls": [{"kind": "field", "name": "txtName", "dataField": "Name", "width": 1000, "height": 300}]},
        {"kind": "pageFooter", "name": "PageFooter", "height": 300,
         "controls": [
           {"kind": "field", "name": "txtPageTtl", "left": 810, "width": 450, "height": 270,
            "alignment": "right", "summary": {"type": "pageCount"}}]})"))) {
      std::vector<RowValues> v;
      for (char c = 'a'; c <= 'k'; ++c) v.push_back({std::string(1, c)});
      data().setRows({"Name"}, std::move(v));
    }
    void onPageStart() override {
      label("lblFrom").setCaption(data().recordset().value("Name").toString());
    }
  } r;
  auto res = test::run(r);
  // Body: 3000 - 300 - 300 = 2400, four 600-twip rows a page: 11 rows on 3 pages.
  ASSERT_EQ(res.document.pages.size(), 3u);
  EXPECT_EQ(allTexts(res.document, "lblFrom"), (Strings{"a", "e", "i"}));
  EXPECT_EQ(allTexts(res.document, "txtPageTtl"), (Strings{"3", "3", "3"}));
  // The page count keeps its box and alignment.
  auto ttl = texts(res.document, 2, "txtPageTtl");
  EXPECT_EQ(ttl[0]->box, (doc::Rect{500 + 810, 4000 - 500 - 300, 450, 270}));
  EXPECT_EQ(ttl[0]->align, doc::HAlign::Right);
}

TEST(Pages, PageCountReadInCodeNeedsTheCountingRun) {
  int made = 0;
  auto res = runReportCountingPages([&] {
    ++made;
    auto r = report(R"(
        {"kind": "detail", "name": "Detail", "height": 1000},
        {"kind": "pageFooter", "name": "PageFooter", "height": 300,
         "controls": [{"kind": "label", "name": "lblPage", "width": 1000, "height": 300}]})",
                    {"N"}, rows({{1}, {2}, {3}, {4}, {5}, {6}}));
    r->onFormat("PageFooter", [p = r.get()] {
      p->label("lblPage").setCaption(std::to_string(p->pageNumber()) + "/" +
                                     std::to_string(p->totalPages()));
    });
    return r;
  });
  EXPECT_EQ(made, 2);
  EXPECT_EQ(allTexts(res.document, "lblPage"), (Strings{"1/3", "2/3", "3/3"}));
}

// Labels across then down, a spacing band between label rows: the columns share the print width
// unless given their own; a label count beyond reason, negative spacing and a negative gap band
// do not break the run.
TEST(Columns, LabelsAcrossWithSpacingBand) {
  auto sheet = [](std::size_t labels, int columns, double width, double spacing, double gap) {
    auto r = report(R"(
        {"kind": "groupHeader", "name": "ghSpace", "everyRow": true, "height": 0},
        {"kind": "detail", "name": "Detail", "height": 800,
         "controls": [{"kind": "label", "name": "txtLabel", "width": 1000, "height": 800}]},
        {"kind": "groupFooter", "name": "gfSpace", "height": 0})",
                    {"Label"}, std::vector<RowValues>(labels, RowValues{Variant::string("L")}));
    auto& d = r->section("Detail");
    d.setColumnCount(columns);
    d.setColumnWidth(width);
    d.setColumnSpacing(spacing);
    d.setColumnDirection(ColumnDirection::AcrossDown);
    r->section("gfSpace").setHeight(gap);
    return r;
  };
  auto positions = [](const std::unique_ptr<Report>& r, std::size_t* pages = nullptr) {
    std::vector<std::pair<int, int>> at;
    const auto res = test::run(*r);
    if (pages) *pages = res.document.pages.size();
    for (std::size_t p = 1; p <= res.document.pages.size(); ++p)
      for (auto* t : texts(res.document, static_cast<int>(p), "txtLabel"))
        at.emplace_back(t->box.left, t->box.top);
    return at;
  };
  // Print width 5000: columns (5000 - 2 * 100) / 3 = 1600 wide, 1700 apart. Rows 1000 apart
  // (label 800 + gap 200); a 3000 body holds three rows: 9 labels, then 2 on page 2.
  std::size_t pages = 0;
  const auto at = positions(sheet(11, 3, 0, 100, 200), &pages);
  EXPECT_EQ(pages, 2u);
  ASSERT_EQ(at.size(), 11u);
  for (int i = 0; i < 11; ++i)
    EXPECT_EQ(at[static_cast<std::size_t>(i)],
              (std::pair{500 + (i % 3) * 1700, 500 + i % 9 / 3 * 1000}))
        << i;
  // Given 1200, the labels are 1300 apart and the last 1300 twips stay empty.
  EXPECT_THAT(
      positions(sheet(5, 3, 1200, 100, 200)),
      ::testing::ElementsAre(std::pair{500, 500}, std::pair{1800, 500}, std::pair{3100, 500},
                             std::pair{500, 1500}, std::pair{1800, 1500}));
  // Negative spacing and gap count as none: labels touch across and down.
  EXPECT_THAT(
      positions(sheet(5, 2, 1200, -300, -1000)),
      ::testing::ElementsAre(std::pair{500, 500}, std::pair{1700, 500}, std::pair{500, 1300},
                             std::pair{1700, 1300}, std::pair{500, 2100}));
  // Far more columns than exist: the count stops at the limit and the five share one row.
  auto many = sheet(5, 2000000000, 1200, 100, 0);
  EXPECT_EQ(many->section("Detail").columnCount(), kMaxColumns);
  EXPECT_EQ(positions(many).back(), (std::pair{500 + 4 * 1300, 500}));
}

// Handlers that place text by its size measure with the run's measurer, the one the pages are
// laid out with; outside a run there is none.
TEST(Run, HandlersReachTheRunsMeasurer) {
  auto r = report(R"({"kind": "detail", "name": "Detail", "height": 300})", {"N"}, rows({{1}}));
  TextMeasurer* seen = nullptr;
  r->onFormat("Detail", [&] { seen = r->measurer(); });
  FixedMetricMeasurer m;
  runReport(*r, {&m});
  EXPECT_EQ(seen, &m);
  EXPECT_EQ(r->measurer(), nullptr);
}

// Summaries: a group subtotal, a running sum across groups, a running sum within the group,
// a grand total and a page total.
TEST(Summaries, GroupRunningGrandAndPage) {
  Report r(layoutOf(layoutJson("rptSums", R"(
      {"kind": "groupHeader", "name": "ghG", "dataField": "G", "height": 100,
       "controls": [{"kind": "field", "name": "txtHeadSum", "dataField": "Amt", "width": 500, "height": 100,
                     "summary": {"type": "subTotal", "group": "ghG"}}]},
      {"kind": "detail", "name": "Detail", "height": 100,
       "controls": [{"kind": "field", "name": "txtInGroup", "dataField": "Amt", "width": 500, "height": 100,
                     "summary": {"type": "subTotal", "group": "ghG", "running": "group"}}]},
      {"kind": "groupFooter", "name": "gfG", "height": 100,
       "controls": [
         {"kind": "field", "name": "txtSub", "dataField": "Amt", "width": 500, "height": 100,
          "summary": {"type": "subTotal", "group": "ghG"}},
         {"kind": "field", "name": "txtRun", "dataField": "Amt", "left": 500, "width": 500, "height": 100,
          "summary": {"type": "subTotal", "group": "ghG", "running": "all"}},
         {"kind": "field", "name": "txtCnt", "dataField": "Amt", "left": 1000, "width": 500, "height": 100,
          "summary": {"type": "subTotal", "group": "ghG", "func": "count"}}]},
      {"kind": "pageFooter", "name": "PageFooter", "height": 100,
       "controls": [{"kind": "field", "name": "txtPage", "dataField": "Amt", "width": 500, "height": 100,
                     "summary": {"type": "pageTotal"}}]},
      {"kind": "reportFooter", "name": "ReportFooter", "height": 100,
       "controls": [{"kind": "field", "name": "txtGrand", "dataField": "Amt", "width": 500, "height": 100,
                     "summary": {"type": "grandTotal"}},
                    {"kind": "field", "name": "txtLastG", "dataField": "G", "left": 500, "width": 500,
                     "height": 100}]})")));
  r.data().setRows(
      {"G", "Amt"},
      rows({{"a", 1}, {"a", 2}, {"b", 10}, {"c", 100}, {"c", Variant::null()}, {"c", 200}}));
  auto res = test::run(r);
  EXPECT_EQ(allTexts(res.document, "txtHeadSum"), (Strings{"3", "10", "300"}));
  EXPECT_EQ(allTexts(res.document, "txtInGroup"), (Strings{"1", "3", "10", "100", "100", "300"}));
  EXPECT_EQ(allTexts(res.document, "txtSub"), (Strings{"3", "10", "300"}));
  EXPECT_EQ(allTexts(res.document, "txtRun"), (Strings{"3", "13", "313"}));
  EXPECT_EQ(allTexts(res.document, "txtCnt"), (Strings{"2", "1", "2"}));
  EXPECT_EQ(allTexts(res.document, "txtGrand"), (Strings{"313"}));
  EXPECT_EQ(allTexts(res.document, "txtLastG"), (Strings{"c"}));
  EXPECT_EQ(allTexts(res.document, "txtPage"), (Strings{"313"}));
}

// Controls added at run time print in every band instance, with the state handlers give them.
TEST(RunTimeControls, AddedControlPrintsInEveryInstance) {
  class R : public Report {
   public:
    R()
        : Report(layoutOf(layoutJson("rptAdd", R"(
        {"kind": "pageHeader", "name": "PageHeader", "height": 1600},
        {"kind": "detail", "name": "Detail", "height": 300})"))) {
      data().setRows({"Name", "P1"}, rows({{"a", 1}, {"b", Variant::null()}, {"c", 1}}));
    }
    void onReportStart() override {
      auto& lbl = section("PageHeader").addLabel("0lblPartyName");
      lbl.setLeft(2970);
      lbl.setTop(100);
      lbl.setHeight(1530);
      lbl.setWidth(540);
      lbl.setAngle(900);
      lbl.setVerticalAlignment(2);
      lbl.setAlignment(2);
      lbl.setCaption("P1");
      auto& chk = static_cast<CheckBox&>(
          section("Detail").add("DDActiveReports2.CheckBox", "0chkAttendance"));
      chk.setValue(0);
      chk.setLeft(3120);
      chk.setDataField("P1");
      section("Detail").addField("txtName").setDataField("Name");
    }
  } r;
  auto res = test::run(r);
  auto dump = dumpDocument(res.document);
  EXPECT_NE(
      dump.find("p1 PageHeader/0lblPartyName text 3470,600 540x1530 align=C angle=900 \"P1\""),
      std::string::npos)
      << dump;
  std::vector<bool> checks;
  for (const auto& it : res.document.pages[0].items)
    if (auto* c = std::get_if<doc::CheckBox>(&it.content)) checks.push_back(c->checked);
  EXPECT_EQ(checks, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(allTexts(res.document, "txtName"), (Strings{"a", "b", "c"}));
  // Names stay unique across the report.
  EXPECT_THROW(r.section("PageHeader").addField("TXTNAME"), EngineError);
  EXPECT_THROW(r.section("Detail").add("DDActiveReports2.Image", "img"), EngineError);
}

// No rows: NoData fires; cancelling there, or in any handler, ends the run without a document.
TEST(Cancel, InNoDataOrAnyHandlerEndsTheRunOtherwiseOnePageOfHeaders) {
  class R : public LoggingReport {
   public:
    R(std::vector<std::string>* log, bool cancelIt)
        : LoggingReport(layoutOf(layoutJson("rptEmpty", R"(
        {"kind": "pageHeader", "name": "PageHeader", "height": 300},
        {"kind": "detail", "name": "Detail", "height": 300},
        {"kind": "pageFooter", "name": "PageFooter", "height": 300})")),
                        log),
          cancel_(cancelIt) {
      data().setRows({"Name"}, {});
    }
    void onNoData() override {
      LoggingReport::onNoData();
      EXPECT_TRUE(data().recordset().BOF() && data().recordset().EOF_());
      if (cancel_) {
        host().message("There is no data to print.", "Checklist", MessageIcon::Information);
        cancel();
      }
    }
    bool cancel_;
  };
  auto host = std::make_shared<RecordingHost>();
  std::vector<std::string> log;
  R r(&log, true);
  r.setHost(host);
  auto res = test::run(r);
  EXPECT_TRUE(res.cancelled);
  EXPECT_TRUE(res.document.pages.empty());
  EXPECT_EQ(log, (Strings{"ReportStart", "DataInitialize", "NoData"}));
  EXPECT_EQ(host->messages, (Strings{"Checklist: There is no data to print."}));

  log.clear();
  R printed(&log, false);
  res = test::run(printed);
  EXPECT_FALSE(res.cancelled);
  ASSERT_EQ(res.document.pages.size(), 1u);
  EXPECT_EQ(
      log, (Strings{"ReportStart", "DataInitialize", "NoData", "PageStart p1", "Format PageHeader",
                    "BeforePrint PageHeader", "AfterPrint PageHeader", "Format PageFooter",
                    "BeforePrint PageFooter", "AfterPrint PageFooter", "PageEnd p1", "ReportEnd"}));

  // Cancelled from any handler, the run stops at once.
  log.clear();
  LoggingReport stop(layoutOf(layoutJson("rptStop", R"({"kind": "detail", "name": "Detail",
      "height": 300})")),
                     &log);
  stop.data().setRows({"N"}, rows({{1}, {2}, {3}}));
  stop.onBeforePrint("Detail", [&stop] {
    if (stop.data().recordset().value("N").toLong() == 2) stop.cancel();
  });
  res = test::run(stop);
  EXPECT_TRUE(res.cancelled);
  EXPECT_TRUE(res.document.pages.empty());
  EXPECT_EQ(log.back(), "BeforePrint Detail row=1");
}

// Group keys: expressions, a key naming no column resolved by the layout's breakOn column.
TEST(GroupKeys, ExpressionAndBreakOnColumn) {
  auto make = [](const std::string& key, const std::string& breakOn) {
    std::string gh = R"({"kind": "groupHeader", "name": "ghKey", "dataField": ")" + key + "\"" +
                     (breakOn.empty() ? "" : ", \"breakOn\": \"" + breakOn + "\"") +
                     R"(, "height": 100, "controls": [{"kind": "field", "name": "txtKey",
                        "dataField": "=Left(Name, 1) ", "width": 500, "height": 100}]},
        {"kind": "detail", "name": "Detail", "height": 100},
        {"kind": "groupFooter", "name": "gfKey", "height": 0})";
    return report(gh, {"PartyID", "Name"},
                  rows({{1, "Adams"}, {1, "avery"}, {2, "Baker"}, {2, "Brown"}, {3, "Cole"}}));
  };
  // By first letter, compared as text: "Adams" and "avery" share a group.
  auto byLetter = make("=left(Name, 1)", "");
  EXPECT_EQ(allTexts(test::run(*byLetter).document, "txtKey"), (Strings{"A", "B", "C"}));
  // "PartyName" is no column: the group breaks on PartyID.
  auto byParty = make("PartyName", "PartyID");
  EXPECT_EQ(allTexts(test::run(*byParty).document, "txtKey"), (Strings{"A", "B", "C"}));
  auto broken = make("PartyName", "");
  try {
    test::run(*broken);
    FAIL();
  } catch (const EngineError& e) {
    EXPECT_STREQ(e.what(),
                 "group 'ghKey': key 'PartyName' names no column of the row source, and the "
                 "layout gives no 'breakOn' column");
  }
}

// Layout of bands: can-grow text pushes the next band down; keep-together moves a group;
// a band taller than any page is split between its subreport rows; landscape.
TEST(Bands, CanGrowPushesTheNextBandsAndLandscape) {
  Report r(layoutOf(layoutJson("rptGrow", R"(
      {"kind": "groupHeader", "name": "ghG", "dataField": "G", "height": 100},
      {"kind": "detail", "name": "Detail", "height": 240,
       "controls": [{"kind": "field", "name": "txtNote", "dataField": "Note", "width": 1000,
                     "height": 240, "canGrow": true}]},
      {"kind": "groupFooter", "name": "gfG", "height": 100})")));
  // 10-point text: 100 twips a character, 240 a line; 1000 wide holds 10 characters.
  r.data().setRows({"G", "Note"}, rows({{1, "short"}, {1, "two lines of text"}, {2, "x"}}));
  r.setPrinterOrientation(2);
  auto res = test::run(r);
  ASSERT_EQ(res.document.pages.size(), 1u);
  EXPECT_TRUE(res.document.pages[0].landscape);
  EXPECT_EQ(res.document.pages[0].width, 4000);
  EXPECT_EQ(res.document.pages[0].height, 6000);
  auto notes = texts(res.document, 1, "txtNote");
  ASSERT_EQ(notes.size(), 3u);
  EXPECT_EQ(notes[1]->box.top, 500 + 100 + 240);
  EXPECT_EQ(notes[1]->box.height, 480);
  // The grown detail pushes the group footer and the next group down.
  EXPECT_EQ(notes[2]->box.top, 500 + 100 + 240 + 480 + 100 + 100);
}

TEST(Bands, ShrinkingControlsShrinkTheirBand) {
  Report r(layoutOf(layoutJson("rptShrink", R"(
      {"kind": "detail", "name": "Detail", "height": 800, "canShrink": true,
       "controls": [
         {"kind": "field", "name": "txtName", "dataField": "Name", "width": 1000, "height": 240},
         {"kind": "field", "name": "txtNote", "dataField": "Note", "top": 240, "width": 1000,
          "height": 480, "canShrink": true}]})")));
  r.data().setRows({"Name", "Note"}, rows({{"a", ""}, {"b", "one line"}, {"c", "x"}}));
  auto res = test::run(r);
  auto names = texts(res.document, 1, "txtName");
  ASSERT_EQ(names.size(), 3u);
  // Row a: the note shrinks to nothing, the band to 240; row b: to one line, 480.
  EXPECT_EQ(names[1]->box.top, 500 + 240);
  EXPECT_EQ(names[2]->box.top, 500 + 240 + 480);
  EXPECT_EQ(texts(res.document, 1, "txtNote")[1]->box.height, 240);
}

TEST(Bands, GroupKeptTogetherMovesToNextPage) {
  Report r(layoutOf(layoutJson("rptKeep", R"(
      {"kind": "groupHeader", "name": "ghG", "dataField": "G", "height": 500, "groupKeepTogether": "all"},
      {"kind": "detail", "name": "Detail", "height": 500,
       "controls": [{"kind": "field", "name": "txtG", "dataField": "G", "width": 500, "height": 500}]},
      {"kind": "groupFooter", "name": "gfG", "height": 0})")));
  // Body 3000: group 1 takes 1500; group 2 (1500) still fits; group 3 would not: next page.
  r.data().setRows({"G"}, rows({{1}, {1}, {2}, {2}, {3}, {3}}));
  auto res = test::run(r);
  ASSERT_EQ(res.document.pages.size(), 2u);
  EXPECT_EQ(texts(res.document, 1, "txtG").size(), 4u);
  auto p2 = texts(res.document, 2, "txtG");
  ASSERT_EQ(p2.size(), 2u);
  EXPECT_EQ(p2[0]->box.top, 500 + 500);
}

TEST(Bands, HiddenAndPageBreakSections) {
  auto make = [] {
    return report(R"(
        {"kind": "groupHeader", "name": "ghCompany", "dataField": "C", "height": 300,
         "controls": [{"kind": "field", "name": "txtC", "dataField": "C", "width": 500, "height": 300}]},
        {"kind": "detail", "name": "Detail", "height": 300},
        {"kind": "groupFooter", "name": "gfCompany", "height": 100,
         "controls": [{"kind": "pageBreak", "name": "brk", "top": 50}]})",
                  {"C"}, rows({{"a"}, {"b"}, {"c"}}));
  };
  EXPECT_EQ(test::run(*make()).document.pages.size(), 3u);
  auto hidden = make();
  hidden->section("Detail").setVisible(false);
  hidden->section("gfCompany").setVisible(false);
  auto res = test::run(*hidden);
  ASSERT_EQ(res.document.pages.size(), 1u);
  auto c = texts(res.document, 1, "txtC");
  ASSERT_EQ(c.size(), 3u);
  EXPECT_EQ(c[2]->box.top, 500 + 600);  // one after another
}

// A chart prints what its drawing makes for its box, moved onto the band and tagged with the
// chart; without a drawing it prints nothing.
TEST(Charts, DrawingIsMadeForTheBoxAndPlacedWithIt) {
  struct Drawing : ChartDrawing {
    std::vector<doc::Item> draw(std::int32_t w, std::int32_t h, TextMeasurer* m) const override {
      doc::Text t;
      t.box = {10, 20, w - 10, m ? m->measure("x", t.font, 0).height : 0};
      doc::Path p;
      p.box = {0, 0, w, h};
      std::vector<doc::Item> out(2);
      out[0].content = t;
      out[1].content = p;
      return out;
    }
  };
  Report r(layoutOf(layoutJson("rptChart", R"(
      {"kind": "detail", "name": "Detail", "height": 3000, "controls": [
        {"kind": "chart", "name": "chtA", "left": 1000, "top": 500, "width": 4000, "height": 2000},
        {"kind": "chart", "name": "chtEmpty", "left": 0, "top": 0, "width": 500, "height": 500}]})")));
  static_cast<Chart&>(r.control("chtA")).setDrawing(std::make_shared<Drawing>());
  const doc::Document d = test::run(r).document;
  ASSERT_EQ(d.pages.size(), 1u);
  std::vector<const doc::Item*> drawn;
  for (const auto& it : d.pages[0].items) {
    EXPECT_NE(it.control, "chtEmpty");
    if (it.control == "chtA") drawn.push_back(&it);
  }
  ASSERT_EQ(drawn.size(), 2u);
  const auto& t = std::get<doc::Text>(drawn[0]->content);
  const auto& p = std::get<doc::Path>(drawn[1]->content);
  EXPECT_EQ(drawn[0]->section, "Detail");
  EXPECT_EQ(t.box.left - p.box.left, 10);
  EXPECT_EQ(t.box.width, 3990);
  EXPECT_GT(t.box.height, 0);
  EXPECT_EQ(p.box.left, 500 + 1000);  // margin, then the control's place on the band
  EXPECT_EQ(p.box.top, 500 + 500);
  EXPECT_EQ(p.box.width, 4000);
}

}  // namespace
}  // namespace galvix::engine
