// How bands flow: subreports split across pages, state that handlers set, group headers in
// detail columns, data-field expressions.
#include <gtest/gtest.h>

#include <map>

#include "engine/document_dump.h"
#include "engine/expression.h"
#include "engine_test_util.h"

namespace galvix::engine {
namespace {

using namespace test;

constexpr const char* kItems = R"J({"version": 1, "name": "srptItems", "sections": [
  {"kind": "reportHeader", "name": "ReportHeader", "height": 200,
   "controls": [{"kind": "label", "name": "lblHead", "width": 1000, "height": 200, "caption": "Items"}]},
  {"kind": "detail", "name": "Detail", "height": 400,
   "controls": [{"kind": "field", "name": "txtItem", "dataField": "Item", "width": 1000, "height": 400}]}]})J";

TEST(Subreports, TallParentBandSplitsBetweenChildRows) {
  // Page body 3000 - 300 footer = 2700; the child needs 200 + 12 * 400 = 5000.
  Report r(layoutOf(layoutJson("rptParent", R"J(
      {"kind": "detail", "name": "Detail", "height": 300, "controls": [
        {"kind": "field", "name": "txtKey", "dataField": "K", "width": 500, "height": 300},
        {"kind": "subReport", "name": "srptItems", "top": 300, "left": 1000, "width": 2000, "height": 100}]},
      {"kind": "pageFooter", "name": "PageFooter", "height": 300})J")));
  r.data().setRows({"K"}, {{Variant::string("k")}});
  r.onFormat("Detail", [&r] {
    auto child = std::make_shared<Report>(layoutOf(kItems));
    std::vector<RowValues> items;
    for (int i = 1; i <= 12; ++i) items.push_back({Variant::string("i" + std::to_string(i))});
    child->data().setRows({"Item"}, std::move(items));
    r.subReport("srptItems").setReport(child);
  });
  auto res = test::run(r);
  ASSERT_EQ(res.document.pages.size(), 3u) << dumpDocument(res.document);
  // Page 1: key 300, child header 200, then rows of 400 while they fit in 2700: 5 rows.
  auto p1 = texts(res.document, 1, "txtItem");
  ASSERT_EQ(p1.size(), 5u);
  EXPECT_EQ(p1[0]->box.left, 500 + 1000);
  EXPECT_EQ(p1[0]->box.top, 500 + 300 + 200);
  auto p2 = texts(res.document, 2, "txtItem");
  ASSERT_EQ(p2.size(), 6u);
  EXPECT_EQ(p2[0]->text, "i6");
  EXPECT_EQ(p2[0]->box.top, 500);
  EXPECT_EQ(allTexts(res.document, "lblHead").size(), 1u);
}

TEST(Groups, HeaderRepeatsOnPagesItsGroupContinuesOn) {
  Report r(layoutOf(layoutJson("rptRepeat", R"J(
        {"kind": "pageHeader", "name": "PageHeader", "height": 200},
        {"kind": "groupHeader", "name": "ghParty", "dataField": "P", "height": 300, "repeatHeader": true,
         "controls": [{"kind": "field", "name": "txtParty", "dataField": "P", "width": 500, "height": 300}]},
        {"kind": "detail", "name": "Detail", "height": 500},
        {"kind": "groupFooter", "name": "gfParty", "height": 0})J")));
  // Body 2800: party A's header and 5 rows fill page 1; rows 6-7 continue on page 2 under a
  // repeated header; party B starts there with its own header, and is not repeated before it.
  std::vector<RowValues> v(7, RowValues{Variant::string("A")});
  v.push_back({Variant::string("B")});
  r.data().setRows({"P"}, std::move(v));
  auto res = test::run(r);
  ASSERT_EQ(res.document.pages.size(), 2u);
  auto p2 = texts(res.document, 2, "txtParty");
  ASSERT_EQ(p2.size(), 2u);
  EXPECT_EQ(p2[0]->text, "A");
  EXPECT_EQ(p2[0]->box.top, 500 + 200);
  EXPECT_EQ(p2[1]->text, "B");
  EXPECT_EQ(p2[1]->box.top, 500 + 200 + 300 + 2 * 500);
}

TEST(Subreports, BandTallerThanAPageWithNoCleanCutIsClippedOnce) {
  auto host = std::make_shared<RecordingHost>();
  auto tallReport = [&](const char* band, const char* controls) {
    auto r = std::make_unique<Report>(layoutOf(layoutJson("rptTall", std::string(R"J(
        {"kind": "pageHeader", "name": "PageHeader", "height": 200},
        {"kind": "detail", "name": "Detail", "height": )J") + band + R"J(, "controls": [)J" +
                                                                         controls + "]}")));
    r->setHost(host);
    return r;
  };
  // Text that grows past the page is cut to what the page leaves it: no clipping needed.
  std::string tall;
  for (int i = 0; i < 30; ++i) tall += "line\n";
  auto r = tallReport("300", R"J({"kind": "field", "name": "txtNote", "dataField": "Note",
                          "width": 1000, "height": 240, "canGrow": true})J");
  r->data().setRows({"Note"}, {{"short"}, {Variant::string(tall)}, {"after"}});
  auto res = test::run(*r);
  ASSERT_EQ(res.document.pages.size(), 3u);
  const auto* cut = texts(res.document, 2, "txtNote").at(0);
  EXPECT_EQ(cut->box.top, 500 + 200);
  EXPECT_LE(cut->box.top + cut->box.height, 4000 - 500);
  EXPECT_EQ(texts(res.document, 3, "txtNote").at(0)->text, "after");
  EXPECT_TRUE(host->warnings.empty());

  // A control designed taller than the page has no clean cut: clipped once, its text box ending
  // at the page end.
  auto fixed = tallReport("3600", R"J({"kind": "label", "name": "lblTall", "caption": "x",
                               "width": 1000, "height": 3600})J");
  fixed->data().setRows({"Note"}, {{"one"}});
  res = test::run(*fixed);
  EXPECT_EQ(host->warnings, (Strings{"band 'Detail' is taller than the page; clipped"}));
  const auto* label = texts(res.document, 1, "lblTall").at(0);
  EXPECT_EQ(label->box.top + label->box.height, 4000 - 500);

  // A band made a billion twips tall by code, a label at its top and one far down: the empty
  // stretch between them gives no pages; the far label starts the next page.
  auto far = tallReport("300", R"J({"kind": "label", "name": "lblTop", "caption": "top",
                             "width": 1000, "height": 3600},
                            {"kind": "label", "name": "lblFar", "caption": "far",
                             "width": 1000, "height": 300})J");
  far->data().setRows({"Note"}, {{"one"}});
  far->section("Detail").setHeight(1e9);
  far->control("lblFar").setTop(9e8);
  res = test::run(*far);
  ASSERT_EQ(res.document.pages.size(), 2u);
  EXPECT_EQ(texts(res.document, 2, "lblFar").at(0)->box.top, 500 + 200);
}

TEST(Growth, PushDownMovesControlsBelowAGrownOne) {
  auto layout = layoutOf(R"J({"version": 1, "name": "rptPush", "sections": [
    {"kind": "detail", "name": "Detail", "height": 600, "pushDown": true, "controls": [
      {"kind": "field", "name": "txtName", "dataField": "Name", "width": 2000, "height": 240,
       "canGrow": true},
      {"kind": "field", "name": "txtBeside", "left": 3000, "width": 1000, "height": 240},
      {"kind": "field", "name": "txtNote", "top": 300, "width": 4000, "height": 240},
      {"kind": "field", "name": "txtFar", "left": 5000, "top": 300, "width": 500,
       "height": 240}]}]})J");
  const std::int32_t growth = test::threeLineGrowth();
  for (bool push : {true, false}) {
    Report r(layout);
    r.section("Detail").setPushDown(push);
    r.data().setRows({"Name"}, {{Variant::string("a\nb\nc")}});
    auto res = test::run(r);
    auto below = [&](const char* c) {
      return texts(res.document, 1, c)[0]->box.top - texts(res.document, 1, "txtName")[0]->box.top;
    };
    EXPECT_EQ(below("txtNote"), push ? 300 + growth : 300);
    // Beside the grown control: stays put; below it but entirely to its right (another
    // column): stays too.
    EXPECT_EQ(below("txtBeside"), 0);
    EXPECT_EQ(below("txtFar"), 300);
  }
}

TEST(Growth, CheckBoxGrowsToItsCaptionWrappedBesideTheSquare) {
  Report r(layoutOf(R"J({"version": 1, "name": "rptChecks", "sections": [
    {"kind": "detail", "name": "Detail", "height": 600, "pushDown": true, "controls": [
      {"kind": "checkBox", "name": "chkName", "dataField": "On", "width": 2000, "height": 240,
       "canGrow": true},
      {"kind": "field", "name": "txtBelow", "top": 300, "width": 2000, "height": 240}]}]})J"));
  r.data().setRows({"On"}, {{Variant::boolean(true)}, {Variant::boolean(false)}});
  r.onFormat("Detail", [&r] {
    const bool on = r.data().recordset().value("On").toBool();
    r.checkBox("chkName").setCaption(on ? "a\nb\nc" : "short");
  });
  auto res = test::run(r);
  const std::int32_t growth = test::threeLineGrowth();
  std::vector<doc::Rect> boxes;
  for (const auto& it : res.document.pages.at(0).items)
    if (auto* c = std::get_if<doc::CheckBox>(&it.content)) boxes.push_back(c->box);
  ASSERT_EQ(boxes.size(), 2u);
  EXPECT_EQ(boxes[0].height, 240 + growth);
  EXPECT_EQ(boxes[1].height, 240);
  // What is below the grown box moves down with it.
  auto below = texts(res.document, 1, "txtBelow");
  ASSERT_EQ(below.size(), 2u);
  EXPECT_EQ(below[0]->box.top - boxes[0].top, 300 + growth);
  EXPECT_EQ(below[1]->box.top - boxes[1].top, 300);
}

