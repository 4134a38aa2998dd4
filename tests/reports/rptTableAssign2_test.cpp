#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A party seated on a room plan: two rooms, three tables, one guest without a chair.
class TableAssign2 : public PartyReportTest {
 protected:
  void SetUp() override {
    PartyReportTest::SetUp();
    const long hall = db().room(party_, "Hall");
    const long terrace = db().room(party_, "Terrace");
    zeta_ = db().roomObject(hall, "Zeta", 1, 2);
    alpha_ = db().roomObject(hall, "Alpha", 2, 3);
    bar_ = db().roomObject(terrace, "Bar", 1, 0);
    seat(zeta_, 1, "Ann");
    seat(zeta_, 2, "Bob");
    seat(alpha_, 1, "Cy");
    db().chair(alpha_, 2, 0);  // empty chairs
    db().chair(alpha_, 3, 0);
    seat(bar_, 1, "Dee");  // a table of no chairs with a guest on it
    db().invite(db().guest(group_, {.first = "Eve", .last = "Lee", .title = "Dr."}), party_,
                {});               // no chair
    seat(zeta_, 3, "Fay", false);  // on the plan, not coming: counted as used, not listed
  }
  void seat(long object, int chair, const std::string& first, bool attending = true) {
    const long g = db().guest(group_, {.first = first, .last = "Lee", .title = "Dr."});
    db().invite(g, party_, {.attending = attending});
    db().chair(object, chair, g);
  }
  doc::Document runPlan(const std::string& orderBy = "ORDER BY RoomName, ItemNumber, ChairNumber") {
    return run("TableAssign2",
               {{"SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party_) + " ")},
                {"SQLOrderBy", Variant(orderBy)}});
  }
  long zeta_ = 0, alpha_ = 0, bar_ = 0;
};

TEST_F(TableAssign2, TablesAreHeadedByNumberOrByLabelAsTheOrderSays) {
  auto byNumber = runPlan();
  EXPECT_THAT(texts(byNumber, "txtRoomName"), ElementsAre("", "Hall", "Terrace"));
  EXPECT_THAT(texts(byNumber, "txtTableName"),
              ElementsAre("Not Seated", "#1 (Zeta)", "#2 (Alpha)", "#1 (Bar)"));
  EXPECT_THAT(
      texts(byNumber, "txtName"),
      ElementsAre("Dr. Eve Lee ", "Dr. Ann Lee ", "Dr. Bob Lee ", "Dr. Cy Lee ", "Dr. Dee Lee "));
  EXPECT_THAT(texts(byNumber, "txtSeat"), ElementsAre("0", "1", "2", "1", "1"));

  auto byLabel = runPlan("ORDER BY RoomName, ObjectLabel, ChairNumber");
  EXPECT_THAT(texts(byLabel, "txtTableName"),
              ElementsAre("Not Seated", "Alpha (#2)", "Zeta (#1)", "Bar (#1)"));
  // A table without a label is unseated.
  db().set("RoomObjects", alpha_, "ObjectLabel", Variant::null());
  EXPECT_THAT(texts(runPlan(), "txtTableName"),
              ElementsAre("Not Seated", "#1 (Zeta)", "Unseated", "#1 (Bar)"));
  // The party is read from the clause, as "Table Assignments By Table" reads it: its number must
  // be followed by a blank.
  auto r = report("TableAssign2");
  EXPECT_THROW(r->set("SQLWhere", Variant("WHERE Parties.PartyID = 1 AND 1=1")), std::exception);
  const std::string clause = "WHERE Parties.PartyID = " + std::to_string(party_);
  r->set("SQLWhere", Variant(clause));
  EXPECT_THAT(runError(*r), AllOf(HasSubstr("TableAssign2"), HasSubstr(clause)));
}

TEST_F(TableAssign2, EachTableShowsSeatsUsedAndAvailableBelowZeroButWithinSixteenBits) {
  auto d = runPlan();
  EXPECT_THAT(texts(d, "txtNumSeats"), ElementsAre("0", "2", "3", "0"));
  EXPECT_THAT(texts(d, "txtSeatsUsed"), ElementsAre("1", "2", "1", "1"));
  EXPECT_THAT(texts(d, "txtSeatsAvail"), ElementsAre("-1", "0", "2", "-1"));
  // The party totals, once though the party spans two rooms: tables with chairs, every chair
  // row, the chairs with a guest (attending or not).
  EXPECT_THAT(texts(d, "txtTablesTotal"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtSeatsTotal"), ElementsAre("7"));
  EXPECT_THAT(texts(d, "txtSeatsUsedTotal"), ElementsAre("5"));
  EXPECT_THAT(texts(d, "txtSeatsAvailTotal"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("6"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("5"));
  // Seat arithmetic beyond sixteen bits is an overflow.
  db().set("RoomObjects", zeta_, "NumOfChairs", Variant::integer(-32768));
  EXPECT_THAT(runError([&] { runPlan(); }),
              AllOf(HasSubstr("TableAssign2"), HasSubstr("overflow")));
}

}  // namespace
}  // namespace galvix::testing
