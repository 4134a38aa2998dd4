// The pie chart subreport: queries an event's budget per expense category, loads it through
// PESQLHelper and writes it into its chart control pieBudget.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "charts/chart_control.h"
#include "engine/report.h"

namespace galvix::charts {

class SrptPieChart : public engine::Report {
 public:
  SrptPieChart();

  // The same property names as the top-level reports; the titles are not used here.
  void setTimeFormat(std::string f) { timeFormat_ = std::move(f); }
  void setDateFormat(std::string f) { dateFormat_ = std::move(f); }
  void setConnectionString(std::string s) { connectionString_ = std::move(s); }
  // Keeps the text and takes it as the number of the column to chart (0 to 3); text that is
  // not a number raises a conversion error.
  void setSQLWhere(std::string w);
  void setSQLOrderBy(std::string o) { sqlOrderBy_ = std::move(o); }
  void setTitle(const std::string&) {}
  void setReportName(const std::string&) {}
  void setCriteria(const std::string&) {}
  void setEventID(std::int32_t id) { eventId_ = id; }

  void onReportStart() override;

  const ChartControl& chart() const { return chart_; }
  std::int16_t column() const { return column_; }

 private:
  ChartControl chart_;
  std::string timeFormat_, dateFormat_, connectionString_, sqlWhere_, sqlOrderBy_;
  std::int32_t eventId_ = 0;
  std::int16_t column_ = 0;
};

}  // namespace galvix::charts
