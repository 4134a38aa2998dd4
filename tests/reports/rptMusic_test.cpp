#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class Timelines : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    const long e = db().event();
    ceremony_ = db().party(e, {.name = "Ceremony",
                               .date = data::date(2025, 6, 14),
                               .time = data::time(15, 30),
                               .givenBy = "The Lees",
                               .address = "St. Clement Church",
                               .city = "Chicago",
                               .state = "IL",
                               .postalCode = "60614",
                               .notes = "Arrive early"});
    db().stage(ceremony_, 1, data::time(15, 0), "Prelude", "Canon in D", "Quartet");
    db().stage(ceremony_, 2, Variant::null(), "Readings", "", "Zoë", "Two readings");
    reception_ = db().party(e, {.name = "Reception", .time = data::time(18, 0)});
    db().stage(reception_, 1, data::time(18, 5), "Cocktails");
    db().party(e, {.name = "Brunch"});  // no stages: not listed
  }
  doc::Document runTimelines(const std::string& where, const std::string& orderBy) {
    return run("Sub-Event Timelines", {{"SQLWhere", Variant(where)},
                                       {"SQLOrderBy", Variant(orderBy)},
                                       {"TimeFormat", Variant("h:mm AP")},
                                       {"DateFormat", Variant("mmmm d, yyyy")}});
  }
  long ceremony_ = 0, reception_ = 0;
};

TEST_F(Timelines, EveryStageOfEveryPartyUnderItsPartyHeaderAndTheCallersClauses) {
  const auto d = runTimelines("", "");
  EXPECT_THAT(texts(d, "txtEvent"), ElementsAre("Prelude", "Readings", "Cocktails"));
  // A stage without a time prints an empty time.
  EXPECT_THAT(texts(d, "txtETime"), ElementsAre("3:00 PM", "", "6:05 PM"));
  EXPECT_THAT(texts(d, "txtRSVPNote"), ElementsAre("Canon in D", "", ""));
  EXPECT_THAT(texts(d, "txtSungBy"), ElementsAre("Quartet", "Zoë", ""));
  EXPECT_THAT(texts(d, "txtNotes"), ElementsAre("", "Two readings", ""));
  EXPECT_THAT(texts(d, "txtSubEventName"), ElementsAre("Ceremony", "Reception"));
  EXPECT_THAT(texts(d, "txtGivenBy"), ElementsAre("The Lees", ""));
  EXPECT_THAT(texts(d, "txtDate"), ElementsAre("June 14, 2025", ""));
  EXPECT_THAT(texts(d, "txtTime"), ElementsAre("3:30 PM", "6:00 PM"));
  EXPECT_THAT(texts(d, "txtAddress"), ElementsAre("St. Clement Church\rChicago, IL  60614", ""));
  EXPECT_THAT(texts(d, "txtPNotes"), ElementsAre("Arrive early", ""));
  EXPECT_THAT(texts(d, "lblDatePrinted"), ElementsAre("Date Printed: 6/1/2024"));

  // The caller's clauses follow the statement directly: the caller supplies the blanks.
  const auto one = runTimelines("WHERE Parties.PartyID = " + std::to_string(ceremony_) + " ",
                                "ORDER BY StageOfEvents.EventOrder DESC");
  EXPECT_THAT(texts(one, "txtEvent"), ElementsAre("Readings", "Prelude"));
  EXPECT_THAT(texts(one, "txtEventOrder"), ElementsAre("2", "1"));
  // Without the blank the clauses run together and the statement fails.
  auto r = report("Sub-Event Timelines");
  r->set("SQLWhere", Variant("WHERE Parties.GivenBy IS NOT NULL"));
  r->set("SQLOrderBy", Variant("ORDER BY StageOfEvents.EventOrder"));
  EXPECT_NE(runError(*r), "no error");
}

}  // namespace
}  // namespace galvix::testing
