// Helpers for engine tests: layouts from JSON text, an event-logging report, document queries.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "engine/fixed_metric_measurer.h"
#include "engine/layout.h"
#include "engine/report.h"
#include "engine/run.h"
#include "galvix/document.h"

namespace galvix::engine::test {

inline std::shared_ptr<const Layout> layoutOf(const std::string& json) {
  return loadLayout(json, "test.json");
}

// A layout on a 6000 x 4000 page with 500 margins: a 5000 x 3000 body.
inline std::string layoutJson(const std::string& name, const std::string& sections) {
  return "{\"version\": 1, \"name\": \"" + name +
         "\", \"page\": {\"paperWidth\": 6000, \"paperHeight\": 4000, \"margins\": "
         "{\"left\": 500, \"right\": 500, \"top\": 500, \"bottom\": 500}}, \"sections\": [" +
         sections + "]}";
}

inline std::vector<RowValues> rows(std::initializer_list<std::vector<Variant>> r) {
  return {r.begin(), r.end()};
}

using Strings = std::vector<std::string>;

// How much a 240-twip field in the default font grows to hold three lines.
inline std::int32_t threeLineGrowth() {
  const std::int32_t g = 3 * FixedMetricMeasurer::lineHeight(doc::Font{}) - 240;
  EXPECT_GT(g, 0);
  return g;
}

// A report on layoutJson("rptTest", sections) holding `data` under `columns`.
inline std::unique_ptr<Report> report(const std::string& sections,
                                      std::vector<std::string> columns = {},
                                      std::vector<RowValues> data = {}) {
  auto r = std::make_unique<Report>(layoutOf(layoutJson("rptTest", sections)));
  if (!columns.empty()) r->data().setRows(std::move(columns), std::move(data));
  return r;
}

// A report that logs every event it receives: "Format ghA row=2", "PageStart p1 row=0".
class LoggingReport : public Report {
 public:
  LoggingReport(std::shared_ptr<const Layout> l, std::vector<std::string>* log,
                std::string prefix = {})
      : Report(std::move(l)), log_(log), prefix_(std::move(prefix)) {}
  ~LoggingReport() override { add("Terminate"); }
  void onReportStart() override { add("ReportStart"); }
  void onDataInitialize() override { add("DataInitialize"); }
  void onNoData() override { add("NoData"); }
  void onPageStart() override { add("PageStart p" + std::to_string(pageNumber()) + rowText()); }
  void onPageEnd() override { add("PageEnd p" + std::to_string(pageNumber())); }
  void onReportEnd() override { add("ReportEnd"); }
  void onBandEvent(Section& s, BandEvent e) override {
    add(std::string(bandEventName(e)) + " " + s.name() + rowText());
    Report::onBandEvent(s, e);
  }
  void add(const std::string& line) {
    if (log_) log_->push_back(prefix_ + line);
  }

 protected:
  std::string rowText() {
    auto& rs = data().recordset();
    return rs.row() ? " row=" + std::to_string(rs.rowIndex()) : "";
  }
  std::vector<std::string>* log_;
  std::string prefix_;
};

// A host that keeps what it is told: messages as "caption: text", and warnings.
struct RecordingHost : HostServices {
  std::vector<std::string> messages, warnings;
  void message(const std::string& t, const std::string& c, MessageIcon) override {
    messages.push_back(c + ": " + t);
  }
  void warning(const std::string& t) override { warnings.push_back(t); }
};

inline RunResult run(Report& r) {
  static FixedMetricMeasurer m;
  RunOptions o;
  o.measurer = &m;
  return runReport(r, o);
}

// Text items of a control on a page (1-based), in order.
inline std::vector<const doc::Text*> texts(const doc::Document& d, int page,
                                           const std::string& control) {
  std::vector<const doc::Text*> out;
  for (const auto& it : d.pages.at(static_cast<std::size_t>(page - 1)).items)
    if (it.control == control)
      if (auto* t = std::get_if<doc::Text>(&it.content)) out.push_back(t);
  return out;
}

// All texts of a control across the document.
inline std::vector<std::string> allTexts(const doc::Document& d, const std::string& control) {
  std::vector<std::string> out;
  for (std::size_t p = 1; p <= d.pages.size(); ++p)
    for (auto* t : texts(d, static_cast<int>(p), control)) out.push_back(t->text);
  return out;
}

inline std::string join(const std::vector<std::string>& v, const char* sep = "\n") {
  std::string s;
  for (const auto& x : v) s += x + sep;
  return s;
}

}  // namespace galvix::engine::test
