// Chart data loading, rule by rule, on budget rows read through a static recordset.
#include "charts/PESQLHelper.h"

#include <gtest/gtest.h>

#include "data/fixture.h"
#include "db/db_test_util.h"

namespace galvix::charts {
namespace {

// Columns as the pie chart reads them: 0 Category, 1 suggested, 2 budget, 3 actual.
constexpr const char* kSql =
    "SELECT DISTINCTROW ExpenseCategories.Category, SPCategories.ABudget as [Suggested Budget], "
    "SPCategories.Budget as [Actual Budget], SPCategories.Actual as [Actual Expenses] FROM "
    "SPCategories INNER JOIN ExpenseCategories ON SPCategories.CategoryID = "
    "ExpenseCategories.CategoryID WHERE EventID = ";

class ChartData : public ::testing::Test {
 protected:
  ChartData() : db_(db::testing::testDb("pesql")), event_(db_.event()) {}
  void line(const char* category, Variant suggested, Variant budget, Variant actual) {
    db_.budgetLine(event_, db_.expenseCategory(category),
                   {.suggested = suggested, .budget = budget, .actual = actual});
  }
  db::Recordset& open(db::CursorType cursor = db::CursorType::Static) {
    if (rs_.isOpen()) rs_.close();
    if (!conn_.isOpen()) conn_.open(db_.connectionString());
    rs_.open(kSql + std::to_string(event_) + " ORDER By Category", conn_, cursor);
    return rs_;
  }
  static int errorNumber(const std::function<void()>& f) {
    try {
      f();
    } catch (const RuntimeError& e) {
      return e.number();
    }
    return 0;
  }

  data::Fixture db_;
  long event_;
  db::Connection conn_;
  db::Recordset rs_;
};

TEST_F(ChartData, ValuesReadBackAsCurrencyRoundedSinglesWithOneSpareRowAndColumn) {
  line("Cake", data::money(100), data::money(12.3456), data::money(-20));
  line("Flowers", data::money(50), data::money(7), data::money(1234.5));
  db::Recordset& rs = open();
  PESQLHelper h;
  h.LoadXData(rs, {2, 2});  // declared 0 to 1: one subset, from column 2
  EXPECT_EQ(h.MaxPoints(), 2);
  EXPECT_EQ(h.MinPoints(), 10'000'000);  // every value numeric
  EXPECT_FLOAT_EQ(h.XValues(0, 0), 12.35f);
  EXPECT_FLOAT_EQ(h.XValues(0, 1), 7.0f);
  // The spare row and column read 0; beyond them is an error.
  EXPECT_FLOAT_EQ(h.XValues(1, 0), 0.0f);
  EXPECT_FLOAT_EQ(h.XValues(0, 2), 0.0f);
  EXPECT_EQ(errorNumber([&] { h.XValues(2, 0); }), 9);
  EXPECT_EQ(errorNumber([&] { h.XValues(0, 3); }), 9);
  EXPECT_EQ(errorNumber([&] { h.XValues(-1, 0); }), 9);

  // A negative amount (shown in parentheses) reads back negative.
  h.LoadXData(rs, {3, 3});
  EXPECT_FLOAT_EQ(h.XValues(0, 0), -20.0f);
  EXPECT_FLOAT_EQ(h.XValues(0, 1), 1234.5f);
}

TEST_F(ChartData, NullAndTextLoadAsZeroAndMinPointsIsTheFirstSuch) {
  line("A", data::money(1), Variant::null(), data::money(3));
  line("B", data::money(1), data::money(2), data::money(3));
  line("C", data::money(1), Variant::null(), data::money(3));
  line("125", data::money(1), data::money(2), data::money(3));
  db::Recordset& rs = open();
  PESQLHelper h;
  h.LoadXData(rs, {2, 2});  // rows sort "125", "A", "B", "C"
  EXPECT_EQ(h.MinPoints(), 1);
  EXPECT_FLOAT_EQ(h.XValues(0, 0), 2.0f);
  EXPECT_FLOAT_EQ(h.XValues(0, 1), 0.0f);
  EXPECT_FLOAT_EQ(h.XValues(0, 3), 0.0f);
  // The category names: text is 0 unless it reads as a number.
  h.LoadXData(rs, {0, 0});
  EXPECT_EQ(h.MinPoints(), 1);
  EXPECT_FLOAT_EQ(h.XValues(0, 0), 125.0f);
  EXPECT_FLOAT_EQ(h.XValues(0, 1), 0.0f);
}

// Loading values leaves the first row current for the captions; money columns caption as
// currency, a Null caption is an error; subset labels are column names below the upper bound.
TEST_F(ChartData, PointAndSubsetLabels) {
  line("Cake", data::money(1), data::money(1234.5), Variant::null());
  line("Attire", data::money(1), data::money(2), data::money(3));
  db::Recordset& rs = open();
  PESQLHelper h;
  h.LoadXData(rs, {1, 1});
  h.LoadPointLabels(rs, 0);
  EXPECT_EQ(h.PointLabelString(0), "Attire");
  EXPECT_EQ(h.PointLabelString(1), "Cake");
  EXPECT_EQ(h.PointLabelString(2), "");  // the spare caption
  EXPECT_EQ(errorNumber([&] { h.PointLabelString(3); }), 9);
  rs.moveFirst();
  h.LoadPointLabels(rs, 2);
  EXPECT_EQ(h.PointLabelString(1), "$1,234.50");
  rs.moveFirst();
  EXPECT_EQ(errorNumber([&] { h.LoadPointLabels(rs, 3); }), 94);

  h.LoadSubsetLabels(rs, {2, 2});
  EXPECT_EQ(h.SubsetLabelString(0), "Actual Budget");
  EXPECT_EQ(h.SubsetLabelString(1), "");
  EXPECT_EQ(errorNumber([&] { h.SubsetLabelString(2); }), 9);
  h.LoadSubsetLabels(rs, {1, 3, 0});
  EXPECT_EQ(h.SubsetLabelString(1), "Actual Expenses");
  EXPECT_EQ(h.SubsetLabelString(2), "");
}

TEST_F(ChartData, NothingLoadedOrNoRowsLeaveOnlyTheSpareCells) {
  PESQLHelper h;
  EXPECT_EQ(errorNumber([&] { h.XValues(0, 0); }), 9);
  EXPECT_EQ(errorNumber([&] { h.PointLabelString(0); }), 9);
  EXPECT_EQ(errorNumber([&] { h.SubsetLabelString(0); }), 9);
  db::Recordset& rs = open();
  h.LoadXData(rs, {3, 3});
  h.LoadPointLabels(rs, 0);
  EXPECT_EQ(h.MaxPoints(), 0);
  EXPECT_FLOAT_EQ(h.XValues(0, 0), 0.0f);
  EXPECT_FLOAT_EQ(h.XValues(1, 0), 0.0f);
  EXPECT_EQ(h.PointLabelString(0), "");
  EXPECT_EQ(errorNumber([&] { h.PointLabelString(1); }), 9);
  // A cursor that cannot count its records is refused.
  line("Cake", data::money(1), data::money(2), data::money(3));
  EXPECT_EQ(errorNumber([&] { h.LoadXData(open(db::CursorType::ForwardOnly), {1, 1}); }), 9);
}

}  // namespace
}  // namespace galvix::charts
