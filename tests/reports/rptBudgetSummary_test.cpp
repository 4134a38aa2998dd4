#include <gmock/gmock.h>

#include <set>

#include "db/connection.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class BudgetSummary : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
    vendor_ = db().vendor();
  }
  // An item of worksheet type `type` in `category`.
  void item(const std::string& category, bool vendorRequired, int type, double price,
            double qty = 1, double tax = 0, double tip = 0) {
    long cat = db().expenseCategory(category);
    if (!lines_.count(category)) {
      db().budgetLine(event_, cat, {.vendorRequired = vendorRequired});
      lines_.insert(category);
    }
    long a = db().assignment(event_, cat, vendor_, {.worksheetType = type, .tax = tax, .tip = tip});
    db().item(a, {.price = data::money(price), .qty = qty, .tax = tax > 0, .tip = tip > 0});
  }
  doc::Document runSummary(std::unique_ptr<ReportObject>* keep = nullptr) {
    auto r = report("Budget Summary");
    r->set("EventID", Variant(static_cast<int>(event_)));
    auto d = run(*r);
    if (keep) *keep = std::move(r);
    return d;
  }
  long event_ = 0, vendor_ = 0;
  std::set<std::string> lines_;
};

TEST_F(BudgetSummary, ActualComesFromEstimatesOrItemsByCategory) {
  item("Flowers", true, 0, 500);
  item("Flowers", true, 2, 100, 2, 8, 15);  // 200 + 16 tax + 30 tip
  item("Flowers", true, 1, 999);            // ignored: the category takes estimates
  item("Attire", false, 1, 80);
  item("Attire", false, 2, 999);  // ignored: the category takes its own items
  auto d = runSummary();
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("Attire", "Flowers"));
  EXPECT_THAT(texts(d, "cncBudget"), ElementsAre("$0.00", "$500.00"));
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$80.00", "$246.00"));
  EXPECT_THAT(texts(d, "cncOverUnder"), ElementsAre("($80.00)", "$254.00"));
  EXPECT_THAT(texts(d, "cncBudgetTtl"), ElementsAre("$500.00"));
  EXPECT_THAT(texts(d, "cncActualTtl"), ElementsAre("$326.00"));
  EXPECT_THAT(texts(d, "cncOverUnderTtl"), ElementsAre("$174.00"));
}

TEST_F(BudgetSummary, BudgetLinesOnlyAndAnyPivotColumnMissing) {
  item("Cake", false, 0, 300);  // only column "0" exists
  auto d = runSummary();
  EXPECT_THAT(texts(d, "cncBudget"), ElementsAre("$300.00"));
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$0.00"));
  EXPECT_THAT(texts(d, "cncOverUnder"), ElementsAre("$300.00"));
}

TEST_F(BudgetSummary, TotalsAddTheAmountsAsDisplayed) {
  // Three items of a third of a cent each way: each line shows $0.33, so the total is $0.99.
  for (const char* c : {"A", "B", "C"}) item(c, false, 1, 1.0 / 3);
  auto d = runSummary();
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$0.33", "$0.33", "$0.33"));
  EXPECT_THAT(texts(d, "cncActualTtl"), ElementsAre("$0.99"));
}

TEST_F(BudgetSummary, LeftoverWorkTableIsReplacedAndDroppedAtTheEnd) {
  item("Music", false, 1, 50);
  db().exec("CREATE TABLE BUDGET_REPORT (Junk TEXT)");
  std::unique_ptr<ReportObject> r;
  auto d = runSummary(&r);
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$50.00"));
  auto tableCount = [&] {
    db::Connection c;
    c.open(db().connectionString());
    db::Recordset rs;
    rs.open(
        "SELECT Count(*) AS N FROM ExpenseCategories WHERE EXISTS (SELECT 1 FROM "
        "BUDGET_REPORT)",
        c);
    return rs.value("N").toLong();
  };
  EXPECT_EQ(tableCount(), 1);  // still there while the report object lives
  r.reset();
  EXPECT_THROW(tableCount(), db::DbError);  // dropped when it ends
}

}  // namespace
}  // namespace galvix::testing
