#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

// Each printed check box of `control`: its caption and whether it is ticked.
std::vector<std::pair<std::string, bool>> boxes(const doc::Document& d,
                                                const std::string& control) {
  std::vector<std::pair<std::string, bool>> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (auto* c = std::get_if<doc::CheckBox>(&it.content); c && it.control == control)
        out.emplace_back(c->caption, c->checked);
  return out;
}

class RSVPDetail : public PartyReportTest {
 protected:
  struct Member {
    std::string title, first;
    int type = 0, age = 0;
    bool attending = true;
  };
  // Invites `members` of group `g` to `party`; the first is the primary guest.
  void invite(long g, long party, const std::vector<Member>& members) {
    for (std::size_t i = 0; i < members.size(); ++i) {
      const Member& m = members[i];
      long guest = db().guest(
          g, {.first = m.first, .last = "Young", .title = m.title, .type = m.type, .age = m.age});
      // The application keeps blank suffixes and children's titles as empty text.
      db().set("GuestNames", guest, "GSuffix", Variant(""));
      db().set("GuestNames", guest, "GTitle", Variant(m.title));
      db().invite(guest, party, {.attending = m.attending, .primary = i == 0});
    }
  }
  doc::Document runDetail(const std::string& orderBy) {
    return run("RSVPs - Detailed",
               {{"SQLWhere", Variant("WHERE Parties.PartyID = " + std::to_string(party_) + " ")},
                {"SQLOrderBy", Variant(orderBy)},
                {"TimeFormat", Variant("h:nn AP")}});
  }
};

TEST_F(RSVPDetail, EachGroupWithItsReplyPrimaryGuestAndMembersByTypeThenAge) {
  db().set("Parties", party_, "Time", data::time(18, 30));
  db().invitation(party_, group_, {.rsvpd = true, .rsvpNote = "Bringing a cake"});
  invite(
      group_, party_,
      {{"Mr.", "Tom"}, {"", "Liam", 2, 9, false}, {"Ms.", "Ann", 0, 0, false}, {"", "Mia", 2, 4}});
  // The group's invitation to another party lists its own members there only.
  const long brunch = db().party(event_, {.name = "Brunch"});
  db().invitation(brunch, group_, {.rsvpd = true});
  invite(group_, brunch, {{"Mr.", "Al"}, {"Ms.", "Bo"}});
  // A group of one, without reply or category, whose name sorts first.
  const long alone = db().group(event_, {.label = "Adams", .category = ""});
  db().invitation(party_, alone);
  long eve = db().guest(alone, {.first = "Eve", .last = "Adams", .title = "Dr."});
  db().set("GuestNames", eve, "GSuffix", Variant(""));
  db().invite(eve, party_, {.attending = false, .primary = true});

  auto d = runDetail("ORDER BY GuestNames.GLName");
  EXPECT_THAT(texts(d, "txtLName"), ElementsAre("Adams ", "Young "));
  EXPECT_THAT(boxes(d, "chkRSVP"), ElementsAre(Pair("", false), Pair("", true)));
  EXPECT_THAT(texts(d, "txtGNote"), ElementsAre("", "Bringing a cake"));
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("", "Family"));
  EXPECT_THAT(boxes(d, "chkAttendeesName"),
              ElementsAre(Pair("Dr. Eve Adams ", false), Pair("Mr. Tom Young ", true)));
  // Adams has no other member; Young's follow adults first, then children by age.
  EXPECT_THAT(boxes(d, "chkAttending"),
              ElementsAre(Pair("Ms. Ann Young ", false), Pair("Mia Young ", true),
                          Pair("Liam Young ", false)));
  EXPECT_THAT(texts(d, "txtNumInvitations"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("5"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("1"));
  EXPECT_THAT(texts(d, "txtTime"), ElementsAre("6:30 PM"));

  // The caller's order is the report's.
  EXPECT_THAT(texts(runDetail("ORDER BY GuestNames.GLName DESC"), "txtLName"),
              ElementsAre("Young ", "Adams "));
  // The clause must be a WHERE clause: without one " and Invitees.Primary = True" follows the
  // joins.
  auto r = report("RSVPs - Detailed");
  EXPECT_THAT(runError(*r), AllOf(HasSubstr("RSVPs - Detailed"),
                                  HasSubstr("Parties.SubEventID  and Invitees.Primary = True ")));
}

}  // namespace
}  // namespace galvix::testing