TEST(HandlerState, BandGrownInBeforePrintMovesWithItsState) {
  std::vector<std::string> log;
  LoggingReport r(layoutOf(layoutJson("rptMove", R"J(
      {"kind": "detail", "name": "Detail", "height": 1000, "controls": [
        {"kind": "field", "name": "txtNote", "width": 1000, "height": 240, "canGrow": true}]})J")),
                  &log);
  r.data().setRows({"N"}, {{1}, {2}, {3}});
  r.onBeforePrint("Detail", [&r] {
    // The third row becomes four lines (960) after its place was decided.
    if (r.data().recordset().value("N").toLong() == 3)
      r.field("txtNote").setText("a\nb\nc\nd\ne\nf\ng\nh\ni\nj\nk\nl");
  });
  r.onAfterPrint("Detail", [&r] { r.add("  text " + r.field("txtNote").text().substr(0, 1)); });
  auto res = test::run(r);
  ASSERT_EQ(res.document.pages.size(), 2u);
  auto notes = texts(res.document, 2, "txtNote");
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0]->box.top, 500);
  const std::vector<std::string> tail(log.end() - 7, log.end());
  EXPECT_EQ(tail, (Strings{"BeforePrint Detail row=2", "PageEnd p1", "PageStart p2 row=2",
                           "AfterPrint Detail row=2", "  text a", "PageEnd p2", "ReportEnd"}));
}

