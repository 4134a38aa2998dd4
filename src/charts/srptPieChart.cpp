#include "charts/srptPieChart.h"

#include "charts/PESQLHelper.h"
#include "db/connection.h"
#include "engine/layout_embed.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(srptPieChart);

namespace galvix::charts {

SrptPieChart::SrptPieChart()
    : engine::Report(engine::layouts::srptPieChart()),
      chart_(dynamic_cast<engine::Chart&>(control("pieBudget"))) {}

void SrptPieChart::setSQLWhere(std::string w) {
  sqlWhere_ = std::move(w);
  try {
    column_ = Variant(sqlWhere_).toInteger();
  } catch (const RuntimeError& e) {
    throw RuntimeError(e.number(), "srptPieChart: SQLWhere \"" + sqlWhere_ +
                                       "\" names no budget column (0 to 3): " + e.what());
  }
}

void SrptPieChart::onReportStart() {
  db::Connection conn;
  conn.open(connectionString_);
  db::Recordset rs;
  rs.open(
      "SELECT DISTINCTROW ExpenseCategories.Category, SPCategories.ABudget as [Suggested "
      "Budget], SPCategories.Budget as [Actual Budget], SPCategories.Actual as [Actual "
      "Expenses] FROM SPCategories INNER JOIN ExpenseCategories ON SPCategories.CategoryID = "
      "ExpenseCategories.CategoryID WHERE EventID = " +
          std::to_string(eventId_) + " ORDER By Category",
      conn, db::CursorType::Static);
  // Declared 0 to 1: one subset, from element 0.
  const ColumnList values = {column_, column_}, names = {column_, column_};
  PESQLHelper helper;
  helper.LoadXData(rs, values);
  helper.LoadPointLabels(rs, 0);
  helper.LoadSubsetLabels(rs, names);
  rs.close();

  ChartControl& pie = chart_;
  pie.set(kSubsets, Variant(std::int16_t{1}));
  pie.set(kPoints, Variant::longInt(helper.MaxPoints()));
  for (std::int32_t s = 0; s <= 1; ++s) {
    for (std::int32_t p = 0; p < helper.MaxPoints(); ++p)
      pie.set(kXData, s, p, Variant::single(helper.XValues(s, p)));
    pie.set(kSubsetLabels, s, Variant(helper.SubsetLabelString(s)));
  }
  for (std::int32_t p = 0; p < helper.MaxPoints(); ++p)
    pie.set(kPointLabels, p,
            vb::Replace(Variant(helper.PointLabelString(p)), Variant("12:00:00 PM"), Variant("")));

  // The display settings, in this order; property 46 last.
  pie.set(54, Variant(false));
  pie.set(kNumericPrecision, Variant(std::int16_t{1}));
  pie.set(kGroupPercentages, Variant(std::int16_t{1}));
  pie.set(kThreeD, Variant(std::int16_t{1}));
  pie.set(159, Variant(false));
  pie.set(45, Variant(std::int16_t{1}));
  pie.set(3, Variant(true));
  pie.set(81, Variant(true));
  pie.set(kFontSize, Variant(std::int16_t{0}));
  pie.set(132, Variant(true));
  pie.set(kBitmapGradientMode, Variant(true));
  pie.set(kQuickStyle, Variant(std::int16_t{0}));
  pie.set(226, Variant::longInt(1));
  pie.set(kMainTitleBold, Variant(true));
  pie.set(kSubTitleBold, Variant(true));
  pie.set(kLabelBold, Variant(false));
  pie.set(kFontSize, Variant(std::int16_t{0}));
  pie.set(113, Variant(std::int16_t{0}));
  pie.set(156, Variant(false));
  pie.set(kDraw, Variant::longInt(0));
}

}  // namespace galvix::charts
