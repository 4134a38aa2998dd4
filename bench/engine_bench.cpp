// Paginates a 3-group report of N in-memory rows into a Document and prints time and peak
// memory per size. Each size runs in its own process so peak memory is its own.
//   ./build/<dir>/bench/engine_bench [rows...]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine/fixed_metric_measurer.h"
#include "engine/layout.h"
#include "engine/report.h"
#include "engine/run.h"

using namespace galvix;
using namespace galvix::engine;

namespace {

const char* kLayout = R"J({"version": 1, "name": "rptBench",
  "page": {"paperWidth": 12240, "paperHeight": 15840,
           "margins": {"left": 720, "right": 720, "top": 720, "bottom": 720}},
  "sections": [
    {"kind": "pageHeader", "name": "PageHeader", "height": 1100, "controls": [
      {"kind": "label", "name": "lblTitle", "left": 30, "top": 30, "width": 10680, "height": 450,
       "caption": "Wedding name", "font": {"size": 16, "bold": true}, "alignment": "center"},
      {"kind": "label", "name": "lblReportName", "left": 30, "top": 450, "width": 10680, "height": 270},
      {"kind": "label", "name": "lblCriteria", "left": 30, "top": 795, "width": 10680, "height": 270}]},
    {"kind": "groupHeader", "name": "ghEvent", "dataField": "Event", "height": 400, "controls": [
      {"kind": "field", "name": "txtEvent", "dataField": "Event", "width": 5000, "height": 400,
       "font": {"size": 14, "bold": true}}]},
    {"kind": "groupHeader", "name": "ghParty", "dataField": "PartyName", "breakOn": "PartyID",
     "height": 300, "controls": [
      {"kind": "field", "name": "txtParty", "dataField": "Party", "width": 5000, "height": 300},
      {"kind": "field", "name": "txtCount", "left": 5000, "width": 1000, "height": 300}]},
    {"kind": "groupHeader", "name": "ghTable", "dataField": "=Left(TableName, 9)", "height": 270,
     "groupKeepTogether": "firstDetail", "controls": [
      {"kind": "field", "name": "txtTable", "dataField": "TableName", "width": 3000, "height": 270}]},
    {"kind": "detail", "name": "Detail", "height": 270, "controls": [
      {"kind": "field", "name": "txtName", "dataField": "Name", "width": 3000, "height": 270},
      {"kind": "field", "name": "txtNote", "dataField": "Note", "left": 3000, "width": 4000,
       "height": 270, "canGrow": true},
      {"kind": "field", "name": "txtAmt", "dataField": "Amt", "left": 7000, "width": 1500,
       "height": 270, "alignment": "right"},
      {"kind": "checkBox", "name": "chkRSVP", "dataField": "RSVP", "left": 8600, "width": 300,
       "height": 270}]},
    {"kind": "groupFooter", "name": "gfTable", "height": 270, "controls": [
      {"kind": "field", "name": "txtTableSum", "dataField": "Amt", "left": 7000, "width": 1500,
       "height": 270, "summary": {"type": "subTotal", "group": "ghTable"}}]},
    {"kind": "groupFooter", "name": "gfParty", "height": 270, "controls": [
      {"kind": "field", "name": "txtPartySum", "dataField": "Amt", "left": 7000, "width": 1500,
       "height": 270, "summary": {"type": "subTotal", "group": "ghParty"}},
      {"kind": "field", "name": "txtRunning", "dataField": "Amt", "left": 8600, "width": 1500,
       "height": 270, "summary": {"type": "subTotal", "group": "ghParty", "running": "all"}}]},
    {"kind": "groupFooter", "name": "gfEvent", "height": 300},
    {"kind": "pageFooter", "name": "PageFooter", "height": 600, "controls": [
      {"kind": "line", "name": "Line2", "x1": 0, "y1": 100, "x2": 10680, "y2": 100},
      {"kind": "label", "name": "lblDatePrinted", "left": 180, "top": 270, "width": 2250, "height": 270},
      {"kind": "field", "name": "Field3", "left": 4770, "top": 270, "width": 450, "height": 270,
       "summary": {"type": "pageCount", "running": "all"}},
      {"kind": "label", "name": "lblOf", "left": 5220, "top": 270, "width": 360, "height": 270, "caption": "of"},
      {"kind": "field", "name": "txtPageTtl", "left": 5580, "top": 270, "width": 450, "height": 270,
       "summary": {"type": "pageCount"}}]}
  ]})J";

class BenchReport : public Report {
 public:
  explicit BenchReport(long n) : Report(loadLayout(kLayout, "bench.json")) {
    std::vector<RowValues> rows;
    rows.reserve(static_cast<std::size_t>(n));
    for (long i = 0; i < n; ++i) {
      const long event = i / 2000, party = i / 200, table = i / 20;
      rows.push_back(
          {Variant::string("Event " + std::to_string(event)),
           Variant::longInt(static_cast<std::int32_t>(party)),
           Variant::string("Party " + std::to_string(party)),
           Variant::string("Table " + std::to_string(table)),
           Variant::string("Guest number " + std::to_string(i)),
           Variant::string(i % 7 == 0 ? "A longer note that wraps onto a second line" : "note"),
           Variant::currency(Currency::fromUnits((i % 100) * 10000)),
           Variant::boolean(i % 3 == 0)});
    }
    data().setRows({"Event", "PartyID", "Party", "TableName", "Name", "Note", "Amt", "RSVP"},
                   std::move(rows));
    onFormat("ghParty", [this] { count_ = 0; });
    onFormat("Detail", [this] { ++count_; });
    onBeforePrint("ghParty", [this] { field("txtCount").setText(std::to_string(count_)); });
    onFormat("PageFooter",
             [this] { label("lblDatePrinted").setCaption("Date Printed: 1/2/2026"); });
  }
  int count_ = 0;
};

void runOne(long n) {
  auto t0 = std::chrono::steady_clock::now();
  FixedMetricMeasurer m;
  BenchReport r(n);
  auto t1 = std::chrono::steady_clock::now();
  RunOptions o;
  o.measurer = &m;
  auto res = runReport(r, o);
  auto t2 = std::chrono::steady_clock::now();
  std::size_t items = 0;
  for (auto& p : res.document.pages) items += p.items.size();
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  std::printf("%8ld %7zu %9zu %12.1f %12.1f %12.1f\n", n, res.document.pages.size(), items,
              std::chrono::duration<double, std::milli>(t1 - t0).count(),
              std::chrono::duration<double, std::milli>(t2 - t1).count(),
              static_cast<double>(ru.ru_maxrss) / 1024.0);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<long> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atol(argv[i]));
  if (sizes.empty()) sizes = {2500, 5000, 10000, 20000, 40000};
  std::printf("%8s %7s %9s %12s %12s %12s\n", "rows", "pages", "items", "rows ms", "paginate ms",
              "peak MB");
  for (long n : sizes) {
    std::fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
      runOne(n);
      std::_Exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
  }
  return 0;
}
