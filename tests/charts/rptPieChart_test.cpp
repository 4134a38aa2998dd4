// The budget pie chart from the catalogue: the column chosen by SQLWhere's last character, the
// slices in category order with shares computed here from the rows, and the empty and failing
// cases.
#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <regex>

#include "charts/srptPieChart.h"
#include "engine/fixed_metric_measurer.h"
#include "engine/run.h"
#include "reports/report_test_util.h"

namespace galvix::testing {
namespace {

using ::testing::ElementsAre;

struct Row {
  std::string category;
  Variant suggested, budget, actual;
};

class PieChart : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    event_ = db().event({.name = "Smith Wedding"});
  }
  void add(const std::vector<Row>& rows, long event = 0) {
    for (const auto& r : rows)
      db().budgetLine(event ? event : event_, db().expenseCategory(r.category),
                      {.suggested = r.suggested, .budget = r.budget, .actual = r.actual});
  }
  doc::Document chart(const std::string& where, long event = 0) {
    auto r = report("PieChart");
    r->set("EventID", Variant(static_cast<int>(event ? event : event_)));
    r->set("SQLWhere", Variant(where));
    return run(*r);
  }
  // What the chart printed: slice labels "Name (12.3%)" in drawing order, and the legend's
  // names (in point order) with their amounts.
  struct Printed {
    std::map<std::string, double> shares;
    std::vector<std::string> legendNames;
    std::vector<std::string> texts;
  };
  static Printed printed(const doc::Document& d) {
    Printed p;
    static const std::regex label(R"(^(.*) \(([0-9.]+)%\)$)");
    const auto t = testing::texts(d, "pieBudget");
    p.texts = t;
    for (std::size_t i = 0; i < t.size(); ++i) {
      std::smatch m;
      if (std::regex_match(t[i], m, label)) p.shares[m[1]] = std::stod(m[2]);
    }
    // Legend rows are a name followed by its amount.
    static const std::regex amount(R"(^\(?\$[0-9,]+\.[0-9]{2}\)?$)");
    for (std::size_t i = 0; i + 1 < t.size(); ++i)
      if (std::regex_match(t[i + 1], amount) && !std::regex_match(t[i], amount) && t[i] != "Total")
        p.legendNames.push_back(t[i]);
    return p;
  }
  long event_ = 0;
};

const std::vector<Row> kRows = {
    {"Reception Site", data::money(12600), data::money(12000), data::money(12500)},
    {"Attire", data::money(4725), data::money(4500), data::money(4120)},
    {"Guest Book", data::money(45), data::money(40), data::money(38.5)},
    {"Flowers", data::money(3675), data::money(3500), Variant::null()},
    {"Catering", data::money(14700), data::money(14000), data::money(15230.5)},
};

// SQLWhere's last character, trailing blanks trimmed, chooses the column; the series label names
// it, and the legend lists the amounts.
TEST_F(PieChart, EachColumnChartsItsAmountsInCategoryOrderWithSharesAddingTo100) {
  add(kRows);
  add({{"Cake", data::money(900), data::money(900), data::money(900)}}, db().event());
  const std::vector<std::array<std::string, 3>> columns = {
      {"WHERE x = 1", "Suggested Budget", "$14,700.00"},
      {"2", "Actual Budget", "$14,000.00"},
      {"3  ", "Actual Expenses", "$15,230.50"}};
  for (int column = 1; column <= 3; ++column) {
    const auto& [where, series, catering] = columns[static_cast<std::size_t>(column - 1)];
    SCOPED_TRACE(where);
    const Printed p = printed(chart(where));
    EXPECT_THAT(p.legendNames,
                ElementsAre("Attire", "Catering", "Flowers", "Guest Book", "Reception Site"));
    EXPECT_THAT(p.texts, ::testing::Contains(series));
    EXPECT_THAT(p.texts, ::testing::Contains(catering));
    std::map<std::string, double> amounts;
    double total = 0;
    for (const auto& r : kRows) {
      const Variant& v = column == 1 ? r.suggested : column == 2 ? r.budget : r.actual;
      amounts[r.category] = v.isNull() ? 0 : v.toDouble();
      total += amounts[r.category];
    }
    double sum = 0;
    for (const auto& [name, amount] : amounts) {
      if (amount == 0) {
        EXPECT_EQ(p.shares.count(name), 0u) << name << ": a slice of 0 has no label";
        continue;
      }
      ASSERT_EQ(p.shares.count(name), 1u) << name;
      EXPECT_NEAR(p.shares.at(name), 100 * amount / total, 0.1) << name;
      sum += p.shares.at(name);
    }
    EXPECT_NEAR(sum, 100.0, 1e-9);
  }
}

