#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ArrivalsDepartures : public PartyReportTest {
 protected:
  // A group invited to the party with `members` guests (the first primary), all attending but
  // the last when `oneDeclines`.
  long travelling(const std::string& label, const data::InvitationSpec& travel, int members = 2,
                  bool oneDeclines = false) {
    const long g = db().group(event_, {.label = label});
    data::InvitationSpec inv = travel;
    inv.formalLabel = label;
    db().invitation(party_, g, inv);
    for (int i = 0; i < members; ++i)
      db().invite(db().guest(g, {.first = "M" + std::to_string(i)}), party_,
                  {.attending = !(oneDeclines && i == members - 1), .primary = i == 0});
    return g;
  }
  doc::Document runMode(const char* name, const std::string& where) {
    return run(name, {{"SQLWhere", Variant(where)},
                      {"SQLOrderBy", Variant("ORDER BY PartyDetails.FormalLabel")},
                      {"TimeFormat", Variant("h:mm AP")}});
  }
};

TEST_F(ArrivalsDepartures, EachListHoldsTheGroupsWithAnyOfItsDetailsAndTotalsTheirAttendees) {
  travelling("Ames", {.aDate = data::date(2027, 6, 10),
                      .aTime = data::time(14, 5),
                      .aLocation = "ORD",
                      .aCarrier = "United",
                      .aCarrierNo = "812",
                      .pickup = true});
  travelling("Bell", {.aCarrier = "Amtrak"}, 3, true);  // a carrier alone is enough
  travelling("Cole", {.dDate = data::date(2027, 6, 14), .dCarrier = "Delta", .dropOff = true});
  travelling("Dunn", {});  // no travel

  auto d = runMode("Guest Arrival Information", partyClause(party_));
  EXPECT_THAT(texts(d, "txtNames"), ElementsAre("Ames", "Bell"));
  EXPECT_THAT(texts(d, "txtTCarrier"), ElementsAre("United", "Amtrak"));
  EXPECT_THAT(texts(d, "txtTTime"), ElementsAre("2:05 PM", ""));
  EXPECT_THAT(texts(d, "txtNumber"), ElementsAre("2", "2"));
  EXPECT_THAT(texts(d, "txtTotal"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "lblRide"), ElementsAre("Pickup?"));
  EXPECT_THAT(ticks(d, "chkRide"), ElementsAre(true, false));

  // Departures: their own columns and heading; a clause without the keyword gets its own.
  d = runMode("Guest Departure Information", "");
  EXPECT_THAT(texts(d, "txtNames"), ElementsAre("Cole"));
  EXPECT_THAT(texts(d, "txtTCarrier"), ElementsAre("Delta"));
  EXPECT_THAT(texts(d, "lblRide"), ElementsAre("Dropoff?"));
  EXPECT_THAT(ticks(d, "chkRide"), ElementsAre(true));
}

TEST_F(ArrivalsDepartures, ATotalBeyondSixteenBitsIsAnOverflow) {
  const long g = travelling("Ames", {.aCarrier = "United"}, 1);
  db().exec(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 32768) "
      "INSERT INTO GuestNames (GroupID, GFName, GLName, Type) SELECT " +
      std::to_string(g) + ", 'G', 'Crowd', 0 FROM n");
  db().exec("INSERT INTO Invitees (GuestID, PartyID, Attending, \"Primary\") SELECT GuestID, " +
            std::to_string(party_) + ", -1, 0 FROM GuestNames WHERE GLName = 'Crowd'");
  EXPECT_THAT(runError([&] { runMode("Guest Arrival Information", partyClause(party_)); }),
              AllOf(HasSubstr("Guest Arrival Information"), HasSubstr("overflow")));
}

}  // namespace
}  // namespace galvix::testing