TEST(HandlerState, TextMeasuredOncePerBandUnlessBeforePrintChangesIt) {
  // Counts the measurer's calls per text; heights come from the fixed metrics.
  struct Counting : FixedMetricMeasurer {
    std::map<std::string, int> calls;
    TextExtent measure(std::string_view t, const doc::Font& f, std::int32_t w) override {
      ++calls[std::string(t)];
      return FixedMetricMeasurer::measure(t, f, w);
    }
  };
  Report r(layoutOf(R"J({"version": 1, "name": "rptOnce", "sections": [
      {"kind": "groupHeader", "name": "ghAll", "height": 300},
      {"kind": "detail", "name": "Detail", "height": 240, "controls": [
        {"kind": "field", "name": "txtNote", "dataField": "Note", "width": 3000, "height": 240,
         "canGrow": true}]},
      {"kind": "groupFooter", "name": "gfAll", "height": 300}]})J"));
  r.data().setRows({"Note"}, {{"one"}, {"two"}, {"big"}});
  r.onBeforePrint("Detail", [&r] {
    // Same text, larger font: the height must follow the font.
    if (r.field("txtNote").text() == "big") r.field("txtNote").font().size = 20;
  });
  Counting m;
  RunOptions o;
  o.measurer = &m;
  auto res = runReport(r, o);
  EXPECT_EQ(m.calls["one"], 1);
  EXPECT_EQ(m.calls["two"], 1);
  EXPECT_GT(m.calls["big"], 1);  // measured again once changed
  auto notes = texts(res.document, 1, "txtNote");
  ASSERT_EQ(notes.size(), 3u);
  EXPECT_EQ(notes[0]->box.height, 240);
  EXPECT_EQ(notes[2]->box.height, 480);
}

