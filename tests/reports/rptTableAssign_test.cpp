#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class TableAssign : public PartyReportTest {
 protected:
  std::string where() const { return "WHERE Parties.PartyID = " + std::to_string(party_) + " "; }
  doc::Document runTables() {
    return run("Table Assignments By Table", {{"SQLWhere", Variant(where())}});
  }
  void seat(const std::string& first, long table, int seat, bool attending = true) {
    db().invite(db().guest(group_, {.first = first, .last = "Lee", .title = "Dr."}), party_,
                {.attending = attending, .tableId = table, .seat = seat});
  }
};

TEST_F(TableAssign, EachTableCountsItsOwnSeatsUnseatedGuestsFirst) {
  long a = db().table(party_, "Alpha", 4);
  long b = db().table(party_, "Beta", 6);
  db().table(party_, "Empty", 8);
  seat("Ann", a, 1);
  seat("Bob", a, 3);
  seat("Cy", b, 2);
  seat("Dee", b, 4, false);  // seated but not coming: counted in the total only
  seat("Eve", 0, 0);         // attending, no table

  auto d = runTables();
  EXPECT_THAT(texts(d, "txtTableName"), ElementsAre(" Not Seated", "Alpha", "Beta", "Empty"));
  EXPECT_THAT(texts(d, "txtSeatsUsed"), ElementsAre("0", "2", "1", "0"));
  EXPECT_THAT(texts(d, "txtSeatsAvail"), ElementsAre("", "2", "5", "8"));
  EXPECT_THAT(texts(d, "txtName"),
              ElementsAre("Dr. Eve Lee ", "Dr. Ann Lee ", "Dr. Bob Lee ", "Dr. Cy Lee ", ""));
  EXPECT_THAT(texts(d, "txtSeat"), ElementsAre("", "01", "03", "02", ""));
  EXPECT_THAT(texts(d, "txtTablesTotal"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtSeatsTotal"), ElementsAre("18"));
  EXPECT_THAT(texts(d, "txtSeatsUsedTotal"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtSeatsAvailTotal"), ElementsAre("14"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("5"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("4"));

  // A blank table name shows "Unseated"; a party without tables shows zero seats.
  party_ = db().party(event_, {.name = "Lunch"});
  long t = db().table(party_, "", 2);
  db().set("Tables", t, "TableName", Variant(""));
  seat("Ann", t, 1);
  d = runTables();
  EXPECT_THAT(texts(d, "txtTableName"), ElementsAre("Unseated"));
  EXPECT_THAT(texts(d, "txtSeatsAvail"), ElementsAre("1"));

  long other = db().party(event_, {.name = "Brunch"});
  db().invite(db().guest(group_, {.first = "Bo", .title = "Mr."}), other, {});
  party_ = other;
  auto none = runTables();
  EXPECT_THAT(texts(none, "txtSeatsTotal"), ElementsAre("0"));
  EXPECT_THAT(texts(none, "txtSeatsAvailTotal"), ElementsAre("0"));
  EXPECT_THAT(texts(none, "txtTableName"), ElementsAre(" Not Seated"));
}

}  // namespace
}  // namespace galvix::testing
