#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class GuestList : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event({.name = "Smith Wedding"});
    party_ = db().party(event_, {.name = "Reception", .notes = "Garden if dry"});
    other_ = db().party(event_, {.name = "Brunch"});
  }

  // A group invited to `party` with `adults` adults and `children` children; the first adult is
  // the primary invitee.
  long group(const data::GroupSpec& g, int adults, int children, long party = 0) {
    party = party ? party : party_;
    long id = db().group(event_, g);
    db().invitation(party, id, {.formalLabel = g.label + " (formal)", .casualLabel = g.label});
    for (int i = 0; i < adults + children; ++i) {
      long guest = db().guest(
          id, {.first = "G" + std::to_string(i), .last = g.label, .type = i < adults ? 0 : 2});
      db().invite(guest, party, {.attending = true, .primary = i == 0});
    }
    return id;
  }

  doc::Document runList(const std::string& entry, const std::string& where) {
    return run(entry, {{"SQLWhere", Variant(where)},
                       {"SQLOrderBy", Variant("ORDER BY PartyDetails.FormalLabel")}});
  }

  long event_ = 0, party_ = 0, other_ = 0;
};

TEST_F(GuestList, PartyCountsCoverAllInviteesWhileRowsArePrimaryOnly) {
  group({.label = "Adams"}, 2, 1);
  group({.label = "Baker"}, 1, 0);
  group({.label = "Elsewhere"}, 3, 0, other_);
  auto d = runList("Guest List - with notes", partyClause(party_));
  EXPECT_THAT(texts(d, "txtNumInvitees"), ElementsAre("4"));
  EXPECT_THAT(texts(d, "txtAdults"), ElementsAre("3"));
  EXPECT_THAT(texts(d, "txtChildren"), ElementsAre("1"));
  // One row per group (its primary invitee), with the group's head count for the party.
  EXPECT_THAT(texts(d, "txtGAddress"), ElementsAre("Adams (formal)", "Baker (formal)"));
  EXPECT_THAT(texts(d, "txtNumber"), ElementsAre("3", "1"));
  EXPECT_THAT(texts(d, "txtPNotes"), ElementsAre("Garden if dry"));
}

TEST_F(GuestList, ContactTextRules) {
  group({.label = "A Mail only", .email = "a@example.com"}, 1, 0);
  group({.label = "B Phones", .hPhone = "555-0101", .mPhone = "   ", .fPhone = " 555-0199"}, 1, 0);
  group({.label = "C All",
         .hPhone = "1",
         .wPhone = "2",
         .mPhone = "3",
         .fPhone = "4",
         .email = "c@x.org"},
        1, 0);
  group({.label = "D None"}, 1, 0);
  auto d = runList("Guest List - with notes", partyClause(party_));
  EXPECT_THAT(texts(d, "txtContact"),
              ElementsAre("(E) a@example.com", "(H) 555-0101\r\n(F)  555-0199\r\n",
                          "(H) 1\r\n(W) 2\r\n(M) 3\r\n(F) 4\r\n(E) c@x.org", ""));
}

TEST_F(GuestList, GroupNotesOnlyWithNotesAndAClauseWithoutTheKeywordGetsOne) {
  group({.label = "Adams", .notes = "Needs a ramp"}, 1, 0);
  EXPECT_THAT(texts(runList("Guest List - with notes", partyClause(party_)), "txtGNote"),
              ElementsAre("Needs a ramp"));
  // Lower-case "where" still counts as the keyword.
  auto without =
      runList("Guest List - without notes", "where Parties.PartyID = " + std::to_string(party_));
  EXPECT_THAT(texts(without, "txtGAddress"), ElementsAre("Adams (formal)"));
  EXPECT_THAT(texts(without, "txtChildren"), ElementsAre("0"));  // no matching guests: zero
  EXPECT_THAT(texts(without, "txtGNote"), ElementsAre());
  EXPECT_THAT(texts(without, "txtPNotes"), ElementsAre("Garden if dry"));  // party notes stay
}

TEST_F(GuestList, EveryPartyGetsItsHeader) {
  group({.label = "Adams"}, 1, 0);
  group({.label = "Baker"}, 2, 0, other_);
  // A clause on the event selects both parties; the counts then cover the whole clause.
  auto d = runList("Guest List - with notes", "WHERE Parties.EventID = " + std::to_string(event_));
  EXPECT_EQ(texts(d, "txtSubEventName").size(), 2u);
  EXPECT_THAT(texts(d, "txtGAddress"),
              ::testing::UnorderedElementsAre("Adams (formal)", "Baker (formal)"));
}

TEST_F(GuestList, BadClauseNamesTheReportAndTheSql) {
  group({.label = "Adams"}, 1, 0);
  auto r = report("Guest List - with notes");
  r->set("SQLWhere", Variant("WHERE Parties.NoSuchColumn = 1"));
  EXPECT_THAT(runError(*r), AllOf(HasSubstr("Guest List - with notes"), HasSubstr("NoSuchColumn")));
  // A syntax error points at the spot in the statement.
  r->set("SQLWhere", Variant("WHERE Parties.PartyID = = 1"));
  EXPECT_THAT(runError(*r), HasSubstr(": = 1 and Invitees.Primary"));
}

}  // namespace
}  // namespace galvix::testing
