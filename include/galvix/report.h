// The library's front door. A host creates a Report, asks it for a catalogue report by name,
// sets that report's properties and runs it into pages it can write as PDF, PNG or SVG.
//
//   galvix::Report factory;
//   auto r = factory.GetNewReport("Guest List - with notes");   // null if not in the catalogue
//   r->set("ConnectionString", "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/events.mdb");
//   r->set("SQLWhere", "WHERE Parties.PartyID = 3");
//   galvix::doc::Document d = r->run();
//   galvix::writePdf(d, "guests.pdf");
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "galvix/document.h"
#include "galvix/variant.h"

namespace galvix {

namespace frame {
class FrameReport;
}
namespace engine {
class HostServices;
}

// A report failed: the message names the report and, for database errors, the SQL as written
// and as executed.
class ReportRunError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ReportObject {
 public:
  explicit ReportObject(std::unique_ptr<frame::FrameReport> r);
  ~ReportObject();
  ReportObject(ReportObject&&) noexcept;
  ReportObject& operator=(ReportObject&&) noexcept;

  const std::string& catalogueName() const;
  const std::string& designer() const;
  // Write-only properties by name; an unknown name is an error listing the report's properties.
  void set(std::string_view property, const Variant& value);
  std::vector<std::string> properties() const;
  bool hasProperty(std::string_view property) const;

  // Runs the report. `cancelled` tells whether a handler ended it (no document, no pages);
  // messages the report shows go to `host` (stderr when null).
  doc::Document run(bool* cancelled = nullptr, std::shared_ptr<engine::HostServices> host = {});

  // Stops the run in progress (or the next one) at its next band or within a moment of its
  // current query; run() then fails with ReportRunError saying it was cancelled. Safe to call
  // from another thread or a signal handler.
  void cancel() noexcept;
  // Runs that take longer fail with ReportRunError naming the limit; zero: no limit.
  void setTimeLimit(std::chrono::milliseconds limit) { timeLimit_ = limit; }

  frame::FrameReport& designerObject() { return *report_; }

 private:
  std::unique_ptr<frame::FrameReport> report_;
  std::unique_ptr<std::atomic<bool>> cancel_;
  std::chrono::milliseconds timeLimit_{0};
};

class Report {
 public:
  // Stored only: the host sets each created report's own properties.
  void setConnectionString(std::string s) { connectionString_ = std::move(s); }
  void setSQLWhere(std::string s) { sqlWhere_ = std::move(s); }
  void setSQLOrderBy(std::string s) { sqlOrderBy_ = std::move(s); }
  // A new report for a catalogue name (exact, case-sensitive), or null.
  std::unique_ptr<ReportObject> GetNewReport(std::string_view name) const;

 private:
  std::string connectionString_, sqlWhere_, sqlOrderBy_;
};

// Rendering helpers (atomic writes). PNG and SVG write one file per page: prefix-N.ext.
void writePdf(const doc::Document& d, const std::string& path);
std::vector<std::string> writePng(const doc::Document& d, const std::string& prefix,
                                  double dpi = 96);
std::vector<std::string> writeSvg(const doc::Document& d, const std::string& prefix);

}  // namespace galvix
