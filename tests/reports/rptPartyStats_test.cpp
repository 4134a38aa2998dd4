#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PartyStats : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    party_ = db().party(event_, {.name = "Dinner", .menuSelectionRequired = true});
  }
  doc::Document runStats() {
    return run("Party Statistics",
               {{"SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party_))}});
  }
  // A group of the given guest types, all invited; the first `attending` of them attend.
  long group(const std::string& category, std::vector<int> types, size_t attending, long menu = 0) {
    long g = db().group(event_, {.category = category});
    db().invitation(party_, g, {.rsvpd = attending > 0});
    for (size_t i = 0; i < types.size(); ++i)
      db().invite(db().guest(g, {.type = types[i]}), party_,
                  {.attending = i < attending, .menuId = menu});
    return g;
  }
  long event_ = 0, party_ = 0;
};

TEST_F(PartyStats, CountsInvitedAndAttendingGuestsByCategoryAndType) {
  long fish = db().menu(party_, "Fish");
  group("Family", {0, 1, 2}, 2, fish);  // the child stays home
  group("Friends", {0, 2}, 2);
  group("Friends", {1}, 0);
  // The meal total counts attending invitees with any menu identifier, chosen or not.
  db().exec("UPDATE Invitees SET MenuID = NULL WHERE MenuID = 0 AND GuestID > 3");

  auto d = runStats();
  EXPECT_THAT(texts(d, "txtNumInvitations"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtNumRSVPs"), ElementsAre("2"));
  // Two subreports print txtGCategory: the invited one first.
  EXPECT_THAT(texts(d, "txtGCategory"), ElementsAre("Family", "Friends", "Family", "Friends"));
  EXPECT_THAT(texts(d, "txtGCount"), ElementsAre("3", "3", "2", "2"));
  EXPECT_THAT(texts(d, "txtIAdults"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtIChildren"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtITtl"), ElementsAre("6"));
  EXPECT_THAT(texts(d, "txtAAdults"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtAChildren"), ElementsAre("1"));
  EXPECT_THAT(texts(d, "txtATtl"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtMeal"), ElementsAre("Fish"));
  EXPECT_THAT(texts(d, "txtCount"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtMTtl"), ElementsAre("2"));
}

TEST_F(PartyStats, NobodyAttendingAndUnknownOrBlankCategories) {
  group("Family", {0, 0}, 0);
  auto d = runStats();
  EXPECT_THAT(texts(d, "txtAAdults"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtAChildren"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtMTtl"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtIChildren"), ElementsAre("0"));
  EXPECT_THAT(texts(d, "txtITtl"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtGCategory"), ElementsAre("Family"));  // the invited summary only
  EXPECT_THAT(texts(d, "txtMeal"), IsEmpty());

  party_ = db().party(event_, {.name = "Lunch"});
  db().set("GroupIDs", group("Family", {0}, 1), "CategoryID", Variant(999));  // no category
  group("Blank", {0}, 1);
  db().exec("UPDATE GuestCategories SET Category = '' WHERE Category = 'Blank'");
  d = runStats();
  // Grouped on the category: Null (no match) before blank.
  EXPECT_THAT(texts(d, "txtGCategory"),
              ElementsAre("No Category", "(Not Categorized)", "No Category", "(Not Categorized)"));
  EXPECT_THAT(texts(d, "txtGCount"), ElementsAre("1", "1", "1", "1"));
}

}  // namespace
}  // namespace galvix::testing
