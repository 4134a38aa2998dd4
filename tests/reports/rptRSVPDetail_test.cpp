#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::vector<bool> ticks(const doc::Document& d, const std::string& control) {
  std::vector<bool> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (it.control == control) out.push_back(std::get<doc::CheckBox>(it.content).checked);
  return out;
}

std::vector<std::string> captions(const doc::Document& d, const std::string& control) {
  std::vector<std::string> out;
  for (const auto& p : d.pages)
    for (const auto& it : p.items)
      if (it.control == control) out.push_back(std::get<doc::CheckBox>(it.content).caption);
  return out;
}

class RSVPDetail : public PartyReportTest {
 protected:
  struct Member {
    std::string title, first;
    int type = 0, age = 0;
    bool attending = true;
  };
  // A group invited to `party`; its first member is the primary guest.
  long family(long party, const std::string& last, const std::vector<Member>& members,
              const data::InvitationSpec& reply, const std::string& category = "Family") {
    long g = db().group(event_, {.label = last, .category = category});
    db().invitation(party, g, reply);
    for (std::size_t i = 0; i < members.size(); ++i) {
      const Member& m = members[i];
      long guest = db().guest(
          g, {.first = m.first, .last = last, .title = m.title, .type = m.type, .age = m.age});
      // The application keeps blank suffixes (and children's titles) as empty text.
      db().set("GuestNames", guest, "GSuffix", Variant(""));
      if (m.title.empty()) db().set("GuestNames", guest, "GTitle", Variant(""));
      db().invite(guest, party, {.attending = m.attending, .primary = i == 0});
    }
    return g;
  }
  doc::Document runDetail(const std::string& where, const std::string& orderBy) {
    auto r = report("RSVPs - Detailed");
    r->set("SQLWhere", Variant(where));
    r->set("SQLOrderBy", Variant(orderBy));
    r->set("TimeFormat", Variant("h:nn AP"));
    r->set("DateFormat", Variant("mmmm d, yyyy"));
    return run(*r);
  }
  std::string partyClause() const {
    return "WHERE Parties.PartyID = " + std::to_string(party_) + " ";
  }
};

TEST_F(RSVPDetail, EachGroupWithItsReplyPrimaryGuestAndMembersByTypeThenAge) {
  db().set("Parties", party_, "Date", data::date(2027, 6, 12));
  db().set("Parties", party_, "Time", data::time(18, 30));
  family(party_, "Young",
         {{"Mr.", "Tom"},
          {"", "Liam", 2, 9, false},
          {"Ms.", "Ann", 0, 0, false},
          {"", "Mia", 2, 4, true}},
         {.rsvpd = true, .rsvpNote = "Bringing a cake"});
  family(party_, "Adams", {{"Dr.", "Eve", 0, 0, false}}, {}, "");  // alone, no reply, no category
  // Invitations to another party are neither listed nor counted here.
  const long brunch = db().party(event_, {.name = "Brunch"});
  family(brunch, "Cole", {{"Mr.", "Al"}, {"Ms.", "Bo"}}, {.rsvpd = true});

  auto d = runDetail(partyClause(), "ORDER BY GuestNames.GLName");
  EXPECT_THAT(texts(d, "txtLName"), ElementsAre("Adams ", "Young "));
  EXPECT_THAT(ticks(d, "chkRSVP"), ElementsAre(false, true));
  EXPECT_THAT(texts(d, "txtGNote"), ElementsAre("", "Bringing a cake"));
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("", "Family"));
  EXPECT_THAT(captions(d, "chkAttendeesName"), ElementsAre("Dr. Eve Adams ", "Mr. Tom Young "));
  EXPECT_THAT(ticks(d, "chkAttendeesName"), ElementsAre(false, true));
  // Adams has no other member; Young's follow adults first, then children by age.
  EXPECT_THAT(captions(d, "chkAttending"),
              ElementsAre("Ms. Ann Young ", "Mia Young ", "Liam Young "));
  EXPECT_THAT(ticks(d, "chkAttending"), ElementsAre(false, true, false));

  EXPECT_THAT(texts(d, "txtNumInvitations"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("5"));
  EXPECT_THAT(texts(d, "txtNumAttendees"), ElementsAre("2"));
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("1"));
  EXPECT_THAT(texts(d, "txtTime"), ElementsAre("6:30 PM"));
  EXPECT_THAT(texts(d, "txtDate"), ElementsAre("June 12, 2027"));

  // The caller's order is the report's.
  d = runDetail(partyClause(), "ORDER BY GuestNames.GLName DESC");
  EXPECT_THAT(texts(d, "txtLName"), ElementsAre("Young ", "Adams "));
  EXPECT_THAT(captions(d, "chkAttending"),
              ElementsAre("Ms. Ann Young ", "Mia Young ", "Liam Young "));
}

TEST_F(RSVPDetail, EachPartyListsTheMembersInvitedToIt) {
  const long brunch = db().party(event_, {.name = "Brunch"});
  const long g = db().group(event_, {.label = "Young"});
  db().invitation(party_, g, {.rsvpd = true});
  db().invitation(brunch, g);
  auto guest = [&](const char* title, const char* first) {
    long id = db().guest(g, {.first = first, .last = "Young", .title = title});
    db().set("GuestNames", id, "GSuffix", Variant(""));
    return id;
  };
  const long tom = guest("Mr.", "Tom"), ann = guest("Ms.", "Ann"), liz = guest("Ms.", "Liz");
  db().invite(tom, party_, {.primary = true});
  db().invite(ann, party_);
  db().invite(tom, brunch, {.primary = true});
  db().invite(liz, brunch, {.attending = false});

  auto dinner = runDetail(partyClause(), "");
  EXPECT_THAT(captions(dinner, "chkAttendeesName"), ElementsAre("Mr. Tom Young "));
  EXPECT_THAT(captions(dinner, "chkAttending"), ElementsAre("Ms. Ann Young "));
  EXPECT_THAT(ticks(dinner, "chkAttending"), ElementsAre(true));
  auto d = runDetail("WHERE Parties.PartyID = " + std::to_string(brunch) + " ", "");
  EXPECT_THAT(texts(d, "txtRSVPs"), ElementsAre("0"));
  EXPECT_THAT(captions(d, "chkAttending"), ElementsAre("Ms. Liz Young "));
  EXPECT_THAT(ticks(d, "chkAttending"), ElementsAre(false));
}

TEST_F(RSVPDetail, ClauseMustBeAWhereClause) {
  family(party_, "Young", {{"Mr.", "Tom"}}, {});
  auto r = report("RSVPs - Detailed");
  try {
    run(*r);  // no clause: " and Invitees.Primary = True" follows the joins
    FAIL() << "no error";
  } catch (const ReportRunError& e) {
    EXPECT_THAT(e.what(), HasSubstr("RSVPs - Detailed"));
    EXPECT_THAT(e.what(), HasSubstr("Parties.SubEventID  and Invitees.Primary = True "));
  }
}

}  // namespace
}  // namespace galvix::testing