TEST(RunTimeControls, ColumnsAddedPerValueAndWalkedByPosition) {
  // Quote-comparison style: one field per vendor added at report start after the layout's
  // controls (the data control among them), a total kept by walking the controls by position.
  class R : public Report {
   public:
    R()
        : Report(layoutOf(R"J({"version": 1, "name": "rptQuotes", "sections": [
            {"kind": "detail", "name": "Detail", "height": 300, "controls": [
              {"kind": "field", "name": "fldItem", "dataField": "Item", "width": 1000, "height": 300},
              {"kind": "dataControl", "name": "datRpt"}]}]})J")) {
      data().setRows({"Item", "V1", "V2"}, {{"Cake", 100, Variant::null()}, {"Band", 50, 70}});
      onBeforePrint("Detail", [this] {
        auto& d = section("Detail");
        for (int i = 2; i < d.count(); ++i)
          if (auto* f = d.item(i).as<Field>())
            total += f->value().isNull() ? 0 : f->value().toLong();
      });
    }
    void onReportStart() override {
      int x = 1000;
      for (const char* v : {"V1", "V2"}) {
        auto& q = section("Detail").addField(std::string("txtQuote") + v);
        q.setLeft(x += 1200);
        q.setDataField(v);
      }
    }
    long total = 0;
  } r;
  EXPECT_EQ(r.data().name(), "datRpt");
  EXPECT_EQ(r.control("datRpt").kind(), ControlKind::DataControl);
  auto res = test::run(r);
  EXPECT_EQ(allTexts(res.document, "txtQuoteV2"), (Strings{"", "70"}));
  EXPECT_EQ(r.total, 100 + 50 + 70);
  for (const auto& it : res.document.pages[0].items) EXPECT_NE(it.control, "datRpt");
}

TEST(HandlerState, HoldsUntilSetAgainAndEachInstanceKeepsItsOwn) {
  Report r(layoutOf(R"J({"version": 1, "name": "rptState", "sections": [
      {"kind": "groupHeader", "name": "ghG", "dataField": "G", "height": 300},
      {"kind": "detail", "name": "Detail", "height": 300, "controls": [
        {"kind": "field", "name": "txtN", "dataField": "N", "width": 500, "height": 300},
        {"kind": "label", "name": "lblFlag", "left": 500, "width": 500, "height": 300}]},
      {"kind": "groupFooter", "name": "gfG", "height": 300, "controls": [
        {"kind": "label", "name": "lblTotal", "width": 500, "height": 300}]}]})J"));
  r.data().setRows({"G", "N"}, {{1, 1}, {1, 2}, {1, 3}, {2, 4}, {2, 5}});
  // Set on some rows only: later rows keep the last value set.
  r.onFormat("Detail", [&r] {
    int n = r.data().recordset().value("N").toLong();
    if (n == 1) r.label("lblFlag").setCaption("one");
    if (n == 3) r.label("lblFlag").setCaption("three");
    if (n == 5) r.label("lblFlag").setVisible(false);
  });
  // Changed at BeforePrint of the group footer; the next group's footer starts from it.
  r.onBeforePrint("gfG",
                  [&r] { r.label("lblTotal").setCaption(r.label("lblTotal").caption() + "+"); });
  auto res = test::run(r);
  EXPECT_EQ(allTexts(res.document, "lblFlag"), (Strings{"one", "one", "three", "three"}));
  EXPECT_EQ(allTexts(res.document, "txtN"), (Strings{"1", "2", "3", "4", "5"}));
  EXPECT_EQ(allTexts(res.document, "lblTotal"), (Strings{"+", "++"}));
}

