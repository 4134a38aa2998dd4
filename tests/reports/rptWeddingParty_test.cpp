#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class WeddingParty : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
  }
  long person(long group, const std::string& first, const std::string& last,
              const std::string& role) {
    long id = db().guest(group, {.first = first, .last = last, .title = "Mx.", .role = role});
    db().set("GuestNames", id, "GSuffix", Variant(""));
    return id;
  }
  doc::Document runRoles(long eventId, const Variant* orderBy = nullptr) {
    auto r = report("Guests with Roles");
    r->set("EventID", Variant(static_cast<std::int32_t>(eventId)));
    if (orderBy) r->set("SQLOrderBy", *orderBy);
    return run(*r);
  }
  long event_ = 0;
};

TEST_F(WeddingParty, ContactBlockCategoryAndRoleOfEachGuestWithARole) {
  long full = db().group(event_, {.label = "Lee",
                                  .category = "Family",
                                  .address = "12 Oak Street",
                                  .city = "Toronto",
                                  .state = "ON",
                                  .postalCode = "M5V 2T6",
                                  .country = "Canada",
                                  .hPhone = "555-0101",
                                  .wPhone = "555-0102",
                                  .mPhone = "555-0103",
                                  .fPhone = "555-0104",
                                  .email = "lee@example.com"});
  person(full, "Ann", "Lee", "Maid of Honor");
  person(full, "Bob", "Lee", "");  // no role: not listed
  // No street and no city: the block keeps an empty second line. No category: "(No Category)".
  long bare = db().group(event_, {.label = "Stone", .category = "", .hPhone = "555-0199"});
  long kim = person(bare, "Kim", "Stone", "Officiant");
  db().set("GuestNames", kim, "GSuffix", Variant("Jr."));
  // Another event's role holders belong to its own report.
  long other = db().event({.name = "Gala"});
  person(db().group(other), "Al", "Other", "Host");

  auto d = runRoles(event_);
  EXPECT_THAT(texts(d, "ContactIno"),
              UnorderedElementsAre("Mx. Ann Lee \r12 Oak Street\rToronto, ON  M5V 2T6\rCanada\r"
                                   "555-0101 (H)\r555-0102 (W)\r555-0103 (M)\r555-0104 (FAX)\r"
                                   "lee@example.com (E-Mail)",
                                   "Mx. Kim Stone Jr.\r\r555-0199 (H)"));
  EXPECT_THAT(texts(d, "txtCategory"), UnorderedElementsAre("(Family)", "(No Category)"));
  EXPECT_THAT(texts(d, "Field4"), UnorderedElementsAre("Maid of Honor", "Officiant"));
  EXPECT_THAT(texts(d, "lblDatePrinted"), ElementsAre("Date Printed: 6/1/2024"));
}

TEST_F(WeddingParty, AnyOrderGivenSortsByRoleThenName) {
  long g = db().group(event_);
  person(g, "Zed", "Young", "Usher");
  person(g, "Amy", "Young", "Usher");
  person(g, "Bo", "Adams", "Usher");
  person(g, "Cy", "Zimmer", "Best Man");
  for (const Variant& order : {Variant(""), Variant("ORDER BY GuestNames.GFName DESC")}) {
    std::vector<std::string> names;
    for (const auto& t : texts(runRoles(event_, &order), "ContactIno"))
      names.push_back(t.substr(0, t.find('\r')));
    EXPECT_THAT(names,
                ElementsAre("Mx. Cy Zimmer ", "Mx. Bo Adams ", "Mx. Amy Young ", "Mx. Zed Young "));
  }
  // Never set: no sort clause, the same guests in the database's order.
  EXPECT_THAT(texts(runRoles(event_), "Field4"),
              UnorderedElementsAre("Usher", "Usher", "Usher", "Best Man"));
}

}  // namespace
}  // namespace galvix::testing
