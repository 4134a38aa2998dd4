// The two guest-by-guest seating lists: simple tables ("Table Assignments By Guest") and the
// room plan ("GuestTables2").
#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

class SeatingByGuest : public PartyReportTest {
 protected:
  long guest(const std::string& first, const std::string& last, int type = 0,
             const std::string& suffix = "") {
    // A Null title makes the whole name Null (it is joined with "+"); guests here have one.
    return db().guest(
        group_, {.first = first, .last = last, .title = "Dr.", .suffix = suffix, .type = type});
  }
  doc::Document runWith(const std::string& name, const std::string& where) {
    return run(name, {{"SQLWhere", Variant(where)}});
  }
  std::string partyClause() const { return "WHERE Parties.PartyID = " + std::to_string(party_); }
};

TEST_F(SeatingByGuest, TablesListAttendingGuestsByNameWithTheirTableOrNotSeated) {
  const long head = db().table(party_, "Head Table", 10);
  const long menu = db().menu(party_, "Salmon");
  db().invite(guest("Zed", "Adams"), party_, {.menuId = menu, .tableId = head, .seat = 3});
  // Same last name and suffix: the adult before the child, then by first name.
  db().invite(guest("Amy", "Brown", 2), party_, {.tableId = head, .seat = 1});
  db().invite(guest("Bob", "Brown"), party_, {.tableId = head, .seat = 2});
  db().invite(guest("Cal", "Brown"), party_, {.tableId = 0, .seat = 7});  // no table
  db().invite(guest("Dee", "Cole"), party_, {.attending = false, .tableId = head, .seat = 4});
  // Another party's table is not this party's.
  const long other = db().party(event_, {.name = "Brunch"});
  db().invite(guest("Eve", "Dunn"), other, {.tableId = db().table(other, "Brunch Table")});

  // The party is the number between "=" and " AND "; what follows still restricts the rows.
  auto d = runWith("Table Assignments By Guest", partyClause() + " AND GuestNames.GLName <> 'X'");
  EXPECT_THAT(texts(d, "txtName"),
              ElementsAre("Dr. Zed Adams ", "Dr. Bob Brown ", "Dr. Cal Brown ", "Dr. Amy Brown "));
  EXPECT_THAT(texts(d, "txtTable"),
              ElementsAre("Head Table", "Head Table", "Not Seated", "Head Table"));
  // An unseated guest's seat is still formatted from what is stored.
  EXPECT_THAT(texts(d, "txtSeat"), ElementsAre("03", "02", "07", "01"));
  EXPECT_THAT(texts(d, "txtMenuSelection"), ElementsAre("Salmon", "", "", ""));
  // The non-attending guest is counted but not listed.
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("5"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("0"));
}

TEST_F(SeatingByGuest, RoomPlanGivesRoomAndChairAndListsAGuestOnTwoChairsTwice) {
  const long hall = db().room(party_, "Hall");
  const long terrace = db().room(party_, "Terrace");
  const long round = db().roomObject(hall, "Round", 4, 8);
  const long bar = db().roomObject(terrace, "Bar", 9, 2);
  const long ann = guest("Ann", "Baker"), ben = guest("Ben", "Avery"), cy = guest("Cy", "Cole");
  const long dee = guest("Dee", "Dunn");
  for (long g : {ann, ben, cy}) db().invite(g, party_, {});
  db().invite(dee, party_, {.attending = false});
  db().chair(round, 5, ann);
  db().chair(bar, 1, ann);    // the same guest on a second chair
  db().chair(round, 6, dee);  // on the plan but not coming: not listed
  db().chair(round, 7, 0);    // an empty chair

  auto d = runWith("GuestTables2", partyClause());
  EXPECT_THAT(texts(d, "txtName"),
              ElementsAre("Dr. Ben Avery ", "Dr. Ann Baker ", "Dr. Ann Baker ", "Dr. Cy Cole "));
  std::vector<std::string> rows;
  const auto names = texts(d, "txtName"), rooms = texts(d, "txtRoomName"),
             seats = texts(d, "txtTableNo");
  ASSERT_EQ(rooms.size(), names.size());
  ASSERT_EQ(seats.size(), names.size());
  for (size_t i = 0; i < names.size(); ++i)
    rows.push_back(names[i] + "|" + rooms[i] + "|" + seats[i]);
  EXPECT_THAT(
      rows, UnorderedElementsAre("Dr. Ben Avery ||Not Seated", "Dr. Ann Baker |Hall|#4: Round / 5",
                                 "Dr. Ann Baker |Terrace|#9: Bar / 1", "Dr. Cy Cole ||Not Seated"));
  // Letter headings by the initial of the last name.
  EXPECT_THAT(texts(d, "txtNameChar"), ElementsAre("A", "B", "C"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("3"));
}

TEST_F(SeatingByGuest, AClauseWithoutAPartyNumberFailsNamingTheReportAndTheClause) {
  for (const char* name : {"Table Assignments By Guest", "GuestTables2"}) {
    SCOPED_TRACE(name);
    auto r = report(name);
    for (const char* bad : {"WHERE Parties.SubEventName = 'Dinner'", "WHERE Parties.PartyID > 3",
                            "WHERE Parties.PartyID = 3 and 1 = 1"}) {
      try {
        r->set("SQLWhere", Variant(bad));
        ADD_FAILURE() << bad << " was taken";
      } catch (const std::exception& e) {
        EXPECT_THAT(e.what(), HasSubstr(name));
        EXPECT_THAT(e.what(), HasSubstr(bad));
      }
    }
    // Blanks around the number are fine, with or without a further condition.
    EXPECT_NO_THROW(r->set("SQLWhere", Variant("WHERE Parties.PartyID =  12  AND x = 1")));
    EXPECT_NO_THROW(r->set("SQLWhere", Variant("WHERE Parties.PartyID = 12")));
  }
}

}  // namespace
}  // namespace galvix::testing