TEST(Columns, GroupHeadersFlowInTheColumnsWithRunningHeads) {
  // A phone book: entries in two columns down then across, a letter header in the columns,
  // page heads from the first and last entry of each page.
  class R : public Report {
   public:
    R()
        : Report(layoutOf(layoutJson("rptBook", R"J(
            {"kind": "pageHeader", "name": "PageHeader", "height": 300, "controls": [
              {"kind": "label", "name": "lblFrom", "width": 1000, "height": 300}]},
            {"kind": "groupHeader", "name": "ghNameChar", "dataField": "=left(Company, 1) ", "height": 400,
             "controls": [{"kind": "field", "name": "txtNameChar", "dataField": "=left(Company, 1) ",
                           "width": 2500, "height": 400}]},
            {"kind": "detail", "name": "Detail", "height": 500,
             "columns": {"count": 2, "spacing": 0},
             "controls": [{"kind": "field", "name": "txtCompany", "dataField": "Company", "width": 2500, "height": 500}]},
            {"kind": "groupFooter", "name": "gfNameChar", "height": 0},
            {"kind": "pageFooter", "name": "PageFooter", "height": 300, "controls": [
              {"kind": "label", "name": "lblTo", "width": 1000, "height": 300}]})J"))) {
      std::vector<RowValues> v;
      for (const char* c : {"Acme", "Apex", "Best", "Bolt", "Bray", "Cope", "Core", "Cute", "Dash",
                            "Dove", "Duke", "Echo"})
        v.push_back({Variant::string(c)});
      data().setRows({"Company"}, std::move(v));
      onBeforePrint("Detail", [this] {
        if (!data().recordset().EOF_()) label("lblTo").setCaption(field("txtCompany").text());
      });
    }
    void onPageStart() override { label("lblFrom").setCaption(field("txtCompany").text()); }
  } r;
  auto res = test::run(r);
  // Body 2400 per column. Column 1: A, Acme, Apex, B with Best (a header stays with its
  // first entry); column 2: Bolt, Bray, C with Cope, Core; page 2 from Cute.
  ASSERT_EQ(res.document.pages.size(), 2u);
  auto heads = texts(res.document, 1, "txtNameChar");
  ASSERT_GE(heads.size(), 3u);
  EXPECT_EQ(heads[0]->text, "A");
  EXPECT_EQ(heads[0]->box.width, 2500);
  EXPECT_EQ(heads[2]->text, "C");
  EXPECT_EQ(heads[2]->box.left, 500 + 2500);
  auto companies = texts(res.document, 1, "txtCompany");
  ASSERT_EQ(companies.size(), 7u) << dumpDocument(res.document);
  EXPECT_EQ(companies[4]->text, "Bray");
  EXPECT_EQ(companies[4]->box.left, 3000);
  EXPECT_EQ(companies[4]->box.top, 1300);
  // The first page starts with a letter header: its PageStart still sees the first entry.
  EXPECT_EQ(allTexts(res.document, "lblFrom"), (Strings{"Acme", "Cute"}));
  EXPECT_EQ(allTexts(res.document, "lblTo"), (Strings{"Core", "Echo"}));
}

TEST(Expressions, EvaluateAgainstTheRow) {
  Columns cols{{"First", "Last", "N", "Note"}};
  RowValues row{Variant::string("Émile"), Variant::string("Zola"), Variant::longInt(7),
                Variant::null()};
  struct Case {
    const char* field;
    const char* text;
  } cases[] = {
      {"=Left(First, 1)", "É"},
      {"=Right(Last, 2) & \"!\"", "la!"},
      {"=Mid(First, 2, 3)", "mil"},
      {"=UCase(Last) & ', ' & [First]", "ZOLA, Émile"},
      {"=Nz(Note, 'none')", "none"},
      {"=N + 1", "8"},
      {"=Len(First)", "5"},
      {"=Trim('  x  ')", "x"},
      {"last", "Zola"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Expression::compile(c.field, cols).eval(row).displayText(), c.text) << c.field;
  EXPECT_TRUE(Expression::compile("Missing", cols).isMissingColumn());
  EXPECT_TRUE(Expression::compile("=Left(Note, 1)", cols).eval(row).isNull());
  for (const char* bad : {"=Left(Nope, 1)", "=Left(First, 1", "=Foo(First)", "=First &"}) {
    EXPECT_THROW(Expression::compile(bad, cols), EngineError) << bad;
  }
}

}  // namespace
}  // namespace galvix::engine
