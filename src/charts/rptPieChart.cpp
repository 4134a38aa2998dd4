// The budget pie chart: the standard header and footer around one subreport that charts the
// event's budget by expense category, by the column the last character of SQLWhere names.
#include "charts/srptPieChart.h"
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "runtime/vb.h"

GALVIX_USE_LAYOUT(rptPieChart);

namespace galvix::charts {
namespace {

class RptPieChart : public frame::FrameReport {
 public:
  RptPieChart() : FrameReport(engine::layouts::rptPieChart()) {}

  // Not a where clause here: only the trimmed value's last character, the column to chart.
  void setSQLWhere(std::string w) override {
    const std::string_view t = vb::trimBlanks(w);
    mutableSqlWhere() = std::string(t.empty() ? t : t.substr(t.size() - 1));
  }

  void onReportStart() override {
    // No data control of its own: the company footer comes from the stored connection string.
    applyCompanyFooter(data().connectionString());
    auto chart = std::make_shared<SrptPieChart>();
    subReport("srptPieChart").setReport(chart);
    chart->setConnectionString(data().connectionString());
    chart->setEventID(eventId());
    chart->setSQLWhere(sqlWhere());
  }
};

const frame::DesignerRegistration reg("rptPieChart",
                                      [] { return std::make_unique<RptPieChart>(); });

}  // namespace
}  // namespace galvix::charts
