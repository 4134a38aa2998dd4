#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> nonEmpty(std::vector<std::string> v) {
  std::erase(v, std::string());
  return v;
}

class Estimates : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    cat_ = db().expenseCategory("Catering");
    db().budgetLine(event_, cat_);
  }
  doc::Document runEstimates(const std::string& name = "Event Pros - Estimates") {
    return run(name, {{"EventID", Variant(static_cast<int>(event_))}, {"SQLWhere", Variant("")}});
  }
  long event_ = 0, cat_ = 0;
};

TEST_F(Estimates, CompanyBlockContactsPaymentsAndTotalsRestartingPerCompany) {
  using data::date;
  using data::money;
  const long bella = db().vendor({.company = "Bella Cucina",
                                  .address = "1 Main St",
                                  .city = "Chicago",
                                  .state = "IL",
                                  .postalCode = "60601",
                                  .country = "USA"});
  const long ann = db().contact(
      bella, {.first = "Ann", .last = "Lee", .title = "Ms.", .suffix = "", .pager = "555-0109"});
  const long a = db().assignment(event_, cat_, bella,
                                 {.worksheetType = 2,
                                  .tax = 8.25,
                                  .tip = 18,
                                  .deliveryDate = date(2027, 6, 12),
                                  .cancellationPolicy = "No refunds.",
                                  .primaryContactId = ann,
                                  .secondaryContactId = 9999});  // no such contact
  db().item(a, {.item = "Dinner", .price = money(80), .qty = 10, .tax = true, .tip = true});
  db().item(a, {.item = "Wine", .price = money(25), .qty = 4, .tax = true});
  db().payment(a,
               {.type = "Deposit", .amount = money(500), .due = date(2026, 12, 1), .paid = true});
  db().payment(a, {.type = "Balance", .amount = money(0), .due = date(2027, 6, 1)});
  const long zed = db().vendor({.company = "Zed Foods", .city = "Evanston"});
  const long z = db().assignment(event_, cat_, zed, {.worksheetType = 2, .tax = 10});
  db().item(z, {.item = "Snacks", .price = money(10), .qty = 3, .tax = true});
  // Assigned only on the budget worksheet, or to another event: in neither report.
  db().item(
      db().assignment(event_, cat_, db().vendor({.company = "Budget Only"}), {.worksheetType = 0}),
      {.item = "X", .price = money(1)});
  db().item(db().assignment(db().event({.name = "Other"}), cat_, zed, {.worksheetType = 2}),
            {.item = "Elsewhere", .price = money(1)});

  auto d = runEstimates();
  EXPECT_THAT(texts(d, "txtProf"), ElementsAre("Bella Cucina", "Zed Foods"));
  EXPECT_THAT(texts(d, "txtAddress"),
              ElementsAre("1 Main St\r\nChicago, IL  60601\r\nUSA", "Evanston, "));
  EXPECT_THAT(texts(d, "txtContact1"), ElementsAre("Ms. Ann Lee ", ""));
  EXPECT_THAT(texts(d, "txtPager1"), ElementsAre("555-0109", ""));
  EXPECT_THAT(nonEmpty(texts(d, "txtContact2")), IsEmpty());
  // Payments above 0 only, one per line; a company without any shows a total of 0.
  EXPECT_THAT(texts(d, "txtPaymentType"), ElementsAre("Deposit\r", ""));
  EXPECT_THAT(texts(d, "txtAmount"), ElementsAre("$500.00\r", ""));
  EXPECT_THAT(texts(d, "txtDueDate"), ElementsAre("12/1/2026\r", ""));
  EXPECT_THAT(texts(d, "txtPaid"), ElementsAre("Yes\r", ""));
  EXPECT_THAT(texts(d, "txtPayTtl"), ElementsAre("$500.00", "$0.00"));
  EXPECT_THAT(texts(d, "txtDeliveryDate"), ElementsAre("6/12/2027", ""));
  // The amounts: computed from the demo's rows in money_amounts_test.cpp.
  EXPECT_THAT(texts(d, "txtGrandTtl"), ElementsAre("$1,118.25", "$33.00"));
  EXPECT_THAT(texts(d, "txtCancellationPolicy"), ElementsAre("No refunds.", ""));
  EXPECT_EQ(d.pages.size(), 2u);  // each company on its own page

  // The contact information: the same companies, their blocks only, one after another.
  auto c = runEstimates("Event Pros - Contact Information");
  EXPECT_THAT(texts(c, "txtPayTtl"), ElementsAre("$500.00", "$0.00"));
  EXPECT_THAT(texts(c, "txtItem"), IsEmpty());
  EXPECT_THAT(texts(c, "txtGrandTtl"), IsEmpty());
  EXPECT_EQ(c.pages.size(), 1u);
}

TEST_F(Estimates, TheCallersWorksheetTypeIsIgnoredAndANullTaxRateEndsTheReport) {
  const long v = db().vendor({.company = "Caterer"});
  db().item(db().assignment(event_, cat_, v, {.worksheetType = 1}), {.item = "Actual"});
  db().item(db().assignment(event_, cat_, v, {.worksheetType = 2}), {.item = "Estimate"});
  const Props props{{"WorkSheetType", Variant(std::int16_t{1})},
                    {"EventID", Variant(static_cast<int>(event_))}};
  EXPECT_THAT(texts(run("Event Pros - Estimates", props), "txtItem"), ElementsAre("Estimate"));
  db().exec("UPDATE VendorAssignments SET Tax = NULL");
  EXPECT_THROW(run("Event Pros - Estimates", props), ReportRunError);
}

}  // namespace
}  // namespace galvix::testing
