#include <gmock/gmock.h>

#include <fstream>
#include <set>

#include "db/connection.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

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

TEST_F(BudgetSummary, AnyPivotColumnMayBeMissingAndTotalsAddTheAmountsAsDisplayed) {
  item("Cake", false, 0, 300);  // only column "0" exists
  auto d = runSummary();
  EXPECT_THAT(texts(d, "cncBudget"), ElementsAre("$300.00"));
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$0.00"));
  EXPECT_THAT(texts(d, "cncOverUnder"), ElementsAre("$300.00"));
  // Another event: three items of a third of a cent each way; each line shows $0.33, the total
  // is $0.99.
  event_ = db().event({.name = "Second"});
  for (const char* c : {"A", "B", "C"}) item(c, false, 1, 1.0 / 3);
  d = runSummary();
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$0.33", "$0.33", "$0.33"));
  EXPECT_THAT(texts(d, "cncActualTtl"), ElementsAre("$0.99"));
}

TEST_F(BudgetSummary, TheWorkTableIsTheRunsOwnALeftoverOneIsReplacedAndFailuresAreTheirOwn) {
  item("Music", false, 1, 50);
  db().exec("CREATE TABLE BUDGET_REPORT (Junk TEXT)");  // left by an earlier version's run
  std::unique_ptr<ReportObject> r;
  auto d = runSummary(&r);
  EXPECT_THAT(texts(d, "cncActual"), ElementsAre("$50.00"));
  auto visible = [&] {
    db::Connection c;
    c.open(db().connectionString());
    try {
      c.execute("DROP TABLE BUDGET_REPORT");
      return true;
    } catch (const db::DbError&) {
      return false;
    }
  };
  // No other connection sees the run's table, and the leftover was dropped to make it.
  EXPECT_FALSE(visible());
  r.reset();
  EXPECT_FALSE(visible());
  // A failure at the start is reported as itself.
  db().exec("DROP TABLE Items");
  EXPECT_THAT(runError([&] { runSummary(); }),
              AllOf(HasSubstr("'Items'"), HasSubstr("SQL as written")));
}

// Runs on one database at once, in other processes: each prints its own event's figures, and a
// run killed at any moment leaves the database file exactly as it was.
TEST_F(BudgetSummary, ConcurrentAndKilledRunsNeverTouchEachOtherOrTheDatabase) {
  item("Music", false, 1, 50);
  const long first = event_;
  event_ = db().event({.name = "Second"});
  lines_.clear();
  item("Music", false, 1, 70);
  const long second = event_;
  auto bytes = [&] {
    std::ifstream in(db().path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const std::string before = bytes();
  auto prints = [&](long event, const char* actual) {
    return [=, this] {
      event_ = event;
      return texts(runSummary(), "cncActual") == std::vector<std::string>{actual};
    };
  };
  const pid_t a = inChild(25, prints(first, "$50.00")), b = inChild(25, prints(second, "$70.00"));
  const bool aOk = exitedCleanly(a), bOk = exitedCleanly(b);
  EXPECT_TRUE(aOk && bOk) << "a run printed wrong figures";
  killRunsMidway(prints(first, "$50.00"), [&](int k) { EXPECT_EQ(bytes(), before) << k; });
}

}  // namespace
}  // namespace galvix::testing
