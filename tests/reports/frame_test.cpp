#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(Catalogue, NamesMatchExactlyAndEachCallMakesANewObject) {
  Report factory;
  for (const char* bad : {"Checklist - Calendar", "guest list - with notes",
                          " Guest List - with notes", "Guest List - with notes ", ""})
    EXPECT_FALSE(factory.GetNewReport(bad)) << "'" << bad << "'";
  auto a = factory.GetNewReport("Guest List - with notes");
  auto b = factory.GetNewReport("Guest List - without notes");
  ASSERT_TRUE(a && b);
  EXPECT_NE(&a->designerObject(), &b->designerObject());  // the same designer, not shared
}

TEST(Properties, UnknownNameListsTheReportsProperties) {
  Report factory;
  auto r = factory.GetNewReport("Guest List - without notes");
  try {
    r->set("DisplayNote", Variant(true));
    FAIL() << "no error";
  } catch (const std::exception& e) {
    EXPECT_THAT(e.what(), HasSubstr("rptGuestList"));
    EXPECT_THAT(e.what(), HasSubstr("DisplayNote'"));
    EXPECT_THAT(e.what(), HasSubstr("TimeFormat, DateFormat, ConnectionString, SQLWhere, "
                                    "SQLOrderBy, Title, ReportName, Criteria, DisplayNotes, "
                                    "EventID"));
  }
  EXPECT_THROW(r->set("EventID", Variant("abc")), std::exception);
  r->set("eventid", Variant("12"));  // names are not case-sensitive; text converts
}

class FrameRun : public ReportTest {
 protected:
  // One party with one primary guest: the smallest guest list.
  void SetUp() override {
    ReportTest::SetUp();
    long e = db().event({.name = "Smith Wedding"});
    party_ = db().party(
        e, {.name = "Reception", .date = data::date(2024, 6, 1), .time = data::time(14, 5)});
    group_ = db().group(e, {.label = "The Smiths"});
    db().invitation(party_, group_, {.formalLabel = "Mr. and Mrs. Smith"});
    db().invite(db().guest(group_, {.first = "Ann", .last = "Smith"}), party_, {.primary = true});
  }
  std::unique_ptr<ReportObject> guestList() {
    auto r = report("Guest List - with notes");
    r->set("SQLWhere", Variant(partyClause(party_)));
    return r;
  }
  long party_ = 0, group_ = 0;
};

TEST_F(FrameRun, DefaultsDatePrintedPageNumbersAndTimeFormats) {
  auto d = run(*guestList());
  EXPECT_THAT(texts(d, "lblTitle"), ElementsAre("Wedding name"));  // unset: the design's caption
  EXPECT_THAT(texts(d, "lblDatePrinted"), ElementsAre("Date Printed: 6/1/2024"));
  EXPECT_THAT(texts(d, "Field3"), ElementsAre("1"));
  EXPECT_THAT(texts(d, "txtPageTtl"), ElementsAre("1"));

  auto r = guestList();
  r->set("TimeFormat", Variant("h:nn AP"));  // "AP" becomes the designator
  r->set("DateFormat", Variant("mmmm d, yyyy"));
  d = run(*r);
  EXPECT_THAT(texts(d, "txtTime"), ElementsAre("2:05 PM"));
  EXPECT_THAT(texts(d, "txtDate"), ElementsAre("June 1, 2024"));
  r = guestList();
  r->set("TimeFormat", Variant("hh:nn AMPM"));  // already holding "AMPM": kept
  EXPECT_THAT(texts(run(*r), "txtTime"), ElementsAre("02:05 PM"));
}

TEST_F(FrameRun, CompanyFooterFromTheOwnCompanyRow) {
  // None: the design stays.
  auto d = run(*guestList());
  const doc::Text* f = firstText(d, "txtCompanyFooter");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->text, "");
  EXPECT_EQ(f->font.name, "Arial");

  db().vendor({.company = "Not us"});
  db().vendor({.company = "Us",
               .myCompany = true,
               .reportFooter = "Plans by Ana",
               .fontName = "Brush Script MT",
               .fontColor = 0x0000FF,
               .fontItalic = true,
               .fontBold = true,
               .fontSize = 14});
  db().vendor({.company = "Also us", .myCompany = true, .reportFooter = "Second"});
  d = run(*guestList());
  f = firstText(d, "txtCompanyFooter");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->text, "Plans by Ana");
  EXPECT_EQ(f->font.name, "Brush Script MT");
  EXPECT_EQ(f->foreColor, 0x0000FFu);  // packed as stored: red
  EXPECT_TRUE(f->font.italic);
  EXPECT_TRUE(f->font.bold);
  EXPECT_EQ(f->font.size, 14);
}

// A run can be stopped from outside: by cancel(), or by a time limit that also ends a query
// that would otherwise take hours.
TEST_F(FrameRun, ARunCanBeCancelledOrTimedOutEvenInsideAQuery) {
  auto r = report("RSVPs - One-line");
  r->set("SQLWhere", Variant(partyClause(party_)));
  r->cancel();
  EXPECT_THAT(runError(*r), HasSubstr("cancelled"));
  EXPECT_NO_THROW(run(*r));  // a cancel stops one run, not the report for ever

  // Four copies of 400 invitees joined with each other: longer than anyone would wait.
  db().exec(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400) INSERT INTO "
      "GuestNames (GroupID, GFName, GLName, Type) SELECT " +
      std::to_string(group_) + ", 'G', 'Crowd', 0 FROM n");
  r->set("SQLWhere", Variant(partyClause(party_) +
                             " AND 1 IN (SELECT 1 FROM GuestNames AS a, GuestNames AS b, "
                             "GuestNames AS c, GuestNames AS d WHERE a.GuestID + b.GuestID + "
                             "c.GuestID + d.GuestID < 0)"));
  r->setTimeLimit(std::chrono::milliseconds(300));
  EXPECT_THAT(runError(*r), HasSubstr("time limit"));
}

}  // namespace
}  // namespace galvix::testing
