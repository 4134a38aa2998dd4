#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class RSVP : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
  }
  doc::Document runRsvp(long party, const std::string& orderBy = "") {
    auto r = report("RSVPs - One-line");
    r->set("SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party)));
    if (!orderBy.empty()) r->set("SQLOrderBy", Variant(orderBy));
    return run(*r);
  }
  // A group of `n` guests (last name `last`) invited to `party`, `attending` of them attending.
  long family(long party, const std::string& last, int n, int attending, bool rsvpd,
              const std::string& note = "", const std::string& category = "Family") {
    long g = db().group(event_, {.label = last, .category = category});
    db().invitation(party, g,
                    {.formalLabel = "The " + last + " Family", .rsvpd = rsvpd, .rsvpNote = note});
    for (int i = 0; i < n; ++i)
      db().invite(db().guest(g, {.first = "G" + std::to_string(i), .last = last}), party,
                  {.attending = i < attending, .primary = i == 0});
    return g;
  }
  long event_ = 0;
};

TEST_F(RSVP, OneLinePerGroupWithItsAttendingCountAndThePartyCounts) {
  long party = db().party(event_, {.name = "Dinner"});
  family(party, "Young", 3, 2, true, "Bringing a cake");
  family(party, "Adams", 2, 0, true, "Regrets");
  family(party, "Baker", 1, 0, false, "", "");  // no category
  // Another party's invitations are counted only there.
  long other = db().party(event_, {.name = "Brunch"});
  family(other, "Cole", 4, 4, true);

  auto d = runRsvp(party, "ORDER BY PartyDetails.RSVPNote DESC");  // ignored
  EXPECT_THAT(texts(d, "txtGAddress"),
              ElementsAre("The Adams Family", "The Baker Family", "The Young Family"));
  EXPECT_THAT(texts(d, "txtNumber"), ElementsAre("0", "0", "2"));
  EXPECT_THAT(texts(d, "txtRSVPNote"), ElementsAre("Regrets", "", "Bringing a cake"));
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("Family", "", "Family"));
  EXPECT_THAT(texts(d, "txtNumInvitations"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("6"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("2"));
  EXPECT_THAT(ticks(d, "chkRSVP"), ElementsAre(true, false, true));

  // No replies print zero; the location leaves out missing parts.
  long oslo = db().party(event_, {.name = "Lunch", .city = "Oslo", .country = "Norway"});
  family(oslo, "Young", 2, 0, false);
  d = runRsvp(oslo);
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtAddress"), ElementsAre("Oslo, \rNorway"));

  long bare = db().party(event_, {.name = "Picnic"});
  family(bare, "Zed", 1, 1, true);
  EXPECT_THAT(texts(runRsvp(bare), "txtAddress"), ElementsAre(""));
}

}  // namespace
}  // namespace galvix::testing