TEST_F(PieChart, CategoryColumnChartsOnlyNumericNamesAndNoonIsDroppedFromCaptions) {
  add({{"2024", data::money(1), data::money(1), data::money(1)},
       {"Brunch 12:00:00 PM", data::money(1), data::money(1), data::money(1)}});
  const Printed p = printed(chart("0"));
  EXPECT_THAT(p.shares, ::testing::ElementsAre(::testing::Pair("2024", 100.0)));
  EXPECT_THAT(p.legendNames, ElementsAre("2024", "Brunch "));
}

TEST_F(PieChart, NoCategoriesPrintAnEmptyChartUnderTheHeaderAndFooter) {
  const doc::Document d = chart("2");
  ASSERT_EQ(d.pages.size(), 1u);
  EXPECT_TRUE(texts(d, "pieBudget").empty());
  std::size_t figures = 0;
  for (const auto& it : d.pages[0].items)
    if (it.control == "pieBudget") figures += std::holds_alternative<doc::Path>(it.content);
  EXPECT_GE(figures, 1u);
  EXPECT_THAT(texts(d, "lblCriteria"), ElementsAre("Pie Chart"));
  EXPECT_THAT(texts(d, "lblDatePrinted"), ElementsAre("Date Printed:"));  // never filled in
  EXPECT_THAT(texts(d, "Field3"), ElementsAre("1"));
}

TEST_F(PieChart, ALetterForTheColumnOrANamelessCategoryFailsTheRun) {
  add(kRows);
  auto r = report("PieChart");
  r->set("EventID", Variant(static_cast<int>(event_)));
  auto failure = [&]() -> std::string {
    try {
      r->run();
    } catch (const ReportRunError& e) {
      return e.what();
    }
    return "no error";
  };
  r->set("SQLWhere", Variant("WHERE Category = Cake"));
  EXPECT_THAT(failure(), ::testing::HasSubstr("type mismatch"));
  r->set("SQLWhere", Variant("7"));  // a digit, but no such column
  EXPECT_THAT(failure(), ::testing::HasSubstr("7"));
  // A category without a name cannot caption its slice.
  db().set("ExpenseCategories", db().expenseCategory("Attire"), "Category", Variant::null());
  r->set("SQLWhere", Variant("2"));
  EXPECT_THAT(failure(), ::testing::HasSubstr("Null"));
}

// The subreport writes the chart's properties in the order the chart is built: data, then the
// display settings, property 46 last.
TEST_F(PieChart, PropertyWritesReachTheControlInOrder) {
  add({{"B", data::money(2), data::money(20.004), data::money(2)},
       {"A", data::money(1), Variant::null(), data::money(1)}});
  charts::SrptPieChart s;
  s.setConnectionString(db().connectionString());
  s.setEventID(static_cast<std::int32_t>(event_));
  s.setSQLWhere("2");
  engine::FixedMetricMeasurer m;
  engine::runReport(s, {.measurer = &m});
  std::vector<std::string> got;
  for (const auto& w : s.chart().writes()) {
    std::string e = std::to_string(w.property);
    if (w.first >= 0) e += "(" + std::to_string(w.first);
    if (w.second >= 0) e += "," + std::to_string(w.second);
    if (w.first >= 0) e += ")";
    got.push_back(e);
  }
  EXPECT_THAT(got,
              ElementsAre("11", "12", "38(0,0)", "38(0,1)", "40(0)", "38(1,0)", "38(1,1)", "40(1)",
                          "41(0)", "41(1)", "54", "13", "32", "34", "159", "45", "3", "81", "19",
                          "132", "192", "207", "226", "21", "25", "29", "19", "113", "156", "46"));
}

}  // namespace
}  // namespace galvix::testing
