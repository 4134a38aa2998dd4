#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TravelSummary : public PartyReportTest {
 protected:
  doc::Document runTravel() {
    auto r = report("Guest Travel Summary");
    r->set("SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party_)));
    r->set("SQLOrderBy", Variant("ORDER BY PartyDetails.FormalLabel DESC"));  // not used
    return run(*r);
  }
  // A group whose guests are named `last`, invited to `party` with the travel in `s`; the first
  // `attending` of its `n` guests attend. Returns the invitation (PartyGroupID).
  long travelling(long party, const std::string& last, int n, int attending,
                  data::InvitationSpec s) {
    long g = db().group(event_, {.label = last});
    s.formalLabel = last;
    long pg = db().invitation(party, g, s);
    for (int i = 0; i < n; ++i)
      db().invite(db().guest(g, {.first = "G" + std::to_string(i), .last = last}), party,
                  {.attending = i < attending, .primary = i == 0});
    return pg;
  }
};

TEST_F(TravelSummary, GroupsArrivingOrCheckingInWithTheirTravelAndRoomsOrNoParty) {
  long young = travelling(party_, "Young", 3, 2,
                          {.rsvpd = true,
                           .hotel = "Inn",
                           .checkIn = data::date(2024, 6, 1),
                           .aDate = data::date(2024, 6, 1),
                           .aLocation = "Airport",
                           .dDate = data::date(2024, 6, 3),
                           .dCarrier = "Rail"});
  db().hotelRoom(young, "King", 2, true);
  db().hotelRoom(young, "Twin", 2, false);
  // Only a check-in (driving in): listed with empty arrival fields and no rooms.
  travelling(party_, "Adams", 2, 0,
             {.rsvpNote = "Maybe", .hotel = "Lodge", .checkIn = data::date(2024, 6, 2)});
  // Only a departure: not listed.
  travelling(party_, "Baker", 1, 1, {.rsvpd = true, .dDate = data::date(2024, 6, 3)});
  // Another party's travellers are neither listed nor counted.
  long brunch = db().party(event_, {.name = "Brunch"});
  travelling(brunch, "Cole", 4, 4, {.aDate = data::date(2024, 6, 4)});

  auto d = runTravel();
  EXPECT_THAT(texts(d, "txtNames"), ElementsAre("Adams", "Young"));
  EXPECT_THAT(texts(d, "txtNumber"), ElementsAre("0", "2"));
  EXPECT_THAT(texts(d, "txtRSVPNote"), ElementsAre("Maybe"));
  EXPECT_THAT(texts(d, "Field4"), ElementsAre("Lodge", "Inn"));
  EXPECT_THAT(texts(d, "Field6"), ElementsAre("", "6/1/2024"));
  EXPECT_THAT(texts(d, "Field8"), ElementsAre("", "Airport"));
  EXPECT_THAT(texts(d, "Field14"), ElementsAre("", "Rail"));
  EXPECT_THAT(texts(d, "txtRoomType"), ElementsAre("King", "Twin"));
  EXPECT_THAT(texts(d, "txtNumInvitations"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtInvitees"), ElementsAre("6"));
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtAttendees"), ElementsAre("3"));

  // No rows print no party, and an empty clause fails with the statement.
  party_ = db().party(event_, {.name = "Lunch"});
  travelling(party_, "Zed", 1, 1, {});
  d = runTravel();
  EXPECT_TRUE(texts(d, "txtNumInvitations").empty());
  EXPECT_FALSE(d.pages.empty());

  auto r = report("Guest Travel Summary");
  EXPECT_THAT(runError(*r),
              AllOf(HasSubstr("Guest Travel Summary"),
                    HasSubstr("Parties.SubEventID  and (Not(IsNull(PartyDetails.ADate))")));
}

}  // namespace
}  // namespace galvix::testing
