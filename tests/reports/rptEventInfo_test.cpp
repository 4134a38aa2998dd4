#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventInfo : public ReportTest {
 protected:
  long eventWith(bool printJournal, bool primary) {
    const long e = db().event({.name = "Lee Wedding",
                               .status = "Contracted",
                               .budget = data::money(1234.5),
                               .printJournal = printJournal});
    db().party(e, {.name = "Reception"});
    db().journal(e, data::date(2024, 3, 2), "Second entry");
    db().journal(e, data::date(2024, 1, 5), "First entry");
    if (primary) contact(e, 1, {.label = "Ann"}, {.first = "Ann", .last = "Lee"});
    return e;
  }
  doc::Document runInfo(long event, const Variant* printJournal = nullptr,
                        const std::string& orderBy = "") {
    auto r = report("EventInfo");
    r->set("EventID", Variant(static_cast<std::int32_t>(event)));
    if (printJournal) r->set("PrintJournal", *printJournal);
    r->set("SQLOrderBy", Variant(orderBy));
    return run(*r);
  }
};

// With a primary contact the event's own column decides; without one, the caller's value.
TEST_F(EventInfo, TheJournalPrintsInTheCallersOrderByTheEventsOwnSettingWithAPrimaryContact) {
  const Variant yes(true), no(false);
  struct Case {
    bool column, primary;
    const Variant* caller;
    bool prints;
  } cases[] = {{true, true, &no, true},     {false, true, &yes, false},
               {true, true, nullptr, true}, {false, false, &yes, true},
               {true, false, &no, false},   {true, false, nullptr, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("column ") + (c.column ? "on" : "off") +
                 (c.primary ? ", primary contact" : ", no primary contact"));
    const auto d = runInfo(eventWith(c.column, c.primary), c.caller);
    EXPECT_EQ(texts(d, "fldEntry").size(), c.prints ? 2u : 0u);
    EXPECT_EQ(texts(d, "Label26").size(), c.prints ? 1u : 0u);
  }
  // In the caller's order.
  const long e = eventWith(true, true);
  EXPECT_THAT(texts(runInfo(e, nullptr, "ORDER BY EntryDate"), "fldEntry"),
              ElementsAre("First entry", "Second entry"));
  EXPECT_THAT(texts(runInfo(e, nullptr, "ORDER BY EntryDate DESC"), "fldDate"),
              ElementsAre("3/2/2024", "1/5/2024"));
}

TEST_F(EventInfo, PrimaryAndSecondaryContactsWithStatusAndBudget) {
  const long e =
      db().event({.name = "Lee Wedding", .status = "Contracted", .budget = data::money(48500)});
  db().party(e, {.name = "Reception"});
  const long ann = contact(e, 1,
                           {.label = "Ann",
                            .address = "12 Oak Street",
                            .city = "Toronto",
                            .state = "ON",
                            .postalCode = "M5V 2T6",
                            .country = "Canada",
                            .hPhone = "555-0101",
                            .wPhone = "555-0102",
                            .mPhone = "555-0103",
                            .fPhone = "555-0104",
                            .email = "ann@example.com",
                            .notes = "The bride"},
                           {.first = "Ann", .last = "Lee", .title = "Ms."});
  db().set("GuestNames", ann, "GSuffix", Variant("PhD"));
  // No suffix and no address: the name line alone, still ending in a line break.
  contact(e, 2, {.label = "Bo", .mPhone = "555-0202"}, {.first = "Bo", .last = "Lee"});
  contact(e, 3, {.label = "Cy", .hPhone = "555-0303"}, {.first = "Cy", .last = "Lee"});

  const auto d = runInfo(e);
  EXPECT_THAT(texts(d, "txtContact1"),
              ElementsAre("Ms. Ann Lee PhD\r12 Oak Street\rToronto, ON  M5V 2T6\rCanada"));
  // Control, then the text it shows.
  const char* shown[] = {
      "txtHPhone1",     "555-0101",   "txtWPhone1", "555-0102",        "txtMobile1", "555-0103",
      "txtFax1",        "555-0104",   "txtEMail1",  "ann@example.com", "txtNotes1",  "The bride",
      "txtContact2",    "Bo Lee \r",  "txtMobile2", "555-0202",        "txtHPhone2", "",
      "txtEventStatus", "Contracted", "txtBudget",  "$48,500.00"};
  for (std::size_t i = 0; i < std::size(shown); i += 2)
    EXPECT_THAT(texts(d, shown[i]), ElementsAre(shown[i + 1])) << shown[i];
}

TEST_F(EventInfo, OneBlockPerPartyOfTheEventOnly) {
  const long e = eventWith(false, false);
  db().party(e, {.name = "Brunch",
                 .address = "1 Main St",
                 .city = "Springfield",
                 .state = "IL",
                 .postalCode = "62701",
                 .theme = "Garden",
                 .estGuests = 40});
  const long other = db().event({.name = "Other"});
  db().party(other, {.name = "Not this one"});
  const auto d = runInfo(e);
  EXPECT_THAT(texts(d, "Field7"), ElementsAre("Reception", "Brunch"));
  EXPECT_THAT(texts(d, "txtLocation"), ElementsAre("", "1 Main St\rSpringfield, IL  62701"));
  EXPECT_THAT(texts(d, "Field14"), ElementsAre("", "Garden"));
  EXPECT_THAT(texts(d, "Field8"), ElementsAre("0", "40"));
  // No primary contact: status and budget stay empty.
  EXPECT_THAT(texts(d, "txtBudget"), ElementsAre(""));
  // An event without parties prints no blocks.
  EXPECT_THAT(texts(runInfo(other + 1), "Field7"), IsEmpty());
}

}  // namespace
}  // namespace galvix::testing
