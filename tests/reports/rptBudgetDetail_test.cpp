// The budget worksheets and the estimates share their item arithmetic: the cases here hold
// for both (the estimates' own cases are in rptWPDetail_test.cpp, the demo's amounts computed
// from its rows in money_amounts_test.cpp).
#include <gmock/gmock.h>

#include <set>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class Worksheets : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    vendor_ = db().vendor({.company = "Vendor"});
  }
  long assignment(const std::string& category, double tax, double tip, int type = 0,
                  long event = 0) {
    const long cat = db().expenseCategory(category);
    if (!lines_.count(category)) {
      db().budgetLine(event_, cat);
      lines_.insert(category);
    }
    return db().assignment(event ? event : event_, cat, vendor_,
                           {.worksheetType = type, .tax = tax, .tip = tip});
  }
  doc::Document runWorksheets(bool setWhere = true, const std::string& where = {}) {
    auto r = report("Budget Worksheets");
    r->set("EventID", Variant(static_cast<int>(event_)));
    if (setWhere) r->set("SQLWhere", Variant(where));
    return run(*r);
  }
  long event_ = 0, vendor_ = 0;
  std::set<std::string> lines_;
};

TEST_F(Worksheets, TaxIsOnEachLineAsDisplayedAtTheFirstRowsRatesWhileTheSubTotalIsExact) {
  using data::money;
  // Favors: ten lines of $1.0049 show $1.00 each: 25 % tax of the shown amounts is $2.50 (of
  // the exact ones it would be $2.51), while the sub total adds the exact amounts.
  const long a = assignment("Favors", 25, 0);
  for (int i = 0; i < 10; ++i)
    db().item(
        a, {.item = "Favor " + std::to_string(i), .price = money(1.0049), .qty = 1, .tax = true});
  // Flowers: the first row's rates serve the category, and unticked lines add nothing.
  const long first = assignment("Flowers", 8.25, 0);
  const long second = assignment("Flowers", 20, 10);
  db().item(second, {.item = "Bouquet", .price = money(200), .qty = 1, .tax = true, .tip = true});
  db().item(first, {.item = "Arch", .price = money(100), .qty = 1, .tax = true});
  db().item(first, {.item = "Petals", .price = money(40), .qty = 1});  // no Tax flag
  auto d = runWorksheets();
  const auto items = texts(d, "txtItem");
  ASSERT_EQ(items.size(), 13u);
  EXPECT_THAT(std::vector(items.end() - 3, items.end()), ElementsAre("Arch", "Bouquet", "Petals"));
  EXPECT_THAT(texts(d, "lblTaxTtl"), ElementsAre("Tax (25%):", "Tax (8.25%):"));
  EXPECT_THAT(texts(d, "lblTipTtl"), ElementsAre("Tip (0%):", "Tip (0%):"));
  // 8.25 % of 100 + 200 for the flowers.
  EXPECT_THAT(texts(d, "txtTaxTtl"), ElementsAre("$2.50", "$24.75"));
  EXPECT_THAT(texts(d, "txtTipTtl"), ElementsAre("$0.00", "$0.00"));
  EXPECT_THAT(texts(d, "txtSubTtl"), ElementsAre("$10.05", "$340.00"));
  EXPECT_THAT(texts(d, "txtGrandTtl"), ElementsAre("$12.55", "$364.75"));  // 10.049 + 2.50
}

TEST_F(Worksheets, TheWorksheetAskedForAndThePayer) {
  using data::money;
  const long budget = assignment("Cake", 0, 0, 0);
  db().item(budget, {.item = "Budgeted", .price = money(10), .paidBy = "Bride's parents"});
  db().item(budget, {.item = "Candles", .price = money(5)});  // names no payer
  db().item(assignment("Cake", 0, 0, 1), {.item = "Actual", .price = money(20)});
  db().item(assignment("Cake", 0, 0, 2), {.item = "Estimate", .price = money(30)});
  auto d = runWorksheets();
  EXPECT_THAT(texts(d, "txtItem"), ElementsAre("Budgeted", "Candles"));
  std::vector<std::string> payers;
  for (const auto& t : texts(d, "txtPaidBy"))
    if (!t.empty()) payers.push_back(t);
  EXPECT_THAT(payers, ElementsAre("Bride's parents"));
}

TEST_F(Worksheets, TheEventIsTakenWhenTheClauseIsSet) {
  const long other = db().event({.name = "Other"});
  db().item(assignment("Cake", 0, 0, 0), {.item = "Ours", .price = data::money(10)});
  db().item(assignment("Cake", 0, 0, 0, other), {.item = "Theirs", .price = data::money(10)});
  EXPECT_THAT(texts(runWorksheets(), "txtItem"), ElementsAre("Ours"));
  EXPECT_THAT(texts(runWorksheets(true, "WHERE Items.Item = 'Ours' "), "txtItem"),
              ElementsAre("Ours"));
  // Never set: every event's worksheet.
  EXPECT_THAT(texts(runWorksheets(false), "txtItem"), ElementsAre("Ours", "Theirs"));
  // Set before the event: the clause names event 0.
  auto r = report("Budget Worksheets");
  r->set("SQLWhere", Variant(""));
  r->set("EventID", Variant(static_cast<int>(event_)));
  EXPECT_TRUE(texts(run(*r), "txtItem").empty());
}

}  // namespace
}  // namespace galvix::testing
