// The chart control: typed property writes by number, and what it shows once drawn.
#include "charts/chart_control.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <regex>

#include "engine/fixed_metric_measurer.h"

namespace galvix::charts {
namespace {

std::unique_ptr<engine::Control> chartControl(const std::string& title = {}) {
  engine::ControlState st;
  st.kind = engine::ControlKind::Chart;
  st.name = "pieBudget";
  st.width = 10000;
  st.height = 9000;
  st.chartTitle = title;
  return engine::makeControl(std::move(st));
}

int errorNumber(const std::function<void()>& f) {
  try {
    f();
  } catch (const RuntimeError& e) {
    return e.number();
  }
  return 0;
}

TEST(ChartControl, WritesAreTypedAsTheControlDeclaresThem) {
  auto c = chartControl();
  ChartControl pie(*c->as<engine::Chart>());
  EXPECT_EQ(errorNumber([&] { pie.set(kSubsets, Variant("one")); }), kErrTypeMismatch);
  EXPECT_EQ(errorNumber([&] { pie.set(kSubsets, Variant(70000)); }), kErrOverflow);
  EXPECT_EQ(errorNumber([&] { pie.set(999, Variant(1)); }), kErrInvalidCall);
  EXPECT_EQ(errorNumber([&] { pie.set(kXData, Variant(1)); }), kErrInvalidCall);
  EXPECT_EQ(errorNumber([&] { pie.set(kXData, 0, Variant(1)); }), kErrInvalidCall);
  EXPECT_EQ(errorNumber([&] { pie.set(kXData, -1, 0, Variant(1)); }), kErrInvalidCall);
  EXPECT_EQ(errorNumber([&] { pie.set(kPointLabels, -1, Variant("x")); }), kErrInvalidCall);
  EXPECT_EQ(errorNumber([&] { pie.set(kPointLabels, 0, Variant::null()); }), kErrInvalidNull);
  EXPECT_TRUE(pie.writes().empty());  // a failed write leaves nothing behind
  // Values convert as the platform converts them.
  pie.set(kPoints, Variant("3"));
  pie.set(kXData, 0, 2, Variant("2.5"));
  pie.set(kThreeD, Variant(true));  // True is -1: still on
  EXPECT_EQ(pie.points(), 3);
  EXPECT_FLOAT_EQ(pie.xData(0, 2), 2.5f);
  ASSERT_EQ(pie.writes().size(), 3u);
  EXPECT_EQ(pie.writes()[1].property, kXData);
  EXPECT_EQ(pie.writes()[1].first, 0);
  EXPECT_EQ(pie.writes()[1].second, 2);
}

TEST(ChartControl, ShowsNothingUntilDrawnThenSubsetZeroByPoints) {
  auto c = chartControl("Budget");
  ChartControl pie(*c->as<engine::Chart>());
  pie.set(kSubsets, Variant(std::int16_t{1}));
  pie.set(kPoints, Variant(3));
  for (int p = 0; p < 4; ++p) {  // one point more than Points: not shown
    pie.set(kXData, 0, p, Variant::single(static_cast<float>(10 * (p + 1))));
    pie.set(kXData, 1, p, Variant::single(99));  // another subset: not shown
    pie.set(kPointLabels, p, Variant("P" + std::to_string(p)));
  }
  pie.set(kSubsetLabels, 0, Variant("Actual Budget"));
  EXPECT_EQ(pie.shown(), nullptr);
  EXPECT_EQ(c->as<engine::Chart>()->drawing(), nullptr);
  pie.set(kDraw, Variant(0));
  ASSERT_NE(pie.shown(), nullptr);
  const PieSpec& s = pie.shown()->spec();
  EXPECT_EQ(s.values, (std::vector<double>{10, 20, 30}));
  EXPECT_EQ(s.labels, (std::vector<std::string>{"P0", "P1", "P2"}));
  EXPECT_EQ(s.seriesLabel, "Actual Budget");
  EXPECT_EQ(s.title, "Budget");  // the layout's title, never written
  // Later writes change what the next draw shows, not what was drawn.
  pie.set(kThreeD, Variant(std::int16_t{0}));
  EXPECT_TRUE(pie.shown()->spec().threeD);
  pie.set(kDraw, Variant(0));
  EXPECT_FALSE(pie.shown()->spec().threeD);
}

// ---- The drawing ----

std::vector<std::string> texts(const std::vector<doc::Item>& items) {
  std::vector<std::string> out;
  for (const auto& it : items)
    if (auto* t = std::get_if<doc::Text>(&it.content)) out.push_back(t->text);
  return out;
}

doc::Rect bounds(const doc::Item& it) {
  return std::visit(
      [](const auto& c) -> doc::Rect {
        using T = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<T, doc::Line>)
          return {std::min(c.x1, c.x2), std::min(c.y1, c.y2), std::abs(c.x2 - c.x1),
                  std::abs(c.y2 - c.y1)};
        else
          return c.box;
      },
      it.content);
}

bool overlap(const doc::Rect& a, const doc::Rect& b) {
  return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
         b.top < a.top + a.height;
}

// Percentages printed on the slice labels, "Name (12.3%)".
std::vector<double> printedShares(const std::vector<doc::Item>& items) {
  std::vector<double> out;
  static const std::regex pct(R"(\(([0-9.]+)%\)$)");
  for (const auto& t : texts(items)) {
    std::smatch m;
    if (std::regex_search(t, m, pct)) out.push_back(std::stod(m[1]));
  }
  return out;
}

TEST(PieDrawing, SharesAddUpTo100AtTheirPrecision) {
  EXPECT_EQ(sharesAddingTo100({1, 1, 1}, 1), (std::vector<double>{33.4, 33.3, 33.3}));
  EXPECT_EQ(sharesAddingTo100({2, 0, -5, 2}, 0), (std::vector<double>{50, 0, 0, 50}));
  EXPECT_EQ(sharesAddingTo100({0, 0}, 1), (std::vector<double>{0, 0}));
  const auto s = sharesAddingTo100({40000, 700, 85, 40, 1, 1, 1}, 1);
  EXPECT_DOUBLE_EQ(std::round(std::accumulate(s.begin(), s.end(), 0.0) * 10), 1000);
  for (double v : s) EXPECT_GE(v, 0);
}

// One large slice and many tiny ones, some with long names: every label legible, none over
// another, everything inside the control, percentages adding up to 100; vector figures only,
// with a rim in 3D.
TEST(PieDrawing, TinySlicesGetLabelsThatNeverCollide) {
  PieSpec s;
  s.seriesLabel = "Actual Budget";
  for (int i = 0; i < 24; ++i) {
    s.values.push_back(i == 0 ? 40000 : i % 3 == 0 ? 0.5 : 40 + i);
    s.labels.push_back(i % 5 == 0 ? "A category with a rather long name number " + std::to_string(i)
                                  : "Cat " + std::to_string(i));
  }
  engine::FixedMetricMeasurer m;
  std::size_t paths[2] = {0, 0};
  for (bool threeD : {true, false})
    for (bool beside : {false, true}) {
      s.threeD = threeD;
      s.legendRight = beside;
      SCOPED_TRACE(std::string(threeD ? "3D" : "flat") + (beside ? ", legend beside" : ""));
      const auto items = PieDrawing(s).draw(10680, 11340, &m);
      std::vector<doc::Rect> textBoxes;
      for (const auto& it : items) {
        EXPECT_FALSE(std::holds_alternative<doc::Picture>(it.content));
        paths[threeD] += std::holds_alternative<doc::Path>(it.content);
        const doc::Rect b = bounds(it);
        EXPECT_GE(b.left, 0);
        EXPECT_GE(b.top, 0);
        EXPECT_LE(b.left + b.width, 10680);
        EXPECT_LE(b.top + b.height, 11340);
        if (auto* t = std::get_if<doc::Text>(&it.content)) {
          EXPECT_GE(t->box.height, m.measure(t->text, t->font, t->box.width).height) << t->text;
          textBoxes.push_back(t->box);
        }
      }
      for (std::size_t i = 0; i < textBoxes.size(); ++i)
        for (std::size_t k = i + 1; k < textBoxes.size(); ++k)
          EXPECT_FALSE(overlap(textBoxes[i], textBoxes[k])) << i << " and " << k;
      const auto shares = printedShares(items);
      EXPECT_EQ(shares.size(), 24u);  // every slice labelled
      EXPECT_NEAR(std::accumulate(shares.begin(), shares.end(), 0.0), 100.0, 1e-9);
    }
  EXPECT_GT(paths[true], paths[false]);
}

TEST(PieDrawing, NothingToShareDrawsAnEmptyDishAndTheLegendListsZeros) {
  PieSpec s;
  s.values = {0, 0};
  s.labels = {"Flowers", "Cake"};
  engine::FixedMetricMeasurer m;
  const auto items = PieDrawing(s).draw(8000, 8000, &m);
  EXPECT_TRUE(printedShares(items).empty());
  const auto t = texts(items);
  EXPECT_NE(std::find(t.begin(), t.end(), "Flowers"), t.end());
  EXPECT_NE(std::find(t.begin(), t.end(), "$0.00"), t.end());
  s.values.clear();
  s.labels.clear();
  EXPECT_TRUE(texts(PieDrawing(s).draw(8000, 8000, &m)).empty());
}

}  // namespace
}  // namespace galvix::charts
