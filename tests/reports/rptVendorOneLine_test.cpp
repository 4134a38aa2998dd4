// The one-line report of an event's professionals and its contact block.
#include <gmock/gmock.h>

#include "report_test_util.h"
#include "reports/budget/srptEventContacts.h"

namespace galvix::testing {
namespace {

using ::testing::ElementsAre;

class VendorOneLine : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
  }
  long category(const std::string& name, bool vendorRequired = true) {
    const long cat = db().expenseCategory(name);
    db().budgetLine(event_, cat, {.vendorRequired = vendorRequired});
    return cat;
  }
  doc::Document runReport(const std::string& where = "", const std::string& order = "") {
    return run("Event Pros - One Line Report", {{"EventID", Variant(static_cast<int>(event_))},
                                                {"TimeFormat", Variant("h:mm AP")},
                                                {"SQLWhere", Variant(where)},
                                                {"SQLOrderBy", Variant(order)}});
  }
  long event_ = 0;
};

TEST_F(VendorOneLine, ContactLinesNamesAndNumbersOrTheCompanys) {
  const long cat = category("Music");
  const long v = db().vendor({.company = "Aurora Sound"});
  const long nadia = db().contact(v, {.first = "Nadia",
                                      .last = "Petrović",
                                      .nickName = "Nadi",
                                      .jobTitle = "Manager",
                                      .phone = "111",
                                      .fax = "222",
                                      .mobile = "333",
                                      .pager = "444"});
  const long jb = db().contact(
      v, {.first = "Jean", .last = "Okonkwo", .title = "Mr.", .fax = "555", .mobile = "666"});
  db().assignment(event_, cat, v,
                  {.worksheetType = 2,
                   .deliveryTime = data::time(16, 30),
                   .primaryContactId = nadia,
                   .secondaryContactId = jb});
  // Without contacts an assignment shows the company's numbers.
  const long north = db().vendor(
      {.company = "Northside Rentals", .phone = "(773) 555-0140", .fax = "(773) 555-0141"});
  db().contact(north, {.first = "Not", .last = "Assigned"});  // the vendor's, not the assignment's
  db().assignment(event_, category("Rentals"), north, {.worksheetType = 2});
  // Blank name parts are kept as empty text, as the planning application keeps them.
  for (const char* c : {"Title", "FirstName", "LastName", "Suffix", "NickName", "JobTitle"})
    db().exec(std::string("UPDATE VendorContacts SET ") + c + " = '' WHERE " + c + " IS NULL");
  const auto d = runReport("", "ORDER BY Vendors.CompanyName");
  EXPECT_THAT(texts(d, "txtCompanyName"), ElementsAre("Aurora Sound", "Northside Rentals"));
  EXPECT_THAT(texts(d, "txtService"), ElementsAre("Music", "Rentals"));
  EXPECT_THAT(texts(d, "txtDeliveryTime"), ElementsAre("4:30 PM", ""));
  // Job title or "Name:"; the nickname after two blanks, trailing blanks trimmed without one.
  EXPECT_THAT(texts(d, "txtName"),
              ElementsAre("Manager: Nadia Petrović  (Nadi)", "Name:Mr. Jean Okonkwo",
                          "(No Contact Name Specified)"));
  EXPECT_THAT(texts(d, "txtPhone"),
              ElementsAre("111 (W)    222 (F)\r\n333 (M)    444 (P)", "555 (F)    666 (M)",
                          "(773) 555-0140 (W)    (773) 555-0141 (F)"));
  // The page footer has no handler: the date label keeps its caption.
  EXPECT_THAT(texts(d, "lblDatePrinted"), ElementsAre("Date Printed:"));
}

TEST_F(VendorOneLine, OnlyEstimatesInCategoriesThatNeedAProfessionalAndTheCallersClause) {
  const long music = category("Music"), attire = category("Attire", false), cake = category("Cake");
  db().assignment(event_, music, db().vendor({.company = "Shown"}), {.worksheetType = 2});
  db().assignment(event_, cake, db().vendor({.company = "Sweet Layers"}), {.worksheetType = 2});
  db().assignment(event_, cake, db().vendor({.company = "Crumbs"}), {.worksheetType = 2});
  for (int type : {0, 1})
    db().assignment(event_, music, db().vendor({.company = "Type " + std::to_string(type)}),
                    {.worksheetType = type});
  db().assignment(event_, attire, db().vendor({.company = "Not required"}), {.worksheetType = 2});
  const long other = db().event({.name = "Other"});
  db().assignment(other, music, db().vendor({.company = "Other event"}), {.worksheetType = 2});
  EXPECT_THAT(texts(runReport("", "ORDER BY Vendors.CompanyName"), "txtCompanyName"),
              ElementsAre("Crumbs", "Shown", "Sweet Layers"));
  // The caller's clause is upper-cased and extends the condition.
  EXPECT_THAT(
      texts(runReport("where expensecategories.category = 'cake'", "ORDER BY Vendors.CompanyName"),
            "txtCompanyName"),
      ElementsAre("Crumbs", "Sweet Layers"));
}

TEST(ContactNumbers, TwoToALineThirdOnANewLine) {
  const Variant n = Variant::null(), e("");
  // Two and four numbers: the reports' cases above.
  EXPECT_EQ(reports::contactNumbers(n, n, n, n), "");
  EXPECT_EQ(reports::contactNumbers(Variant("1"), e, n, n), "1 (W)");
  EXPECT_EQ(reports::contactNumbers(n, Variant("2"), Variant("3"), Variant("4")),
            "2 (F)    3 (M)\r\n4 (P)");
  EXPECT_EQ(reports::contactNumbers(Variant("1"), n, n, Variant("4")), "1 (W)    4 (P)");
}

}  // namespace
}  // namespace galvix::testing
