#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;

class MasterBudget : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event();
  }
  void line(const std::string& category, const data::BudgetSpec& s, long event = 0) {
    db().budgetLine(event ? event : event_, db().expenseCategory(category), s);
  }
  doc::Document runMaster() {
    auto r = report("Master Budget Summary");
    r->set("EventID", Variant(static_cast<int>(event_)));
    return run(*r);
  }
  long event_ = 0;
};

TEST_F(MasterBudget, AnEmptyActualIsNotAnActualOfZero) {
  using data::money;
  line("Music", {.suggested = money(2100), .budget = money(2000), .paymentsMade = money(300)});
  line("Cake", {.suggested = money(500),
                .budget = money(450),
                .actual = money(0),
                .paymentsMade = money(100)});
  line("Venue", {.suggested = money(9000),
                 .budget = money(8000),
                 .actual = money(8250.5),
                 .paymentsMade = money(4000)});
  line("Venue", {.budget = money(99999), .actual = money(99999)}, db().event({.name = "Other"}));
  auto d = runMaster();
  EXPECT_THAT(texts(d, "txtCategory"), ElementsAre("Cake", "Music", "Venue"));
  EXPECT_THAT(texts(d, "cncBudgetSorvik"), ElementsAre("$500.00", "$2,100.00", "$9,000.00"));
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$0.00", "", "$8,250.50"));
  // An actual of 0 owes minus the payments and is under budget by the whole budget; an empty
  // one shows neither.
  EXPECT_THAT(texts(d, "cncBalance"), ElementsAre("($100.00)", "", "$4,250.50"));
  EXPECT_THAT(texts(d, "cncOverUnder"), ElementsAre("($450.00)", "", "$250.50"));
  // Music's budget still counts: the total over/under is not the sum of the lines'.
  EXPECT_THAT(texts(d, "cncBudgetTtl"), ElementsAre("$10,450.00"));
  EXPECT_THAT(texts(d, "cncActualTtl"), ElementsAre("$8,250.50"));
  EXPECT_THAT(texts(d, "cncOverUnderTtl"), ElementsAre("($2,199.50)"));
  EXPECT_THAT(texts(d, "cncPaymentsTtl"), ElementsAre("$4,400.00"));
  EXPECT_THAT(texts(d, "cncBalanceTtl"), ElementsAre("$3,850.50"));
  EXPECT_THAT(texts(d, "cncBudgetSorvikTtl"), ElementsAre("$11,600.00"));
}

TEST_F(MasterBudget, NoCategoriesPrintOnlyTheTotalsOfNothing) {
  auto d = runMaster();
  EXPECT_TRUE(texts(d, "txtCategory").empty());
}

}  // namespace
}  // namespace galvix::testing
